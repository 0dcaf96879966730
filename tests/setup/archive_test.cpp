#include "archive.h"

#include <doctest.h>

#include <random>

#include "setup/pack.h"
#include "support/data_rows.h"
#include "support/temp_folder.h"
#include "util/files.h"
#include "util/os_family.h"
#include "util/text.h"

using setup::Archive;
using setup::ArchiveEntry;
using setup::ArchiveWriter;
using test::Pack;
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
  std::wstring target = folder / L"unpacked";

  Sample() {
    // Windows 95, 98 and Me have the characters of their code page only.
    const wchar_t* const foreign = util::IsNtFamily() ? L"\x017C\x00F3\x0142w.exe" : L"zolw.exe";
    Pack(folder.Write(L"stub", std::string(1001, 's')), path,
         {{0, folder.Write(L"a.msi", contents[0])},
          {103, folder.Write(foreign, contents[1])},
          {103, folder.Write(L"empty", contents[2])},
          {2147483647, folder.Write(L"big.bin", contents[3])}});
  }
  [[nodiscard]] bool NothingIsLeft() const {
    return !util::PathExists(target) && !util::PathExists(target + L".part");
  }
};

// Unpacks every entry over another file: it is what was packed then, or the file stays. Answers how
// many were damaged.
int UnpackAll(const Sample& sample, const Archive& archive) {
  int damaged = 0;
  REQUIRE(archive.entries().size() == sample.contents.size());
  for (size_t i = 0; i < sample.contents.size(); ++i) {
    sample.folder.Write(L"unpacked", "before");
    const DWORD error = archive.Unpack(archive.entries()[i], sample.target, nullptr);
    if (error != ERROR_SUCCESS) ++damaged;
    CHECK((error == ERROR_SUCCESS || error == ERROR_FILE_CORRUPT));
    CHECK(ReadWholeFile(sample.target) == (error == ERROR_SUCCESS ? sample.contents[i] : "before"));
    CHECK_FALSE(util::PathExists(sample.target + L".part"));
  }
  return damaged;
}

// An archive made by hand: some bytes, then an index that says what is wanted.
DWORD OpenWithIndex(const TempFolder& folder, const std::string& data, const std::string& index,
                    Archive* archive) {
  return archive->Open(
      folder.Write(L"made.exe", data + index + setup::EncodeFooter(data.size(), index)));
}

struct Listener : setup::UnpackListener {
  explicit Listener(uint64_t stop_after) : limit(stop_after) {}
  bool OnUnpacked(uint64_t bytes) override {
    last = bytes;
    return bytes <= limit;
  }
  uint64_t limit;
  uint64_t last = 0;
};

}  // namespace

TEST_CASE("what was packed is unpacked") {
  const Sample sample;
  Archive archive;
  REQUIRE(archive.Open(sample.path) == ERROR_SUCCESS);
  CHECK(UnpackAll(sample, archive) == 0);
  CHECK(*util::ReadFileSize(sample.path) % 8 == 0);
  CHECK(archive.entries()[3].group == 2147483647);
  CHECK(archive.Unpack(archive.entries()[0], sample.folder / L"none\\a", nullptr) ==
        ERROR_PATH_NOT_FOUND);
  ArchiveWriter writer;
  REQUIRE(writer.Begin(sample.path, sample.folder / L"out") == ERROR_SUCCESS);
  CHECK(writer.Add(1, sample.folder.Write(L"A.exe", "1")) == ERROR_SUCCESS);
  CHECK(writer.Add(2, sample.folder.Write(L"sub\\a.EXE", "2")) == ERROR_DUP_NAME);
  CHECK(writer.Add(2, L"nul") == ERROR_INVALID_NAME);
}

TEST_CASE("a signature after the archive does not hide it") {
  const TempFolder folder;
  Pack(test::ProgramFolder() + L"\\setup_stub.exe", folder / L"s.exe",
       {{0, folder.Write(L"a.msi", "a")}});
  std::string program = ReadWholeFile(folder / L"s.exe");
  const auto* dos = reinterpret_cast<const IMAGE_DOS_HEADER*>(program.data());
  auto* headers = reinterpret_cast<IMAGE_NT_HEADERS32*>(program.data() + dos->e_lfanew);
  headers->OptionalHeader.DataDirectory[IMAGE_DIRECTORY_ENTRY_SECURITY] = {
      static_cast<DWORD>(program.size()), 1000};
  Archive archive;
  CHECK(archive.Open(folder.Write(L"signed.exe", program + std::string(1000, 'x'))) ==
        ERROR_SUCCESS);
  CHECK(archive.entries().size() == 1);
}

TEST_CASE("a truncated file is refused whole") {
  const Sample sample;
  const std::string whole = ReadWholeFile(sample.path);
  std::vector<std::string> damaged;
  for (const size_t length : {0u, 1u, 27u, 28u, 29u, 1000u, 1001u, 1002u, 40000u}) {
    damaged.push_back(whole.substr(0, length));
  }
  for (size_t cut = 1; cut < 200; ++cut) damaged.push_back(whole.substr(0, whole.size() - cut));
  for (const std::string& bytes : damaged) {
    CAPTURE(bytes.size());
    Archive archive;
    CHECK(archive.Open(sample.folder.Write(L"cut.exe", bytes)) != ERROR_SUCCESS);
    CHECK(archive.entries().empty());
  }
  // The end is there, something before it is not.
  for (const size_t missing : {1, 8, 500}) {
    const std::string bytes = whole.substr(0, 1500) + whole.substr(1500 + missing);
    CHECK(Archive().Open(sample.folder.Write(L"cut.exe", bytes)) == ERROR_FILE_CORRUPT);
  }
}

TEST_CASE("a changed bit is found, or changes nothing") {
  const Sample sample;
  const std::string whole = ReadWholeFile(sample.path);
  int refused = 0;
  int damaged = 0;
  // Here and there, and close by in the index and what is after it.
  for (size_t back = 1; back < whole.size(); back += back < 250 ? 2 : 1009) {
    const size_t at = whole.size() - back;
    CAPTURE(at);
    std::string altered = whole;
    altered[at] = static_cast<char>(altered[at] ^ (1 << at % 8));
    Archive archive;
    if (archive.Open(sample.folder.Write(L"altered.exe", altered)) == ERROR_SUCCESS) {
      damaged += UnpackAll(sample, archive);
    } else {
      ++refused;
    }
  }
  CHECK(refused > 50);
  CHECK(damaged > 50);
}

TEST_CASE("names that lead elsewhere and hostile sizes do no harm") {
  const TempFolder folder;
  const std::string data("\x4B\x4C\x04\x00", 4);  // "aa", deflated.
  const std::wstring target = folder / L"unpacked";
  for (const test::DataRow& row : test::ReadDataRows("setup/archives.txt")) {
    CAPTURE(row.line);
    Archive archive;
    ArchiveEntry entry;
    if (row[0] == L"name") {
      entry.name = row[1];
      CHECK(OpenWithIndex(folder, "x", setup::EncodeIndex({entry}), &archive) ==
            (row.Yes(2) ? ERROR_SUCCESS : ERROR_FILE_CORRUPT));
      continue;
    }
    entry.name = L"a";
    entry.offset = util::ParseDecimal<uint64_t>(row[1]);
    entry.packed_bytes = util::ParseDecimal<uint64_t>(row[2]);
    entry.bytes = util::ParseDecimal<uint64_t>(row[3]);
    entry.crc = 0x078A19D7;  // Of "aa".
    const DWORD opened = OpenWithIndex(folder, data, setup::EncodeIndex({entry}), &archive);
    CHECK(opened == (row[4] == L"closed" ? ERROR_FILE_CORRUPT : ERROR_SUCCESS));
    if (opened != ERROR_SUCCESS) continue;
    const bool is_whole = row[4] == L"unpacked";
    CHECK(archive.Unpack(archive.entries()[0], target, nullptr) ==
          (is_whole ? ERROR_SUCCESS : ERROR_FILE_CORRUPT));
    CHECK(util::RemoveFile(target) == is_whole);
    CHECK_FALSE(util::PathExists(target + L".part"));
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

TEST_CASE("no more is written than the index says, and nothing is left of what was stopped") {
  const Sample sample;
  Archive archive;
  REQUIRE(archive.Open(sample.path) == ERROR_SUCCESS);
  ArchiveEntry entry = archive.entries()[3];
  Listener stop(65536);
  CHECK(archive.Unpack(entry, sample.target, &stop) == ERROR_INSTALL_USEREXIT);
  CHECK(stop.last > 65536);
  CHECK(stop.last < sample.contents[3].size());
  CHECK(sample.NothingIsLeft());
  Listener watch(UINT64_MAX);
  entry.bytes = 70000;
  CHECK(archive.Unpack(entry, sample.target, &watch) == ERROR_FILE_CORRUPT);
  CHECK(watch.last <= entry.bytes);
  CHECK(watch.last > 0);
  CHECK(sample.NothingIsLeft());
}
