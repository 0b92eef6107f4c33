// The built-in push payloads.
#pragma once

#include <array>
#include <optional>
#include <string_view>

namespace orvanta {

enum class PushPreset { basicAlert, badge, silent };

// Every preset, in the order they are offered.
inline constexpr std::array<PushPreset, 3> allPushPresets{PushPreset::basicAlert, PushPreset::badge,
                                                          PushPreset::silent};

// The title shown for the preset: "Basic Alert", "Badge", "Silent / Background".
[[nodiscard]] std::string_view title(PushPreset preset);
// The word that names the preset on the command line and in scripts: "basic-alert", "badge", "silent".
[[nodiscard]] std::string_view commandName(PushPreset preset);
// The preset a command name stands for; nullopt for any other word.
[[nodiscard]] std::optional<PushPreset> pushPresetFromCommandName(std::string_view name);
// The payload: pretty-printed JSON, two spaces of indentation, one member a line, no final newline.
[[nodiscard]] std::string_view payload(PushPreset preset);

}  // namespace orvanta
