#include "registry_types.h"

#include <windows.h>

#include <algorithm>
#include <iterator>

#include "appsearch/registry_values.h"
#include "plain_text.h"
#include "util/text.h"

namespace check {
namespace {

// Values of Windows that are of other types than text and number, in capitals. A "*" stands for
// every name of a key or value.
constexpr const wchar_t* kKnownOthers[] = {
    L"HKLM\\SYSTEM\\CURRENTCONTROLSET\\CONTROL\\SESSION MANAGER\\PENDINGFILERENAMEOPERATIONS",
    L"HKLM\\SYSTEM\\CURRENTCONTROLSET\\CONTROL\\SESSION MANAGER\\PENDINGFILERENAMEOPERATIONS2",
    L"HKLM\\SYSTEM\\CURRENTCONTROLSET\\CONTROL\\SESSION MANAGER\\ENVIRONMENT\\PATH",
    L"HKLM\\SYSTEM\\CURRENTCONTROLSET\\CONTROL\\SESSION MANAGER\\ENVIRONMENT\\TEMP",
    L"HKLM\\SYSTEM\\CURRENTCONTROLSET\\CONTROL\\SESSION MANAGER\\ENVIRONMENT\\TMP",
    L"HKLM\\SYSTEM\\CURRENTCONTROLSET\\CONTROL\\SESSION MANAGER\\ENVIRONMENT\\COMSPEC",
    L"HKLM\\SYSTEM\\CURRENTCONTROLSET\\CONTROL\\SESSION MANAGER\\ENVIRONMENT\\WINDIR",
    L"HKLM\\SYSTEM\\CURRENTCONTROLSET\\SERVICES\\*\\IMAGEPATH",
    L"HKLM\\SYSTEM\\CURRENTCONTROLSET\\SERVICES\\*\\PARAMETERS\\SERVICEDLL",
    L"HKCU\\ENVIRONMENT\\TEMP",
    L"HKCU\\ENVIRONMENT\\TMP",
    L"HKLM\\SOFTWARE\\MICROSOFT\\WINDOWS\\CURRENTVERSION\\DEVICEPATH",
    L"HKLM\\SOFTWARE\\MICROSOFT\\WINDOWS\\CURRENTVERSION\\PROGRAMFILESPATH",
    L"HKLM\\SOFTWARE\\MICROSOFT\\WINDOWS NT\\CURRENTVERSION\\DIGITALPRODUCTID",
    L"HKLM\\SOFTWARE\\MICROSOFT\\WINDOWS\\CURRENTVERSION\\EXPLORER\\USER SHELL FOLDERS\\*",
    L"HKCU\\SOFTWARE\\MICROSOFT\\WINDOWS\\CURRENTVERSION\\EXPLORER\\USER SHELL FOLDERS\\*",
};

// A text of the table `Registry` that is neither a plain text nor a number.
const wchar_t* OtherTypeOf(const std::wstring& value) {
  if (value.find(L"[~]") != value.npos) return L"a list of texts (REG_MULTI_SZ)";
  if (value.starts_with(L"#%")) return L"a text to expand (REG_EXPAND_SZ)";
  if (value.starts_with(L"#x")) return L"binary data (REG_BINARY)";
  return nullptr;
}

std::wstring Folded(std::wstring text) {
  ::CharUpperBuffW(text.data(), static_cast<DWORD>(text.size()));
  return text;
}

// The roots that a row of `Registry` can mean: -1 is the user's or the machine's.
std::vector<const wchar_t*> RootsOf(const msi::TableRow& row) {
  constexpr const wchar_t* kRoots[] = {L"HKCR", L"HKCU", L"HKLM", L"HKU"};
  const auto root = util::ParseDecimal<int32_t>(row.Get(L"Root"));
  if (root == -1) return {L"HKCU", L"HKLM"};
  if (root < 0 || root >= static_cast<int32_t>(std::size(kRoots))) return {};
  return {kRoots[root]};
}

bool IsKnown(const std::wstring& path) {
  const std::vector<std::wstring> parts = util::Split(path, L'\\');
  return std::any_of(std::begin(kKnownOthers), std::end(kKnownOthers), [&](const wchar_t* known) {
    const std::vector<std::wstring> wanted = util::Split(known, L'\\');
    return std::equal(wanted.begin(), wanted.end(), parts.begin(), parts.end(),
                      [](const std::wstring& one, const std::wstring& part) {
                        return one == L"*" || one == part;
                      });
  });
}

// True when this machine has the value, of a type that the search cannot read.
bool IsOtherHere(const std::wstring& path, bool view64) {
  const auto value = appsearch::SplitValuePath(Plain(path));
  if (!value || !IsAscii(path)) return false;
  const util::UniqueRegistryKey key = appsearch::OpenKey(value->key, view64);
  DWORD type = REG_NONE;
  return key &&
         ::RegQueryValueExA(key.Get(), value->name.c_str(), nullptr, &type, nullptr, nullptr) ==
             ERROR_SUCCESS &&
         type != REG_SZ && type != REG_DWORD;
}

}  // namespace

void RegistryTypes::ReadPackage() const {
  written_.emplace();
  for (const msi::TableRow& row : package_.Rows(L"Registry")) {
    const wchar_t* const type = OtherTypeOf(row.Get(L"Value"));
    if (type == nullptr) continue;
    const std::wstring below = row.Get(L"Key") + L"\\" + row.Get(L"Name");
    const OtherType other = {OtherType::Source::kPackage, type, row.Get(L"Registry")};
    for (const wchar_t* root : RootsOf(row)) {
      written_->emplace(Folded(std::wstring(root) + L"\\" + below), other);
      // As the installation will have it.
      written_->emplace(Folded(std::wstring(root) + L"\\" + package_.Format(below)), other);
    }
  }
}

std::optional<OtherType> RegistryTypes::Find(const std::wstring& path, bool view64) const {
  if (!written_) ReadPackage();
  for (const std::wstring& one : {path, package_.Format(path)}) {
    const std::wstring folded = Folded(one);
    if (const auto found = written_->find(folded); found != written_->end()) return found->second;
    if (IsKnown(folded)) return OtherType{OtherType::Source::kWindows, {}, {}};
  }
  if (IsOtherHere(path, view64)) return OtherType{OtherType::Source::kThisMachine, {}, {}};
  return std::nullopt;
}

}  // namespace check
