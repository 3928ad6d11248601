// vosctl: talks to the hub, to daemons and to the library's families from the command line.
#include <algorithm>
#include <cstdio>
#include <string_view>
#include <vector>

#include "command.h"

namespace {

std::vector<const vosctl::Command *> &commands() {
    static std::vector<const vosctl::Command *> all;
    return all;
}

}  // namespace

namespace vosctl {

Command::Command(const char *commandName, const char *commandSummary, SetUp commandSetUp)
    : name{commandName}, summary{commandSummary}, setUp{commandSetUp} {
    commands().push_back(this);
}

}  // namespace vosctl

int main(int argc, char **argv) {
    CLI::App app{"Talks to the hub and to what runs on it.", "vosctl"};
    app.set_version_flag("--version", VOSCTL_VERSION);
    app.require_subcommand(1);
    std::ranges::sort(commands(), {}, [](const vosctl::Command *command) { return std::string_view{command->name}; });
    for (const vosctl::Command *command : commands()) {
        command->setUp(*app.add_subcommand(command->name, command->summary));
    }
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError &error) {
        if (error.get_exit_code() == 0) {
            return app.exit(error);  // --help, --version
        }
        fprintf(stderr, "vosctl: %s; see 'vosctl --help'\n", error.what());
        return static_cast<int>(vosctl::Exit::usage);
    } catch (const vosctl::Failure &failure) {
        fprintf(stderr, "vosctl: %s\n", failure.text.c_str());
        return static_cast<int>(failure.status);
    }
    return 0;
}
