#include "options.h"

#include <windows.h>

#include <algorithm>

#include "util/text.h"
#include "util/unique_handle.h"

namespace check {

const wchar_t kUsage[] =
    L"Says what is wrong in the tables that Prereq.dll reads.\n"
    L"\n"
    L"usage: check_package [options] <package.msi>...\n"
    L"\n"
    L"  /strict           warnings count as errors for the exit code\n"
    L"  /ignore KEY       leaves out findings with that key, such as PRE512\n"
    L"  /ignore KEY:Table/Row   leaves them out in that row only. Several with commas between;\n"
    L"                    also from the file <package.msi>.ignore, one a line\n"
    L"  /base FILE        the package that this one was made from\n"
    L"  /format text|json|sarif   the form of the output, in UTF-8\n"
    L"  /limit SECONDS    gives a package up that takes longer (120)\n"
    L"  /version          the version of this program\n"
    L"  /?, --help        this text\n"
    L"\n"
    L"A line for each finding:  <package>: error PRE235: <table, row, column>: <what is wrong>\n"
    L"and one at the end:       <package>: 1 error, no warnings\n"
    L"\n"
    L"Exit code 0: nothing is wrong, or warnings only; 1: there are errors; 2: a package could "
    L"not\n"
    L"be opened, or the command line is wrong. Nothing is changed or installed. tools/README.md\n"
    L"has every key and what it means.\n";

namespace {

// True for an argument that is an option: a path of another system has a second slash in its name.
bool IsOption(const std::wstring& argument) {
  if (argument.starts_with(L"-")) return true;
  const std::wstring name = argument.substr(0, argument.find_first_of(L":="));
  return name.starts_with(L"/") && name.find(L'/', 1) == name.npos;
}

// The files that a pattern in the last part of the path fits, sorted; the argument itself when it
// is none, or fits nothing.
std::vector<std::wstring> Expanded(const std::wstring& argument) {
  if (argument.find_first_of(L"*?") == argument.npos) return {argument};
  const std::wstring folder = argument.substr(0, argument.find_last_of(L"\\/") + 1);
  std::vector<std::wstring> files;
  WIN32_FIND_DATAW found;
  const util::UniqueFind search(::FindFirstFileW(argument.c_str(), &found));
  for (bool any = static_cast<bool>(search); any;
       any = ::FindNextFileW(search.Get(), &found) != FALSE) {
    if ((found.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) == 0) {
      files.push_back(folder + found.cFileName);
    }
  }
  std::sort(files.begin(), files.end());
  return files.empty() ? std::vector<std::wstring>{argument} : files;
}

// Takes one option with its value in; why not, when it is not understood.
std::wstring ReadValue(const std::wstring& name, const std::wstring& value, Options* options) {
  if (name == L"ignore") {
    return options->ignored.Add(value) ? L"" : Quoted(value) + L" names the key of no finding";
  }
  if (name == L"limit") {
    options->limit_seconds = util::ParseDecimal<uint32_t>(value);
    return options->limit_seconds != 0 ? L"" : Quoted(value) + L" is no number of seconds";
  }
  if (name == L"base") {
    options->base = value;
    return {};
  }
  constexpr struct {
    const wchar_t* name;
    OutputFormat format;
  } kFormats[] = {{L"text", OutputFormat::kText},
                  {L"json", OutputFormat::kJson},
                  {L"sarif", OutputFormat::kSarif}};
  for (const auto& [one, format] : kFormats) {
    if (value != one) continue;
    options->format = format;
    return {};
  }
  return Quoted(value) + L" is no form of output: text, json, sarif";
}

// Takes one option in that has no value; false when there is none of that name.
bool ReadFlag(const std::wstring& name, Options* options) {
  if (name == L"?" || name == L"help") {
    options->wants_help = true;
  } else if (name == L"version") {
    options->wants_version = true;
  } else if (name == L"strict") {
    options->is_strict = true;
  } else {
    return false;
  }
  return true;
}

}  // namespace

Options ReadOptions(const std::vector<std::wstring>& arguments) {
  Options options;
  for (size_t i = 0; i < arguments.size() && options.complaint.empty(); ++i) {
    const std::wstring& argument = arguments[i];
    if (!IsOption(argument)) {
      for (std::wstring& file : Expanded(argument)) options.packages.push_back(std::move(file));
      continue;
    }
    const size_t begin = argument.find_first_not_of(L"/-");
    const size_t end = std::min(argument.find_first_of(L":="), argument.size());
    const std::wstring name = argument.substr(std::min(begin, end), end - std::min(begin, end));
    if (name == L"ignore" || name == L"base" || name == L"format" || name == L"limit") {
      const bool is_inside = end != argument.size();
      if (!is_inside && i + 1 == arguments.size()) {
        options.complaint = argument + L" wants a value";
      } else {
        const std::wstring value = is_inside ? argument.substr(end + 1) : arguments[++i];
        options.complaint = ReadValue(name, value, &options);
      }
    } else if (end != argument.size() || !ReadFlag(name, &options)) {
      options.complaint = Quoted(argument) + L" is no option";
    }
  }
  const bool asks = options.wants_help || options.wants_version;
  if (options.complaint.empty() && options.packages.empty() && !asks) {
    options.complaint = L"no package is named";
  }
  if (options.complaint.empty() && !options.base.empty() && options.packages.size() != 1) {
    options.complaint = L"/base goes with one package";
  }
  return options;
}

}  // namespace check
