#ifndef CONTRACT_EXTRACTION_H_
#define CONTRACT_EXTRACTION_H_

#include <cstdint>

// What the engine and a package's setup executable say to each other when prerequisites are
// unpacked: the engine on the command line, the setup executable on the pipe.
namespace contract {

// Arguments: groups as "101;104;", a folder in quotes, the engine's process number.
inline constexpr wchar_t kGroupsArgument[] = L"/groupsextract:";
inline constexpr wchar_t kFolderArgument[] = L"/out:";
inline constexpr wchar_t kCallbackArgument[] = L"/callbackid:";
inline constexpr wchar_t kGroupDelimiter = L';';

// The group of a prerequisite is this and the row's `Sequence`.
inline constexpr uint32_t kFirstGroup = 100;

// What follows in the pipe's name is the callback id.
inline constexpr char kPipeNamePrefix[] = "\\\\.\\pipe\\ToServer";

// The engine's answers; the setup executable ends the talk with the second one.
inline constexpr wchar_t kGoOnText[] = L"OK";
inline constexpr wchar_t kCloseText[] = L"CLOSE";

// The first text of every message. The numbers are those of the installer's own message types.
enum class MessageKind : int32_t {
  kOutOfDiskSpace = 0x07000000,  // Path and bytes; "OK" when there is space now.
  kGroupStart = 0x08000000,      // The group.
  kFile = 0x09000000,            // The path of a file that was written.
  kProgress = 0x0A000000,        // Bytes written so far.
  kTotal = 0x0B000000,           // Bytes of all groups.
};

}  // namespace contract

#endif  // CONTRACT_EXTRACTION_H_
