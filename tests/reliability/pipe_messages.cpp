// What a setup executable may say on the pipe while it unpacks, in every order and with every
// number: the action ends, its list of files is what was said, and the clean-up deletes nothing
// else.

#include <doctest.h>

#include <algorithm>
#include <atomic>
#include <optional>
#include <string>
#include <vector>

#include "reliability/foreign_files.h"
#include "reliability/part.h"
#include "support/msi_session_rig.h"
#include "support/scripted_ui.h"
#include "support/setup_program.h"
#include "support/test_package.h"
#include "support/worker.h"
#include "util/files.h"
#include "util/pipe_channel.h"
#include "util/text.h"

using test::ForeignFiles;
using test::MsiSessionRig;
using test::Part;
using test::Random;
using test::TempFolder;
using Texts = std::vector<std::wstring>;

namespace {

constexpr wchar_t kClose[] = L"CLOSE";
constexpr size_t kTalksPerSession = 8;
constexpr size_t kLongestBytes = util::PipeChannel::kLongestTextChars * sizeof(wchar_t);

std::string ToBytes(const std::wstring& text) {
  return {reinterpret_cast<const char*>(text.data()), text.size() * sizeof(wchar_t)};
}

// What one client says, message by message.
struct Talk {
  std::vector<std::string> messages;  // As bytes: a message need not be whole letters.
  Texts files;                        // Named as written, when every message is well formed.
  bool well_formed = true;

  void Say(Random* random, std::initializer_list<const wchar_t*> lists) {
    for (const wchar_t* list : lists) {
      std::wstring text = random->Word(list);
      // That would end the talk, and a message of no bytes is none.
      if (text == kClose || text.empty()) text = L"0";
      messages.push_back(ToBytes(text));
      if (std::wstring(list) == L"path") files.push_back(text);
    }
  }
};

Talk WellFormed(Random* random) {
  Talk talk;
  for (size_t step = random->Below(12); step != 0; --step) {
    switch (random->Below(6)) {
      case 0:
        talk.Say(random, {L"total", L"low half", L"high half"});
        break;
      case 1:
        talk.Say(random, {L"step", L"low half", L"high half"});
        break;
      case 2:
        talk.Say(random, {L"group start", L"groups"});
        break;
      case 3:
        talk.Say(random, {L"full", L"drives", L"low half", L"high half"});
        break;
      default:
        talk.Say(random, {L"file named", L"path"});
    }
  }
  return talk;
}

// Some messages garbage, doubled, left out, too long or cut inside a letter.
void Mangle(Random* random, Talk* talk) {
  talk->well_formed = false;
  for (size_t i = random->Between(1, 4); i != 0; --i) {
    const auto place =
        talk->messages.begin() + static_cast<ptrdiff_t>(random->Below(talk->messages.size() + 1));
    if (random->Chance(65)) {
      random->Define(
          L"long", std::wstring(util::PipeChannel::kLongestTextChars + random->Below(4) - 1, L'l'));
      talk->messages.insert(place, ToBytes(random->Word(L"mangled")));
    } else if (place != talk->messages.end()) {
      if (random->Chance(50))
        place->pop_back();  // An odd byte.
      else
        place->clear();
      if (place->empty()) talk->messages.erase(place);
    }
  }
}

// Says it all and then "CLOSE", until the server is gone. It waits for an answer only as long as
// one may come, since some messages have none, but never writes over one that is there: whoever
// does may find the server waiting for the answer to be taken while the write waits for the server.
void Speak(const Talk& talk, const std::atomic<bool>& ended) {
  const std::string name = "\\\\.\\pipe\\ToServer" + std::to_string(::GetCurrentProcessId());
  util::UniqueFile pipe;
  while (!pipe && !ended) {
    pipe.Reset(::CreateFileA(name.c_str(), GENERIC_READ | GENERIC_WRITE, 0, nullptr, OPEN_EXISTING,
                             0, nullptr));
    if (!pipe) ::Sleep(1);  // Nothing can be waited for before the pipe is there.
  }
  const auto hear = [&](DWORD patience_ms) {
    const DWORD start = ::GetTickCount();
    DWORD there = 0;
    while (!ended && ::PeekNamedPipe(pipe.Get(), nullptr, 0, nullptr, &there, nullptr)) {
      char answer[64];
      DWORD read = 0;
      if (there != 0) return ::ReadFile(pipe.Get(), answer, sizeof(answer), &read, nullptr) != 0;
      if (::GetTickCount() - start > patience_ms) return true;
      ::Sleep(1);
    }
    return false;
  };
  const auto say = [&](const std::string& message, DWORD patience_ms) {
    DWORD written = 0;
    const auto size = static_cast<DWORD>(message.size());
    // A message that is too long is two for the server.
    return !ended && ::WriteFile(pipe.Get(), message.data(), size, &written, nullptr) &&
           hear(patience_ms) && (size <= kLongestBytes || hear(patience_ms));
  };
  for (const std::string& message : talk.messages) {
    if (!say(message, talk.well_formed ? 20000 : 250)) return;
  }
  // Where a number is due it is taken for one, without an answer; as a kind it is the end.
  while (say(ToBytes(kClose), 250)) {
  }
}

void CheckTalk(Part* part, Random* random, const MsiSessionRig& rig, const TempFolder& folder,
               test::ScriptedUi* ui) {
  const ForeignFiles foreign(folder, random,
                             {L"user.txt", L"other\\user.txt", L"work\\user.txt",
                              L"work\\sub\\user.txt", L"work\\b.exe.old", L"setup\\user.txt"});
  for (const wchar_t* name : {L"work\\a.exe", L"work\\b.exe", L"work\\sub\\c.exe"}) {
    folder.Write(name, "unpacked");
  }
  random->Define(L"work", folder / L"work");
  random->Define(L"foreign", foreign.PathOf(random->Below(foreign.size())));
  Talk talk = WellFormed(random);
  if (random->Chance(50)) Mangle(random, &talk);
  const bool cancels = random->Chance(20);
  for (int i = 0; i < 30; ++i) {
    ui->Answer(INSTALLMESSAGE_PROGRESS, cancels && random->Chance(30) ? IDCANCEL : IDOK);
  }
  rig.SetProperty(L"QX_PREREQFILES", L"");
  rig.SetProperty(L"QX_PREREQDIRS", folder / L"work");

  std::atomic<bool> ended = false;
  UINT result = 0;
  {
    const test::Worker client([&] { Speak(talk, ended); });
    result = rig.Call("ExtractPrereq");
    ended = true;
  }
  part->Count("messages", talk.messages.size());
  part->FaultIf(result > (cancels ? 1u : 0u), "ended with " + std::to_string(result));
  const Texts listed = util::Split(rig.Property(L"QX_PREREQFILES"), L'\x01');
  part->FaultIf(talk.well_formed && listed != talk.files,
                "the list has other files than were named");
  part->Count(talk.well_formed ? "well formed" : "mangled");
  part->Count("files named", listed.size());

  part->FaultIf(rig.Call("CleanPrereq") != 0, "the clean-up failed");
  // A path that leads out of the work folder, or stays in it only on a detour.
  const auto is_outside = [&](const std::wstring& path) {
    return !path.starts_with(folder / L"work\\") || path.find(L"..") != path.npos;
  };
  for (const std::wstring& path : foreign.FindHarmed()) {
    // A foreign file in the work folder that the setup executable names as its own is fair game.
    const bool named = std::find(listed.begin(), listed.end(), path) != listed.end();
    part->FaultIf(!named || is_outside(path), "harmed " + util::ToAnsi(path));
  }
  part->Count("foreign files kept", foreign.size());
  for (const std::wstring& path : listed) {
    part->FaultIf(!is_outside(path) && util::FileExists(path), "left " + util::ToAnsi(path));
  }
}

}  // namespace

TEST_CASE("pipe messages") {
  Part part("pipe messages", 100);
  test::TestPackage package;
  package.AddPrerequisite({.name = L"First", .sequence = 1, .target = L"first.exe"});
  package.AddPrerequisite({.name = L"Second", .sequence = 4, .target = L"second.exe"});
  package.Close();
  std::optional<MsiSessionRig> rig;
  size_t talks = 0;
  part.ForEachRun([&](Random* random) {
    const TempFolder folder;
    const test::SetupProgram setup(folder, L"setup\\my setup.exe");
    test::ScriptedUi ui;
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
