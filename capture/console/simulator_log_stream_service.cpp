#include "capture/console/simulator_log_stream_service.hpp"

#include <cstdlib>
#include <limits>
#include <map>

namespace orvanta {

// ---------------------------------------------------------------------------------------------------
// PendingLogBuffer

std::size_t PendingLogBuffer::footprint(const SimulatorLogEntry& entry) noexcept {
  return sizeof(std::int64_t) + entry.footprint();
}

void PendingLogBuffer::append(SimulatorLogEntry entry, std::int64_t generation) {
  const std::size_t size = byteLimit_ > 0 ? footprint(entry) : 0;
  std::unique_lock guard(lock_);
  if (generation < accepted_) return;
  if (byteLimit_ > 0) {
    if (bytes_ >= byteLimit_ && onFull_ && !fullReported_) {
      fullReported_ = true;
      guard.unlock();
      onFull_();
      guard.lock();
      if (generation < accepted_) return;
    }
    room_.wait(guard, [&] { return bytes_ < byteLimit_ || generation != accepted_; });
    if (generation < accepted_) return;
    bytes_ += size;
  }
  items_.emplace_back(generation, std::move(entry));
}

std::vector<SimulatorLogEntry> PendingLogBuffer::drain(std::int64_t generation) {
  std::vector<std::pair<std::int64_t, SimulatorLogEntry>> taken;
  {
    std::lock_guard guard(lock_);
    taken.swap(items_);
    bytes_ = 0;
    fullReported_ = false;
  }
  room_.notify_all();
  std::vector<SimulatorLogEntry> kept;
  kept.reserve(taken.size());
  for (auto& [itemGeneration, entry] : taken) {
    if (itemGeneration == generation) kept.push_back(std::move(entry));
  }
  return kept;
}

void PendingLogBuffer::accept(std::int64_t generation) {
  {
    std::lock_guard guard(lock_);
    accepted_ = generation;
  }
  room_.notify_all();
}

// ---------------------------------------------------------------------------------------------------
// SimulatorLogStreamService

struct SimulatorLogStreamService::State {
  State(MainLoop& loop_, MakeProcess makeProcess_, std::filesystem::path xcrun_, double flushInterval_)
      : loop(loop_), makeProcess(std::move(makeProcess_)), xcrun(std::move(xcrun_)), flushInterval(flushInterval_) {}

  MainLoop& loop;
  MakeProcess makeProcess;
  std::filesystem::path xcrun;
  double flushInterval;
  SimulatorLogStreamService* owner = nullptr;  // null once the service is gone
  std::int64_t generation = 0;
  std::unique_ptr<LogStreamProcessProtocol> process;
  // Stopped children that have not ended yet, by the generation they streamed for.
  std::map<std::int64_t, std::unique_ptr<LogStreamProcessProtocol>> retired;
  std::shared_ptr<PendingLogBuffer> pending;
  TimerHandle flushTimer;

  void deliver(Event event) {
    if (owner && owner->onEvent) owner->onEvent(std::move(event));
  }

  void deliverEntries(std::vector<SimulatorLogEntry> entries) {
    if (entries.empty()) return;
    Event event;
    event.kind = Event::Case::entries;
    event.entries = std::move(entries);
    deliver(std::move(event));
  }

  void flush() { deliverEntries(pending->drain(generation)); }

  void advanceGeneration() {
    if (generation == std::numeric_limits<std::int64_t>::max()) std::abort();
    ++generation;
    pending->accept(generation);
  }

  void terminated(std::int64_t streamGeneration, LogStreamTerminationReason reason) {
    if (streamGeneration != generation || !process) {
      retired.erase(streamGeneration);  // a stopped child has ended: nothing to report
      return;
    }
    flushTimer.cancel();
    process.reset();
    deliverEntries(pending->drain(streamGeneration));
    Event event;
    event.kind = Event::Case::terminated;
    event.reason = reason;
    deliver(std::move(event));
  }
};

SimulatorLogStreamService::SimulatorLogStreamService(MainLoop& loop, MakeProcess makeProcess,
                                                     std::filesystem::path xcrun, double flushInterval,
                                                     std::size_t pendingByteLimit)
    : state_(std::make_shared<State>(loop, std::move(makeProcess), std::move(xcrun), flushInterval)) {
  state_->owner = this;
  // A full buffer asks the main thread for an early flush rather than waiting for the timer.
  state_->pending =
      std::make_shared<PendingLogBuffer>(pendingByteLimit, [weak = std::weak_ptr<State>(state_), loop = &loop] {
        loop->post([weak] {
          if (auto alive = weak.lock()) alive->flush();
        });
      });
}

SimulatorLogStreamService::~SimulatorLogStreamService() {
  stop();
  state_->owner = nullptr;
  state_->retired.clear();  // each gives its child a moment, then ends it
}

std::vector<std::string> SimulatorLogStreamService::arguments(const std::string& udid) {
  return {"simctl", "spawn", udid, "log", "stream", "--style", "ndjson", "--level", "debug"};
}

expected<std::vector<std::string>, ConsoleError> SimulatorLogStreamService::checkedArguments(const std::string& udid) {
  if (udid.empty() || udid.find_first_of(std::string_view(" \t\r\n\0", 5)) != std::string::npos ||
      udid.front() == '-') {
    return unexpected(ConsoleError::of(ConsoleError::Case::malformedConfiguration));
  }
  return arguments(udid);
}

expected<void, ConsoleError> SimulatorLogStreamService::start(const std::string& udid) {
  auto& state = *state_;
  if (state.process) return unexpected(ConsoleError::of(ConsoleError::Case::streamAlreadyRunning));
  auto checked = checkedArguments(udid);
  if (!checked) return unexpected(checked.error());
  state.advanceGeneration();
  const std::int64_t generation = state.generation;

  auto process = state.makeProcess();
  auto parser = std::make_shared<SimulatorLogEntryParser>();
  process->onOutputLine = [pending = state.pending, parser, generation](std::string line) {
    if (auto entry = parser->parse(std::move(line))) pending->append(std::move(*entry), generation);
  };
  process->onErrorLine = [](std::string) {};  // the tool's chatter on stderr is not part of the log
  process->onTermination = [weak = std::weak_ptr<State>(state_), loop = &state.loop,
                            generation](LogStreamTerminationReason reason) {
    loop->post([weak, generation, reason] {
      if (auto alive = weak.lock()) alive->terminated(generation, reason);
    });
  };
  if (auto launched = process->launch(state.xcrun, *checked); !launched) {
    return unexpected(ConsoleError::processLaunchFailed(launched.error()));
  }
  state.process = std::move(process);
  state.flushTimer =
      state.loop.addRepeatingTimer(MainLoop::Seconds(state.flushInterval), [weak = std::weak_ptr<State>(state_)] {
        if (auto alive = weak.lock()) alive->flush();
      });
  return {};
}

void SimulatorLogStreamService::stop() {
  auto& state = *state_;
  if (!state.process) return;
  state.flushTimer.cancel();
  state.process->stop();
  state.retired[state.generation] = std::move(state.process);
  state.advanceGeneration();
  state.flush();
}

bool SimulatorLogStreamService::isRunning() const {
  return state_->process != nullptr;
}

std::int64_t SimulatorLogStreamService::generation() const {
  return state_->generation;
}

}  // namespace orvanta
