#ifndef TESTS_SUPPORT_VERSIONED_FILE_H_
#define TESTS_SUPPORT_VERSIONED_FILE_H_

#include <string>
#include <string_view>

#include "support/temp_folder.h"

namespace test {

// Content of a program whose version resource states that file version, four numbers.
std::string VersionedContent(int major, int minor, int build, int revision);

}  // namespace test

#endif  // TESTS_SUPPORT_VERSIONED_FILE_H_
