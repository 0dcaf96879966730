// The program itself: what build scripts see of it.

#include <windows.h>

#include <doctest.h>

#include <string>

#include "good_package.h"
#include "util/text.h"
#include "util/unique_handle.h"

namespace {

struct Run {
  DWORD exit_code = 0;
  std::string output;
};

Run RunChecker(const test::TempFolder& folder, const std::wstring& arguments) {
  const std::wstring log = folder / L"output.txt";
  SECURITY_ATTRIBUTES inherited = {sizeof(inherited), nullptr, TRUE};
  util::UniqueFile output(::CreateFileW(log.c_str(), GENERIC_WRITE, FILE_SHARE_READ, &inherited,
                                        CREATE_ALWAYS, 0, nullptr));
  REQUIRE(output);
  STARTUPINFOW startup = {};
  startup.cb = sizeof(startup);
  startup.dwFlags = STARTF_USESTDHANDLES;
  startup.hStdOutput = output.Get();
  startup.hStdError = output.Get();
  PROCESS_INFORMATION process = {};
  std::wstring line = L"\"" + test::ProgramFolder() + L"\\check_package.exe\" " + arguments;
  REQUIRE(::CreateProcessW(nullptr, line.data(), nullptr, nullptr, TRUE, 0, nullptr,
                           folder.path().c_str(), &startup, &process));
  ::CloseHandle(process.hThread);
  const util::UniqueKernelHandle owner(process.hProcess);
  REQUIRE(::WaitForSingleObject(process.hProcess, 60000) == WAIT_OBJECT_0);
  Run run;
  REQUIRE(::GetExitCodeProcess(process.hProcess, &run.exit_code));
  output.Reset();
  run.output = test::ReadWholeFile(log);
  return run;
}

}  // namespace

TEST_CASE("build scripts get an exit code and a line for each finding") {
  const test::GoodPackage good;
  const test::TempFolder& folder = good.folder();
  // One error and one warning.
  REQUIRE(::MoveFileW(good.Broken(L"UPDATE `QX_PreRequisite` SET `MD5`='abc' WHERE "
                                  L"`DisplayName`='Runtime'\n"
                                  L"DELETE FROM `Error` WHERE `Error`=4153")
                          .c_str(),
                      (folder / L"a b.msi").c_str()));
  folder.Write(L"text.msi", "no package");
  folder.Write(L"damaged.msi", "\xD0\xCF\x11\xE0\xA1\xB1\x1A\xE1");
  REQUIRE(::CreateDirectoryW((folder / L"folder.msi").c_str(), nullptr));
  const struct {
    const wchar_t* arguments;
    DWORD exit_code;
    const char* output;  // Its end.
  } cases[] = {
      {L"package.msi", 0, "package.msi: no errors, no warnings\r\n"},
      {L"/strict package.msi", 0, "package.msi: no errors, no warnings\r\n"},
      {L"\"a b.msi\"", 1, "a b.msi: 1 error, 1 warning\r\n"},
      {L"/ignore:PRE235 \"a b.msi\"", 0, "a b.msi: no errors, 1 warning\r\n"},
      {L"/ignore:PRE235 /strict \"a b.msi\"", 1, "a b.msi: no errors, 1 warning\r\n"},
      {L"/ignore:PRE602,PRE235 /strict \"a b.msi\"", 0, "a b.msi: no errors, no warnings\r\n"},
      {L"\"a b.msi\" package.msi", 1, "package.msi: no errors, no warnings\r\n"},
      {L"/ignore:pre235 \"a b.msi\"", 0, "a b.msi: no errors, 1 warning\r\n"},
      {L"/ignore: package.msi", 0, "package.msi: no errors, no warnings\r\n"},
      {L"/ignore:BOGUS package.msi", 2, "what it means.\n"},
      {L"/ignore:PRE235,PRE999 package.msi", 2, "what it means.\n"},
      {L"/ignore:PRE514,PRE001,PRE331 package.msi", 0, "no warnings\r\n"},
      {L"text.msi", 2, "text.msi: error PRE000: the file is no installer package\r\n"},
      {L"missing.msi", 2, "missing.msi: error PRE000: there is no such file\r\n"},
      {L"no\\missing.msi", 2, "error PRE000: there is no such file\r\n"},
      {L"folder.msi", 2, "a folder, not an installer package\r\n"},
      {L"damaged.msi", 2, ")\r\n"},
      {L"missing.msi package.msi", 2, "package.msi: no errors, no warnings\r\n"},
      {L"missing.msi \"a b.msi\"", 2, "a b.msi: 1 error, 1 warning\r\n"},
      {L"/?", 0, "what it means.\n"},
      {L"--help package.msi", 0, "what it means.\n"},
      {L"", 2, "what it means.\n"},
      {L"/wrong package.msi", 2, "what it means.\n"},
      {L"/strict", 2, "what it means.\n"},
  };
  for (const auto& [arguments, exit_code, output] : cases) {
    CAPTURE(util::ToAnsi(arguments));
    const Run run = RunChecker(folder, arguments);
    CAPTURE(run.output);
    CHECK(run.exit_code == exit_code);
    CHECK(run.output.ends_with(output));
  }
  CHECK(RunChecker(folder, L"/ignore:Bogus package.msi")
            .output.starts_with("\"Bogus\" is the key of"));
  CHECK(RunChecker(folder, L"\"a b.msi\"")
            .output.starts_with("a b.msi: error PRE235: QX_PreRequisite, row \"key-Runtime\", "
                                "column MD5: \"abc\" is not 32 hexadecimal digits"));
}
