#include "viewmodels/console_model.hpp"

#include <fmt/format.h>

#include <algorithm>

#include "app/environment.hpp"
#include "capture/console/log_stream_process.hpp"

namespace orvanta {

ConsoleModel::ConsoleModel(PanelSession& session) : PageModel(session) {
  session_.listen(lifetime_, [this] {
    // A stream follows its simulator: when the target changes or is no longer booted, it ends.
    if (stream_ && stream_->isRunning()) {
      auto target = session_.target();
      if (!target || target->udid != streamUDID_) stop();
    }
    changed();
  });
}

ConsoleModel::~ConsoleModel() {
  if (stream_) stream_->stop();
}

std::string ConsoleModel::stateText() const {
  using Case = ConsoleStreamState::Case;
  switch (logs_.state.kind) {
    case Case::idle: return "Not streaming.";
    case Case::starting: return "Starting the log stream of " + streamName_ + "\xE2\x80\xA6";
    case Case::streaming: return "Streaming the log of " + streamName_ + ".";
    case Case::paused:
      return "Paused" + (heldBack() > 0 ? fmt::format(" ({} new entries held)", heldBack()) : std::string()) + ".";
    case Case::stopping: return "Stopping\xE2\x80\xA6";
    case Case::stopped: return "Stopped.";
    case Case::failed: return logs_.state.error ? logs_.state.error->description() : "The log stream failed.";
  }
  return {};
}

void ConsoleModel::start() {
  using Case = ConsoleStreamState::Case;
  if (running()) return;
  auto target = session_.target();
  if (!target) {
    const bool lost = session_.status().kind == SimulatorTargetStatus::Case::lost;
    logs_.state = {Case::failed, ConsoleError::of(lost ? ConsoleError::Case::simulatorNotBooted
                                                       : ConsoleError::Case::noSimulatorSelected)};
    fail(logs_.state.error->description());
    return;
  }
  auto& environment = session_.environment();
  if (!stream_) {
    const ProcessRunner& runner = environment.processRunner();
    stream_ = std::make_unique<SimulatorLogStreamService>(
        environment.mainLoop(),
        [&runner] { return std::make_unique<LogStreamProcess>(makeStartLongRunningFunction(runner, false)); },
        environment.xcrunPath(), SimulatorLogStreamService::defaultFlushInterval, pendingByteLimit);
    stream_->onEvent = [this](SimulatorLogStreamService::Event event) {
      if (event.kind == SimulatorLogStreamService::Event::Case::entries) {
        receive(std::move(event.entries));
        return;
      }
      const auto status = event.reason.kind == LogStreamTerminationReason::Case::exited ? event.reason.status : 0;
      logs_.state = {ConsoleStreamState::Case::failed, ConsoleError::processExited(status)};
      fail(logs_.state.error->description());
    };
  }
  streamName_ = target->name;
  streamUDID_ = target->udid;
  logs_.state = {Case::starting, std::nullopt};
  changed();
  if (auto started = stream_->start(target->udid); !started) {
    logs_.state = {Case::failed, started.error()};
    fail(started.error().description());
    return;
  }
  logs_.state = {Case::streaming, std::nullopt};
  clearMessage();
  changed();
}

void ConsoleModel::stop() {
  if (!stream_ || !stream_->isRunning()) return;
  logs_.state = {ConsoleStreamState::Case::stopping, std::nullopt};
  stream_->stop();
  logs_.state = {ConsoleStreamState::Case::stopped, std::nullopt};
  refilter();
  changed();
}

void ConsoleModel::pause() {
  if (logs_.state.kind != ConsoleStreamState::Case::streaming) return;
  logs_.state = {ConsoleStreamState::Case::paused, std::nullopt};
  pausedAll_ = receivedAll_;
  pausedApp_ = receivedApp_;
  changed();
}

void ConsoleModel::resume() {
  if (logs_.state.kind != ConsoleStreamState::Case::paused) return;
  logs_.state = {ConsoleStreamState::Case::streaming, std::nullopt};
  refilter();
  changed();
}

void ConsoleModel::clear() {
  logs_.clear();
  pausedAll_ = receivedAll_;
  pausedApp_ = receivedApp_;
  refilter();
  changed();
}

void ConsoleModel::receive(std::vector<SimulatorLogEntry> batch) {
  receivedAll_ += batch.size();
  if (const auto& folder = logs_.retainedAppFolder()) {
    for (const auto& entry : batch) {
      if (entry.processImagePath && ConsoleLogFilter::isInsideFolder(*entry.processImagePath, *folder)) ++receivedApp_;
    }
  }
  // A flood brings far more than the lists keep; freeing the rest (and what fell out of the lists) takes
  // longer than the rest of the batch's work. A worker frees them, once the loop turns again: by then the
  // window has painted the batch, and the freeing (and the memory it hands back) does not slow that down.
  auto discarded = std::make_shared<std::vector<SimulatorLogEntry>>();
  // No more fall out of the list than come in.
  discarded->reserve(std::min(batch.size(), consoleRetainedEntryLimit));
  logs_.receive(std::move(batch), discarded.get());
  if (batch.size() + discarded->size() > 256) {
    auto leftovers = std::make_shared<std::vector<SimulatorLogEntry>>(std::move(batch));
    session_.environment().mainLoop().post([this, alive = std::weak_ptr<int>(lifetime_), discarded, leftovers] {
      if (alive.expired()) return;  // freed here, with the last reference
      session_.work().post<int>(
          lifetime_,
          [discarded, leftovers](const orvanta::stop_token&) {
            discarded->clear();
            leftovers->clear();
            return 0;
          },
          [](int) {});
    });
  }
  refilter();
  changed();
}

void ConsoleModel::refilter() {
  if (!paused()) {
    shown_ = logs_.shownEntries();
  } else {
    // Held still: the entries that had arrived when it was paused and are still retained. Entries dropped
    // from the front since are gone from the list too (the deque keeps the addresses of the others).
    const bool ofApp = logs_.retainedAppFolder().has_value();
    const auto& source = ofApp ? logs_.retainedAppEntries() : logs_.entries();
    const std::size_t held = std::min(ofApp ? receivedApp_ - pausedApp_ : receivedAll_ - pausedAll_, source.size());
    auto narrowing = logs_.filter();
    narrowing.appFolder.reset();
    shown_.clear();
    for (std::size_t index = 0; index + held < source.size(); ++index) {
      if (narrowing.matches(source[index])) shown_.push_back(&source[index]);
    }
  }
  if (onShownChanged) onShownChanged();
}

void ConsoleModel::setSearchText(std::string text) {
  logs_.searchText = std::move(text);
  refilter();
  changed();
}

void ConsoleModel::setLevelEnabled(SimulatorLogLevel level, bool enabled) {
  if (enabled) {
    logs_.enabledLevels.insert(level);
  } else {
    logs_.enabledLevels.erase(level);
  }
  refilter();
  changed();
}

void ConsoleModel::setApp(std::optional<std::string> bundleIdentifier) {
  std::optional<std::string> folder;
  if (bundleIdentifier) {
    const auto* app = session_.app(*bundleIdentifier);
    if (app == nullptr || app->bundlePath.empty()) {
      fail(ConsoleError::of(ConsoleError::Case::staleAppSelection).description());
      return;
    }
    folder = app->bundlePath;
  }
  logs_.selectApp(std::move(bundleIdentifier), std::move(folder));
  receivedApp_ = pausedApp_ = 0;
  refilter();
  changed();
}

std::string ConsoleModel::exportText() const { return ConsoleExportService::render(shown_); }

void ConsoleModel::exportTo(const std::filesystem::path& file) {
  ConsoleExportService exporter;
  if (auto written = exporter.write(exportText(), file); !written) return fail(written.error().description());
  succeed("Exported " + std::to_string(shown_.size()) + " entries to " + file.string() + ".");
}

void ConsoleModel::copy() {
  using Outcome = expected<void, HostPasteboardError>;
  const auto count = shown_.size();
  run<Outcome>(
      [&pasteboard = session_.environment().hostPasteboard(), text = exportText()](const orvanta::stop_token& stop) {
        return pasteboard.copyText(text, stop);
      },
      [this, count](Outcome copied) {
        if (!copied) {
          return fail(ConsoleError::of(ConsoleError::Case::clipboardFailed).description() + " " +
                      copied.error().description());
        }
        succeed("Copied " + std::to_string(count) + " entries to the clipboard.");
      });
}

}  // namespace orvanta
