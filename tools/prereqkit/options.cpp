#include "options.h"

#include <algorithm>
#include <iterator>

namespace kit {

const wchar_t kUsage[] =
    L"Puts prerequisites into a finished Windows Installer package.\n"
    L"\n"
    L"  prereqkit require PACKAGE SETUP --name TEXT SEARCH [option...]\n"
    L"      adds a prerequisite, and the library when it is not there yet\n"
    L"  prereqkit join PACKAGE      puts only the library in, or brings it up to date\n"
    L"  prereqkit list PACKAGE      shows prerequisites and searches\n"
    L"  prereqkit drop PACKAGE ID   takes a prerequisite out, by its id or name\n"
    L"  prereqkit unjoin PACKAGE    takes everything out again\n"
    L"\n"
    L"The prerequisite\n"
    L"  --name TEXT          its name, as users read it\n"
    L"  --run ARGUMENTS      the command line of its setup\n"
    L"  --url ADDRESS        the setup is downloaded from there; without this it lies beside the\n"
    L"                       package\n"
    L"  --inside             the setup travels inside the setup executable\n"
    L"  --feature NAME       the feature that needs it; the only one at the top when not given\n"
    L"  --after-product      its setup runs when the product is installed\n"
    L"  --mandatory          a failed download ends the downloads\n"
    L"  --languages LIST     only on systems of these languages, such as 1033,1031\n"
    L"  --order NUMBER       its place among the prerequisites; behind all others when not given\n"
    L"  --id NAME            its id; made from the setup's name when not given\n"
    L"The search: how it is found that the prerequisite is there already\n"
    L"  --find VALUE         a registry value, as HKLM\\Software\\Maker\\Product\\Version\n"
    L"  --find-key KEY       a registry key\n"
    L"  --find-file FILE     a file, as [ProgramFilesFolder]Maker\\product.exe\n"
    L"  --find-product CODE  an installed product, by its product code\n"
    L"  --find-related CODE  installed products, by their upgrade code\n"
    L"  --find-component CODE  an installed component\n"
    L"  --find-program FILE [--find-arguments TEXT]  a program that ends with 0\n"
    L"  --at-least VERSION, --at-most VERSION, --64  bounds; the 64-bit view of the system\n"
    L"  --property NAME      the property that the search sets\n"
    L"  --missing CONDITION  in place of a search: a condition that is true while it is missing\n"
    L"Every command that changes the package\n"
    L"  --out NEW.msi        the result goes there; the package stays as it is\n"
    L"  --dry-run            nothing is written\n"
    L"The library\n"
    L"  --language NAME      of its texts: en, de, fr, es, it, pt, nl, pl, cs, ru, tr, ja, ko, "
    L"zh;\n"
    L"                       that of the package when not given\n"
    L"  --verify-after       what is missing is asked for only when the product is installed\n"
    L"\n"
    L"A line for each change: + put in, - taken out, ~ changed, = left as it was. Exit code 0: "
    L"done;\n"
    L"1: refused, nothing was changed; 2: the command line is wrong.\n";

namespace {

struct TextOption {
  const wchar_t* name;
  std::wstring Requirement::*value;
};
constexpr TextOption kTexts[] = {{L"--name", &Requirement::name},
                                 {L"--run", &Requirement::arguments},
                                 {L"--url", &Requirement::url},
                                 {L"--feature", &Requirement::feature},
                                 {L"--languages", &Requirement::languages},
                                 {L"--order", &Requirement::order},
                                 {L"--id", &Requirement::id},
                                 {L"--at-least", &Requirement::at_least},
                                 {L"--at-most", &Requirement::at_most},
                                 {L"--property", &Requirement::property},
                                 {L"--find-arguments", &Requirement::search_arguments},
                                 {L"--missing", &Requirement::missing}};

struct SwitchOption {
  const wchar_t* name;
  bool Requirement::*value;
};
constexpr SwitchOption kSwitches[] = {{L"--inside", &Requirement::is_inside},
                                      {L"--after-product", &Requirement::is_after_product},
                                      {L"--mandatory", &Requirement::is_mandatory},
                                      {L"--64", &Requirement::view64}};

struct SearchOption {
  const wchar_t* name;
  int kind;
};
constexpr SearchOption kFinds[] = {
    {L"--find", kValueSearch},           {L"--find-key", kKeySearch},
    {L"--find-file", kFileSearch},       {L"--find-product", kProductSearch},
    {L"--find-related", kRelatedSearch}, {L"--find-component", kComponentSearch},
    {L"--find-program", kProgramSearch}};

struct CommandWord {
  const wchar_t* word;
  Command command;
  size_t operands;
};
constexpr CommandWord kCommands[] = {{L"join", Command::kJoin, 1},
                                     {L"require", Command::kRequire, 2},
                                     {L"list", Command::kList, 1},
                                     {L"drop", Command::kDrop, 2},
                                     {L"unjoin", Command::kUnjoin, 1}};

template <typename Row, size_t count>
const Row* Find(const Row (&rows)[count], const std::wstring& name) {
  const Row* const row = std::find_if(std::begin(rows), std::end(rows),
                                      [&](const Row& one) { return name == one.name; });
  return row == std::end(rows) ? nullptr : row;
}

// Reads the options of one command line; operands are left over.
class Reader {
 public:
  Reader(const std::vector<std::wstring>& arguments, Options* options)
      : arguments_(arguments), options_(*options) {}

  std::vector<std::wstring> Read() {
    std::vector<std::wstring> operands;
    for (at_ = 1; at_ < arguments_.size(); ++at_) {
      const std::wstring& argument = arguments_[at_];
      if (!argument.starts_with(L"--")) {
        operands.push_back(argument);
      } else {
        ReadOption(argument);
      }
    }
    return operands;
  }

 private:
  void Complain(const std::wstring& complaint) {
    if (options_.complaint.empty()) options_.complaint = complaint;
  }

  std::wstring Value(const std::wstring& option) {
    if (at_ + 1 < arguments_.size()) return arguments_[++at_];
    Complain(option + L" needs a value");
    return {};
  }

  void ReadOption(const std::wstring& name) {
    Requirement& wish = options_.requirement;
    const bool is_require = options_.command == Command::kRequire;
    if (name == L"--out") {
      options_.out = Value(name);
    } else if (name == L"--dry-run") {
      options_.is_dry_run = true;
    } else if (name == L"--language") {
      options_.join.language = Value(name);
    } else if (name == L"--verify-after") {
      options_.join.verify_after = true;
    } else if (const TextOption* const text = Find(kTexts, name); is_require && text != nullptr) {
      wish.*text->value = Value(name);
    } else if (const SwitchOption* const one = Find(kSwitches, name);
               is_require && one != nullptr) {
      wish.*one->value = true;
    } else if (const SearchOption* const search = Find(kFinds, name);
               is_require && search != nullptr) {
      if (wish.search >= 0) Complain(L"one search for each prerequisite");
      wish.search = search->kind;
      wish.search_text = Value(name);
    } else {
      Complain(name + L" is no option of " + arguments_.front());
    }
  }

  const std::vector<std::wstring>& arguments_;
  Options& options_;
  size_t at_ = 0;
};

}  // namespace

Options ReadOptions(const std::vector<std::wstring>& arguments) {
  Options options;
  if (arguments.empty() || arguments.front() == L"--help" || arguments.front() == L"/?") {
    return options;
  }
  const auto* const word =
      std::find_if(std::begin(kCommands), std::end(kCommands),
                   [&](const CommandWord& one) { return arguments.front() == one.word; });
  if (word == std::end(kCommands)) {
    options.complaint = L"\"" + arguments.front() + L"\" is no command";
    return options;
  }
  options.command = word->command;
  const std::vector<std::wstring> operands = Reader(arguments, &options).Read();
  if (operands.size() != word->operands && options.complaint.empty()) {
    options.complaint = arguments.front() + (word->operands == 1 ? L" takes a package"
                                             : options.command == Command::kDrop
                                                 ? L" takes a package and a prerequisite"
                                                 : L" takes a package and a setup");
  }
  if (!options.complaint.empty()) return options;
  options.package = operands[0];
  if (options.command == Command::kRequire) options.requirement.setup = operands[1];
  if (options.command == Command::kDrop) options.prerequisite = operands[1];
  if (options.command == Command::kRequire && options.requirement.name.empty()) {
    options.complaint = L"require takes --name: users read it when the prerequisite is missing";
  }
  return options;
}

}  // namespace kit
