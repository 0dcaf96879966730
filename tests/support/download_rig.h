#ifndef TESTS_SUPPORT_DOWNLOAD_RIG_H_
#define TESTS_SUPPORT_DOWNLOAD_RIG_H_

#include <windows.h>

#include <string>
#include <string_view>

#include "download/credential_provider.h"
#include "download/download_listener.h"
#include "download/downloader.h"
#include "support/temp_folder.h"
#include "util/text.h"

namespace test {

// A folder to download into, with one target file and its partial file.
class Target {
 public:
  explicit Target(std::string name = "setup.exe") : name_(std::move(name)) {}

  [[nodiscard]] std::string folder() const { return util::ToAnsi(folder_.path()); }
  [[nodiscard]] std::string name() const { return name_; }
  [[nodiscard]] std::string path() const { return folder() + "\\" + name_; }
  [[nodiscard]] std::string Content() const { return Read(path()); }
  [[nodiscard]] std::string Partial() const { return Read(path() + ".part"); }
  [[nodiscard]] bool Has() const { return Exists(path()); }
  [[nodiscard]] bool HasPartial() const { return Exists(path() + ".part"); }
  void Write(std::string_view content) const { folder_.Write(util::ToWide(name_), content); }
  void WritePartial(std::string_view content) const {
    folder_.Write(util::ToWide(name_ + ".part"), content);
  }

 private:
  static std::string Read(const std::string& path) { return ReadWholeFile(util::ToWide(path)); }
  static bool Exists(const std::string& path) {
    return ::GetFileAttributesA(path.c_str()) != INVALID_FILE_ATTRIBUTES;
  }

  TempFolder folder_;
  std::string name_;
};

// One download that waits for its end.
inline uint32_t Download(const std::string& url, const Target& target,
                         download::DownloadListener* listener = nullptr,
                         download::CredentialProvider* credentials = nullptr, bool resume = true) {
  return download::Downloader(target.folder(), listener, credentials)
      .Start(url, target.name(), nullptr, resume, /*wait=*/true, nullptr,
             /*want_last_modified=*/false);
}

}  // namespace test

#endif  // TESTS_SUPPORT_DOWNLOAD_RIG_H_
