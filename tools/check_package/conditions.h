#ifndef CHECK_PACKAGE_CONDITIONS_H_
#define CHECK_PACKAGE_CONDITIONS_H_

#include <string>
#include <string_view>
#include <vector>

namespace check {

// The properties that a condition of the installer names, in their order. Environment variables,
// states of features and components and what stands in double quotes are none.
std::vector<std::wstring> PropertiesInCondition(std::wstring_view condition);

// Those that it asks whether they equal 1 or differ from it: `NAME = "1"`, `NAME <> 1`.
std::vector<std::wstring> PropertiesComparedWithOne(std::wstring_view condition);

// True when the condition names nothing whose value could change: no property, variable, feature or
// component.
bool IsConstant(std::wstring_view condition);

// True when the condition names anything besides properties: a variable, a feature or a component.
bool NamesMoreThanProperties(std::wstring_view condition);

// The properties that a text for the installer to format names: "[NAME]".
std::vector<std::wstring> PropertiesInText(std::wstring_view text);

// True when the text looks like one that refers to a property.
bool HasReference(std::wstring_view text);

}  // namespace check

#endif  // CHECK_PACKAGE_CONDITIONS_H_
