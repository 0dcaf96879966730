// The reference setup executable: carries a package and its prerequisites. Started by a user it
// installs the package; started by the library it unpacks prerequisites.

#include <windows.h>

#include <optional>
#include <string>
#include <string_view>

#include "command_line.h"
#include "extraction.h"
#include "folders.h"
#include "installation.h"
#include "util/error_text.h"
#include "util/os_family.h"
#include "util/text.h"

namespace {

std::wstring Describe(DWORD error) {
  switch (error) {
    case ERROR_RESOURCE_DATA_NOT_FOUND:
    case ERROR_FILE_CORRUPT:
      return L"This setup program is damaged or not complete. Please download or copy it again.";
    case ERROR_BAD_ARGUMENTS:
      return L"Usage: /groupsextract:<group>;... /out:\"<folder>\" [/callbackid:<number>]";
    default:
      return L"The setup failed: " + util::ErrorText(error);
  }
}

// A box is for somebody who sits there; everybody else gets the text as standard error.
void Report(DWORD error, bool is_silent) {
  const std::wstring text = Describe(error);
  if (!is_silent) {
    ::MessageBoxW(nullptr, text.c_str(), L"Setup", MB_OK | MB_ICONERROR);
    return;
  }
  const std::string line = util::ToAnsi(text) + "\r\n";
  DWORD written = 0;
  // Without a standard error nobody hears it; the exit code says it too.
  (void)::WriteFile(::GetStdHandle(STD_ERROR_HANDLE), line.data(), static_cast<DWORD>(line.size()),
                    &written, nullptr);
}

}  // namespace

int WINAPI WinMain(HINSTANCE, HINSTANCE, LPSTR, int) {
  setup::LimitLibraryFolders();
  const std::wstring line =
      util::IsNtFamily() ? ::GetCommandLineW() : util::ToWide(::GetCommandLineA());
  const std::wstring_view arguments = setup::SkipProgramName(line);
  const std::wstring own_path = setup::OwnPath();
  if (const auto request = setup::ReadExtractRequest(arguments)) {
    const DWORD error = setup::RunExtraction(*request, own_path);
    // The installer is waiting: nothing that must be answered is shown.
    if (error != ERROR_SUCCESS) Report(error, /*is_silent=*/true);
    return static_cast<int>(error);
  }
  DWORD exit_code = 0;
  const DWORD error = setup::RunInstallation(own_path, arguments, &exit_code);
  if (error == ERROR_SUCCESS) return static_cast<int>(exit_code);
  Report(error, setup::IsSilent(arguments));
  return static_cast<int>(error);
}
