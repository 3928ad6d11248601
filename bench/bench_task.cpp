// Background task, from its start to its completion in the main loop, against the same thread and round trip without
// the library. Both send their 40 bytes through a process that does nothing but send them back.
#include <benchmark/benchmark.h>
#include <pthread.h>
#include <sched.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "vos/mem.h"
#include "vos/task.h"

namespace {

int64_t g_worked;
int64_t g_finished;

void work(void *) {
    g_worked++;
}

void finish(void *) {
    g_finished++;
}

[[noreturn]] void fail(const char *what) {
    perror(what);
    exit(1);
}

// ---- the process on the other side ----

void sendBack(int fd) {
    char bytes[4096];
    ssize_t got = 0;
    while ((got = read(fd, bytes, sizeof bytes)) > 0 && write(fd, bytes, static_cast<size_t>(got)) == got) {
    }
}

/** Runs `serve` in a child that ends with this process. */
template <typename Serve>
void inChild(Serve serve) {
    const pid_t parent = getpid();
    if (fork() == 0) {
        prctl(PR_SET_PDEATHSIG, SIGKILL);
        if (getppid() == parent) {
            serve();
        }
        _exit(0);
    }
}

int listenAsHub() {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    strcpy(address.sun_path, VOS_MSG_HUB_SOCKET_PATH);
    const int fd = socket(AF_UNIX, SOCK_STREAM, 0);
    unlink(address.sun_path);
    if (bind(fd, reinterpret_cast<const sockaddr *>(&address), sizeof address) != 0 || listen(fd, 1) != 0) {
        fail("bench_task: cannot listen as the hub; bench/run.sh gives it a /var of its own");
    }
    return fd;
}

// The announcement goes back too: the library takes the first message as the answer and its `dst` as the entity id.
VosMsgHandle *connectToRelay() {
    const int listener = listenAsHub();
    inChild([&] { sendBack(accept(listener, nullptr, nullptr)); });
    VosMsgHandle *handle = nullptr;
    if (vosMsg_initByName("bench", &handle) != VOS_RET_OK) {
        fail("bench_task: launch");
    }
    close(listener);
    return handle;
}

// ---- what is measured ----

struct Library {
    VosMsgHandle *handle = connectToRelay();

    void round() const {
        VosMsgHeader *msg = nullptr;
        if (UTIL_taskStart(work, nullptr, finish, handle) != VOS_RET_OK || vosMsg_receive(handle, &msg) != VOS_RET_OK ||
            UTIL_taskFinish(msg) != VOS_RET_OK) {
            fail("bench_task: task");
        }
        VOS_FREE(msg);
    }
};

struct Bare {
    struct Message {
        VosMsgHeader header;
        void *arg;
    };
    int fd = connect();

    static int connect() {
        int fds[2];
        if (socketpair(AF_UNIX, SOCK_STREAM, 0, fds) != 0) {
            fail("bench_task: socketpair");
        }
        inChild([&] {
            close(fds[0]);
            sendBack(fds[1]);
        });
        close(fds[1]);
        return fds[0];
    }
    static void *run(void *self) {
        pthread_detach(pthread_self());
        work(nullptr);
        const Message msg{};
        if (write(static_cast<const Bare *>(self)->fd, &msg, sizeof msg) != sizeof msg) {
            fail("bench_task: write");
        }
        return nullptr;
    }
    void round() {
        pthread_t thread;
        Message msg;
        if (pthread_create(&thread, nullptr, run, this) != 0 || recv(fd, &msg, sizeof msg, MSG_WAITALL) != sizeof msg) {
            fail("bench_task: thread");
        }
        finish(msg.arg);
    }
};

template <typename System>
void startToCompletion(benchmark::State &state) {
    static System system;
    for (auto _ : state) {
        const auto start = std::chrono::steady_clock::now();
        system.round();
        state.SetIterationTime(std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count());
    }
}

BENCHMARK(startToCompletion<Library>)->Name("task start to completion|vos")->UseManualTime();
BENCHMARK(startToCompletion<Bare>)->Name("task start to completion|bare thread and socket")->UseManualTime();

// Everything on one core: where the scheduler puts a new thread and a woken process would decide the figures otherwise.
void useOneCore() {
    cpu_set_t set;
    CPU_ZERO(&set);
    CPU_SET(sched_getcpu(), &set);
    sched_setaffinity(0, sizeof set, &set);
}

}  // namespace

int main(int argc, char **argv) {
    useOneCore();
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
}
