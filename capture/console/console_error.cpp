#include "capture/console/console_error.hpp"

namespace orvanta {

std::string ConsoleError::description() const {
  switch (kind) {
    case Case::processLaunchFailed: return "Couldn't start the log stream.";
    case Case::processExited: return "The log stream stopped unexpectedly.";
    case Case::exportFailed: return "Export failed.";
    case Case::noSimulatorSelected: return "Select a simulator first.";
    case Case::simulatorNotBooted: return "The selected simulator is no longer booted.";
    case Case::staleAppSelection: return "The selected app is no longer installed on this simulator.";
    case Case::streamAlreadyRunning: return "A log stream is already running.";
    case Case::streamNotRunning: return "No log stream is running.";
    case Case::malformedConfiguration: return "Couldn't build a valid log stream command.";
    case Case::clipboardFailed: return "Couldn't copy logs to the clipboard.";
  }
  return {};
}

std::string_view ConsoleError::caseName() const {
  switch (kind) {
    case Case::processLaunchFailed: return "processLaunchFailed";
    case Case::processExited: return "processExited";
    case Case::exportFailed: return "exportFailed";
    case Case::noSimulatorSelected: return "noSimulatorSelected";
    case Case::simulatorNotBooted: return "simulatorNotBooted";
    case Case::staleAppSelection: return "staleAppSelection";
    case Case::streamAlreadyRunning: return "streamAlreadyRunning";
    case Case::streamNotRunning: return "streamNotRunning";
    case Case::malformedConfiguration: return "malformedConfiguration";
    case Case::clipboardFailed: return "clipboardFailed";
  }
  return {};
}

}  // namespace orvanta
