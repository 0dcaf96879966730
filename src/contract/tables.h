#ifndef CONTRACT_TABLES_H_
#define CONTRACT_TABLES_H_

// The tables that the library adds to those of the installer.
namespace contract {

inline constexpr wchar_t kPrerequisiteTable[] = L"QX_PreRequisite";
inline constexpr wchar_t kSearchTable[] = L"QX_AppSearchEx";

}  // namespace contract

#endif  // CONTRACT_TABLES_H_
