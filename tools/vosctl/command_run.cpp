// vosctl run: the process spawner from the shell.
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <functional>
#include <iterator>
#include <memory>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <vector>

#include "arguments.h"
#include "command.h"
#include "common/msg_names.h"
#include "output.h"
#include "vos/netns.h"
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
    std::optional<uint32_t> uid;
    bool noCore = false;
    bool detach = false;
    bool quiet = false;
    bool json = false;
};

bool isProgram(const std::string &path) {
    struct stat about {};
    return stat(path.c_str(), &about) == 0 && S_ISREG(about.st_mode) && access(path.c_str(), X_OK) == 0;
}

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
        if (isProgram(candidate)) {
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
                vosctl::Exit::kUsage};
        }
        text += (text.empty() ? "" : " ") + word;
    }
    return text;
}

// This process is nobody else's, so it may move. Quietly, because the failure is reported in one line.
bool enter(const std::string &netns) {
    const int kept = dup(STDERR_FILENO);
    close(STDERR_FILENO);
    const bool entered = netns_switch(netns.c_str()) == 0;
    dup2(kept, STDERR_FILENO);
    close(kept);
    return entered;
}

template <typename Resource>
bool takesLimit(Resource resource, uint32_t value) {
    const rlimit both{.rlim_cur = value, .rlim_max = value};
    return value == 0 || setrlimit(resource, &both) == 0;
}

// User 0 is the spawner's word for no change.
bool becomes(const std::optional<uint32_t> &uid) {
    return !uid || (*uid == 0 ? getuid() == 0 && geteuid() == 0 : setuid(*uid) == 0);
}

// A child tries in the spawner's order what the spawner would pass over or fail at without a word.
void rehearse(const Options &options, const std::string &exe) {
    const auto limit = [](const char *option, uint32_t value) {
        return std::string{"the limit "} + option + " " + std::to_string(value) + " is above what can be had here";
    };
    struct Step {
        std::string failure;
        std::function<bool()> isPossible;
    };
    const Step steps[] = {
        {"'" + options.directory + "' is no directory to start in; give another --dir",
         [&] { return options.directory.empty() || chdir(options.directory.c_str()) == 0; }},
        {"the user id " + std::to_string(options.uid.value_or(0)) + " cannot be had; only root may change it",
         [&] { return becomes(options.uid); }},
        {limit("--limit-rss", options.rssLimit), [&] { return takesLimit(RLIMIT_RSS, options.rssLimit); }},
        {limit("--limit-as", options.asLimit), [&] { return takesLimit(RLIMIT_AS, options.asLimit); }},
        {limit("--limit-nofile", options.nofileLimit), [&] { return takesLimit(RLIMIT_NOFILE, options.nofileLimit); }},
        {"'" + exe + "' is no program that can be run", [&] { return isProgram(exe); }},
    };
    const pid_t child = fork();
    if (child == 0) {
        const auto *failed =
            std::find_if_not(std::begin(steps), std::end(steps), [](const Step &step) { return step.isPossible(); });
        _exit(static_cast<int>(failed - steps));
    }
    int status = -1;
    if (child < 0 || waitpid(child, &status, 0) != child || !WIFEXITED(status)) {
        throw vosctl::Failure{"no process can be had to run " + exe};
    }
    if (WEXITSTATUS(status) < static_cast<int>(std::size(steps))) {
        throw vosctl::Failure{steps[WEXITSTATUS(status)].failure};
    }
}

void requirePlaces(const Options &options, const std::string &exe) {
    // Before the user changes, who may not enter any more.
    if (!options.netns.empty() && !enter(options.netns)) {
        throw vosctl::Failure{"cannot enter the network namespace '" + options.netns +
                              "'; 'ip netns' shows those there are, only root may enter"};
    }
    rehearse(options, exe);
}

volatile sig_atomic_t g_child = 0;
volatile sig_atomic_t g_early = 0;  // a stop signal that came before the child

void passOn(int signalNumber, siginfo_t *info, void *) {
    if (g_child == 0) {
        g_early = signalNumber;
    } else if (info->si_code != SI_KERNEL || getpgid(g_child) != getpgrp()) {  // else its terminal has told it
        kill(g_child, signalNumber);
    }
}

// The program gets the stop signals from here on, and its end is awaited all the same.
void passOnStopSignals() {
    struct sigaction action {};
    action.sa_flags = SA_SIGINFO | SA_RESTART;
    action.sa_sigaction = passOn;
    sigaction(SIGINT, &action, nullptr);
    sigaction(SIGTERM, &action, nullptr);
}

VosRet collect(int32_t pid, uint32_t timeoutMs, PrctlProcessResult *result) {
    PrctlCollectRequest request{.collectMode = timeoutMs != 0 ? PRCTL_COLLECT_PID_TIMEOUT : PRCTL_COLLECT_PID,
                                .pid = pid,
                                .timeoutMs = timeoutMs};
    VosRet ret = prctl_collectProcess(&request, result);
    if (ret == VOS_RET_TIMEOUT) {
        prctl_signalProcess(pid, SIGKILL);
        request.collectMode = PRCTL_COLLECT_PID;
        ret = prctl_collectProcess(&request, result);
    }
    return ret;
}

VosRet runToItsEnd(const PrctlSpawnRequest &request, uint32_t timeoutMs, PrctlProcessResult *result) {
    passOnStopSignals();
    fflush(stdout);
    const pid_t self = getpid();
    const VosRet ret = prctl_spawnProcess(&request, result);
    if (getpid() != self) {
        _exit(126);  // what was possible a moment ago
    }
    if (ret != VOS_RET_OK) {
        return ret;
    }
    if (result->pid < 0) {
        return VOS_RET_NO_RESOURCE;  // no process could be had
    }
    g_child = result->pid;
    if (g_early != 0) {
        kill(result->pid, g_early);
    }
    return collect(result->pid, timeoutMs, result);
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
    request.stdinFd = STDIN_FILENO;
    request.stdoutFd = STDOUT_FILENO;
    request.stderrFd = STDERR_FILENO;
    request.serverFd = -1;
    request.maxFd = 255;
    request.uid = options.uid.value_or(0);
    request.asLimit = options.asLimit;
    request.rssLimit = options.rssLimit;
    request.nofileLimit = options.nofileLimit;
    request.disableCore = options.noCore ? 1 : 0;
    request.detach = options.detach ? 1 : 0;
    requirePlaces(options, exe);
    PrctlProcessResult result{};
    const VosRet ret = runToItsEnd(request, options.timeoutMs, &result);
    if (ret != VOS_RET_OK) {
        throw vosctl::Failure{"cannot run " + exe + ": " + msgnames::retText(ret)};
    }
    if (options.json) {
        vosctl::printJson({{"pid", result.pid}, {"exitCode", result.exitCode}, {"signal", result.signalNumber}});
    }
    if (result.signalNumber != 0 || result.exitCode != 0) {
        throw vosctl::Failure{describe(result)};
    }
    if (!options.quiet && !options.json) {
        fprintf(stderr, "vosctl: %s\n", describe(result).c_str());
    }
}

const vosctl::Command kCommand{
    "run", "start a program with limits and report how it ended", [](vosctl::Arguments app) {
        auto options = std::make_shared<Options>();
        app.option("command", options->command, "program and arguments, behind --").required();
        app.option("--timeout", options->timeoutMs, "kill it after so long").called("MS");
        app.option("--netns", options->netns, "network namespace to run in").called("NAME");
        app.option("--dir", options->directory, "working directory").called("DIR");
        app.option("--lib-path", options->libraryPath, "appended to LD_LIBRARY_PATH").called("DIRS");
        app.option("--limit-as", options->asLimit, "address space").called("BYTES");
        app.option("--limit-rss", options->rssLimit, "resident memory").called("BYTES");
        app.option("--limit-nofile", options->nofileLimit, "descriptors").called("N");
        app.option("--uid", options->uid, "user id to run as").called("UID");
        app.flag("--no-core", options->noCore, "no core files");
        app.flag("--detach", options->detach, "in a session of its own");
        app.flag("-q,--quiet", options->quiet, "say nothing about a good end");
        vosctl::addJson(app, options->json, "the report as one JSON object, behind what the program printed");
        app.runs([options] { run(*options); });
    }};

}  // namespace
