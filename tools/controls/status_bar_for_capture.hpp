// A status bar set for the length of one capture: a preset applied before, the overrides cleared after
// (when this goes away), each step told in a sentence through `note` (what the command line prints on
// stderr and the panel shows under its capture).
#pragma once

#include <functional>
#include <string>

#include "core/simulator_target.hpp"
#include "tools/controls/simulator_controls_service.hpp"

namespace orvanta {

class StatusBarForCapture {
 public:
  StatusBarForCapture(SimctlClient client, const SimulatorDevice& device, std::function<void(std::string)> note);
  ~StatusBarForCapture();
  StatusBarForCapture(const StatusBarForCapture&) = delete;
  StatusBarForCapture& operator=(const StatusBarForCapture&) = delete;

  // Applies the preset and reads it back; the failure's sentence when simctl refuses it.
  [[nodiscard]] expected<void, SimulatorControlsError> apply(const StatusBarPreset& preset,
                                                             orvanta::stop_token stop = {});

 private:
  SimulatorControlsService service_;
  SimulatorTargetStatus target_;
  std::function<void(std::string)> note_;
  bool applied_ = false;
};

// The preset whose id is `id`, or null.
[[nodiscard]] const StatusBarPreset* findStatusBarPreset(std::string_view id);

}  // namespace orvanta
