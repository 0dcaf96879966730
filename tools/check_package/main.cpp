// Opens packages and says what is wrong in the tables of this library.

#include <windows.h>

#include <algorithm>
#include <iterator>
#include <string>
#include <string_view>
#include <vector>

#include "checks.h"
#include "util/error_text.h"
#include "util/text.h"
#include "util/unique_handle.h"

namespace {

constexpr wchar_t kUsage[] =
    L"Says what is wrong in the tables that Prereq.dll reads.\n"
    L"\n"
    L"usage: check_package [/strict] [/ignore:KEY[,KEY...]] <package.msi>...\n"
    L"\n"
    L"  /strict       warnings count as errors for the exit code\n"
    L"  /ignore:KEY   leaves out findings with that key, such as PRE512\n"
    L"  /?, --help    this text\n"
    L"\n"
    L"A line for each finding:  <package>: error PRE235: <table, row, column>: <what is wrong>\n"
    L"and one at the end:       <package>: 1 error, no warnings\n"
    L"\n"
    L"Exit code 0: nothing is wrong, or warnings only; 1: there are errors; 2: a package could "
    L"not\n"
    L"be opened, or the command line is wrong. Nothing is changed or installed. tools/README.md\n"
    L"has every key and what it means.\n";

constexpr check::Kind kNotOpened{L"PRE000", check::Severity::kError};

enum ExitCode { kFine = 0, kErrors = 1, kNotChecked = 2 };

struct Options {
  bool wants_help = false;
  bool is_strict = false;
  bool is_understood = true;
  std::wstring complaint;
  std::vector<std::wstring> ignored;
  std::vector<std::wstring> packages;
};

// A console gets the letters as they are, a file or another program those of the ANSI code page.
void Print(DWORD stream, const std::wstring& text) {
  const HANDLE out = ::GetStdHandle(stream);
  DWORD mode = 0;
  DWORD written = 0;
  if (::GetConsoleMode(out, &mode)) {
    ::WriteConsoleW(out, text.data(), static_cast<DWORD>(text.size()), &written, nullptr);
    return;
  }
  const std::string narrow = util::ToAnsi(text);
  ::WriteFile(out, narrow.data(), static_cast<DWORD>(narrow.size()), &written, nullptr);
}

void PrintLine(const std::wstring& line) { Print(STD_OUTPUT_HANDLE, line + L"\r\n"); }

wchar_t ToUpper(wchar_t letter) {
  return letter >= L'a' && letter <= L'z' ? static_cast<wchar_t>(letter - L'a' + L'A') : letter;
}

Options ReadOptions(int count, wchar_t** values) {
  constexpr std::wstring_view kIgnore = L"/ignore:";
  Options options;
  for (int i = 1; i < count; ++i) {
    const std::wstring value = values[i];
    if (value == L"/?" || value == L"-?" || value == L"/help" || value == L"--help") {
      options.wants_help = true;
    } else if (value == L"/strict" || value == L"--strict") {
      options.is_strict = true;
    } else if (value.starts_with(kIgnore) || value.starts_with(L"--ignore=")) {
      const size_t start = value.find_first_of(L":=") + 1;
      for (std::wstring& key : util::Split(value.substr(start), L',')) {
        if (key.empty()) continue;
        const std::wstring as_written = key;
        std::transform(key.begin(), key.end(), key.begin(), &ToUpper);
        if (!check::IsKey(key)) {
          options.complaint = check::Quoted(as_written) + L" is the key of no finding\n\n";
        }
        options.ignored.push_back(std::move(key));
      }
    } else if (value.starts_with(L'-') ||
               (value.starts_with(L'/') && value.find(L'/', 1) == value.npos)) {
      // A path of another system has a second slash.
      options.is_understood = false;
    } else {
      options.packages.push_back(value);
    }
  }
  if (options.packages.empty() || !options.complaint.empty()) options.is_understood = false;
  return options;
}

std::wstring WithReason(const wchar_t* text, DWORD error) {
  std::wstring reason = util::ErrorText(error);
  while (!reason.empty() && reason.back() <= L' ') reason.pop_back();
  return text + reason + L" (" + util::ToDecimal(error) + L")";
}

// The installer has one code for all of this. `error` is the one that it gave.
std::wstring WhyNotOpened(const std::wstring& path, DWORD error) {
  const DWORD attributes = ::GetFileAttributesW(path.c_str());
  if (attributes == INVALID_FILE_ATTRIBUTES) {
    const DWORD reason = ::GetLastError();
    return reason == ERROR_FILE_NOT_FOUND || reason == ERROR_PATH_NOT_FOUND
               ? L"there is no such file"
               : WithReason(L"the file cannot be opened: ", reason);
  }
  if (attributes & FILE_ATTRIBUTE_DIRECTORY) return L"this is a folder, not an installer package";
  const util::UniqueFile file(::CreateFileW(path.c_str(), GENERIC_READ, FILE_SHARE_READ, nullptr,
                                            OPEN_EXISTING, 0, nullptr));
  if (!file) return WithReason(L"the file cannot be opened: ", ::GetLastError());
  // What every file of the kind begins with.
  constexpr unsigned char kMark[] = {0xD0, 0xCF, 0x11, 0xE0, 0xA1, 0xB1, 0x1A, 0xE1};
  unsigned char start[sizeof(kMark)] = {};
  DWORD length = 0;
  if (!::ReadFile(file.Get(), start, sizeof(start), &length, nullptr)) {
    return WithReason(L"the file cannot be read: ", ::GetLastError());
  }
  if (!std::equal(std::begin(kMark), std::end(kMark), start)) {
    return L"the file is no installer package";
  }
  return WithReason(L"the file is no installer package, or a damaged one: ", error);
}

ExitCode Check(const std::wstring& path, const Options& options) {
  check::Package package;
  if (const DWORD error = package.Open(path)) {
    PrintLine(check::FormatFinding(path, {kNotOpened, L"", WhyNotOpened(path, error)}));
    return kNotChecked;
  }
  check::Report report;
  for (const std::wstring& key : options.ignored) report.Ignore(key);
  check::CheckPackage(package, &report);
  for (const check::Finding& finding : report.findings()) {
    PrintLine(check::FormatFinding(path, finding));
  }
  PrintLine(check::FormatVerdict(path, report));
  const bool fails = report.Count(check::Severity::kError) != 0 ||
                     (options.is_strict && !report.findings().empty());
  return fails ? kErrors : kFine;
}

}  // namespace

int wmain(int count, wchar_t** values) {
  const Options options = ReadOptions(count, values);
  if (options.wants_help || !options.is_understood) {
    Print(options.wants_help ? STD_OUTPUT_HANDLE : STD_ERROR_HANDLE,
          (options.wants_help ? L"" : options.complaint) + kUsage);
    return options.wants_help ? kFine : kNotChecked;
  }
  int result = kFine;
  for (const std::wstring& path : options.packages) {
    const ExitCode code = Check(path, options);
    if (code > result) result = code;
  }
  return result;
}
