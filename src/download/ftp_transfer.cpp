#include "download/ftp_transfer.h"

#include "download/browser_version.h"
#include "download/user_dialogs.h"

namespace download {
namespace {

constexpr char kRealm[] = "FTP Server";
constexpr uint32_t kModernBrowser = 5;

bool IsLoginRefused(uint32_t error) {
  return error == ERROR_INTERNET_INCORRECT_USER_NAME ||
         error == ERROR_INTERNET_INCORRECT_PASSWORD || error == ERROR_INTERNET_LOGIN_FAILURE;
}

bool HasModernFunctions() {
  uint32_t major = 0;
  uint32_t minor = 0;
  return GetBrowserVersion(&major, &minor) && major >= kModernBrowser;
}

uint32_t LogIn(InternetSession* session, TransferState* state, const UrlParts& url) {
  std::string user = url.user;
  std::string password = url.password;
  for (;;) {
    const uint32_t error =
        session->Connect(url, user, password, INTERNET_SERVICE_FTP, INTERNET_FLAG_PASSIVE);
    if (!IsLoginRefused(error)) return error;
    MakeParentReady(*state, kWindowForCredentials);
    state->SendState(kDialogShown);
    const bool given = AskForCredentials(*state, kRealm, &user, &password);
    if (given) state->control.credentials->OnCredentialsApplied();
    state->SendState(kDialogClosed);
    if (!given) return error;
  }
}

}  // namespace

// Compatibility: a transfer starts at the beginning, whatever a partial file holds.
OpenResult OpenFtp(InternetSession* session, TransferState* state, const UrlParts& url) {
  state->SendConnecting();
  if (const uint32_t error = LogIn(session, state, url)) return {error};
  uint32_t size = 0;
  const bool modern = HasModernFunctions();
  if (!modern) {
    if (const uint32_t error = session->FindFtpFileSize(url.path, &size)) return {error};
  }
  if (const uint32_t error = session->OpenFtpFile(url.path)) return {error};
  if (modern) size = session->FtpFileSize();
  return {NO_ERROR, /*start=*/0, size};
}

}  // namespace download
