#include "support/hub_process.h"

#include <fcntl.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <cstring>
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

bool listens(const std::string &path) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    strncpy(address.sun_path, path.c_str(), sizeof address.sun_path - 1);
    const int fd = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    const bool connected = connect(fd, reinterpret_cast<const sockaddr *>(&address), sizeof address) == 0;
    close(fd);
    return connected;
}

}  // namespace

HubProcess::HubProcess(const std::vector<std::string> &options, const std::string &socketPath)
    : outputPath_{newOutputPath()} {
    std::vector<std::string> arguments = options;
    arguments.insert(arguments.end(), {"--socket", socketPath});
    pid_ = start(arguments, outputPath_);
    if (!await([&] { return listens(socketPath) || waitpid(pid_, nullptr, WNOHANG) == pid_; }) || kill(pid_, 0) != 0) {
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
