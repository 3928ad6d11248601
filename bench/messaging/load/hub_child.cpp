// The hub under load and the processes around it.
#include "hub_child.h"

#include <fcntl.h>
#include <poll.h>
#include <sched.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>
#include <ctime>
#include <fstream>
#include <utility>

#include "connection.h"

namespace load {

Child::Child(const std::function<void()> &body) : pid_{fork()} {
    if (pid_ == 0) {
        prctl(PR_SET_PDEATHSIG, SIGKILL);
        body();
        _exit(0);
    }
}

Child::Child(Child &&other) noexcept : pid_{std::exchange(other.pid_, -1)} {}

Child::~Child() {
    if (pid_ > 0) {
        kill(pid_, SIGKILL);
        waitpid(pid_, nullptr, 0);
    }
}

Hub::Hub(const std::string &program)
    : socketPath_{"/tmp/hub_load." + std::to_string(getpid())}, process_{[&] {
          const int report = open("/dev/null", O_WRONLY);
          dup2(report, STDERR_FILENO);
          const int readyFd = dup(ready_.givingFd());  // without close-on-exec
          const std::string data = socketPath_ + ".data";
          execl(program.c_str(), program.c_str(), "--socket", socketPath_.c_str(), "--ready-fd",
                std::to_string(readyFd).c_str(), "--plugin-data-dir", data.c_str(), "--plugin-tmp-dir", data.c_str(),
                static_cast<char *>(nullptr));
          fail("cannot start " + program);
      }} {
    ready_.awaitLine();
    times_ =
        vos::UniqueFd{open(("/proc/" + std::to_string(process_.pid()) + "/schedstat").c_str(), O_RDONLY | O_CLOEXEC)};
}

Hub::~Hub() {
    unlink(socketPath_.c_str());
}

double Hub::peakMiB() const {
    std::ifstream status{"/proc/" + std::to_string(process_.pid()) + "/status"};
    for (std::string line; std::getline(status, line);) {
        if (line.starts_with("VmHWM:")) {
            return std::stod(line.substr(strlen("VmHWM:"))) / 1024;
        }
    }
    fail("the hub has ended");
}

int64_t Hub::workedNs() const {
    char text[64] = {};
    if (pread(times_.get(), text, sizeof text - 1, 0) <= 0) {
        fail("the hub has ended");
    }
    return atoll(text);
}

Signal::Signal() : ends_{} {
    if (pipe2(ends_, O_CLOEXEC) != 0) {
        fail("pipe");
    }
}

void Signal::give(uint32_t number) const {
    if (write(ends_[1], &number, sizeof number) != sizeof number) {
        fail("write");
    }
}

uint32_t Signal::await() const {
    uint32_t number = 0;
    if (read(ends_[0], &number, sizeof number) != sizeof number) {
        fail("read");
    }
    return number;
}

bool Signal::isGiven() const {
    pollfd end{ends_[0], POLLIN, 0};
    return poll(&end, 1, 0) > 0;
}

void Signal::awaitLine() const {
    char none = 0;
    if (read(ends_[0], &none, 1) != 1) {
        fail("read");
    }
}

void stayOnOneCore() {
    cpu_set_t set;
    CPU_ZERO(&set);
    CPU_SET(sched_getcpu(), &set);
    sched_setaffinity(0, sizeof set, &set);
}

bool moveToOtherCores() {
    const auto own = static_cast<size_t>(sched_getcpu());
    cpu_set_t set;
    CPU_ZERO(&set);
    for (size_t core = 0; core < static_cast<size_t>(sysconf(_SC_NPROCESSORS_CONF)); core++) {
        if (core != own) {
            CPU_SET(core, &set);
        }
    }
    return sched_setaffinity(0, sizeof set, &set) == 0;
}

int64_t nowNs() {
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return int64_t{now.tv_sec} * 1'000'000'000 + now.tv_nsec;
}

}  // namespace load
