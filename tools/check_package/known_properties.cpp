#include "known_properties.h"

#include <algorithm>
#include <iterator>

#include "appsearch/app_search_runner.h"
#include "custom_actions.h"
#include "util/text.h"

namespace check {
namespace {

// What the installer sets itself or takes from a command line, when it does not always.
constexpr const wchar_t* kInstallers[] = {L"ACTION",
                                          L"ADDDEFAULT",
                                          L"ADDLOCAL",
                                          L"ADDSOURCE",
                                          L"AdminProperties",
                                          L"AdminToolsFolder",
                                          L"AdminUser",
                                          L"ADVERTISE",
                                          L"AFTERREBOOT",
                                          L"ALLUSERS",
                                          L"Alpha",
                                          L"AppDataFolder",
                                          L"ARPAUTHORIZEDCDFPREFIX",
                                          L"ARPCOMMENTS",
                                          L"ARPCONTACT",
                                          L"ARPHELPLINK",
                                          L"ARPHELPTELEPHONE",
                                          L"ARPINSTALLLOCATION",
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
                                          L"BorderSide",
                                          L"BorderTop",
                                          L"CaptionHeight",
                                          L"CCP_DRIVE",
                                          L"CCP_Success",
                                          L"ColorBits",
                                          L"CommonAppDataFolder",
                                          L"CommonFiles64Folder",
                                          L"CommonFilesFolder",
                                          L"COMPADDDEFAULT",
                                          L"COMPADDLOCAL",
                                          L"COMPADDSOURCE",
                                          L"COMPANYNAME",
                                          L"ComputerName",
                                          L"CostingComplete",
                                          L"Date",
                                          L"DefaultUIFont",
                                          L"DesktopFolder",
                                          L"DISABLEADVTSHORTCUTS",
                                          L"DISABLEMEDIA",
                                          L"DISABLEROLLBACK",
                                          L"DiskPrompt",
                                          L"EnableUserControl",
                                          L"ErrorDialog",
                                          L"EXECUTEACTION",
                                          L"EXECUTEMODE",
                                          L"FASTOEM",
                                          L"FavoritesFolder",
                                          L"FILEADDDEFAULT",
                                          L"FILEADDLOCAL",
                                          L"FILEADDSOURCE",
                                          L"FontsFolder",
                                          L"GPTSupport",
                                          L"Installed",
                                          L"INSTALLLEVEL",
                                          L"Intel",
                                          L"Intel64",
                                          L"IsAdminPackage",
                                          L"LeftUnit",
                                          L"LIMITUI",
                                          L"LocalAppDataFolder",
                                          L"LOGACTION",
                                          L"LogonUser",
                                          L"Manufacturer",
                                          L"MEDIAPACKAGEPATH",
                                          L"MsiAMD64",
                                          L"MSIARPSETTINGSIDENTIFIER",
                                          L"MSICHECKCRCS",
                                          L"MSIDEPLOYMENTCOMPLIANT",
                                          L"MSIDISABLEEEUI",
                                          L"MSIDISABLELUAPATCHING",
                                          L"MSIDISABLERMRESTART",
                                          L"MSIENFORCEUPGRADECOMPONENTRULES",
                                          L"MSIFASTINSTALL",
                                          L"MsiHiddenProperties",
                                          L"MSIINSTALLPERUSER",
                                          L"MSIINSTANCEGUID",
                                          L"MsiLogFileLocation",
                                          L"MsiLogging",
                                          L"MsiMediaCenter",
                                          L"MsiNetAssemblySupport",
                                          L"MSINEWINSTANCE",
                                          L"MSINODISABLEMEDIA",
                                          L"MsiNTProductType",
                                          L"MsiNTSuite64",
                                          L"MsiNTSuiteBackOffice",
                                          L"MsiNTSuiteDataCenter",
                                          L"MsiNTSuiteEnterprise",
                                          L"MsiNTSuitePersonal",
                                          L"MsiNTSuiteSmallBusiness",
                                          L"MsiNTSuiteSmallBusinessRestricted",
                                          L"MsiNTSuiteWebServer",
                                          L"MsiPatchRemovalList",
                                          L"MSIPATCHREMOVE",
                                          L"MSIRESTARTMANAGERCONTROL",
                                          L"MsiRestartManagerSessionKey",
                                          L"MSIRMSHUTDOWN",
                                          L"MsiRunningElevated",
                                          L"MsiSelectionTreeSelectedAction",
                                          L"MsiSelectionTreeSelectedCost",
                                          L"MsiSelectionTreeSelectedFeature",
                                          L"MsiSelectionTreeSelectedPath",
                                          L"MsiSystemRebootPending",
                                          L"MsiTabletPC",
                                          L"MsiTrueAdminUser",
                                          L"MsiUIHideCancel",
                                          L"MsiUIProgressOnly",
                                          L"MsiUISequenceEnded",
                                          L"MsiUISourceResOnly",
                                          L"MsiUIUACOnly",
                                          L"MSIUNINSTALLSUPERSEDEDCOMPONENTS",
                                          L"MSIUSEREALADMINDETECTION",
                                          L"MsiWin32AssemblySupport",
                                          L"Msix64",
                                          L"MyPicturesFolder",
                                          L"NetHoodFolder",
                                          L"NOCOMPANYNAME",
                                          L"NOUSERNAME",
                                          L"OLEAdvtSupport",
                                          L"OriginalDatabase",
                                          L"OutOfDiskSpace",
                                          L"OutOfNoRbDiskSpace",
                                          L"ParentOriginalDatabase",
                                          L"ParentProductCode",
                                          L"PATCH",
                                          L"PATCHNEWPACKAGECODE",
                                          L"PATCHNEWSUMMARYCOMMENTS",
                                          L"PATCHNEWSUMMARYSUBJECT",
                                          L"PersonalFolder",
                                          L"PhysicalMemory",
                                          L"PIDKEY",
                                          L"PIDTemplate",
                                          L"Preselected",
                                          L"PRIMARYFOLDER",
                                          L"PrimaryVolumePath",
                                          L"PrimaryVolumeSpaceAvailable",
                                          L"PrimaryVolumeSpaceRemaining",
                                          L"PrimaryVolumeSpaceRequired",
                                          L"PrintHoodFolder",
                                          L"Privileged",
                                          L"ProductCode",
                                          L"ProductID",
                                          L"ProductLanguage",
                                          L"ProductName",
                                          L"ProductState",
                                          L"ProductVersion",
                                          L"ProgramFiles64Folder",
                                          L"ProgramFilesFolder",
                                          L"ProgramMenuFolder",
                                          L"PROMPTROLLBACKCOST",
                                          L"REBOOT",
                                          L"REBOOTPROMPT",
                                          L"RecentFolder",
                                          L"RedirectedDllSupport",
                                          L"REINSTALL",
                                          L"REINSTALLMODE",
                                          L"RemoteAdminTS",
                                          L"REMOVE",
                                          L"ReplacedInUseFiles",
                                          L"RESUME",
                                          L"RMCCP_Success",
                                          L"RollbackDisabled",
                                          L"ROOTDRIVE",
                                          L"ScreenX",
                                          L"ScreenY",
                                          L"SecureCustomProperties",
                                          L"SendToFolder",
                                          L"SEQUENCE",
                                          L"ServicePackLevel",
                                          L"ServicePackLevelMinor",
                                          L"SharedWindows",
                                          L"ShellAdvtSupport",
                                          L"SHORTFILENAMES",
                                          L"SourceDir",
                                          L"SOURCELIST",
                                          L"StartMenuFolder",
                                          L"StartupFolder",
                                          L"System16Folder",
                                          L"System64Folder",
                                          L"SystemFolder",
                                          L"SystemLanguageID",
                                          L"TARGETDIR",
                                          L"TempFolder",
                                          L"TemplateFolder",
                                          L"TerminalServer",
                                          L"TextHeight",
                                          L"TextHeightCorrection",
                                          L"TextInternalLeading",
                                          L"Time",
                                          L"TRANSFORMS",
                                          L"TRANSFORMSATSOURCE",
                                          L"TRANSFORMSSECURE",
                                          L"TTCSupport",
                                          L"UILevel",
                                          L"UpdateStarted",
                                          L"UpgradeCode",
                                          L"UPGRADINGPRODUCTCODE",
                                          L"UserLanguageID",
                                          L"USERNAME",
                                          L"UserSID",
                                          L"Version9X",
                                          L"VersionDatabase",
                                          L"VersionMsi",
                                          L"VersionNT",
                                          L"VersionNT64",
                                          L"VirtualMemory",
                                          L"WindowsBuild",
                                          L"WindowsFolder",
                                          L"WindowsVolume"};

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
