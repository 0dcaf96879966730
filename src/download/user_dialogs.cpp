#include "download/user_dialogs.h"

#include "download/wininet.h"

namespace download {

void MakeParentReady(const TransferState& state, uint32_t wanted_for) {
  if (state.request.parent == nullptr || ::IsWindowVisible(state.request.parent)) return;
  state.SendState(wanted_for);
  while (!::IsWindowVisible(state.request.parent) && !state.IsCancelled()) ::Sleep(kPollMs);
}

bool AskForCredentials(const TransferState& state, const std::string& realm, std::string* user,
                       std::string* password) {
  if (state.control.credentials == nullptr) return false;
  return state.control.credentials->GetSavedCredentials(user, password) ||
         state.control.credentials->PromptCredentials(state.request.url, realm,
                                                      state.request.parent, user, password);
}

bool AskAboutCertificate(const TransferState& state, HINTERNET request, DWORD error) {
  MakeParentReady(state, kWindowForCertificate);
  state.SendState(kDialogShown);
  const HWND owner = state.request.parent != nullptr ? state.request.parent : ::GetDesktopWindow();
  const DWORD answer = Internet().InternetErrorDlg(owner, request, error,
                                                   FLAGS_ERROR_UI_FILTER_FOR_ERRORS |
                                                       FLAGS_ERROR_UI_FLAGS_CHANGE_OPTIONS |
                                                       FLAGS_ERROR_UI_FLAGS_GENERATE_DATA,
                                                   nullptr);
  state.SendState(kDialogClosed);
  return answer == ERROR_SUCCESS;
}

}  // namespace download
