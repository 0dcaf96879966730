#include <windows.h>
#include <wininet.h>

#include <algorithm>

#include "checks.h"
#include "conditions.h"
#include "download/url.h"
#include "download/wininet.h"
#include "plain_text.h"
#include "prereq/rows.h"

namespace check {
namespace {

constexpr wchar_t kColumn[] = L"SetupFileUrl";

// Brackets belong round a numeric address of the newer kind alone.
bool HasBracketsInHost(const std::string& host) {
  return host.find_first_of("[]") != host.npos && host.find(':') == host.npos;
}

bool CheckParts(const std::wstring& url, const Place& place, Report* report) {
  const bool has_blank =
      std::any_of(url.begin(), url.end(), [](wchar_t letter) { return letter <= L' '; });
  download::UrlParts parts;
  const bool is_split = download::SplitUrl(Plain(url), &parts) == NO_ERROR && !parts.host.empty() &&
                        !HasBracketsInHost(parts.host);
  if (has_blank) {
    report->Add(kBlankInUrl, place, {url});
  } else if (!is_split) {
    report->Add(kUnreadableUrl, place, {url});
  } else if (parts.path.size() + parts.extra.size() < 2) {
    report->Add(kNoFileInUrl, place, {url});
  } else {
    if (!parts.user.empty() || !parts.password.empty()) report->Add(kLoginInUrl, place);
    return true;
  }
  return false;
}

// What is read over http or ftp, anyone on the way can replace.
void CheckProtected(const PrerequisiteRow& row, INTERNET_SCHEME scheme, Report* report) {
  if (!row.Get(L"MD5").empty()) return;
  const std::wstring size = row.Get(L"ExactSize");
  const bool has_size = size.find_first_not_of(L'0') != size.npos;
  if (scheme != INTERNET_SCHEME_HTTPS) {
    report->Add(kNoDigestInTheOpen, row.At(L"MD5"),
                {scheme == INTERNET_SCHEME_FTP ? L"ftp" : L"http"});
  } else {
    report->Add(has_size ? kSizeAlone : kNoDigest, row.At(L"MD5"));
  }
}

// True when the name is what is left of a longer one.
bool IsCut(const std::wstring& url, const std::wstring& name) {
  const size_t start = url.size() - name.size();
  // Of a character that separates names, nothing would be left.
  return start != 0 && !prereq::FileNameFromUrl(url.substr(start - 1, 1)).empty();
}

}  // namespace

void CheckReferenceKept(const Context& context, const PrerequisiteRow& row, const wchar_t* column) {
  const std::wstring text = row.Get(column);
  for (const std::wstring& name : PropertiesInText(text)) {
    // Brackets alone may well belong to the name of a file.
    if (context.properties.IsSet(name)) {
      context.report->Add(kReferenceKept, row.At(column), {text, name});
    }
  }
}

bool CheckAddress(const Context& context, const PrerequisiteRow& row) {
  const std::wstring url = row.Get(kColumn);
  const Place place = row.At(kColumn);
  Report* const report = context.report;
  if (url.empty()) {
    report->Add(kNoUrl, place);
    return false;
  }
  CheckReferenceKept(context, row, kColumn);
  if (download::LoadWinInet() != nullptr) {
    INTERNET_SCHEME scheme = INTERNET_SCHEME_UNKNOWN;
    const uint32_t error = download::CheckScheme(Plain(url), &scheme);
    const bool is_fetched = download::IsHttp(scheme) || scheme == INTERNET_SCHEME_FTP;
    if (error != ERROR_INTERNET_INVALID_URL && (error != NO_ERROR || !is_fetched)) {
      report->Add(kWrongScheme, place, {url});
      return false;
    }
    if (!CheckParts(url, place, report)) return false;
    CheckProtected(row, scheme, report);
  }
  const std::wstring from_url = prereq::FileNameFromUrl(url);
  const std::wstring name = row.read.file_name;
  const std::wstring target = row.Get(L"TargetName");
  if (!IsAscii(url + name)) {
    report->Add(kNotEverywhere, row.At(name == from_url ? kColumn : L"TargetName"));
  }
  if (name == from_url && IsCut(url, from_url)) report->Add(kNameCut, place, {name});
  if (name == from_url && !target.empty() && target != name) {
    report->Add(kTargetNameUnused, row.At(L"TargetName"), {target, name});
  }
  return true;
}

}  // namespace check
