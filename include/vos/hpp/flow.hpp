/** @file
 *  Coroutines that wait for replies. Part of vos/vos.hpp.
 */
#ifndef VOS_HPP_FLOW_HPP
#define VOS_HPP_FLOW_HPP

#include <coroutine>

#include "vos/hpp/call.hpp"

namespace vos {

/** A coroutine on a loop: a function that returns Flow and waits with `co_await loop.ask(…)`.
 *
 *  It begins with start() or detach(). An exception that it does not catch comes out of these or, later, out of the
 *  loop's turn. Going away ends it where it waits and cancels the request; a detached one owns itself, to its end or
 *  its loop's. What its parameters refer to must live as long.
 */
class [[nodiscard]] Flow {
  public:
    /** @cond */
    struct promise_type {
        Flow get_return_object() { return Flow{Handle::from_promise(*this)}; }
        std::suspend_always initial_suspend() noexcept { return {}; }
        auto final_suspend() noexcept {
            struct Final {
                bool detached;
                bool await_ready() const noexcept { return detached; }
                void await_suspend(std::coroutine_handle<>) const noexcept {}
                void await_resume() const noexcept {}
            };
            return Final{detached};
        }
        void return_void() noexcept {}
        void unhandled_exception() noexcept {
#if VOS_HPP_EXCEPTIONS
            *thrown = std::current_exception();
#else
            std::abort();
#endif
        }
        bool detached = false;
        bool started = false;
        std::exception_ptr *thrown = nullptr;
    };
    using Handle = std::coroutine_handle<promise_type>;

    Flow(Flow &&other) noexcept : handle_{std::exchange(other.handle_, {})} {}
    Flow &operator=(Flow &&other) noexcept {
        std::swap(handle_, other.handle_);
        return *this;
    }
    /** @endcond */
    ~Flow() {
        if (handle_) {
            handle_.destroy();
        }
    }
    /** Runs to the first wait. */
    void start() {
        if (handle_ && !std::exchange(handle_.promise().started, true)) {
            resume(handle_);
        }
    }
    /** Lets it go on by itself, from the beginning if it was not started. */
    void detach() {
        const Handle handle = std::exchange(handle_, {});
        if (handle && handle.done()) {
            handle.destroy();
            return;
        }
        handle.promise().detached = true;
        if (!std::exchange(handle.promise().started, true)) {
            resume(handle);
        }
    }
    /** Whether it has come to its end. */
    bool done() const noexcept {
        return !handle_ || handle_.done();
    }

    /** @cond Goes on; what the coroutine throws comes out here. */
    static void resume(Handle handle) {
        std::exception_ptr thrown;
        handle.promise().thrown = &thrown;
        handle.resume();
#if VOS_HPP_EXCEPTIONS
        if (thrown) {
            std::rethrow_exception(thrown);
        }
#endif
    }
    /** @endcond */

  private:
    explicit Flow(Handle handle) noexcept : handle_{handle} {}
    Handle handle_;
};

namespace detail {

/** Resumes a flow once; destroyed before, it takes a detached one along. */
class Resumer {
  public:
    explicit Resumer(Flow::Handle handle) noexcept : handle_{handle} {}
    Resumer(Resumer &&other) noexcept : handle_{std::exchange(other.handle_, {})} {}
    Resumer &operator=(Resumer &&) = delete;
    ~Resumer() {
        if (handle_ && handle_.promise().detached) {
            handle_.destroy();
        }
    }
    void operator()() { Flow::resume(std::exchange(handle_, {})); }

  private:
    Flow::Handle handle_;
};

}  // namespace detail

/** What `co_await loop.ask(…)` waits on; gives a Result<Message>. */
class [[nodiscard]] Asking {
  public:
    /** @cond */
    Asking(detail::Calls &calls, VosMsgHandle *handle, Message request, const Ask &ask) noexcept
        : calls_{calls}, handle_{handle}, request_{std::move(request)}, ask_{ask} {}
    bool await_ready() const noexcept { return false; }
    void await_suspend(Flow::Handle flow) {
        call_ = Call{calls_.start(handle_, std::move(request_), ask_,
                                  [this, go = detail::Resumer{flow}](Result<Message> result) mutable {
                                      result_.emplace(std::move(result));
                                      go();
                                  })};
    }
    Result<Message> await_resume() { return std::move(*result_); }
    /** @endcond */

  private:
    detail::Calls &calls_;
    VosMsgHandle *handle_;
    Message request_;
    Ask ask_;
    Call call_;
    std::optional<Result<Message>> result_;
};

}  // namespace vos

#endif
