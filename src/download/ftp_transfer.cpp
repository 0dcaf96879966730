#include "download/ftp_transfer.h"

#include "download/browser_version.h"
#include "download/ftp_functions.h"
#include "download/user_dialogs.h"
#include "util/ansi_text.h"
#include "util/text.h"

namespace download {
namespace {

constexpr char kRealm[] = "FTP Server";
constexpr uint32_t kModernBrowser = 5;
constexpr uint32_t kRestartAccepted = 350;

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
    if (given) state->credentials->OnCredentialsApplied();
    state->SendState(kDialogClosed);
    if (!given) return error;
  }
}

// Asks the server to start the next transfer at `offset`, which becomes 0 when it does not.
uint32_t RestartAt(InternetSession* session, uint32_t* offset) {
  const std::string command = "REST " + util::ToDecimalAnsi(*offset);
  if (const uint32_t error = session->SendFtpCommand(command)) return error;
  const std::string& response = session->server_response();
  if (util::ParseDecimal<uint32_t>(std::string_view(response)) != kRestartAccepted) *offset = 0;
  return NO_ERROR;
}

}  // namespace

uint32_t OpenFtp(InternetSession* session, TransferState* state, const UrlParts& url,
                 uint32_t* offset, uint32_t* size) {
  // Always from the beginning, on purpose: too many servers take a restart badly. The road of a
  // restart below, up to the last line, is complete, and idle because of this one.
  *offset = 0;
  *size = 0;
  state->SendConnecting();
  if (const uint32_t error = LogIn(session, state, url)) return error;

  const bool modern = HasModernFunctions();
  if (state->resume && modern && *offset > 0) {
    if (const uint32_t error = RestartAt(session, offset)) return error;
  }
  if (!modern) {
    *offset = 0;
    if (const uint32_t error = session->FindFtpFileSize(url.path, size)) return error;
  }
  if (const uint32_t error = session->OpenFtpFile(url.path)) return error;
  if (modern) *size = FtpFileSize(session->request());
  return *size != 0 && *offset >= *size ? kAlreadyComplete : NO_ERROR;
}

}  // namespace download
