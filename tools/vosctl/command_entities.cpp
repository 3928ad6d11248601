// vosctl entities: the firmware's table of daemons.
#include <cstdio>
#include <memory>
#include <nlohmann/json.hpp>
#include <optional>
#include <vector>

#include "command.h"
#include "output.h"
#include "vos/eid.h"

namespace {

struct Options {
    std::optional<uint16_t> bit;
    bool json = false;
};

std::vector<EntityInfo> table() {
    std::vector<EntityInfo> rows;
    vosEid_forEachEntityInfo(
        [](const EntityInfo *row, void *context) {
            static_cast<std::vector<EntityInfo> *>(context)->push_back(*row);
            return 0;
        },
        &rows);
    return rows;
}

void printText(const std::vector<EntityInfo> &rows) {
    printf("%6s  %4s  %s\n", "ENTITY", "BIT", "NAME");
    for (const EntityInfo &row : rows) {
        printf("%6u  0x%02x  %s\n", row.eid, row.accessBit, row.name);
    }
}

void printJson(const std::vector<EntityInfo> &rows) {
    auto all = nlohmann::ordered_json::array();
    for (const EntityInfo &row : rows) {
        all.push_back({{"eid", row.eid}, {"name", row.name}, {"accessBit", row.accessBit}});
    }
    vosctl::printJson(all);
}

void run(const Options &options) {
    std::vector<EntityInfo> rows = table();
    if (options.bit) {
        std::erase_if(rows, [&](const EntityInfo &row) { return row.accessBit != *options.bit; });
    }
    if (rows.empty()) {
        throw vosctl::Failure{"no entity has this access bit"};
    }
    options.json ? printJson(rows) : printText(rows);
}

void setUp(vosctl::Arguments app) {
    auto options = std::make_shared<Options>();
    app.option("--bit", options->bit, "only rows with exactly this access bit");
    app.flag("--json", options->json, "an array of objects");
    app.runs([options] { run(*options); });
}
const vosctl::Command kCommand{"entities", "list the firmware's daemons", setUp};

}  // namespace
