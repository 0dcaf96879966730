#ifndef TESTS_DOWNLOAD_RECORDING_LISTENER_H_
#define TESTS_DOWNLOAD_RECORDING_LISTENER_H_

#include <windows.h>

#include <algorithm>
#include <atomic>
#include <string>
#include <vector>

#include "download/credential_provider.h"
#include "download/download_listener.h"
#include "support/download_rig.h"  // For those who download with it.

namespace test {

// Writes down what a transfer reports and asks, and answers as told: listener and provider.
class RecordingListener final : public download::DownloadListener,
                                public download::CredentialProvider {
 public:
  void Start(uint32_t, bool) override { Note("start"); }
  void OnFileInfo(uint32_t total_bytes, const std::string&) override {
    Note("info " + std::to_string(total_bytes));
    if (cancel_at_info) cancelled = true;
    has_info_ = true;
  }
  void OnComplete(uint32_t one) override { Note("complete " + std::to_string(one)); }
  void OnState(uint32_t state) override {
    if (state == download::kStepCompleted || state == download::kReadCompleted) return;
    Note("state " + std::to_string(state));
  }
  void OnProgress(uint32_t bytes) override {
    if (++progress_calls == 1) Note("from " + std::to_string(bytes));
    received += bytes;
    if (progress_calls > 1) largest_chunk = std::max(largest_chunk, bytes);
    if (received >= cancel_after) cancelled = true;
  }
  bool IsCancelled() override {
    if (has_info_ && cancel_at_ask != 0 && --cancel_at_ask == 0) cancelled = true;
    if (cancelled && seen_at == 0) seen_at = ::GetTickCount();
    return cancelled;
  }
  bool IsPaused() override { return paused; }
  void OnError(uint32_t reserved, uint32_t code) override {
    Note("error " + std::to_string(reserved) + " " + std::to_string(code));
  }

  void OnConnecting() override { Note("connecting"); }
  bool GetSavedCredentials(std::string* user, std::string* password) override {
    if (saved_password.empty()) return false;
    *user = "me";
    *password = std::exchange(saved_password, "");  // A wrong one must not be tried for ever.
    return true;
  }
  void OnCredentialsApplied() override { Note("applied"); }
  bool PromptCredentials(const std::string& url, const std::string& realm, HWND, std::string* user,
                         std::string* password) override {
    Note("prompt " + realm);
    asked_url = url;
    if (password_at_prompt.empty()) return false;
    *user = user_at_prompt;
    *password = std::exchange(password_at_prompt, "");
    return true;
  }

  void Note(const std::string& event) {
    while (busy_.test_and_set()) ::Sleep(0);
    events_.push_back(event);
    busy_.clear();
  }
  std::vector<std::string> events() const {
    while (busy_.test_and_set()) ::Sleep(0);
    std::vector<std::string> events = events_;
    busy_.clear();
    return events;
  }
  // The events, with commas between them.
  std::string Trace() const {
    std::string trace;
    for (const std::string& event : events()) trace += (trace.empty() ? "" : ", ") + event;
    return trace;
  }

  std::atomic<bool> cancelled{false};
  std::atomic<bool> paused{false};
  std::atomic<DWORD> seen_at{0};  // When the transfer first heard of the cancel.
  bool cancel_at_info = false;
  int cancel_at_ask = 0;  // The question after the file information, from 1.
  uint32_t cancel_after = ~0u;
  std::atomic<uint32_t> received{0};  // Written by the worker, read while it runs.
  int progress_calls = 0;
  uint32_t largest_chunk = 0;
  std::string saved_password;
  std::string user_at_prompt = "me";
  std::string password_at_prompt;
  std::string asked_url;

 private:
  mutable std::atomic_flag busy_;
  std::vector<std::string> events_;
  bool has_info_ = false;
};

}  // namespace test

#endif  // TESTS_DOWNLOAD_RECORDING_LISTENER_H_
