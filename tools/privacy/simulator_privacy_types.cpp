#include "tools/privacy/simulator_privacy_types.hpp"

namespace orvanta {

std::string_view commandWord(SimulatorPrivacyAction action) {
  switch (action) {
    case SimulatorPrivacyAction::grant: return "grant";
    case SimulatorPrivacyAction::revoke: return "revoke";
    case SimulatorPrivacyAction::reset: return "reset";
  }
  return {};
}

std::string_view pastTense(SimulatorPrivacyAction action) {
  switch (action) {
    case SimulatorPrivacyAction::grant: return "Granted";
    case SimulatorPrivacyAction::revoke: return "Revoked";
    case SimulatorPrivacyAction::reset: return "Reset";
  }
  return {};
}

std::string_view title(SimulatorPrivacyAction action) {
  switch (action) {
    case SimulatorPrivacyAction::grant: return "Grant";
    case SimulatorPrivacyAction::revoke: return "Revoke";
    case SimulatorPrivacyAction::reset: return "Reset";
  }
  return {};
}

std::optional<SimulatorPrivacyAction> privacyActionFromCommandWord(std::string_view word) {
  for (auto action : allPrivacyActions) {
    if (commandWord(action) == word) return action;
  }
  return std::nullopt;
}

namespace {

struct ServiceTexts {
  std::string_view word;
  std::string_view label;
};

ServiceTexts texts(SimulatorPrivacyServiceType service) {
  using S = SimulatorPrivacyServiceType;
  switch (service) {
    case S::location: return {"location", "Location"};
    case S::locationAlways: return {"location-always", "Location (Always)"};
    case S::photos: return {"photos", "Photos"};
    case S::photosAdd: return {"photos-add", "Photos (Add Only)"};
    case S::contacts: return {"contacts", "Contacts"};
    case S::contactsLimited: return {"contacts-limited", "Contacts (Basic Info)"};
    case S::calendar: return {"calendar", "Calendar"};
    case S::reminders: return {"reminders", "Reminders"};
    case S::mediaLibrary: return {"media-library", "Media Library"};
    case S::microphone: return {"microphone", "Microphone"};
    case S::motion: return {"motion", "Motion & Fitness"};
    case S::siri: return {"siri", "Siri"};
    case S::all: return {"all", "All Permissions"};
  }
  return {};
}

}  // namespace

std::string_view commandWord(SimulatorPrivacyServiceType service) { return texts(service).word; }
std::string_view label(SimulatorPrivacyServiceType service) { return texts(service).label; }

std::optional<std::string_view> note(SimulatorPrivacyServiceType service) {
  if (service == SimulatorPrivacyServiceType::contactsLimited) {
    return "Apps read this as ordinary authorized access; Orvanta couldn't observe a difference from Contacts.";
  }
  return std::nullopt;
}

std::optional<SimulatorPrivacyServiceType> privacyServiceTypeFromCommandWord(std::string_view word) {
  for (auto service : allPrivacyServiceTypes) {
    if (commandWord(service) == word) return service;
  }
  return std::nullopt;
}

SimulatorPrivacyServiceOption SimulatorPrivacyServiceOption::known(SimulatorPrivacyServiceType type) {
  SimulatorPrivacyServiceOption option{std::string(commandWord(type)), std::string(orvanta::label(type)),
                                       std::nullopt, type};
  if (auto text = orvanta::note(type)) option.note = std::string(*text);
  return option;
}

SimulatorPrivacyServiceOption SimulatorPrivacyServiceOption::named(std::string_view word) {
  if (auto type = privacyServiceTypeFromCommandWord(word)) return known(*type);
  return {std::string(word), std::string(word), std::nullopt, std::nullopt};
}

bool isSupportedPrivacyPair(SimulatorPrivacyAction action, std::string_view serviceWord) {
  return !(serviceWord == commandWord(SimulatorPrivacyServiceType::all) && action != SimulatorPrivacyAction::reset);
}

std::vector<std::pair<SimulatorPrivacyAction, SimulatorPrivacyServiceType>> supportedPrivacyPairs() {
  std::vector<std::pair<SimulatorPrivacyAction, SimulatorPrivacyServiceType>> pairs;
  for (auto action : allPrivacyActions) {
    for (auto service : allPrivacyServiceTypes) {
      if (isSupportedPrivacyPair(action, commandWord(service))) pairs.emplace_back(action, service);
    }
  }
  return pairs;
}

}  // namespace orvanta
