#ifndef DOWNLOAD_CREDENTIAL_PROVIDER_H_
#define DOWNLOAD_CREDENTIAL_PROVIDER_H_

#include <windows.h>

#include <string>

namespace download {

// Knows or asks for user names and passwords. Called on the transfer's worker thread; the
// downloader does not own its provider. The operations keep this order, as those of
// DownloadListener do.
class CredentialProvider {
 public:
  // Before every attempt to connect, and before the first send of each HTTP request.
  virtual void OnConnecting() = 0;
  // True when the pair it stores is to be used without a prompt. Asked at every refusal: one that
  // keeps giving a wrong pair keeps the transfer trying.
  virtual bool GetSavedCredentials(std::string* user, std::string* password) = 0;
  // The pair is in use from now on.
  virtual void OnCredentialsApplied() = 0;
  // False when the user declined. `realm` is as the server sent it, quotes included; `parent` owns
  // the dialog and may be null.
  virtual bool PromptCredentials(const std::string& url, const std::string& realm, HWND parent,
                                 std::string* user, std::string* password) = 0;

 protected:
  ~CredentialProvider() = default;
};

}  // namespace download

#endif  // DOWNLOAD_CREDENTIAL_PROVIDER_H_
