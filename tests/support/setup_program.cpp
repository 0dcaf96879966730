#include "support/setup_program.h"

#include <windows.h>

#include <doctest.h>

#include <algorithm>

#include "util/text.h"

namespace test {
namespace {

// Cuts a command line behind the program's name.
SetupRun ParseCommandLine(const std::wstring& line) {
  const bool quoted = line.front() == L'"';
  const size_t end = std::min(line.find(quoted ? L'"' : L' ', 1), line.size());
  const size_t start = line.find_first_not_of(L' ', std::min(end + 1, line.size()));
  return {line.substr(quoted, end - quoted), start == line.npos ? L"" : line.substr(start), {}};
}

}  // namespace

SetupProgram::SetupProgram(const TempFolder& folder, std::wstring_view name)
    : path_(folder.Write(name, {})) {
  REQUIRE(::CopyFileW((ProgramFolder() + L"\\echo_program.exe").c_str(),
                      (L"\\\\?\\" + path_).c_str(), FALSE));
}

std::vector<SetupRun> ReadRuns(const std::wstring& log_path) {
  const std::string bytes = ReadWholeFile(log_path);
  const std::wstring log(reinterpret_cast<const wchar_t*>(bytes.data()),
                         bytes.size() / sizeof(wchar_t));
  std::vector<SetupRun> runs;
  for (const std::wstring& line : util::Split(log, L'\n')) {
    if (line.empty()) continue;
    const std::vector<std::wstring> parts = util::Split(line, L'|');
    REQUIRE(parts.size() == 3);
    SetupRun& run = runs.emplace_back(ParseCommandLine(parts[0]));
    run.folder = parts[1];
    run.hidden = parts[2] == L"hidden";
  }
  return runs;
}

std::vector<std::wstring> SetupProgram::Arguments() const {
  std::vector<std::wstring> arguments;
  for (const SetupRun& run : Runs()) arguments.push_back(run.arguments);
  return arguments;
}

}  // namespace test
