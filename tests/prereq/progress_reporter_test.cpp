#include "prereq/progress_reporter.h"

#include <doctest.h>

#include "support/action_fixture.h"
#include "support/data_rows.h"
#include "util/error_text.h"
#include "util/text.h"

using prereq::ProgressReporter;
using test::ActionFixture;
using Lines = std::vector<std::wstring>;

namespace {

Lines Words(const std::wstring& text) { return text.empty() ? Lines{} : util::Split(text, L' '); }

// Every message since the last look.
Lines Seen(ActionFixture* fixture) {
  Lines lines;
  for (const auto& message : fixture->ui().messages()) lines.push_back(test::Describe(message));
  fixture->ui().Clear();
  return lines;
}

}  // namespace

TEST_CASE("the ticks are shared evenly by the items and granted byte by byte") {
  ActionFixture fixture;
  const msi::InstallerSession& session = fixture.session().session();
  for (const test::DataRow& row : test::ReadDataRows("prereq/progress.txt")) {
    CAPTURE(row.line);
    fixture.ui().Clear();
    ProgressReporter reporter(session);
    reporter.Start(util::ParseDecimal<uint32_t>(row[0]), /*accumulate=*/false);
    Lines wanted = {L"reset"};
    for (int item = 0; item < 2; ++item) {
      reporter.OnFileInfo(util::ParseDecimal<uint32_t>(row[1]), "ignored");
      for (const std::wstring& bytes : Words(row[2])) {
        reporter.OnProgress(util::ParseDecimal<uint32_t>(bytes));
      }
      reporter.OnComplete(1);
      for (const std::wstring& step : Words(row[3])) wanted.push_back(L"bar " + step);
    }
    CHECK(Seen(&fixture) == wanted);
  }
}

TEST_CASE("counting up resets the bar once, and the last progress message tells of a Cancel") {
  ActionFixture fixture;
  const msi::InstallerSession& session = fixture.session().session();
  fixture.ui().Clear();
  ProgressReporter reporter(session);
  CHECK_FALSE(reporter.IsCancelled());
  fixture.ui().Answer(INSTALLMESSAGE_PROGRESS, IDCANCEL);
  for (uint32_t i = 0; i < 5; ++i) {
    reporter.Start(1, true);
    CHECK(reporter.IsCancelled());
  }
  CHECK(reporter.item_count() == 5);
  CHECK(Seen(&fixture) == Lines{L"reset"});
  CHECK_FALSE(reporter.IsPaused());
  reporter.BeginItem();
  reporter.FinishItem();
  CHECK_FALSE(reporter.IsCancelled());
  fixture.ui().Answer(INSTALLMESSAGE_PROGRESS, IDCANCEL);
  reporter.OnFileInfo(2, {});
  reporter.OnProgress(1);
  CHECK(reporter.IsCancelled());
  fixture.ui().Clear();
  reporter.Start(2, false);
  CHECK(reporter.item_count() == 2);
  CHECK(Seen(&fixture) == Lines{L"reset"});
}

TEST_CASE("errors are shown with the system's text, the downloader's own by their nearest") {
  ActionFixture fixture;
  ProgressReporter reporter(fixture.session().session());
  fixture.ui().Clear();
  for (const std::wstring& note : {std::wstring(), std::wstring(L"\r\nthe note")}) {
    if (!note.empty()) reporter.SetErrorNote(L"the note");
    for (const auto& [code, shown] : {std::pair<uint32_t, DWORD>{5, 5},
                                      {12007, 12007},
                                      {0xE0000012, 12015},
                                      {0xE0000018, 12002},
                                      {0xE0000016, 0xE0000016}}) {
      CAPTURE(code);
      reporter.OnError(7, code);
      REQUIRE(fixture.ui().messages().size() == 1);
      CHECK(fixture.ui().messages()[0].fields.size() == 3);
      CHECK(fixture.ui().messages()[0].type == INSTALLMESSAGE_ERROR);
      CHECK(fixture.ui().messages()[0].fields[0] == util::ErrorText(shown) + note);
      fixture.ui().Clear();
    }
  }
}
