#include "msi/messages.h"

#include <algorithm>
#include <cwchar>

#include "contract/properties.h"
#include "msi/table_snapshot.h"
#include "util/text.h"

namespace msi {
namespace {

constexpr UINT kErrorWithOk = INSTALLMESSAGE_ERROR | MB_SETFOREGROUND | MB_OK;
constexpr UINT kWarningWithYesNo = INSTALLMESSAGE_WARNING | MB_SETFOREGROUND | MB_YESNO;
constexpr int kNotSent = -1;

constexpr wchar_t kHiddenValue[] = L"**********";  // As the installer's own log has it.
constexpr wchar_t kHiddenLetter = L'\x01';         // Stands in no text.

// First fields of a progress record.
constexpr int kReset = 0;
constexpr int kIncrement = 2;

int SendProgress(const InstallerSession& session, int first, int second) {
  return MessageRecord(3).Set(1, first).Set(2, second).Set(3, 0).Send(session,
                                                                      INSTALLMESSAGE_PROGRESS);
}

}  // namespace

MessageRecord& MessageRecord::Set(UINT field, const std::wstring& text) {
  whole_ = whole_ && ::MsiRecordSetStringW(record_.Get(), field, text.c_str()) == ERROR_SUCCESS;
  return *this;
}

MessageRecord& MessageRecord::Set(UINT field, int value) {
  whole_ = whole_ && ::MsiRecordSetInteger(record_.Get(), field, value) == ERROR_SUCCESS;
  return *this;
}

int MessageRecord::Send(const InstallerSession& session, UINT message) const {
  if (!whole_) return kNotSent;
  return session.ProcessMessage(message, record_.Get());
}

void AnnounceAction(const InstallerSession& session, const wchar_t* row_action,
                    const wchar_t* shown_action) {
  const std::wstring condition = std::wstring(L" `Action` = '") + row_action + L"' ";
  TableSnapshot texts(session, L"ActionText");
  if (!texts.Load({L"Description", L"Template"}, {}, condition.c_str())) return;
  const TableRow& row = *texts.begin();
  MessageRecord(4)
      .Set(1, shown_action)
      .Set(2, row.Get(L"Description"))
      .Set(3, row.Get(L"Template"))
      .Send(session, INSTALLMESSAGE_ACTIONSTART);
}

int SendProgressReset(const InstallerSession& session, int total_ticks) {
  return SendProgress(session, kReset, total_ticks);
}

int SendProgressIncrement(const InstallerSession& session, int ticks) {
  return SendProgress(session, kIncrement, ticks);
}

void SendActionData(const InstallerSession& session, const std::wstring& name) {
  MessageRecord(4).Set(1, name).Send(session, INSTALLMESSAGE_ACTIONDATA);
}

void SendActionDataDone(const InstallerSession& session, const std::wstring& name) {
  MessageRecord(4).Set(1, name).Set(2, L" ").Send(session, INSTALLMESSAGE_ACTIONDATA);
}

bool IsLogging(const InstallerSession& session) {
  return !session.GetProperty(contract::kLogFileProperty).empty() ||
         !session.GetProperty(contract::kLogProperty).empty();
}

void Log(const InstallerSession& session, std::initializer_list<std::wstring_view> parts) {
  if (!IsLogging(session)) return;
  std::wstring text = L"Prereq: ";
  for (const std::wstring_view part : parts) text += part;
  while (text.back() <= L' ') text.pop_back();
  for (wchar_t& character : text) {
    if (character < L' ') character = L' ';
  }
  MessageRecord(1).Set(0, AsTemplate(text)).Send(session, INSTALLMESSAGE_INFO);
}

std::wstring WithoutHiddenValues(const InstallerSession& session, const std::wstring& text) {
  std::wstring names;
  if (!session.TryGetProperty(contract::kHiddenProperty, &names)) return kHiddenValue;
  std::wstring marked = text;  // Values may overlap.
  for (const std::wstring& name : util::Split(names, L';')) {
    std::wstring value;
    if (!name.empty() && !session.TryGetProperty(name, &value)) return kHiddenValue;
    if (value.empty()) continue;
    for (size_t at = 0; (at = text.find(value, at)) != text.npos; ++at) {
      marked.replace(at, value.size(), value.size(), kHiddenLetter);
    }
  }
  std::wstring result;
  for (size_t i = 0; i < marked.size(); ++i) {
    if (marked[i] != kHiddenLetter) {
      result += marked[i];
    } else if (i == 0 || marked[i - 1] != kHiddenLetter) {
      result += kHiddenValue;
    }
  }
  return result;
}

std::wstring AsTemplate(const std::wstring& text) {
  if (text.find_first_of(L"[]") == text.npos) return text;
  std::wstring result;
  for (const wchar_t character : text) {
    // Braces mean something only around brackets.
    const bool is_mark = std::wcschr(L"[]{}", character) != nullptr;
    if (is_mark) result += L"[\\";
    result += character;
    if (is_mark) result += L']';
  }
  return result;
}

PromptAnswer PromptUser(const InstallerSession& session, PromptForm form, int number,
                        const std::wstring& argument) {
  const UINT message = form == PromptForm::kError ? kErrorWithOk : kWarningWithYesNo;
  const int answer = MessageRecord(2).Set(1, number).Set(2, argument).Send(session, message);
  return form == PromptForm::kWarning && answer == IDYES ? PromptAnswer::kGoOn
                                                         : PromptAnswer::kStop;
}

bool GetUIText(const InstallerSession& session, const wchar_t* key, std::wstring* text) {
  text->clear();
  const std::wstring query =
      std::wstring(L"SELECT `Text` FROM `UIText` WHERE `Key` = '") + key + L"'";
  const UniqueMsiHandle database = session.OpenDatabase();
  UniqueMsiView view;
  UniqueMsiHandle record;
  if (::MsiDatabaseOpenViewW(database.Get(), query.c_str(), view.Receive()) != ERROR_SUCCESS ||
      ::MsiViewExecute(view.Get(), 0) != ERROR_SUCCESS ||
      ::MsiViewFetch(view.Get(), record.Receive()) != ERROR_SUCCESS) {
    return false;
  }
  return ReadSized(
             [&](wchar_t* buffer, DWORD* length) {
               return ::MsiRecordGetStringW(record.Get(), 1, buffer, length);
             },
             text) == ERROR_SUCCESS;
}

void ShowErrorBox(const InstallerSession& session, const std::wstring& text,
                  const std::vector<std::wstring>* arguments) {
  if (!session.is_open() || arguments == nullptr) return;
  const auto end = std::find(arguments->begin(), arguments->end(), std::wstring());
  const UniqueMsiHandle record(::MsiCreateRecord(static_cast<UINT>(end - arguments->begin()) + 1));
  ::MsiRecordSetStringW(record.Get(), 0, text.c_str());
  // The first argument is "[2]": in the installer's own error records, field 1 is the number of
  // the message.
  UINT field = 2;
  for (auto argument = arguments->begin(); argument != end; ++argument) {
    ::MsiRecordSetStringW(record.Get(), field++, argument->c_str());
  }
  std::wstring shown;
  if (session.FormatRecord(record.Get(), &shown) != ERROR_SUCCESS) return;
  ::MessageBoxW(::GetForegroundWindow(), shown.c_str(), nullptr, MB_OK | MB_ICONERROR);
}

}  // namespace msi
