#include "msi/messages.h"

#include <algorithm>

namespace msi {
namespace {

constexpr UINT kErrorWithOk = INSTALLMESSAGE_ERROR | MB_SETFOREGROUND | MB_OK;
constexpr UINT kWarningWithYesNo = INSTALLMESSAGE_WARNING | MB_SETFOREGROUND | MB_YESNO;
constexpr int kNotSent = -1;

// First fields of a progress record.
constexpr int kReset = 0;
constexpr int kIncrement = 2;

int SendProgress(MSIHANDLE install, int first, int second) {
  return MessageRecord(3).Set(1, first).Set(2, second).Set(3, 0).Send(install,
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

int MessageRecord::Send(MSIHANDLE install, UINT message) const {
  if (!whole_) return kNotSent;
  return ::MsiProcessMessage(install, static_cast<INSTALLMESSAGE>(message), record_.Get());
}

void AnnounceAction(MSIHANDLE install, const wchar_t* row_action, const wchar_t* shown_action) {
  const std::wstring condition = std::wstring(L" `Action` = '") + row_action + L"' ";
  TableSnapshot texts(install, L"ActionText");
  if (!texts.Load({L"Description", L"Template"}, {}, condition.c_str())) return;
  const TableRow& row = *texts.begin();
  MessageRecord(4)
      .Set(1, shown_action)
      .Set(2, row.Get(L"Description"))
      .Set(3, row.Get(L"Template"))
      .Send(install, INSTALLMESSAGE_ACTIONSTART);
}

int SendProgressReset(MSIHANDLE install, int total_ticks) {
  return SendProgress(install, kReset, total_ticks);
}

int SendProgressIncrement(MSIHANDLE install, int ticks) {
  return SendProgress(install, kIncrement, ticks);
}

void SendActionData(MSIHANDLE install, const std::wstring& name) {
  MessageRecord(4).Set(1, name).Send(install, INSTALLMESSAGE_ACTIONDATA);
}

void SendActionDataDone(MSIHANDLE install, const std::wstring& name) {
  MessageRecord(4).Set(1, name).Set(2, L" ").Send(install, INSTALLMESSAGE_ACTIONDATA);
}

PromptAnswer PromptUser(MSIHANDLE install, int error_number, int warning_number,
                        bool forbid_error_form, const std::wstring& argument, const TableRow& row) {
  // The mark is looked at here, beside the two forms that it chooses between. No phase asks for the
  // error form today: each passes the flag that suppresses it, so mandatory rows get Yes and No.
  const bool mandatory = row.Get(L"Options").find(L'm') != std::wstring::npos;
  const bool as_error = mandatory && !forbid_error_form;
  const int answer = MessageRecord(2)
                         .Set(1, as_error ? error_number : warning_number)
                         .Set(2, argument)
                         .Send(install, as_error ? kErrorWithOk : kWarningWithYesNo);
  return !as_error && answer == IDYES ? PromptAnswer::kGoOn : PromptAnswer::kStop;
}

bool GetUIText(MSIHANDLE install, const wchar_t* key, std::wstring* text) {
  text->clear();
  const std::wstring query =
      std::wstring(L"SELECT `Text` FROM `UIText` WHERE `Key` = '") + key + L"'";
  const UniqueMsiHandle database(::MsiGetActiveDatabase(install));
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

void ShowErrorBox(MSIHANDLE install, const std::wstring& text,
                  const std::vector<std::wstring>* arguments) {
  if (install == 0 || arguments == nullptr) return;
  const auto end = std::find(arguments->begin(), arguments->end(), std::wstring());
  const UniqueMsiHandle record(::MsiCreateRecord(static_cast<UINT>(end - arguments->begin()) + 1));
  ::MsiRecordSetStringW(record.Get(), 0, text.c_str());
  // The first argument is "[2]" on purpose: templates count as in the installer's own error
  // records, where field 1 is the number of the message.
  UINT field = 2;
  for (auto argument = arguments->begin(); argument != end; ++argument) {
    ::MsiRecordSetStringW(record.Get(), field++, argument->c_str());
  }
  std::wstring shown;
  if (ReadSized(
          [&](wchar_t* buffer, DWORD* length) {
            return ::MsiFormatRecordW(install, record.Get(), buffer, length);
          },
          &shown) != ERROR_SUCCESS) {
    return;
  }
  ::MessageBoxW(::GetForegroundWindow(), shown.c_str(), nullptr, MB_OK | MB_ICONERROR);
}

}  // namespace msi
