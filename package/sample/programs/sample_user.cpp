// Plays the user of the sample package on the same desktop, for the demo and its pictures:
//   sample_user press <title> <button> [seconds]     presses a button
//   sample_user find <title> <text> [seconds]        says where a window is: left top width height
//   sample_user progress <title> <percent> [seconds] waits for a progress bar to come that far
// Each waits until there is a window of exactly that title that has what is asked for: a button of
// that text that can be pressed, a visible control whose text contains the words, a progress bar.
// An ampersand before a letter does not count. After the seconds, 30 when not given, the answer is
// 1 with what was there instead, otherwise 0.

#include <windows.h>

#include <commctrl.h>

#include <cstdio>
#include <cstdlib>
#include <string>

namespace {

constexpr UINT kAnswerTime_ms = 1000;
constexpr DWORD kPollInterval_ms = 50;  // Nothing tells when another program's window changes.

struct Search {
  std::wstring title;
  std::wstring verb;
  std::wstring wanted;
  HWND window = nullptr;
  HWND control = nullptr;
  std::wstring seen;  // What the windows of that title showed at the last look.
};

LRESULT Ask(HWND window, UINT message, WPARAM first = 0, LPARAM second = 0) {
  DWORD_PTR answer = 0;
  return ::SendMessageTimeoutW(window, message, first, second, SMTO_ABORTIFHUNG, kAnswerTime_ms,
                               &answer) != 0
             ? static_cast<LRESULT>(answer)
             : 0;
}

std::wstring TextOf(HWND window) {
  wchar_t text[1024] = L"";
  Ask(window, WM_GETTEXT, 1024, reinterpret_cast<LPARAM>(text));
  std::wstring shown;
  for (const wchar_t* letter = text; *letter != L'\0'; ++letter) {
    if (*letter != L'&') shown += *letter;
  }
  return shown;
}

std::wstring ClassOf(HWND window) {
  wchar_t name[64] = L"";
  ::GetClassNameW(window, name, 64);
  return name;
}

int PercentOf(HWND bar) {
  const LRESULT low = Ask(bar, PBM_GETRANGE, TRUE);
  const LRESULT high = Ask(bar, PBM_GETRANGE, FALSE);
  return high > low ? static_cast<int>((Ask(bar, PBM_GETPOS) - low) * 100 / (high - low)) : 0;
}

bool IsWanted(const Search& search, HWND control) {
  if (search.verb == L"progress") {
    return ClassOf(control) == PROGRESS_CLASSW &&
           PercentOf(control) >= std::wcstol(search.wanted.c_str(), nullptr, 10);
  }
  if (search.verb == L"press") {
    return ::lstrcmpiW(ClassOf(control).c_str(), L"Button") == 0 && ::IsWindowEnabled(control) &&
           TextOf(control) == search.wanted;
  }
  return TextOf(control).find(search.wanted) != std::wstring::npos;
}

BOOL CALLBACK LookAtControl(HWND control, LPARAM parameter) {
  auto& search = *reinterpret_cast<Search*>(parameter);
  if (!::IsWindowVisible(control)) return TRUE;
  if (IsWanted(search, control)) {
    search.control = control;
    return FALSE;
  }
  search.seen += L"\n    [" + TextOf(control) + L"]";
  return TRUE;
}

BOOL CALLBACK LookAtWindow(HWND window, LPARAM parameter) {
  auto& search = *reinterpret_cast<Search*>(parameter);
  if (!::IsWindowVisible(window)) return TRUE;
  const std::wstring title = TextOf(window);
  if (title.empty()) return TRUE;
  search.seen += L"\n  " + title;
  if (title != search.title) return TRUE;
  // A window that waits for another one to be answered takes no press.
  if (search.verb == L"press" && !::IsWindowEnabled(window)) return TRUE;
  ::EnumChildWindows(window, LookAtControl, parameter);
  if (search.control == nullptr) return TRUE;
  search.window = window;
  return FALSE;
}

bool Find(Search* search, DWORD time_ms) {
  const DWORD start = ::GetTickCount();
  for (;;) {
    search->seen.clear();
    ::EnumWindows(LookAtWindow, reinterpret_cast<LPARAM>(search));
    if (search->control != nullptr) return true;
    if (::GetTickCount() - start >= time_ms) return false;
    ::Sleep(kPollInterval_ms);
  }
}

}  // namespace

int wmain(int count, wchar_t** words) {
  Search search;
  if (count >= 4) {
    search.verb = words[1];
    search.title = words[2];
    search.wanted = words[3];
  }
  if (search.verb != L"press" && search.verb != L"find" && search.verb != L"progress") {
    std::fwprintf(stderr, L"sample_user press|find|progress <title> <what> [seconds]\n");
    return 2;
  }
  const unsigned long seconds = count >= 5 ? std::wcstoul(words[4], nullptr, 10) : 30;
  if (!Find(&search, seconds * 1000)) {
    std::fwprintf(stderr, L"sample_user: no \"%ls\" in \"%ls\" after %lu s. There was:%ls\n",
                  search.wanted.c_str(), search.title.c_str(), seconds, search.seen.c_str());
    return 1;
  }
  if (search.verb == L"press") {
    ::SetForegroundWindow(search.window);
    return ::PostMessageW(search.control, BM_CLICK, 0, 0) ? 0 : 1;
  }
  RECT place = {};
  ::GetWindowRect(search.window, &place);
  std::wprintf(L"%ld %ld %ld %ld\n", place.left, place.top, place.right - place.left,
               place.bottom - place.top);
  return 0;
}
