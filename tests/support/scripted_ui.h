#ifndef TESTS_SUPPORT_SCRIPTED_UI_H_
#define TESTS_SUPPORT_SCRIPTED_UI_H_

#include <windows.h>
#include <msi.h>
#include <msiquery.h>

#include <deque>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <vector>

namespace test {

// One message as the user interface got it.
struct UiMessage {
  UINT type = 0;                     // Kind, buttons and flags as they were sent.
  std::vector<std::wstring> fields;  // Field 0 and on.

  // Messages are compared without field 0, which the installer may fill with a template.
  [[nodiscard]] std::wstring Field(size_t index) const {
    return index < fields.size() ? fields[index] : std::wstring();
  }
};

// The user: gets every message of the installer, answers prompts and progress as told. Installed as
// the external user interface of the process, taken back on destruction. One at a time.
class ScriptedUi {
 public:
  ScriptedUi();
  ScriptedUi(const ScriptedUi&) = delete;
  ScriptedUi& operator=(const ScriptedUi&) = delete;
  ~ScriptedUi();

  // Answers for one kind of message (such as INSTALLMESSAGE_WARNING), used up in order. Without
  // one, progress and action messages get IDOK and prompts the 0 of an installation without a user
  // interface.
  void Answer(INSTALLMESSAGE kind, int answer) { answers_[kind].push_back(answer); }
  // Called for every message, before it is answered.
  void OnMessage(std::function<void(const UiMessage&)> listener) {
    listener_ = std::move(listener);
  }

  // Asked first; without an answer of its own the rule above holds.
  void AnswerBy(std::function<std::optional<int>(const UiMessage&)> answerer) {
    answerer_ = std::move(answerer);
  }

  [[nodiscard]] const std::vector<UiMessage>& messages() const { return messages_; }
  [[nodiscard]] std::vector<UiMessage> Of(INSTALLMESSAGE kind) const;
  void Clear() { messages_.clear(); }

 private:
  static int CALLBACK Handle(LPVOID context, UINT type, MSIHANDLE record);

  std::vector<UiMessage> messages_;
  std::map<INSTALLMESSAGE, std::deque<int>> answers_;
  std::function<void(const UiMessage&)> listener_;
  std::function<std::optional<int>(const UiMessage&)> answerer_;
};

}  // namespace test

#endif  // TESTS_SUPPORT_SCRIPTED_UI_H_
