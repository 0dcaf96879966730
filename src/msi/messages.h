#ifndef MSI_MESSAGES_H_
#define MSI_MESSAGES_H_

#include <string>
#include <vector>

#include "msi/handles.h"
#include "msi/table_snapshot.h"

// What the library says to the user goes through the installer, so that its user-interface level,
// its log and an external user interface all apply. `install` is borrowed everywhere; every call
// belongs on the thread that entered the custom action.
namespace msi {

// A record under construction. A field that cannot be set, or a record that cannot be made, spoils
// it, and a spoilt record is not sent.
class MessageRecord {
 public:
  explicit MessageRecord(UINT fields) : record_(::MsiCreateRecord(fields)), whole_(record_) {}

  MessageRecord& Set(UINT field, const std::wstring& text);
  MessageRecord& Set(UINT field, int value);

  // Sends the record and gives the installer's answer; -1 when it was not sent.
  int Send(MSIHANDLE install, UINT message) const;

 private:
  UniqueMsiHandle record_;
  bool whole_;
};

// Names the running action: the row of `ActionText` whose `Action` is `row_action` gives
// description and template, and the message goes out under the name `shown_action`. Without such a
// row nothing is sent.
void AnnounceAction(MSIHANDLE install, const wchar_t* row_action, const wchar_t* shown_action);

// Start the progress bar anew, that many ticks long, or move it by so many. Both give the
// installer's answer: IDCANCEL when the user cancelled.
int SendProgressReset(MSIHANDLE install, int total_ticks);
int SendProgressIncrement(MSIHANDLE install, int ticks);

// Names the item that the action works on.
void SendActionData(MSIHANDLE install, const std::wstring& name);
// Says that the item is done: the second field, a blank, clears the detail beside the name.
void SendActionDataDone(MSIHANDLE install, const std::wstring& name);

// What PromptUser answers; the values are those that the custom action returns to the installer.
enum class PromptAnswer : UINT { kGoOn = 0, kStop = 2 };

// Asks about one prerequisite with texts of the package's `Error` table, which show `argument` as
// "[2]". The error form has an OK button and always stops; it is used for a row marked mandatory
// ("m" in `Options`) unless `forbid_error_form`. The warning form has Yes and No; all but Yes
// stops, also the 0 of an installation without a user interface.
PromptAnswer PromptUser(MSIHANDLE install, int error_number, int warning_number,
                        bool forbid_error_form, const std::wstring& argument, const TableRow& row);

// The text of the `UIText` table under `key`, which goes into the query as it is. False, with
// `text` empty, when there is none.
bool GetUIText(MSIHANDLE install, const wchar_t* key, std::wstring* text);

// Shows an error box with the formatted template. The arguments, up to the first empty one, are
// "[2]", "[3]" and on. Nothing is shown without a handle or a list, or when formatting fails.
void ShowErrorBox(MSIHANDLE install, const std::wstring& text,
                  const std::vector<std::wstring>* arguments);

}  // namespace msi

#endif  // MSI_MESSAGES_H_
