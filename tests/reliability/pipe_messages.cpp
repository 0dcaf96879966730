// What a setup executable may say on the pipe while it unpacks, in every order and with every
// number: the action ends, its list of files is what was said, and the clean-up deletes nothing
// else.

#include <doctest.h>

#include <algorithm>
#include <atomic>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "reliability/foreign_files.h"
#include "reliability/part.h"
#include "support/msi_session_rig.h"
#include "support/pipe_client.h"
#include "support/scripted_ui.h"
#include "support/setup_program.h"
#include "support/test_package.h"
#include "support/worker.h"
#include "util/ansi_text.h"
#include "util/files.h"
#include "util/pipe_channel.h"
#include "util/text.h"

using test::ForeignFiles;
using test::kPipeDiskFull;
using test::kPipeFile;
using test::kPipeGroupStart;
using test::kPipeProgress;
using test::kPipeTotal;
using test::MsiSessionRig;
using test::Part;
using test::PipeClient;
using test::Random;
using test::ScriptedUi;
using test::SetupProgram;
using test::TempFolder;
using test::TestPackage;
using test::Worker;
using Texts = std::vector<std::wstring>;

namespace {

constexpr wchar_t kClose[] = L"CLOSE";

constexpr size_t kTalksPerSession = 8;

// What one client says, message by message.
struct Talk {
  std::vector<std::string> messages;  // As bytes: a message need not be whole letters.
  Texts files;                        // Named as written, when every message is well formed.
  std::set<std::wstring> said;        // Every text, for what is not.
  bool well_formed = true;

  void Say(const std::wstring& text) {
    messages.emplace_back(reinterpret_cast<const char*>(text.data()),
                          text.size() * sizeof(wchar_t));
    said.insert(text);
  }
};

// Both halves of a number of bytes.
void SayBytes(Talk* talk, Random* random) {
  const auto part = [random] {
    std::wstring number;
    do {
      number = random->Chance(70) ? util::ToSignedDecimal(static_cast<int32_t>(random->Next()))
                                  : random->Number();
      // That would end the talk, and a message of no bytes is none.
    } while (number == kClose || number.empty());
    return number;
  };
  talk->Say(part());
  talk->Say(random->Chance(60) ? L"0" : part());
}

// Paths of all kinds: of files that are there, foreign ones among them, and of none.
std::wstring RandomPath(Random* random, const TempFolder& folder, const ForeignFiles& foreign) {
  const std::wstring work = folder / L"work";
  const std::wstring name =
      random->Pick(Texts{L"a.exe", L"b.exe", L"sub\\c.exe", L"sub\\d\\e.exe"});
  switch (random->Below(8)) {
    case 0:  // Out of the work folder by itself or on a detour.
      return foreign.PathOf(random->Below(foreign.size()));
    case 1:
      return work + L"\\..\\" + random->Pick(Texts{L"user.txt", L"other\\user.txt"});
    case 2:
      return work + L"/sub/../../user.txt";
    case 3:
      return work;
    case 4:
      // The separator of the list makes two entries of one.
      return L"C:\\no such folder\\" + util::Split(random->Text() + L"x", L'\x01').back();
    default:
      return work + L"\\" + name;
  }
}

Talk WellFormed(Random* random, const TempFolder& folder, const ForeignFiles& foreign) {
  Talk talk;
  for (size_t step = random->Below(12); step != 0; --step) {
    switch (random->Below(6)) {
      case 0:
        talk.Say(kPipeTotal);
        SayBytes(&talk, random);
        break;
      case 1:
        talk.Say(kPipeProgress);
        SayBytes(&talk, random);
        break;
      case 2:
        talk.Say(kPipeGroupStart);
        talk.Say(random->Pick(Texts{L"101", L"104", L"100", L"-1", L"99999999999"}));
        break;
      case 3:
        talk.Say(kPipeDiskFull);
        talk.Say(random->Pick(Texts{L"C:\\", L"\\\\?\\C:\\x", L"Q:\\", L"x"}));
        SayBytes(&talk, random);
        break;
      default: {
        std::wstring path = RandomPath(random, folder, foreign);
        if (path == kClose) path += L'.';
        talk.Say(kPipeFile);
        talk.Say(path);
        talk.files.push_back(std::move(path));
      }
    }
  }
  return talk;
}

// The same with messages that are garbage, doubled, left out, too long or cut inside a letter.
Talk Mangled(Random* random, Talk talk) {
  talk.well_formed = false;
  for (size_t i = random->Between(1, 4); i != 0; --i) {
    const size_t at = random->Below(talk.messages.size() + 1);
    const auto place = talk.messages.begin() + static_cast<ptrdiff_t>(at);
    std::wstring text;
    switch (random->Below(6)) {
      case 0:
        if (place != talk.messages.end()) talk.messages.erase(place);
        continue;
      case 1:
        if (place != talk.messages.end()) place->pop_back();  // An odd byte.
        if (place != talk.messages.end() && place->empty()) talk.messages.erase(place);
        continue;
      case 2:
        text = random->Pick(
            Texts{kPipeTotal, kPipeProgress, kPipeDiskFull, kPipeGroupStart, kPipeFile, kClose});
        break;
      case 3:
        text.assign(util::PipeChannel::kLongestTextChars + random->Below(4) - 1, L'l');
        break;
      case 4:
        text = random->Number() + L" ";
        break;
      default:
        text = random->Text() + L"x";
    }
    talk.said.insert(text);
    talk.messages.emplace(place, reinterpret_cast<const char*>(text.data()),
                          text.size() * sizeof(wchar_t));
  }
  return talk;
}

// The client's end of the pipe. It waits for an answer only as long as one may come, since some
// messages have none, but never writes over one that is there: whoever does may find the server
// waiting for the answer to be taken while the write waits for the server.
class Speaker {
 public:
  Speaker(const std::string& suffix, const std::atomic<bool>* ended) : ended_(ended) {
    const std::string name = "\\\\.\\pipe\\ToServer" + suffix;
    while (!pipe_ && !*ended_) {
      pipe_.Reset(::CreateFileA(name.c_str(), GENERIC_READ | GENERIC_WRITE, 0, nullptr,
                                OPEN_EXISTING, 0, nullptr));
      if (!pipe_) ::Sleep(1);  // Nothing can be waited for before the pipe is there.
    }
  }

  // False when the server is gone.
  bool Say(const std::string& message, DWORD patience_ms) {
    DWORD written = 0;
    if (*ended_ || !::WriteFile(pipe_.Get(), message.data(), static_cast<DWORD>(message.size()),
                                &written, nullptr)) {
      return false;
    }
    // A message that is too long is two for the server.
    const bool is_two = message.size() > util::PipeChannel::kLongestTextChars * sizeof(wchar_t);
    return Hear(patience_ms) && (!is_two || Hear(patience_ms));
  }

 private:
  bool Hear(DWORD patience_ms) {
    const DWORD start = ::GetTickCount();
    DWORD there = 0;
    while (!*ended_ && ::PeekNamedPipe(pipe_.Get(), nullptr, 0, nullptr, &there, nullptr)) {
      char answer[64];
      DWORD read = 0;
      if (there != 0) return ::ReadFile(pipe_.Get(), answer, sizeof(answer), &read, nullptr);
      if (::GetTickCount() - start > patience_ms) return true;
      ::Sleep(1);
    }
    return false;
  }

  const std::atomic<bool>* ended_;
  util::UniqueFile pipe_;
};

// Says it all and then "CLOSE", until the server is gone.
void Speak(const Talk& talk, const std::string& suffix, const std::atomic<bool>& ended) {
  Speaker speaker(suffix, &ended);
  for (const std::string& message : talk.messages) {
    if (!speaker.Say(message, talk.well_formed ? 20000 : 250)) return;
  }
  // Where a number is due it is taken for one, without an answer; as a kind it is the end.
  const std::string close(reinterpret_cast<const char*>(kClose), sizeof(kClose) - sizeof(wchar_t));
  while (speaker.Say(close, 250)) {
  }
}

Texts FileList(const MsiSessionRig& rig) {
  return util::Split(rig.Property(L"QX_PREREQFILES"), L'\x01');
}

// A path that leads out of the work folder, or stays in it only on a detour.
bool IsOutside(const std::wstring& path, const std::wstring& work) {
  return !path.starts_with(work + L"\\") || path.find(L"..") != path.npos;
}

void CheckTalk(Part* part, Random* random, const MsiSessionRig& rig, const TempFolder& folder,
               ScriptedUi* ui) {
  const ForeignFiles foreign(folder, random,
                             {L"user.txt", L"other\\user.txt", L"work\\user.txt",
                              L"work\\sub\\user.txt", L"work\\b.exe.old", L"setup\\user.txt"});
  for (const wchar_t* name : {L"work\\a.exe", L"work\\b.exe", L"work\\sub\\c.exe"}) {
    folder.Write(name, "unpacked");
  }
  Talk talk = WellFormed(random, folder, foreign);
  if (random->Chance(50)) talk = Mangled(random, std::move(talk));
  const bool cancels = random->Chance(20);
  for (int i = 0; i < 30; ++i) {
    ui->Answer(INSTALLMESSAGE_PROGRESS, cancels && random->Chance(30) ? IDCANCEL : IDOK);
  }
  rig.SetProperty(L"QX_PREREQFILES", L"");
  rig.SetProperty(L"QX_PREREQDIRS", folder / L"work");

  const std::string suffix = util::ToDecimalAnsi(::GetCurrentProcessId());
  std::atomic<bool> ended = false;
  UINT result = 0;
  {
    const Worker client([&] { Speak(talk, suffix, ended); });
    result = rig.Call("ExtractPrereq");
    ended = true;
  }
  part->Count("messages", talk.messages.size());
  part->FaultIf(result > (cancels ? 1u : 0u), "ended with " + std::to_string(result));
  const Texts listed = FileList(rig);
  if (talk.well_formed) {
    part->FaultIf(listed != talk.files, "the list has other files than were named");
    part->Count("well formed");
  } else {
    part->Count("mangled");
  }
  part->Count("files named", listed.size());

  part->FaultIf(rig.Call("CleanPrereq") != 0, "the clean-up failed");
  for (const std::wstring& path : foreign.FindHarmed()) {
    // A foreign file in the work folder that the setup executable names as its own is fair game.
    const bool named = std::find(listed.begin(), listed.end(), path) != listed.end() &&
                       !IsOutside(path, folder / L"work");
    part->FaultIf(!named, "harmed " + util::ToAnsi(path));
  }
  part->Count("foreign files kept", foreign.size());
  for (const std::wstring& path : listed) {
    const bool left = !IsOutside(path, folder / L"work") && util::FileExists(path);
    part->FaultIf(left, "left " + util::ToAnsi(path));
  }
  ui->Clear();
}

}  // namespace

TEST_CASE("pipe messages") {
  Part part("pipe messages", 100);
  TestPackage package;
  package.AddPrerequisite({.name = L"First", .sequence = 1, .target = L"first.exe"});
  package.AddPrerequisite({.name = L"Second", .sequence = 4, .target = L"second.exe"});
  package.Close();
  std::optional<MsiSessionRig> rig;
  size_t talks = 0;
  part.ForEachRun([&](Random* random) {
    const TempFolder folder;
    const SetupProgram setup(folder, L"setup\\my setup.exe");
    ScriptedUi ui;
    if (!rig) rig.emplace(package);
    rig->SetProperty(L"QX_FilesInsideExe", L"1");
    rig->SetProperty(L"QX_EXTRACT_DIR", folder / L"work");
    rig->SetProperty(L"QX_SETUPEXEPATH", setup.path());
    CheckTalk(&part, random, *rig, folder, &ui);
    if (++talks % kTalksPerSession == 0 || talks == part.runs()) {
      const UINT leaked = rig->CountLeakedHandles();
      part.FaultIf(leaked != 0, std::to_string(leaked) + " installer handles left open");
      rig.reset();
    }
  });
}
