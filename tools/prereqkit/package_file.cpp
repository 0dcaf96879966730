#include "package_file.h"

#include <windows.h>
#include <objbase.h>

#include "util/com.h"
#include "util/files.h"
#include "util/scope_exit.h"
#include "util/text.h"

namespace kit {
namespace {

// The class of the root storage says what an installer's file is; the first word tells them apart.
constexpr DWORD kTransform = 0x000C1082;
constexpr DWORD kDatabase = 0x000C1084;
constexpr DWORD kPatch = 0x000C1086;
constexpr const wchar_t* kSignatures[] = {
    L"\x0005"
    L"DigitalSignature",
    L"\x0005"
    L"MsiDigitalSignatureEx"};

std::wstring Reason(DWORD error) {
  wchar_t text[512] = L"";
  DWORD length = ::FormatMessageW(FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS,
                                  nullptr, error, 0, text, 512, nullptr);
  while (length > 0 && text[length - 1] <= L' ') --length;
  return std::wstring(text, length) + L" (" + util::ToDecimal(error) + L")";
}

std::wstring FullPath(const std::wstring& path) {
  const DWORD size = ::GetFullPathNameW(path.c_str(), 0, nullptr, nullptr);
  std::wstring full(size, L'\0');
  full.resize(::GetFullPathNameW(path.c_str(), size, full.data(), nullptr));
  return full;
}

IStorage* OpenStorage(const std::wstring& path, DWORD mode) {
  IStorage* storage = nullptr;
  return SUCCEEDED(::StgOpenStorage(path.c_str(), nullptr, mode, nullptr, 0, &storage)) ? storage
                                                                                        : nullptr;
}

}  // namespace

std::wstring WhyNoDatabase(const std::wstring& path) {
  const DWORD attributes = ::GetFileAttributesW(path.c_str());
  if (attributes == INVALID_FILE_ATTRIBUTES) return L"there is no such file";
  IStorage* const storage = OpenStorage(path, STGM_READ | STGM_SHARE_DENY_WRITE);
  if (storage == nullptr) return L"this is no Windows Installer package, or it is in use";
  STATSTG status = {};
  const HRESULT result = storage->Stat(&status, STATFLAG_NONAME);
  storage->Release();
  if (FAILED(result)) return L"this is no Windows Installer package";
  switch (status.clsid.Data1) {
    case kDatabase:
      return {};
    case kPatch:
      return L"this is a patch; put the prerequisite into the package that it is for";
    case kTransform:
      return L"this is a transform; put the prerequisite into the package that it is for";
    default:
      return L"this is no Windows Installer package";
  }
}

WorkingCopy::WorkingCopy(const std::wstring& package, const std::wstring& target)
    : target_(FullPath(target)), path_(target_ + L".prereqkit") {
  // One that an earlier run has left behind when it was ended is overwritten. While another run
  // works on the package, the copy is in use.
  if (!::CopyFileW(package.c_str(), path_.c_str(), FALSE)) {
    failure_ = L"no copy to work on can be made, " + path_ + L": " + Reason(::GetLastError());
    path_.clear();
    return;
  }
  ::SetFileAttributesW(path_.c_str(), FILE_ATTRIBUTE_NORMAL);
}

WorkingCopy::~WorkingCopy() {
  if (!path_.empty()) ::DeleteFileW(path_.c_str());
}

bool WorkingCopy::RemoveSignature() {
  IStorage* const storage =
      OpenStorage(path_, STGM_READWRITE | STGM_SHARE_EXCLUSIVE | STGM_TRANSACTED);
  if (storage == nullptr) return false;
  bool is_signed = false;
  for (const wchar_t* name : kSignatures) {
    if (SUCCEEDED(storage->DestroyElement(name))) is_signed = true;
  }
  if (is_signed && FAILED(storage->Commit(STGC_DEFAULT))) {
    failure_ = L"the signature cannot be taken out";
  }
  storage->Release();
  return is_signed;
}

bool WorkingCopy::Compact() {
  const std::wstring fresh = path_ + L"2";
  const util::ScopeExit remove([&] { ::DeleteFileW(fresh.c_str()); });
  IStorage* const from = OpenStorage(path_, STGM_READ | STGM_SHARE_EXCLUSIVE);
  IStorage* to = nullptr;
  HRESULT result = from == nullptr ? STG_E_ACCESSDENIED : S_OK;
  if (SUCCEEDED(result)) {
    result = ::StgCreateDocfile(
        fresh.c_str(), STGM_CREATE | STGM_READWRITE | STGM_SHARE_EXCLUSIVE | STGM_DIRECT, 0, &to);
  }
  if (SUCCEEDED(result)) result = from->CopyTo(0, nullptr, nullptr, to);
  if (SUCCEEDED(result)) result = to->Commit(STGC_DEFAULT);
  if (to != nullptr) to->Release();
  if (from != nullptr) from->Release();
  if (SUCCEEDED(result) && ::MoveFileExW(fresh.c_str(), path_.c_str(), MOVEFILE_REPLACE_EXISTING)) {
    return true;
  }
  failure_ = L"the package cannot be written";
  return false;
}

bool WorkingCopy::TakePlace() {
  // On disk before it takes the place of what is.
  if (const util::UniqueFile file(
          ::CreateFileW(path_.c_str(), GENERIC_WRITE, 0, nullptr, OPEN_EXISTING, 0, nullptr));
      file) {
    ::FlushFileBuffers(file.Get());
  }
  if (!::MoveFileExW(path_.c_str(), target_.c_str(),
                     MOVEFILE_REPLACE_EXISTING | MOVEFILE_WRITE_THROUGH)) {
    failure_ = target_ + L" cannot be written: " + Reason(::GetLastError());
    return false;
  }
  path_.clear();
  return true;
}

std::wstring NewPackageCode() {
  GUID guid = {};
  wchar_t text[40] = L"";
  if (FAILED(::CoCreateGuid(&guid)) || ::StringFromGUID2(guid, text, 40) == 0) return {};
  // The installer wants capitals.
  ::CharUpperW(text);
  return text;
}

}  // namespace kit
