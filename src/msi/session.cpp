#include "msi/session.h"

#include "contract/properties.h"

namespace msi {

std::wstring InstallerSession::GetProperty(const std::wstring& name) const {
  std::wstring value;
  (void)TryGetProperty(name, &value);  // What could not be read is empty.
  return value;
}

bool InstallerSession::TryGetProperty(const std::wstring& name, std::wstring* value) const {
  value->clear();
  // Even an empty value takes the sizing call to "more data"; any other answer to it is a refusal.
  bool has_size = false;
  const UINT error = ReadSized(
      [&](wchar_t* buffer, DWORD* length) {
        const UINT answer = ::MsiGetPropertyW(install_, name.c_str(), buffer, length);
        has_size = has_size || answer == ERROR_MORE_DATA;
        return answer;
      },
      value);
  return has_size && error == ERROR_SUCCESS;
}

bool InstallerSession::SetProperty(const std::wstring& name, const std::wstring& value) const {
  if (install_ == 0 || name.empty()) return false;
  return ::MsiSetPropertyW(install_, name.c_str(), value.c_str()) == ERROR_SUCCESS;
}

bool InstallerSession::EvaluateCondition(const std::wstring& condition) const {
  const MSICONDITION state = GetConditionState(condition);
  return state == MSICONDITION_TRUE || state == MSICONDITION_NONE;
}

MSICONDITION InstallerSession::GetConditionState(const std::wstring& condition) const {
  return ::MsiEvaluateConditionW(install_, condition.c_str());
}

bool InstallerSession::GetFeatureState(const std::wstring& feature, INSTALLSTATE* installed,
                                       INSTALLSTATE* action) const {
  return ::MsiGetFeatureStateW(install_, feature.c_str(), installed, action) == ERROR_SUCCESS;
}

bool InstallerSession::GetFeatureValidStates(const std::wstring& feature, DWORD* states) const {
  return ::MsiGetFeatureValidStatesW(install_, feature.c_str(), states) == ERROR_SUCCESS;
}

bool InstallerSession::SetFeatureState(const std::wstring& feature, INSTALLSTATE state) const {
  return ::MsiSetFeatureStateW(install_, feature.c_str(), state) == ERROR_SUCCESS;
}

int InstallerSession::GetFeatureCostKB(const std::wstring& feature, bool include_children) const {
  INSTALLSTATE installed = INSTALLSTATE_UNKNOWN;
  INSTALLSTATE action = INSTALLSTATE_UNKNOWN;
  if (!GetFeatureState(feature, &installed, &action)) return 0;
  const INSTALLSTATE state = action == INSTALLSTATE_UNKNOWN ? installed : action;
  const MSICOSTTREE tree = include_children ? MSICOSTTREE_CHILDREN : MSICOSTTREE_SELFONLY;
  INT cost = 0;  // In units of 512 bytes.
  if (::MsiGetFeatureCostW(install_, feature.c_str(), tree, state, &cost) != ERROR_SUCCESS)
    return 0;
  return cost / 2;
}

bool InstallerSession::SetTargetPath(const std::wstring& directory,
                                     const std::wstring& path) const {
  return ::MsiSetTargetPathW(install_, directory.c_str(), path.c_str()) == ERROR_SUCCESS;
}

bool InstallerSession::SetInstallLevel(int level) const {
  return ::MsiSetInstallLevel(install_, level) == ERROR_SUCCESS;
}

bool InstallerSession::DoAction(const char* name) const {
  return ::MsiDoActionA(install_, name) == ERROR_SUCCESS;
}

bool InstallerSession::IsInstalled() const {
  return !GetProperty(contract::kInstalledProperty).empty();
}

UniqueMsiHandle InstallerSession::OpenDatabase() const {
  return UniqueMsiHandle(install_ != 0 ? ::MsiGetActiveDatabase(install_) : 0);
}

int InstallerSession::ProcessMessage(UINT message, MSIHANDLE record) const {
  return ::MsiProcessMessage(install_, static_cast<INSTALLMESSAGE>(message), record);
}

UINT InstallerSession::FormatRecord(MSIHANDLE record, std::wstring* text) const {
  return ReadSized(
      [&](wchar_t* buffer, DWORD* length) {
        return ::MsiFormatRecordW(install_, record, buffer, length);
      },
      text);
}

std::wstring FormatText(const InstallerSession& session, const std::wstring& text) {
  std::wstring result;
  if (text.empty()) return result;
  const UniqueMsiHandle record(::MsiCreateRecord(1));
  if (!record || ::MsiRecordSetStringW(record.Get(), 0, text.c_str()) != ERROR_SUCCESS)
    return result;
  (void)session.FormatRecord(record.Get(), &result);  // What could not be formatted is empty.
  return result;
}

}  // namespace msi
