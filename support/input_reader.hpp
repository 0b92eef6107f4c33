// Reading what a person or a pipe gives us on a descriptor (standard input, a terminal): within a byte
// budget, and never past a stop request. Every wait polls in short slices, so Ctrl-C ends a read of a
// pipe that nobody writes to, or a prompt that nobody answers, within a tenth of a second, whatever the
// signal handler's restart flag says.
#pragma once

#include <cstddef>
#include <optional>
#include <string>

#include "support/expected.hpp"
#include "support/stop_token.hpp"

namespace orvanta {

struct InputError {
  enum class Case { tooLarge, stopped, readFailed };
  Case kind = Case::readFailed;
  std::size_t budget = 0;  // tooLarge
  std::string message;     // readFailed: the system's message

  // "Standard input holds more than 64 KiB.", "Could not read standard input: Input/output error".
  [[nodiscard]] std::string description() const;
};

// Everything until the end of input, at most `maxBytes`. Blocks; any thread.
[[nodiscard]] expected<std::string, InputError> readAllInput(int fd, std::size_t maxBytes, orvanta::stop_token stop);

// One line without its newline, at most `maxBytes`; nullopt at the end of input before any byte. Reads a
// byte at a time so that nothing after the newline is taken from the descriptor. Blocks; any thread.
[[nodiscard]] expected<std::optional<std::string>, InputError> readInputLine(int fd, std::size_t maxBytes,
                                                                             orvanta::stop_token stop);

}  // namespace orvanta
