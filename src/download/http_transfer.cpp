#include "download/http_transfer.h"

#include "download/header_fields.h"
#include "download/user_dialogs.h"
#include "download/wininet.h"
#include "util/ansi_text.h"

namespace download {
namespace {

// Dates and names of a certificate that do not fit are let pass; all else about it asks the user.
constexpr DWORD kRequestFlags =
    INTERNET_FLAG_RELOAD | INTERNET_FLAG_NO_CACHE_WRITE | INTERNET_FLAG_KEEP_CONNECTION |
    INTERNET_FLAG_IGNORE_CERT_DATE_INVALID | INTERNET_FLAG_IGNORE_CERT_CN_INVALID;
constexpr DWORD kHeaderBytes = 260;
constexpr DWORD kRangeNotSatisfiable = 416;

std::optional<DWORD> ReadNumber(HINTERNET request, DWORD header) {
  DWORD number = 0;
  DWORD size = sizeof(number);
  if (!Internet().HttpQueryInfoA(request, header | HTTP_QUERY_FLAG_NUMBER, &number, &size,
                                 nullptr)) {
    return std::nullopt;
  }
  return number;
}

bool IsCertificateError(DWORD error) {
  return error == ERROR_INTERNET_INVALID_CA || error == ERROR_INTERNET_CLIENT_AUTH_CERT_NEEDED ||
         error == ERROR_INTERNET_SEC_CERT_CN_INVALID ||
         error == ERROR_INTERNET_SEC_CERT_DATE_INVALID;
}

std::string RangeHeader(uint32_t offset) {
  return "Range: bytes=" + util::ToDecimalAnsi(offset) + "-\r\n";
}

// One request, sent until the server's answer is final.
class HttpRequest {
 public:
  HttpRequest(InternetSession* session, TransferState* state, uint32_t* offset, uint32_t* size)
      : session_(session), state_(state), offset_(offset), size_(size) {}

  uint32_t Open(const char* verb, const UrlParts& url, bool no_auto_redirect);

 private:
  uint32_t SendUntilAnswered(bool* ask_for_all);
  uint32_t ReadAnswer(DWORD status, uint32_t send_error, bool* ask_for_all);
  uint32_t TakeWholeFile(DWORD length);
  bool IsAskedRange(DWORD length) const;
  bool LogIn(DWORD status);

  InternetSession* session_;
  TransferState* state_;
  uint32_t* offset_;
  uint32_t* size_;
  uint32_t asked_offset_ = 0;  // What the range header says; 0 without one.
  std::string headers_;
};

uint32_t HttpRequest::Open(const char* verb, const UrlParts& url, bool no_auto_redirect) {
  if (const uint32_t error =
          session_->Connect(url, url.user, url.password, INTERNET_SERVICE_HTTP, 0)) {
    return error;
  }
  DWORD flags = kRequestFlags;
  if (url.scheme == INTERNET_SCHEME_HTTPS) flags |= INTERNET_FLAG_SECURE;
  if (no_auto_redirect) flags |= INTERNET_FLAG_NO_AUTO_REDIRECT;
  for (;;) {
    if (const uint32_t error = session_->OpenRequest(verb, url.path + url.extra, flags)) {
      return error;
    }
    asked_offset_ = *offset_;
    headers_ = asked_offset_ != 0 ? RangeHeader(asked_offset_) : std::string();
    if (state_->extra_headers) headers_ += *state_->extra_headers;
    state_->SendConnecting();
    bool ask_for_all = false;
    const uint32_t result = SendUntilAnswered(&ask_for_all);
    if (!ask_for_all) return result;
    *offset_ = 0;
    // A request keeps the range header that it was sent with, so this takes a new one.
    session_->CloseRequest();
  }
}

uint32_t HttpRequest::SendUntilAnswered(bool* ask_for_all) {
  for (;;) {
    const uint32_t send_error = session_->Send(headers_);
    if (send_error == kCancelled) return kCancelled;
    const std::optional<DWORD> status = ReadNumber(session_->request(), HTTP_QUERY_STATUS_CODE);
    if (!status) {
      const DWORD error = ::GetLastError();
      // What went wrong first says more, and decides whether another attempt is worth while.
      return send_error != NO_ERROR ? send_error : error;
    }
    const uint32_t result = ReadAnswer(*status, send_error, ask_for_all);
    const bool mended = IsCertificateError(result)
                            ? AskAboutCertificate(*state_, session_->request(), result)
                            : result == kAuthenticationRequired && LogIn(*status);
    if (!mended) return result;
  }
}

// The result by status. A failed send has no status, and its error stands.
uint32_t HttpRequest::ReadAnswer(DWORD status, uint32_t send_error, bool* ask_for_all) {
  const HINTERNET request = session_->request();
  const DWORD length = ReadNumber(request, HTTP_QUERY_CONTENT_LENGTH).value_or(0);
  if (state_->want_last_modified && status != HTTP_STATUS_NOT_MODIFIED) {
    DWORD size = sizeof(SYSTEMTIME);
    if (!Internet().HttpQueryInfoA(request, HTTP_QUERY_LAST_MODIFIED | HTTP_QUERY_FLAG_SYSTEMTIME,
                                   &state_->last_modified, &size, nullptr)) {
      state_->last_modified = {};
    }
  }
  switch (status) {
    case HTTP_STATUS_OK:
      return TakeWholeFile(length) != NO_ERROR ? kAlreadyComplete : send_error;
    case HTTP_STATUS_PARTIAL_CONTENT:
      // Another part than the one asked for would spoil the file, and one of unknown extent might.
      *ask_for_all = asked_offset_ != 0 && !IsAskedRange(length);
      // Not what came in: a login in between has cleared that, but the range was asked for.
      *offset_ = length != 0 ? asked_offset_ : 0;
      *size_ = length != 0 ? length + asked_offset_ : 0;
      return send_error;
    case kRangeNotSatisfiable:
      // The bytes present are those of another file, or all of this one.
      *ask_for_all = asked_offset_ != 0;
      *offset_ = 0;
      *size_ = length;
      return send_error;
    case HTTP_STATUS_NOT_MODIFIED:
      return kNotModified;
    case HTTP_STATUS_DENIED:
    case HTTP_STATUS_PROXY_AUTH_REQ:
    case HTTP_STATUS_FORBIDDEN:
    case HTTP_STATUS_NOT_FOUND:
    case HTTP_STATUS_GONE:
      *offset_ = 0;
      *size_ = 0;
      if (status == HTTP_STATUS_FORBIDDEN) return kForbidden;
      return status == HTTP_STATUS_NOT_FOUND || status == HTTP_STATUS_GONE
                 ? kNotFound
                 : kAuthenticationRequired;
    default:
      *offset_ = 0;
      *size_ = length;
      return send_error;
  }
}

uint32_t HttpRequest::TakeWholeFile(DWORD length) {
  *size_ = length;
  if (length != 0 && length <= *offset_) return kAlreadyComplete;
  *offset_ = 0;
  return NO_ERROR;
}

bool HttpRequest::IsAskedRange(DWORD length) const {
  if (length == 0) return false;
  const auto header = ReadHeader(session_->request(), HTTP_QUERY_CONTENT_RANGE);
  if (!header) return true;
  const uint64_t end = uint64_t{asked_offset_} + length;
  return StartOfRange(*header).value_or(asked_offset_) == asked_offset_ &&
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
    state_->credentials->OnCredentialsApplied();
  }
  state_->SendState(kDialogClosed);
  return given;
}

}  // namespace

uint32_t OpenHttp(InternetSession* session, TransferState* state, const char* verb,
                  const UrlParts& url, bool no_auto_redirect, uint32_t* offset, uint32_t* size) {
  return HttpRequest(session, state, offset, size).Open(verb, url, no_auto_redirect);
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
