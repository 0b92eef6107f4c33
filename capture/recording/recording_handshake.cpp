#include "capture/recording/recording_handshake.hpp"

#include <algorithm>

#include "support/utf8.hpp"

namespace orvanta {
std::string decodeUtf8Lossy(std::string_view bytes, std::string* incomplete) {
  std::size_t whole = bytes.size();
  if (incomplete) {
    incomplete->clear();
    // An unfinished sequence at the end waits for the rest of it (at most three bytes are held back).
    for (std::size_t start = bytes.size() > 3 ? bytes.size() - 3 : 0; start < bytes.size(); ++start) {
      if (decodeUtf8(bytes.substr(start)).unfinished) {
        whole = start;
        *incomplete = std::string(bytes.substr(start));
        break;
      }
    }
  }
  std::string text;
  appendUtf8Lossy(text, bytes.substr(0, whole));
  return text;
}

std::optional<RecordingHandshakeScanner::Event> RecordingHandshakeScanner::feed(OutputStream stream,
                                                                                std::string_view bytes) {
  StreamState& state = stream == OutputStream::standardOutput ? out_ : err_;
  std::string pending = std::move(state.incomplete);
  pending += bytes;
  std::string window = state.tail + decodeUtf8Lossy(pending, &state.incomplete);

  const auto started = window.find(startedMessage);
  const auto busy = window.find(busyMessage);
  const std::size_t keep = std::max(startedMessage.size(), busyMessage.size()) - 1;
  state.tail = window.size() > keep ? window.substr(window.size() - keep) : window;
  if (started == std::string::npos && busy == std::string::npos) return std::nullopt;
  // Once found, a message must not be found again in the kept tail.
  state.tail.clear();
  return started < busy ? Event::started : Event::busy;
}

}  // namespace orvanta
