// The packed program itself, run as the library and as users run it.

#include <windows.h>
#include <msi.h>

#include <doctest.h>

#include <algorithm>
#include <functional>

#include "setup/pack.h"
#include "support/pipe_client.h"
#include "support/redirected_temp.h"
#include "support/test_package.h"
#include "util/files.h"
#include "util/os_family.h"
#include "util/pipe_channel.h"
#include "util/text.h"
#include "util/unique_handle.h"

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

const std::wstring kStub = test::ProgramFolder() + L"\\setup_stub.exe";

// The Wine prefix knows the second one as one that sees Windows 98.
std::wstring ProgramName() { return util::IsNtFamily() ? L"my setup.exe" : L"my setup_older.exe"; }

util::UniqueKernelHandle Start(const std::wstring& program, const std::wstring& arguments) {
  std::wstring line = L"\"" + program + L"\" " + arguments;
  STARTUPINFOW startup = {};
  startup.cb = sizeof(startup);
  PROCESS_INFORMATION info = {};
  REQUIRE(::CreateProcessW(program.c_str(), line.data(), nullptr, nullptr, FALSE, 0, nullptr,
                           nullptr, &startup, &info));
  ::CloseHandle(info.hThread);
  return util::UniqueKernelHandle(info.hProcess);
}

DWORD ExitCode(const util::UniqueKernelHandle& process) {
  REQUIRE(::WaitForSingleObject(process.Get(), 60000) == WAIT_OBJECT_0);
  DWORD exit_code = 0;
  ::GetExitCodeProcess(process.Get(), &exit_code);
  return exit_code;
}

// A run of the program as the library starts it, and what was said.
struct Talk {
  using Answer = std::function<std::wstring(const std::wstring& kind)>;

  PipeChannel channel;
  std::vector<std::pair<std::wstring, std::wstring>> messages;  // Kind and text.
  DWORD exit_code = 0;

  // Answers the last text of each message as `answer` says, until the end. The pipe is there
  // before the program, or only some time after it.
  Talk(const std::wstring& program, const std::wstring& groups, const std::wstring& folder,
       const Answer& answer, bool is_late = false) {
    const std::wstring id = util::ToDecimal(::GetCurrentProcessId());
    const auto open = [&] { REQUIRE(channel.Open(PipeChannel::Side::kServer, util::ToAnsi(id))); };
    if (!is_late) open();
    const util::UniqueKernelHandle process = Start(
        program, L"/groupsextract:" + groups + L" /out:\"" + folder + L"\" /callbackid:" + id);
    if (is_late) {
      CHECK(::WaitForSingleObject(process.Get(), 300) == WAIT_TIMEOUT);
      open();
    }
    for (std::wstring kind; (kind = channel.Receive()) != L"CLOSE";) {
      // A program that has gone does not end the talk by itself.
      REQUIRE_FALSE(kind.empty());
      channel.Acknowledge();
      std::wstring text;
      if (kind != kPipeTotal && kind != kPipeProgress) text = channel.Receive();
      if (kind == kPipeDiskFull) channel.Acknowledge();
      if (kind != kPipeFile && kind != kPipeGroupStart) {
        int64_t number = -1;
        REQUIRE(channel.ReceiveInteger64(&number));
        text += (text.empty() ? L"" : L" ") + util::ToSignedDecimal(number);
      }
      messages.emplace_back(kind, text);
      channel.Send(answer(kind));
    }
    channel.Close();
    exit_code = ExitCode(process);
  }

  [[nodiscard]] Texts Of(const std::wstring& kind) const {
    Texts texts;
    for (const auto& message : messages) {
      if (message.first == kind) texts.push_back(message.second);
    }
    return texts;
  }
};

std::wstring Agree(const std::wstring&) { return L"OK"; }

// Three files in two groups, and one of a group that nobody asks for.
struct Setup {
  TempFolder folder;
  std::wstring program = folder / ProgramName();
  std::wstring out = folder / L"new\\out";
  std::string large = std::string(300000, 'l');

  Setup() {
    test::Pack(kStub, program,
               {{0, folder.Write(L"p.msi", "no package")},
                {103, folder.Write(L"large.bin", large)},
                {101, folder.Write(L"a.exe", "a")},
                {103, folder.Write(L"b.exe", "bb")}});
  }
};

}  // namespace

TEST_CASE("asked groups are unpacked and reported, also to a listener that comes late") {
  const Setup setup;
  const Talk talk(setup.program, L"103;999;101;", setup.out, Agree, /*is_late=*/true);
  CHECK(talk.exit_code == ERROR_SUCCESS);
  CHECK(talk.messages.front() == std::pair(kPipeTotal, std::wstring(L"300003")));
  CHECK(talk.messages.back() == std::pair(kPipeProgress, std::wstring(L"300003")));
  CHECK(talk.Of(kPipeGroupStart) == Texts{L"103", L"101"});
  CHECK(talk.Of(kPipeFile) ==
        Texts{setup.out + L"\\large.bin", setup.out + L"\\b.exe", setup.out + L"\\a.exe"});
  std::vector<int64_t> progress;
  for (const std::wstring& text : talk.Of(kPipeProgress)) {
    progress.push_back(util::ParseDecimal<int64_t>(text));
  }
  CHECK(progress.size() >= 5);
  CHECK(std::ranges::is_sorted(progress));
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
    int left = one.nth;
    const Talk talk(setup.program, L"103;101;", setup.out, [&](const std::wstring& kind) {
      return kind == one.kind && --left == 0 ? std::wstring(L"CLOSE") : Agree(kind);
    });
    CHECK(talk.exit_code == ERROR_INSTALL_USEREXIT);
    CHECK(talk.messages.back().first == one.kind);
    CHECK(talk.Of(kPipeFile).size() == one.files);
    CHECK(util::RemoveFile(setup.out + L"\\large.bin") == (one.files > 0));
    CHECK(util::RemoveFile(setup.out + L"\\b.exe") == (one.files > 1));
    CHECK_FALSE(util::PathExists(setup.out + L"\\large.bin.part"));
    CHECK_FALSE(util::PathExists(setup.out + L"\\a.exe"));
  }
}

TEST_CASE("lack of disk space is asked about before a file is written") {
  // A file that says it is larger than any disk, though it is not.
  const TempFolder folder;
  const std::string data = ReadWholeFile(kStub);
  setup::ArchiveEntry entry;
  entry.group = 101;
  entry.name = L"huge.bin";
  entry.bytes = uint64_t{1} << 60;
  const std::string index = setup::EncodeIndex({entry});
  const std::wstring program =
      folder.Write(L"setup.exe", data + index + setup::EncodeFooter(data.size(), index));
  for (const bool retry : {false, true}) {
    const Talk talk(program, L"101;", folder.path(), [&](const std::wstring& kind) {
      return retry || kind != kPipeDiskFull ? Agree(kind) : L"CLOSE";
    });
    CHECK(talk.messages.front() == std::pair(kPipeTotal, std::wstring(L"1152921504606846976")));
    CHECK(talk.messages.back() ==
          std::pair(kPipeDiskFull, folder / L"huge.bin 1152921504606846976"));
    // Tried when there is space, as the answer says, and then it is not what it said.
    CHECK(talk.exit_code == (retry ? ERROR_FILE_CORRUPT : ERROR_DISK_FULL));
    CHECK_FALSE(util::PathExists(folder / L"huge.bin"));
    CHECK_FALSE(util::PathExists(folder / L"huge.bin.part"));
  }
}

TEST_CASE("the end is said also when nothing can be done") {
  const Setup setup;
  const std::string whole = ReadWholeFile(setup.program);
  const std::wstring cut = setup.folder.Write(L"cut.exe", whole.substr(0, whole.size() - 1));
  const struct {
    std::wstring program;
    std::wstring out;
    DWORD exit_code;
  } cases[] = {{cut, setup.out, ERROR_RESOURCE_DATA_NOT_FOUND},
               {setup.program, L"", ERROR_BAD_ARGUMENTS},
               {setup.program, setup.folder / L"p.msi", ERROR_ALREADY_EXISTS}};  // A file.
  for (const auto& [program, out, exit_code] : cases) {
    const Talk talk(program, L"101;", out, Agree);
    CHECK(talk.messages.empty());
    CHECK(talk.exit_code == exit_code);
  }
}

TEST_CASE("started by a user it installs the package with what that needs") {
  test::TestPackage package;
  for (const wchar_t* sql :
       {L"DELETE FROM `InstallExecuteSequence` WHERE `Sequence` > 1000",
        L"INSERT INTO `InstallExecuteSequence` (`Action`,`Sequence`) VALUES "
        L"('LaunchConditions',100)",
        L"CREATE TABLE `LaunchCondition` (`Condition` CHAR(255) NOT NULL, `Description` CHAR(255) "
        L"NOT NULL LOCALIZABLE PRIMARY KEY `Condition`)",
        L"INSERT INTO `LaunchCondition` (`Condition`,`Description`) VALUES ('QX_SETUPEXEPATH >< "
        L"\"my setup\" AND QX_EXTRACT_DIR >< \"Prerequisites\" AND MINE = \"b c\"','Wrong')"}) {
    package.Execute(sql);
  }
  package.Close();
  const TempFolder folder;
  const std::wstring program = folder / ProgramName();
  test::Pack(kStub, program, {{0, package.path()}});
  const test::RedirectedTemp temp;
  CHECK(ExitCode(Start(program, L"/qn MINE=\"b c\"")) == ERROR_SUCCESS);
  CHECK(ExitCode(Start(program, L"/qn MINE=d")) == ERROR_INSTALL_FAILURE);

  const std::string whole = ReadWholeFile(program);
  CHECK(ExitCode(Start(folder.Write(L"cut.exe", whole.substr(0, whole.size() - 9)), L"/qn")) ==
        ERROR_RESOURCE_DATA_NOT_FOUND);
}
