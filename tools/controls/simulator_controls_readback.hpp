// Reading a change back: after a setting or the status bar is changed, what simctl reports is compared with
// what was sent, so that a change the simulator did not take is a failure and not a success. Used by the
// `ui` and `status-bar` commands and by scenario steps. Pure functions; thread-safe.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "tools/controls/simulator_controls_service.hpp"

namespace orvanta {

// The first line of a query's output, without trailing spaces ("dark\n" -> "dark").
[[nodiscard]] std::string firstOutputLine(std::string_view text);

// The fields of `sent` that the status-bar listing contradicts, each as "<field> <value> (listed as <value>)"
// or "<field> <value> (not listed)". The battery state is not compared (its codes are undocumented), nor a
// time given as a full date (the status bar shows only the clock).
[[nodiscard]] std::vector<std::string> statusBarContradictions(const StatusBarOverride& sent,
                                                               const StatusBarReading& reading);

// The sentences of a change that did not take effect.
// "Sent appearance dark, but the simulator reports light."
[[nodiscard]] std::string settingNotConfirmedText(std::string_view what, std::string_view sent,
                                                  std::string_view reported);
// "Sent the status bar overrides, but the simulator does not show: <a>; <b>."
[[nodiscard]] std::string statusBarNotConfirmedText(const std::vector<std::string>& contradictions);
// "Cleared the status bar overrides, but the simulator still lists some."
[[nodiscard]] std::string statusBarClearNotConfirmedText();

}  // namespace orvanta
