// Puts prerequisites into finished packages.

#include <windows.h>

#include <string>
#include <vector>

#include "options.h"
#include "package_file.h"
#include "util/text.h"

namespace {

enum ExitCode { kDone = 0, kRefused = 1, kWrongCommandLine = 2 };

// A console gets the characters as they are, a file or another program those of the ANSI code page.
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

int Refuse(const std::wstring& package, const std::wstring& reason) {
  Print(STD_ERROR_HANDLE, package + L": refused: " + reason + L"; nothing was changed\r\n");
  return kRefused;
}

int List(const kit::Options& options) {
  kit::Database database;
  if (const UINT error = database.Open(options.package, false)) {
    return Refuse(options.package, L"it cannot be opened (error " + util::ToDecimal(error) + L")");
  }
  for (const std::wstring& line : kit::ListPrerequisites(database)) PrintLine(line);
  return kDone;
}

void RunCommand(const kit::Options& options, const kit::Job& job) {
  const bool is_unjoin = options.command == kit::Command::kUnjoin;
  const bool is_drop = options.command == kit::Command::kDrop;
  if (is_unjoin && !job.edits.IsJoined()) {
    job.report.Refuse(L"nothing in it was put in by this program");
  } else if (is_unjoin) {
    job.edits.TakeOutAll();
  } else if (is_drop) {
    kit::DropPrerequisite(job, options.prerequisite);
  } else {
    const bool is_theirs = kit::IsJoinedByOthers(job);
    if (is_theirs && options.command == kit::Command::kJoin) {
      job.report.Refuse(
          L"the library was put into it by hand or with another tool; require and drop work on "
          L"such a package and leave the rows of the library alone");
    }
    if (!is_theirs) kit::Join(job, options.join);
    if (options.command == kit::Command::kRequire && !job.report.is_refused()) {
      kit::Require(job, options.requirement);
    }
  }
}

void PrintReport(const kit::Report& report, const std::wstring& target) {
  for (const std::wstring& line : report.changes()) PrintLine(line);
  for (const std::wstring& line : report.to_do()) PrintLine(line);
  PrintLine(target);
}

int Change(const kit::Options& options) {
  const std::wstring target = options.out.empty() ? options.package : options.out;
  kit::WorkingCopy copy(options.package, target);
  if (!copy.failure().empty()) return Refuse(options.package, copy.failure());
  const bool was_signed = copy.RemoveSignature();
  kit::Database database;
  if (const UINT error = database.Open(copy.path(), true)) {
    return Refuse(options.package, L"it cannot be opened (error " + util::ToDecimal(error) + L")");
  }
  kit::Report report;
  kit::Edits edits(&database, &report);
  edits.Load();
  RunCommand(options, {database, edits, report});
  if (report.is_refused()) return Refuse(options.package, report.refusal());
  const bool is_changed = !report.changes().empty();
  edits.Save();
  database.SetPackageCode(kit::NewPackageCode());
  database.Commit();
  if (!database.failure().empty()) return Refuse(options.package, database.failure());
  if (was_signed) {
    report.Removed(L"the signature, which does not hold any more");
    report.ToDo(L"sign the package");
  }
  if (!copy.failure().empty()) return Refuse(options.package, copy.failure());
  if (options.is_dry_run) {
    PrintReport(report, L"nothing was written");
    return kDone;
  }
  if (!is_changed && options.out.empty()) {
    PrintReport(report, target + L": nothing to change");
    return kDone;
  }
  if (!copy.Compact() || !copy.TakePlace()) return Refuse(options.package, copy.failure());
  PrintReport(report, target + L": written, with a new package code");
  return kDone;
}

}  // namespace

int wmain(int count, wchar_t** values) {
  const kit::Options options = kit::ReadOptions({values + 1, values + count});
  if (!options.complaint.empty()) {
    Print(STD_ERROR_HANDLE,
          L"prereqkit: " + options.complaint + L". prereqkit --help says more\r\n");
    return kWrongCommandLine;
  }
  if (options.command == kit::Command::kHelp) {
    Print(STD_OUTPUT_HANDLE, kit::kUsage);
    return count > 1 ? kDone : kWrongCommandLine;
  }
  if (const std::wstring reason = kit::WhyNoDatabase(options.package); !reason.empty()) {
    return Refuse(options.package, reason);
  }
  return options.command == kit::Command::kList ? List(options) : Change(options);
}
