#include "prereq/manager.h"

#include "msi/messages.h"

namespace prereq {

void PrerequisiteManager::Announce(const wchar_t* action) const {
  msi::AnnounceAction(session_, action, action);
}

}  // namespace prereq
