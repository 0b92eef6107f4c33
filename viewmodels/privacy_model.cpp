#include "viewmodels/privacy_model.hpp"

#include "app/environment.hpp"
#include "tools/privacy/simulator_privacy_error.hpp"
#include "tools/privacy/simulator_privacy_service.hpp"

namespace orvanta {
PrivacyModel::PrivacyModel(PanelSession& session) : PageModel(session) {
  session_.listen(lifetime_, [this] { changed(); });
  loadServices();
}

void PrivacyModel::loadServices() {
  session_.work().post<std::optional<SimulatorPrivacyServiceList>>(
      lifetime_,
      [client = session_.environment().simctl()](const orvanta::stop_token& stop) {
        return readOfferedPrivacyServices(client, stop);
      },
      [this](std::optional<SimulatorPrivacyServiceList> offered) {
        if (offered) services_ = std::move(*offered);
        changed();
      });
}

void PrivacyModel::apply(SimulatorPrivacyAction action, const std::string& serviceWord) {
  auto device = requireTarget();
  if (!device) return;
  auto gate = hold(device->udid, gate_labels::apps, gate_messages::apps);
  if (!gate) return;
  const auto* option = services_.find(serviceWord);
  const std::string label = option ? option->label : serviceWord;
  using Outcome = expected<void, SimulatorPrivacyError>;
  run<Outcome>(
      [client = session_.environment().simctl(), status = session_.status(),
       request = SimulatorPrivacyRequest{action, serviceWord, bundleIdentifier}](const orvanta::stop_token& stop) {
        SimulatorMutationGate own;  // the panel holds the shared gate
        return SimulatorPrivacyService(client, own).apply(request, status, stop);
      },
      [this, gate, action, label, bundle = bundleIdentifier, name = device->name](Outcome applied) {
        if (!applied) return fail(applied.error().description());
        succeed(std::string(pastTense(action)) + " " + label + " for " + bundle + " on " + name + ". Note: " +
                SimulatorPrivacyError(SimulatorPrivacyError::Case::privacyStateNotInspectable).description());
      });
}

}  // namespace orvanta
