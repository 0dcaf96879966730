// Each case of findings.txt: a package that is changed in one way, and what the checker says of it.

#include <windows.h>

#include <doctest.h>

#include <set>
#include <string>

#include "checks.h"
#include "good_package.h"
#include "output.h"
#include "support/data_rows.h"
#include "util/text.h"

namespace {

using Keys = std::set<std::wstring>;

// Values of the test's own, in this machine's registry.
class RegistryValues {
 public:
  RegistryValues() {
    HKEY key = nullptr;
    REQUIRE(::RegCreateKeyW(HKEY_CURRENT_USER, path_.c_str(), &key) == ERROR_SUCCESS);
    ::RegSetValueExW(key, L"Bytes", 0, REG_BINARY, reinterpret_cast<const BYTE*>("1234"), 4);
    ::RegSetValueExW(key, L"Text", 0, REG_SZ, reinterpret_cast<const BYTE*>(L"1"), 4);
    ::RegCloseKey(key);
  }
  RegistryValues(const RegistryValues&) = delete;
  RegistryValues& operator=(const RegistryValues&) = delete;
  ~RegistryValues() { ::RegDeleteKeyW(HKEY_CURRENT_USER, path_.c_str()); }

  // The change of a row with the key's own name in it.
  [[nodiscard]] std::wstring Name(std::wstring change) const {
    const std::wstring word = L"{own key}";
    if (const size_t at = change.find(word); at != change.npos)
      change.replace(at, word.size(), name_);
    return change;
  }

 private:
  // The program runs more than once at a time.
  std::wstring name_ = L"Prereq check test " + util::ToDecimal(::GetCurrentProcessId());
  std::wstring path_ = L"Software\\" + name_;
};

check::Report ReportOf(const std::wstring& path) {
  check::Package package;
  REQUIRE(package.Open(path) == ERROR_SUCCESS);
  check::Report report(L"x.msi");
  check::CheckPackage(package, &report);
  return report;
}

// The keys of a case's first cell, without the one that is not to come.
Keys Expected(const std::wstring& cell) {
  Keys keys;
  for (const std::wstring& key : util::Split(cell, L' ')) {
    if (!key.starts_with(L'!')) keys.insert(key);
  }
  return keys;
}

}  // namespace

TEST_CASE("nothing is wrong in a good package, and no handle stays open") {
  const test::GoodPackage good;
  const INSTALLUILEVEL level = ::MsiSetInternalUI(INSTALLUILEVEL_REDUCED, nullptr);
  const std::wstring text = check::FormatText({ReportOf(good.path())});
  CAPTURE(util::ToAnsi(text));
  CHECK(text == L"x.msi: no errors, no warnings\r\n");
  CHECK(::MsiSetInternalUI(level, nullptr) == INSTALLUILEVEL_REDUCED);
  CHECK(::MsiCloseAllHandles() == 0);
}

TEST_CASE("each finding comes where it should, and not in the nearest right package") {
  const RegistryValues values;
  const test::GoodPackage good;
  for (const test::DataRow& row : test::ReadDataRows("tools/findings.txt")) {
    CAPTURE(row.line);
    const check::Verdict verdict = {ReportOf(good.Changed(values.Name(row[1])))};
    Keys found;
    std::wstring first;
    for (const check::Finding& finding : verdict.report.findings()) {
      found.insert(finding.kind->key);
      if (first.empty() && row[0].starts_with(finding.kind->key)) {
        first = finding.place.Text() + L": " + finding.Message();
      }
    }
    CAPTURE(util::ToAnsi(check::FormatText(verdict)));
    CHECK(found == Expected(row[0]));
    CHECK(first.find(row[2]) != std::wstring::npos);
  }
}

TEST_CASE("every key has a case in which it comes and one in which it does not") {
  Keys come;
  Keys stay_away;
  for (const char* file : {"tools/findings.txt", "tools/program.txt"}) {
    for (const test::DataRow& row : test::ReadDataRows(file)) {
      const std::wstring first = row[0].substr(0, row[0].find(L' '));
      if (first.starts_with(L'!')) stay_away.insert(first.substr(1));
      for (const std::wstring& key : Expected(row[0])) come.insert(key);
    }
  }
  for (const check::FindingKind& kind : check::kKinds) {
    CAPTURE(util::ToAnsi(kind.key));
    CHECK(come.contains(kind.key));
    CHECK(stay_away.contains(kind.key));
  }
}

TEST_CASE("the machine has the code page that the test is run for") {
  const std::wstring line = ::GetCommandLineW();
  const size_t wish = line.find(L"--code-page=");
  if (wish == line.npos) return;
  CHECK(::GetACP() == util::ParseDecimal<UINT>(line.substr(wish + 12)));
}

TEST_CASE("a condition tried with other values leaves no trace") {
  const test::GoodPackage good;
  check::Package package;
  REQUIRE(package.Open(good.path()) == ERROR_SUCCESS);
  CHECK(package.Evaluate(L"UILevel=5", {{L"UILevel", L"5"}}) == MSICONDITION_TRUE);
  CHECK(package.Evaluate(L"UILevel=2") == MSICONDITION_TRUE);
}
