#ifndef CHECK_PACKAGE_ROADS_H_
#define CHECK_PACKAGE_ROADS_H_

#include "condition_trials.h"
#include "schedule.h"

namespace check {

enum class RoadKind { kFirst, kResumed, kRepair, kChange, kRemoval };

// One way that an installation of the package can go: which sequences it runs, and the properties
// by which conditions know it.
struct Road {
  RoadKind kind;
  bool has_dialogs;  // InstallUISequence runs before the other.
  Values known;

  // The product is about to be installed on a machine without it.
  [[nodiscard]] bool IsInstallation() const {
    return kind == RoadKind::kFirst || kind == RoadKind::kResumed;
  }
};

// Every road, the first installation with dialogs in front and the silent one behind it.
[[nodiscard]] const std::vector<Road>& AllRoads();
[[nodiscard]] const Road& FirstWithDialogs();
[[nodiscard]] const Road& FirstSilent();

// What runs on which road.
class Roads {
 public:
  Roads(const Schedule& schedule, const ConditionTrials& trials)
      : schedule_(schedule), trials_(trials) {}

  [[nodiscard]] Outcome Runs(const Road& road, const ScheduledAction& action) const {
    return trials_.Try(action.condition, road.known);
  }
  // The actions of a sequence that can run on that road; none of a sequence that it does not run.
  [[nodiscard]] Sequence UserInterface(const Road& road) const;
  [[nodiscard]] Sequence Execute(const Road& road) const;
  // True when either sequence can run an action of that phase there, or a dialog start it.
  [[nodiscard]] bool Reaches(const Road& road, Phase phase) const;

 private:
  const Schedule& schedule_;
  const ConditionTrials& trials_;
};

}  // namespace check

#endif  // CHECK_PACKAGE_ROADS_H_
