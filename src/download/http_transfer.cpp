#include "download/http_transfer.h"

#include "download/header_fields.h"
#include "download/user_dialogs.h"
#include "download/wininet.h"
#include "util/ansi_text.h"

namespace download {
namespace {

// Redirects may change between http and https. Whatever is wrong with a certificate asks the user.
constexpr DWORD kRequestFlags =
    INTERNET_FLAG_RELOAD | INTERNET_FLAG_NO_CACHE_WRITE | INTERNET_FLAG_KEEP_CONNECTION |
    INTERNET_FLAG_IGNORE_REDIRECT_TO_HTTP | INTERNET_FLAG_IGNORE_REDIRECT_TO_HTTPS;
constexpr DWORD kHeaderBytes = 260;
constexpr DWORD kRangeNotSatisfiable = 416;

// 0, or the error of the query.
uint32_t ReadNumber(HINTERNET request, DWORD header, DWORD* number) {
  DWORD size = sizeof(*number);
  return Internet().HttpQueryInfoA(request, header | HTTP_QUERY_FLAG_NUMBER, number, &size, nullptr)
             ? NO_ERROR
             : ::GetLastError();
}

bool IsCertificateError(DWORD error) {
  return error == ERROR_INTERNET_INVALID_CA || error == ERROR_INTERNET_CLIENT_AUTH_CERT_NEEDED ||
         error == ERROR_INTERNET_SEC_CERT_CN_INVALID ||
         error == ERROR_INTERNET_SEC_CERT_DATE_INVALID;
}

std::string RangeHeader(uint32_t offset) {
  return "Range: bytes=" + util::ToDecimalAnsi(offset) + "-\r\n";
}

// What a send came to.
struct Answer {
  uint32_t result = NO_ERROR;
  bool ask_for_all = false;  // Again, without a range.
};

// One request, sent until the server's answer is final.
class HttpRequest {
 public:
  HttpRequest(InternetSession* session, TransferState* state, uint32_t present)
      : session_(session), state_(state), start_(present) {}

  OpenResult Open(const char* verb, const UrlParts& url, bool no_auto_redirect);

 private:
  Answer SendUntilAnswered();
  Answer ReadAnswer(DWORD status, uint32_t send_error);
  void ReadLastModified();
  bool TakeWholeFile(DWORD length);
  bool IsAskedRange(DWORD length) const;
  // The whole file is of use only as long as nothing of it was read in this transfer.
  bool MayAskForAll() const { return !state_->control.reconnecting; }
  bool LogIn(DWORD status);

  InternetSession* session_;
  TransferState* state_;
  uint32_t start_;  // The bytes present, then what the server agreed to.
  uint32_t size_ = 0;
  uint32_t asked_start_ = 0;  // What the range header says; 0 without one.
  std::string headers_;
};

OpenResult HttpRequest::Open(const char* verb, const UrlParts& url, bool no_auto_redirect) {
  if (const uint32_t error =
          session_->Connect(url, url.user, url.password, INTERNET_SERVICE_HTTP, 0)) {
    return {error};
  }
  DWORD flags = kRequestFlags;
  if (url.scheme == INTERNET_SCHEME_HTTPS) flags |= INTERNET_FLAG_SECURE;
  if (no_auto_redirect) flags |= INTERNET_FLAG_NO_AUTO_REDIRECT;
  for (;;) {
    if (const uint32_t error = session_->OpenRequest(verb, url.path + url.extra, flags)) {
      return {error};
    }
    asked_start_ = start_;
    headers_ = asked_start_ != 0 ? RangeHeader(asked_start_) : std::string();
    if (state_->request.extra_headers) headers_ += *state_->request.extra_headers;
    state_->SendConnecting();
    const Answer answer = SendUntilAnswered();
    if (!answer.ask_for_all) return {answer.result, start_, size_};
    start_ = 0;
    // A request keeps the range header that it was sent with, so this takes a new one.
    session_->CloseRequest();
  }
}

Answer HttpRequest::SendUntilAnswered() {
  for (;;) {
    const uint32_t send_error = session_->Send(headers_);
    if (send_error == kCancelled) return {kCancelled};
    DWORD status = 0;
    const uint32_t error = ReadNumber(session_->request(), HTTP_QUERY_STATUS_CODE, &status);
    // After a failed send there is no status; Wine answers one of 0. The error of the send says
    // what went wrong and whether another attempt is worth while.
    const Answer answer = error == NO_ERROR ? ReadAnswer(status, send_error)
                                            : Answer{send_error != NO_ERROR ? send_error : error};
    const bool mended = IsCertificateError(answer.result)
                            ? AskAboutCertificate(*state_, session_->request(), answer.result)
                            : answer.result == kAuthenticationRequired && LogIn(status);
    if (!mended) return answer;
  }
}

// The result by status. A failed send has no status, and its error stands.
Answer HttpRequest::ReadAnswer(DWORD status, uint32_t send_error) {
  DWORD length = 0;
  const uint32_t length_error = ReadNumber(session_->request(), HTTP_QUERY_CONTENT_LENGTH, &length);
  // Without the length of a body that is there, a part could be taken for the whole.
  if (send_error == NO_ERROR && length_error != NO_ERROR &&
      length_error != ERROR_HTTP_HEADER_NOT_FOUND) {
    return {length_error};
  }
  if (state_->request.want_last_modified && status != HTTP_STATUS_NOT_MODIFIED) ReadLastModified();
  switch (status) {
    case HTTP_STATUS_OK:
      return {TakeWholeFile(length) ? send_error : kAlreadyComplete};
    case HTTP_STATUS_PARTIAL_CONTENT:
      // Not what came in: a login in between has cleared that, but the range was asked for.
      start_ = length != 0 ? asked_start_ : 0;
      size_ = length != 0 ? length + asked_start_ : 0;
      // Another part than the one asked for would spoil the file, and one of unknown extent might.
      if (asked_start_ == 0 || IsAskedRange(length)) return {send_error};
      return MayAskForAll() ? Answer{send_error, true} : Answer{ERROR_INTERNET_TIMEOUT};
    case kRangeNotSatisfiable:
      start_ = 0;
      size_ = length;
      // The bytes present are those of another file, or all of this one.
      return {send_error, /*ask_for_all=*/asked_start_ != 0 && MayAskForAll()};
    case HTTP_STATUS_NOT_MODIFIED:
      return {kNotModified};
    case HTTP_STATUS_DENIED:
    case HTTP_STATUS_PROXY_AUTH_REQ:
    case HTTP_STATUS_FORBIDDEN:
    case HTTP_STATUS_NOT_FOUND:
    case HTTP_STATUS_GONE:
      start_ = 0;
      size_ = 0;
      if (status == HTTP_STATUS_FORBIDDEN) return {kForbidden};
      return {status == HTTP_STATUS_NOT_FOUND || status == HTTP_STATUS_GONE
                  ? kNotFound
                  : kAuthenticationRequired};
    default:
      start_ = 0;
      size_ = length;
      return {send_error};
  }
}

void HttpRequest::ReadLastModified() {
  DWORD size = sizeof(SYSTEMTIME);
  if (!Internet().HttpQueryInfoA(session_->request(),
                                 HTTP_QUERY_LAST_MODIFIED | HTTP_QUERY_FLAG_SYSTEMTIME,
                                 &state_->outcome.last_modified, &size, nullptr)) {
    state_->outcome.last_modified = {};
  }
}

// False when it is there already.
bool HttpRequest::TakeWholeFile(DWORD length) {
  size_ = length;
  if (length != 0 && length <= start_) return false;
  start_ = 0;
  return true;
}

bool HttpRequest::IsAskedRange(DWORD length) const {
  if (length == 0) return false;
  const auto header = ReadHeader(session_->request(), HTTP_QUERY_CONTENT_RANGE);
  if (!header) return true;
  const uint64_t end = uint64_t{asked_start_} + length;
  return StartOfRange(*header).value_or(asked_start_) == asked_start_ &&
         TotalOfRange(*header).value_or(end) == end;
}

bool HttpRequest::LogIn(DWORD status) {
  const bool proxy = status == HTTP_STATUS_PROXY_AUTH_REQ;
  MakeParentReady(*state_, kWindowForCredentials);
  state_->SendState(kDialogShown);
  const auto header = ReadHeader(
      session_->request(), proxy ? HTTP_QUERY_PROXY_AUTHENTICATE : HTTP_QUERY_WWW_AUTHENTICATE);
  std::string user;
  std::string password;
  const bool given =
      AskForCredentials(*state_, header ? RealmOf(*header) : std::string(), &user, &password);
  if (given) {
    const auto set = [&](DWORD option, std::string* text) {
      (void)Internet().InternetSetOptionA(session_->request(), option, text->data(),
                                          static_cast<DWORD>(text->size()) + 1);
    };
    set(proxy ? INTERNET_OPTION_PROXY_USERNAME : INTERNET_OPTION_USERNAME, &user);
    set(proxy ? INTERNET_OPTION_PROXY_PASSWORD : INTERNET_OPTION_PASSWORD, &password);
    state_->control.credentials->OnCredentialsApplied();
  }
  state_->SendState(kDialogClosed);
  return given;
}

}  // namespace

OpenResult OpenHttp(InternetSession* session, TransferState* state, const char* verb,
                    const UrlParts& url, bool no_auto_redirect, uint32_t present) {
  return HttpRequest(session, state, present).Open(verb, url, no_auto_redirect);
}

std::optional<std::string> ReadHeader(HINTERNET request, DWORD header) {
  std::string text(kHeaderBytes, '\0');
  auto size = static_cast<DWORD>(text.size());
  BOOL found = Internet().HttpQueryInfoA(request, header, text.data(), &size, nullptr);
  if (!found && ::GetLastError() == ERROR_INSUFFICIENT_BUFFER) {
    text.resize(++size);
    found = Internet().HttpQueryInfoA(request, header, text.data(), &size, nullptr);
  }
  if (!found) return std::nullopt;
  text.resize(size);
  return text;
}

}  // namespace download
