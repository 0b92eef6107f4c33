#include "viewmodels/push_model.hpp"

#include <regex>

#include "app/environment.hpp"
#include "tools/push/push_payload.hpp"
#include "tools/push/push_sender_service.hpp"

namespace orvanta {

PayloadCheck checkPushPayload(const std::string& payload) {
  auto valid = validatePushPayload(payload);
  if (valid) {
    return {true,
            "Valid payload (" + std::to_string(valid->size()) + " of " + std::to_string(maximumPushPayloadBytes) +
                " bytes).",
            std::nullopt};
  }
  PayloadCheck check{false, valid.error().description(), std::nullopt};
  // The parser counts in the trimmed text; count the trimmed lead back in.
  static const std::regex where(R"(at line (\d+), column (\d+))");
  std::smatch match;
  if (std::regex_search(check.text, match, where)) {
    TextPlace place{std::stoi(match[1].str()), std::stoi(match[2].str())};
    const auto trimmed = trimmedPayloadText(payload);
    const std::string_view lead(payload.data(), static_cast<std::size_t>(trimmed.data() - payload.data()));
    const auto newlines = std::count(lead.begin(), lead.end(), '\n');
    if (place.line == 1) {
      const auto lastLine = lead.rfind('\n');
      place.column += static_cast<int>(lastLine == std::string_view::npos ? lead.size() : lead.size() - lastLine - 1);
    }
    place.line += static_cast<int>(newlines);
    check.place = place;
  }
  return check;
}

PushModel::PushModel(PanelSession& session) : PageModel(session) {
  session_.listen(lifetime_, [this] { changed(); });
  setPayload(std::string(orvanta::payload(PushPreset::basicAlert)));
}

void PushModel::setPayload(std::string text) {
  payload_ = std::move(text);
  check_ = checkPushPayload(payload_);
  changed();
}

void PushModel::usePreset(PushPreset preset) { setPayload(std::string(orvanta::payload(preset))); }

std::vector<PushHistoryEntry> PushModel::history() const {
  return PushHistoryStore(session_.environment().settings()).load();
}

void PushModel::useHistoryEntry(const std::string& id) {
  for (const auto& entry : history()) {
    if (entry.id != id) continue;
    bundleIdentifier = entry.bundleIdentifier;
    setPayload(entry.payload);
    return;
  }
}

void PushModel::send() {
  if (!check_.valid) return fail(check_.text);
  auto device = requireTarget({"noSimulator", PushError::noSimulator().description(), "noSimulator",
                               PushError::noSimulator().description()});
  if (!device) return;
  if (session_.app(bundleIdentifier) == nullptr) return fail(PushError::noApp().description());
  const std::string payload(trimmedPayloadText(payload_));
  using Outcome = expected<void, PushError>;
  run<Outcome>(
      [client = session_.environment().simctl(), payload, bundle = bundleIdentifier,
       udid = device->udid](const orvanta::stop_token& stop) {
        return PushSenderService(client).send(payload, bundle, udid, stop);
      },
      [this, payload, bundle = bundleIdentifier, name = device->name](Outcome sent) {
        if (!sent) return fail(sent.error().description());
        auto entry = PushHistoryEntry::make(payload, bundle, name, std::chrono::system_clock::now());
        std::string text = "Notification sent to " + bundle + " on " + name + ".";
        if (auto recorded = PushHistoryStore(session_.environment().settings()).record(entry); !recorded) {
          text += " " + recorded.error().description();
        }
        succeed(std::move(text));
      });
}

}  // namespace orvanta
