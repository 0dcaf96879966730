#ifndef CHECK_PACKAGE_TEXT_FILE_H_
#define CHECK_PACKAGE_TEXT_FILE_H_

#include <string>
#include <string_view>

// Texts as other programs read and write them: UTF-8.
namespace check {

// The file's text without a byte-order mark; empty when it cannot be read.
std::wstring ReadTextFile(const std::wstring& path);

std::string ToUtf8(std::wstring_view text);

}  // namespace check

#endif  // CHECK_PACKAGE_TEXT_FILE_H_
