// Quick input's data: profiles of labelled fields whose values go to a simulator's clipboard.
//
// The profiles live in one JSON document under the settings key "Orvanta.QuickInput.profiles":
//
//   {"schemaVersion": 1,
//    "profiles": [{"id": UUID, "name": "Test account",
//                  "fields": [{"id": UUID, "kind": "email", "label": "Email", "isSecret": false,
//                              "savesValue": true, "plainValue": "a@example.com"},
//                             {"id": UUID, "kind": "password", "label": "Password", "isSecret": true,
//                              "savesValue": true, "secretAccount": "field.<FIELD-UUID>"}]}],
//    "selectedProfileID": UUID}          (absent when no profile is selected)
//
// A secret field's value lives in the secret store under its `secretAccount`, never in the document.
// Decoding is strict: a document that does not have this shape exactly is undecodable as a whole.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include <nlohmann/json_fwd.hpp>

namespace orvanta {

enum class QuickInputFieldKind { email, username, password, phone, otp, custom };

// The stored text: "email", "username", "password", "phone", "otp", "custom".
[[nodiscard]] std::string_view rawValue(QuickInputFieldKind kind);
// The title people see: "Email", "Username", "Password", "Phone", "One-Time Code", "Custom".
[[nodiscard]] std::string_view title(QuickInputFieldKind kind);
[[nodiscard]] std::optional<QuickInputFieldKind> quickInputFieldKindFromRaw(std::string_view text);

struct QuickInputField {
  std::string id;
  QuickInputFieldKind kind = QuickInputFieldKind::custom;
  std::string label;
  bool isSecret = false;
  bool savesValue = true;
  std::optional<std::string> plainValue;     // only when not secret
  std::optional<std::string> secretAccount;  // only when secret: the secret store's account
  bool operator==(const QuickInputField&) const = default;
};

struct QuickInputProfile {
  std::string id;
  std::string name;
  std::vector<QuickInputField> fields;
  bool operator==(const QuickInputProfile&) const = default;
};

struct QuickInputDocument {
  static constexpr int currentSchemaVersion = 1;
  int schemaVersion = currentSchemaVersion;
  std::vector<QuickInputProfile> profiles;
  std::optional<std::string> selectedProfileID;
  bool operator==(const QuickInputDocument&) const = default;
};

// The secret store's account for a secret field: "field." followed by the field's id.
[[nodiscard]] std::string secretAccountForField(std::string_view fieldID);

[[nodiscard]] nlohmann::json encodeQuickInputField(const QuickInputField& field);
[[nodiscard]] nlohmann::json encodeQuickInputProfile(const QuickInputProfile& profile);
[[nodiscard]] nlohmann::json encodeQuickInputDocument(const QuickInputDocument& document);
// The document, or nullopt when `json` is not one of the shape above (of schema version 1): wrong types,
// missing keys, unknown kinds, ids that are not UUIDs, a secret field with a plain value.
[[nodiscard]] std::optional<QuickInputDocument> decodeQuickInputDocument(const nlohmann::json& json);

}  // namespace orvanta
