#ifndef CHECK_PACKAGE_CONDITIONS_H_
#define CHECK_PACKAGE_CONDITIONS_H_

#include <set>
#include <string>
#include <string_view>
#include <vector>

namespace check {

// `NAME >= "2.0"` in a condition, the name first whichever side it stands on.
struct Comparison {
  std::wstring name;
  std::wstring sign;  // Of = <> < > <= >= and so on, without the "~" before it.
  std::wstring literal;
};

// What a condition of the installer holds, as far as its text says it.
struct ConditionText {
  explicit ConditionText(std::wstring_view condition);

  // In their order. Environment variables, states of features and components and what stands in
  // double quotes are none.
  std::vector<std::wstring> properties;
  std::vector<Comparison> comparisons;  // Of a property with a literal.
  std::set<std::wstring> literals;      // Numbers and quoted texts, without their quotes.
  bool names_others = false;            // A variable, a feature or a component.

  // True when it names nothing whose value could change.
  [[nodiscard]] bool IsConstant() const { return properties.empty() && !names_others; }
};

// The properties that a text for the installer to format names: "[NAME]".
std::vector<std::wstring> PropertiesInText(std::wstring_view text);

// True when the text looks like one that refers to a property.
bool HasReference(std::wstring_view text);

// Every word of the text that a property could be called.
std::vector<std::wstring_view> WordsIn(std::wstring_view text);

}  // namespace check

#endif  // CHECK_PACKAGE_CONDITIONS_H_
