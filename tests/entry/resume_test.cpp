#include <windows.h>
#include <mstask.h>

#include <doctest.h>

#include <cstring>
#include <string>

#include "prereq/resume.h"
#include "support/msi_session_rig.h"
#include "support/test_package.h"
#include "util/scheduler.h"
#include "util/scope_exit.h"
#include "util/text.h"
#include "util/unique_handle.h"

using test::MsiSessionRig;
using test::TestPackage;

// Wine refuses the name of a job that ends in ".job", so what the install phase registers here is
// the `Run` value.
namespace {

util::UniqueRegistryKey OpenRunKey() {
  util::UniqueRegistryKey key;
  REQUIRE(::RegCreateKeyExW(HKEY_CURRENT_USER, L"Software\\Microsoft\\Windows\\CurrentVersion\\Run",
                            0, nullptr, 0, KEY_READ | KEY_WRITE, nullptr, key.Receive(),
                            nullptr) == ERROR_SUCCESS);
  return key;
}

constexpr char kNoValue[] = "(none)";

// The text of the value; "(malformed)" when it is not a terminated text.
std::string ReadRunValue(const std::wstring& name) {
  const util::UniqueRegistryKey key = OpenRunKey();
  DWORD type = 0;
  wchar_t text[2000];
  DWORD bytes = sizeof(text);
  if (::RegQueryValueExW(key.Get(), name.c_str(), nullptr, &type, reinterpret_cast<BYTE*>(text),
                         &bytes) != ERROR_SUCCESS) {
    return kNoValue;
  }
  const size_t length = bytes / sizeof(wchar_t);
  if (type != REG_SZ || length == 0 || text[length - 1] != L'\0') return "(malformed)";
  return util::ToAnsi(std::wstring_view(text, length - 1));
}

void WriteRunValue(const std::wstring& name) {
  REQUIRE(::RegSetValueExW(OpenRunKey().Get(), name.c_str(), 0, REG_SZ,
                           reinterpret_cast<const BYTE*>(L"x"), 4) == ERROR_SUCCESS);
}

void DeleteRunValue(const std::wstring& name) {
  (void)::RegDeleteValueW(OpenRunKey().Get(), name.c_str());
}

void Replace(std::string* text, const char* mark, const std::wstring& value) {
  const size_t at = text->find(mark);
  if (at != std::string::npos) text->replace(at, std::strlen(mark), util::ToAnsi(value));
}

// The registry tool writes UTF-16.
std::wstring ReadWideFile(const std::wstring& path) {
  const std::string bytes = test::ReadWholeFile(path);
  std::wstring text(bytes.size() / sizeof(wchar_t), L'\0');
  std::memcpy(text.data(), bytes.data(), text.size() * sizeof(wchar_t));
  return text;
}

// A prerequisite whose setup is a copy of the registry tool: it writes the `Run` key as it stands
// while the setup runs into `report`.
void AddReportingPrerequisite(TestPackage* package, const std::wstring& report) {
  REQUIRE(::CopyFileW(L"C:\\windows\\system32\\reg.exe", (package->folder() / L"setup.exe").c_str(),
                      FALSE));
  package->AddPrerequisite(
      {.name = L"reporting",
       .missing = L"1=1",
       .target = L"setup.exe",
       .arguments = L"export HKCU\\Software\\Microsoft\\Windows\\CurrentVersion\\Run \"" + report +
                    L"\" /y"});
}

}  // namespace

TEST_CASE("the install phase registers the command before the first setup runs") {
  struct Row {
    const wchar_t* external_ui;
    const wchar_t* installed;
    std::string command;  // Marks in braces stand for the package's own values.
  };
  const std::string rest =
      "QX_RESUME=1 ADDLOCAL=\"Main\" INSTALLLEVEL=\"1\" ROOTDRIVE=\"C:\\\\\" TARGETDIR=\"C:\\\\\"";
  for (const Row& row :
       {Row{L"", L"", "C:\\windows\\system32\\msiexec.exe /i \"{package}\"" + rest},
        Row{L"", L"2026/01/01", "C:\\windows\\system32\\msiexec.exe /i {code}" + rest},
        Row{L"1", L"", "{folder}\\all in one.exe /i \"{package}\"" + rest},
        Row{L"1", L"2026/01/01", "{folder}\\all in one.exe /i \"{package}\"" + rest}}) {
    CAPTURE(row.command);
    TestPackage package;
    const std::wstring report = package.folder() / L"run.reg";
    AddReportingPrerequisite(&package, report);
    package.Close();
    const util::ScopeExit remove([&] { DeleteRunValue(package.product_code()); });
    MsiSessionRig rig(package);
    rig.SetProperty(L"QX_SETUPEXEPATH", package.folder() / L"all in one.exe");
    rig.SetProperty(L"QXEXTERNALUI", row.external_ui);
    rig.SetProperty(L"Installed", row.installed);
    rig.SetProperty(L"ADDLOCAL", L"Main");
    CHECK(rig.Call("InstallPrereq") == 0);

    std::string expected = row.command;
    Replace(&expected, "{package}", package.path());
    Replace(&expected, "{folder}", package.folder().path());
    Replace(&expected, "{code}", package.product_code());
    CHECK(ReadRunValue(package.product_code()) == expected);
    CHECK(ReadWideFile(report).find(package.product_code()) != std::wstring::npos);
    CHECK(rig.CountLeakedHandles() == 0);
  }
}

TEST_CASE("a phase with nothing to install registers nothing") {
  TestPackage package;
  package.AddPrerequisite({.name = L"absent", .missing = L"1=1", .target = L"no such setup.exe"});
  package.Close();
  MsiSessionRig rig(package);
  rig.SetProperty(L"QX_SETUPEXEPATH", package.folder() / L"all in one.exe");
  CHECK(rig.Call("InstallPrereq") == 0);
  CHECK(ReadRunValue(package.product_code()) == kNoValue);
  CHECK(rig.CountLeakedHandles() == 0);
}

TEST_CASE("removal takes the Run value only along with a job") {
  struct Row {
    bool has_job;
    bool has_value;
    bool answer;
    bool value_stays;
  };
  for (const Row& row : {Row{true, true, true, false}, Row{true, false, false, false},
                         Row{false, true, true, true}, Row{false, false, true, false}}) {
    CAPTURE(row.has_job);
    CAPTURE(row.has_value);
    const std::wstring code = test::NewGuid();
    const util::ScopeExit remove([&] { DeleteRunValue(code); });
    // A name with ".job" at its end means the same job; Wine takes only the bare one.
    SYSTEMTIME now = {};
    ::GetSystemTime(&now);
    if (row.has_job) {
      REQUIRE(util::CreateScheduledJob(
          {.name = code,
           .program = L"C:\\x.exe",
           .arguments = L"",
           .account = L"domain\\user",
           .flags = TASK_FLAG_RUN_ONLY_IF_LOGGED_ON,
           .trigger = {.kind = util::TriggerKind::kAtLogon, .start = now}}));
    }
    if (row.has_value) WriteRunValue(code);
    CHECK(prereq::RemoveResumeRegistration(code) == row.answer);
    CHECK((ReadRunValue(code) != kNoValue) == row.value_stays);
    CHECK_FALSE(util::DeleteScheduledJob(code));
  }
}
