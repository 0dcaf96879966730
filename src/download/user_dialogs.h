#ifndef DOWNLOAD_USER_DIALOGS_H_
#define DOWNLOAD_USER_DIALOGS_H_

#include <windows.h>
#include <wininet.h>

#include <cstdint>
#include <string>

#include "download/transfer_state.h"

// The moments of a transfer at which the user is asked something.
namespace download {

// Tells the listener that the parent window is wanted visible, if it is hidden, and waits until it
// is or the transfer is cancelled. `wanted_for` is the number that the listener gets.
void MakeParentReady(const TransferState& state, uint32_t wanted_for);

// The pair that the provider stores or the user enters. False without a provider and when the user
// declined.
bool AskForCredentials(const TransferState& state, const std::string& realm, std::string* user,
                       std::string* password);

// Shows the system's dialog about the certificate that `error` is about. True when the user accepts
// it.
bool AskAboutCertificate(const TransferState& state, HINTERNET request, DWORD error);

}  // namespace download

#endif  // DOWNLOAD_USER_DIALOGS_H_
