#include "download/internet_session.h"

#include <algorithm>

#include "download/module_path.h"

namespace download {
namespace {

constexpr char kAgent[] = "Quorix";

const char* OrNull(const std::string& text) { return text.empty() ? nullptr : text.c_str(); }

DWORD_PTR ToWord(HINTERNET handle) { return reinterpret_cast<DWORD_PTR>(handle); }
DWORD_PTR ToWord(BOOL succeeded) { return succeeded != FALSE ? 1 : 0; }

// A failed call without a reason must not look like a success.
uint32_t Failure(DWORD error) { return error != NO_ERROR ? error : ERROR_INTERNET_INTERNAL_ERROR; }

}  // namespace

InternetSession::InternetSession(TransferState* state)
    : state_(state), link_(new AsyncLink(state)) {
  const bool direct = state->request.proxy.empty();
  root_.Reset(Internet().InternetOpenA(
      kAgent, direct ? INTERNET_OPEN_TYPE_PRECONFIG : INTERNET_OPEN_TYPE_PROXY,
      OrNull(state->request.proxy), nullptr, INTERNET_FLAG_ASYNC));
  Internet().InternetSetStatusCallbackA(root_.Get(), &AsyncLink::OnStatus);
}

InternetSession::~InternetSession() {
  CloseRequest();
  connection_.Reset();
  root_.Reset();
  if (link_->IsDone()) state_->outcome.server_response = link_->server_response();
  if (!link_->Detach(/*wait=*/!stuck_)) PinOwnModule();
}

template <typename Call>
uint32_t InternetSession::Run(Operation operation, Call call) {
  link_->Begin(operation);
  ::SetLastError(NO_ERROR);
  const DWORD_PTR at_once = ToWord(call());
  return Complete(operation, at_once, ::GetLastError());
}

uint32_t InternetSession::Connect(const UrlParts& url, const std::string& user,
                                  const std::string& password, DWORD service, DWORD flags) {
  CloseRequest();
  connection_.Reset();
  const uint32_t error = Run(Operation::kConnect, [&] {
    return Internet().InternetConnectA(root_.Get(), url.host.c_str(), url.port, OrNull(user),
                                       OrNull(password), service, flags, context());
  });
  if (error == NO_ERROR) connection_.Reset(link_->handle());
  return error;
}

uint32_t InternetSession::OpenRequest(const char* verb, const std::string& object, DWORD flags) {
  const char* accepted[] = {"*/*", nullptr};
  const uint32_t error = Run(Operation::kOpenRequest, [&] {
    return Internet().HttpOpenRequestA(connection_.Get(), verb, object.c_str(), "HTTP/1.0", "",
                                       accepted, flags, context());
  });
  if (error == NO_ERROR) request_ = link_->handle();
  return error;
}

uint32_t InternetSession::Send(const std::string& headers) {
  return Run(Operation::kSend, [&] {
    return Internet().HttpSendRequestA(request_, OrNull(headers),
                                       static_cast<DWORD>(headers.size()), nullptr, 0);
  });
}

uint32_t InternetSession::OpenFtpFile(const std::string& path) {
  const uint32_t error = Run(Operation::kOpenFtpFile, [&] {
    return Internet().FtpOpenFileA(connection_.Get(), path.c_str(), GENERIC_READ,
                                   FTP_TRANSFER_TYPE_BINARY | INTERNET_FLAG_RELOAD, context());
  });
  if (error == NO_ERROR) request_ = link_->handle();
  if (error != NO_ERROR && error != kCancelled) link_->ReadServerResponse();
  return error;
}

uint32_t InternetSession::FindFtpFileSize(const std::string& path, uint32_t* size) {
  const uint32_t error = Run(Operation::kFindFtpFile, [&] {
    return Internet().FtpFindFirstFileA(connection_.Get(), path.c_str(), &link_->found, 0,
                                        context());
  });
  *size = error == NO_ERROR ? link_->found.nFileSizeLow : 0;
  if (error == NO_ERROR) CloseAwaited(link_->handle());
  return error == kCancelled ? error : NO_ERROR;
}

uint32_t InternetSession::FtpFileSize() const {
  return Internet().FtpGetFileSize != nullptr ? Internet().FtpGetFileSize(request_, nullptr) : 0;
}

uint32_t InternetSession::QueryAvailable(DWORD* count) {
  const uint32_t error = Run(Operation::kQueryAvailable, [&] {
    return Internet().InternetQueryDataAvailable(request_, &link_->count, 0, context());
  });
  if (error == NO_ERROR) *count = link_->moved();
  return error;
}

uint32_t InternetSession::Read(DWORD limit, DWORD* count) {
  const DWORD wanted = limit < AsyncLink::kBufferBytes ? limit : AsyncLink::kBufferBytes;
  const uint32_t error = Run(Operation::kRead, [&] {
    return Internet().InternetReadFile(request_, link_->buffer(), wanted, &link_->count);
  });
  // No count is believed beyond the buffer that was given.
  if (error == NO_ERROR) *count = std::min(link_->moved(), wanted);
  return error;
}

void InternetSession::CloseRequest() {
  if (request_ != nullptr) CloseAwaited(std::exchange(request_, nullptr));
}

uint32_t InternetSession::Complete(Operation operation, DWORD_PTR at_once, DWORD error) {
  // For a handle some versions of the library say neither "pending" nor anything else.
  const bool pending = error == ERROR_IO_PENDING || (error == NO_ERROR && OpensHandle(operation));
  if (at_once != 0 || !pending) {
    link_->EndAtOnce(at_once);
    return at_once != 0 ? NO_ERROR : Failure(error);
  }
  const bool pausable = operation == Operation::kRead || operation == Operation::kQueryAvailable;
  while (!link_->IsDone()) {
    if (state_->IsCancelled()) return kCancelled;
    if (pausable) state_->WaitWhilePaused([this] { return link_->IsDone(); });
    link_->WaitForCompletion();
  }
  return link_->result() != 0 ? NO_ERROR : Failure(link_->error());
}

void InternetSession::CloseAwaited(HINTERNET handle) {
  link_->BeginClosing(handle);
  Internet().InternetCloseHandle(handle);
  stuck_ = !link_->AwaitClosing() || stuck_;
}

}  // namespace download
