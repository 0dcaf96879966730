#ifndef MSI_MESSAGES_H_
#define MSI_MESSAGES_H_

#include <initializer_list>
#include <string>
#include <string_view>
#include <vector>

#include "msi/handles.h"
#include "msi/session.h"

// What the library says to the user goes through the installer, so that its user-interface level,
// its log and an external user interface all apply. Every call belongs on the thread that entered
// the custom action.
namespace msi {

// A record under construction. A field that cannot be set, or a record that cannot be made, spoils
// it, and a spoilt record is not sent.
class MessageRecord {
 public:
  explicit MessageRecord(UINT fields) : record_(::MsiCreateRecord(fields)), whole_(record_) {}

  MessageRecord& Set(UINT field, const std::wstring& text);
  MessageRecord& Set(UINT field, int value);

  // Sends the record and gives the installer's answer; -1 when it was not sent.
  int Send(const InstallerSession& session, UINT message) const;

 private:
  UniqueMsiHandle record_;
  bool whole_;
};

// Names the running action: the row of `ActionText` whose `Action` is `row_action` gives
// description and template, and the message goes out under the name `shown_action`. Without such a
// row nothing is sent.
void AnnounceAction(const InstallerSession& session, const wchar_t* row_action,
                    const wchar_t* shown_action);

// Start the progress bar anew, that many ticks long, or move it by so many. Both give the
// installer's answer: IDCANCEL when the user cancelled.
int SendProgressReset(const InstallerSession& session, int total_ticks);
int SendProgressIncrement(const InstallerSession& session, int ticks);

// Names the item that the action works on.
void SendActionData(const InstallerSession& session, const std::wstring& name);
// Says that the item is done: the second field, a blank, clears the detail beside the name.
void SendActionDataDone(const InstallerSession& session, const std::wstring& name);

// True while somebody wants to read what the library does: the installer writes a log, which
// Windows says in `MsiLogFileLocation`, or the package or the command line sets `QX_LOG`.
[[nodiscard]] bool IsLogging(const InstallerSession& session);

// Writes one line, its parts one after the other, to the installer's log while IsLogging();
// otherwise sends nothing. The line is data: what stands in brackets in it is not replaced. Line
// breaks in it become blanks.
void Log(const InstallerSession& session, std::initializer_list<std::wstring_view> parts);
inline void Log(const InstallerSession& session, const std::wstring& line) { Log(session, {line}); }

// `text` with every value of the properties that `MsiHiddenProperties` names replaced by
// "**********"; that alone when the installer does not say which they are.
std::wstring WithoutHiddenValues(const InstallerSession& session, const std::wstring& text);

// A template that shows `text` letter for letter: what stands in brackets in it is not replaced. A
// text without brackets is its own template.
std::wstring AsTemplate(const std::wstring& text);

enum class PromptAnswer { kGoOn, kStop };

// The error form has an OK button and always stops. The warning form has Yes and No; all but Yes
// stops, also the 0 of an installation without a user interface.
enum class PromptForm { kError, kWarning };

// Asks with the text of that number in the package's `Error` table, which shows `argument` as
// "[2]".
PromptAnswer PromptUser(const InstallerSession& session, PromptForm form, int number,
                        const std::wstring& argument);

// The text of the `UIText` table under `key`, which goes into the query as it is. False, with
// `text` empty, when there is none.
bool GetUIText(const InstallerSession& session, const wchar_t* key, std::wstring* text);

// Shows an error box with the formatted template. The arguments, up to the first empty one, are
// "[2]", "[3]" and on. Nothing is shown without a session or a list, or when formatting fails.
void ShowErrorBox(const InstallerSession& session, const std::wstring& text,
                  const std::vector<std::wstring>* arguments);

}  // namespace msi

#endif  // MSI_MESSAGES_H_
