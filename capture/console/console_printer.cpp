#include "capture/console/console_printer.hpp"

#include <algorithm>

#include "support/json_text.hpp"

namespace orvanta {

void appendEntryJsonLine(std::string& out, const SimulatorLogEntry& entry) {
  out += "{\"id\":\"";
  out += entry.id.text();
  out += '"';
  if (entry.timestamp) {
    out += ",\"timestamp\":\"";
    out += entry.timestamp->text();
    out += '"';
  }
  if (entry.level) {
    out += ",\"level\":\"";
    out += rawValue(*entry.level);
    out += '"';
  }
  if (entry.processID) {
    out += ",\"processID\":";
    out += std::to_string(*entry.processID);
  }
  auto optionalText = [&out](const char* key, const std::optional<std::string>& value) {
    if (!value) return;
    out += ",\"";
    out += key;
    out += "\":";
    appendJsonString(out, *value);
  };
  optionalText("processImagePath", entry.processImagePath);
  optionalText("subsystem", entry.subsystem);
  optionalText("category", entry.category);
  out += ",\"message\":";
  appendJsonString(out, entry.message);
  out += ",\"raw\":";
  appendJsonString(out, entry.raw);
  out += "}\n";
}

void appendEntryTextLine(std::string& out, const SimulatorLogEntry& entry) {
  ConsoleExportService::appendLine(out, entry);
  out.push_back('\n');
}

ConsoleEntryPrinter::ConsoleEntryPrinter(std::ostream& out, Format format, std::size_t backlogLimit)
    : out_(out), format_(format), backlogLimit_(backlogLimit), thread_([this] { run(); }) {}

ConsoleEntryPrinter::~ConsoleEntryPrinter() { finish(); }

void ConsoleEntryPrinter::push(std::vector<SimulatorLogEntry> batch) {
  if (batch.empty()) return;
  {
    std::lock_guard guard(lock_);
    const bool behind = printing_ || !queue_.empty();
    const std::size_t size = batch.size();
    for (auto& entry : batch) queue_.push_back(std::move(entry));
    const std::size_t keep = std::max(backlogLimit_, size);
    if (behind && queue_.size() > keep) {
      const std::size_t excess = queue_.size() - keep;
      queue_.erase(queue_.begin(), queue_.begin() + static_cast<std::ptrdiff_t>(excess));
      dropped_ += excess;
    }
  }
  wake_.notify_one();
}

void ConsoleEntryPrinter::finish() {
  {
    std::lock_guard guard(lock_);
    finishing_ = true;
  }
  wake_.notify_one();
  if (thread_.joinable()) thread_.join();
}

std::size_t ConsoleEntryPrinter::droppedCount() const {
  std::lock_guard guard(lock_);
  return dropped_;
}

void ConsoleEntryPrinter::run() {
  constexpr std::size_t chunk = 1024;  // entries formatted per write: what a stalled write holds back
  std::vector<SimulatorLogEntry> taken;
  std::string text;
  for (;;) {
    {
      std::unique_lock guard(lock_);
      printing_ = false;
      wake_.wait(guard, [this] { return !queue_.empty() || finishing_; });
      if (queue_.empty()) return;
      const std::size_t count = std::min(chunk, queue_.size());
      taken.assign(std::make_move_iterator(queue_.begin()),
                   std::make_move_iterator(queue_.begin() + static_cast<std::ptrdiff_t>(count)));
      queue_.erase(queue_.begin(), queue_.begin() + static_cast<std::ptrdiff_t>(count));
      printing_ = true;
    }
    text.clear();
    for (const auto& entry : taken) format_(text, entry);
    taken.clear();
    out_.write(text.data(), static_cast<std::streamsize>(text.size()));
    out_.flush();
  }
}

}  // namespace orvanta
