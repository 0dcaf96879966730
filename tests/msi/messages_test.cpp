#include "msi/messages.h"

#include <doctest.h>

#include "support/make_row.h"
#include "support/msi_session_rig.h"
#include "support/scripted_ui.h"
#include "support/test_package.h"
#include "util/text.h"

using msi::PromptAnswer;
using test::MsiSessionRig;
using test::ScriptedUi;
using test::TestPackage;

namespace {

constexpr UINT kErrorOk = 0x01010000;
constexpr UINT kWarningYesNo = 0x02010004;

}  // namespace

TEST_CASE("a prompt is an error that stops or a warning that only Yes gets past") {
  TestPackage package;
  package.Close();
  ScriptedUi ui;
  MsiSessionRig rig(package);
  const struct {
    const wchar_t* options;
    bool forbid_error_form;
    int answer;
    UINT type;
    PromptAnswer result;
  } cases[] = {
      {L"m", false, IDOK, kErrorOk, PromptAnswer::kStop},
      {L"pm", false, IDYES, kErrorOk, PromptAnswer::kStop},
      {L"m", true, IDYES, kWarningYesNo, PromptAnswer::kGoOn},
      {L"m", true, IDNO, kWarningYesNo, PromptAnswer::kStop},
      {L"", false, IDYES, kWarningYesNo, PromptAnswer::kGoOn},
      {L"M", false, IDYES, kWarningYesNo, PromptAnswer::kGoOn},
      {L"", true, 0, kWarningYesNo, PromptAnswer::kStop},
      {L"", true, IDCANCEL, kWarningYesNo, PromptAnswer::kStop},
      {L"", true, IDOK, kWarningYesNo, PromptAnswer::kStop},
  };
  for (const auto& [options, forbid, answer, type, result] : cases) {
    CAPTURE(util::ToAnsi(options));
    CAPTURE(forbid);
    CAPTURE(answer);
    ui.Clear();
    ui.Answer(type == kErrorOk ? INSTALLMESSAGE_ERROR : INSTALLMESSAGE_WARNING, answer);
    CHECK(msi::PromptUser(rig.handle(), 4153, 4154, forbid, L"the [name]",
                          test::MakeRow({{L"Options", options}})) == result);
    REQUIRE(ui.messages().size() == 1);
    const test::UiMessage& message = ui.messages()[0];
    CHECK(message.type == type);
    CHECK(message.fields.size() == 3);
    CHECK(message.Field(1) == (type == kErrorOk ? L"4153" : L"4154"));
    CHECK(message.Field(2) == L"the [name]");
  }
  CHECK(rig.CountLeakedHandles() == 0);
}

TEST_CASE("a text of the package is found by its exact key") {
  TestPackage package;
  package.Execute(
      L"CREATE TABLE `UIText` (`Key` CHAR(72) NOT NULL, `Text` CHAR(0) LOCALIZABLE PRIMARY KEY "
      L"`Key`)");
  const std::wstring long_text(2000, L'u');
  package.Execute(L"INSERT INTO `UIText` (`Key`,`Text`) VALUES ('short','One [2]')");
  package.Execute(L"INSERT INTO `UIText` (`Key`,`Text`) VALUES ('long','" + long_text + L"')");
  package.Execute(L"INSERT INTO `UIText` (`Key`) VALUES ('null')");
  package.Close();
  ScriptedUi ui;
  MsiSessionRig rig(package);
  const struct {
    const wchar_t* key;
    bool found;
    std::wstring text;
  } cases[] = {
      {L"short", true, L"One [2]"}, {L"long", true, long_text}, {L"null", true, L""},
      {L"Short", false, L""},       {L"missing", false, L""},   {L"it's", false, L""},
  };
  for (const auto& [key, found, wanted] : cases) {
    CAPTURE(util::ToAnsi(key));
    std::wstring text = L"old";
    CHECK(msi::GetUIText(rig.handle(), key, &text) == found);
    CHECK(text == wanted);
  }
  CHECK(rig.CountLeakedHandles() == 0);
  std::wstring text = L"old";
  CHECK_FALSE(msi::GetUIText(0, L"short", &text));
  CHECK(text.empty());
}

TEST_CASE("a record that could not be made or filled is not sent") {
  TestPackage package;
  package.Close();
  ScriptedUi ui;
  MsiSessionRig rig(package);
  ui.Clear();
  CHECK(msi::MessageRecord(1).Set(2, L"no such field").Send(rig.handle(), INSTALLMESSAGE_INFO) ==
        -1);
  CHECK(msi::MessageRecord(1).Set(2, 1).Set(1, L"x").Send(rig.handle(), INSTALLMESSAGE_INFO) == -1);
  CHECK(msi::MessageRecord(0x10000).Send(rig.handle(), INSTALLMESSAGE_INFO) == -1);
  CHECK(ui.messages().empty());
  CHECK(rig.CountLeakedHandles() == 0);
}

namespace {

// Closes the next box that this process shows and keeps what it said.
class BoxCloser {
 public:
  BoxCloser() : stop_(::CreateEventW(nullptr, TRUE, FALSE, nullptr)) {
    thread_.Reset(::CreateThread(nullptr, 0, &Run, this, 0, nullptr));
  }
  ~BoxCloser() { Stop(); }
  void Stop() {
    ::SetEvent(stop_.Get());
    ::WaitForSingleObject(thread_.Get(), INFINITE);
  }
  [[nodiscard]] const std::vector<std::wstring>& texts() const { return texts_; }

 private:
  static DWORD WINAPI Run(void* context) {
    auto* const self = static_cast<BoxCloser*>(context);
    while (::WaitForSingleObject(self->stop_.Get(), 20) == WAIT_TIMEOUT) {
      HWND box = nullptr;
      while ((box = ::FindWindowExW(nullptr, box, L"#32770", nullptr)) != nullptr) {
        DWORD process = 0;
        ::GetWindowThreadProcessId(box, &process);
        if (process != ::GetCurrentProcessId() || !::IsWindowVisible(box)) continue;
        wchar_t text[6000] = L"";
        ::SendDlgItemMessageW(box, 0xFFFF, WM_GETTEXT, 6000, reinterpret_cast<LPARAM>(text));
        self->texts_.emplace_back(text);
        ::SendMessageW(box, WM_COMMAND, IDOK, 0);
        break;
      }
    }
    return 0;
  }

  util::UniqueKernelHandle stop_;
  util::UniqueKernelHandle thread_;
  std::vector<std::wstring> texts_;
};

}  // namespace

TEST_CASE("the error box counts its arguments from 2, up to the first empty one") {
  TestPackage package;
  package.Close();
  ScriptedUi ui;
  MsiSessionRig rig(package);
  BoxCloser closer;
  using Arguments = std::vector<std::wstring>;
  const struct {
    const wchar_t* text;
    Arguments arguments;
    std::wstring shown;
  } cases[] = {
      {L"[2]", {L"one"}, L"one"},
      {L"[1]<[2]|[3]|[5]>", {L"a", L"b", L"", L"c"}, L"<a|b|>"},
      {L"No arguments for [ProductName].", {}, L"No arguments for Test product."},
      {L"[2]", {std::wstring(3000, L'z')}, std::wstring(3000, L'z')},
  };
  std::vector<std::wstring> wanted;
  for (const auto& [text, arguments, shown] : cases) {
    msi::ShowErrorBox(rig.handle(), text, &arguments);
    wanted.push_back(shown);
  }
  const Arguments one = {L"one"};
  msi::ShowErrorBox(0, L"[2]", &one);
  msi::ShowErrorBox(rig.handle(), L"[2]", nullptr);
  closer.Stop();
  CHECK(closer.texts() == wanted);
  CHECK(rig.CountLeakedHandles() == 0);
}
