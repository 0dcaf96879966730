// Opens packages and says what is wrong in the tables of this library.

#include <windows.h>

#include <algorithm>
#include <iterator>
#include <string>
#include <vector>

#include "checks.h"
#include "guard.h"
#include "options.h"
#include "output.h"
#include "text_file.h"
#include "util/error_text.h"
#include "util/md5.h"
#include "util/text.h"
#include "util/unique_handle.h"
#include "version.h"

#define WIDE_TEXT(text) L##text
#define WIDE(text) WIDE_TEXT(text)

// Patterns are replaced by the program itself, alike wherever it runs.
extern "C" {
int _dowildcard = 0;
}

namespace {

enum ExitCode { kFine = 0, kErrors = 1, kNotChecked = 2 };

constexpr wchar_t kVersion[] = WIDE(PREREQ_VERSION_TEXT);

// A console gets the letters as they are, a file or another program UTF-8.
void Print(DWORD stream, const std::wstring& text) {
  const HANDLE out = ::GetStdHandle(stream);
  DWORD mode = 0;
  DWORD written = 0;
  if (::GetConsoleMode(out, &mode)) {
    ::WriteConsoleW(out, text.data(), static_cast<DWORD>(text.size()), &written, nullptr);
    return;
  }
  const std::string narrow = check::ToUtf8(text);
  ::WriteFile(out, narrow.data(), static_cast<DWORD>(narrow.size()), &written, nullptr);
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
    return reason == ERROR_FILE_NOT_FOUND || reason == ERROR_PATH_NOT_FOUND ||
                   reason == ERROR_INVALID_NAME  // A pattern that nothing fits.
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

// What the package was made from must have another code, unless it is that very file.
void CheckBase(const check::Package& package, const std::wstring& path, const std::wstring& base,
               check::Report* report) {
  check::Package other;
  if (const DWORD error = other.OpenToRead(base)) {
    report->Add(check::kNotOpened, {}, {base + L": " + WhyNotOpened(base, error)});
  } else if (package.PackageCode() == other.PackageCode() &&
             util::ReadFileMd5(path) != util::ReadFileMd5(base)) {
    report->Add(check::kSamePackageCode, {}, {package.PackageCode(), base});
  }
}

check::Verdict Check(const std::wstring& path, check::Options* options) {
  check::Verdict verdict = {check::Report(path)};
  check::Package package;
  if (const DWORD error = package.Open(path)) {
    verdict.was_opened = false;
    verdict.report.Add(check::kNotOpened, {}, {WhyNotOpened(path, error)});
    return verdict;
  }
  check::IgnoreList beside;
  beside.AddFile(path + L".ignore");
  if (!options->base.empty()) CheckBase(package, path, options->base, &verdict.report);
  check::CheckPackage(package, &verdict.report);
  // Each list takes its own away, so that both know what they were for.
  check::Report all = verdict.report;
  options->ignored.Apply(&all);
  beside.Apply(&verdict.report);
  options->ignored.Apply(&verdict.report);
  beside.ReportUnused(&verdict.report);
  return verdict;
}

ExitCode CodeOf(const check::Verdict& verdict, bool is_strict) {
  const auto& findings = verdict.report.findings();
  if (std::any_of(findings.begin(), findings.end(), [](const check::Finding& finding) {
        return finding.kind == check::kNotOpened.kind;
      })) {
    return kNotChecked;
  }
  const bool fails = verdict.report.Count(check::Severity::kError) != 0 ||
                     (is_strict && !verdict.report.findings().empty());
  return fails ? kErrors : kFine;
}

// Prints all, and says how the program ends.
int Finish(const std::vector<check::Verdict>& verdicts, const check::Options& options) {
  std::wstring text;
  int code = kFine;
  for (const check::Verdict& verdict : verdicts) {
    code = std::max<int>(code, CodeOf(verdict, options.is_strict));
    if (options.format == check::OutputFormat::kText) text += check::FormatText(verdict);
  }
  if (options.format == check::OutputFormat::kJson) text = check::FormatJson(verdicts);
  if (options.format == check::OutputFormat::kSarif) text = check::FormatSarif(verdicts, kVersion);
  Print(STD_OUTPUT_HANDLE, text);
  return code;
}

int Run(check::Options* options) {
  std::vector<check::Verdict> verdicts;
  for (const std::wstring& path : options->packages) {
    const check::Guard guard(options->limit_seconds, [&](const wchar_t* why) {
      check::Verdict verdict = {check::Report(path), /*was_opened=*/false};
      verdict.report.Add(check::kNotOpened, {}, {why});
      verdicts.push_back(std::move(verdict));
      ::TerminateProcess(::GetCurrentProcess(), static_cast<UINT>(Finish(verdicts, *options)));
    });
    verdicts.push_back(Check(path, options));
  }
  check::Verdict of_command_line = {check::Report(L"command line")};
  options->ignored.ReportUnused(&of_command_line.report);
  if (!of_command_line.report.findings().empty()) verdicts.push_back(std::move(of_command_line));
  return Finish(verdicts, *options);
}

}  // namespace

int wmain(int count, wchar_t** values) {
  check::Options options = check::ReadOptions({values + 1, values + count});
  if (options.wants_help) {
    Print(STD_OUTPUT_HANDLE, check::kUsage);
    return kFine;
  }
  if (!options.complaint.empty()) {
    Print(STD_ERROR_HANDLE, options.complaint + L"\n\n" + check::kUsage);
    return kNotChecked;
  }
  if (options.wants_version) {
    Print(STD_OUTPUT_HANDLE, std::wstring(L"check_package ") + kVersion + L"\r\n");
    return kFine;
  }
  return Run(&options);
}
