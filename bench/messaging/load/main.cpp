// How the hub behaves as load and clients grow: three tables for docs/benchmarks.md.
// hub_load [clients] [floods] [deaf] [PATH/OF/HUB]; all three tables unless some are named.
#include <sys/resource.h>

#include <algorithm>
#include <cstdio>
#include <string_view>
#include <vector>

#include "hub_child.h"
#include "tables.h"

namespace {

constexpr struct {
    std::string_view name;
    void (*print)(const std::string &program);
} kTables[] = {{"clients", load::tableOfClients}, {"floods", load::tableOfFloods}, {"deaf", load::tableOfMemory}};

}  // namespace

int main(int argc, char **argv) {
    std::string program = VOS_HUBD;
    std::vector<std::string_view> asked;
    for (const std::string_view argument : std::vector<std::string_view>(argv + 1, argv + argc)) {
        if (argument.find('/') != std::string_view::npos) {
            program = argument;
        } else if (std::ranges::any_of(kTables, [&](const auto &table) { return table.name == argument; })) {
            asked.push_back(argument);
        } else {
            fprintf(stderr, "usage: hub_load [clients] [floods] [deaf] [PATH/OF/HUB]\n");
            return 2;
        }
    }
    rlimit limit{};
    getrlimit(RLIMIT_NOFILE, &limit);
    limit.rlim_cur = limit.rlim_max;
    setrlimit(RLIMIT_NOFILE, &limit);
    load::stayOnOneCore();
    for (const auto &table : kTables) {
        if (asked.empty() || std::ranges::find(asked, table.name) != asked.end()) {
            table.print(program);
            printf("\n");
        }
    }
}
