// vosctl entities: the firmware's table of daemons.
#include <cstdio>
#include <memory>
#include <optional>
#include <vector>

#include "command.h"
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

// The table's names need no escaping.
void printJson(const std::vector<EntityInfo> &rows) {
    const char *separator = "[";
    for (const EntityInfo &row : rows) {
        printf("%s\n  {\"eid\": %u, \"name\": \"%s\", \"accessBit\": %u}", separator, row.eid, row.name, row.accessBit);
        separator = ",";
    }
    printf("\n]\n");
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

const vosctl::Command kCommand{"entities", "list the firmware's daemons", [](CLI::App &app) {
                                   auto options = std::make_shared<Options>();
                                   app.add_option("--bit", options->bit, "only rows with exactly this access bit");
                                   app.add_flag("--json", options->json, "an array of objects");
                                   app.callback([options] { run(*options); });
                               }};

}  // namespace
