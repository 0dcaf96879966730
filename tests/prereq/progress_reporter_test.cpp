#include "prereq/progress_reporter.h"

#include <doctest.h>

#include "support/msi_session_rig.h"
#include "support/scripted_ui.h"
#include "support/test_package.h"
#include "util/error_text.h"

using prereq::ProgressReporter;
using test::MsiSessionRig;
using test::ScriptedUi;
using test::TestPackage;

namespace {

// First and second field of each progress message.
using Steps = std::vector<std::pair<std::wstring, std::wstring>>;

Steps StepsOf(const ScriptedUi& ui) {
  Steps steps;
  for (const test::UiMessage& message : ui.Of(INSTALLMESSAGE_PROGRESS)) {
    CHECK(message.fields.size() == 4);
    CHECK(message.Field(3) == L"0");
    steps.emplace_back(message.Field(1), message.Field(2));
  }
  return steps;
}

const std::pair<std::wstring, std::wstring> kReset = {L"0", L"4096"};

}  // namespace

TEST_CASE("the ticks are shared evenly by the items and granted byte by byte") {
  TestPackage package;
  package.Close();
  ScriptedUi ui;
  MsiSessionRig rig(package);
  const struct {
    uint32_t items;
    uint32_t bytes;
    std::vector<uint32_t> chunks;
    std::vector<const wchar_t*> increments;  // The one of the finished item is the last.
  } cases[] = {
      {1, 1, {}, {L"4096"}},
      {1, 1, {1}, {L"4096"}},
      {3, 1, {}, {L"1365"}},
      {3, 1365, {100, 65, 1200}, {L"100", L"65", L"1200"}},
      {1, 8192, {1, 1, 1, 3}, {L"1", L"2", L"4093"}},
      {1, 40960, {15, 15, 15, 9}, {L"1", L"1", L"1", L"4093"}},
      {4, 100, {50, 100}, {L"512", L"1024"}},  // Longer than it was said to be.
      {2, 0, {1000}, {L"2048"}},               // Of unknown length.
      {1, 4294967295, {2147483648, 2147483647}, {L"2048", L"2047", L"1"}},
      {4096, 1, {}, {L"1"}},
      {4097, 1, {}, {}},
      {5000, 10, {10}, {}},
      {0, 10, {10}, {}},
  };
  for (const auto& [items, bytes, chunks, increments] : cases) {
    CAPTURE(items);
    CAPTURE(bytes);
    ui.Clear();
    ProgressReporter reporter(rig.handle());
    reporter.Start(items, /*accumulate=*/false);
    for (int item = 0; item < 2; ++item) {
      reporter.OnFileInfo(bytes, "ignored");
      for (const uint32_t chunk : chunks) reporter.OnProgress(chunk);
      reporter.OnComplete(1);
    }
    Steps wanted = {kReset};
    for (int item = 0; item < 2; ++item) {
      for (const wchar_t* increment : increments) wanted.emplace_back(L"2", increment);
    }
    CHECK(StepsOf(ui) == wanted);
  }
  CHECK(rig.CountLeakedHandles() == 0);
}

TEST_CASE("counting up resets the bar once, counting anew resets it again") {
  TestPackage package;
  package.Close();
  ScriptedUi ui;
  MsiSessionRig rig(package);
  ui.Clear();
  ProgressReporter reporter(rig.handle());
  for (uint32_t i = 0; i < 5; ++i) reporter.Start(1, true);
  CHECK(reporter.item_count() == 5);
  CHECK(StepsOf(ui) == Steps{kReset});
  reporter.Start(2, false);
  CHECK(reporter.item_count() == 2);
  CHECK(StepsOf(ui) == Steps{kReset, kReset});
  CHECK(ui.messages().size() == 2);
  CHECK(rig.CountLeakedHandles() == 0);
}

TEST_CASE("the last progress message says whether the user cancelled") {
  TestPackage package;
  package.Close();
  ScriptedUi ui;
  MsiSessionRig rig(package);
  ProgressReporter reporter(rig.handle());
  CHECK_FALSE(reporter.IsCancelled());
  ui.Answer(INSTALLMESSAGE_PROGRESS, IDCANCEL);
  reporter.Start(1, true);
  CHECK(reporter.IsCancelled());
  reporter.Start(1, true);  // Sends nothing.
  CHECK(reporter.IsCancelled());
  CHECK_FALSE(reporter.IsPaused());
  reporter.BeginItem();
  reporter.FinishItem();
  CHECK_FALSE(reporter.IsCancelled());
  ui.Answer(INSTALLMESSAGE_PROGRESS, IDCANCEL);
  reporter.OnFileInfo(2, {});
  reporter.OnProgress(1);
  CHECK(reporter.IsCancelled());
  CHECK(rig.CountLeakedHandles() == 0);
}

TEST_CASE("errors are shown with the system's text, the downloader's own by their nearest") {
  TestPackage package;
  package.Close();
  ScriptedUi ui;
  MsiSessionRig rig(package);
  const struct {
    uint32_t code;
    DWORD shown;
  } cases[] = {
      {5, 5}, {12007, 12007}, {0xE0000012, 12015}, {0xE0000018, 12002}, {0xE0000016, 0xE0000016},
  };
  ProgressReporter reporter(rig.handle());
  for (const bool with_note : {false, true}) {
    if (with_note) reporter.SetErrorNote(L"the note");
    for (const auto& [code, shown] : cases) {
      CAPTURE(code);
      ui.Clear();
      reporter.OnError(7, code);
      REQUIRE(ui.messages().size() == 1);
      const test::UiMessage& message = ui.messages()[0];
      CHECK(message.type == INSTALLMESSAGE_ERROR);
      CHECK(message.fields.size() == 3);
      CHECK(message.fields[0] == util::ErrorText(shown) + (with_note ? L"\r\nthe note" : L""));
    }
  }
  CHECK(rig.CountLeakedHandles() == 0);
}
