// The saved scenarios: "Scenarios/scenarios.json" in the application-support folder, a versioned document
// (support/versioned_document_store.hpp) whose items are scenarios as scenario_model.hpp writes them.
//
// An item of a schema version other than 1 is listed as an unsupported entry with
// unsupportedSchemaVersionText; a version-1 item that does not decode is listed with the decoder's reason.
// Both are kept as they are. An unreadable file is moved aside as
// "scenarios.unreadable-<yyyyMMdd-HHmmss>.json".
//
// A value type; one thread uses one library at a time. Calls block on the file system.
#pragma once

#include <chrono>
#include <cstdint>
#include <vector>
#include <string>
#include <string_view>

#include "automation/scenario_model.hpp"
#include "support/versioned_document_store.hpp"

namespace orvanta {

struct ScenarioLibraryError {
  using Case = DocumentStoreFailure;
  Case kind = Case::notFound;
  std::string detail;  // encodingFailed, writeFailed: what went wrong, for logs and hints; nameTaken: the name

  static ScenarioLibraryError of(Case kind, std::string detail = {}) { return {kind, std::move(detail)}; }
  [[nodiscard]] std::string description() const;
  [[nodiscard]] std::string_view caseName() const { return orvanta::caseName(kind); }
  bool operator==(const ScenarioLibraryError&) const = default;
};

// "This scenario was saved by a newer version of Orvanta (schema <version>)."
[[nodiscard]] std::string unsupportedSchemaVersionText(std::int64_t version);

struct ScenarioLibraryTraits {
  using Record = ScenarioDefinition;
  using Error = ScenarioLibraryError;
  static constexpr std::int64_t currentSchemaVersion = currentScenarioSchemaVersion;
  static constexpr std::string_view folderName = "Scenarios";
  static constexpr std::string_view fileName = "scenarios.json";
  static constexpr std::string_view documentName = "scenario library";
  static expected<nlohmann::json, std::string> encode(const ScenarioDefinition& scenario) {
    return encodeScenario(scenario);
  }
  static expected<ScenarioDefinition, std::string> decode(const nlohmann::json& json) { return decodeScenario(json); }
  static std::string unsupportedText(std::int64_t version) { return unsupportedSchemaVersionText(version); }
  // "This scenario could not be read (<problem>); it is kept as it is."
  static std::string unreadableText(const std::string& problem);
};

using ScenarioLibrary = VersionedDocumentStore<ScenarioLibraryTraits>;

// The import items of `items` for the scenario library: a version-1 item read leniently (ids and dates may
// be missing), an item of another version kept as it is. Fails on the first item that is not a scenario.
[[nodiscard]] expected<std::vector<ScenarioLibrary::ImportItem>, std::string> scenarioImportItems(
    const nlohmann::json& items, std::chrono::system_clock::time_point now);

}  // namespace orvanta
