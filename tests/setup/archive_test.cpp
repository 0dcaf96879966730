#include "archive.h"

#include <doctest.h>

#include <random>

#include "archive_writer.h"
#include "support/temp_folder.h"
#include "util/files.h"
#include "util/os_family.h"
#include "util/text.h"

using setup::Archive;
using setup::ArchiveEntry;
using setup::ArchiveWriter;
using test::ReadWholeFile;
using test::TempFolder;

namespace {

std::string RandomBytes(size_t count, unsigned start) {
  std::mt19937 random(start);
  std::string bytes(count, '\0');
  for (char& byte : bytes) byte = static_cast<char>(random());
  return bytes;
}

// Two groups: texts that shrink, and bytes that do not.
struct Sample {
  TempFolder folder;
  std::vector<std::string> contents = {RandomBytes(3000, 1), std::string(2000, 'a'), "",
                                       RandomBytes(65536, 2) + std::string(65536 * 2, 'b')};
  std::wstring path = folder / L"setup.exe";

  Sample() {
    const int32_t groups[] = {0, 103, 103, 2147483647};
    // The older family has the letters of its code page only.
    const wchar_t* const foreign = util::IsNtFamily() ? L"\x017C\x00F3\x0142w.exe" : L"zolw.exe";
    const wchar_t* const names[] = {L"a.msi", foreign, L"empty", L"big.bin"};
    ArchiveWriter writer;
    REQUIRE(writer.Begin(folder.Write(L"stub", std::string(1001, 's')), path) == ERROR_SUCCESS);
    for (size_t i = 0; i < contents.size(); ++i) {
      REQUIRE(writer.Add(groups[i], folder.Write(names[i], contents[i])) == ERROR_SUCCESS);
    }
    REQUIRE(writer.Finish() == ERROR_SUCCESS);
  }
};

std::wstring Target(const TempFolder& folder) { return folder / L"unpacked"; }

bool NothingIsLeft(const TempFolder& folder) {
  return !util::PathExists(Target(folder)) && !util::PathExists(Target(folder) + L".part");
}

// An archive made by hand: some bytes, then an index that says what is wanted.
DWORD OpenWithIndex(const TempFolder& folder, const std::string& data, const std::string& index,
                    Archive* archive) {
  return archive->Open(
      folder.Write(L"made.exe", data + index + setup::EncodeFooter(data.size(), index)));
}

}  // namespace

TEST_CASE("what was packed is unpacked") {
  const Sample sample;
  Archive archive;
  REQUIRE(archive.Open(sample.path) == ERROR_SUCCESS);
  REQUIRE(archive.entries().size() == sample.contents.size());
  CHECK(*util::ReadFileSize(sample.path) % 8 == 0);
  CHECK(archive.entries()[3].group == 2147483647);
  for (size_t i = 0; i < sample.contents.size(); ++i) {
    const ArchiveEntry& entry = archive.entries()[i];
    const std::wstring path = sample.folder / (L"new " + entry.name);
    sample.folder.Write(L"new " + entry.name, "what was there before");
    CHECK(archive.Unpack(entry, path, nullptr) == ERROR_SUCCESS);
    CHECK(ReadWholeFile(path) == sample.contents[i]);
    CHECK_FALSE(util::PathExists(path + L".part"));
  }
}

TEST_CASE("a signature after the archive does not hide it") {
  const Sample sample;
  std::string program = ReadWholeFile(test::ProgramFolder() + L"\\setup_stub.exe");
  const TempFolder folder;
  ArchiveWriter writer;
  REQUIRE(writer.Begin(folder.Write(L"stub.exe", program), folder / L"s.exe") == ERROR_SUCCESS);
  REQUIRE(writer.Add(0, sample.folder / L"a.msi") == ERROR_SUCCESS);
  REQUIRE(writer.Finish() == ERROR_SUCCESS);
  program = ReadWholeFile(folder / L"s.exe");
  const auto* dos = reinterpret_cast<const IMAGE_DOS_HEADER*>(program.data());
  auto* headers = reinterpret_cast<IMAGE_NT_HEADERS32*>(program.data() + dos->e_lfanew);
  auto& directory = headers->OptionalHeader.DataDirectory[IMAGE_DIRECTORY_ENTRY_SECURITY];
  directory = {static_cast<DWORD>(program.size()), 1000};
  Archive archive;
  CHECK(archive.Open(folder.Write(L"signed.exe", program + std::string(1000, 'x'))) ==
        ERROR_SUCCESS);
  CHECK(archive.entries().size() == 1);
}

TEST_CASE("a truncated file is refused whole") {
  const Sample sample;
  const std::string whole = ReadWholeFile(sample.path);
  std::vector<size_t> lengths = {0, 1, 27, 28, 29, 1000, 1001, 1002, whole.size() / 2};
  for (size_t cut = 1; cut < 200; ++cut) lengths.push_back(whole.size() - cut);
  for (const size_t length : lengths) {
    CAPTURE(length);
    Archive archive;
    CHECK(archive.Open(sample.folder.Write(L"cut.exe", whole.substr(0, length))) != ERROR_SUCCESS);
    CHECK(archive.entries().empty());
  }
  // The end is there, something before it is not.
  for (const size_t missing : {1, 8, 500}) {
    Archive archive;
    CHECK(archive.Open(sample.folder.Write(L"cut.exe",
                                           whole.substr(0, 1500) + whole.substr(1500 + missing))) ==
          ERROR_FILE_CORRUPT);
  }
}

TEST_CASE("a changed bit is found, or changes nothing") {
  const Sample sample;
  const std::string whole = ReadWholeFile(sample.path);
  const TempFolder folder;
  std::mt19937 random(20);
  int refused = 0;
  int damaged = 0;
  for (int round = 0; round < 400; ++round) {
    // Every other one in the index and what is before and after it.
    const size_t range = round % 2 == 0 ? whole.size() : 300;
    const size_t position = whole.size() - 1 - random() % range;
    std::string altered = whole;
    altered[position] = static_cast<char>(altered[position] ^ (1 << (random() % 8)));
    CAPTURE(position);
    Archive archive;
    if (archive.Open(folder.Write(L"altered.exe", altered)) != ERROR_SUCCESS) {
      ++refused;
      continue;
    }
    REQUIRE(archive.entries().size() == sample.contents.size());
    for (size_t i = 0; i < sample.contents.size(); ++i) {
      const DWORD error = archive.Unpack(archive.entries()[i], Target(folder), nullptr);
      if (error == ERROR_SUCCESS) {
        CHECK(ReadWholeFile(Target(folder)) == sample.contents[i]);
        CHECK(util::RemoveFile(Target(folder)));
      } else {
        ++damaged;
        CHECK(error == ERROR_FILE_CORRUPT);
        CHECK(NothingIsLeft(folder));
      }
    }
  }
  CHECK(refused > 100);
  CHECK(damaged > 100);
}

TEST_CASE("names that lead elsewhere are refused, in packing and in unpacking") {
  const struct {
    const wchar_t* name;
    bool is_safe = false;
  } cases[] = {
      {L""},
      {L"."},
      {L".."},
      {L"..\\a.exe"},
      {L"a\\b"},
      {L"a/b"},
      {L"C:a.exe"},
      {L"a:stream"},
      {L"\\\\server\\share\\a"},
      {L"a.exe."},
      {L"a.exe "},
      {L"..."},
      {L"nul"},
      {L"CON.txt"},
      {L"Aux .x.y"},
      {L"com1"},
      {L"LPT\x00B2.exe"},
      {L"a\nb"},
      {L"a*"},
      {L"a\"b"},
      {L"..a", true},
      {L"a..b", true},
      {L" a", true},
      {L"console.exe", true},
      {L"com1a", true},
      {L"\x65E5\x672C.exe", true},
  };
  const TempFolder folder;
  for (const auto& [name, is_safe] : cases) {
    CAPTURE(util::ToAnsi(name));
    ArchiveEntry entry;
    entry.name = name;
    Archive archive;
    CHECK((OpenWithIndex(folder, "x", setup::EncodeIndex({entry}), &archive) == ERROR_SUCCESS) ==
          is_safe);
  }
  CHECK(setup::IsSafeName(std::wstring(200, L'a')));
  CHECK_FALSE(setup::IsSafeName(std::wstring(201, L'a')));
  CHECK_FALSE(setup::IsSafeName(std::wstring_view(L"a\0b", 3)));

  ArchiveWriter writer;
  REQUIRE(writer.Begin(folder.Write(L"stub", "s"), folder / L"out") == ERROR_SUCCESS);
  CHECK(writer.Add(1, folder.Write(L"A.exe", "1")) == ERROR_SUCCESS);
  CHECK(writer.Add(2, folder.Write(L"sub\\a.EXE", "2")) == ERROR_DUP_NAME);
  CHECK(writer.Add(2, L"nul") == ERROR_INVALID_NAME);
}

TEST_CASE("hostile sizes do no harm") {
  const TempFolder folder;
  const std::string data("\x4B\x4C\x04\x00", 4);  // "aa", deflated.
  struct Case {
    uint64_t offset;
    uint64_t packed;
    uint64_t bytes;
    DWORD error;
    bool opens = true;
  };
  const Case cases[] = {
      {0, 4, 2, ERROR_SUCCESS},
      {0, 4, 1, ERROR_FILE_CORRUPT},  // More comes out than was said,
      {0, 4, 3, ERROR_FILE_CORRUPT},  // or less.
      {0, 4, UINT64_MAX, ERROR_FILE_CORRUPT},
      {0, 3, 2, ERROR_FILE_CORRUPT},
      {0, 0, 2, ERROR_FILE_CORRUPT},
      {0, 0, 0, ERROR_FILE_CORRUPT},
      {4, 0, 0, ERROR_FILE_CORRUPT},
      {0, 5, 2, 0, false},  // Into the index.
      {5, 0, 2, 0, false},
      {4, UINT64_MAX - 3, 2, 0, false},  // The sum wraps round.
      {UINT64_MAX, 5, 2, 0, false},
  };
  for (const Case& one : cases) {
    CAPTURE(one.offset);
    CAPTURE(one.packed);
    CAPTURE(one.bytes);
    ArchiveEntry entry;
    entry.name = L"a";
    entry.offset = one.offset;
    entry.packed_bytes = one.packed;
    entry.bytes = one.bytes;
    entry.crc = 0x078A19D7;  // Of "aa".
    Archive archive;
    const DWORD opened = OpenWithIndex(folder, data, setup::EncodeIndex({entry}), &archive);
    CHECK(opened == (one.opens ? ERROR_SUCCESS : ERROR_FILE_CORRUPT));
    if (opened != ERROR_SUCCESS) continue;
    CHECK(archive.Unpack(archive.entries()[0], Target(folder), nullptr) == one.error);
    if (one.error == ERROR_SUCCESS) CHECK(util::RemoveFile(Target(folder)));
    CHECK(NothingIsLeft(folder));
  }
  // An index that breaks off anywhere, with every checksum right.
  ArchiveEntry entry;
  entry.name = L"name";
  const std::string index = setup::EncodeIndex({entry});
  for (size_t length = 1; length < index.size(); ++length) {
    Archive archive;
    CHECK(OpenWithIndex(folder, "", index.substr(0, length), &archive) == ERROR_FILE_CORRUPT);
  }
}

TEST_CASE("no more is written than the index says") {
  struct Watch : setup::UnpackListener {
    bool OnUnpacked(uint64_t bytes) override {
      most = bytes;
      return true;
    }
    uint64_t most = 0;
  } watch;
  const Sample sample;
  const TempFolder folder;
  Archive archive;
  REQUIRE(archive.Open(sample.path) == ERROR_SUCCESS);
  ArchiveEntry entry = archive.entries()[3];
  entry.bytes = 70000;
  CHECK(archive.Unpack(entry, Target(folder), &watch) == ERROR_FILE_CORRUPT);
  CHECK(watch.most <= entry.bytes);
  CHECK(watch.most > 0);
  CHECK(NothingIsLeft(folder));
}

TEST_CASE("a listener that stops leaves nothing; a folder that is missing is an error") {
  struct Stop : setup::UnpackListener {
    bool OnUnpacked(uint64_t bytes) override {
      last = bytes;
      return bytes <= 65536;
    }
    uint64_t last = 0;
  } stop;
  const Sample sample;
  const TempFolder folder;
  Archive archive;
  REQUIRE(archive.Open(sample.path) == ERROR_SUCCESS);
  CHECK(archive.Unpack(archive.entries()[3], Target(folder), &stop) == ERROR_INSTALL_USEREXIT);
  CHECK(stop.last > 65536);
  CHECK(stop.last < sample.contents[3].size());
  CHECK(NothingIsLeft(folder));
  CHECK(archive.Unpack(archive.entries()[0], folder / L"none\\a", nullptr) == ERROR_PATH_NOT_FOUND);
}
