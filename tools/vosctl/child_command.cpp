// Starts a program and tells its end through a descriptor.
#include "child_command.h"

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstring>
#include <thread>
#include <utility>

#include "command.h"

namespace vosctl {

ChildCommand::ChildCommand(const std::vector<std::string> &words, bool keepOut) {
    std::vector<char *> argv;
    argv.reserve(words.size() + 1);
    for (const std::string &word : words) {
        argv.push_back(const_cast<char *>(word.c_str()));
    }
    argv.push_back(nullptr);
    int ends[2];
    if (pipe2(ends, O_CLOEXEC) != 0) {
        throw Failure{std::string{"no pipe can be had: "} + strerror(errno)};
    }
    ended_.reset(ends[0]);
    vos::UniqueFd told{ends[1]};
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    if (keepOut) {
        posix_spawn_file_actions_adddup2(&actions, STDERR_FILENO, STDOUT_FILENO);
    }
    const int error = posix_spawnp(&pid_, argv.front(), &actions, nullptr, argv.data(), environ);
    posix_spawn_file_actions_destroy(&actions);
    if (error != 0) {
        pid_ = -1;
        throw Failure{"cannot run '" + words.front() + "': " + strerror(error)};
    }
    // The last to hold the other end; the status is left for status().
    std::thread{[pid = pid_, fd = told.release()] {
        siginfo_t info{};
        while (waitid(P_PID, static_cast<id_t>(pid), &info, WEXITED | WNOWAIT) != 0 && errno == EINTR) {
        }
        close(fd);
    }}.detach();
}

ChildCommand::~ChildCommand() {
    if (pid_ > 0) {
        status(true);
    }
}

int ChildCommand::status(bool terminate) {
    if (terminate) {
        kill(pid_, SIGTERM);
    }
    int status = 0;
    while (waitpid(pid_, &status, 0) < 0 && errno == EINTR) {
    }
    pid_ = -1;
    return WIFSIGNALED(status) ? 128 + WTERMSIG(status) : WEXITSTATUS(status);
}

}  // namespace vosctl
