#include <doctest.h>

#include <array>

#include "support/installed_product.h"
#include "support/msi_session_rig.h"
#include "support/scripted_ui.h"
#include "support/test_package.h"
#include "util/text.h"

using test::MsiSessionRig;
using test::Prerequisite;
using test::ScriptedUi;
using test::TestPackage;
using Prompts = std::vector<ScriptedUi::Prompt>;

namespace {

constexpr UINT kWarningYesNo = 0x02010004;

// Runs the verification, with Yes at every prompt, and answers the names it asked about.
std::vector<std::wstring> AskedAbout(const MsiSessionRig& rig, ScriptedUi* ui) {
  ui->Clear();
  for (int i = 0; i < 20; ++i) ui->Answer(INSTALLMESSAGE_WARNING, IDYES);
  CHECK(rig.Call("VerifyPrereq") == 0);
  std::vector<std::wstring> names;
  for (const ScriptedUi::Prompt& prompt : ui->Prompts()) {
    CHECK(prompt.number == 4154);
    names.push_back(prompt.argument);
  }
  return names;
}

}  // namespace

TEST_CASE("each action announces itself with the texts of its row") {
  enum class ActionTexts { kThere, kNull, kNoRow, kNoTable };
  const struct {
    const char* custom_action;
    const wchar_t* name;
  } actions[] = {{"VerifyPrereq", L"QX_VerifyPrereq"},
                 {"InstallPrereq", L"QX_InstallPrerequisite"},
                 {"InstallPostPrereq", L"QX_InstallPrerequisite"}};
  for (const ActionTexts texts :
       {ActionTexts::kThere, ActionTexts::kNull, ActionTexts::kNoRow, ActionTexts::kNoTable}) {
    TestPackage package;
    switch (texts) {
      case ActionTexts::kThere:
        package.Execute(
            L"UPDATE `ActionText` SET `Description` = 'Doing it', `Template` = '<[1]>'");
        break;
      case ActionTexts::kNull:
        package.Execute(L"UPDATE `ActionText` SET `Description` = '', `Template` = ''");
        break;
      case ActionTexts::kNoRow:
        for (const wchar_t* name : {L"QX_VerifyPrereq", L"QX_InstallPrerequisite"}) {
          package.Execute(L"DELETE FROM `ActionText` WHERE `Action` = '" + std::wstring(name) +
                          L"'");
        }
        break;
      case ActionTexts::kNoTable:
        package.Execute(L"DROP TABLE `ActionText`");
        break;
    }
    package.Close();
    ScriptedUi ui;
    MsiSessionRig rig(package);
    for (const auto& [custom_action, name] : actions) {
      CAPTURE(static_cast<int>(texts));
      CAPTURE(custom_action);
      ui.Clear();
      CHECK(rig.Call(custom_action) == 0);
      if (texts == ActionTexts::kNoRow || texts == ActionTexts::kNoTable) {
        CHECK(ui.messages().empty());
        continue;
      }
      REQUIRE(ui.messages().size() == 1);
      const test::UiMessage& message = ui.messages()[0];
      CHECK(message.type == INSTALLMESSAGE_ACTIONSTART);
      REQUIRE(message.fields.size() == 5);
      CHECK(message.Field(1) == name);
      CHECK(message.Field(2) == (texts == ActionTexts::kNull ? L"" : L"Doing it"));
      CHECK(message.Field(3) == (texts == ActionTexts::kNull ? L"" : L"<[1]>"));
      CHECK(message.Field(4) == L"");
    }
    CHECK(rig.CountLeakedHandles() == 0);
  }
}

TEST_CASE("rows are verified by option, language, feature and condition, in their order") {
  const std::wstring own = util::ToDecimal(::GetSystemDefaultLangID());
  TestPackage package;
  package.AddFeature(L"Disabled", 0, 0);
  package.AddFeature(L"Not chosen", 100, 0);
  package.AddProperty(L"QX_Present", L"1");
  package.AddPrerequisite({.name = L"last", .sequence = 32767});
  package.AddPrerequisite({.name = L"true", .sequence = 1, .missing = L"1=1"});
  package.AddPrerequisite({.name = L"false", .sequence = 2, .missing = L"1=0"});
  package.AddPrerequisite({.name = L"no condition", .sequence = 3});
  package.AddPrerequisite({.name = L"does not parse", .sequence = 4, .missing = L"=(("});
  package.AddPrerequisite({.name = L"property", .sequence = 5, .missing = L"QX_Present = 1"});
  package.AddPrerequisite({.name = L"present", .sequence = 6, .missing = L"NOT QX_Present"});
  package.AddPrerequisite({.name = L"mandatory", .sequence = 7, .options = L"m"});
  package.AddPrerequisite({.name = L"post", .sequence = 8, .options = L"mp"});
  package.AddPrerequisite({.name = L"our language", .sequence = 9, .languages = L"1;" + own});
  package.AddPrerequisite({.name = L"other language", .sequence = 10, .languages = L"1; " + own});
  package.AddPrerequisite({.name = L"disabled", .sequence = 11, .feature = L"Disabled"});
  package.AddPrerequisite({.name = L"not chosen", .sequence = 12, .feature = L"Not chosen"});
  package.AddPrerequisite({.name = L"unknown", .sequence = 13, .feature = L"Unknown"});
  package.AddPrerequisite({.name = L"no feature", .sequence = 14, .feature = L""});
  package.AddPrerequisite({.name = L"no location", .sequence = 15, .location = L""});
  package.AddPrerequisite({.name = L"first", .sequence = -1});
  package.Close();
  ScriptedUi ui;
  MsiSessionRig rig(package);
  CHECK(AskedAbout(rig, &ui) == std::vector<std::wstring>{L"first", L"true", L"no condition",
                                                          L"does not parse", L"property",
                                                          L"mandatory", L"our language",
                                                          L"no location", L"last"});
  // Nothing but the announcement and the prompts: no progress, no action data.
  for (const test::UiMessage& message : ui.messages()) {
    CHECK((message.type == INSTALLMESSAGE_ACTIONSTART || message.type == kWarningYesNo));
  }
  CHECK(rig.CountLeakedHandles() == 0);
}

TEST_CASE("only Yes goes on to the next missing prerequisite") {
  TestPackage package;
  package.AddPrerequisite({.name = L"first", .sequence = 1, .options = L"m"});
  package.AddPrerequisite({.name = L"second [x]", .sequence = 2});
  package.Close();
  ScriptedUi ui;
  MsiSessionRig rig(package);
  const ScriptedUi::Prompt first = {4154, L"first"};
  const ScriptedUi::Prompt second = {4154, L"second [x]"};
  const struct {
    std::vector<int> answers;
    UINT result;
    Prompts prompts;
  } cases[] = {
      {{IDYES, IDYES}, 0, {first, second}},
      {{IDYES, IDNO}, 2, {first, second}},
      {{IDNO}, 2, {first}},
      {{}, 2, {first}},  // Nobody there to answer.
      {{IDCANCEL}, 2, {first}},
  };
  for (const auto& [answers, result, prompts] : cases) {
    CAPTURE(answers.size());
    ui.Clear();
    for (const int answer : answers) ui.Answer(INSTALLMESSAGE_WARNING, answer);
    CHECK(rig.Call("VerifyPrereq") == result);
    CHECK(ui.Prompts() == prompts);
    for (const test::UiMessage& message : ui.Of(INSTALLMESSAGE_WARNING)) {
      CHECK(message.type == kWarningYesNo);
      CHECK(message.fields.size() == 3);
    }
  }
  CHECK(rig.CountLeakedHandles() == 0);
}

TEST_CASE("an installed feature qualifies only when something is asked of it") {
  TestPackage package;
  package.AddFeature(L"Other", 1, 0);
  package.AddPrerequisite({.name = L"main"});
  package.AddPrerequisite({.name = L"other", .sequence = 2, .feature = L"Other"});
  package.Close();
  ScriptedUi ui;
  const test::InstalledProduct product(package);
  using Names = std::vector<std::wstring>;
  MsiSessionRig rig(package);
  INSTALLSTATE installed = INSTALLSTATE_UNKNOWN;
  INSTALLSTATE action = INSTALLSTATE_UNKNOWN;
  REQUIRE(rig.session().GetFeatureState(L"Main", &installed, &action));
  CHECK(installed == INSTALLSTATE_LOCAL);
  CHECK(action == INSTALLSTATE_UNKNOWN);
  CHECK(AskedAbout(rig, &ui) == Names{});
  REQUIRE(rig.session().SetFeatureState(L"Main", INSTALLSTATE_LOCAL));
  CHECK(AskedAbout(rig, &ui) == Names{L"main"});
  REQUIRE(rig.session().SetFeatureState(L"Main", INSTALLSTATE_ABSENT));
  CHECK(AskedAbout(rig, &ui) == Names{});
  CHECK(rig.CountLeakedHandles() == 0);
}

TEST_CASE("what is not there is no prerequisite and no reason to fail") {
  const char* const actions[] = {"VerifyPrereq", "InstallPrereq", "InstallPostPrereq"};
  const std::vector<const wchar_t*> changes[] = {
      {L"DROP TABLE `QX_PreRequisite`"},
      {L"DELETE FROM `QX_PreRequisite`"},
      {L"UPDATE `QX_PreRequisite` SET `Languages` = 'none', `MissingCondition` = ''"},
      // A table without the columns that the engine reads.
      {L"DROP TABLE `QX_PreRequisite`",
       L"CREATE TABLE `QX_PreRequisite` (`Prereq` CHAR(72) NOT NULL, `Feature_` CHAR(38), "
       L"`Sequence` "
       L"SHORT PRIMARY KEY `Prereq`)",
       L"INSERT INTO `QX_PreRequisite` (`Prereq`,`Feature_`,`Sequence`) VALUES ('row','Main',1)"}};
  for (const auto& statements : changes) {
    CAPTURE(util::ToAnsi(statements.back()));
    TestPackage package;
    package.AddPrerequisite({.name = L"row"});
    for (const wchar_t* statement : statements) package.Execute(statement);
    package.Close();
    ScriptedUi ui;
    MsiSessionRig rig(package);
    for (const char* action : actions) {
      CAPTURE(action);
      ui.Clear();
      CHECK(rig.Call(action) == 0);
      CHECK(ui.messages().size() == ui.Of(INSTALLMESSAGE_ACTIONSTART).size());
    }
    CHECK(rig.CountLeakedHandles() == 0);
  }
  ScriptedUi ui;
  for (const char* action : actions) {
    for (const MSIHANDLE handle : {MSIHANDLE{0}, MSIHANDLE{12345}}) {
      CHECK(test::CallExport(action, handle) == 0);
    }
  }
  CHECK(ui.messages().empty());
  CHECK(::MsiCloseAllHandles() == 0);
}

TEST_CASE("a prompt whose text the package does not have stops") {
  for (const wchar_t* statement :
       {L"DELETE FROM `Error` WHERE `Error` = 4154", L"DROP TABLE `Error`"}) {
    CAPTURE(util::ToAnsi(statement));
    TestPackage package;
    package.Execute(statement);
    package.AddPrerequisite({.name = L"row"});
    package.Close();
    ScriptedUi ui;
    MsiSessionRig rig(package);
    ui.Clear();
    ui.Answer(INSTALLMESSAGE_WARNING, IDYES);  // The installer does not pass it on.
    CHECK(rig.Call("VerifyPrereq") == 2);
    CHECK(ui.Prompts() == Prompts{{4154, L"row"}});
    CHECK(rig.CountLeakedHandles() == 0);
  }
}
