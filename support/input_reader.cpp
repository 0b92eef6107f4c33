#include "support/input_reader.hpp"

#include <poll.h>
#include <unistd.h>

#include <array>
#include <cerrno>

#include "support/atomic_file.hpp"
#include "support/file_error.hpp"

namespace orvanta {
namespace {

constexpr int kPollSliceMilliseconds = 100;

// Waits until `fd` can be read or the stop is requested. True when readable (or at its end).
expected<bool, InputError> waitReadable(int fd, const orvanta::stop_token& stop) {
  for (;;) {
    if (stop.stop_requested()) return unexpected(InputError{InputError::Case::stopped, 0, {}});
    pollfd entry{fd, POLLIN, 0};
    const int ready = ::poll(&entry, 1, kPollSliceMilliseconds);
    if (ready > 0) return true;
    if (ready < 0 && errno != EINTR && errno != EAGAIN) {
      return unexpected(InputError{InputError::Case::readFailed, 0, systemMessage(errno)});
    }
  }
}

// One read(2) after the descriptor was found readable: bytes, 0 at the end, or an error.
expected<std::size_t, InputError> readSome(int fd, char* into, std::size_t size, const orvanta::stop_token& stop) {
  for (;;) {
    if (auto readable = waitReadable(fd, stop); !readable) return unexpected(readable.error());
    const ssize_t count = ::read(fd, into, size);
    if (count >= 0) return static_cast<std::size_t>(count);
    if (errno != EINTR && errno != EAGAIN) {
      return unexpected(InputError{InputError::Case::readFailed, 0, systemMessage(errno)});
    }
  }
}

}  // namespace

std::string InputError::description() const {
  switch (kind) {
    case Case::tooLarge: return "Standard input holds more than " + budgetText(budget) + ".";
    case Case::stopped: return "The command was cancelled.";
    case Case::readFailed: return "Could not read standard input: " + message;
  }
  return {};
}

expected<std::string, InputError> readAllInput(int fd, std::size_t maxBytes, orvanta::stop_token stop) {
  std::string content;
  std::array<char, 16384> buffer{};
  for (;;) {
    auto count = readSome(fd, buffer.data(), buffer.size(), stop);
    if (!count) return unexpected(count.error());
    if (*count == 0) return content;
    if (content.size() + *count > maxBytes) return unexpected(InputError{InputError::Case::tooLarge, maxBytes, {}});
    content.append(buffer.data(), *count);
  }
}

expected<std::optional<std::string>, InputError> readInputLine(int fd, std::size_t maxBytes, orvanta::stop_token stop) {
  std::string line;
  for (;;) {
    char byte = 0;
    auto count = readSome(fd, &byte, 1, stop);
    if (!count) return unexpected(count.error());
    if (*count == 0) return line.empty() ? std::nullopt : std::optional<std::string>(std::move(line));
    if (byte == '\n') return std::optional<std::string>(std::move(line));
    if (line.size() >= maxBytes) return unexpected(InputError{InputError::Case::tooLarge, maxBytes, {}});
    line.push_back(byte);
  }
}

}  // namespace orvanta
