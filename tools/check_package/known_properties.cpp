#include "known_properties.h"

#include <algorithm>
#include <iterator>

#include "appsearch/app_search_runner.h"
#include "custom_actions.h"
#include "util/text.h"

namespace check {
namespace {

// What the installer sets itself or takes from a command line, when it does not always.
constexpr const wchar_t* kInstallers[] = {
    L"CCP_Success",
    L"COMPANYNAME",
    L"Intel64",
    L"IsAdminPackage",
    L"LIMITUI",
    L"MsiTabletPC",
    L"RMCCP_Success",
    L"RemoteAdminTS",
    L"TerminalServer",
    L"USERNAME",
    L"ACTION",
    L"ADDDEFAULT",
    L"ADDLOCAL",
    L"ADDSOURCE",
    L"ADVERTISE",
    L"AdminUser",
    L"AFTERREBOOT",
    L"ALLUSERS",
    L"COMPADDLOCAL",
    L"COMPADDSOURCE",
    L"Date",
    L"EXECUTEACTION",
    L"INSTALLLEVEL",
    L"Installed",
    L"MSIPATCHREMOVE",
    L"MsiNTProductType",
    L"MsiNTSuite64",
    L"Msix64",
    L"OutOfDiskSpace",
    L"OutOfNoRbDiskSpace",
    L"PATCH",
    L"Preselected",
    L"Privileged",
    L"ProductState",
    L"REBOOT",
    L"REBOOTPROMPT",
    L"REINSTALL",
    L"REINSTALLMODE",
    L"REMOVE",
    L"ReplacedInUseFiles",
    L"RESUME",
    L"RollbackDisabled",
    L"ServicePackLevel",
    L"SourceDir",
    L"TARGETDIR",
    L"Time",
    L"TRANSFORMS",
    L"UILevel",
    L"UPGRADINGPRODUCTCODE",
    L"UpdateStarted",
    L"UserSID",
    L"Version9X",
    L"VersionMsi",
    L"VersionNT",
    L"VersionNT64",
    L"WindowsBuild",
    L"MsiNTSuiteDataCenter",
    L"MsiNTSuiteEnterprise",
    L"MsiNTSuitePersonal",
    L"MsiNTSuiteSmallBusiness",
    L"MsiRunningElevated",
    L"MsiUISequenceEnded",
    L"MsiSystemRebootPending",
    L"OriginalDatabase",
};

// What the library or the setup executable sets.
constexpr const wchar_t* kLibrarys[] = {L"QX_RESUME",      L"QX_SETUPEXEPATH", L"QX_DOWNLOAD_DIR",
                                        L"QX_EXTRACT_DIR", L"QX_PREREQFILES",  L"QX_PREREQDIRS",
                                        L"QXEXTERNALUI",   L"SETUPEXEDIR"};

constexpr int kKeyMissing = 6;
constexpr int kValueMissing = 8;

}  // namespace

KnownProperties::KnownProperties(const Package& package) : package_(package) {
  names_.insert(std::begin(kLibrarys), std::end(kLibrarys));
  const struct {
    const wchar_t* table;
    const wchar_t* column;
  } sources[] = {{L"Property", L"Property"},
                 {L"Control", L"Property"},
                 {L"Directory", L"Directory"},
                 {L"Upgrade", L"ActionProperty"},
                 {L"AppSearch", L"Property"}};
  for (const auto& [table, column] : sources) {
    for (const msi::TableRow& row : package.Rows(table, {column})) names_.insert(row.Get(column));
  }
  for (const std::wstring& name : util::Split(package.DefaultOf(L"SecureCustomProperties"), L';')) {
    secure_.insert(name);
  }
  names_.insert(secure_.begin(), secure_.end());
  AddSearches(package);
  AddActions(package);
}

void KnownProperties::AddSearches(const Package& package) {
  for (const msi::TableRow& row : package.Rows(appsearch::kSearchTable, {L"Property", L"Type"})) {
    const std::wstring name = row.Get(L"Property");
    const auto kind = util::ParseDecimal<int32_t>(row.Get(L"Type"));
    names_.insert({name, name + L"QxVerMin", name + L"QxVerMax"});
    const bool is_absence = kind == kKeyMissing || kind == kValueMissing;
    (is_absence ? set_by_absence_ : found_by_search_).insert(name);
  }
}

void KnownProperties::AddActions(const Package& package) {
  for (const CustomAction& action : LoadCustomActions(package)) {
    if (action.SetsProperty()) names_.insert(action.source);
  }
  // An event "[NAME]" of a dialog sets that property.
  for (const msi::TableRow& row : package.Rows(L"ControlEvent", {L"Event"})) {
    const std::wstring event = row.Get(L"Event");
    if (event.size() > 2 && event.front() == L'[' && event.back() == L']') {
      names_.insert(event.substr(1, event.size() - 2));
    }
  }
}

bool KnownProperties::IsSet(const std::wstring& name) const {
  return names_.contains(name) || IsInstallers(name) ||
         (package_.session() != nullptr && !package_.session()->GetProperty(name).empty());
}

bool KnownProperties::IsInstallers(const std::wstring& name) {
  return std::any_of(std::begin(kInstallers), std::end(kInstallers),
                     [&](const wchar_t* one) { return name == one; });
}

}  // namespace check
