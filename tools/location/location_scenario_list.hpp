// Reading what `simctl location <udid> list` prints: the location scenarios the simulator offers.
//
// Two layouts are read. A table whose header line begins with "Name" and, further on, has a
// "Description" column: every non-empty line after the header is split at the character position where
// "Description" starts in the header, into the scenario's name (before it) and summary (from it on),
// both trimmed; lines above the header are ignored. And the layout that the simctl releases seen so far
// actually print: one scenario name per line with no header and no descriptions, read as names with
// empty summaries. Leading and trailing white space is trimmed from every line first, and empty lines
// are skipped. Empty output is an empty list.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "support/expected.hpp"
#include "tools/location/location_simulation_error.hpp"

namespace orvanta {

// One simulator-provided scenario, run by its name ("City Run", "Freeway Drive", ...).
struct LocationScenario {
  std::string name;
  std::string summary;  // empty when simctl gives none
  bool operator==(const LocationScenario&) const = default;
};

// The reason given with scenariosUnavailable for output that is neither layout.
inline constexpr std::string_view unexpectedScenarioListReason = "the list output was not in the expected format";

// The scenarios of `output`, in the order listed. Output that is not UTF-8, or whose header-less lines
// hold control characters (so it cannot be a list of names), fails with
// scenariosUnavailable("the list output was not in the expected format"). Pure; any thread.
[[nodiscard]] expected<std::vector<LocationScenario>, LocationSimulationError> parseLocationScenarioList(
    std::string_view output);

}  // namespace orvanta
