#include "reliability/busy_session.h"

#include "support/pipe_client.h"
#include "support/worker.h"
#include "util/ansi_text.h"
#include "util/files.h"
#include "util/text.h"

namespace test {
namespace {

constexpr wchar_t kKitTables[] = PREREQ_PACKAGE_DIR L"\\tables";
constexpr int kMissing = 3;  // Prerequisites that the verification asks about.
constexpr size_t kServedBytes = 14;

}  // namespace

BusySession::BusySession() {
  key_.SetText("Version", "2.1");
  package_.AddPrerequisite({.name = L"before", .sequence = 1, .target = L"setup.exe"});
  package_.AddPrerequisite(
      {.name = L"after", .sequence = 2, .target = L"setup.exe", .options = L"p"});
  package_.AddPrerequisite({.name = L"packed", .sequence = 3, .target = L"packed.exe"});
  package_.AddPrerequisite(
      {.name = L"fetched",
       .sequence = 4,
       .location = L"1",
       .url = util::ToWide(server_.Url("size=" + std::to_string(kServedBytes), "get.exe")),
       .size = util::ToDecimal(kServedBytes)});
  package_.Import(kKitTables, L"QX_AppSearchEx.idt");
  const auto search = [&](const std::wstring& property, int type, const std::wstring& text) {
    package_.Execute(
        L"INSERT INTO `QX_AppSearchEx` (`Property`,`Order`,`Type`,`SearchString`,`VerMin`) VALUES "
        L"('" +
        property + L"',1," + util::ToSignedDecimal(type) + L",'" + text + L"','1.0')");
  };
  search(L"FOUNDVALUE", 2, key_.wide_path() + L"\\Version");
  search(L"FOUNDKEY", 5, key_.wide_path());
  search(L"FOUNDFILE", 0, folder_ / L"source\\*.exe?1");
  package_.Close();
  rig_.emplace(package_);
  rig_->SetProperty(L"QX_EXTRACT_DIR", folder_ / L"work");
  rig_->SetProperty(L"QX_DOWNLOAD_DIR", folder_ / L"down");
  rig_->SetProperty(L"QX_SETUPEXEPATH", bootstrap_.path());
}

void BusySession::Prepare() {
  for (const wchar_t* name : {L"QX_PREREQFILES", L"QX_PREREQDIRS", L"QX_FilesInsideExe",
                              L"FOUNDVALUE", L"FOUNDKEY", L"FOUNDFILE"}) {
    rig_->SetProperty(name, L"");
  }
  util::RemoveFile(folder_ / L"down\\get.exe");
  util::RemoveFile(setup_.path() + L".log");
  util::RemoveFile(bootstrap_.path() + L".log");
  ui_.Clear();
}

bool BusySession::Run(const std::string& custom_action, const std::function<UINT()>& call) {
  Prepare();
  if (custom_action == "VerifyPrereq") {
    // No more than it asks for: what is left over would pile up in this process.
    for (int row = 0; row < kMissing; ++row) ui_.Answer(INSTALLMESSAGE_WARNING, IDYES);
  }
  bool asked = true;
  std::optional<Worker> client;
  if (custom_action == "ExtractPrereq") {
    rig_->SetProperty(L"QX_FilesInsideExe", L"1");
    client.emplace([&asked] {
      const PipeClient pipe(util::ToDecimalAnsi(::GetCurrentProcessId()));
      asked = pipe.Ask(kPipeFile) == L"OK" && pipe.Ask(L"C:\\x") == L"OK";
      pipe.Say(L"CLOSE");
    });
  } else if (custom_action == "CleanPrereq") {
    rig_->SetProperty(L"QX_PREREQDIRS", folder_ / L"work");
    rig_->SetProperty(L"QX_PREREQFILES", folder_.Write(L"work\\sub\\left.exe", "x"));
  }
  const UINT result = call();
  client.reset();
  if (result != ERROR_SUCCESS || !asked) return false;
  if (custom_action == "DoAppSearchEx") {
    return rig_->Property(L"FOUNDVALUE") == L"2.1" && rig_->Property(L"FOUNDKEY") == L"1";
  }
  if (custom_action == "DownloadPrereq") {
    return ReadWholeFile(folder_ / L"down\\get.exe") == ServedContent(kServedBytes);
  }
  if (custom_action == "ExtractPrereq") return rig_->Property(L"QX_PREREQFILES") == L"C:\\x";
  if (custom_action == "VerifyPrereq") return ui_.Prompts().size() == kMissing;
  if (custom_action == "CleanPrereq") return !util::PathExists(folder_ / L"work\\sub");
  return setup_.Runs().size() == 1;
}

}  // namespace test
