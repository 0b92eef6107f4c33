#include "capture/console/log_stream_printer.hpp"

#include "capture/console/simulator_log_stream_service.hpp"

namespace orvanta {

LogStreamPrinter::LogStreamPrinter(MakeProcess makeProcess, std::filesystem::path xcrun, OutputWriter& writer,
                                   ConsoleLogFilter filter, ConsoleEntryFormat format)
    : makeProcess_(std::move(makeProcess)),
      xcrun_(std::move(xcrun)),
      filter_(std::move(filter)),
      printer_(writer, format) {}

LogStreamPrinter::~LogStreamPrinter() {
  stop();
  process_.reset();  // gives the child a moment to end, then ends it; no callback runs after this
}

expected<void, ConsoleError> LogStreamPrinter::start(const std::string& udid) {
  if (process_) return unexpected(ConsoleError::of(ConsoleError::Case::streamAlreadyRunning));
  auto arguments = SimulatorLogStreamService::checkedArguments(udid);
  if (!arguments) return unexpected(arguments.error());
  auto process = makeProcess_();
  process->onOutputLines = [this](std::span<const std::string_view> lines) { receive(lines); };
  process->onErrorLine = [](std::string) {};  // the tool's chatter on stderr is not part of the log
  process->onTermination = [this](LogStreamTerminationReason reason) {
    printer_.flush();
    if (!stopped_.load() && onEnd) onEnd(reason);
  };
  if (auto launched = process->launch(xcrun_, *arguments); !launched) {
    return unexpected(ConsoleError::processLaunchFailed(launched.error()));
  }
  process_ = std::move(process);
  return {};
}

void LogStreamPrinter::stop() {
  if (stopped_.exchange(true) || !process_) return;
  process_->stop();
}

void LogStreamPrinter::receive(std::span<const std::string_view> lines) {
  if (stopped_.load(std::memory_order_relaxed)) return;
  std::size_t bytes = 0;
  for (auto line : lines) bytes += line.size();
  printer_.reserveFor(lines.size(), bytes);
  std::size_t count = 0;
  for (auto line : lines) {
    auto entry = parser_.parseView(line);
    if (!entry || !filter_.matches(*entry)) continue;
    printer_.print(*entry);
    ++count;
  }
  entries_.fetch_add(count, std::memory_order_relaxed);
  printer_.flush();
}

}  // namespace orvanta
