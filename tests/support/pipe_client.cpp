#include "support/pipe_client.h"

#include <windows.h>

namespace test {

PipeClient::PipeClient(const std::string& name_suffix) {
  const std::string name = "\\\\.\\pipe\\ToServer" + name_suffix;
  const DWORD start = ::GetTickCount();
  do {
    pipe_.Reset(::CreateFileA(name.c_str(), GENERIC_READ | GENERIC_WRITE, 0, nullptr, OPEN_EXISTING,
                              0, nullptr));
    // Nothing can be waited for before the pipe is there.
    if (!pipe_) ::Sleep(1);
  } while (!pipe_ && ::GetTickCount() - start < 10000);
}

void PipeClient::SayBytes(const void* bytes, size_t count) const {
  DWORD written = 0;
  ::WriteFile(pipe_.Get(), bytes, static_cast<DWORD>(count), &written, nullptr);
}

void PipeClient::Say(const std::wstring& text) const {
  SayBytes(text.data(), text.size() * sizeof(wchar_t));
}

std::wstring PipeClient::Hear() const {
  wchar_t text[64];
  DWORD read = 0;
  ::ReadFile(pipe_.Get(), text, sizeof(text), &read, nullptr);
  return std::wstring(text, read / sizeof(wchar_t));
}

std::wstring PipeClient::Ask(const std::wstring& text) const {
  Say(text);
  return Hear();
}

}  // namespace test
