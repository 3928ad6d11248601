// vosctl: talks to the hub, to daemons and to the library's families from the command line.
#include <algorithm>
#include <cstdio>
#include <exception>
#include <new>
#include <string>
#include <string_view>
#include <vector>

#include <CLI/CLI.hpp>

#include "command.h"
#include "output.h"

namespace {

std::vector<const vosctl::Command *> &commands() {
    static std::vector<const vosctl::Command *> all;
    return all;
}

// The deepest command on the line: its help answers a usage error.
std::string commandPath(const CLI::App &app) {
    const auto chosen = app.get_subcommands();
    return chosen.empty() ? app.get_name() : app.get_name() + " " + commandPath(*chosen.front());
}

int fail(const CLI::App &app, const std::string &text, vosctl::Exit status) {
    const std::string advice = status == vosctl::Exit::kUsage ? "; see '" + commandPath(app) + " --help'" : "";
    fprintf(stderr, "vosctl: %s%s\n", text.c_str(), advice.c_str());
    return static_cast<int>(status);
}

}  // namespace

namespace vosctl {

Command::Command(const char *commandName, const char *commandSummary, SetUp commandSetUp)
    : name{commandName}, summary{commandSummary}, setUp{commandSetUp} {
    commands().push_back(this);
}

}  // namespace vosctl

// NOLINTNEXTLINE(bugprone-exception-escape): without memory for its command line the program may end
int main(int argc, char **argv) {
    vosctl::prepareOutput();
    CLI::App app{"Talks to the hub and to what runs on it.", "vosctl"};
    app.set_version_flag("--version", VOSCTL_VERSION);
    app.require_subcommand(1);
    std::ranges::sort(commands(), {}, [](const vosctl::Command *command) { return std::string_view{command->name}; });
    for (const vosctl::Command *command : commands()) {
        command->setUp(vosctl::Arguments{app.add_subcommand(command->name, command->summary)});
    }
    try {
        try {
            app.parse(argc, argv);
        } catch (const CLI::Success &help) {  // --help, --version
            app.exit(help);
        }
        vosctl::flushOutput();
    } catch (const CLI::ParseError &error) {
        const bool unknown = app.get_subcommands().empty() && app.remaining_size() > 0;
        return fail(app, unknown ? "unknown command or option '" + app.remaining().front() + "'" : error.what(),
                    vosctl::Exit::kUsage);
    } catch (const vosctl::Ended &ended) {
        return ended.status;
    } catch (const vosctl::Failure &failure) {
        return fail(app, failure.text, failure.status);
    } catch (const std::bad_alloc &) {
        return fail(app, "out of memory", vosctl::Exit::kFailed);
    } catch (const std::exception &error) {
        return fail(app, error.what(), vosctl::Exit::kFailed);
    }
    return 0;
}
