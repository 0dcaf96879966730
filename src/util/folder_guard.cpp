#include "util/folder_guard.h"

#include <cstring>

#include "util/find_function.h"
#include "util/os_family.h"

namespace util {
namespace {

// True for the security identifier with these parts below the authority of Windows NT. Laid out by
// the system: revision, number of parts, six bytes of authority, the parts.
template <size_t count>
bool HasParts(const std::string& sid, const DWORD (&parts)[count]) {
  constexpr char kAuthority[] = {0, 0, 0, 0, 0, 5};
  return sid.size() == 8 + sizeof(parts) &&
         std::memcmp(sid.data() + 2, kAuthority, sizeof(kAuthority)) == 0 &&
         std::memcmp(sid.data() + 8, parts, sizeof(parts)) == 0;
}
constexpr DWORD kSystem[] = {SECURITY_LOCAL_SYSTEM_RID};
constexpr DWORD kLocalService[] = {SECURITY_LOCAL_SERVICE_RID};
constexpr DWORD kNetworkService[] = {SECURITY_NETWORK_SERVICE_RID};
constexpr DWORD kAdministrators[] = {SECURITY_BUILTIN_DOMAIN_RID, DOMAIN_ALIAS_RID_ADMINS};
constexpr DWORD kTrustedInstaller[] = {80,         956008885,  3418522649,
                                       1831038044, 1853292631, 2271478464};

std::string CopySid(const void* sid) {
  const auto* const bytes = static_cast<const char*>(sid);
  return bytes == nullptr ? std::string()
                          : std::string(bytes, 8 + 4 * static_cast<size_t>(bytes[1]));
}

// Windows 95/98/Me has stubs of these, or nothing.
template <typename Function>
Function FindSecurityFunction(const char* name) {
  return FindFunction<Function>(::GetModuleHandleA("advapi32.dll"), name);
}

std::string ReadAccount() {
  const auto open_thread = FindSecurityFunction<decltype(&::OpenThreadToken)>("OpenThreadToken");
  const auto open_process = FindSecurityFunction<decltype(&::OpenProcessToken)>("OpenProcessToken");
  const auto get_information =
      FindSecurityFunction<decltype(&::GetTokenInformation)>("GetTokenInformation");
  if (open_thread == nullptr || open_process == nullptr || get_information == nullptr) return {};
  UniqueKernelHandle token;
  alignas(TOKEN_USER) char buffer[sizeof(TOKEN_USER) + SECURITY_MAX_SID_SIZE];
  DWORD length = 0;
  // A thread without a token of its own works for the process's account.
  if ((!open_thread(::GetCurrentThread(), TOKEN_QUERY, TRUE, token.Receive()) &&
       !open_process(::GetCurrentProcess(), TOKEN_QUERY, token.Receive())) ||
      !get_information(token.Get(), TokenUser, buffer, sizeof(buffer), &length)) {
    return {};
  }
  return CopySid(reinterpret_cast<const TOKEN_USER*>(buffer)->User.Sid);
}

std::string ReadOwner(HANDLE folder) {
  const auto get_security =
      FindSecurityFunction<decltype(&::GetKernelObjectSecurity)>("GetKernelObjectSecurity");
  const auto get_owner =
      FindSecurityFunction<decltype(&::GetSecurityDescriptorOwner)>("GetSecurityDescriptorOwner");
  alignas(SECURITY_DESCRIPTOR) char buffer[sizeof(SECURITY_DESCRIPTOR) + SECURITY_MAX_SID_SIZE];
  DWORD length = 0;
  PSID owner = nullptr;
  BOOL is_default = FALSE;
  if (get_security == nullptr || get_owner == nullptr ||
      !get_security(folder, OWNER_SECURITY_INFORMATION, buffer, sizeof(buffer), &length) ||
      !get_owner(buffer, &owner, &is_default)) {
    return {};
  }
  return CopySid(owner);
}

UniqueFile OpenFolder(const std::wstring& path, DWORD access, const FolderFunctions& functions) {
  UniqueFile folder(functions.create_file(
      path.c_str(), access, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr, OPEN_EXISTING,
      FILE_FLAG_BACKUP_SEMANTICS | FILE_FLAG_OPEN_REPARSE_POINT, nullptr));
  BY_HANDLE_FILE_INFORMATION information = {};
  if (!folder || !functions.get_information(folder.Get(), &information)) return {};
  if ((information.dwFileAttributes & FILE_ATTRIBUTE_REPARSE_POINT) != 0) {
    ::SetLastError(ERROR_CANT_ACCESS_FILE);
    return {};
  }
  return folder;
}

bool IsSeparator(wchar_t character) { return character == L'\\' || character == L'/'; }

// The rights that a folder of a service account gives, with those to what is made in it. The
// account itself has them through SYSTEM, or is named: it has to write there.
const wchar_t* AccessList(const std::string& account) {
  if (HasParts(account, kLocalService)) {
    return L"D:P(A;OICI;FA;;;SY)(A;OICI;FA;;;BA)(A;OICI;FA;;;LS)";
  }
  if (HasParts(account, kNetworkService)) {
    return L"D:P(A;OICI;FA;;;SY)(A;OICI;FA;;;BA)(A;OICI;FA;;;NS)";
  }
  return L"D:P(A;OICI;FA;;;SY)(A;OICI;FA;;;BA)";
}

}  // namespace

const FolderFunctions& SystemFolderFunctions() {
  static constexpr FolderFunctions kFunctions = {&::CreateFileW, &::GetFileInformationByHandle,
                                                 &::CreateDirectoryW, &ReadAccount, &ReadOwner};
  return kFunctions;
}

bool HoldFolders(const std::wstring& path, size_t top_chars, const FolderFunctions& functions,
                 std::vector<UniqueFile>* held) {
  if (!IsNtFamily()) return true;
  // A folder's text may end in a separator.
  for (size_t at = top_chars == 0 ? 0 : top_chars - 1; at < path.size(); ++at) {
    // The root of a drive is no link, and its name without the separator another folder.
    if (!IsSeparator(path[at]) || at == 0 || path[at - 1] == L':') continue;
    // The right to list makes the system keep others from renaming and deleting.
    UniqueFile folder =
        OpenFolder(path.substr(0, at), FILE_LIST_DIRECTORY | FILE_READ_ATTRIBUTES, functions);
    if (!folder) return false;
    held->push_back(std::move(folder));
  }
  return true;
}

bool IsLink(const std::wstring& path, const FolderFunctions& functions) {
  return IsNtFamily() && !OpenFolder(path, FILE_READ_ATTRIBUTES, functions) &&
         ::GetLastError() == ERROR_CANT_ACCESS_FILE;
}

bool IsServiceAccount(const FolderFunctions& functions) {
  if (!IsNtFamily()) return false;
  const std::string account = functions.read_account();
  return HasParts(account, kSystem) || HasParts(account, kLocalService) ||
         HasParts(account, kNetworkService);
}

DWORD MakeProtectedFolder(const std::wstring& path, const FolderFunctions& functions) {
  // Windows 2000 is the first to read access lists from texts.
  using Convert = BOOL(WINAPI*)(const wchar_t*, DWORD, PSECURITY_DESCRIPTOR*, ULONG*);
  const auto convert =
      FindSecurityFunction<Convert>("ConvertStringSecurityDescriptorToSecurityDescriptorW");
  UniqueLocalMemory descriptor;
  if (convert != nullptr && !convert(AccessList(functions.read_account()), /*revision=*/1,
                                     descriptor.Receive(), nullptr)) {
    return ::GetLastError();
  }
  SECURITY_ATTRIBUTES attributes = {sizeof(attributes), descriptor.Get(), FALSE};
  return functions.create_directory(path.c_str(), &attributes) ? ERROR_SUCCESS : ::GetLastError();
}

DWORD MakeProtectedFolders(const std::wstring& path, const FolderFunctions& functions) {
  DWORD error = ERROR_SUCCESS;
  for (size_t at = 1; at <= path.size(); ++at) {
    const bool is_end = at == path.size() || IsSeparator(path[at]);
    if (!is_end || path[at - 1] == L':' || IsSeparator(path[at - 1])) continue;
    // Above the last one many fail, such as a server's name; the last one tells.
    error = MakeProtectedFolder(path.substr(0, at), functions);
  }
  return error == ERROR_ALREADY_EXISTS ? ERROR_SUCCESS : error;
}

bool IsTrustedFolder(const std::wstring& path, const FolderFunctions& functions) {
  const UniqueFile folder = OpenFolder(path, READ_CONTROL | FILE_READ_ATTRIBUTES, functions);
  if (!folder) return false;
  const std::string owner = functions.read_owner(folder.Get());
  return !owner.empty() &&
         (HasParts(owner, kSystem) || HasParts(owner, kAdministrators) ||
          HasParts(owner, kTrustedInstaller) || owner == functions.read_account());
}

}  // namespace util
