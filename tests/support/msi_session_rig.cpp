#include "support/msi_session_rig.h"

#include <doctest.h>

#include "support/run_value.h"
#include "util/unique_handle.h"

namespace test {

MsiSessionRig::MsiSessionRig(const TestPackage& package) : product_code_(package.product_code()) {
  ::MsiSetInternalUI(INSTALLUILEVEL_NONE, nullptr);
  const std::wstring name =
      package.database() != 0 ? L"#" + std::to_wstring(package.database()) : package.path();
  REQUIRE(::MsiOpenPackageW(name.c_str(), &handle_) == ERROR_SUCCESS);
  session_.emplace(handle_);
  for (const wchar_t* action : {L"CostInitialize", L"FileCost", L"CostFinalize"}) {
    REQUIRE(::MsiDoActionW(handle_, action) == ERROR_SUCCESS);
  }
}

MsiSessionRig::~MsiSessionRig() {
  if (handle_ != 0) ::MsiCloseHandle(handle_);
  // What an install action registered would run at the next start of the machine.
  DeleteRunValue(product_code_);
}

std::wstring MsiSessionRig::Property(const std::wstring& name) const {
  return session().GetProperty(name);
}

void MsiSessionRig::SetProperty(const std::wstring& name, const std::wstring& value) const {
  REQUIRE(::MsiSetPropertyW(handle_, name.c_str(), value.c_str()) == ERROR_SUCCESS);
}

UINT MsiSessionRig::Call(const char* custom_action) const {
  return CallExport(custom_action, handle_);
}

UINT MsiSessionRig::CountLeakedHandles() {
  ::MsiCloseHandle(handle_);
  handle_ = 0;
  return ::MsiCloseAllHandles();
}

UINT CallExport(const char* custom_action, MSIHANDLE install) {
  static const HMODULE library = ::LoadLibraryW((ProgramFolder() + L"\\Prereq.dll").c_str());
  REQUIRE(library != nullptr);
  auto* const address = reinterpret_cast<void*>(::GetProcAddress(library, custom_action));
  REQUIRE(address != nullptr);
  return reinterpret_cast<UINT(WINAPI*)(MSIHANDLE)>(address)(install);
}

}  // namespace test
