/** @file
 *  A value or the code that says why there is none. Part of vos/vos.hpp.
 */
#ifndef VOS_HPP_RESULT_HPP
#define VOS_HPP_RESULT_HPP

#include <cstdio>
#include <cstdlib>
#include <exception>
#include <optional>
#include <utility>

#include "vos/ret_text.h"

/** @cond */
#ifdef __cpp_exceptions
#define VOS_HPP_EXCEPTIONS 1
#else
#define VOS_HPP_EXCEPTIONS 0
#endif
/** @endcond */

namespace vos {

/** A code in words. */
inline const char *message(VosRet ret) noexcept {
    return vos_retText(ret);
}

/** What Result::value() throws where there is no value. */
class Error : public std::exception {
  public:
    /** Of a code. */
    explicit Error(VosRet ret) noexcept : ret_{ret} {}
    /** The code. */
    VosRet ret() const noexcept { return ret_; }
    /** The code in words. */
    const char *what() const noexcept override { return message(ret_); }

  private:
    VosRet ret_;
};

namespace detail {

[[noreturn]] inline void noValue(VosRet ret) {
#if VOS_HPP_EXCEPTIONS
    throw Error{ret};
#else
    std::fprintf(stderr, "vos: %s (%u)\n", message(ret), ret);
    std::abort();
#endif
}

/** A function object that need not be copyable. */
template <typename Signature>
class Function;
template <typename R, typename... Args>
class Function<R(Args...)> {
    struct Base {
        virtual ~Base() = default;
        virtual R call(Args... args) = 0;
    };
    template <typename F>
    struct Holder final : Base {
        explicit Holder(F &&f) : f_{std::move(f)} {}
        R call(Args... args) override { return static_cast<R>(f_(std::forward<Args>(args)...)); }
        F f_;
    };
    Base *target_ = nullptr;

  public:
    Function() = default;
    template <typename F>
    requires(!std::is_same_v<std::remove_cvref_t<F>, Function>) Function(F &&f)
        : target_{new Holder<std::decay_t<F>>{std::decay_t<F>(std::forward<F>(f))}} {}
    Function(Function &&other) noexcept : target_{std::exchange(other.target_, nullptr)} {}
    Function &operator=(Function other) noexcept {
        std::swap(target_, other.target_);
        return *this;
    }
    ~Function() { delete target_; }
    explicit operator bool() const noexcept { return target_ != nullptr; }
    R operator()(Args... args) const { return target_->call(std::forward<Args>(args)...); }
};

}  // namespace detail

/** A value, or the VosRet that stands in its place. */
template <typename T>
class [[nodiscard]] Result {
  public:
    /** A success. */
    Result(T value) : value_{std::move(value)} {}
    /** A failure; VOS_RET_OK counts as VOS_RET_ERROR. */
    Result(VosRet ret) requires(!std::is_same_v<T, VosRet>) : ret_{ret == VOS_RET_OK ? VosRet{VOS_RET_ERROR} : ret} {}
    /** A failure, where T is VosRet itself. */
    static Result failure(VosRet ret) {
        Result result;
        result.ret_ = ret == VOS_RET_OK ? VosRet{VOS_RET_ERROR} : ret;
        return result;
    }

    /** Whether there is a value. */
    explicit operator bool() const noexcept { return value_.has_value(); }
    /** VOS_RET_OK, or why there is no value. */
    VosRet ret() const noexcept { return ret_; }
    /** The same in words. */
    const char *message() const noexcept { return vos::message(ret_); }
    /** The value; without one throws Error or, compiled without exceptions, says so and aborts.
     *  @{ */
    T &value() & { return value_ ? *value_ : (detail::noValue(ret_), *value_); }
    const T &value() const & { return value_ ? *value_ : (detail::noValue(ret_), *value_); }
    T value() && { return std::move(value()); }
    /** @} */
    /** The value, or another one. */
    T value_or(T other) && { return value_ ? std::move(*value_) : std::move(other); }
    /** The value, which must be there.
     *  @{ */
    T &operator*() & { return *value_; }
    const T &operator*() const & { return *value_; }
    T *operator->() { return &*value_; }
    const T *operator->() const { return &*value_; }
    /** @} */

  private:
    Result() = default;
    std::optional<T> value_;
    VosRet ret_ = VOS_RET_OK;
};

/** Success or a code. May be left unread: most sends are told the same by the next receive. */
template <>
class Result<void> {
  public:
    /** Of a code. */
    Result(VosRet ret = VOS_RET_OK) noexcept : ret_{ret} {}
    /** Whether it went well. */
    explicit operator bool() const noexcept { return ret_ == VOS_RET_OK; }
    /** The code. */
    VosRet ret() const noexcept { return ret_; }
    /** The same in words. */
    const char *message() const noexcept { return vos::message(ret_); }
    /** Throws or aborts, as that of a Result with a value, unless it went well. */
    void value() const {
        if (ret_ != VOS_RET_OK) {
            detail::noValue(ret_);
        }
    }

  private:
    VosRet ret_;
};

}  // namespace vos

#endif
