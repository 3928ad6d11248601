// vosctl sandbox: a command with a hub of its own, in private namespaces. Nothing of the machine is touched, and
// nothing is left when the command has ended.
#include <fcntl.h>
#include <sched.h>
#include <sys/mount.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <memory>
#include <string>
#include <system_error>
#include <vector>

#include "command.h"
#include "common/namespaces.h"
#include "sandbox_list.h"

namespace fs = std::filesystem;

namespace {

/** The command's own statuses are passed on, so the sandbox's failures have one that few programs use. */
constexpr vosctl::Exit kNoSandbox{125};
constexpr int kCannotRun = 126;
constexpr int kNotFound = 127;
constexpr int kSignalBase = 128;

constexpr const char *kHubLog = "/tmp/vos-hubd.log";
constexpr timespec kPatience{.tv_sec = 2, .tv_nsec = 0};  // for what is still there at the end

struct Options {
    std::vector<std::string> command;
    std::vector<std::string> show;
    std::string name;
    bool keep = false;
    bool noHub = false;
    bool trace = false;
    bool enter = false;
};

vosctl::Failure failure(const std::string &text) {
    return {text, kNoSandbox};
}

int statusOf(int waited) {
    return WIFEXITED(waited) ? WEXITSTATUS(waited) : kSignalBase + WTERMSIG(waited);
}

// --- signals: both processes take them one by one

constexpr std::array kStopSignals{SIGINT, SIGTERM, SIGHUP};

sigset_t awaitedSignals() {
    sigset_t set;
    sigemptyset(&set);
    sigaddset(&set, SIGCHLD);
    for (const int stop : kStopSignals) {
        sigaddset(&set, stop);
    }
    return set;
}

/** Blocks the awaited signals, and gives a child that becomes a program back what was before. */
class HeldSignals {
  public:
    HeldSignals() {
        const sigset_t set = awaitedSignals();
        sigprocmask(SIG_BLOCK, &set, &before_);
    }
    void restore() const { sigprocmask(SIG_SETMASK, &before_, nullptr); }

  private:
    sigset_t before_;
};

/** Whether a signal is to be passed on: the terminal tells everybody in front of it by itself. */
bool isForUs(const siginfo_t &info) {
    return info.si_code != SI_KERNEL;
}

// --- programs

pid_t forkOrFail() {
    const pid_t pid = fork();
    if (pid < 0) {
        throw failure(std::string{"cannot start a process: "} + strerror(errno));
    }
    return pid;
}

[[noreturn]] void become(const std::vector<std::string> &command) {
    std::vector<char *> arguments;
    arguments.reserve(command.size() + 1);
    for (const std::string &word : command) {
        arguments.push_back(const_cast<char *>(word.c_str()));
    }
    arguments.push_back(nullptr);
    execvp(arguments[0], arguments.data());
    const int status = errno == ENOENT ? kNotFound : kCannotRun;
    fprintf(stderr, "vosctl: cannot run '%s': %s\n", arguments[0], strerror(errno));
    _exit(status);
}

std::string besideThisProgram(const std::string &name) {
    std::error_code unknown;
    const fs::path path = fs::read_symlink("/proc/self/exe", unknown).parent_path() / name;
    return access(path.c_str(), X_OK) == 0 ? path.string() : name;
}

std::string lastLine(const char *path) {
    std::ifstream file{path};
    std::string last;
    for (std::string line; std::getline(file, line);) {
        last = line.empty() ? last : line;
    }
    return last;
}

// --- inside: the first process of the sandbox

class Inside {
  public:
    Inside(const Options &options, const HeldSignals &signals) : options_{options}, signals_{signals} {}

    /** Runs the command to its end: its status. */
    int run(const std::string &hub) {
        prctl(PR_SET_PDEATHSIG, SIGKILL);  // whoever waits outside is all that keeps the sandbox
        vostool::mountKernelFiles("proc", "/proc");
        setenv("VOS_SANDBOX", options_.name.c_str(), 1);
        if (!options_.noHub) {
            startHub(hub);
        }
        command_ = forkOrFail();
        if (command_ == 0) {
            signals_.restore();
            become(options_.command);
        }
        awaitTheEnd();
        endEverything();
        return status_;
    }

  private:
    void startHub(const std::string &program) {
        std::array<int, 2> ready{};
        const int log = open(kHubLog, O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0644);
        if (log < 0 || pipe2(ready.data(), O_CLOEXEC) != 0) {
            throw failure(std::string{"cannot open what the hub writes to: "} + strerror(errno));
        }
        const pid_t pid = forkOrFail();
        if (pid == 0) {
            setpgid(0, 0);  // Ctrl-C is the command's
            signals_.restore();
            dup2(log, STDOUT_FILENO);
            dup2(log, STDERR_FILENO);
            fcntl(ready[1], F_SETFD, 0);
            std::vector<std::string> command{program, "--ready-fd", std::to_string(ready[1])};
            if (options_.trace) {
                command.emplace_back("--trace");
            }
            become(command);
        }
        close(log);
        close(ready[1]);
        char byte = 0;
        ssize_t got = 0;
        do {
            got = read(ready[0], &byte, 1);
        } while (got < 0 && errno == EINTR);
        close(ready[0]);
        if (got != 1) {
            throw failure("the hub does not start: " + lastLine(kHubLog));
        }
    }

    // The first process of a PID namespace is everybody's parent in the end.
    void reap() {
        int waited = 0;
        for (pid_t pid = 0; (pid = waitpid(-1, &waited, WNOHANG)) > 0;) {
            if (pid == command_) {
                command_ = 0;
                status_ = statusOf(waited);
                if (options_.keep) {
                    fprintf(stderr,
                            "vosctl: the command ended with %d; 'vosctl sandbox --enter --name %s' enters what stays, "
                            "Ctrl-C ends it\n",
                            status_, options_.name.c_str());
                }
            }
        }
    }

    void awaitTheEnd() {
        const sigset_t set = awaitedSignals();
        while (command_ != 0 || options_.keep) {
            siginfo_t info{};
            const int number = sigwaitinfo(&set, &info);
            if (number == SIGCHLD) {
                reap();
            } else if (number > 0 && command_ == 0) {
                break;
            } else if (number > 0 && isForUs(info)) {
                kill(command_, number);
            }
        }
    }

    // What does not end by itself is killed by the kernel with this process.
    static void endEverything() {
        sigset_t child;
        sigemptyset(&child);
        sigaddset(&child, SIGCHLD);
        kill(-1, SIGTERM);
        kill(-1, SIGCONT);
        for (;;) {
            const pid_t pid = waitpid(-1, nullptr, WNOHANG);
            if (pid < 0 || (pid == 0 && sigtimedwait(&child, nullptr, &kPatience) < 0 && errno == EAGAIN)) {
                return;
            }
        }
    }

    const Options &options_;
    const HeldSignals &signals_;
    pid_t command_ = 0;
    int status_ = 0;
};

// --- outside

void makePlaces(const Options &options) {
    const fs::path here = fs::current_path();
    std::vector<fs::path> keep{here, fs::read_symlink("/proc/self/exe").parent_path()};
    for (const std::string &each : options.show) {
        keep.push_back(fs::canonical(each));
    }
    for (const char *path : {"/tmp", "/var", "/run"}) {
        vostool::hideDirectory(path, keep);
    }
    for (const char *path : {"/var/log", "/var/tmp", "/run/netns", "/run/lock"}) {
        fs::create_directories(path);
    }
    fs::permissions("/var/tmp", fs::perms::all | fs::perms::sticky_bit);
    std::error_code taken;  // by a directory that is kept below it
    fs::create_directory_symlink("/run", "/var/run", taken);
    if (fs::is_directory("/dev/shm")) {
        vostool::hideDirectory("/dev/shm", keep);
    }
    fs::current_path(here);
}

// Shows the private interfaces. Some containers do not allow it; their sandbox shows the machine's there.
void mountSysfs() {
    mount("sysfs", "/sys", "sysfs", 0, nullptr);
}

// Passes stop signals on to the child until it has ended: as waitpid() tells it.
int awaitChild(pid_t child) {
    const sigset_t set = awaitedSignals();
    int waited = 0;
    while (waitpid(child, &waited, WNOHANG) != child) {
        siginfo_t info{};
        const int number = sigwaitinfo(&set, &info);
        if (number > 0 && number != SIGCHLD && isForUs(info)) {
            kill(child, number);
        }
    }
    return waited;
}

int awaitSandbox(pid_t inside) {
    const int waited = awaitChild(inside);
    if (WIFSIGNALED(waited)) {
        throw failure("the sandbox was ended by signal " + std::to_string(WTERMSIG(waited)));
    }
    return WEXITSTATUS(waited);
}

int sandbox(const Options &options) {
    const std::string hub = besideThisProgram("vos-hubd");
    const vos::UniqueFd announced = vosctl::announceSandbox(options.name);
    const HeldSignals signals;
    try {
        vostool::enterNamespaces(CLONE_NEWNS | CLONE_NEWIPC | CLONE_NEWNET | CLONE_NEWUTS | CLONE_NEWPID);
        makePlaces(options);
        mountSysfs();
        vostool::raiseLoopback();
    } catch (const std::system_error &error) {
        throw failure(
            std::string{error.what()} +
            "; the sandbox needs root, in a container with SYS_ADMIN and NET_ADMIN, or user namespaces (sysctl "
            "user.max_user_namespaces)");
    }
    sethostname(options.name.c_str(), options.name.size());
    const pid_t inside = forkOrFail();
    if (inside == 0) {
        try {
            _exit(Inside{options, signals}.run(hub));
        } catch (const std::system_error &error) {
            throw failure(error.what());
        }
    }
    return awaitSandbox(inside);
}

// --- from another terminal

std::string listed(const std::vector<vosctl::Sandbox> &all) {
    std::string text;
    for (const vosctl::Sandbox &each : all) {
        text += (text.empty() ? "" : ", ") + each.name + " (" + std::to_string(each.pid) + ")";
    }
    return text;
}

vosctl::Sandbox choose(const std::string &wanted) {
    const std::vector<vosctl::Sandbox> all = vosctl::runningSandboxes();
    std::vector<vosctl::Sandbox> fitting = all;
    if (!wanted.empty()) {
        std::erase_if(fitting, [&](const vosctl::Sandbox &each) {
            return each.name != wanted && std::to_string(each.pid) != wanted;
        });
    }
    if (all.empty()) {
        throw failure("no sandbox of this user runs; 'vosctl sandbox -- COMMAND' starts one");
    }
    if (fitting.empty()) {
        throw failure("no sandbox is called '" + wanted + "'; there are " + listed(all));
    }
    if (fitting.size() > 1) {
        throw failure("several sandboxes run; choose one with --name, by name or process: " + listed(fitting));
    }
    return fitting.front();
}

void moveInto(const vosctl::Sandbox &sandbox) {
    const fs::path directory = "/proc/" + std::to_string(sandbox.pid) + "/ns";
    std::vector<vos::UniqueFd> spaces;
    for (const char *space : {"user", "mnt", "ipc", "net", "uts", "pid_for_children"}) {
        spaces.emplace_back(open((directory / space).c_str(), O_RDONLY | O_CLOEXEC));
        std::error_code same;
        if (std::string_view{space} == "user" &&
            fs::read_symlink(directory / space, same) == fs::read_symlink("/proc/self/ns/user", same)) {
            spaces.pop_back();
        }
    }
    for (const vos::UniqueFd &space : spaces) {
        if (setns(space.get(), 0) != 0) {
            throw failure("cannot enter the sandbox " + listed({sandbox}) + ": " + strerror(errno));
        }
    }
}

int enter(const Options &options) {
    const vosctl::Sandbox sandbox = choose(options.name);
    std::vector<std::string> command = options.command;
    if (command.empty()) {
        const char *shell = getenv("SHELL");
        command = {shell != nullptr && access(shell, X_OK) == 0 ? shell : "/bin/sh"};
    }
    const fs::path here = fs::current_path();
    moveInto(sandbox);
    std::error_code hidden;
    fs::current_path(here, hidden);
    if (hidden) {
        fs::current_path("/");
    }
    setenv("VOS_SANDBOX", sandbox.name.c_str(), 1);
    const HeldSignals signals;
    const pid_t inside = forkOrFail();
    if (inside == 0) {
        signals.restore();
        become(command);
    }
    return statusOf(awaitChild(inside));
}

// --- the command line

std::string nameOf(const std::string &program) {
    std::string name = fs::path{program}.filename().string().substr(0, 32);
    std::ranges::replace_if(
        name, [](char c) { return !vosctl::isSandboxName(std::string(1, c)); }, '_');
    return name.empty() ? "sandbox" : name;
}

void run(Options &options) {
    if (options.command.empty() && !options.enter) {
        throw vosctl::Failure{"give the command to run behind --", vosctl::Exit::kUsage};
    }
    if (!options.name.empty() && !vosctl::isSandboxName(options.name)) {
        throw vosctl::Failure{"'" + options.name + "' is no name: letters, digits, '.', '_' and '-', at most 32",
                              vosctl::Exit::kUsage};
    }
    if (!options.enter && options.name.empty()) {
        options.name = nameOf(options.command.front());
    }
    // At once: this process does not stand in the /proc that it sees now, and what runs at an exit (a sanitizer's
    // search for leaks) would look for it there.
    _exit(options.enter ? enter(options) : sandbox(options));
}

void setUp(vosctl::Arguments app) {
    auto options = std::make_shared<Options>();
    app.option("command", options->command, "command and arguments, behind --");
    vosctl::Argument enterOption =
        app.flag("--enter", options->enter, "run a command (or a shell) in a sandbox that runs already");
    app.option("--name", options->name, "what the sandbox is called; with --enter, or its process id").called("NAME");
    for (vosctl::Argument option : {
             app.flag("--keep", options->keep, "when the command has ended stay until Ctrl-C, to be looked into"),
             app.flag("--no-hub", options->noHub, "start no hub: the command brings its own"),
             app.flag("--trace", options->trace, std::string{"the hub writes every message to "} + kHubLog),
             app.option("--show", options->show, "keep this directory below /tmp, /var or /run visible")
                 .called("DIR")
                 .anExistingPath()
                 .oneValueEach(),
         }) {
        option.excludes(enterOption);
    }
    app.footer(
        "Exit status: the command's own; 128 and the signal that ended it; 125 without a sandbox, 126 when the "
        "command cannot be run, 127 when there is none.");
    app.runs([options] { run(*options); });
}
const vosctl::Command kCommand{"sandbox", "run a command with a hub of its own, apart from the machine", setUp};

}  // namespace
