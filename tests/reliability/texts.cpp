// Anything at all for the readers of texts: lists, names, versions, numbers, addresses, headers.
// What is put together comes apart again as it was, and what is read keeps its promise.

#include <doctest.h>

#include <string>
#include <vector>

#include "appsearch/folder_resolver.h"
#include "appsearch/registry_values.h"
#include "appsearch/value_comparison.h"
#include "appsearch/version.h"
#include "contract/properties.h"
#include "download/header_fields.h"
#include "download/url.h"
#include "download/wininet.h"
#include "prereq/carried_properties.h"
#include "prereq/cleanup.h"
#include "prereq/rows.h"
#include "prereq/work_folders.h"
#include "reliability/part.h"
#include "support/make_row.h"
#include "util/text.h"

using test::Part;
using test::Random;
using Texts = std::vector<std::wstring>;

namespace {

constexpr char kForbidden[] = "\\/:*?\"<>|";

std::string Narrow(Random* random) { return util::ToAnsi(random->Text()); }

void CheckLists(Part* part, Random* random) {
  Texts pieces(random->Below(9));
  std::wstring list;
  for (std::wstring& piece : pieces) {
    piece = random->Text();
    std::erase(piece, contract::kListDelimiter);
    list += (&piece == &pieces.front() ? L"" : std::wstring(1, contract::kListDelimiter)) + piece;
  }
  if (list.empty()) pieces.clear();
  part->FaultIf(util::Split(list, contract::kListDelimiter) != pieces,
                "a list comes apart otherwise");
  (void)prereq::LanguageMatches(list);
  part->Count("texts", pieces.size());
}

// The installer's own rule for a quoted value: a doubled quote is one, a single one ends it.
void CheckCarriedProperty(Part* part, Random* random) {
  const std::wstring value = random->Text();
  const std::wstring text = prereq::QuotedProperty(L"NAME", value);
  const std::wstring start = L"NAME=\"";
  std::wstring read;
  size_t at = start.size();
  for (; at < text.size(); ++at) {
    if (text[at] == L'"' && (at + 1 == text.size() || text[at + 1] != L'"')) break;
    if (text[at] == L'"') ++at;
    read += text[at];
  }
  const std::wstring written = value.ends_with(L'\\') ? value + L'\\' : value;
  part->FaultIf(!text.starts_with(start) || read != written || at + 1 != text.size(),
                "a carried property reads back otherwise");
  part->Count("texts");
}

void CheckPaths(Part* part, Random* random) {
  const std::wstring folder = L"C:\\" + random->Text();
  const std::wstring file = folder + random->Text();
  std::wstring folded = folder;
  for (wchar_t& letter : folded) letter = util::FoldAscii(letter);
  part->FaultIf(!prereq::HasFolderPrefix(file, folded, false), "a file is not in its folder");
  folded[0] = L'd';
  part->FaultIf(prereq::HasFolderPrefix(file, folded, false), "a file is in another folder");

  const std::wstring url = L"http://127.0.0.1/" + random->Text();
  const std::wstring name = prereq::FileNameFromUrl(url);
  part->FaultIf(
      name.size() > 30 || name.find_first_of(L"\\/:*?\"<>|") != name.npos || !url.ends_with(name),
      "a file name from an address is none");
  const auto row = test::MakeRow({{L"SetupFileUrl", url},
                                  {L"TargetName", random->Text()},
                                  {L"Location", random->Number()},
                                  {L"Options", random->Text()}});
  (void)prereq::ReadPrerequisite(row);

  const std::string narrow = Narrow(random);
  const std::string safe = download::WithoutForbidden(narrow);
  part->FaultIf(safe.size() != narrow.size() || safe.find_first_of(kForbidden) != safe.npos,
                "a name holds what no file name may");
  download::UrlParts parts;
  parts.host = "as it was";
  const std::string address = random->Pick<std::string>({"http://", "ftp://", "https:", ""}) +
                              random->Pick<std::string>({"127.0.0.1", "me:secret@h:1", "[::1]"}) +
                              narrow;
  const bool is_read = download::SplitUrl(address, &parts) == 0;
  part->FaultIf(!is_read && parts.host != "as it was", "a refused address left something");
  (void)download::LocalPath(address, "C:\\x", "");
  const auto path = appsearch::SplitValuePath(narrow);
  part->FaultIf(path && path->key + "\\" + path->name != narrow, "a value path is cut otherwise");
  part->Count("texts", 6);
}

void CheckNumbers(Part* part, Random* random) {
  appsearch::Version left;
  appsearch::Version right;
  for (appsearch::Version* version : {&left, &right}) {
    (void)appsearch::ParseVersion(util::ToAnsi(random->Number() + L"." + random->Text()), version);
  }
  part->FaultIf(appsearch::CompareVersions(left, right) != -appsearch::CompareVersions(right, left),
                "two versions are in both orders");

  // What is below is not also that or above; only what has no order is neither.
  const std::string value = Narrow(random);
  std::string other = Narrow(random);
  // With these the sign would have two letters.
  if (other.starts_with('=') || other.starts_with('>')) other.insert(0, 1, ' ');
  const auto stands = [&](char letter) { return appsearch::Compares(value, letter + other); };
  part->FaultIf((stands('<') && stands('+')) || (stands('>') && stands('-')) ||
                    stands('=') == stands('!') ||
                    (stands('<') || stands('+')) != (stands('>') || stands('-')),
                "a comparison contradicts itself");
  part->Count("texts", 4);
}

void CheckReferences(Part* part, Random* random) {
  const appsearch::FolderResolver resolver(L"C:\\setup\\");
  std::string text = Narrow(random);
  // The registry is not asked for what nobody knows the type of.
  std::erase(text, '!');
  const std::string resolved = resolver.Resolve(text).value_or("");
  const bool has_reference = text.find_first_of("[%") != text.npos;
  part->FaultIf(!has_reference && resolved != text, "a text without references is changed");
  part->FaultIf(!resolver.Resolve("[SETUPEXEDIR]" + text).value_or("").starts_with("C:\\setup\\"),
                "a reference is not resolved");
  (void)appsearch::ParseRoot(text);
  part->Count("texts", 2);
}

void CheckHeaders(Part* part, Random* random) {
  const std::string text = Narrow(random);
  (void)download::RealmOf("Basic " + text);
  (void)download::NameFromLocation(text);
  (void)download::TotalOfRange("bytes 5-9/" + text);
  const std::string name = download::NameFromDisposition("attachment; filename=\"a.exe\"" + text);
  part->FaultIf(name.empty(), "a proposed name is lost");
  const uint32_t start = static_cast<uint32_t>(random->Next());
  const auto read = download::StartOfRange("bytes " + std::to_string(start) + "-" + text);
  part->FaultIf(read != start, "the start of a range is misread");
  part->Count("texts", 5);
}

}  // namespace

TEST_CASE("texts") {
  Part part("texts", 20000);
  REQUIRE(download::LoadWinInet() != nullptr);
  part.ForEachRun([&](Random* random) {
    CheckLists(&part, random);
    CheckCarriedProperty(&part, random);
    CheckPaths(&part, random);
    CheckNumbers(&part, random);
    CheckReferences(&part, random);
    CheckHeaders(&part, random);
  });
}
