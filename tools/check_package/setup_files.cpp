#include <windows.h>
#include <wininet.h>

#include <algorithm>
#include <iterator>

#include "checks.h"
#include "conditions.h"
#include "download/url.h"
#include "download/wininet.h"
#include "prereq/file_check.h"
#include "prereq/rows.h"
#include "util/files.h"
#include "util/md5.h"
#include "util/text.h"

namespace check {
namespace {

constexpr Kind kNoSuchLocation{L"PRE220", Severity::kError};
constexpr Kind kEmptyLocation{L"PRE221", Severity::kWarning};
constexpr Kind kNoUrl{L"PRE222", Severity::kError};
constexpr Kind kWrongScheme{L"PRE223", Severity::kError};
constexpr Kind kMalformedUrl{L"PRE224", Severity::kError};
constexpr Kind kReferenceKept{L"PRE225", Severity::kError};
constexpr Kind kLoginInUrl{L"PRE226", Severity::kWarning};
constexpr Kind kNotEverywhere{L"PRE227", Severity::kWarning};
constexpr Kind kNoTargetName{L"PRE228", Severity::kError};
constexpr Kind kForbiddenName{L"PRE229", Severity::kError};
constexpr Kind kNoEnding{L"PRE230", Severity::kError};
constexpr Kind kStrangeEnding{L"PRE231", Severity::kWarning};
constexpr Kind kNameCut{L"PRE232", Severity::kWarning};
constexpr Kind kTargetNameUnused{L"PRE233", Severity::kWarning};
constexpr Kind kBadSize{L"PRE234", Severity::kError};
constexpr Kind kBadDigest{L"PRE235", Severity::kError};
constexpr Kind kLongDigest{L"PRE236", Severity::kWarning};
constexpr Kind kUnchecked{L"PRE237", Severity::kWarning};
constexpr Kind kOtherFileBeside{L"PRE238", Severity::kError};

constexpr Kind kFolderInName{L"PRE239", Severity::kWarning};

constexpr size_t kDigestDigits = 32;
constexpr uint64_t kSizeLimit = uint64_t{1} << 32;
constexpr size_t kLongestSize = 18;  // More digits do not fit any size.

// What the shell runs by itself or with a program that every system has.
constexpr const wchar_t* kEndings[] = {L"exe", L"msi", L"msp", L"msu", L"bat", L"cmd", L"com",
                                       L"vbs", L"js",  L"wsf", L"hta", L"inf", L"reg"};

std::wstring At(const msi::TableRow& row, std::wstring_view column) {
  return Cell(prereq::kPrerequisiteTable, row.Get(L"Prereq"), column);
}

std::wstring Folded(std::wstring text) {
  ::CharUpperBuffW(text.data(), static_cast<DWORD>(text.size()));
  return text;
}

bool IsAscii(const std::wstring& text) {
  return std::all_of(text.begin(), text.end(), [](wchar_t letter) { return letter <= L'\x7f'; });
}

// True when the name is what is left of a longer one.
bool IsCut(const std::wstring& url, const std::wstring& name) {
  const size_t start = url.size() - name.size();
  // Of a character that separates names, nothing would be left.
  return start != 0 && !prereq::FileNameFromUrl(url.substr(start - 1, 1)).empty();
}

// The column from which the row's name on disk comes.
const wchar_t* NameColumn(const msi::TableRow& row, const std::wstring& name) {
  const bool is_from_url =
      prereq::ReadPrerequisite(row).location == prereq::Location::kDownloaded &&
      name == prereq::FileNameFromUrl(row.Get(L"SetupFileUrl"));
  return is_from_url ? L"SetupFileUrl" : L"TargetName";
}

void CheckName(const Context& context, const msi::TableRow& row) {
  const std::wstring name = prereq::ReadPrerequisite(row).file_name;
  const std::wstring place = At(row, NameColumn(row, name));
  const std::wstring narrow_safe = name.substr(name.rfind(L'\\') + 1);
  // In the code page that the library uses, what is not of it counts as a letter.
  if (!name.empty() && util::ToWide(download::WithoutForbidden(util::ToAnsi(narrow_safe))) !=
                           util::ToWide(util::ToAnsi(narrow_safe))) {
    context.report->Add(kForbiddenName, place,
                        Quoted(name) +
                            L" has characters that no file name can have (< > : \" / | ? *): the "
                            L"file can never be there");
    return;
  }
  const size_t dot = narrow_safe.rfind(L'.');
  if (dot == narrow_safe.npos || dot + 1 == narrow_safe.size()) {
    context.report->Add(
        kNoEnding, place,
        L"the setup file would be called " + Quoted(name) +
            L" on disk, without an ending such as .exe, and could not be started" +
            (prereq::ReadPrerequisite(row).location == prereq::Location::kDownloaded
                 ? L". Put a question mark and the name into TargetName: x?Setup.exe"
                 : L""));
    return;
  }
  const std::wstring ending = Folded(narrow_safe.substr(dot + 1));
  if (std::none_of(std::begin(kEndings), std::end(kEndings),
                   [&](const wchar_t* one) { return Folded(one) == ending; })) {
    context.report->Add(kStrangeEnding, place,
                        L"the setup file would be called " + Quoted(name) +
                            L" on disk. Not every system knows a program that runs files with that "
                            L"ending; has the name lost its own?");
  }
}

// False when nothing can be fetched from there.
bool CheckUrl(const Context& context, const msi::TableRow& row) {
  const std::wstring url = row.Get(L"SetupFileUrl");
  const std::wstring place = At(row, L"SetupFileUrl");
  Report* const report = context.report;
  if (url.empty()) {
    report->Add(kNoUrl, place,
                L"the address is empty, though the row is to be downloaded (Location 1)");
    return false;
  }
  if (HasReference(url)) {
    report->Add(
        kReferenceKept, place,
        Quoted(url) + L": references are not replaced in this column; write the address out");
    return false;
  }
  if (download::LoadWinInet() == nullptr) return true;
  const std::string narrow = util::ToAnsi(url);
  INTERNET_SCHEME scheme = INTERNET_SCHEME_UNKNOWN;
  const uint32_t error = download::CheckScheme(narrow, &scheme);
  const bool is_fetched = download::IsHttp(scheme) || scheme == INTERNET_SCHEME_FTP;
  if (error == ERROR_INTERNET_INVALID_URL || (error == NO_ERROR && is_fetched)) {
    download::UrlParts parts;
    const bool has_blank =
        std::any_of(url.begin(), url.end(), [](wchar_t letter) { return letter <= L' '; });
    const bool is_split = download::SplitUrl(narrow, &parts) == NO_ERROR;
    if (!is_split || has_blank || parts.host.empty() ||
        parts.path.size() + parts.extra.size() < 2) {
      report->Add(kMalformedUrl, place,
                  Quoted(url) + (has_blank ? L" holds a blank; in an address it is written %20"
                                 : is_split && !parts.host.empty()
                                     ? L" names a server but no file on it"
                                     : L" is no address that can be read: the download fails"));
      return false;
    }
    if (!parts.user.empty() || !parts.password.empty()) {
      report->Add(kLoginInUrl, place,
                  L"the address holds a login, which everybody who has the package can read");
    }
    return true;
  }
  report->Add(kWrongScheme, place,
              Quoted(url) +
                  L" begins with none of http://, https:// and ftp://, and nothing else "
                  L"is downloaded");
  return false;
}

void CheckDownloaded(const Context& context, const msi::TableRow& row) {
  if (!CheckUrl(context, row)) return;
  const std::wstring url = row.Get(L"SetupFileUrl");
  const std::wstring from_url = prereq::FileNameFromUrl(url);
  const std::wstring name = prereq::ReadPrerequisite(row).file_name;
  const std::wstring target = row.Get(L"TargetName");
  if (!IsAscii(url + name)) {
    context.report->Add(kNotEverywhere, At(row, NameColumn(row, name)),
                        L"the address and the name are passed on in the code page of the user's "
                        L"machine, which may lack some of these letters. Keep to plain ones");
  }
  if (name == from_url && IsCut(url, from_url)) {
    context.report->Add(kNameCut, At(row, L"SetupFileUrl"),
                        L"the last part of the address is longer than 30 characters; on disk the "
                        L"file is called " +
                            Quoted(name));
  }
  if (name == from_url && !target.empty() && target != name) {
    context.report->Add(kTargetNameUnused, At(row, L"TargetName"),
                        Quoted(target) + L" is not used: the file is called " + Quoted(name) +
                            L", as the address says. A name of your own counts only behind a "
                            L"question mark, and only when the address's last part has no full "
                            L"stop");
  }
  CheckName(context, row);
}

void CheckPacked(const Context& context, const msi::TableRow& row) {
  const std::wstring target = row.Get(L"TargetName");
  if (target.empty()) {
    context.report->Add(kNoTargetName, At(row, L"TargetName"),
                        L"the name is empty, though the file travels with the package (Location "
                        L"0): it is never found, and the prerequisite never installed");
    return;
  }
  if (HasReference(target)) {
    context.report->Add(
        kReferenceKept, At(row, L"TargetName"),
        Quoted(target) + L": references are not replaced in this column; write the name out");
    return;
  }
  if (target.find(L'\\') != target.npos && context.properties.IsSet(L"QX_FilesInsideExe")) {
    context.report->Add(kFolderInName, At(row, L"TargetName"),
                        Quoted(target) +
                            L" has a folder in it, but setup executables unpack "
                            L"without folders: the file would not be found");
  }
  CheckName(context, row);
}

// False for a size that no file has.
bool CheckSize(const Context& context, const msi::TableRow& row) {
  const std::wstring size = row.Get(L"ExactSize");
  if (size.empty()) return true;
  const std::wstring place = At(row, L"ExactSize");
  if (size.find_first_not_of(L"0123456789") != size.npos) {
    context.report->Add(kBadSize, place,
                        Quoted(size) +
                            L" is not a plain number of bytes: the library reads it as far as it "
                            L"is digits, so the file would never match or not be checked");
    return false;
  }
  if (size.size() > kLongestSize || util::ParseDecimal<uint64_t>(size) >= kSizeLimit) {
    context.report->Add(kBadSize, place,
                        size +
                            L" is 4 GiB or more, and no file of that size ever matches. Leave "
                            L"the size out and give the digest");
    return false;
  }
  return true;
}

// False for a digest that no file has.
bool CheckDigest(const Context& context, const msi::TableRow& row) {
  const std::wstring digest = row.Get(L"MD5");
  if (digest.empty()) return true;
  const std::wstring place = At(row, L"MD5");
  const bool has_other =
      digest.substr(0, kDigestDigits).find_first_not_of(L"0123456789abcdefABCDEF") != digest.npos;
  if (digest.size() < kDigestDigits || has_other) {
    context.report->Add(kBadDigest, place,
                        Quoted(digest) +
                            L" is not 32 hexadecimal digits; the file would never "
                            L"match and every user be asked about it");
    return false;
  }
  if (digest.size() > kDigestDigits) {
    context.report->Add(kLongDigest, place,
                        L"the digest has more than 32 characters; the rest is not looked at");
  }
  return true;
}

// A setup file that lies beside the package already must be the one that the row describes.
void CheckFileBeside(const Context& context, const msi::TableRow& row) {
  const std::wstring path = context.package.folder() + row.Get(L"TargetName");
  if (!util::FileExists(path) || prereq::SetupFileMatches(prereq::ReadPrerequisite(row), path))
    return;
  const std::optional<uint64_t> size = util::ReadFileSize(path);
  context.report->Add(kOtherFileBeside, Row(prereq::kPrerequisiteTable, row.Get(L"Prereq")),
                      L"the file " + Quoted(row.Get(L"TargetName")) +
                          L" beside the package is another one than ExactSize and MD5 say. Its "
                          L"size is " +
                          util::ToDecimal(size.value_or(0)) + L", its digest " +
                          util::ToWide(util::ReadFileMd5(path).value_or("unreadable")));
}

}  // namespace

void CheckSetupFile(const Context& context, const msi::TableRow& row) {
  const prereq::Location location = prereq::ReadPrerequisite(row).location;
  if (location == prereq::Location::kDownloaded) {
    CheckDownloaded(context, row);
  } else if (location == prereq::Location::kCarried) {
    if (row.Get(L"Location").empty()) {
      context.report->Add(kEmptyLocation, At(row, L"Location"),
                          L"an empty Location counts as 0: the file travels with the package");
    }
    CheckPacked(context, row);
  } else {
    context.report->Add(kNoSuchLocation, At(row, L"Location"),
                        Quoted(row.Get(L"Location")) +
                            L" is neither 0 (the file travels with the package) nor 1 (it is "
                            L"downloaded): the row has no setup file and is never installed");
    return;
  }
  const bool has_size = CheckSize(context, row);
  const bool has_digest = CheckDigest(context, row);
  if (!has_size || !has_digest) return;
  if (util::ParseDecimal<int64_t>(row.Get(L"ExactSize")) == 0 && row.Get(L"MD5").empty()) {
    context.report->Add(kUnchecked, Row(prereq::kPrerequisiteTable, row.Get(L"Prereq")),
                        L"neither ExactSize nor MD5 is given: the file is run unchecked, be it "
                        L"damaged, too short or a server's error page");
  } else if (location == prereq::Location::kCarried) {
    CheckFileBeside(context, row);
  }
}

std::wstring NameOnDisk(const Context& context, const msi::TableRow& row) {
  const prereq::Location location = prereq::ReadPrerequisite(row).location;
  if (location != prereq::Location::kDownloaded && location != prereq::Location::kCarried)
    return {};
  const std::wstring name = prereq::ReadPrerequisite(row).file_name;
  if (name.empty()) return {};
  std::wstring path;
  if (context.package.session() != nullptr) {
    path = prereq::SetupFilePath(*context.package.session(), prereq::ReadPrerequisite(row));
  }
  // Empty where the folder is known only in an installation.
  return Folded(path.empty() ? row.Get(L"Location") + L"\\" + name : path);
}

}  // namespace check
