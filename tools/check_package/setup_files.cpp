#include <windows.h>

#include <algorithm>
#include <iterator>

#include "checks.h"
#include "contract/properties.h"
#include "download/url.h"
#include "plain_text.h"
#include "prereq/file_check.h"
#include "prereq/rows.h"
#include "util/files.h"
#include "util/md5.h"
#include "util/text.h"

namespace check {
namespace {

constexpr size_t kDigestDigits = 32;
constexpr uint64_t kSizeLimit = uint64_t{1} << 32;
constexpr size_t kLongestSize = 18;  // More digits do not fit any size.

// What the shell runs by itself or with a program that every system has.
constexpr const wchar_t* kEndings[] = {L"exe", L"msi", L"msp", L"msu", L"bat", L"cmd", L"com",
                                       L"vbs", L"js",  L"wsf", L"hta", L"inf", L"reg"};

std::wstring Folded(std::wstring text) {
  std::transform(text.begin(), text.end(), text.begin(), &util::FoldAscii);
  return text;
}

bool TravelsInside(const Context& context) {
  return context.properties.IsSet(contract::kFilesInsideProperty);
}

// The column from which the row's name on disk comes.
const wchar_t* NameColumn(const PrerequisiteRow& row, const std::wstring& name) {
  const bool is_from_url =
      row.IsDownloaded() && name == prereq::FileNameFromUrl(row.Get(L"SetupFileUrl"));
  return is_from_url ? L"SetupFileUrl" : L"TargetName";
}

// False when no file can have the name.
bool CheckName(const Context& context, const PrerequisiteRow& row) {
  const std::wstring name = row.read.file_name;
  const Place place = row.At(NameColumn(row, name));
  const std::wstring bare = name.substr(name.rfind(L'\\') + 1);
  if (download::WithoutForbidden(Plain(bare)) != Plain(bare)) {
    context.report->Add(kForbiddenName, place, {name});
    return false;
  }
  const size_t dot = bare.rfind(L'.');
  if (dot == bare.npos || dot + 1 == bare.size()) {
    context.report->Add(kNoEnding, place, {name});
    return true;
  }
  const std::wstring ending = Folded(bare.substr(dot + 1));
  if (std::none_of(std::begin(kEndings), std::end(kEndings),
                   [&](const wchar_t* one) { return ending == one; })) {
    context.report->Add(kStrangeEnding, place, {name});
  }
  return true;
}

// False when the file can never be found.
bool CheckPacked(const Context& context, const PrerequisiteRow& row) {
  const std::wstring target = row.Get(L"TargetName");
  const Place place = row.At(L"TargetName");
  if (target.empty()) {
    context.report->Add(kNoTargetName, place);
    return false;
  }
  if ((target.size() > 1 && target[1] == L':') || target.starts_with(L"\\\\")) {
    context.report->Add(kWholePath, place, {target});
    return false;
  }
  CheckReferenceKept(context, row, L"TargetName");
  if (target.find(L'\\') != target.npos && TravelsInside(context)) {
    context.report->Add(kFolderInName, place, {target});
  }
  return CheckName(context, row);
}

// False for a size that no file has.
bool CheckSize(const Context& context, const PrerequisiteRow& row) {
  const std::wstring size = row.Get(L"ExactSize");
  const Place place = row.At(L"ExactSize");
  if (size.find_first_not_of(L"0123456789") != size.npos) {
    context.report->Add(kNoSize, place, {size});
    return false;
  }
  if (size.size() > kLongestSize || util::ParseDecimal<uint64_t>(size) >= kSizeLimit) {
    context.report->Add(kHugeSize, place, {size});
    return false;
  }
  return true;
}

// False for a digest that no file has.
bool CheckDigest(const Context& context, const PrerequisiteRow& row) {
  const std::wstring digest = row.Get(L"MD5");
  if (digest.empty()) return true;
  const bool has_other =
      digest.substr(0, kDigestDigits).find_first_not_of(L"0123456789abcdefABCDEF") != digest.npos;
  if (digest.size() < kDigestDigits || has_other) {
    context.report->Add(kBadDigest, row.At(L"MD5"), {digest});
    return false;
  }
  if (digest.size() > kDigestDigits) context.report->Add(kLongDigest, row.At(L"MD5"));
  return true;
}

// A setup file that lies beside the package must be there, and be the one that the row describes.
void CheckFileBeside(const Context& context, const PrerequisiteRow& row) {
  const std::wstring target = row.Get(L"TargetName");
  prereq::Prerequisite described = row.read;
  const std::wstring& path = described.file_path = context.package.folder() + target;
  if (!util::FileExists(path)) {
    context.report->Add(kNotBeside, row.At(L"TargetName"), {target});
  } else if (!prereq::SetupFileMatches(msi::InstallerSession(0), described)) {
    const std::string digest = util::ReadFileMd5(path).value_or("unreadable");
    context.report->Add(
        kOtherFileBeside, row.At(L""),
        {target, util::ToDecimal(util::ReadFileSize(path).value_or(0)), Wide(digest)});
  }
}

void CheckPackedFile(const Context& context, const PrerequisiteRow& row) {
  if (row.Get(L"Location").empty()) context.report->Add(kEmptyLocation, row.At(L"Location"));
  const bool can_be_there = CheckPacked(context, row);
  const bool has_size = CheckSize(context, row);
  const bool has_digest = CheckDigest(context, row);
  if (!has_size || !has_digest) return;
  if (util::ParseDecimal<int64_t>(row.Get(L"ExactSize")) == 0 && row.Get(L"MD5").empty()) {
    context.report->Add(kUnchecked, row.At(L""));
  } else if (can_be_there && !TravelsInside(context)) {
    CheckFileBeside(context, row);
  }
}

// Rows that are asked about and no more have no setup file.
void CheckOtherLocation(const Context& context, const PrerequisiteRow& row) {
  const std::wstring location = row.Get(L"Location");
  const bool has_file = !row.Get(L"SetupFileUrl").empty() || !row.Get(L"TargetName").empty() ||
                        !row.Get(L"ComLine").empty();
  if (has_file) {
    context.report->Add(kNoSuchLocation, row.At(L"Location"), {location});
  } else if (row.read.is_after_product) {
    context.report->Add(kAskedAfterProduct, row.At(L"Location"), {location});
  }
}

}  // namespace

void CheckSetupFile(const Context& context, const PrerequisiteRow& row) {
  if (row.IsCarried()) {
    CheckPackedFile(context, row);
  } else if (row.IsDownloaded()) {
    if (CheckAddress(context, row)) (void)CheckName(context, row);
    (void)CheckSize(context, row);
    (void)CheckDigest(context, row);
  } else {
    CheckOtherLocation(context, row);
  }
}

}  // namespace check
