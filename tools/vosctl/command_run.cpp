// vosctl run: the process spawner from the shell.
#include <unistd.h>

#include <cstdio>
#include <cstring>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "command.h"
#include "common/msg_names.h"
#include "vos/prctl.h"

namespace {

struct Options {
    std::vector<std::string> command;
    uint32_t timeoutMs = 0;
    std::string netns;
    std::string directory;
    std::string libraryPath;
    uint32_t asLimit = 0;
    uint32_t rssLimit = 0;
    uint32_t nofileLimit = 0;
    uint32_t uid = 0;
    bool noCore = false;
    bool detach = false;
    bool quiet = false;
};

// The spawner takes full paths; a bare name is looked for in PATH as a shell would.
std::string findProgram(const std::string &name) {
    if (name.find('/') != std::string::npos) {
        return name;
    }
    const char *path = getenv("PATH");
    std::string rest = path == nullptr ? "/usr/bin:/bin" : path;
    while (!rest.empty()) {
        const size_t colon = rest.find(':');
        std::string candidate = rest.substr(0, colon) + "/" + name;
        if (access(candidate.c_str(), X_OK) == 0) {
            return candidate;
        }
        rest = colon == std::string::npos ? "" : rest.substr(colon + 1);
    }
    throw vosctl::Failure{"'" + name + "' is not in PATH; give the program's full path"};
}

std::string joined(const std::vector<std::string> &words) {
    std::string text;
    for (const std::string &word : words) {
        if (word.empty() || word.find_first_of(" \t") != std::string::npos) {
            throw vosctl::Failure{
                "'" + word + "' cannot be handed on: arguments are split at blanks; put it in a script",
                vosctl::Exit::usage};
        }
        text += (text.empty() ? "" : " ") + word;
    }
    return text;
}

std::string describe(const PrctlProcessResult &result) {
    const bool killed = result.signalNumber != 0;
    return "process " + std::to_string(result.pid) + (killed ? " was ended by signal " : " exited with ") +
           std::to_string(killed ? result.signalNumber : result.exitCode);
}

void run(const Options &options) {
    const std::string exe = findProgram(options.command.front());
    const std::string args = joined({options.command.begin() + 1, options.command.end()});
    const auto orNull = [](const std::string &text) { return text.empty() ? nullptr : text.c_str(); };
    PrctlSpawnRequest request{};
    request.exe = exe.c_str();
    request.args = args.c_str();
    request.workDir = orNull(options.directory);
    request.extraLibPath = orNull(options.libraryPath);
    request.spawnMode = options.timeoutMs != 0 ? PRCTL_SPAWN_AND_WAIT : 0;
    request.timeoutMs = options.timeoutMs;
    request.stdinFd = STDIN_FILENO;
    request.stdoutFd = STDOUT_FILENO;
    request.stderrFd = STDERR_FILENO;
    request.serverFd = -1;
    request.maxFd = 255;
    request.uid = options.uid;
    request.asLimit = options.asLimit;
    request.rssLimit = options.rssLimit;
    request.nofileLimit = options.nofileLimit;
    request.disableCore = options.noCore ? 1 : 0;
    request.detach = options.detach ? 1 : 0;
    request.netnsName = orNull(options.netns);
    fflush(stdout);
    const pid_t self = getpid();
    PrctlProcessResult result{};
    VosRet ret = prctl_spawnProcess(&request, &result);
    if (getpid() != self) {
        _exit(126);  // the child could not be prepared
    }
    if (ret == VOS_RET_OK && options.timeoutMs == 0) {
        const PrctlCollectRequest collect{.collectMode = PRCTL_COLLECT_PID, .pid = result.pid, .timeoutMs = 0};
        ret = prctl_collectProcess(&collect, &result);
    }
    if (ret != VOS_RET_OK) {
        throw vosctl::Failure{"cannot run " + exe + ": " + msgnames::retText(ret)};
    }
    if (result.signalNumber != 0 || result.exitCode != 0) {
        throw vosctl::Failure{describe(result)};
    }
    if (!options.quiet) {
        fprintf(stderr, "vosctl: %s\n", describe(result).c_str());
    }
}

const vosctl::Command kCommand{
    "run", "start a program with limits and report how it ended", [](CLI::App &app) {
        auto options = std::make_shared<Options>();
        app.add_option("command", options->command, "program and arguments, behind --")->required();
        app.add_option("--timeout", options->timeoutMs, "kill it after so long")->type_name("MS");
        app.add_option("--netns", options->netns, "network namespace to run in")->type_name("NAME");
        app.add_option("--dir", options->directory, "working directory")->type_name("DIR");
        app.add_option("--lib-path", options->libraryPath, "appended to LD_LIBRARY_PATH")->type_name("DIRS");
        app.add_option("--limit-as", options->asLimit, "address space")->type_name("BYTES");
        app.add_option("--limit-rss", options->rssLimit, "resident memory")->type_name("BYTES");
        app.add_option("--limit-nofile", options->nofileLimit, "descriptors")->type_name("N");
        app.add_option("--uid", options->uid, "user id to run as")->type_name("UID");
        app.add_flag("--no-core", options->noCore, "no core files");
        app.add_flag("--detach", options->detach, "in a session of its own");
        app.add_flag("-q,--quiet", options->quiet, "say nothing about a good end");
        app.callback([options] { run(*options); });
    }};

}  // namespace
