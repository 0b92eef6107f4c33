#include "tools/quickinput/quick_input_error.hpp"

namespace orvanta {

QuickInputError QuickInputError::secret(QuickInputSecretError error) {
  QuickInputError result(Case::secret);
  result.secretError = std::move(error);
  return result;
}

QuickInputError QuickInputError::pasteboard(SimulatorPasteboardError error) {
  QuickInputError result(Case::pasteboard);
  result.pasteboardError = std::move(error);
  return result;
}

std::string QuickInputError::description() const {
  switch (kind) {
    case Case::profileNotFound: return "That profile no longer exists.";
    case Case::fieldNotFound: return "That field no longer exists.";
    case Case::noProfileSelected: return "Choose a profile first.";
    case Case::emptyProfileName: return "Give the profile a name.";
    case Case::emptyLabel: return "Give the field a label.";
    case Case::emptyValue: return "Enter a value first.";
    case Case::noValue: return "This field keeps no value to copy.";
    case Case::nameTaken:
      return detail.starts_with("field:") ? "This profile already has a field labelled \"" + detail.substr(6) + "\"."
                                          : "A profile named \"" + detail + "\" already exists.";
    case Case::persistenceFailed: return "Couldn't save your quick-input profiles.";
    case Case::secret: return secretError ? secretError->description() : std::string();
    case Case::pasteboard: return pasteboardError ? pasteboardError->description() : std::string();
  }
  return {};
}

std::string_view QuickInputError::caseName() const {
  switch (kind) {
    case Case::profileNotFound: return "profileNotFound";
    case Case::fieldNotFound: return "fieldNotFound";
    case Case::noProfileSelected: return "noProfileSelected";
    case Case::emptyProfileName: return "emptyProfileName";
    case Case::emptyLabel: return "emptyLabel";
    case Case::emptyValue: return "emptyValue";
    case Case::noValue: return "noValue";
    case Case::nameTaken: return "nameTaken";
    case Case::persistenceFailed: return "persistenceFailed";
    case Case::secret: return secretError ? secretError->caseName() : "keychain";
    case Case::pasteboard: return pasteboardError ? pasteboardError->caseName() : "commandFailed";
  }
  return {};
}

}  // namespace orvanta
