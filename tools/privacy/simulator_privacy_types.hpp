// The vocabulary of the privacy tool: the actions, the services simctl knows, and the service list that
// the installed simctl offers.
#pragma once

#include <array>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace orvanta {

enum class SimulatorPrivacyAction { grant, revoke, reset };

inline constexpr std::array<SimulatorPrivacyAction, 3> allPrivacyActions{
    SimulatorPrivacyAction::grant, SimulatorPrivacyAction::revoke, SimulatorPrivacyAction::reset};

// "grant", "revoke", "reset": the word simctl takes.
[[nodiscard]] std::string_view commandWord(SimulatorPrivacyAction action);
// "Grant", "Revoke", "Reset".
[[nodiscard]] std::string_view title(SimulatorPrivacyAction action);
// "Granted", "Revoked", "Reset": how a change's sentence starts.
[[nodiscard]] std::string_view pastTense(SimulatorPrivacyAction action);
[[nodiscard]] std::optional<SimulatorPrivacyAction> privacyActionFromCommandWord(std::string_view word);

// Every service of simctl's privacy command that Orvanta knows by name, in the order they are offered.
enum class SimulatorPrivacyServiceType {
  location,
  locationAlways,
  photos,
  photosAdd,
  contacts,
  contactsLimited,
  calendar,
  reminders,
  mediaLibrary,
  microphone,
  motion,
  siri,
  all,
};

inline constexpr std::array<SimulatorPrivacyServiceType, 13> allPrivacyServiceTypes{
    SimulatorPrivacyServiceType::location,     SimulatorPrivacyServiceType::locationAlways,
    SimulatorPrivacyServiceType::photos,       SimulatorPrivacyServiceType::photosAdd,
    SimulatorPrivacyServiceType::contacts,     SimulatorPrivacyServiceType::contactsLimited,
    SimulatorPrivacyServiceType::calendar,     SimulatorPrivacyServiceType::reminders,
    SimulatorPrivacyServiceType::mediaLibrary, SimulatorPrivacyServiceType::microphone,
    SimulatorPrivacyServiceType::motion,       SimulatorPrivacyServiceType::siri,
    SimulatorPrivacyServiceType::all,
};

// "location", "location-always", ..., "all": the word simctl takes.
[[nodiscard]] std::string_view commandWord(SimulatorPrivacyServiceType service);
// "Location", "Location (Always)", ..., "All Permissions".
[[nodiscard]] std::string_view label(SimulatorPrivacyServiceType service);
// The note shown beside the service; only contactsLimited has one.
[[nodiscard]] std::optional<std::string_view> note(SimulatorPrivacyServiceType service);
[[nodiscard]] std::optional<SimulatorPrivacyServiceType> privacyServiceTypeFromCommandWord(std::string_view word);

// One service that can be named in a privacy command: a known one, or a word that the installed simctl
// lists and Orvanta does not know (then its label is the word itself).
struct SimulatorPrivacyServiceOption {
  std::string name;  // the command word
  std::string label;
  std::optional<std::string> note;
  std::optional<SimulatorPrivacyServiceType> type;  // none for a word Orvanta does not know

  [[nodiscard]] static SimulatorPrivacyServiceOption known(SimulatorPrivacyServiceType type);
  // The known service of that word, or an unknown one labelled with the word.
  [[nodiscard]] static SimulatorPrivacyServiceOption named(std::string_view word);
  bool operator==(const SimulatorPrivacyServiceOption&) const = default;
};

// Whether `action` can be applied to `service`. Granting or revoking "all" cannot: several services are
// levels of one permission (contacts and contacts-limited, photos and photos-add, location and
// location-always), so granting or revoking every one of them at once leaves the outcome to the order in
// which simctl happens to apply them, and grants far more than any test means to. Resetting all of them
// is well defined (every service prompts again), so it is the way offered instead. Every other pair is
// allowed. Pure; thread-safe.
[[nodiscard]] bool isSupportedPrivacyPair(SimulatorPrivacyAction action, std::string_view serviceWord);

// The pairs of action and known service that isSupportedPrivacyPair allows, action by action in the
// services' order.
[[nodiscard]] std::vector<std::pair<SimulatorPrivacyAction, SimulatorPrivacyServiceType>> supportedPrivacyPairs();

}  // namespace orvanta
