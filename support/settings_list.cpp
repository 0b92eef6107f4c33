#include "support/settings_list.hpp"

namespace orvanta {

nlohmann::json SettingsList::load() const {
  auto stored = store_->value(key_);
  if (!stored || !*stored || !(*stored)->is_array()) return nlohmann::json::array();
  return std::move(**stored);
}

expected<void, FileError> SettingsList::update(const std::function<nlohmann::json(nlohmann::json)>& change) {
  return store_->update(key_, [&](std::optional<nlohmann::json> current) -> std::optional<nlohmann::json> {
    if (!current || !current->is_array()) current = nlohmann::json::array();
    return change(std::move(*current));
  });
}

}  // namespace orvanta
