#ifndef TESTS_SUPPORT_PIPE_CLIENT_H_
#define TESTS_SUPPORT_PIPE_CLIENT_H_

#include <cstddef>
#include <string>

#include "util/unique_handle.h"

namespace test {

// What the first message of a group says. Written out, not taken from the library: setup
// executables of other makers have these numbers in them.
inline const std::wstring kPipeTotal = L"184549376";
inline const std::wstring kPipeProgress = L"167772160";
inline const std::wstring kPipeDiskFull = L"117440512";
inline const std::wstring kPipeGroupStart = L"134217728";
inline const std::wstring kPipeFile = L"150994944";

// The client's end of a pipe channel, made of the system's calls alone.
class PipeClient {
 public:
  // Opens the pipe "ToServer" with that suffix as soon as there is one, for at most ten seconds.
  explicit PipeClient(const std::string& name_suffix);

  // One message each. An answer is empty when there was none.
  void SayBytes(const void* bytes, size_t count) const;
  void Say(const std::wstring& text) const;
  [[nodiscard]] std::wstring Hear() const;
  std::wstring Ask(const std::wstring& text) const;

 private:
  util::UniqueFile pipe_;
};

}  // namespace test

#endif  // TESTS_SUPPORT_PIPE_CLIENT_H_
