#include "support/hub_process.h"

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <stdexcept>
#include <thread>
#include <utility>

#include "support/effort.h"
#include "support/files.h"

namespace vostest {

namespace {

constexpr std::chrono::milliseconds kPause{2};

template <typename Condition>
bool await(Condition condition) {
    const auto end = std::chrono::steady_clock::now() + std::chrono::milliseconds{patienceMs()};
    while (!condition()) {
        if (std::chrono::steady_clock::now() > end) {
            return false;
        }
        std::this_thread::sleep_for(kPause);
    }
    return true;
}

pid_t start(const std::vector<std::string> &arguments, const std::string &outputPath) {
    std::vector<char *> argv{const_cast<char *>("vos-hubd")};
    for (const std::string &argument : arguments) {
        argv.push_back(const_cast<char *>(argument.c_str()));
    }
    argv.push_back(nullptr);
    const pid_t pid = fork();
    if (pid == 0) {
        const int out = open(outputPath.c_str(), O_WRONLY | O_CREAT | O_APPEND, 0600);
        dup2(out, STDOUT_FILENO);
        dup2(out, STDERR_FILENO);
        execv(VOS_TEST_BIN_DIR "/vos-hubd", argv.data());
        _exit(127);
    }
    return pid;
}

int statusOf(pid_t pid) {
    int status = 0;
    waitpid(pid, &status, 0);
    return WIFSIGNALED(status) ? -WTERMSIG(status) : WEXITSTATUS(status);
}

std::string newOutputPath() {
    std::string path = "/tmp/hub-output-XXXXXX";
    close(mkstemp(path.data()));
    return path;
}

}  // namespace

HubProcess::HubProcess(const std::vector<std::string> &options, const std::string &socketPath)
    : outputPath_{newOutputPath()} {
    int ready[2];
    if (pipe(ready) != 0) {
        throw std::runtime_error{"no pipe"};
    }
    fcntl(ready[0], F_SETFD, FD_CLOEXEC);
    std::vector<std::string> arguments = options;
    arguments.insert(arguments.end(), {"--socket", socketPath, "--ready-fd", std::to_string(ready[1])});
    pid_ = start(arguments, outputPath_);
    close(ready[1]);
    char line[8] = "";
    const bool listens = read(ready[0], line, sizeof line) == 6 && read(ready[0], line + 6, 1) == 0;
    close(ready[0]);
    if (!listens) {
        throw std::runtime_error{"vos-hubd does not listen: " + output()};
    }
}

HubProcess::~HubProcess() {
    if (pid_ > 0) {
        stop(SIGTERM);
    }
    unlink(outputPath_.c_str());
}

std::string HubProcess::output() const {
    return readText(outputPath_);
}

bool HubProcess::awaitOutput(const std::string &text) const {
    return await([&] { return output().find(text) != std::string::npos; });
}

int HubProcess::stop(int signal) {
    kill(pid_, signal);
    return statusOf(std::exchange(pid_, -1));
}

HubRun runHub(const std::vector<std::string> &arguments) {
    const std::string path = newOutputPath();
    const int status = statusOf(start(arguments, path));
    HubRun result{status, readText(path)};
    unlink(path.c_str());
    return result;
}

}  // namespace vostest
