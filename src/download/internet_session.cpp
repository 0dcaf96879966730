#include "download/internet_session.h"

#include "download/ftp_functions.h"
#include "download/module_path.h"

namespace download {
namespace {

constexpr char kAgent[] = "Quorix";

const char* OrNull(const std::string& text) { return text.empty() ? nullptr : text.c_str(); }

// A failed call without a reason must not look like a success.
uint32_t Failure(DWORD error) { return error != NO_ERROR ? error : ERROR_INTERNET_INTERNAL_ERROR; }

}  // namespace

InternetSession::InternetSession(TransferState* state)
    : state_(state), link_(new AsyncLink(state)) {
  const bool direct = state->proxy.empty();
  root_.Reset(Internet().InternetOpenA(
      kAgent, direct ? INTERNET_OPEN_TYPE_PRECONFIG : INTERNET_OPEN_TYPE_PROXY,
      OrNull(state->proxy), nullptr, INTERNET_FLAG_ASYNC));
  Internet().InternetSetStatusCallbackA(root_.Get(), &AsyncLink::OnStatus);
}

InternetSession::~InternetSession() {
  CloseRequest();
  connection_.Reset();
  root_.Reset();
  if (link_->done()) state_->server_response = link_->server_response();
  if (!link_->Detach(/*wait=*/!stuck_)) PinOwnModule();
}

uint32_t InternetSession::Connect(const UrlParts& url, const std::string& user,
                                  const std::string& password, DWORD service, DWORD flags) {
  CloseRequest();
  connection_.Reset();
  return RunOpening(Operation::kConnect, connection_.Receive(), [&] {
    return Internet().InternetConnectA(root_.Get(), url.host.c_str(), url.port, OrNull(user),
                                       OrNull(password), service, flags, context());
  });
}

uint32_t InternetSession::OpenRequest(const char* verb, const std::string& object, DWORD flags) {
  const char* accepted[] = {"*/*", nullptr};
  return RunOpening(Operation::kOpenRequest, &request_, [&] {
    return Internet().HttpOpenRequestA(connection_.Get(), verb, object.c_str(), "HTTP/1.0", "",
                                       accepted, flags, context());
  });
}

uint32_t InternetSession::Send(const std::string& headers) {
  return Run(Operation::kSend, /*pausable=*/false, [&] {
    return Internet().HttpSendRequestA(request_, OrNull(headers),
                                       static_cast<DWORD>(headers.size()), nullptr, 0) != FALSE;
  });
}

uint32_t InternetSession::OpenFtpFile(const std::string& path) {
  const uint32_t error = RunOpening(Operation::kOpenFtpFile, &request_, [&] {
    return Internet().FtpOpenFileA(connection_.Get(), path.c_str(), GENERIC_READ,
                                   FTP_TRANSFER_TYPE_BINARY | INTERNET_FLAG_RELOAD, context());
  });
  if (error != NO_ERROR && error != kCancelled) link_->ReadServerResponse();
  return error;
}

uint32_t InternetSession::FindFtpFileSize(const std::string& path, uint32_t* size) {
  HINTERNET search = nullptr;
  const uint32_t error = RunOpening(Operation::kFindFtpFile, &search, [&] {
    return Internet().FtpFindFirstFileA(connection_.Get(), path.c_str(), &link_->found, 0,
                                        context());
  });
  *size = error == NO_ERROR ? link_->found.nFileSizeLow : 0;
  if (search != nullptr) CloseAwaited(search);
  return error == kCancelled ? error : NO_ERROR;
}

uint32_t InternetSession::SendFtpCommand(const std::string& command) {
  bool at_once = false;
  const uint32_t error = Run(Operation::kFtpCommand, /*pausable=*/false, [&] {
    return at_once = FtpCommand(connection_.Get(), command.c_str(), context());
  });
  if (at_once) link_->ReadServerResponse();  // Else the callback has read it.
  return error;
}

uint32_t InternetSession::QueryAvailable(DWORD* count) {
  return RunReading(Operation::kQueryAvailable, count, [&] {
    return Internet().InternetQueryDataAvailable(request_, &link_->count, 0, context());
  });
}

uint32_t InternetSession::Read(DWORD limit, DWORD* count) {
  const DWORD wanted = limit < AsyncLink::kBufferBytes ? limit : AsyncLink::kBufferBytes;
  return RunReading(Operation::kRead, count, [&] {
    return Internet().InternetReadFile(request_, link_->buffer(), wanted, &link_->count);
  });
}

void InternetSession::CloseRequest() {
  if (request_ != nullptr) CloseAwaited(std::exchange(request_, nullptr));
}

template <typename Call>
uint32_t InternetSession::RunOpening(Operation operation, HINTERNET* handle, Call call) {
  link_->Begin(operation);
  ::SetLastError(NO_ERROR);
  HINTERNET opened = call();
  const DWORD error = ::GetLastError();
  if (opened != nullptr) {
    link_->EndAtOnce();
    link_->Hold(opened);
  } else {
    // Some versions of the library say neither "pending" nor anything else.
    if (error != ERROR_IO_PENDING && error != NO_ERROR) {
      link_->EndAtOnce();
      return error;
    }
    if (const uint32_t ended = Await(/*pausable=*/false)) return ended;
    opened = link_->handle();
    if (opened == nullptr) return Failure(link_->error());
  }
  *handle = opened;
  return NO_ERROR;
}

template <typename Call>
uint32_t InternetSession::Run(Operation operation, bool pausable, Call call) {
  link_->Begin(operation);
  if (call()) {
    link_->EndAtOnce();
    return NO_ERROR;
  }
  const DWORD error = ::GetLastError();
  if (error != ERROR_IO_PENDING) {
    link_->EndAtOnce();
    return Failure(error);
  }
  if (const uint32_t ended = Await(pausable)) return ended;
  return link_->result() != 0 ? NO_ERROR : Failure(link_->error());
}

template <typename Call>
uint32_t InternetSession::RunReading(Operation operation, DWORD* count, Call call) {
  bool at_once = false;
  const uint32_t error = Run(operation, /*pausable=*/true, [&] {
    link_->count = 0;
    return at_once = call();
  });
  if (error != NO_ERROR) return error;
  // A call that succeeded later leaves its count in the error word.
  const auto counted = at_once ? 0 : static_cast<int32_t>(link_->error());
  *count = counted > 0 ? static_cast<DWORD>(counted) : link_->count;
  return NO_ERROR;
}

uint32_t InternetSession::Await(bool pausable) {
  while (!link_->done()) {
    if (state_->IsCancelled()) return kCancelled;
    if (pausable) state_->WaitWhilePaused(&link_->done());
    link_->WaitForCompletion();
  }
  return NO_ERROR;
}

void InternetSession::CloseAwaited(HINTERNET handle) {
  link_->BeginClosing(handle);
  Internet().InternetCloseHandle(handle);
  stuck_ = !link_->AwaitClosing() || stuck_;
}

}  // namespace download
