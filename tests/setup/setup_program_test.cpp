// The packed program itself, run as the library and as users run it.

#include <windows.h>
#include <msi.h>

#include <doctest.h>

#include <functional>

#include "archive_writer.h"
#include "support/pipe_client.h"
#include "support/redirected_temp.h"
#include "support/temp_folder.h"
#include "support/test_package.h"
#include "util/files.h"
#include "util/os_family.h"
#include "util/pipe_channel.h"
#include "util/text.h"
#include "util/unique_handle.h"

using setup::ArchiveWriter;
using test::kPipeDiskFull;
using test::kPipeFile;
using test::kPipeGroupStart;
using test::kPipeProgress;
using test::kPipeTotal;
using test::ReadWholeFile;
using test::TempFolder;
using util::PipeChannel;
using Texts = std::vector<std::wstring>;

namespace {

// The name of a pipe of the test's own, as a callback id.
std::wstring NewId() {
  static unsigned count = 0;
  return util::ToDecimal(::GetCurrentProcessId()) + util::ToDecimal(1000 + ++count);
}

// The Wine prefix knows the second one as a program of the older family.
std::wstring ProgramName() { return util::IsNtFamily() ? L"my setup.exe" : L"my setup_older.exe"; }

// A run of the program.
class Run {
 public:
  Run(const std::wstring& program, const std::wstring& arguments) {
    std::wstring line = L"\"" + program + L"\" " + arguments;
    STARTUPINFOW startup = {};
    startup.cb = sizeof(startup);
    PROCESS_INFORMATION info = {};
    REQUIRE(::CreateProcessW(program.c_str(), line.data(), nullptr, nullptr, FALSE, 0, nullptr,
                             nullptr, &startup, &info));
    ::CloseHandle(info.hThread);
    process_.Reset(info.hProcess);
  }

  [[nodiscard]] bool HasEndedAfter(DWORD ms) const {
    return ::WaitForSingleObject(process_.Get(), ms) == WAIT_OBJECT_0;
  }
  [[nodiscard]] DWORD ExitCode() const {
    REQUIRE(HasEndedAfter(60000));
    DWORD exit_code = 0;
    ::GetExitCodeProcess(process_.Get(), &exit_code);
    return exit_code;
  }

 private:
  util::UniqueKernelHandle process_;
};

// Three files in two groups, and one of a group that nobody asks for.
struct Setup {
  TempFolder folder;
  std::wstring program = folder / ProgramName();
  std::wstring out = folder / L"new\\out";
  std::string large = std::string(300000, 'l');

  Setup() {
    ArchiveWriter writer;
    REQUIRE(writer.Begin(test::ProgramFolder() + L"\\setup_stub.exe", program) == ERROR_SUCCESS);
    REQUIRE(writer.Add(0, folder.Write(L"p.msi", "no package")) == ERROR_SUCCESS);
    REQUIRE(writer.Add(103, folder.Write(L"large.bin", large)) == ERROR_SUCCESS);
    REQUIRE(writer.Add(101, folder.Write(L"a.exe", "a")) == ERROR_SUCCESS);
    REQUIRE(writer.Add(103, folder.Write(L"b.exe", "bb")) == ERROR_SUCCESS);
    REQUIRE(writer.Finish() == ERROR_SUCCESS);
  }
  [[nodiscard]] std::wstring Arguments(const std::wstring& groups, const std::wstring& id) const {
    return L"/groupsextract:" + groups + L" /out:\"" + out + L"\" /callbackid:" + id;
  }
};

// The listener's side: takes each message apart until the end, in lock-step, and answers its last
// text as `answer` says, which gets the message's kind and text.
struct Listener {
  PipeChannel channel;
  std::vector<std::pair<std::wstring, std::wstring>> messages = {};

  void Serve(const std::function<std::wstring(const std::wstring& kind)>& answer) {
    for (std::wstring kind; (kind = channel.Receive()) != L"CLOSE";) {
      // A program that has gone does not end the talk by itself.
      REQUIRE_FALSE(kind.empty());
      channel.Acknowledge();
      std::wstring text;
      if (kind == kPipeTotal || kind == kPipeProgress) {
        text = ReadNumber();
      } else {
        text = channel.Receive();
        if (kind == kPipeDiskFull) {
          channel.Acknowledge();
          text += L" " + ReadNumber();
        }
      }
      messages.emplace_back(kind, text);
      channel.Send(answer(kind));
    }
    channel.Close();
  }

  std::wstring ReadNumber() {
    int64_t number = -1;
    REQUIRE(channel.ReceiveInteger64(&number));
    return util::ToSignedDecimal(number);
  }
  // Of all messages, or of one kind.
  [[nodiscard]] Texts Of(const std::wstring& kind) const {
    Texts texts;
    for (const auto& message : messages) {
      if (message.first == kind) texts.push_back(message.second);
    }
    return texts;
  }
};

std::wstring Agree(const std::wstring&) { return L"OK"; }

}  // namespace

TEST_CASE("asked groups are unpacked and reported, also to a listener that comes late") {
  const Setup setup;
  const std::wstring id = NewId();
  const Run run(setup.program, setup.Arguments(L"103;999;101;", id));
  CHECK_FALSE(run.HasEndedAfter(300));
  Listener listener;
  REQUIRE(listener.channel.Open(PipeChannel::Side::kServer, util::ToAnsi(id)));
  listener.Serve(Agree);
  CHECK(run.ExitCode() == ERROR_SUCCESS);

  CHECK(listener.messages.front() == std::pair(kPipeTotal, std::wstring(L"300003")));
  CHECK(listener.messages.back() == std::pair(kPipeProgress, std::wstring(L"300003")));
  CHECK(listener.Of(kPipeGroupStart) == Texts{L"103", L"101"});
  CHECK(listener.Of(kPipeFile) ==
        Texts{setup.out + L"\\large.bin", setup.out + L"\\b.exe", setup.out + L"\\a.exe"});
  const Texts progress = listener.Of(kPipeProgress);
  CHECK(progress.size() >= 5);
  int64_t last = 0;
  for (const std::wstring& text : progress) {
    const auto bytes = util::ParseDecimal<int64_t>(text);
    CHECK(bytes >= last);
    last = bytes;
  }
  CHECK(ReadWholeFile(setup.out + L"\\large.bin") == setup.large);
  CHECK(ReadWholeFile(setup.out + L"\\a.exe") == "a");
  CHECK(ReadWholeFile(setup.out + L"\\b.exe") == "bb");
  CHECK_FALSE(util::PathExists(setup.out + L"\\p.msi"));
}

TEST_CASE("a refusal of any message stops it, and it says the end") {
  const Setup setup;
  const struct {
    std::wstring kind;
    int nth;
    size_t files;
  } cases[] = {{kPipeTotal, 1, 0}, {kPipeGroupStart, 1, 0}, {kPipeProgress, 1, 0},
               {kPipeFile, 1, 1},  {kPipeProgress, 3, 0},   {kPipeGroupStart, 2, 2}};
  for (const auto& one : cases) {
    CAPTURE(util::ToAnsi(one.kind));
    CAPTURE(one.nth);
    const std::wstring id = NewId();
    Listener listener;
    REQUIRE(listener.channel.Open(PipeChannel::Side::kServer, util::ToAnsi(id)));
    const Run run(setup.program, setup.Arguments(L"103;101;", id));
    int left = one.nth;
    listener.Serve([&](const std::wstring& kind) {
      return kind == one.kind && --left == 0 ? std::wstring(L"CLOSE") : Agree(kind);
    });
    CHECK(run.ExitCode() == ERROR_INSTALL_USEREXIT);
    CHECK(listener.messages.back().first == one.kind);
    CHECK(listener.Of(kPipeFile).size() == one.files);
    CHECK(util::FileExists(setup.out + L"\\large.bin") == (one.files > 0));
    CHECK_FALSE(util::PathExists(setup.out + L"\\large.bin.part"));
    CHECK_FALSE(util::PathExists(setup.out + L"\\a.exe"));
    (void)util::RemoveFile(setup.out + L"\\large.bin");
    (void)util::RemoveFile(setup.out + L"\\b.exe");
  }
}

TEST_CASE("lack of disk space is asked about before a file is written") {
  // A file that says it is larger than any disk, though it is not.
  const TempFolder folder;
  const std::string data = ReadWholeFile(test::ProgramFolder() + L"\\setup_stub.exe");
  setup::ArchiveEntry entry;
  entry.group = 101;
  entry.name = L"huge.bin";
  entry.bytes = uint64_t{1} << 60;
  const std::string index = setup::EncodeIndex({entry});
  const std::wstring program =
      folder.Write(L"setup.exe", data + index + setup::EncodeFooter(data.size(), index));
  for (const bool retry : {false, true}) {
    const std::wstring id = NewId();
    Listener listener;
    REQUIRE(listener.channel.Open(PipeChannel::Side::kServer, util::ToAnsi(id)));
    const Run run(program,
                  L"/groupsextract:101; /out:\"" + folder.path() + L"\" /callbackid:" + id);
    listener.Serve([&](const std::wstring& kind) {
      return retry || kind != kPipeDiskFull ? std::wstring(L"OK") : std::wstring(L"CLOSE");
    });
    CHECK(listener.messages.front() == std::pair(kPipeTotal, std::wstring(L"1152921504606846976")));
    CHECK(listener.messages.back() ==
          std::pair(kPipeDiskFull, folder / L"huge.bin 1152921504606846976"));
    // Tried when there is space, as the answer says, and then it is not what it said.
    CHECK(run.ExitCode() == (retry ? ERROR_FILE_CORRUPT : ERROR_DISK_FULL));
    CHECK_FALSE(util::PathExists(folder / L"huge.bin"));
    CHECK_FALSE(util::PathExists(folder / L"huge.bin.part"));
  }
}

TEST_CASE("the end is said also when nothing can be done") {
  const Setup setup;
  const std::string whole = ReadWholeFile(setup.program);
  const struct {
    std::wstring program;
    std::wstring out;
    DWORD exit_code;
  } cases[] = {
      {setup.folder.Write(L"cut.exe", whole.substr(0, whole.size() - 1)), setup.out,
       ERROR_RESOURCE_DATA_NOT_FOUND},
      {setup.program, L"", ERROR_BAD_ARGUMENTS},
      {setup.program, setup.folder / L"p.msi", ERROR_ALREADY_EXISTS},  // A file.
  };
  for (const auto& one : cases) {
    const std::wstring id = NewId();
    Listener listener;
    REQUIRE(listener.channel.Open(PipeChannel::Side::kServer, util::ToAnsi(id)));
    const Run run(one.program, L"/groupsextract:101; /out:\"" + one.out + L"\" /callbackid:" + id);
    listener.Serve(Agree);
    CHECK(listener.messages.empty());
    CHECK(run.ExitCode() == one.exit_code);
  }
}

TEST_CASE("started by a user it installs the package with what that needs") {
  test::TestPackage package;
  package.Execute(L"DELETE FROM `InstallExecuteSequence` WHERE `Sequence` > 1000");
  package.Execute(
      L"INSERT INTO `InstallExecuteSequence` (`Action`,`Sequence`) VALUES "
      L"('LaunchConditions',100)");
  package.Execute(
      L"CREATE TABLE `LaunchCondition` (`Condition` CHAR(255) NOT NULL, `Description` CHAR(255) "
      L"NOT "
      L"NULL LOCALIZABLE PRIMARY KEY `Condition`)");
  package.Execute(
      L"INSERT INTO `LaunchCondition` (`Condition`,`Description`) VALUES ('QX_SETUPEXEPATH >< "
      L"\"my setup\" AND QX_EXTRACT_DIR >< \"Prerequisites\" AND MINE = \"b c\"','Wrong')");
  package.Close();
  const TempFolder folder;
  const std::wstring program = folder / ProgramName();
  ArchiveWriter writer;
  REQUIRE(writer.Begin(test::ProgramFolder() + L"\\setup_stub.exe", program) == ERROR_SUCCESS);
  REQUIRE(writer.Add(0, package.path()) == ERROR_SUCCESS);
  REQUIRE(writer.Finish() == ERROR_SUCCESS);
  const test::RedirectedTemp temp;
  CHECK(Run(program, L"/qn MINE=\"b c\"").ExitCode() == ERROR_SUCCESS);
  CHECK(Run(program, L"/qn MINE=d").ExitCode() == ERROR_INSTALL_FAILURE);

  const std::string whole = ReadWholeFile(program);
  CHECK(Run(folder.Write(L"cut.exe", whole.substr(0, whole.size() - 9)), L"/qn").ExitCode() ==
        ERROR_RESOURCE_DATA_NOT_FOUND);
}
