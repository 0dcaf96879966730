#include "download/user_dialogs.h"

#include "download/wininet.h"

namespace download {

void MakeParentReady(const TransferState& state, uint32_t wanted_for) {
  if (state.parent == nullptr || ::IsWindowVisible(state.parent)) return;
  state.SendState(wanted_for);
  while (!::IsWindowVisible(state.parent) && !state.IsCancelled()) ::Sleep(kPollMs);
}

bool AskForCredentials(const TransferState& state, const std::string& realm, std::string* user,
                       std::string* password) {
  if (state.credentials == nullptr) return false;
  return state.credentials->GetSavedCredentials(user, password) ||
         state.credentials->PromptCredentials(state.url, realm, state.parent, user, password);
}

bool AskAboutCertificate(const TransferState& state, HINTERNET request, DWORD error) {
  MakeParentReady(state, kWindowForCertificate);
  state.SendState(kDialogShown);
  const HWND owner = state.parent != nullptr ? state.parent : ::GetDesktopWindow();
  const DWORD answer = Internet().InternetErrorDlg(owner, request, error,
                                                   FLAGS_ERROR_UI_FILTER_FOR_ERRORS |
                                                       FLAGS_ERROR_UI_FLAGS_CHANGE_OPTIONS |
                                                       FLAGS_ERROR_UI_FLAGS_GENERATE_DATA,
                                                   nullptr);
  state.SendState(kDialogClosed);
  return answer == ERROR_SUCCESS;
}

}  // namespace download
