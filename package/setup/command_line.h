#ifndef SETUP_COMMAND_LINE_H_
#define SETUP_COMMAND_LINE_H_

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace setup {

// What the library asks of a setup executable:
//   /groupsextract:101;104; /out:"folder" /callbackid:2380
struct ExtractRequest {
  std::vector<int32_t> groups;
  std::wstring folder;        // Empty when none was given.
  std::string callback_id;    // Digits, the end of the pipe's name; empty: nobody listens.
  bool is_understood = true;  // False when some of it was not; the rest is there nevertheless.
};

// What follows the program's own name on a command line, without the blanks between.
std::wstring_view SkipProgramName(std::wstring_view command_line);

// Nothing when the arguments do not begin with "/groupsextract:". Quotes hold blanks together and
// are dropped; a backslash before one is just a backslash, since folders may end in one.
std::optional<ExtractRequest> ReadExtractRequest(std::wstring_view arguments);

// True when the arguments tell the installer that nobody answers ("/q", "/qn", "/qb", "/quiet",
// "/passive", ...).
bool IsSilent(std::wstring_view arguments);

// The arguments that start the installation of `package`. Those of the user come last, unchanged.
std::wstring InstallArguments(const std::wstring& package, const std::wstring& own_path,
                              const std::wstring& extract_folder, std::wstring_view users);

}  // namespace setup

#endif  // SETUP_COMMAND_LINE_H_
