#include "entry/scenario.h"

#include <doctest.h>

#include <algorithm>
#include <memory>
#include <optional>
#include <set>
#include <utility>
#include <vector>

#include "support/data_rows.h"
#include "support/fault_server.h"
#include "support/installed_product.h"
#include "support/pipe_client.h"
#include "support/run_value.h"
#include "support/setup_program.h"
#include "support/worker.h"
#include "util/ansi_text.h"
#include "util/error_text.h"
#include "util/files.h"
#include "util/md5.h"
#include "util/os_family.h"
#include "util/text.h"

namespace test {
namespace {

using Texts = std::vector<std::wstring>;

constexpr wchar_t kKitTables[] = PREREQ_PACKAGE_DIR L"\\tables";
constexpr wchar_t kAnything[] = L"...";

struct Step {
  int line = 0;
  std::wstring word;
  std::wstring rest;
  Texts trace;  // Below a call.
};

struct Case {
  std::wstring name;
  std::wstring family;  // Empty means both.
  std::vector<Step> steps;
};

const std::set<std::wstring> kPackageWords = {L"row",      L"search",  L"find",   L"sql",
                                              L"property", L"feature", L"stream", L"install"};
const std::set<std::wstring> kFileWords = {L"file", L"folder", L"setup", L"readonly"};
const std::set<std::wstring> kOtherWords = {L"set",    L"state", L"talk",    L"call",
                                            L"check",  L"left",  L"content", L"command",
                                            L"ranges", L"word",  L"at",      L"writer"};

Texts SplitParts(const std::wstring& text) {
  Texts parts;
  size_t start = 0;
  // A bar of an empty part shares its blank with the next.
  for (size_t at; (at = text.find(L" |", start)) != text.npos; start = at + 2) {
    parts.push_back(text.substr(start, at - start));
  }
  parts.push_back(text.substr(start));
  for (std::wstring& part : parts) part.erase(0, part.find_first_not_of(L' '));
  return parts;
}

std::pair<std::wstring, std::wstring> SplitAt(const std::wstring& text, const std::wstring& mark) {
  const size_t at = text.find(mark);
  if (at == text.npos) return {text, {}};
  std::wstring value = text.substr(at + mark.size());
  if (value.starts_with(L' ')) value.erase(0, 1);
  return {text.substr(0, text.find_last_not_of(L' ', at - 1) + 1), value};
}

std::wstring JoinLines(const Texts& lines) {
  std::wstring text;
  for (const std::wstring& line : lines) text += line + L"\n";
  return text;
}

std::vector<Case> ReadCases(const char* file) {
  std::vector<Case> cases = {{}};
  for (const auto& [line, text] : ReadDataLines(file)) {
    const auto [word, rest] = SplitAt(text, L" ");
    if (word == L"case") {
      cases.push_back({rest, {}, {}});
    } else if (word == L"only") {
      cases.back().family = rest;
    } else if (kPackageWords.contains(word) || kFileWords.contains(word) ||
               kOtherWords.contains(word)) {
      cases.back().steps.push_back({line, word, rest, {}});
    } else {
      REQUIRE_FALSE(cases.back().steps.empty());
      cases.back().steps.back().trace.push_back(text);
    }
  }
  return cases;
}

class Runner {
 public:
  Runner(const char* file, const Words& words) : file_(file), words_(words) {}

  void Run() {
    const std::vector<Case> cases = ReadCases(file_.c_str());
    common_ = cases[0];
    for (auto one = cases.begin() + (cases.size() > 1); one != cases.end(); ++one) RunCase(*one);
  }

 private:
  void RunCase(const Case& one) {
    const auto is_package = [](const Step& step) { return kPackageWords.contains(step.word); };
    if (!one.family.empty() && (one.family == L"newer") != util::IsNtFamily()) return;
    const bool own_package = one.name.empty() || std::ranges::any_of(one.steps, is_package);
    if (own_package || fixture_is_own_) fixture_.reset();
    const bool is_new = fixture_ == nullptr;
    if (is_new) {
      product_.reset();
      finds_.clear();
      sequence_ = 0;
      has_searches_ = false;
      fixture_ = std::make_unique<ActionFixture>();
      fixture_is_own_ = own_package;
    } else {
      fixture_->RenewFolder();
    }
    setups_.clear();
    server_.reset();
    talk_.clear();
    for (const Step* step : InOrder(one)) {
      INFO(file_, ":", step->line, ": ", ToUtf8(one.name));
      if (!kPackageWords.contains(step->word)) {
        Do(*step);
      } else if (is_new) {
        Build(*step);
      }
    }
    if (fixture_is_own_) {
      INFO(file_, ": ", ToUtf8(one.name));
      fixture_.reset();
      product_.reset();
      return;
    }
    for (auto value = changed_.rbegin(); value != changed_.rend(); ++value) {
      fixture_->session().SetProperty(value->first, value->second);
    }
    changed_.clear();
  }

  // First what the package and the folder hold, of all cases and of this one, then the rest.
  [[nodiscard]] std::vector<const Step*> InOrder(const Case& one) const {
    const auto is_early = [](const Step& step) {
      return kPackageWords.contains(step.word) || kFileWords.contains(step.word);
    };
    const auto late = std::ranges::find_if_not(one.steps, is_early);
    std::vector<const Step*> order;
    const auto add = [&](auto begin, auto end, auto wanted) {
      for (; begin != end; ++begin) {
        if (wanted(*begin)) order.push_back(&*begin);
      }
    };
    const auto all = [](const Step&) { return true; };
    add(common_.steps.begin(), common_.steps.end(), is_early);
    add(one.steps.begin(), late, all);
    add(common_.steps.begin(), common_.steps.end(), std::not_fn(is_early));
    add(late, one.steps.end(), all);
    return order;
  }

  std::wstring Expand(std::wstring text) const {
    // The innermost first: a word may stand in another's text.
    for (size_t end; (end = text.find(L'}')) != text.npos;) {
      const size_t start = text.rfind(L'{', end);
      // Also the braces of a product code; what they hold is no word.
      if (start == text.npos) break;
      const std::wstring word = text.substr(start + 1, end - start - 1);
      std::wstring value = Word(word);
      for (wchar_t& letter : value) {
        if (letter == L'{') letter = kOpen;
        if (letter == L'}') letter = kClose;
      }
      text.replace(start, end - start + 1, value);
    }
    for (wchar_t& letter : text) {
      if (letter == kOpen) letter = L'{';
      if (letter == kClose) letter = L'}';
    }
    return text;
  }

  // Each case has a share of the server of its own, made when it is named first.
  FaultServer& Server() const {
    if (!server_) server_.emplace();
    return *server_;
  }

  std::wstring ServerAddress() const {
    const std::wstring url = util::ToWide(Server().Url("ok", "x"));
    return url.substr(0, url.size() - 5);
  }

  std::wstring Word(const std::wstring& word) const {
    const auto own = words_.find(word);
    if (own != words_.end()) return own->second;
    if (word == L"folder") return fixture_->folder().path();
    if (word == L"server") return ServerAddress();
    if (word == L"package") return fixture_->package().path();
    if (word == L"code") return fixture_->package().product_code();
    if (word == L"pid") return util::ToDecimal(::GetCurrentProcessId());
    if (word == L"language") return util::ToDecimal(::GetSystemDefaultLangID());
    if (word == L"drive") return ProgramFolder().substr(0, 3);
    if (word == L"then") return L"\x01";
    if (word == L"blank") return L" ";
    const auto [name, rest] = SplitAt(word, L" ");
    if (name == L"size") {
      return util::ToDecimal(ReadWholeFile(fixture_->folder() / rest).size());
    }
    if (name == L"md5" || name == L"MD5") {
      std::wstring digest = util::ToWide(util::ReadFileMd5(fixture_->folder() / rest).value_or(""));
      if (name == L"MD5") ::CharUpperW(digest.data());
      return digest;
    }
    if (name == L"error") {
      const std::wstring text = util::ErrorText(util::ParseDecimal<uint32_t>(rest));
      return text.substr(0, text.find_last_not_of(L"\r\n") + 1);
    }
    if (name == L"fit") {
      const auto [length, fixed] = SplitAt(rest, L" ");
      return std::wstring(util::ParseDecimal<size_t>(length) - fixed.size(), L'o');
    }
    FAIL("no such word: ", ToUtf8(word));
    return {};
  }

  // "Column=text" parts after `fixed` cells.
  TestPackage::Cells Cells(const Texts& parts, TestPackage::Cells fixed) const {
    for (size_t i = 1; i < parts.size(); ++i) {
      const auto [column, value] = SplitAt(parts[i], L"=");
      std::erase_if(fixed, [&, &name = column](const auto& cell) { return cell.first == name; });
      fixed.emplace_back(column, value);
    }
    return fixed;
  }

  void Build(const Step& step) {
    TestPackage& package = fixture_->package();
    const std::wstring rest = Expand(step.rest);
    const Texts parts = SplitParts(rest);
    if (step.word == L"row") {
      package.AddRow(L"QX_PreRequisite", Cells(parts, {{L"Prereq", L"key-" + parts[0]},
                                                       {L"DisplayName", parts[0]},
                                                       {L"Sequence", util::ToDecimal(++sequence_)},
                                                       {L"Location", L"0"},
                                                       {L"Feature_", L"Main"}}));
    } else if (step.word == L"search") {
      AddSearch(Cells(parts, {{L"Property", parts[0]}}));
    } else if (step.word == L"find") {
      const auto [search, value] = SplitAt(rest, L"=>");
      const wchar_t* const columns[] = {L"Type",   L"SearchString", L"VerMin",
                                        L"VerMax", L"RefContent",   L"Platform"};
      TestPackage::Cells cells = {{L"Property", L"P" + std::to_wstring(step.line)}};
      const Texts values = SplitParts(search);
      for (size_t i = 0; i < values.size(); ++i) cells.emplace_back(columns[i], values[i]);
      cells.resize(7);
      finds_.push_back({step.line, cells, value});
      AddSearch(cells);
    } else if (step.word == L"property") {
      const auto [name, value] = SplitAt(rest, L"=");
      package.AddProperty(name, value);
    } else if (step.word == L"feature") {
      package.AddFeature(parts[0], util::ParseDecimal<int>(parts[1]), 0);
    } else if (step.word == L"stream") {
      package.AddStream(parts[0], L"Data", parts[1], parts[2]);
    } else if (step.word == L"sql") {
      package.Execute(rest);
    } else {
      package.Close();
      product_.emplace(package);
    }
  }

  void AddSearch(const TestPackage::Cells& cells) {
    if (!std::exchange(has_searches_, true)) {
      fixture_->package().Import(kKitTables, L"QX_AppSearchEx.idt");
    }
    TestPackage::Cells row = cells;
    std::erase_if(row, [](const auto& cell) { return cell.first.empty(); });
    if (std::ranges::none_of(row, [](const auto& cell) { return cell.first == L"Order"; })) {
      row.emplace_back(L"Order", util::ToDecimal(++sequence_));
    }
    fixture_->package().AddRow(L"QX_AppSearchEx", row);
  }

  void Set(const std::wstring& name, const std::wstring& value) {
    const MsiSessionRig& rig = fixture_->session();
    changed_.emplace_back(name, rig.Property(name));
    rig.SetProperty(name, value);
  }

  void Do(const Step& step) {
    const TempFolder& folder = fixture_->folder();
    const std::wstring rest = Expand(step.rest);
    const Texts parts = SplitParts(rest);
    const auto [name, value] = SplitAt(rest, L"=");
    if (step.word == L"file") {
      folder.Write(parts[0], util::ToAnsi(parts.size() > 1 ? parts[1] : L"x"));
    } else if (step.word == L"folder") {
      folder.MakeFolder(rest);
    } else if (step.word == L"setup") {
      setups_.emplace_back(rest, SetupProgram(folder, rest));
    } else if (step.word == L"readonly") {
      REQUIRE(::SetFileAttributesW((folder / rest).c_str(), FILE_ATTRIBUTE_READONLY));
    } else if (step.word == L"set") {
      Set(name, value);
    } else if (step.word == L"state") {
      REQUIRE(fixture_->session().session().SetFeatureState(
          name, value == L"local" ? INSTALLSTATE_LOCAL : INSTALLSTATE_ABSENT));
    } else if (step.word == L"talk") {
      talk_.push_back(parts);
    } else if (step.word == L"at") {
      fixture_->At(parts[0], [from = folder / parts[1], to = folder / parts[2]] {
        ::CopyFileW(from.c_str(), to.c_str(), FALSE);
      });
    } else if (step.word == L"writer") {
      writer_.Reset(::CreateFileW((folder / rest).c_str(), GENERIC_WRITE,
                                  FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr,
                                  OPEN_EXISTING, 0, nullptr));
      REQUIRE(writer_);
    } else if (step.word == L"call") {
      Call(util::ToAnsi(name), util::ParseDecimal<UINT>(value), step);
    } else if (step.word == L"check") {
      CHECK(ToUtf8(fixture_->session().Property(name)) == ToUtf8(value));
    } else if (step.word == L"left") {
      Texts names = ListBelow(folder.path());
      std::ranges::sort(names);
      CHECK(ToUtf8(JoinLines(names)) == ToUtf8(JoinLines(rest.empty() ? Texts() : parts)));
    } else if (step.word == L"content") {
      const std::string expected = util::ToAnsi(value);
      CHECK((util::PathExists(folder / name) ? ReadWholeFile(folder / name) : "(none)") ==
            expected);
    } else if (step.word == L"word") {
      words_[name] = value;
    } else if (step.word == L"ranges") {
      CHECK(Server().Asked() == util::ToAnsi(rest));
    } else if (step.word == L"command") {
      CHECK(ReadRunValue(fixture_->package().product_code()) == util::ToAnsi(rest));
    }
  }

  void Call(const std::string& action, UINT result, const Step& step) {
    Texts script;
    Texts expected_runs;
    for (const std::wstring& line : step.trace) {
      const std::wstring text = Expand(line);
      (text.starts_with(L"ran ") ? expected_runs : script).push_back(text);
    }
    for (const auto& [name, setup] : setups_) ::DeleteFileW((setup.path() + L".log").c_str());
    fixture_->AddUpBars(action == "DownloadPrereq");
    {
      std::optional<Worker> client;
      if (!talk_.empty()) client.emplace([this] { Talk(); });
      CHECK(fixture_->Call(action, script) == result);
      fixture_->ForgetActions();
      writer_.Reset();
    }
    if (!talk_.empty()) CheckReplies();
    if (script != Texts{kAnything}) {
      CHECK(ToUtf8(JoinLines(fixture_->trace())) == ToUtf8(JoinLines(script)));
    }
    // Nobody waits for the program that unpacks, but it is known to have been started.
    Texts runs = Runs();
    for (int i = 0; i < 500 && runs.empty() && !talk_.empty(); ++i, runs = Runs()) ::Sleep(10);
    if (talk_.empty() || !expected_runs.empty()) {
      CHECK(ToUtf8(JoinLines(runs)) == ToUtf8(JoinLines(expected_runs)));
    }
    talk_.clear();
    for (const Find& find : finds_) {
      INFO("the search of line ", find.line);
      const std::wstring property = find.cells[0].second;
      const MsiSessionRig& rig = fixture_->session();
      CHECK(ToUtf8(rig.Property(property)) == ToUtf8(find.value));
      CHECK(rig.Property(property + L"QxVerMin") == find.cells[3].second);
      CHECK(rig.Property(property + L"QxVerMax") == find.cells[4].second);
    }
  }

  // On a thread of its own, so it checks nothing.
  void Talk() {
    const PipeClient pipe(util::ToDecimalAnsi(::GetCurrentProcessId()));
    replies_.clear();
    for (const Texts& message : talk_) {
      std::wstring replies;
      for (size_t i = 0; i + 1 < message.size(); ++i) {
        std::wstring text = i == 0 ? Kind(message[0]) : message[i];
        if (text.starts_with(L'!')) {
          pipe.Say(text.substr(1));
          replies = L"-";
        } else {
          if (!replies.empty() && replies != L"OK") replies += L", then ";
          if (replies == L"OK") replies.clear();
          replies += pipe.Ask(text);
        }
      }
      replies_.push_back(replies);
    }
    pipe.Say(L"CLOSE");
  }

  void CheckReplies() const {
    Texts expected;
    for (const Texts& message : talk_)
      expected.push_back(message.size() < 2 ? L"" : message.back());
    CHECK(ToUtf8(JoinLines(replies_)) == ToUtf8(JoinLines(expected)));
  }

  static std::wstring Kind(const std::wstring& name) {
    static const Words kKinds = {{L"total", kPipeTotal},
                                 {L"progress", kPipeProgress},
                                 {L"full", kPipeDiskFull},
                                 {L"group", kPipeGroupStart},
                                 {L"file", kPipeFile}};
    const auto kind = kKinds.find(name);
    return kind == kKinds.end() ? name : kind->second;
  }

  Texts Runs() const {
    Texts runs;
    for (const auto& [name, setup] : setups_) {
      for (const SetupRun& run : setup.Runs()) {
        std::wstring line = L"ran " + name + (run.arguments.empty() ? L"" : L" | " + run.arguments);
        if (run.hidden) line += L" (hidden)";
        if (!setup.path().ends_with(run.folder + setup.path().substr(setup.path().rfind(L'\\')))) {
          line += L" (elsewhere)";
        }
        runs.push_back(std::move(line));
      }
    }
    return runs;
  }

  struct Find {
    int line;
    TestPackage::Cells cells;
    std::wstring value;
  };
  static constexpr wchar_t kOpen = L'\xE000';
  static constexpr wchar_t kClose = L'\xE001';

  std::string file_;
  Words words_;
  Case common_;
  std::unique_ptr<ActionFixture> fixture_;
  bool fixture_is_own_ = false;  // Else the next case without a package of its own may use it.
  std::optional<InstalledProduct> product_;
  std::vector<Find> finds_;
  mutable std::optional<FaultServer> server_;
  uint64_t sequence_ = 0;
  bool has_searches_ = false;
  std::vector<std::pair<std::wstring, SetupProgram>> setups_;
  std::vector<std::pair<std::wstring, std::wstring>> changed_;
  util::UniqueFile writer_;  // Closed after the next call.
  std::vector<Texts> talk_;
  Texts replies_;
};

}  // namespace

void RunScenarios(const char* file, const Words& words) { Runner(file, words).Run(); }

}  // namespace test
