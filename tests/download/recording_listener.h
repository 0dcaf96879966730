#ifndef TESTS_DOWNLOAD_RECORDING_LISTENER_H_
#define TESTS_DOWNLOAD_RECORDING_LISTENER_H_

#include <windows.h>

#include <atomic>
#include <string>
#include <vector>

#include "download/download_listener.h"
#include "support/download_rig.h"  // For those who download with it.
#include "support/socket_server.h"

namespace test {

// Writes down what a transfer reports, states aside, and answers as told.
class RecordingListener final : public download::DownloadListener {
 public:
  RecordingListener() { ::InitializeCriticalSection(&section_); }
  ~RecordingListener() { ::DeleteCriticalSection(&section_); }

  void Start(uint32_t, bool) override { Note("start"); }
  void OnFileInfo(uint32_t total_bytes, const std::string&) override {
    Note("info " + std::to_string(total_bytes));
    if (cancel_at_info) cancelled = true;
  }
  void OnComplete(uint32_t one) override { Note("complete " + std::to_string(one)); }
  void OnState(uint32_t state) override {
    const Lock lock(&section_);
    states_.push_back(state);
  }
  void OnProgress(uint32_t bytes) override {
    progress_calls.push_back(bytes);
    received += bytes;
    if (received >= cancel_after) cancelled = true;
    if (received >= pause_after) {
      pause_after = ~0u;
      paused = true;
    }
  }
  bool IsCancelled() override {
    if (cancelled && seen_at == 0) seen_at = ::GetTickCount();
    return cancelled;
  }
  bool IsPaused() override { return paused; }
  void OnError(uint32_t reserved, uint32_t code) override {
    Note("error " + std::to_string(reserved) + " " + std::to_string(code));
  }

  void Note(const std::string& event) {
    const Lock lock(&section_);
    events_.push_back(event);
  }
  std::vector<std::string> events() const {
    const Lock lock(&section_);
    return events_;
  }
  std::vector<uint32_t> states() const {
    const Lock lock(&section_);
    return states_;
  }

  std::atomic<bool> cancelled{false};
  std::atomic<bool> paused{false};
  std::atomic<DWORD> seen_at{0};  // When the transfer first heard of the cancel.
  bool cancel_at_info = false;
  uint32_t cancel_after = ~0u;
  uint32_t pause_after = ~0u;
  std::atomic<uint32_t> received{0};  // Written by the worker, read while it runs.
  std::vector<uint32_t> progress_calls;

 private:
  mutable CRITICAL_SECTION section_;
  std::vector<std::string> events_;
  std::vector<uint32_t> states_;
};

}  // namespace test

#endif  // TESTS_DOWNLOAD_RECORDING_LISTENER_H_
