#include "tools/push/push_preset.hpp"

namespace orvanta {

std::string_view title(PushPreset preset) {
  switch (preset) {
    case PushPreset::basicAlert: return "Basic Alert";
    case PushPreset::badge: return "Badge";
    case PushPreset::silent: return "Silent / Background";
  }
  return {};
}

std::string_view commandName(PushPreset preset) {
  switch (preset) {
    case PushPreset::basicAlert: return "basic-alert";
    case PushPreset::badge: return "badge";
    case PushPreset::silent: return "silent";
  }
  return {};
}

std::optional<PushPreset> pushPresetFromCommandName(std::string_view name) {
  for (PushPreset preset : allPushPresets) {
    if (commandName(preset) == name) return preset;
  }
  return std::nullopt;
}

std::string_view payload(PushPreset preset) {
  switch (preset) {
    case PushPreset::basicAlert:
      return R"({
  "aps": {
    "alert": {
      "title": "Orvanta",
      "body": "Test notification"
    },
    "sound": "default"
  }
})";
    case PushPreset::badge:
      return R"({
  "aps": {
    "badge": 1
  }
})";
    case PushPreset::silent:
      return R"({
  "aps": {
    "content-available": 1
  }
})";
  }
  return {};
}

}  // namespace orvanta
