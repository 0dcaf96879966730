// The program as it meets files: what it refuses, what it takes out of a signed one, and that it
// can be ended at any moment. What it makes of packages stands in prereqkit/cases.txt.

#include <windows.h>
#include <objbase.h>

#include <doctest.h>

#include <string>

#include "support/test_package.h"
#include "util/text.h"
#include "util/unique_handle.h"

namespace {

constexpr wchar_t kSignature[] =
    L"\x0005"
    L"DigitalSignature";

struct Program {
  util::UniqueKernelHandle process;

  // Ends the program when it has not ended by then. Answers its exit code.
  DWORD End(DWORD after_ms) {
    if (::WaitForSingleObject(process.Get(), after_ms) != WAIT_OBJECT_0) {
      ::TerminateProcess(process.Get(), 99);
      ::WaitForSingleObject(process.Get(), INFINITE);
    }
    DWORD code = 0;
    REQUIRE(::GetExitCodeProcess(process.Get(), &code));
    return code;
  }
};

// What it says goes to output.txt in the folder.
Program Start(const test::TempFolder& folder, const std::wstring& arguments) {
  SECURITY_ATTRIBUTES inherited = {sizeof(inherited), nullptr, TRUE};
  const util::UniqueFile output(::CreateFileW((folder / L"output.txt").c_str(), GENERIC_WRITE,
                                              FILE_SHARE_READ | FILE_SHARE_WRITE, &inherited,
                                              CREATE_ALWAYS, 0, nullptr));
  REQUIRE(output);
  STARTUPINFOW startup = {};
  startup.cb = sizeof(startup);
  startup.dwFlags = STARTF_USESTDHANDLES;
  startup.hStdOutput = output.Get();
  startup.hStdError = output.Get();
  PROCESS_INFORMATION process = {};
  std::wstring line = L"\"" + test::ProgramFolder() + L"\\prereqkit.exe\" " + arguments;
  REQUIRE(::CreateProcessW(nullptr, line.data(), nullptr, nullptr, TRUE, 0, nullptr,
                           folder.path().c_str(), &startup, &process));
  ::CloseHandle(process.hThread);
  return {util::UniqueKernelHandle(process.hProcess)};
}

IStorage* OpenRoot(const std::wstring& path) {
  IStorage* root = nullptr;
  REQUIRE(SUCCEEDED(::StgOpenStorage(path.c_str(), nullptr,
                                     STGM_READWRITE | STGM_SHARE_EXCLUSIVE | STGM_TRANSACTED,
                                     nullptr, 0, &root)));
  return root;
}

bool IsSigned(const std::wstring& path) {
  IStorage* const root = OpenRoot(path);
  IStream* stream = nullptr;
  const HRESULT result =
      root->OpenStream(kSignature, nullptr, STGM_READ | STGM_SHARE_EXCLUSIVE, 0, &stream);
  if (stream != nullptr) stream->Release();
  root->Release();
  return SUCCEEDED(result);
}

void Sign(const std::wstring& path) {
  IStorage* const root = OpenRoot(path);
  IStream* stream = nullptr;
  REQUIRE(SUCCEEDED(root->CreateStream(kSignature, STGM_CREATE | STGM_WRITE | STGM_SHARE_EXCLUSIVE,
                                       0, 0, &stream)));
  REQUIRE(SUCCEEDED(stream->Write("signed", 6, nullptr)));
  stream->Release();
  REQUIRE(SUCCEEDED(root->Commit(STGC_DEFAULT)));
  root->Release();
}

void SetKind(const std::wstring& path, DWORD kind) {
  IStorage* const root = OpenRoot(path);
  STATSTG status = {};
  REQUIRE(SUCCEEDED(root->Stat(&status, STATFLAG_NONAME)));
  status.clsid.Data1 = kind;
  REQUIRE(SUCCEEDED(root->SetClass(status.clsid)));
  REQUIRE(SUCCEEDED(root->Commit(STGC_DEFAULT)));
  root->Release();
}

bool IsJoined(const std::wstring& path) {
  msi::UniqueMsiHandle database;
  REQUIRE(::MsiOpenDatabaseW(path.c_str(), MSIDBOPEN_READONLY, database.Receive()) ==
          ERROR_SUCCESS);
  return ::MsiDatabaseIsTablePersistentW(database.Get(), L"QX_Kit") == MSICONDITION_TRUE;
}

}  // namespace

TEST_CASE("a signature goes with the first change, and stays when nothing is written") {
  test::TestPackage package;
  package.Close();
  const test::TempFolder& folder = package.folder();
  Sign(package.path());
  REQUIRE(Start(folder, L"join package.msi --dry-run").End(60000) == 0);
  CHECK(IsSigned(package.path()));
  CHECK(Start(folder, L"join package.msi").End(60000) == 0);
  CHECK(IsJoined(package.path()));
  CHECK_FALSE(IsSigned(package.path()));
  CHECK(test::ReadWholeFile(folder / L"output.txt").find("to do: sign the package") !=
        std::string::npos);
}

TEST_CASE("patches and transforms are refused") {
  test::TestPackage package;
  package.Close();
  const struct {
    DWORD kind;
    const char* reason;
  } cases[] = {{0x000C1086, "this is a patch"},
               {0x000C1082, "this is a transform"},
               {0x00000001, "this is no Windows Installer package"}};
  for (const auto& [kind, reason] : cases) {
    CAPTURE(reason);
    SetKind(package.path(), kind);
    CHECK(Start(package.folder(), L"join package.msi").End(60000) == 1);
    CHECK(test::ReadWholeFile(package.folder() / L"output.txt").find(reason) != std::string::npos);
  }
}

TEST_CASE("ended at any moment, it leaves the old package or the whole new one") {
  test::TestPackage package;
  package.Close();
  const test::TempFolder& folder = package.folder();
  const std::string before = test::ReadWholeFile(package.path());
  int ended = 0;
  for (const DWORD after_ms : {10, 50, 100, 150, 200, 300, 400, 600}) {
    CAPTURE(after_ms);
    const std::wstring copy = folder / L"copy.msi";
    REQUIRE(::CopyFileW(package.path().c_str(), copy.c_str(), FALSE));
    if (Start(folder, L"join copy.msi").End(after_ms) == 99) ++ended;
    CHECK((test::ReadWholeFile(copy) == before || IsJoined(copy)));
  }
  CHECK(ended > 0);
  // What an ended run has left behind is in nobody's way.
  CHECK(Start(folder, L"join package.msi").End(60000) == 0);
  CHECK(IsJoined(package.path()));
}
