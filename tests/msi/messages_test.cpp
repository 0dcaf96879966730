#include "msi/messages.h"

#include <doctest.h>

#include "support/action_fixture.h"
#include "support/worker.h"

using msi::PromptForm;
using test::ActionFixture;

TEST_CASE("a prompt is an error that stops or a warning that only Yes gets past") {
  ActionFixture fixture;
  const msi::InstallerSession& session = fixture.session().session();
  for (const PromptForm form : {PromptForm::kError, PromptForm::kWarning}) {
    for (const int answer : {0, IDOK, IDCANCEL, IDYES, IDNO}) {
      CAPTURE(answer);
      const bool is_warning = form == PromptForm::kWarning;
      fixture.ui().Clear();
      fixture.ui().Answer(is_warning ? INSTALLMESSAGE_WARNING : INSTALLMESSAGE_ERROR, answer);
      const bool goes_on =
          msi::PromptUser(session, form, 4154, L"the [name]") == msi::PromptAnswer::kGoOn;
      CHECK(goes_on == (is_warning && answer == IDYES));
      REQUIRE(fixture.ui().messages().size() == 1);
      const test::UiMessage& message = fixture.ui().messages()[0];
      CHECK(message.type == (is_warning ? 0x02010004u : 0x01010000u));
      CHECK(message.fields.size() == 3);
      CHECK(message.Field(1) == L"4154");
      CHECK(message.Field(2) == L"the [name]");
    }
  }
}

TEST_CASE("a text of the package is found by its exact key") {
  ActionFixture fixture;
  const std::wstring long_text(2000, L'u');
  fixture.package().Execute(
      L"CREATE TABLE `UIText` (`Key` CHAR(72) NOT NULL, `Text` CHAR(0) LOCALIZABLE PRIMARY KEY "
      L"`Key`)");
  for (const auto& [key, text] : {std::pair{L"short", std::wstring(L"One [2]")},
                                  {L"long", long_text},
                                  {L"null", std::wstring()}}) {
    fixture.package().AddRow(L"UIText", {{L"Key", key}, {L"Text", text}});
  }
  const msi::InstallerSession& session = fixture.session().session();
  const auto read = [](const msi::InstallerSession& from, const wchar_t* key) {
    std::wstring text = L"old";
    const bool found = msi::GetUIText(from, key, &text);
    return found ? L"found " + text : text;
  };
  CHECK(read(session, L"short") == L"found One [2]");
  CHECK(read(session, L"long") == L"found " + long_text);
  CHECK(read(session, L"null") == L"found ");
  for (const wchar_t* key : {L"Short", L"missing", L"it's"}) CHECK(read(session, key).empty());
  CHECK(read(msi::InstallerSession(0), L"short").empty());
}

TEST_CASE("a record that could not be made or filled is not sent") {
  ActionFixture fixture;
  const msi::InstallerSession& session = fixture.session().session();
  fixture.ui().Clear();
  using msi::MessageRecord;
  CHECK(MessageRecord(1).Set(2, L"no such field").Send(session, INSTALLMESSAGE_INFO) == -1);
  CHECK(MessageRecord(1).Set(2, 1).Set(1, L"x").Send(session, INSTALLMESSAGE_INFO) == -1);
  CHECK(MessageRecord(0x10000).Send(session, INSTALLMESSAGE_INFO) == -1);
  CHECK(fixture.ui().messages().empty());
}

TEST_CASE("the error box counts its arguments from 2, up to the first empty one") {
  ActionFixture fixture;
  const msi::InstallerSession& session = fixture.session().session();
  const std::wstring long_text(3000, L'z');
  const util::UniqueKernelHandle stop(::CreateEventW(nullptr, TRUE, FALSE, nullptr));
  std::vector<std::wstring> texts;
  // Closes the boxes of this process and keeps what they said.
  const test::Worker closer([&] {
    while (::WaitForSingleObject(stop.Get(), 20) == WAIT_TIMEOUT) {
      HWND box = nullptr;
      while ((box = ::FindWindowExW(nullptr, box, L"#32770", nullptr)) != nullptr) {
        DWORD process = 0;
        ::GetWindowThreadProcessId(box, &process);
        if (process != ::GetCurrentProcessId() || !::IsWindowVisible(box)) continue;
        wchar_t text[6000] = L"";
        ::SendDlgItemMessageW(box, 0xFFFF, WM_GETTEXT, 6000, reinterpret_cast<LPARAM>(text));
        texts.emplace_back(text);
        ::SendMessageW(box, WM_COMMAND, IDOK, 0);
        break;
      }
    }
  });
  using Arguments = std::vector<std::wstring>;
  const auto show = [&](const wchar_t* text, const Arguments& arguments) {
    msi::ShowErrorBox(session, text, &arguments);
  };
  show(L"[2]", {L"one"});
  show(L"[1]<[2]|[3]|[5]>", {L"a", L"b", L"", L"c"});
  show(L"No arguments for [ProductName].", {});
  show(L"[2]", {long_text});
  const Arguments one = {L"one"};
  msi::ShowErrorBox(msi::InstallerSession(0), L"[2]", &one);
  msi::ShowErrorBox(session, L"[2]", nullptr);
  ::SetEvent(stop.Get());
  closer.Join();
  CHECK(texts == Arguments{L"one", L"<a|b|>", L"No arguments for Test product.", long_text});
}
