// Reads a recorder's output as it arrives and tells when it has confirmed the start, or refused because
// the host is already recording.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "core/process_runner.hpp"

namespace orvanta {

// Not thread-safe: fed from the one thread that reads the child.
class RecordingHandshakeScanner {
 public:
  enum class Event { started, busy };

  static constexpr std::string_view startedMessage = "Recording started";
  static constexpr std::string_view busyMessage = "Host recording is already in progress";

  // Takes the next chunk of one stream. Each stream is decoded as UTF-8 on its own, invalid bytes replaced
  // with U+FFFD, and a message split across chunks is still found. Returns the first message the chunk
  // completes (the earlier one when it completes both), or nullopt.
  std::optional<Event> feed(OutputStream stream, std::string_view bytes);

 private:
  struct StreamState {
    std::string incomplete;  // the start of a UTF-8 sequence cut off by the chunk's end
    std::string tail;        // the end of the text seen so far, long enough to hold a split message
  };
  StreamState out_;
  StreamState err_;
};

// `bytes` decoded as UTF-8 with every invalid sequence replaced by U+FFFD. When `incomplete` is given, a
// sequence cut off at the end is kept there for the next call instead of being replaced.
[[nodiscard]] std::string decodeUtf8Lossy(std::string_view bytes, std::string* incomplete = nullptr);

}  // namespace orvanta
