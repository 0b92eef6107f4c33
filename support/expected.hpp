// The result type of every fallible operation: orvanta::expected<T, E>.
//
// It is std::expected where the standard library has it (libstdc++ 12, recent libc++). libc++ 14 does not,
// so there a small stand-in with the same names and the subset of the interface this code base uses
// takes its place. Code only ever spells orvanta::expected and orvanta::unexpected.
#pragma once

#include <version>

#if defined(__cpp_lib_expected)
#include <expected>

namespace orvanta {
using std::expected;
using std::unexpected;
}  // namespace orvanta

#else
#include <cassert>
#include <type_traits>
#include <utility>
#include <variant>

namespace orvanta {

template <class E>
class unexpected {
 public:
  constexpr explicit unexpected(E error) : error_(std::move(error)) {}
  constexpr const E& error() const& noexcept { return error_; }
  constexpr E& error() & noexcept { return error_; }
  constexpr E&& error() && noexcept { return std::move(error_); }
  friend constexpr bool operator==(const unexpected& a, const unexpected& b) { return a.error_ == b.error_; }

 private:
  E error_;
};
template <class E>
unexpected(E) -> unexpected<E>;

template <class T, class E>
class expected {
 public:
  using value_type = T;
  using error_type = E;

  constexpr expected() requires std::is_default_constructible_v<T> : storage_(std::in_place_index<0>) {}
  template <class U = T>
    requires(std::is_constructible_v<T, U &&> &&
             !std::is_same_v<std::remove_cvref_t<U>, expected> &&
             !std::is_same_v<std::remove_cvref_t<U>, unexpected<E>>)
  constexpr expected(U&& value) : storage_(std::in_place_index<0>, std::forward<U>(value)) {}
  template <class G>
  constexpr expected(const unexpected<G>& error) : storage_(std::in_place_index<1>, error.error()) {}
  template <class G>
  constexpr expected(unexpected<G>&& error) : storage_(std::in_place_index<1>, std::move(error).error()) {}

  constexpr bool has_value() const noexcept { return storage_.index() == 0; }
  constexpr explicit operator bool() const noexcept { return has_value(); }

  constexpr T& value() & { assert(has_value()); return std::get<0>(storage_); }
  constexpr const T& value() const& { assert(has_value()); return std::get<0>(storage_); }
  constexpr T&& value() && { assert(has_value()); return std::get<0>(std::move(storage_)); }
  constexpr T& operator*() & { return value(); }
  constexpr const T& operator*() const& { return value(); }
  constexpr T&& operator*() && { return std::move(*this).value(); }
  constexpr T* operator->() { return &value(); }
  constexpr const T* operator->() const { return &value(); }
  template <class U>
  constexpr T value_or(U&& fallback) const& {
    return has_value() ? value() : static_cast<T>(std::forward<U>(fallback));
  }

  constexpr E& error() & { assert(!has_value()); return std::get<1>(storage_); }
  constexpr const E& error() const& { assert(!has_value()); return std::get<1>(storage_); }
  constexpr E&& error() && { assert(!has_value()); return std::get<1>(std::move(storage_)); }

  friend constexpr bool operator==(const expected& a, const expected& b) { return a.storage_ == b.storage_; }

 private:
  std::variant<T, E> storage_;
};

template <class E>
class expected<void, E> {
 public:
  using value_type = void;
  using error_type = E;

  constexpr expected() noexcept = default;
  template <class G>
  constexpr expected(const unexpected<G>& error) : error_(error.error()), hasError_(true) {}
  template <class G>
  constexpr expected(unexpected<G>&& error) : error_(std::move(error).error()), hasError_(true) {}

  constexpr bool has_value() const noexcept { return !hasError_; }
  constexpr explicit operator bool() const noexcept { return has_value(); }
  constexpr void value() const { assert(has_value()); }
  constexpr void operator*() const noexcept {}

  constexpr E& error() & { assert(hasError_); return error_; }
  constexpr const E& error() const& { assert(hasError_); return error_; }
  constexpr E&& error() && { assert(hasError_); return std::move(error_); }

  friend constexpr bool operator==(const expected& a, const expected& b) {
    return a.hasError_ == b.hasError_ && (!a.hasError_ || a.error_ == b.error_);
  }

 private:
  E error_{};
  bool hasError_ = false;
};

}  // namespace orvanta
#endif

// Evaluates an expression yielding orvanta::expected; on error returns the error from the enclosing function.
#define ORVANTA_TRY(expr)                                                         \
  do {                                                                            \
    if (auto orvanta_try_result_ = (expr); !orvanta_try_result_)                  \
      return ::orvanta::unexpected(std::move(orvanta_try_result_).error());       \
  } while (false)
