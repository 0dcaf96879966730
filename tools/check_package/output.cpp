#include "output.h"

#include <algorithm>
#include <iterator>

#include "text_file.h"
#include "util/text.h"

namespace check {
namespace {

std::wstring CountOf(size_t count, const wchar_t* what) {
  const std::wstring number = count == 0 ? L"no" : util::ToDecimal(count);
  return number + L" " + what + (count == 1 ? L"" : L"s");
}

const wchar_t* NameOf(Severity severity) {
  return severity == Severity::kError ? L"error" : L"warning";
}

// A document, written member by member. Commas and line ends are its own affair.
class JsonWriter {
 public:
  void Open(const wchar_t* name, wchar_t bracket) {
    Begin(name);
    text_ += bracket;
    depth_ += 1;
    is_first_ = true;
  }
  void Close(wchar_t bracket) {
    depth_ -= 1;
    if (!is_first_) NewLine();
    text_ += bracket;
    is_first_ = false;
  }
  void Text(const wchar_t* name, std::wstring_view value) {
    Begin(name);
    text_ += InQuotes(value);
  }
  // A number, true or false.
  void Plain(const wchar_t* name, const std::wstring& value) {
    Begin(name);
    text_ += value;
  }
  [[nodiscard]] std::wstring Take() { return std::move(text_) + L"\n"; }

 private:
  void NewLine() { text_ += L"\n" + std::wstring(depth_ * 2, L' '); }
  void Begin(const wchar_t* name) {
    if (!is_first_) text_ += L',';
    if (depth_ != 0) NewLine();
    is_first_ = false;
    if (*name != L'\0') text_ += InQuotes(name) + L": ";
  }
  static std::wstring InQuotes(std::wstring_view value) {
    constexpr wchar_t kDigits[] = L"0123456789abcdef";
    std::wstring quoted = L"\"";
    for (const wchar_t letter : value) {
      if (letter == L'"' || letter == L'\\') {
        quoted += {L'\\', letter};
      } else if (letter < L' ') {
        quoted += {L'\\', L'u', L'0', L'0', kDigits[letter >> 4], kDigits[letter & 15]};
      } else {
        quoted += letter;
      }
    }
    return quoted + L'"';
  }

  std::wstring text_;
  size_t depth_ = 0;
  bool is_first_ = true;
};

std::wstring TrueOrFalse(bool value) { return value ? L"true" : L"false"; }

// A path as the address of a file: other letters than plain ones as their bytes in UTF-8.
std::wstring ToAddress(std::wstring path) {
  constexpr std::string_view kPlain =
      "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-._~/";
  constexpr wchar_t kDigits[] = L"0123456789ABCDEF";
  std::replace(path.begin(), path.end(), L'\\', L'/');
  const bool has_drive = path.size() > 1 && path[1] == L':';
  std::wstring address = has_drive                 ? L"file:///" + path.substr(0, 2)
                         : path.starts_with(L"//") ? L"file:"
                                                   : L"";
  for (const char byte : ToUtf8(has_drive ? path.substr(2) : path)) {
    if (kPlain.find(byte) != kPlain.npos) {
      address += static_cast<wchar_t>(byte);
    } else {
      const auto code = static_cast<unsigned char>(byte);
      address += {L'%', kDigits[code >> 4], kDigits[code & 15]};
    }
  }
  return address;
}

void WriteMessage(JsonWriter* json, const wchar_t* name, std::wstring_view text) {
  json->Open(name, L'{');
  json->Text(L"text", text);
  json->Close(L'}');
}

void WriteRules(JsonWriter* json) {
  json->Open(L"rules", L'[');
  for (const FindingKind& kind : kKinds) {
    json->Open(L"", L'{');
    json->Text(L"id", kind.key);
    WriteMessage(json, L"shortDescription", kind.means);
    json->Open(L"defaultConfiguration", L'{');
    json->Text(L"level", NameOf(kind.severity));
    json->Close(L'}');
    json->Close(L'}');
  }
  json->Close(L']');
}

void WriteResult(JsonWriter* json, const Report& report, const Finding& finding) {
  json->Open(L"", L'{');
  json->Text(L"ruleId", finding.kind->key);
  json->Plain(L"ruleIndex", util::ToDecimal(static_cast<size_t>(finding.kind - kKinds)));
  json->Text(L"level", NameOf(finding.kind->severity));
  WriteMessage(json, L"message", finding.Message());
  json->Open(L"locations", L'[');
  json->Open(L"", L'{');
  json->Open(L"physicalLocation", L'{');
  json->Open(L"artifactLocation", L'{');
  json->Text(L"uri", ToAddress(report.package()));
  json->Close(L'}');
  json->Close(L'}');
  if (!finding.place.table.empty()) {
    json->Open(L"logicalLocations", L'[');
    json->Open(L"", L'{');
    json->Text(L"fullyQualifiedName", finding.place.Text());
    json->Close(L'}');
    json->Close(L']');
  }
  json->Close(L'}');
  json->Close(L']');
  json->Close(L'}');
}

}  // namespace

std::wstring FormatText(const Verdict& verdict) {
  const Report& report = verdict.report;
  std::wstring text;
  for (const Finding& finding : report.findings()) {
    const std::wstring place = finding.place.Text();
    text += report.package() + L": " + NameOf(finding.kind->severity) + L" " + finding.kind->key +
            L": " + (place.empty() ? L"" : place + L": ") + finding.Message() + L"\r\n";
  }
  if (!verdict.was_opened) return text;
  return text + report.package() + L": " + CountOf(report.Count(Severity::kError), L"error") +
         L", " + CountOf(report.Count(Severity::kWarning), L"warning") + L"\r\n";
}

std::wstring FormatJson(const std::vector<Verdict>& verdicts) {
  JsonWriter json;
  json.Open(L"", L'{');
  json.Open(L"packages", L'[');
  for (const auto& [report, was_opened] : verdicts) {
    json.Open(L"", L'{');
    json.Text(L"file", report.package());
    json.Plain(L"opened", TrueOrFalse(was_opened));
    json.Plain(L"errors", util::ToDecimal(report.Count(Severity::kError)));
    json.Plain(L"warnings", util::ToDecimal(report.Count(Severity::kWarning)));
    json.Open(L"findings", L'[');
    for (const Finding& finding : report.findings()) {
      json.Open(L"", L'{');
      json.Text(L"key", finding.kind->key);
      json.Text(L"severity", NameOf(finding.kind->severity));
      json.Text(L"table", finding.place.table);
      json.Text(L"row", finding.place.row);
      json.Text(L"column", finding.place.column);
      json.Text(L"text", finding.text);
      json.Text(L"advice", finding.advice);
      json.Close(L'}');
    }
    json.Close(L']');
    json.Close(L'}');
  }
  json.Close(L']');
  json.Close(L'}');
  return json.Take();
}

std::wstring FormatSarif(const std::vector<Verdict>& verdicts, const std::wstring& version) {
  JsonWriter json;
  json.Open(L"", L'{');
  json.Text(L"$schema", L"https://json.schemastore.org/sarif-2.1.0.json");
  json.Text(L"version", L"2.1.0");
  json.Open(L"runs", L'[');
  json.Open(L"", L'{');
  json.Open(L"tool", L'{');
  json.Open(L"driver", L'{');
  json.Text(L"name", L"check_package");
  json.Text(L"version", version);
  WriteRules(&json);
  json.Close(L'}');
  json.Close(L'}');
  json.Open(L"invocations", L'[');
  json.Open(L"", L'{');
  json.Plain(L"executionSuccessful",
             TrueOrFalse(std::all_of(verdicts.begin(), verdicts.end(),
                                     [](const Verdict& one) { return one.was_opened; })));
  json.Close(L'}');
  json.Close(L']');
  json.Open(L"results", L'[');
  for (const Verdict& verdict : verdicts) {
    for (const Finding& finding : verdict.report.findings()) {
      WriteResult(&json, verdict.report, finding);
    }
  }
  json.Close(L']');
  json.Close(L'}');
  json.Close(L']');
  json.Close(L'}');
  return json.Take();
}

}  // namespace check
