#include "roads.h"

namespace check {

const std::vector<Road>& AllRoads() {
  static const std::vector<Road> roads = [] {
    constexpr struct {
      RoadKind kind;
      const wchar_t* installed;
      const wchar_t* remove;
      const wchar_t* resume;
    } kRoadKinds[] = {{RoadKind::kFirst, L"", L"", L""},
                      {RoadKind::kResumed, L"", L"", L"1"},
                      {RoadKind::kRepair, L"00:00:00", L"", L""},
                      {RoadKind::kChange, L"00:00:00", L"", L""},
                      {RoadKind::kRemoval, L"00:00:00", L"ALL", L""}};
    constexpr struct {
      const wchar_t* level;
      bool has_dialogs;
    } kLevels[] = {{L"5", true}, {L"2", false}, {L"3", false}, {L"4", true}};
    std::vector<Road> made;
    for (const auto& [kind, installed, remove, resume] : kRoadKinds) {
      for (const auto& [level, has_dialogs] : kLevels) {
        Values known = {{L"Installed", installed}, {L"REMOVE", remove},
                        {L"QX_RESUME", resume},    {L"UPGRADINGPRODUCTCODE", L""},
                        {L"PATCH", L""},           {L"RESUME", L""},
                        {L"UILevel", level}};
        // Dialogs choose between repair and change after actions may have asked.
        if (kind == RoadKind::kRepair && !has_dialogs) known[L"REINSTALL"] = L"ALL";
        if (kind == RoadKind::kFirst || kind == RoadKind::kResumed) known[L"REINSTALL"] = L"";
        made.push_back({kind, has_dialogs, std::move(known)});
      }
    }
    return made;
  }();
  return roads;
}

const Road& FirstWithDialogs() { return AllRoads()[0]; }
const Road& FirstSilent() { return AllRoads()[1]; }

Sequence Roads::UserInterface(const Road& road) const {
  return schedule_.user_interface.Only([&](const ScheduledAction& action) {
    return road.has_dialogs && Runs(road, action) != Outcome::kNever;
  });
}

Sequence Roads::Execute(const Road& road) const {
  return schedule_.execute.Only(
      [&](const ScheduledAction& action) { return Runs(road, action) != Outcome::kNever; });
}

bool Roads::Reaches(const Road& road, Phase phase) const {
  return UserInterface(road).First(phase) != nullptr || Execute(road).First(phase) != nullptr ||
         (road.has_dialogs && schedule_.DialogsStart(phase));
}

}  // namespace check
