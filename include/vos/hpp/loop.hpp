/** @file
 *  The main loop. Part of vos/vos.hpp.
 */
#ifndef VOS_HPP_LOOP_HPP
#define VOS_HPP_LOOP_HPP

#include <fcntl.h>
#include <sys/epoll.h>
#include <sys/signalfd.h>
#include <sys/syscall.h>
#include <sys/timerfd.h>
#include <unistd.h>

#include <initializer_list>

#include "vos/cli.h"
#include "vos/hpp/flow.hpp"
#include "vos/hpp/process.hpp"
#include "vos/hpp/task.hpp"

namespace vos {

namespace detail {

class Fd {
  public:
    explicit Fd(int fd = -1) noexcept : fd_{fd} {}
    Fd(Fd &&other) noexcept : fd_{std::exchange(other.fd_, -1)} {}
    Fd &operator=(Fd &&other) noexcept {
        std::swap(fd_, other.fd_);
        return *this;
    }
    ~Fd() {
        if (fd_ >= 0) {
            close(fd_);
        }
    }
    int get() const noexcept { return fd_; }

  private:
    int fd_;
};

}  // namespace detail

/** A timer of a loop; a name for it, which need not be kept. */
class Timer {
    friend class Loop;
    struct Record {
        detail::Function<void()> run;
        std::chrono::nanoseconds interval; /* zero: once */
        std::pair<Clock::time_point, uint64_t> key;
    };
    std::weak_ptr<Record> record_;
};

/** What a daemon waits for, and what it does then.
 *
 *  Belongs to one thread, as its connection does, which must stay where it is. Handlers run one after another in
 *  turn(); they may register, cancel and remove anything, themselves too, send blocking requests and run further turns.
 *  What they throw comes out of turn() and run(), which may be called again.
 */
class Loop {
  public:
    /** A function object that need not be copyable. */
    template <typename Signature>
    using Handler = detail::Function<Signature>;
    /** A remote command; its result goes back. */
    using Commands = Handler<uint32_t(std::span<char *const> arguments, FILE *out)>;

    /** What nobody was there for. */
    struct Counters {
        uint64_t lateReplies = 0; /**< replies that nothing was waiting for any more, or ever */
        uint64_t unhandled = 0;   /**< messages without a handler; requests among them were answered VOS_RET_ERROR */
    };

    /** No limit. */
    static constexpr std::chrono::nanoseconds kForever = std::chrono::nanoseconds::max();

    /** The signals end run(); they and what onSignal() adds are blocked in this thread while the loop lives. */
    explicit Loop(Connection &hub, std::initializer_list<int> stopSignals = {SIGTERM, SIGINT})
        : hub_{hub}, epoll_{epoll_create1(EPOLL_CLOEXEC)}, tasks_{hub.handle()} {
        vosMsg_getEventHandle(hub.handle(), &hubFd_);
        sigemptyset(&signalSet_);
        sigemptyset(&blockedHere_);
        if (epoll_.get() < 0 || !control(EPOLL_CTL_ADD, hubFd_, EPOLLIN)) {
            failure_ = VOS_RET_NO_RESOURCE;
        }
        for (const int number : stopSignals) {
            onSignal(number, [this] { stop(); });
        }
    }
    Loop(const Loop &) = delete;
    Loop &operator=(const Loop &) = delete;
    /** Waits for the work of tasks; ends everything else uncalled. */
    ~Loop() {
        for (signalfd_siginfo info; signalFd_.get() >= 0 && read(signalFd_.get(), &info, sizeof info) > 0;) {
        }
        pthread_sigmask(SIG_UNBLOCK, &blockedHere_, nullptr);
    }

    /** As given. */
    Connection &hub() const noexcept { return hub_; }

    /** Runs until stop(): its status. 1 when the hub is gone: the supervisor starts the daemon again. */
    int run() {
        stopped_ = false;
        while (!stopped_) {
            if (!turn()) {
                return 1;
            }
        }
        return status_;
    }
    /** Waits for something to do, so long at most, and does it.
     *  @return the code of a hub that is gone (VOS_RET_PEER_GONE) or of a loop that could not be made */
    Result<void> turn(std::chrono::nanoseconds longest = kForever) {
        if (failure_ != VOS_RET_OK) {
            return failure_;
        }
        serveDescriptors(handlePutBack() ? 0 : waitMs(longest));
        runDue();
        wakeForeignLoop();
        return failure_;
    }
    /** Ends run() after the handler that is running. */
    void stop(int status = 0) noexcept {
        stopped_ = true;
        status_ = status;
    }
    /** Whether stop() was called, or a stop signal came, since run() began. */
    bool stopped() const noexcept { return stopped_; }

    /** @name Another loop around this one
     *  The descriptor becomes readable when there is something to do; then, and once at the beginning, call dispatch().
     *  @{ */
    /** Stays the loop's; VOS_RET_NO_RESOURCE. */
    Result<int> descriptor() {
        if (timerFd_.get() < 0) {
            timerFd_ = detail::Fd{timerfd_create(CLOCK_MONOTONIC, TFD_NONBLOCK | TFD_CLOEXEC)};
            if (timerFd_.get() < 0 || !control(EPOLL_CTL_ADD, timerFd_.get(), EPOLLIN)) {
                return Result<int>{VosRet{VOS_RET_NO_RESOURCE}};
            }
            wakeForeignLoop();
        }
        return Result<int>{epoll_.get()};
    }
    /** A turn that does not wait. */
    Result<void> dispatch() { return turn(std::chrono::nanoseconds{0}); }
    /** @} */

    /** @name Messages
     *  A second handler for the same thing takes the place of the first; an empty one removes it.
     *  @{ */
    /** Messages of a type that are neither requests nor replies. */
    void on(uint32_t type, Handler<void(const MessageView &)> handler) { put(messages_, type, std::move(handler)); }
    /** Requests of a type. A handler answers, or takes the answer along with later(); else the requester is told
     *  VOS_RET_ERROR. */
    void serve(uint32_t type, Handler<void(const Request &)> handler) { put(requests_, type, std::move(handler)); }
    /** Calls of a numbered procedure. */
    void serve(uint32_t type, uint32_t procedure, Handler<void(const Request &)> handler) {
        put(procedures_, procedureKey(type, procedure), std::move(handler));
    }
    /** Remote commands (vos/cli.h) that arrive under a type; the handler's result goes back. */
    void commands(uint32_t type, Commands handler) { put(commands_, type, std::move(handler)); }
    /** Whatever else arrives that is no request. */
    void otherwise(Handler<void(const MessageView &)> handler) { put(messages_, kOtherwise, std::move(handler)); }
    /** @} */

    /** @name Requests without waiting
     *  A reply belongs to the oldest request of its type to its source; with a procedure or matchWord, of its word too.
     *  The result is what Connection::ask() gives, with these differences: a peer that comes back is asked again and
     *  its answer is the result; VOS_RET_ERROR after 16 times; all end with VOS_RET_PEER_GONE when the hub is gone. The
     *  callback never runs before ask() has returned.
     *  @{ */
    Call ask(const Ask &ask, Answered done) {
        Call call{calls_.start(hub_.handle(), hub_.build(ask), ask, std::move(done))};
        wakeForeignLoop();
        return call;
    }
    /** For `co_await`, in a Flow. */
    Asking ask(const Ask &ask) { return Asking{calls_, hub_.handle(), hub_.build(ask), ask}; }
    size_t asking() const noexcept { return calls_.underWay(); }
    /** @} */

    /** @name Time
     *  @{ */
    Timer after(std::chrono::nanoseconds delay, Handler<void()> handler) {
        return addTimer(delay, {}, std::move(handler));
    }
    /** Times that were missed are left out. */
    Timer every(std::chrono::nanoseconds interval, Handler<void()> handler) {
        const auto least = std::max(interval, std::chrono::nanoseconds{1});
        return addTimer(least, least, std::move(handler));
    }
    void cancel(const Timer &timer) {
        if (const auto record = timer.record_.lock()) {
            timers_.erase(record->key);
        }
    }
    /** A delay that the hub keeps, as a message (VOS_MSG_REGISTER_DELAYED_MSG) to this process; one that it does not
     *  take on becomes an after(). */
    void afterMessage(std::chrono::nanoseconds delay, Handler<void()> handler) {
        const uint32_t word = nextDelayed_++;
        put(delayed_, word, std::move(handler));
        ask({.to = EID_HUBD, .type = VOS_MSG_REGISTER_DELAYED_MSG, .word = word, .payload = detail::wholeMs(delay)},
            [this, delay, word](Result<Message> taken) {
                if (!taken || taken->word() != VOS_RET_OK) {
                    after(delay, [this, word] { runDelayed(word); });
                }
            })
            .detach();
    }
    /** @} */

    /** @name Descriptors, signals, children, tasks
     *  @{ */
    /** Calls the handler while the descriptor has one of the events (EPOLLIN, EPOLLOUT), with what it has. Remove it
     *  before the descriptor is closed. */
    Result<void> watch(int fd, uint32_t events, Handler<void(uint32_t events)> handler) {
        if (!control(watches_.contains(fd) ? EPOLL_CTL_MOD : EPOLL_CTL_ADD, fd, events)) {
            return VosRet{VOS_RET_BAD_ARG};
        }
        put(watches_, fd, std::move(handler));
        return {};
    }
    void unwatch(int fd) {
        if (watches_.erase(fd) != 0) {
            control(EPOLL_CTL_DEL, fd, 0);
        }
    }
    /** Blocks a signal in this thread and runs the handler for it in the loop. */
    Result<void> onSignal(int number, Handler<void()> handler) {
        sigset_t one, before;
        sigemptyset(&one);
        sigaddset(&one, number);
        sigaddset(&signalSet_, number);
        pthread_sigmask(SIG_BLOCK, &one, &before);
        if (sigismember(&before, number) == 0) {
            sigaddset(&blockedHere_, number);
        }
        const bool first = signalFd_.get() < 0;
        const int fd = signalfd(signalFd_.get(), &signalSet_, SFD_NONBLOCK | SFD_CLOEXEC);
        if (first) {
            signalFd_ = detail::Fd{fd};
        }
        if (fd < 0 || (first && !control(EPOLL_CTL_ADD, fd, EPOLLIN))) {
            failure_ = VOS_RET_NO_RESOURCE;
            return failure_;
        }
        put(signals_, number, std::move(handler));
        return {};
    }
    /** Starts a program, with the signals as they were before the loop, and tells how it ended.
     *  @return its process id; a code of prctl_spawnProcess(), in a child that never became the program never */
    Result<pid_t> spawn(Command command, Handler<void(const Ended &)> ended) {
        command.spawnMode = 0;
        PrctlProcessResult result{};
        const pid_t self = getpid();
        VosRet ret = VOS_RET_OK;
        {
            const detail::SignalsForChild open{blockedHere_};
            ret = prctl_spawnProcess(&command, &result);
        }
        if (getpid() != self) {
            _exit(255); /* refused before its exec: this is the child, in our code */
        }
        if (ret != VOS_RET_OK || result.pid <= 0) {
            return Result<pid_t>{ret != VOS_RET_OK ? ret : VosRet{VOS_RET_ERROR}};
        }
        put(children_, result.pid, ended ? std::move(ended) : Handler<void(const Ended &)>{[](const Ended &) {}});
        followChild(result.pid);
        return Result<pid_t>{result.pid};
    }
    /** Runs `T work()` in a thread of its own and then `done(T)` in the loop. What work throws comes out of the loop.
     */
    template <typename Work, typename Done>
    Result<void> task(Work work, Done done) {
        return tasks_.start(std::make_shared<detail::Task<Work, Done>>(std::move(work), std::move(done)));
    }
    /** @} */

    /** As they stand now. */
    Counters counters() const noexcept {
        Counters all = counters_;
        all.lateReplies += calls_.lateReplies;
        return all;
    }

  private:
    template <typename Signature>
    using Shared = std::shared_ptr<detail::Function<Signature>>;
    template <typename Key, typename Signature>
    using Table = std::unordered_map<Key, Shared<Signature>>;
    static constexpr uint64_t kOtherwise = uint64_t{1} << 32;
    static constexpr int kEventsInOneTurn = 16;
    static constexpr std::chrono::milliseconds kLookAfterChildren{40}; /* as prctl_collectProcess() does */

    template <typename Key, typename Signature>
    static void put(Table<Key, Signature> &table, std::type_identity_t<Key> key, detail::Function<Signature> handler) {
        if (handler) {
            table[key] = std::make_shared<detail::Function<Signature>>(std::move(handler));
        } else {
            table.erase(key);
        }
    }
    /** Runs a handler, which may remove itself. */
    template <typename Key, typename Signature, typename... Args>
    static bool runHandler(const Table<Key, Signature> &table, std::type_identity_t<Key> key, Args &&...args) {
        const auto found = table.find(key);
        if (found == table.end()) {
            return false;
        }
        const Shared<Signature> handler = found->second;
        (*handler)(std::forward<Args>(args)...);
        return true;
    }
    static uint64_t procedureKey(uint32_t type, uint32_t procedure) noexcept {
        return uint64_t{type} << 32 | procedure;
    }
    bool control(int operation, int fd, uint32_t events) const noexcept {
        epoll_event event{};
        event.events = events;
        event.data.fd = fd;
        return epoll_ctl(epoll_.get(), operation, fd, &event) == 0;
    }

    /** A message that a blocking request left behind comes before those of the hub. */
    bool handlePutBack() {
        VosMsgHeader *block = nullptr;
        vosMsg_receivePutBack(hub_.handle(), &block);
        if (block != nullptr) {
            handle(Message{block});
        }
        return block != nullptr;
    }
    void receive() {
        VosMsgHeader *block = nullptr;
        const VosRet ret = vosMsg_receiveWithTimeout(hub_.handle(), &block, 0);
        if (ret == VOS_RET_OK) {
            handle(Message{block});
        } else if (ret != VOS_RET_TIMEOUT && ret != VOS_RET_NO_RESOURCE) {
            failure_ = VOS_RET_PEER_GONE;
            calls_.failAll(VOS_RET_PEER_GONE);
        }
    }
    void handle(Message message) {
        if (message.has(VOS_MSG_FLAG_RESPONSE)) {
            counters_.lateReplies += calls_.complete(message) ? 0u : 1u;
        } else if (message.has(VOS_MSG_FLAG_REQUEST)) {
            handleRequest(message);
        } else if (message.type() == VOS_MSG_RESEND_REQUEST) {
            calls_.resend(hub_.handle(), message.source());
        } else if (!handleOwn(message) && (message.has(VOS_MSG_FLAG_EVENT) || !calls_.complete(message)) &&
                   !runHandler(messages_, message.type(), message) && !runHandler(messages_, kOtherwise, message)) {
            counters_.unhandled++;
        }
    }
    /** What the library and the hub send for the loop's own sake. */
    bool handleOwn(const Message &message) {
        switch (message.type()) {
            case VOS_MSG_REQUEUE_WAKEUP:
                return true;
            case VOS_MSG_SYSTEM_TASK_FINISH:
                return tasks_.finish(message, hub_.eid()) || UTIL_taskFinish(message.header()) == VOS_RET_OK;
            case VOS_MSG_REGISTER_DELAYED_MSG:
                return message.source() == EID_HUBD && runDelayed(message.word());
            default:
                return false;
        }
    }
    bool runDelayed(uint32_t word) {
        const auto taken = delayed_.extract(word);
        if (!taken.empty()) {
            (*taken.mapped())();
        }
        return !taken.empty();
    }
    void handleRequest(const Message &message) {
        if (commands_.contains(message.type())) {
            handleCommand(message);
            return;
        }
        const Request request{hub_.handle(), message.header()};
        const bool served = message.has(VOS_MSG_FLAG_SRPC)
                                ? runHandler(procedures_, procedureKey(message.type(), message.word()), request)
                                : runHandler(requests_, message.type(), request);
        counters_.unhandled += served ? 0u : 1u;
    }
    /** The library's command function has no argument of one's own, so the command that runs is noted for its thread.
     */
    void handleCommand(const Message &message) {
        struct Running {
            Commands *handler;
            std::exception_ptr thrown;
        };
        static thread_local Running *running = nullptr;
        const Shared<uint32_t(std::span<char *const>, FILE *)> handler = commands_.find(message.type())->second;
        Running mine{handler.get(), nullptr};
        Running *const before = std::exchange(running, &mine);
        UTIL_processRemoteCli(hub_.handle(), message.block(), [](int count, char **arguments, FILE *out) -> uint32_t {
            const std::span<char *const> words{arguments, static_cast<size_t>(count)};
#if VOS_HPP_EXCEPTIONS
            try {
                return (*running->handler)(words, out);
            } catch (...) { /* nothing may pass through the library */
                running->thrown = std::current_exception();
                return VOS_RET_ERROR;
            }
#else
            return (*running->handler)(words, out);
#endif
        });
        running = before;
#if VOS_HPP_EXCEPTIONS
        if (mine.thrown) {
            std::rethrow_exception(mine.thrown);
        }
#endif
    }

    int waitMs(std::chrono::nanoseconds longest) const {
        auto wait = longest;
        const auto due = nextDue();
        if (due != Clock::time_point::max()) {
            wait = std::min(wait, std::chrono::nanoseconds{due - Clock::now()});
        }
        return wait == kForever ? -1 : static_cast<int>(detail::wholeMs(wait));
    }
    Clock::time_point nextDue() const {
        const auto call = calls_.nextDue();
        return timers_.empty() ? call : std::min(call, timers_.begin()->first.first);
    }
    void serveDescriptors(int ms) {
        epoll_event events[kEventsInOneTurn];
        const int count = epoll_wait(epoll_.get(), events, kEventsInOneTurn, ms);
        for (int i = 0; i < count; i++) {
            const int fd = events[i].data.fd;
            if (fd == hubFd_) {
                receive();
            } else if (fd == signalFd_.get()) {
                takeSignals();
            } else if (fd == timerFd_.get()) {
                uint64_t expirations;
                [[maybe_unused]] const auto ignored = read(fd, &expirations, sizeof expirations);
                armedFor_ = Clock::time_point::max();
            } else {
                runHandler(watches_, fd, uint32_t{events[i].events});
            }
        }
    }
    void takeSignals() {
        for (signalfd_siginfo info; read(signalFd_.get(), &info, sizeof info) > 0;) {
            runHandler(signals_, static_cast<int>(info.ssi_signo));
        }
    }
    /** SIGCHLD would do only where no other thread has it open. */
    void followChild(pid_t pid) {
#ifdef SYS_pidfd_open
        detail::Fd fd{static_cast<int>(syscall(SYS_pidfd_open, pid, 0))};
        const int number = fd.get();
        if (number >= 0 && watch(number, EPOLLIN, [this, number, held = std::move(fd)](uint32_t) {
                unwatch(number);
                collectChildren();
            })) {
            return;
        }
#endif
        after(kLookAfterChildren, [this, pid] { /* an older kernel */
                                                collectChildren();
                                                if (children_.contains(pid)) {
                                                    followChild(pid);
                                                }
        });
    }
    void collectChildren() {
        std::vector<Ended> all;
        for (const auto &child : children_) {
            int status = 0;
            if (waitpid(child.first, &status, WNOHANG) == child.first) {
                all.push_back({child.first, WIFEXITED(status) ? WEXITSTATUS(status) : 0,
                               WIFSIGNALED(status) ? WTERMSIG(status) : 0});
            }
        }
        for (const Ended &ended : all) {
            const auto handler = children_.extract(ended.pid);
            (*handler.mapped())(ended);
        }
    }

    Timer addTimer(std::chrono::nanoseconds delay, std::chrono::nanoseconds interval, Handler<void()> handler) {
        auto record = std::make_shared<Timer::Record>();
        record->run = std::move(handler);
        record->interval = interval;
        record->key = {detail::after(delay), nextTimer_++};
        timers_.emplace(record->key, record);
        Timer timer;
        timer.record_ = record;
        wakeForeignLoop();
        return timer;
    }
    void runDue() {
        if (timers_.empty() && calls_.nextDue() == Clock::time_point::max()) {
            return;
        }
        const auto now = Clock::now();
        const uint64_t end = nextTimer_; /* what handlers add waits for the next turn */
        while (!timers_.empty() && timers_.begin()->first.first <= now && timers_.begin()->first.second < end) {
            auto node = timers_.extract(timers_.begin());
            const std::shared_ptr<Timer::Record> timer = node.mapped();
            if (timer->interval.count() > 0) {
                const auto next = timer->key.first + timer->interval;
                timer->key.first = next > now ? next : now + timer->interval;
                node.key() = timer->key;
                timers_.insert(std::move(node));
            }
            timer->run();
        }
        calls_.expire(now);
    }
    /** Keeps the foreign loop's timer at what is due next. */
    void wakeForeignLoop() {
        const auto due = nextDue();
        if (timerFd_.get() < 0 || due == armedFor_) {
            return;
        }
        armedFor_ = due;
        const auto wait = std::max(std::chrono::nanoseconds{due - Clock::now()}, std::chrono::nanoseconds{1});
        itimerspec expiry{};
        if (due != Clock::time_point::max()) {
            expiry.it_value.tv_sec = static_cast<time_t>(wait.count() / 1'000'000'000);
            expiry.it_value.tv_nsec = static_cast<long>(wait.count() % 1'000'000'000);
        }
        timerfd_settime(timerFd_.get(), 0, &expiry, nullptr);
    }

    Connection &hub_;
    int32_t hubFd_ = -1;
    detail::Fd epoll_, signalFd_, timerFd_;
    Clock::time_point armedFor_ = Clock::time_point::max();
    sigset_t signalSet_, blockedHere_;
    VosRet failure_ = VOS_RET_OK;
    bool stopped_ = false;
    int status_ = 0;
    Counters counters_;

    Table<uint64_t, void(const MessageView &)> messages_;
    Table<uint32_t, void(const Request &)> requests_;
    Table<uint64_t, void(const Request &)> procedures_;
    Table<uint32_t, uint32_t(std::span<char *const>, FILE *)> commands_;
    Table<uint32_t, void()> delayed_;
    Table<int, void(uint32_t)> watches_;
    Table<int, void()> signals_;
    Table<pid_t, void(const Ended &)> children_;
    std::map<std::pair<Clock::time_point, uint64_t>, std::shared_ptr<Timer::Record>> timers_;
    uint64_t nextTimer_ = 0;
    uint32_t nextDelayed_ = 0x76000000;
    detail::Calls calls_;
    detail::Tasks tasks_;
};

}  // namespace vos

#endif
