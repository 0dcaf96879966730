#include "prereq/carried_properties.h"

#include <windows.h>

#include <algorithm>

#include "contract/properties.h"
#include "contract/tables.h"
#include "msi/table_snapshot.h"
#include "util/text.h"

namespace prereq {
namespace {

// Carried first and in this order, whether the package names them or not. The one with lower-case
// letters is never carried; it stands here for completeness.
constexpr const wchar_t* kStandardNames[] = {
    L"ADDDEFAULT",
    L"ADDLOCAL",
    L"ADDSOURCE",
    L"ADVERTISE",
    L"COMPADDLOCAL",
    L"COMPADDSOURCE",
    L"COMPADDDEFAULT",
    L"FILEADDLOCAL",
    L"FILEADDSOURCE",
    L"PATCH",
    L"REINSTALL",
    L"REINSTALLMODE",
    L"REMOVE",
    L"ACTION",
    L"ALLUSERS",
    L"ARPAUTHORIZEDCDFPREFIX",
    L"ARPCOMMENTS",
    L"ARPCONTACT",
    L"ARPHELPLINK",
    L"ARPNOMODIFY",
    L"ARPNOREMOVE",
    L"ARPNOREPAIR",
    L"ARPPRODUCTICON",
    L"ARPREADME",
    L"ARPSIZE",
    L"ARPSYSTEMCOMPONENT",
    L"ARPURLINFOABOUT",
    L"ARPURLUPDATEINFO",
    L"AVAILABLEFREEREG",
    L"CCP_DRIVE",
    L"DefaultUIFont",
    L"DISABLEADVTSHORTCUTS",
    L"DISABLEMEDIA",
    L"DISABLEROLLBACK",
    L"EXECUTEACTION",
    L"EXECUTEMODE",
    L"FASTOEM",
    L"INSTALLLEVEL",
    L"LIMITUI",
    L"LOGACTION",
    L"MEDIAPACKAGEPATH",
    L"MSINODISABLEMEDIA",
    L"PRIMARYFOLDER",
    L"PROMPTROLLBACKCOST",
    L"REBOOT",
    L"REBOOTPROMPT",
    L"ROOTDRIVE",
    L"SEQUENCE",
    L"SHORTFILENAMES",
    L"TRANSFORMS",
    L"TRANSFORMSATSOURCE",
    L"TRANSFORMSSECURE",
    contract::kExtractFolderProperty,
    contract::kFilesProperty,
    contract::kFoldersProperty,
    contract::kDownloadFolderProperty,
    L"QX_TEMP_FILE_ROLLBACK_INFO",
    L"QXTEMPFILESEXTRACTED",
    L"QXTEMPFILESREMOVED",
};

// Tables of actions, dialogs and files that set properties the `Property` table need not list.
constexpr const wchar_t* kNamingTables[] = {L"AppSearch", contract::kSearchTable, L"Control",
                                            L"QX_TempFile"};

// The system is asked only beyond ASCII: on the oldest systems this call has no answer.
bool IsLowerCase(wchar_t character) {
  if (character <= L'\x7f') return character >= L'a' && character <= L'z';
  WORD type = 0;
  return ::GetStringTypeW(CT_CTYPE1, &character, 1, &type) && (type & C1_LOWER) != 0;
}

}  // namespace

bool IsPublicPropertyName(std::wstring_view name) {
  return std::none_of(name.begin(), name.end(), &IsLowerCase);
}

std::wstring QuotedProperty(const std::wstring& name, const std::wstring& value) {
  std::wstring text = name + L"=\"";
  for (const wchar_t character : value) text.append(character == L'"' ? 2 : 1, character);
  if (value.ends_with(L'\\')) text += L'\\';
  return text + L'"';
}

std::vector<std::wstring> CarriedProperties::Collect() {
  LoadCandidates();
  for (const wchar_t* name : kStandardNames) Carry(name);
  for (const std::wstring& name :
       util::Split(session_.GetProperty(contract::kSecureProperty), L';')) {
    Carry(name);
  }
  for (const auto& [name, value] : candidates_) Carry(name);
  msi::TableSnapshot directories(session_, L"Directory");
  directories.Load({L"Directory"});
  for (const msi::TableRow& row : directories) Carry(row.Get(L"Directory"));
  return std::move(assignments_);
}

void CarriedProperties::LoadCandidates() {
  const auto add = [this](const std::wstring& name, const std::wstring& value) {
    if (IsPublicPropertyName(name)) candidates_.try_emplace(name, value);
  };
  msi::TableSnapshot properties(session_, L"Property");
  properties.Load({L"Property", L"Value"});
  for (const msi::TableRow& row : properties) add(row.Get(L"Property"), row.Get(L"Value"));
  for (const wchar_t* table : kNamingTables) {
    msi::TableSnapshot names(session_, table);
    names.Load({L"Property"});
    for (const msi::TableRow& row : names) add(row.Get(L"Property"), {});
  }
}

void CarriedProperties::Carry(const std::wstring& name) {
  if (!IsPublicPropertyName(name) || !handled_.insert(name).second) return;
  std::wstring value;
  // What could not be read is no choice, least of all an empty one.
  if (!session_.TryGetProperty(name, &value)) return;
  const auto candidate = candidates_.find(name);
  const std::wstring default_value = candidate == candidates_.end() ? L"" : candidate->second;
  if (value != default_value) assignments_.push_back(QuotedProperty(name, value));
}

}  // namespace prereq
