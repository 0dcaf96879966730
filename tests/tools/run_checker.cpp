#include "run_checker.h"

#include <doctest.h>

#include "util/unique_handle.h"

namespace test {

CheckerRun RunChecker(const TempFolder& folder, const std::wstring& arguments) {
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
  std::wstring line = L"\"" + ProgramFolder() + L"\\check_package.exe\" " + arguments;
  REQUIRE(::CreateProcessW(nullptr, line.data(), nullptr, nullptr, TRUE, 0, nullptr,
                           folder.path().c_str(), &startup, &process));
  ::CloseHandle(process.hThread);
  const util::UniqueKernelHandle owner(process.hProcess);
  REQUIRE(::WaitForSingleObject(process.hProcess, 60000) == WAIT_OBJECT_0);
  CheckerRun run;
  REQUIRE(::GetExitCodeProcess(process.hProcess, &run.exit_code));
  output.Reset();
  run.output = ReadWholeFile(log);
  return run;
}

}  // namespace test
