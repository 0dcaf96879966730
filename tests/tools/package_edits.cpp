#include "package_edits.h"

#include <msiquery.h>
#include <objbase.h>

#include <doctest.h>

#include <functional>
#include <map>

#include "msi/handles.h"
#include "util/text.h"

namespace test {
namespace {

using std::wstring;

constexpr wchar_t kColumns[] =
    L"`Prereq` CHAR(72) NOT NULL, `DisplayName` CHAR(255), `SetupFileUrl` CHAR(255), `Location` "
    L"SHORT, `TargetName` CHAR(255), `ExactSize` LONG, `ComLine` CHAR(255), `Options` CHAR(32), "
    L"`Languages` CHAR(255), `MissingCondition` CHAR(255), `Feature_` CHAR(38), ";

// The words of one statement, taken off one by one.
struct Words {
  wstring rest;

  wstring Next() {
    const size_t end = std::min(rest.find(L' '), rest.size());
    const wstring word = rest.substr(0, end);
    rest.erase(0, rest.find_first_not_of(L' ', end));
    return word;
  }
  // What stands in quotes, with them.
  wstring NextQuoted() {
    const size_t end = rest.find(L'\'', 1) + 1;
    const wstring quoted = rest.substr(0, end);
    rest.erase(0, rest.find_first_not_of(L' ', end));
    return quoted;
  }
  wstring NextTable() {
    static const std::map<wstring, wstring> kShort = {{L"Pre", L"QX_PreRequisite"},
                                                      {L"Search", L"QX_AppSearchEx"},
                                                      {L"CA", L"CustomAction"},
                                                      {L"UI", L"InstallUISequence"},
                                                      {L"Exec", L"InstallExecuteSequence"}};
    const wstring name = Next();
    const auto found = kShort.find(name);
    return found == kShort.end() ? name : found->second;
  }
};

class Editor {
 public:
  Editor(MSIHANDLE database, const TempFolder& folder) : database_(database), folder_(folder) {}

  void Run(const wstring& statement) {
    CAPTURE(util::ToAnsi(statement));
    Words words = {statement};
    const auto verb = kVerbs.find(words.Next());
    if (verb == kVerbs.end()) {
      Execute(statement);
    } else {
      verb->second(this, words);
    }
  }

 private:
  void Execute(const wstring& sql) {
    CAPTURE(util::ToAnsi(sql));
    msi::UniqueMsiView view;
    REQUIRE(::MsiDatabaseOpenViewW(database_, sql.c_str(), view.Receive()) == ERROR_SUCCESS);
    REQUIRE(::MsiViewExecute(view.Get(), 0) == ERROR_SUCCESS);
  }
  // ` WHERE` its first column has the key.
  wstring Where(const wstring& table, const wstring& key) const {
    msi::UniqueMsiHandle names;
    REQUIRE(::MsiDatabaseGetPrimaryKeysW(database_, table.c_str(), names.Receive()) ==
            ERROR_SUCCESS);
    wchar_t column[64] = L"";
    DWORD size = 64;
    ::MsiRecordGetStringW(names.Get(), 1, column, &size);
    const bool is_number = key.find_first_not_of(L"0123456789") == key.npos;
    const wstring quote = is_number ? L"" : L"'";
    return wstring(L" WHERE `") + column + L"`=" + quote + key + quote;
  }
  void Add(Words words) {
    const wstring table = words.NextTable();
    wstring columns;
    for (const wstring& column : util::Split(words.Next(), L',')) {
      columns += (columns.empty() ? L"`" : L",`") + column + L"`";
    }
    Execute(L"INSERT INTO `" + table + L"` (" + columns + L") VALUES (" +
            words.rest.substr(words.rest.find(L'=') + 1) + L")");
  }
  void Set(Words words) {
    const wstring table = words.NextTable();
    const wstring key = words.Next();
    const wstring column = words.Next();
    Execute(L"UPDATE `" + table + L"` SET `" + column + L"` " + words.rest + Where(table, key));
  }
  void Drop(Words words) {
    const wstring table = words.NextTable();
    Execute(L"DELETE FROM `" + table + L"`" + Where(table, words.rest));
  }
  void Find(Words words) {
    const wstring name = words.Next();
    const wstring kind = words.Next();
    Run(L"add Search Order,Property,Type,SearchString = 9,'" + name + L"'," + kind + L"," +
        words.rest);
    Run(L"add Property Property,Value = 'READ2','[" + name + L"]" + name + L"'");
  }
  void Registry(Words words) {
    const wstring root = words.Next();
    const wstring key = words.NextQuoted();
    Run(L"add Registry Registry,Root,Key,Name,Value,Component_ = 'Row'," + root + L"," + key +
        L",'Release'," + words.rest + L",'Main'");
  }
  void Same(Words words) {
    const wstring row = words.Next();
    Run(L"set Pre " + row + L" SetupFileUrl = 'http://other/" + words.rest + L"'");
    Run(L"set Pre " + row + L" TargetName = ''");
  }
  void Recreate(const Words& words) {
    Execute(L"DROP TABLE `QX_PreRequisite`");
    Execute(L"CREATE TABLE `QX_PreRequisite` (" + (kColumns + words.rest) +
            L" PRIMARY KEY `Prereq`)");
  }
  void One(Words words) {
    const wstring key = words.Next();
    Run(L"add Pre Prereq,DisplayName,Location,MissingCondition,Feature_,Sequence = '" + key +
        L"','" + key + L"',2,'VersionNT','Main'," + words.rest);
  }
  void Validate(const Words& words) {
    msi::UniqueMsiView view;
    msi::UniqueMsiHandle names;
    REQUIRE(::MsiDatabaseOpenViewW(database_, (L"SELECT * FROM `" + words.rest + L"`").c_str(),
                                   view.Receive()) == ERROR_SUCCESS);
    REQUIRE(::MsiViewGetColumnInfo(view.Get(), MSICOLINFO_NAMES, names.Receive()) == ERROR_SUCCESS);
    for (UINT i = 1; i <= ::MsiRecordGetFieldCount(names.Get()); ++i) {
      wchar_t column[64] = L"";
      DWORD size = 64;
      ::MsiRecordGetStringW(names.Get(), i, column, &size);
      Run(L"add _Validation Table,Column = '" + words.rest + L"','" + column + L"'");
    }
  }
  void Unschedule(const Words& words) {
    for (const wchar_t* table : {L"UI ", L"Exec "}) Run(L"drop " + (table + words.rest));
  }
  void Start(const Words& words) {
    Run(L"add ControlEvent Dialog_,Control_,Event,Argument = 'Welcome','" + words.rest +
        L"','DoAction','" + words.rest + L"'");
  }
  void Inside(const Words&) {
    Run(L"add Property Property,Value = 'QX_FilesInsideExe','1'");
    Run(L"add Property Property,Value = 'QX_EXTRACT_DIR','[TempFolder]x'");
    Run(L"set Property SecureCustomProperties Value = 'QX_RESUME;QX_SETUPEXEPATH'");
  }
  void Beside(const Words& words) { folder_.Write(words.rest.c_str(), "1234"); }
  void Summary(Words words) {
    msi::UniqueMsiHandle summary;
    REQUIRE(::MsiGetSummaryInformationW(database_, nullptr, 1, summary.Receive()) == ERROR_SUCCESS);
    const auto number = util::ParseDecimal<UINT>(words.Next());
    ::MsiSummaryInfoSetPropertyW(summary.Get(), number, VT_LPSTR, 0, nullptr, words.rest.c_str());
    REQUIRE(::MsiSummaryInfoPersist(summary.Get()) == ERROR_SUCCESS);
  }

  static const std::map<wstring, std::function<void(Editor*, Words)>> kVerbs;

  MSIHANDLE database_;
  const TempFolder& folder_;
};

const std::map<wstring, std::function<void(Editor*, Words)>> Editor::kVerbs = {
    {L"add", &Editor::Add},           {L"set", &Editor::Set},
    {L"drop", &Editor::Drop},         {L"find", &Editor::Find},
    {L"registry", &Editor::Registry}, {L"same", &Editor::Same},
    {L"recreate", &Editor::Recreate}, {L"one", &Editor::One},
    {L"validate", &Editor::Validate}, {L"unschedule", &Editor::Unschedule},
    {L"start", &Editor::Start},       {L"inside", &Editor::Inside},
    {L"beside", &Editor::Beside},     {L"summary", &Editor::Summary},
};

}  // namespace

void EditPackage(MSIHANDLE database, const TempFolder& folder, const wstring& statements) {
  Editor editor(database, folder);
  for (size_t at = 0; at < statements.size();) {
    const size_t end = std::min(statements.find(L" ;; ", at), statements.size());
    editor.Run(statements.substr(at, end - at));
    at = end + 4;
  }
}

}  // namespace test
