// The lock between processes against a robust, process-shared mutex: one lock and unlock, alone and with a second
// process at it.
#include <benchmark/benchmark.h>
#include <pthread.h>
#include <sys/mman.h>
#include <sys/sem.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstdint>
#include <new>

#include "vos/sem.h"

namespace {

class SemaphoreLock {
  public:
    SemaphoreLock() { vosSem_init(static_cast<uint32_t>(getpid()), false, &id_); }
    ~SemaphoreLock() { vosSem_cleanup(static_cast<uint32_t>(id_)); }
    SemaphoreLock(const SemaphoreLock &) = delete;
    SemaphoreLock &operator=(const SemaphoreLock &) = delete;
    void lock() { vosSem_lock(static_cast<uint32_t>(id_), nullptr); }
    void unlock() { vosSem_unlock(static_cast<uint32_t>(id_)); }

  private:
    int32_t id_ = -1;
};

/** Memory that a forked process shares. */
template <typename T>
T *shared() {
    void *memory = mmap(nullptr, sizeof(T), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
    return new (memory) T{};
}

class RobustMutex {
  public:
    RobustMutex() {
        pthread_mutexattr_t attributes;
        pthread_mutexattr_init(&attributes);
        pthread_mutexattr_setpshared(&attributes, PTHREAD_PROCESS_SHARED);
        pthread_mutexattr_setrobust(&attributes, PTHREAD_MUTEX_ROBUST);
        pthread_mutex_init(mutex_, &attributes);
    }
    ~RobustMutex() { munmap(mutex_, sizeof *mutex_); }
    RobustMutex(const RobustMutex &) = delete;
    RobustMutex &operator=(const RobustMutex &) = delete;
    void lock() {
        if (pthread_mutex_lock(mutex_) == EOWNERDEAD) {
            pthread_mutex_consistent(mutex_);
        }
    }
    void unlock() { pthread_mutex_unlock(mutex_); }

  private:
    pthread_mutex_t *mutex_ = shared<pthread_mutex_t>();
};

template <typename Lock>
void uncontended(benchmark::State &state) {
    Lock lock;
    for (auto _ : state) {
        lock.lock();
        lock.unlock();
    }
}

template <typename Lock>
void contended(benchmark::State &state) {
    Lock lock;
    auto *rounds = shared<std::atomic<uint64_t>>();
    const pid_t other = fork();
    if (other == 0) {
        for (;;) {
            lock.lock();
            rounds->fetch_add(1, std::memory_order_relaxed);
            lock.unlock();
        }
    }
    while (rounds->load() == 0) {
    }
    const uint64_t before = rounds->load();
    for (auto _ : state) {
        lock.lock();
        lock.unlock();
    }
    state.counters["peer rounds"] = static_cast<double>(rounds->load() - before);
    kill(other, SIGKILL);
    waitpid(other, nullptr, 0);
    munmap(rounds, sizeof *rounds);
}

}  // namespace

int main(int argc, char **argv) {
    benchmark::RegisterBenchmark("lock+unlock alone|vos", uncontended<SemaphoreLock>);
    benchmark::RegisterBenchmark("lock+unlock alone|robust mutex", uncontended<RobustMutex>);
    benchmark::RegisterBenchmark("lock+unlock, two processes|vos", contended<SemaphoreLock>)->UseRealTime();
    benchmark::RegisterBenchmark("lock+unlock, two processes|robust mutex", contended<RobustMutex>)->UseRealTime();
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
}
