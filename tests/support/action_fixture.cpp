#include "support/action_fixture.h"

#include <doctest.h>

#include <iterator>

#include "support/run_value.h"
#include "util/text.h"

namespace test {
namespace {

constexpr UINT kYesNoPrompt = INSTALLMESSAGE_WARNING | MB_YESNO | MB_SETFOREGROUND;
constexpr UINT kRetryPrompt = INSTALLMESSAGE_ERROR | MB_RETRYCANCEL;

struct Answer {
  const wchar_t* name;
  int value;
};
constexpr Answer kAnswers[] = {
    {L"ok", IDOK}, {L"cancel", IDCANCEL}, {L"retry", IDRETRY}, {L"yes", IDYES}, {L"no", IDNO}};

// The fields from `first` on between bars.
std::wstring Join(const UiMessage& message, size_t first) {
  size_t end = message.fields.size();
  while (end > first + 1 && message.fields[end - 1].empty()) --end;
  std::wstring text = message.Field(first);
  for (size_t field = first + 1; field < end; ++field) text += L" | " + message.fields[field];
  return text;
}

// The fields of a lack of space. What is free changes while the test runs: near the truth is
// enough.
std::wstring WithFreeSpace(UiMessage message) {
  ULARGE_INTEGER free;
  if (::GetDiskFreeSpaceExW(message.Field(2).substr(0, 3).c_str(), &free, nullptr, nullptr)) {
    const auto shown = static_cast<double>(util::ParseDecimal<uint64_t>(message.Field(4)));
    const double ratio = shown * 1024 / static_cast<double>(free.QuadPart);
    if (ratio > 0.8 && ratio < 1.2) message.fields[4] = L"free";
  }
  return Join(message, 1);
}

}  // namespace

std::wstring Describe(const UiMessage& message) {
  const size_t fields = message.fields.size();
  const std::wstring text = Join(message, 1);
  switch (message.type) {
    case INSTALLMESSAGE_ACTIONSTART:
      if (fields == 5) return L"start " + text;
      break;
    case INSTALLMESSAGE_ACTIONDATA:
      if (fields != 5) break;
      if (text == message.Field(1) + L" |  ") return L"done " + message.Field(1);
      return L"data " + text;
    case INSTALLMESSAGE_PROGRESS:
      if (fields != 4 || message.Field(3) != L"0") break;
      if (text == L"0 | 4096 | 0") return L"reset";
      if (message.Field(1) == L"2") return L"bar " + message.Field(2);
      break;
    case INSTALLMESSAGE_ERROR:
      if (fields == 2) return L"error " + message.Field(0);
      if (fields == 3 && text.empty()) return L"failure " + message.Field(0);
      break;
    case INSTALLMESSAGE_INFO:
      // A line of the log is data.
      if (fields == 2) return L"info " + message.Field(message.Field(0) == L"[1]" ? 1 : 0);
      break;
    case kYesNoPrompt:
      if (fields == 3) return L"prompt " + text;
      break;
    case kRetryPrompt:
      if (fields == 5) return L"retry " + WithFreeSpace(message);
      break;
    default:
      break;
  }
  wchar_t type[20];
  ::wsprintfW(type, L"0x%08X", message.type);
  return type + (L" " + text) + L" (" + std::to_wstring(fields) + L" fields)";
}

ActionFixture::ActionFixture() {
  folder_.emplace();
  StartSchedulerService();
}

ActionFixture::~ActionFixture() {
  // Nothing is left open by a test that ended before it had a session either.
  if (session_) CHECK(session_->CountLeakedHandles() == 0);
}

MsiSessionRig& ActionFixture::session() {
  if (!session_) {
    package_.Close();
    session_.emplace(package_);
  }
  return *session_;
}

UINT ActionFixture::Call(const std::string& action, const std::vector<std::wstring>& script) {
  const MsiSessionRig& rig = session();
  trace_.clear();
  DeleteRunValue(package_.product_code());
  registered_ = false;
  const DWORD thread = ::GetCurrentThreadId();
  ui_.Clear();
  ui_.AnswerBy([&](const UiMessage& message) { return Note(message, script, thread); });
  const UINT result = rig.Call(action.c_str());
  ui_.AnswerBy(nullptr);
  return result;
}

// As the user and the log read it: with the references of its template replaced.
UiMessage ActionFixture::Shown(UiMessage message) {
  const UINT kind = message.type & 0xFF000000;
  if ((kind == INSTALLMESSAGE_ERROR || kind == INSTALLMESSAGE_INFO) && !message.fields.empty()) {
    message.fields[0] = msi::FormatText(session().session(), message.fields[0]);
  }
  return message;
}

std::optional<int> ActionFixture::Note(const UiMessage& message,
                                       const std::vector<std::wstring>& script, DWORD thread) {
  // What the installer itself says of an action that an export asks it to run.
  if (message.Field(1) == L"QX_FindExeLzma") return std::nullopt;
  if (!registered_ && ReadRunValue(package_.product_code()) != kNoRunValue) {
    registered_ = true;
    trace_.push_back(L"registered");
  }
  if (::GetCurrentThreadId() != thread) trace_.push_back(L"from another thread:");
  const auto expected = [&] {
    return trace_.size() < script.size() ? script[trace_.size()] : std::wstring();
  };
  std::wstring line = Describe(Shown(message));
  // How often the user is asked for a Cancel while nothing comes, nobody knows.
  if (add_up_bars_ && line == L"bar 0" && !expected().starts_with(line)) return std::nullopt;
  line.erase(line.find_last_not_of(L"\r\n") + 1);  // The system's texts end their line.
  if (add_up_bars_ && line.starts_with(L"bar ") && line != L"bar 0" && !trace_.empty() &&
      trace_.back().starts_with(L"bar ")) {
    const int before = util::ParseDecimal<int>(trace_.back().substr(4));
    line = L"bar " + util::ToDecimal(before + util::ParseDecimal<int>(line.substr(4)));
    trace_.pop_back();
  }
  const std::wstring pattern = expected();
  const size_t star = pattern.find(L'*');
  // Two and more are a text of their own.
  if (star != pattern.npos && pattern.find(L"**") == pattern.npos &&
      line.starts_with(pattern.substr(0, star))) {
    line = pattern.substr(0, star + 1);
  }
  trace_.push_back(line);
  if (const auto action = at_.find(line); action != at_.end()) action->second();
  if (trace_.size() > script.size()) return std::nullopt;
  for (const auto& [name, value] : kAnswers) {
    if (script[trace_.size() - 1] == line + L" -> " + name) {
      trace_.back() = script[trace_.size() - 1];
      return value;
    }
  }
  return std::nullopt;
}

}  // namespace test
