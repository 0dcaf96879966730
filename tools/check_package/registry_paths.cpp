#include <windows.h>

#include <algorithm>
#include <iterator>

#include "appsearch/registry_values.h"
#include "checks.h"
#include "conditions.h"
#include "util/text.h"

namespace check {
namespace {

constexpr Kind kUnknownRoot{L"PRE330", Severity::kError};
constexpr Kind kHangsByTable{L"PRE331", Severity::kError};
constexpr Kind kHangsEverywhere{L"PRE332", Severity::kError};
constexpr Kind kHangsHere{L"PRE333", Severity::kWarning};

// Ways to say HKEY_USERS, which is what every unknown root stands for.
constexpr const wchar_t* kUsersRoots[] = {L"HKU", L"HKEY_USERS"};

// Values of Windows that are of other types than text and number, in capitals. A "*" at the end
// stands for every value of the key.
constexpr const wchar_t* kKnownOthers[] = {
    L"HKLM\\SYSTEM\\CURRENTCONTROLSET\\CONTROL\\SESSION MANAGER\\PENDINGFILERENAMEOPERATIONS",
    L"HKLM\\SYSTEM\\CURRENTCONTROLSET\\CONTROL\\SESSION MANAGER\\PENDINGFILERENAMEOPERATIONS2",
    L"HKLM\\SYSTEM\\CURRENTCONTROLSET\\CONTROL\\SESSION MANAGER\\ENVIRONMENT\\PATH",
    L"HKLM\\SYSTEM\\CURRENTCONTROLSET\\CONTROL\\SESSION MANAGER\\ENVIRONMENT\\TEMP",
    L"HKLM\\SYSTEM\\CURRENTCONTROLSET\\CONTROL\\SESSION MANAGER\\ENVIRONMENT\\TMP",
    L"HKLM\\SYSTEM\\CURRENTCONTROLSET\\CONTROL\\SESSION MANAGER\\ENVIRONMENT\\COMSPEC",
    L"HKLM\\SYSTEM\\CURRENTCONTROLSET\\CONTROL\\SESSION MANAGER\\ENVIRONMENT\\WINDIR",
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

// The path of a row of `Registry`, in capitals; empty for the root that depends on the
// installation.
std::wstring PathOf(const msi::TableRow& row) {
  constexpr const wchar_t* kRoots[] = {L"HKCR", L"HKCU", L"HKLM"};
  const auto root = util::ParseDecimal<int32_t>(row.Get(L"Root"));
  if (root < 0 || root >= static_cast<int32_t>(std::size(kRoots))) return {};
  return Folded(std::wstring(kRoots[root]) + L"\\" + row.Get(L"Key") + L"\\" + row.Get(L"Name"));
}

bool IsKnownOther(const std::wstring& path) {
  return std::any_of(std::begin(kKnownOthers), std::end(kKnownOthers), [&](std::wstring_view one) {
    return one.ends_with(L'*') ? path.starts_with(one.substr(0, one.size() - 1)) : path == one;
  });
}

// True when this machine has the value, of a type that the search cannot read.
bool IsOtherHere(const std::wstring& path, bool view64) {
  const auto value = appsearch::SplitValuePath(util::ToAnsi(path));
  if (!value) return false;
  const util::UniqueRegistryKey key = appsearch::OpenKey(value->key, view64);
  DWORD type = REG_NONE;
  return key &&
         ::RegQueryValueExA(key.Get(), value->name.c_str(), nullptr, &type, nullptr, nullptr) ==
             ERROR_SUCCESS &&
         type != REG_SZ && type != REG_DWORD;
}

}  // namespace

void CheckRoot(const Context& context, const std::wstring& place, const std::wstring& path) {
  const std::wstring root = path.substr(0, path.find(L'\\'));
  if (HasReference(root) || appsearch::ParseRoot(util::ToAnsi(root)) != HKEY_USERS ||
      std::any_of(std::begin(kUsersRoots), std::end(kUsersRoots),
                  [&](const wchar_t* one) { return root == one; })) {
    return;
  }
  context.report->Add(kUnknownRoot, place,
                      Quoted(root) +
                          L" is no root that the searches know, so the rest is looked "
                          L"for below HKEY_USERS. Write HKLM, HKCU, HKCR or HKCC, in "
                          L"capitals");
}

void CheckComparedValue(const Context& context, const std::wstring& place, const std::wstring& path,
                        bool view64) {
  const std::wstring folded = Folded(path);
  const std::wstring advice =
      L": the search would read it again and again, and the installation hang for ever. Only plain "
      L"texts (REG_SZ) and numbers (REG_DWORD) can be read so; search for the value with kind 2";
  for (const msi::TableRow& row :
       context.package.Rows(L"Registry", {L"Registry", L"Root", L"Key", L"Name", L"Value"})) {
    const wchar_t* const type = OtherTypeOf(row.Get(L"Value"));
    if (type == nullptr || PathOf(row) != folded) continue;
    context.report->Add(kHangsByTable, place,
                        Quoted(path) + L" is " + type + L", as the row " +
                            Quoted(row.Get(L"Registry")) + L" of the table Registry writes it" +
                            advice);
    return;
  }
  if (IsKnownOther(folded)) {
    context.report->Add(kHangsEverywhere, place,
                        Quoted(path) + L" is of another type on every Windows" + advice);
  } else if (IsOtherHere(path, view64)) {
    context.report->Add(kHangsHere, place,
                        Quoted(path) + L" is of another type on this machine" + advice);
  }
}

}  // namespace check
