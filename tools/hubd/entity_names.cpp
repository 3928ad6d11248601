// The firmware's own entities.
#include "entity_names.h"

#include <algorithm>
#include <array>

namespace hubd {

namespace {

struct Row {
    VosEntityId eid;
    std::string_view name;
};

constexpr std::array kRows{
    Row{EID_HUBD, "hubd"}, Row{EID_GUARDD, "guardd"}, Row{4, "snmpd"},
    Row{15, "eponapp"},    Row{30, "logsaver"},       Row{42048, "gponproxy"},
};

}  // namespace

std::optional<VosEntityId> tableIdOf(std::string_view name) {
    const auto found = std::ranges::find(kRows, name, &Row::name);
    return found != kRows.end() ? std::optional{found->eid} : std::nullopt;
}

std::string_view tableNameOf(VosEntityId eid) {
    const auto found = std::ranges::find(kRows, eid, &Row::eid);
    return found != kRows.end() ? found->name : std::string_view{};
}

}  // namespace hubd
