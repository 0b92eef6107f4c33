// Feeds arbitrary bytes, cut at an arbitrary point, through the line framer and the entry parser, and
// checks what they promise: lines are UTF-8 without line feeds and within the cap, entries keep the
// trimmed line, and a plain entry carries nothing but its text. The framer's views, read in place from
// buffers of exactly the read's size, give the same lines and the same entries as the copies.
#include <cstddef>
#include <cstdint>
#include <algorithm>
#include <cstdlib>
#include <string>
#include <memory>
#include <string_view>
#include <vector>

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
  std::vector<std::string> lines;
  framer.appendEach(bytes.substr(0, cut), [&](std::string&& line) { lines.push_back(line); });
  framer.appendEach(bytes.substr(cut), [&](std::string&& line) { lines.push_back(line); });
  if (auto rest = framer.finish()) lines.push_back(*rest);
  for (const auto& line : lines) check(parser, line);

  orvanta::LineFramer viewing;
  orvanta::SimulatorLogEntryParser viewParser;
  std::vector<std::string_view> views;
  std::size_t index = 0;
  auto compare = [&] {
    for (auto view : views) {
      require(index < lines.size() && view == lines[index]);
      auto entry = viewParser.parseView(view);
      auto copy = parser.parse(lines[index]);
      require(entry.has_value() == copy.has_value());
      if (entry) {
        require(entry->raw == copy->raw && entry->message == copy->message && entry->level == copy->level);
      }
      ++index;
    }
  };
  for (const auto piece : {bytes.substr(0, cut), bytes.substr(cut)}) {
    const auto exact = std::make_unique<char[]>(piece.size() + 1);
    std::copy(piece.begin(), piece.end(), exact.get());
    viewing.appendViews(std::string_view(exact.get(), piece.size()), views);
    compare();
  }
  views.clear();
  if (auto rest = viewing.finishView()) views.push_back(*rest);
  compare();
  require(index == lines.size());
  return 0;
}
