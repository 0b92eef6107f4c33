#include "tools/push/push_history.hpp"

#include <nlohmann/json.hpp>

#include "support/reference_date.hpp"
#include "support/uuid.hpp"

namespace orvanta {

PushHistoryEntry PushHistoryEntry::make(std::string payload, std::string bundleIdentifier, std::string simulatorName,
                                        std::chrono::system_clock::time_point sentAt) {
  return {makeUUID(), std::move(payload), std::move(bundleIdentifier), std::move(simulatorName), sentAt};
}

nlohmann::json PushHistoryCodec::encode(const PushHistoryEntry& entry) {
  return {{"id", entry.id},
          {"payload", entry.payload},
          {"bundleIdentifier", entry.bundleIdentifier},
          {"simulatorName", entry.simulatorName},
          {"sentAt", toReferenceSeconds(entry.sentAt)}};
}

std::optional<PushHistoryEntry> PushHistoryCodec::decode(const nlohmann::json& json) {
  if (!json.is_object()) return std::nullopt;
  auto text = [&](const char* name) -> const std::string* {
    const auto found = json.find(name);
    return found != json.end() && found->is_string() ? &found->get_ref<const std::string&>() : nullptr;
  };
  const std::string* id = text("id");
  const std::string* payload = text("payload");
  const std::string* bundleIdentifier = text("bundleIdentifier");
  const std::string* simulatorName = text("simulatorName");
  const auto sentAt = json.find("sentAt");
  if (!id || !payload || !bundleIdentifier || !simulatorName || sentAt == json.end() || !sentAt->is_number()) {
    return std::nullopt;
  }
  auto uuid = parseUUID(*id);
  auto date = fromReferenceSeconds(sentAt->get<double>());
  if (!uuid || !date) return std::nullopt;
  return PushHistoryEntry{std::move(*uuid), *payload, *bundleIdentifier, *simulatorName, *date};
}

expected<std::vector<PushHistoryEntry>, FileError> PushHistoryStore::record(const PushHistoryEntry& entry) {
  ORVANTA_TRY(list_.record(entry, [](const PushHistoryEntry& old, const PushHistoryEntry& added) {
    return old.payload == added.payload && old.bundleIdentifier == added.bundleIdentifier;
  }));
  return list_.entries();
}

}  // namespace orvanta
