// The privacy services that the installed simctl offers, read from the usage text that `simctl privacy`
// prints when it is given no arguments:
//
//   	service
//   	     The service:
//   	         all - Apply the action to all services.
//   	         calendar - Allow access to calendar.
//   	         ...
//   	bundle identifier
//
// Runtimes differ (some list camera or notifications as well), so the list is read from simctl rather
// than fixed here; the built-in table is the fallback when the text cannot be read.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "core/simctl_client.hpp"
#include "support/stop_token.hpp"
#include "tools/privacy/simulator_privacy_types.hpp"

namespace orvanta {

// The service words of the usage text's "service" section, in simctl's order, without repeats: each entry
// line is indented and reads "<word> - <description>", and the section ends at the first other line
// after its entries. nullopt when there is no such section or it lists no service. Pure; never throws.
[[nodiscard]] std::optional<std::vector<std::string>> parsePrivacyServiceWords(std::string_view usageText);

struct SimulatorPrivacyServiceList {
  // Known services in their own order, then the words Orvanta does not know in simctl's order.
  std::vector<SimulatorPrivacyServiceOption> services;
  // False when simctl's text could not be read and the built-in table stands in for it.
  bool fromSimctl = true;

  [[nodiscard]] bool offers(std::string_view word) const;
  [[nodiscard]] const SimulatorPrivacyServiceOption* find(std::string_view word) const;
};

// The list made of the words simctl printed.
[[nodiscard]] SimulatorPrivacyServiceList privacyServicesFromWords(const std::vector<std::string>& words);
// Every known service, marked as not coming from simctl.
[[nodiscard]] SimulatorPrivacyServiceList builtInPrivacyServices();

// Runs `simctl privacy` and reads the services from its stdout, else its stderr, whatever its exit status
// (simctl prints the usage text and exits as for a usage error). The built-in list when neither stream
// holds a readable service section or simctl cannot be run; nullopt only when the stop was requested.
// Blocks; any thread.
[[nodiscard]] std::optional<SimulatorPrivacyServiceList> readOfferedPrivacyServices(const SimctlClient& client,
                                                                                    orvanta::stop_token stop = {});

}  // namespace orvanta
