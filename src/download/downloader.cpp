#include "download/downloader.h"

#include <wininet.h>

#include "download/internet_session.h"
#include "download/module_path.h"
#include "download/name_query.h"
#include "download/open_request.h"
#include "download/transfer.h"
#include "download/wininet.h"

namespace download {
namespace {

constexpr DWORD kGraceMs = 60000;
constexpr int32_t kNameRetries = 2;

uint32_t RunTransfer(TransferState* state) {
  if (LoadWinInet() != nullptr) return Transfer(state).Run();
  const DWORD error = ::GetLastError();
  if (state->control.listener != nullptr) state->control.listener->OnError(0, error);
  return error;
}

template <uint32_t (*Body)(TransferState*)>
DWORD WINAPI RunWorker(void* argument) {
  auto* const state = static_cast<TransferState*>(argument);
  return state->outcome.last_error = Body(state);
}

}  // namespace

Downloader::Downloader(std::string target_folder, DownloadListener* listener,
                       CredentialProvider* credentials)
    : Downloader(listener, credentials) {
  state_->request.target_folder = std::move(target_folder);
}

Downloader::Downloader(DownloadListener* listener, CredentialProvider* credentials)
    : state_(std::make_unique<TransferState>()) {
  state_->control.listener = listener;
  state_->control.credentials = credentials;
}

Downloader::~Downloader() {
  if (!thread_) return;
  state_->control.stop = true;
  // Not asked by its exit code: that of one that ended can be the number for "still active", too.
  if (::WaitForSingleObject(thread_.Get(), kGraceMs) == WAIT_OBJECT_0) return;
  // It hangs in a call that nothing gets it out of. Whatever it held stays behind, and late
  // callbacks must find the state, without the listener, and the code.
  ::TerminateThread(thread_.Get(), 0);
  state_->control.listener = nullptr;
  (void)state_.release();
  PinOwnModule();
}

uint32_t Downloader::Start(const std::string& url, const std::string& file_name, HWND parent,
                           bool resume, bool wait, const char* extra_headers,
                           bool want_last_modified) {
  state_->request.url = url;
  state_->request.file_name = file_name;
  state_->request.parent = parent;
  state_->request.resume = resume;
  state_->request.want_last_modified = want_last_modified;
  state_->request.extra_headers.reset();
  if (extra_headers != nullptr) state_->request.extra_headers = extra_headers;
  const uint32_t error = StartWorker(&RunWorker<&RunTransfer>);
  return error == NO_ERROR && wait ? WaitForWorker() : error;
}

uint32_t Downloader::ResolveFileName(const std::string& url, std::string* name) {
  if (LoadWinInet() == nullptr) return ::GetLastError();
  UrlParts parts;
  if (SplitUrl(url, &parts) == NO_ERROR && !IsHttp(parts.scheme)) return NO_ERROR;
  state_->request.retries = kNameRetries;
  state_->request.url = url;
  state_->outcome.proposed_name.clear();
  if (const uint32_t error = StartWorker(&RunWorker<&QueryName>)) return error;
  const uint32_t error = WaitForWorker();
  if (error == NO_ERROR) *name = state_->outcome.proposed_name;
  return error;
}

bool Downloader::ProbeUrl(const std::string& url) {
  if (LoadWinInet() == nullptr) return false;
  Downloader probe(nullptr, nullptr);
  InternetSession session(probe.state_.get());
  return OpenRequest(&session, probe.state_.get(), url, /*present=*/0, "HEAD").result == NO_ERROR;
}

bool Downloader::IsReachable(const std::string& url) {
  return LoadWinInet() != nullptr &&
         Internet().InternetCheckConnectionA(url.c_str(), FLAG_ICC_FORCE_CONNECTION, 0) == TRUE;
}

uint32_t Downloader::StartWorker(LPTHREAD_START_ROUTINE worker) {
  DWORD id = 0;  // The oldest systems insist on telling it.
  thread_.Reset(::CreateThread(nullptr, 0, worker, state_.get(), 0, &id));
  return thread_ ? NO_ERROR : ::GetLastError();
}

uint32_t Downloader::WaitForWorker() {
  ::WaitForSingleObject(thread_.Get(), INFINITE);
  DWORD exit_code = 0;
  ::GetExitCodeThread(thread_.Get(), &exit_code);
  thread_.Reset();
  return exit_code;
}

}  // namespace download
