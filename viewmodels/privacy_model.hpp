// The Privacy page: the services the installed simctl offers, and grant, revoke or reset of one of them for
// an app of the target. simctl cannot read a permission back, and the page says so with each change.
#pragma once

#include <optional>
#include <string>

#include "tools/privacy/privacy_service_list.hpp"
#include "tools/privacy/simulator_privacy_types.hpp"
#include "viewmodels/page_model.hpp"

namespace orvanta {

class PrivacyModel : public PageModel {
 public:
  explicit PrivacyModel(PanelSession& session);

  // The services offered; the built-in list until simctl has been asked.
  [[nodiscard]] const SimulatorPrivacyServiceList& services() const { return services_; }
  void loadServices();

  std::string bundleIdentifier;
  void apply(SimulatorPrivacyAction action, const std::string& serviceWord);

 private:
  SimulatorPrivacyServiceList services_ = builtInPrivacyServices();
};

}  // namespace orvanta
