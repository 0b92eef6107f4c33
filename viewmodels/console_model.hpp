// The Console page: the target's log as it is written, in the batches the stream service hands over five
// times a second; the newest 4,000 entries (and those of the chosen app), filtered by level, text and app;
// pause (entries keep arriving and are kept, the list holds still until resume), export and copy.
#pragma once

#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "capture/console/console_logs.hpp"
#include "capture/console/simulator_log_stream_service.hpp"
#include "viewmodels/page_model.hpp"

namespace orvanta {

class ConsoleModel : public PageModel {
 public:
  // The stream's pending entries wait within this many bytes; beyond it the reading thread waits.
  static constexpr std::size_t pendingByteLimit = 4u << 20;

  explicit ConsoleModel(PanelSession& session);
  ~ConsoleModel() override;

  [[nodiscard]] const ConsoleLogsViewModel& logs() const { return logs_; }
  [[nodiscard]] const ConsoleStreamState& state() const { return logs_.state; }
  // Starting, streaming or paused: a stream is under way.
  [[nodiscard]] bool running() const {
    using Case = ConsoleStreamState::Case;
    return logs_.state.kind == Case::starting || logs_.state.kind == Case::streaming || logs_.state.kind == Case::paused;
  }
  // "Streaming iPhone 16", "Paused (1,204 new entries held)", the failure's sentence, ...
  [[nodiscard]] std::string stateText() const;

  void start();
  void stop();
  void pause();
  void resume();
  void clear();

  void setSearchText(std::string text);
  void setLevelEnabled(SimulatorLogLevel level, bool enabled);
  // Narrows to the entries of an installed app of the target (none: every process).
  void setApp(std::optional<std::string> bundleIdentifier);
  void setAutoScroll(bool on) { logs_.autoScroll = on; }

  // What the list shows, oldest first: the filtered entries as of the last batch while not paused.
  [[nodiscard]] const std::vector<const SimulatorLogEntry*>& shown() const { return shown_; }
  // How many entries arrived while paused.
  [[nodiscard]] std::size_t heldBack() const { return paused() ? receivedAll_ - pausedAll_ : 0; }

  // One line per shown entry, as the export writes it.
  [[nodiscard]] std::string exportText() const;
  void exportTo(const std::filesystem::path& file);
  void copy();

  // Applies one delivered batch (the stream service calls it; benchmarks and tests may too). Main thread.
  void receive(std::vector<SimulatorLogEntry> batch);
  // Called after the shown list changed (a batch, a filter, clear), before changed().
  std::function<void()> onShownChanged;

 private:
  void refilter();
  [[nodiscard]] bool paused() const { return logs_.state.kind == ConsoleStreamState::Case::paused; }

  ConsoleLogsViewModel logs_;
  std::unique_ptr<SimulatorLogStreamService> stream_;
  std::string streamName_;
  std::string streamUDID_;
  std::vector<const SimulatorLogEntry*> shown_;
  // Entries received in all, and of the chosen app; their values when the list was paused.
  std::size_t receivedAll_ = 0;
  std::size_t receivedApp_ = 0;
  std::size_t pausedAll_ = 0;
  std::size_t pausedApp_ = 0;
};

}  // namespace orvanta
