#include "known_properties.h"

#include <algorithm>
#include <iterator>
#include <numeric>

#include "appsearch/criterion.h"
#include "contract/properties.h"
#include "contract/tables.h"
#include "appsearch/version.h"
#include "plain_text.h"
#include "prereq/carried_properties.h"
#include "report.h"
#include "util/text.h"

namespace check {
namespace {

// What the installer sets itself or takes from a command line, when it does not always; each
// between two blanks.
constexpr wchar_t kInstallers[] =
    L" ACTION ADDDEFAULT ADDLOCAL ADDSOURCE AdminProperties AdminToolsFolder AdminUser ADVERTISE"
    L" AFTERREBOOT ALLUSERS Alpha AppDataFolder ARPAUTHORIZEDCDFPREFIX ARPCOMMENTS ARPCONTACT"
    L" ARPHELPLINK ARPHELPTELEPHONE ARPINSTALLLOCATION ARPNOMODIFY ARPNOREMOVE ARPNOREPAIR"
    L" ARPPRODUCTICON ARPREADME ARPSIZE ARPSYSTEMCOMPONENT ARPURLINFOABOUT ARPURLUPDATEINFO"
    L" AVAILABLEFREEREG BorderSide BorderTop CaptionHeight CCP_DRIVE CCP_Success ColorBits"
    L" CommonAppDataFolder CommonFiles64Folder CommonFilesFolder COMPADDDEFAULT COMPADDLOCAL"
    L" COMPADDSOURCE COMPANYNAME ComputerName CostingComplete Date DefaultUIFont DesktopFolder"
    L" DISABLEADVTSHORTCUTS DISABLEMEDIA DISABLEROLLBACK DiskPrompt EnableUserControl ErrorDialog"
    L" EXECUTEACTION EXECUTEMODE FASTOEM FavoritesFolder FILEADDDEFAULT FILEADDLOCAL"
    L" FILEADDSOURCE FontsFolder GPTSupport Installed INSTALLLEVEL Intel Intel64 IsAdminPackage"
    L" LeftUnit LIMITUI LocalAppDataFolder LOGACTION LogonUser Manufacturer MEDIAPACKAGEPATH"
    L" MsiAMD64 MSIARPSETTINGSIDENTIFIER MSICHECKCRCS MSIDEPLOYMENTCOMPLIANT MSIDISABLEEEUI"
    L" MSIDISABLELUAPATCHING MSIDISABLERMRESTART MSIENFORCEUPGRADECOMPONENTRULES MSIFASTINSTALL"
    L" MsiHiddenProperties MSIINSTALLPERUSER MSIINSTANCEGUID MsiLogFileLocation MsiLogging"
    L" MsiMediaCenter MsiNetAssemblySupport MSINEWINSTANCE MSINODISABLEMEDIA MsiNTProductType"
    L" MsiNTSuite64 MsiNTSuiteBackOffice MsiNTSuiteDataCenter MsiNTSuiteEnterprise"
    L" MsiNTSuitePersonal MsiNTSuiteSmallBusiness MsiNTSuiteSmallBusinessRestricted"
    L" MsiNTSuiteWebServer MsiPatchRemovalList MSIPATCHREMOVE MSIRESTARTMANAGERCONTROL"
    L" MsiRestartManagerSessionKey MSIRMSHUTDOWN MsiRunningElevated"
    L" MsiSelectionTreeSelectedAction MsiSelectionTreeSelectedCost"
    L" MsiSelectionTreeSelectedFeature MsiSelectionTreeSelectedPath MsiSystemRebootPending"
    L" MsiTabletPC MsiTrueAdminUser MsiUIHideCancel MsiUIProgressOnly MsiUISequenceEnded"
    L" MsiUISourceResOnly MsiUIUACOnly MSIUNINSTALLSUPERSEDEDCOMPONENTS MSIUSEREALADMINDETECTION"
    L" MsiWin32AssemblySupport Msix64 MyPicturesFolder NetHoodFolder NOCOMPANYNAME NOUSERNAME"
    L" OLEAdvtSupport OriginalDatabase OutOfDiskSpace OutOfNoRbDiskSpace ParentOriginalDatabase"
    L" ParentProductCode PATCH PATCHNEWPACKAGECODE PATCHNEWSUMMARYCOMMENTS PATCHNEWSUMMARYSUBJECT"
    L" PersonalFolder PhysicalMemory PIDKEY PIDTemplate Preselected PRIMARYFOLDER"
    L" PrimaryVolumePath PrimaryVolumeSpaceAvailable PrimaryVolumeSpaceRemaining"
    L" PrimaryVolumeSpaceRequired PrintHoodFolder Privileged ProductCode ProductID"
    L" ProductLanguage ProductName ProductState ProductVersion ProgramFiles64Folder"
    L" ProgramFilesFolder ProgramMenuFolder PROMPTROLLBACKCOST REBOOT REBOOTPROMPT RecentFolder"
    L" RedirectedDllSupport REINSTALL REINSTALLMODE RemoteAdminTS REMOVE ReplacedInUseFiles"
    L" RESUME RMCCP_Success RollbackDisabled ROOTDRIVE ScreenX ScreenY SecureCustomProperties"
    L" SendToFolder SEQUENCE ServicePackLevel ServicePackLevelMinor SharedWindows"
    L" ShellAdvtSupport SHORTFILENAMES SourceDir SOURCELIST StartMenuFolder StartupFolder"
    L" System16Folder System64Folder SystemFolder SystemLanguageID TARGETDIR TempFolder"
    L" TemplateFolder TerminalServer TextHeight TextHeightCorrection TextInternalLeading Time"
    L" TRANSFORMS TRANSFORMSATSOURCE TRANSFORMSSECURE TTCSupport UILevel UpdateStarted"
    L" UpgradeCode UPGRADINGPRODUCTCODE UserLanguageID USERNAME UserSID Version9X VersionDatabase"
    L" VersionMsi VersionNT VersionNT64 VirtualMemory WindowsBuild WindowsFolder WindowsVolume ";

// What the library or the setup executable sets.
constexpr const wchar_t* kLibrarys[] = {
    contract::kResumeProperty,         contract::kSetupPathProperty,
    contract::kDownloadFolderProperty, contract::kExtractFolderProperty,
    contract::kFilesProperty,          contract::kFoldersProperty,
    contract::kExternalUiProperty,     contract::kSetupFolderProperty};

using appsearch::SearchKind;

// True for a search whose property becomes what was looked at, which is not the text 1: a bound is
// given, and with values and keys one that bounds, since zeros are how an author asks for the value
// itself, and that may well be 1.
bool FindsVersions(const msi::TableRow& row, SearchKind kind) {
  if (kind > SearchKind::kRelatedProducts) return false;
  const bool may_find_one = kind == SearchKind::kSubkeys || kind == SearchKind::kValue;
  for (const wchar_t* column : {L"VerMin", L"VerMax"}) {
    appsearch::Version bound;
    (void)appsearch::ParseVersion(Plain(row.Get(column)), &bound);
    if (!bound.IsZero() || (!may_find_one && !row.Get(column).empty())) return true;
  }
  return false;
}

// So many letters of a name can be slips: one in three, two at most.
size_t SlipsIn(const std::wstring& name) { return std::min<size_t>(name.size() / 3, 2); }

// The letters to add, leave out or replace to make one of the other, capitals or not.
size_t Distance(const std::wstring& a, const std::wstring& b) {
  std::vector<size_t> row(b.size() + 1);
  std::iota(row.begin(), row.end(), size_t{0});
  for (size_t i = 0; i < a.size(); ++i) {
    size_t diagonal = row[0];
    row[0] = i + 1;
    for (size_t j = 0; j < b.size(); ++j) {
      const size_t replaced = diagonal + (util::FoldAscii(a[i]) == util::FoldAscii(b[j]) ? 0 : 1);
      diagonal = row[j + 1];
      row[j + 1] = std::min({replaced, diagonal + 1, row[j] + 1});
    }
  }
  return row.back();
}

}  // namespace

KnownProperties::KnownProperties(const Package& package, const CustomActions& custom_actions)
    : package_(package) {
  names_.insert(std::begin(kLibrarys), std::end(kLibrarys));
  const struct {
    const wchar_t* table;
    const wchar_t* column;
    std::set<std::wstring>* names;
  } sources[] = {{L"Property", L"Property", &names_},
                 {L"Directory", L"Directory", &names_},
                 {L"Control", L"Property", &set_otherwise_},
                 {L"Upgrade", L"ActionProperty", &set_otherwise_},
                 {L"AppSearch", L"Property", &set_otherwise_}};
  for (const auto& [table, column, names] : sources) {
    for (const msi::TableRow& row : package.Rows(table)) names->insert(row.Get(column));
  }
  for (const std::wstring& name : util::Split(package.DefaultOf(contract::kSecureProperty), L';')) {
    secure_.insert(name);
  }
  names_.insert(secure_.begin(), secure_.end());
  for (const msi::TableRow& row : package.Rows(L"AppSearch")) {
    searched_.insert(row.Get(L"Property"));
  }
  AddSearches(package);
  AddActions(package, custom_actions);
}

void KnownProperties::AddSearches(const Package& package) {
  for (const msi::TableRow& row : package.Rows(contract::kSearchTable)) {
    const std::wstring name = row.Get(L"Property");
    const auto kind = static_cast<SearchKind>(util::ParseDecimal<int32_t>(row.Get(L"Type")));
    (FindsVersions(row, kind) ? set_to_versions_ : set_otherwise_).insert(name);
    searched_.insert(name);
    names_.insert({name, name + L"QxVerMin", name + L"QxVerMax"});
    const bool is_absence = kind == SearchKind::kNoKey || kind == SearchKind::kNoValue;
    (is_absence ? set_by_absence_ : found_by_search_).insert(name);
  }
}

void KnownProperties::AddActions(const Package& package, const CustomActions& custom_actions) {
  for (const CustomAction& action : custom_actions.all()) {
    if (action.SetsProperty()) set_otherwise_.insert(action.source);
  }
  // An event "[NAME]" of a dialog sets that property.
  for (const msi::TableRow& row : package.Rows(L"ControlEvent")) {
    const std::wstring event = row.Get(L"Event");
    if (event.size() > 2 && event.front() == L'[' && event.back() == L']') {
      set_otherwise_.insert(event.substr(1, event.size() - 2));
    }
  }
}

bool KnownProperties::IsSet(const std::wstring& name) const {
  return names_.contains(name) || set_otherwise_.contains(name) || IsInstallers(name) ||
         (package_.session() != nullptr && !package_.session()->GetProperty(name).empty());
}

std::wstring KnownProperties::WhyNeverSet(const std::wstring& name) const {
  if (package_.session() == nullptr || IsSet(name)) return {};
  const auto meant = std::find_if(
      searched_.begin(), searched_.end(),
      [&](const std::wstring& other) { return Distance(name, other) <= SlipsIn(other); });
  const bool is_public = prereq::IsPublicPropertyName(name);
  if (is_public && meant == searched_.end()) return {};
  std::wstring why = L"no table of this package sets the property " + Quoted(name);
  why += is_public ? L". If no custom action and no command line sets it, it is always empty"
                   : L". If no custom action of yours does, it is always empty";
  if (meant != searched_.end()) why += L"; is " + Quoted(*meant) + L" meant?";
  return why;
}

std::wstring KnownProperties::ValueOnFreshMachine(const std::wstring& name) const {
  return set_by_absence_.contains(name) ? L"1" : package_.DefaultOf(name);
}

bool KnownProperties::IsInstallers(const std::wstring& name) {
  return std::wstring_view(kInstallers).find(L" " + name + L" ") != std::wstring_view::npos;
}

}  // namespace check
