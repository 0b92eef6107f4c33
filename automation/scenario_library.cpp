#include "automation/scenario_library.hpp"

namespace orvanta {

std::string ScenarioLibraryError::description() const {
  switch (kind) {
    case Case::notFound: return "That scenario no longer exists.";
    case Case::invalidReorder: return "Couldn't reorder: the scenario list changed.";
    case Case::encodingFailed: return "Couldn't save the scenario.";
    case Case::writeFailed: return "Couldn't write the scenario library to disk.";
    case Case::nameTaken: return "A scenario named \"" + detail + "\" already exists; choose another name.";
  }
  return {};
}

std::string unsupportedSchemaVersionText(std::int64_t version) {
  return "This scenario was saved by a newer version of Orvanta (schema " + std::to_string(version) + ").";
}

std::string ScenarioLibraryTraits::unreadableText(const std::string& problem) {
  return "This scenario could not be read (" + problem + "); it is kept as it is.";
}

expected<std::vector<ScenarioLibrary::ImportItem>, std::string> scenarioImportItems(
    const nlohmann::json& items, std::chrono::system_clock::time_point now) {
  return importItemsOf<ScenarioLibraryTraits>(
      items, "scenario", [now](const nlohmann::json& item) { return decodeImportedScenario(item, now); });
}

}  // namespace orvanta
