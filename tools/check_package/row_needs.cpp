#include "row_needs.h"

#include "conditions.h"
#include "contract/tables.h"
#include "contract/properties.h"

namespace check {

RowNeeds ReadRowNeeds(const Context& context) {
  const bool is_inside = context.properties.IsSet(contract::kFilesInsideProperty);
  RowNeeds needs;
  needs.search = !context.package.Rows(contract::kSearchTable).empty();
  for (const PrerequisiteRow& row : context.prerequisites) {
    needs.verify |= !row.read.is_after_product;
    for (const std::wstring& name : ConditionText(row.read.missing_condition).properties) {
      needs.conditions_use_searches |= context.properties.IsFoundBySearch(name);
    }
    // Other rows are asked about and no more.
    if (!row.IsCarried() && !row.IsDownloaded()) continue;
    needs.download |= row.IsDownloaded();
    // An action of the author's may say at run time that they travel inside.
    needs.beside |=
        row.IsCarried() && context.package.DefaultOf(contract::kFilesInsideProperty).empty();
    needs.extract |= row.IsCarried() && is_inside;
    (row.read.is_after_product ? needs.after_product : needs.before_product) = true;
  }
  return needs;
}

}  // namespace check
