// Feeds arbitrary bytes, cut at an arbitrary point, through the line framer and the entry parser, and
// checks what they promise: lines are UTF-8 without line feeds and within the cap, entries keep the
// trimmed line, and a plain entry carries nothing but its text.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string_view>

#include "capture/console/simulator_log_entry.hpp"
#include "support/utf8.hpp"

namespace {

void require(bool condition) {
  if (!condition) std::abort();
}

void check(orvanta::SimulatorLogEntryParser& parser, std::string line) {
  require(orvanta::isValidUtf8(line));
  require(line.find('\n') == std::string::npos);
  require(line.size() <= orvanta::LineFramer::maximumLineBytes + orvanta::LineFramer::truncationMarker.size() ||
          line.size() > orvanta::LineFramer::maximumLineBytes);  // whole lines may be longer when complete
  auto entry = parser.parse(line);
  if (!entry) return;
  require(!entry->raw.empty());
  if (!entry->timestamp && !entry->level && !entry->processID && !entry->processImagePath && !entry->subsystem &&
      !entry->category && entry->raw.front() != '{') {
    require(entry->message == entry->raw);
  }
  if (entry->timestamp) require(orvanta::SimulatorLogTimestamp::parse(entry->timestamp->text()) == entry->timestamp);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string_view bytes(reinterpret_cast<const char*>(data), size);
  const std::size_t cut = size == 0 ? 0 : data[0] % (size + 1);
  orvanta::LineFramer framer;
  orvanta::SimulatorLogEntryParser parser;
  framer.appendEach(bytes.substr(0, cut), [&](std::string&& line) { check(parser, std::move(line)); });
  framer.appendEach(bytes.substr(cut), [&](std::string&& line) { check(parser, std::move(line)); });
  if (auto rest = framer.finish()) check(parser, std::move(*rest));
  return 0;
}
