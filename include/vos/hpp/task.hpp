/** @file
 *  Work in a thread of its own, with a result for the loop. Part of vos/vos.hpp.
 */
#ifndef VOS_HPP_TASK_HPP
#define VOS_HPP_TASK_HPP

#include <condition_variable>
#include <mutex>
#include <unordered_map>

#include "vos/hpp/connection.hpp"
#include "vos/task.h"

namespace vos::detail {

class TaskBase {
  public:
    virtual ~TaskBase() = default;
    virtual void work() = 0;   /* in its thread */
    virtual void finish() = 0; /* in the loop's */
};

template <typename Work, typename Done>
class Task final : public TaskBase {
    using T = std::invoke_result_t<Work &>;
    static constexpr bool kVoid = std::is_void_v<T>;

  public:
    Task(Work toDo, Done then) : work_{std::move(toDo)}, done_{std::move(then)} {}
    void work() override {
#if VOS_HPP_EXCEPTIONS
        try {
            doWork();
        } catch (...) {
            thrown_ = std::current_exception();
        }
#else
        doWork();
#endif
    }
    void finish() override {
#if VOS_HPP_EXCEPTIONS
        if (thrown_) {
            std::rethrow_exception(thrown_);
        }
#endif
        if constexpr (kVoid) {
            done_();
        } else {
            done_(std::move(*result_));
        }
    }

  private:
    void doWork() {
        if constexpr (kVoid) {
            work_();
        } else {
            result_.emplace(work_());
        }
    }
    Work work_;
    Done done_;
    std::optional<std::conditional_t<kVoid, bool, T>> result_;
    std::exception_ptr thrown_;
};

/** The tasks of one loop. Their end travels to the loop as every task's does, as a message through the hub. */
class Tasks {
  public:
    explicit Tasks(VosMsgHandle *handle) : gate_{std::make_shared<Gate>()} { gate_->handle = handle; }
    Tasks(const Tasks &) = delete;
    Tasks &operator=(const Tasks &) = delete;
    /** Waits for work that is going on: it may refer to what goes away next. */
    ~Tasks() {
        std::unique_lock lock{gate_->mutex};
        gate_->handle = nullptr;
        gate_->idle.wait(lock, [this] { return gate_->running == 0; });
    }

    Result<void> start(std::shared_ptr<TaskBase> task) {
        auto *const run = new Run{task, gate_};
        {
            const std::lock_guard lock{gate_->mutex};
            gate_->running++;
        }
        const VosRet ret = UTIL_taskStart(&Tasks::thread, run, nullptr, nullptr);
        if (ret != VOS_RET_OK) {
            const std::lock_guard lock{gate_->mutex};
            gate_->running--;
            delete run;
            return ret;
        }
        tasks_.emplace(reinterpret_cast<uintptr_t>(task.get()), task);
        return {};
    }
    /** Completes the task that a message speaks of; false when it is none of this loop's. */
    bool finish(const MessageView &message, VosEntityId self) {
        const auto key = message.as<uintptr_t>();
        const auto found =
            message.source() == self && message.word() == kWord && key ? tasks_.find(*key) : tasks_.end();
        if (found == tasks_.end()) {
            return false;
        }
        const std::shared_ptr<TaskBase> task = std::move(found->second);
        tasks_.erase(found);
        task->finish();
        return true;
    }
    size_t underWay() const noexcept { return tasks_.size(); }

  private:
    static constexpr uint32_t kWord = 0xFFFFFFFF; /* never stands for a function of UTIL_taskStart() */
    struct Gate {
        std::mutex mutex;
        std::condition_variable idle;
        VosMsgHandle *handle = nullptr; /* none: the loop is going away */
        unsigned running = 0;
    };
    struct Run {
        std::shared_ptr<TaskBase> task;
        std::shared_ptr<Gate> gate;
    };
    static void thread(void *arg) {
        std::unique_ptr<Run> run{static_cast<Run *>(arg)};
        const auto key = reinterpret_cast<uintptr_t>(run->task.get());
        run->task->work();
        run->task.reset();
        const std::shared_ptr<Gate> gate = run->gate;
        const std::lock_guard lock{gate->mutex};
        if (gate->handle != nullptr) {
            const VosEntityId self = vosMsg_getHandleEid(gate->handle);
            const Message end = Message::build(VOS_MSG_SYSTEM_TASK_FINISH, self, self, VOS_MSG_FLAG_EVENT, kWord, key);
            if (end) {
                vosMsg_send(gate->handle, end.header());
            }
        }
        gate->running--;
        gate->idle.notify_all();
    }

    std::shared_ptr<Gate> gate_;
    std::unordered_map<uintptr_t, std::shared_ptr<TaskBase>> tasks_;
};

}  // namespace vos::detail

#endif
