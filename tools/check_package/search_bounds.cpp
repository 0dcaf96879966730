#include <algorithm>
#include <iterator>

#include "appsearch/value_comparison.h"
#include "appsearch/version.h"
#include "conditions.h"
#include "plain_text.h"
#include "search.h"
#include "util/text.h"

namespace check {
namespace {

using appsearch::SearchKind;

constexpr SearchKind kLastBoundedKind = SearchKind::kRelatedProducts;
constexpr wchar_t kHide[] = L"WND_HIDE";
constexpr int32_t kLargestPart = 0xFFFF;

// How many numbers stand in the text.
size_t CountNumbers(const std::wstring& text) {
  size_t count = 0;
  bool is_inside = false;
  for (const wchar_t letter : text) {
    const bool is_digit = letter >= L'0' && letter <= L'9';
    if (is_digit && !is_inside) ++count;
    is_inside = is_digit;
  }
  return count;
}

bool HasSign(const std::wstring& text) {
  const size_t first = text.find_first_not_of(L' ');
  return first != text.npos && (text[first] == L'-' || text[first] == L'+');
}

// The versions of files and products, whose parts have 16 bits.
bool FindsRealVersions(SearchKind kind) {
  return kind == SearchKind::kFile || kind == SearchKind::kProduct ||
         kind == SearchKind::kRelatedProducts;
}

void CheckVersion(const Context& context, const Search& search, const wchar_t* column,
                  const std::wstring& bound, const appsearch::Version& version) {
  const Place place = search.At(column);
  if (CountNumbers(bound) > std::size(version.parts)) {
    context.report->Add(kLongVersion, place, {bound});
  }
  if (HasSign(bound)) {
    context.report->Add(kSignedBound, place, {bound, bound.substr(bound.find_first_of(L"+-") + 1)});
  }
  // Above VerMax there is nothing to find anyway.
  if (column == std::wstring_view(L"VerMin") && FindsRealVersions(search.kind) &&
      std::any_of(std::begin(version.parts), std::end(version.parts),
                  [](int32_t part) { return part > kLargestPart; })) {
    context.report->Add(kBoundOutOfReach, place, {bound});
  }
}

void CheckBound(const Context& context, const Search& search, const wchar_t* column) {
  const std::wstring bound = search.row.Get(column);
  const Place place = search.At(column);
  if (bound.empty()) return;
  if (HasReference(bound)) {
    context.report->Add(kNotFormatted, place, {bound});
    return;
  }
  if (search.kind == SearchKind::kProgram) {
    if (bound != kHide) context.report->Add(kOptionUnknown, place, {bound});
    return;
  }
  appsearch::Version version;
  const bool is_version = appsearch::ParseVersion(Plain(bound), &version);
  if (search.kind > kLastBoundedKind) {
    // A bound of zeros is how a comparison is told to give the value itself.
    if (search.kind == SearchKind::kValueCompares && version.IsZero()) return;
    context.report->Add(kBoundUnused, place, {search.Number()});
  } else if (!is_version) {
    context.report->Add(kNoVersion, place, {bound});
  } else {
    CheckVersion(context, search, column, bound, version);
  }
}

void CheckProgram(const Context& context, const Place& place, const std::wstring& program) {
  if (program.empty()) {
    context.report->Add(kNoProgramNamed, place);
  } else if (!context.package.BinaryNames().contains(program)) {
    context.report->Add(kNoProgram, place, {program});
  } else if (context.schedule.custom_actions.IsLibrary(program)) {
    context.report->Add(kLibraryAsProgram, place, {program});
  }
}

// Comparisons as other languages write them; here the second letter belongs to what is compared.
bool BeginsWithTwoSigns(const std::wstring& reference) {
  constexpr const wchar_t* kSigns[] = {L"=<", L"=>"};
  const size_t rest = reference.find_first_not_of(L' ', 2);
  return std::any_of(std::begin(kSigns), std::end(kSigns),
                     [&](const wchar_t* sign) { return reference.starts_with(sign); }) &&
         rest != reference.npos && reference[rest] >= L'0' && reference[rest] <= L'9';
}

void CheckComparison(const Context& context, const Place& place, const std::wstring& reference) {
  if (HasReference(reference)) {
    context.report->Add(kNotFormatted, place, {reference});
  } else if (!appsearch::CanCompare(Plain(reference))) {
    context.report->Add(kBadComparison, place, {reference});
  } else if (BeginsWithTwoSigns(reference)) {
    context.report->Add(kTwoSigns, place, {reference, reference.substr(0, 1), reference.substr(1)});
  }
  if (!IsAscii(reference)) context.report->Add(kSearchNotEverywhere, place, {reference});
}

}  // namespace

void CheckBounds(const Context& context, const Search& search) {
  CheckBound(context, search, L"VerMin");
  CheckBound(context, search, L"VerMax");
  appsearch::Version lowest;
  appsearch::Version highest;
  const std::wstring from = search.row.Get(L"VerMin");
  const std::wstring to = search.row.Get(L"VerMax");
  if (search.kind <= kLastBoundedKind && appsearch::ParseVersion(Plain(from), &lowest) &&
      appsearch::ParseVersion(Plain(to), &highest) && !highest.IsZero() &&
      appsearch::CompareVersions(lowest, highest) > 0) {
    context.report->Add(kNothingBetween, search.At(L"VerMin"), {from, to});
  }
}

void CheckRefContent(const Context& context, const Search& search) {
  const std::wstring reference = search.row.Get(L"RefContent");
  const Place place = search.At(L"RefContent");
  if (search.kind == SearchKind::kProgram) {
    CheckProgram(context, place, reference);
  } else if (search.kind == SearchKind::kValueCompares) {
    CheckComparison(context, place, reference);
  } else if (!reference.empty()) {
    context.report->Add(kReferenceUnused, place, {reference, search.Number()});
  }
}

}  // namespace check
