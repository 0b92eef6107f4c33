// Owning wrapper for a POSIX file descriptor.
#pragma once

#include <unistd.h>

#include <utility>

namespace orvanta {

// Closes its descriptor on destruction. Move-only; not thread-safe (owned by one thread at a time).
class UniqueFd {
 public:
  UniqueFd() = default;
  explicit UniqueFd(int fd) noexcept : fd_(fd) {}
  UniqueFd(UniqueFd&& other) noexcept : fd_(std::exchange(other.fd_, -1)) {}
  UniqueFd& operator=(UniqueFd&& other) noexcept {
    if (this != &other) reset(std::exchange(other.fd_, -1));
    return *this;
  }
  UniqueFd(const UniqueFd&) = delete;
  UniqueFd& operator=(const UniqueFd&) = delete;
  ~UniqueFd() { reset(); }

  [[nodiscard]] int get() const noexcept { return fd_; }
  [[nodiscard]] bool valid() const noexcept { return fd_ >= 0; }
  explicit operator bool() const noexcept { return valid(); }
  [[nodiscard]] int release() noexcept { return std::exchange(fd_, -1); }

  // close() is never retried: on Linux and macOS the descriptor is gone even when it reports EINTR,
  // and a retry could close a descriptor another thread has just opened.
  void reset(int fd = -1) noexcept {
    if (fd_ >= 0) ::close(fd_);
    fd_ = fd;
  }

 private:
  int fd_ = -1;
};

}  // namespace orvanta
