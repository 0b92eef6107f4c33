// What the app data commands (data, defaults, media, keychain) share: the target they act on, the
// failures of the app data tools as the command line reports them, and a few output helpers.
#pragma once

#include <chrono>
#include <string>
#include <vector>

#include "app/result_json.hpp"
#include "cli/command.hpp"
#include "core/simctl_client.hpp"
#include "core/simulator_device.hpp"
#include "tools/app_data/app_data_error.hpp"

namespace orvanta {

class AppDataSession {
 public:
  explicit AppDataSession(CommandContext& context) : context_(context) {}

  // Resolves the target (it must be selected and booted).
  [[nodiscard]] CommandOutcome resolve();

  [[nodiscard]] const SimulatorDevice& device() const { return device_; }
  [[nodiscard]] const std::string& udid() const { return device_.udid; }
  [[nodiscard]] CommandContext& context() const { return context_; }

  // The error's case and sentence, with hints: who holds a busy simulator, where to find the installed
  // apps or the snapshots. A cancellation becomes an interruption.
  [[nodiscard]] CommandFailure failure(const AppDataError& error) const;

 private:
  CommandContext& context_;
  SimulatorDevice device_;
};

// A simctl client whose runs end after `seconds` (the user-defaults editor's 20 s).
[[nodiscard]] SimctlClient simctlWithTimeout(const CommandContext& context, double seconds);

// Rows of text cells as columns two spaces apart, the last column unpadded. Widths count characters.
void printColumns(std::ostream& out, const std::vector<std::vector<std::string>>& rows);

// "12 B", "1.5 kB", "26.2 MB": decimal units, as the file browser shows sizes.
[[nodiscard]] std::string byteCountText(std::uintmax_t bytes);

}  // namespace orvanta
