// The program itself: what build scripts see of it.

#include <windows.h>

#include <doctest.h>

#include <string>

#include "good_package.h"
#include "run_checker.h"
#include "support/data_rows.h"

namespace {

// Packages beside the good one, as program.txt names them.
void MakePackages(const test::GoodPackage& good) {
  const test::TempFolder& folder = good.folder();
  const auto make = [&](const wchar_t* name, const std::wstring& statements) {
    REQUIRE(::MoveFileW(good.Changed(statements).c_str(), (folder / name).c_str()));
  };
  const std::wstring wrong = L"set Pre Runtime MD5 = 'abc' ;; drop Error 4153";
  make(L"a b.msi", wrong);
  make(L"ignored.msi", wrong);
  make(L"other.msi", L"summary 9 {00000000-0000-4000-8000-000000000001}");
  make(L"\x0416.msi", L"set Pre Runtime DisplayName = '' ;; set Pre Tools MD5 = '\"\x0416\\'");
  folder.Write(L"ignored.msi.ignore",
               "\xEF\xBB\xBF# known\r\nPRE235:QX_PreRequisite/Runtime # until May\r\n\r\n pre602 "
               "\r\nPRE601:Error/1\r\n");
  folder.Write(L"text.msi", "no package");
  folder.Write(L"damaged.msi", "\xD0\xCF\x11\xE0\xA1\xB1\x1A\xE1");
  REQUIRE(::CreateDirectoryW((folder / L"folder.msi").c_str(), nullptr));
}

}  // namespace

TEST_CASE("build scripts get an exit code and a line for each finding") {
  const test::GoodPackage good;
  MakePackages(good);
  for (const test::DataRow& row : test::ReadDataRows("tools/program.txt")) {
    CAPTURE(row.line);
    const test::CheckerRun run = test::RunChecker(good.folder(), row[1]);
    CAPTURE(run.output);
    CHECK(run.exit_code == static_cast<DWORD>(row.Number(2)));
    CHECK(run.output.ends_with(row.Ansi(3)));
  }
  CHECK(test::RunChecker(good.folder(), L"/ignore:Bogus package.msi")
            .output.starts_with("\"Bogus\" names the key of no finding"));
}

TEST_CASE("findings are UTF-8 in every form of the output") {
  const test::GoodPackage good;
  MakePackages(good);
  const std::string text = test::RunChecker(good.folder(), L"\x0416.msi").output;
  CHECK(text.find("\xD0\x96.msi: error PRE235: QX_PreRequisite, row \"Tools\", column MD5: "
                  "\"\"\xD0\x96\\\" is not") != text.npos);
  const std::string json = test::RunChecker(good.folder(), L"/format json \x0416.msi").output;
  CHECK(json.find("\"file\": \"\xD0\x96.msi\"") != json.npos);
  CHECK(json.find("\"text\": \"\\\"\\\"\xD0\x96\\\\\\\" is not 32") != json.npos);
}
