// One subcommand of vosctl. A command_NAME.cpp file defines a constant of this type and is complete with it:
//
//     void setUp(Arguments app) {
//         auto options = std::make_shared<Options>();
//         app.option("entity", options->entity, "number or name").required();
//         app.runs([options] { run(*options); });
//     }
//     const vosctl::Command kCommand{"ping", "measure round trips to an entity", setUp};
//
// A command that cannot do its work throws Failure; main() prints it in one line.
#pragma once

#include <string>

#include "command_line.h"

namespace vosctl {

/** Exit statuses: 0 success, 1 the work failed, 2 the command line is wrong. */
enum class Exit { kFailed = 1, kUsage = 2 };

/** Ends the command with one line on standard error that says what to do. */
struct Failure {
    std::string text;
    Exit status = Exit::kFailed;
};

/** Ends the command with the status of a program that it ran. */
struct Ended {
    int status;
};

struct Command {
    using SetUp = void (*)(Arguments app);

    Command(const char *commandName, const char *commandSummary, SetUp commandSetUp);
    Command(const Command &) = delete;
    Command &operator=(const Command &) = delete;

    const char *name;
    const char *summary;
    SetUp setUp;
};

}  // namespace vosctl
