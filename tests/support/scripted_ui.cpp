#include "support/scripted_ui.h"

#include "msi/handles.h"

namespace test {
namespace {

constexpr UINT kKindMask = 0xFF000000;

constexpr DWORD LogBit(INSTALLMESSAGE kind) { return 1u << (static_cast<UINT>(kind) >> 24); }

constexpr DWORD kSeen = LogBit(INSTALLMESSAGE_ERROR) | LogBit(INSTALLMESSAGE_WARNING) |
                        LogBit(INSTALLMESSAGE_USER) | LogBit(INSTALLMESSAGE_INFO) |
                        LogBit(INSTALLMESSAGE_ACTIONSTART) | LogBit(INSTALLMESSAGE_ACTIONDATA) |
                        LogBit(INSTALLMESSAGE_PROGRESS);

}  // namespace

ScriptedUi::ScriptedUi() {
  ::MsiSetInternalUI(INSTALLUILEVEL_NONE, nullptr);
  ::MsiSetExternalUIRecord(&Handle, kSeen, this, nullptr);
}

ScriptedUi::~ScriptedUi() { ::MsiSetExternalUIRecord(nullptr, 0, nullptr, nullptr); }

std::vector<UiMessage> ScriptedUi::Of(INSTALLMESSAGE kind) const {
  std::vector<UiMessage> result;
  for (const UiMessage& message : messages_) {
    if ((message.type & kKindMask) == static_cast<UINT>(kind)) result.push_back(message);
  }
  return result;
}

int CALLBACK ScriptedUi::Handle(LPVOID context, UINT type, MSIHANDLE record) {
  auto* const ui = static_cast<ScriptedUi*>(context);
  UiMessage message;
  message.type = type;
  const UINT count = record != 0 ? ::MsiRecordGetFieldCount(record) + 1 : 0;
  for (UINT field = 0; field < count; ++field) {
    std::wstring text;
    (void)msi::ReadSized(
        [&](wchar_t* buffer, DWORD* length) {
          return ::MsiRecordGetStringW(record, field, buffer, length);
        },
        &text);
    message.fields.push_back(std::move(text));
  }
  ui->messages_.push_back(message);
  if (ui->listener_) ui->listener_(message);
  if (ui->answerer_) {
    if (const std::optional<int> answer = ui->answerer_(message)) return *answer;
  }

  const auto kind = static_cast<INSTALLMESSAGE>(type & kKindMask);
  std::deque<int>& answers = ui->answers_[kind];
  if (!answers.empty()) {
    const int answer = answers.front();
    answers.pop_front();
    return answer;
  }
  return kind == INSTALLMESSAGE_ERROR || kind == INSTALLMESSAGE_WARNING ? 0 : IDOK;
}

}  // namespace test
