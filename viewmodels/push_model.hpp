// The Push page: a payload checked as it is typed (with the place of a JSON error), the built-in presets,
// the history of payloads sent, and sending to an installed app of the target.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "tools/push/push_history.hpp"
#include "tools/push/push_preset.hpp"
#include "viewmodels/page_model.hpp"

namespace orvanta {

// Where a JSON error is, counted from 1 in the text as typed.
struct TextPlace {
  int line = 1;
  int column = 1;
  bool operator==(const TextPlace&) const = default;
};

struct PayloadCheck {
  bool valid = false;
  std::string text;                  // "Valid payload (84 of 4096 bytes)." or the validation sentence
  std::optional<TextPlace> place;   // a JSON syntax error's place
};

// Checks `payload` by the push tool's rules. Pure.
[[nodiscard]] PayloadCheck checkPushPayload(const std::string& payload);

class PushModel : public PageModel {
 public:
  explicit PushModel(PanelSession& session);

  [[nodiscard]] const std::string& payload() const { return payload_; }
  void setPayload(std::string text);
  [[nodiscard]] const PayloadCheck& check() const { return check_; }
  void usePreset(PushPreset preset);

  [[nodiscard]] std::vector<PushHistoryEntry> history() const;
  void useHistoryEntry(const std::string& id);

  // The app to send to (a bundle identifier among the target's apps).
  std::string bundleIdentifier;
  void send();

 private:
  std::string payload_;
  PayloadCheck check_;
};

}  // namespace orvanta
