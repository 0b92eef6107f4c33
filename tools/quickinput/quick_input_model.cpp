#include "tools/quickinput/quick_input_model.hpp"

#include <array>
#include <utility>

#include <nlohmann/json.hpp>

#include "support/uuid.hpp"

namespace orvanta {
namespace {

using Json = nlohmann::json;

struct KindText {
  QuickInputFieldKind kind;
  std::string_view raw;
  std::string_view title;
};

constexpr std::array<KindText, 6> kKinds{{
    {QuickInputFieldKind::email, "email", "Email"},
    {QuickInputFieldKind::username, "username", "Username"},
    {QuickInputFieldKind::password, "password", "Password"},
    {QuickInputFieldKind::phone, "phone", "Phone"},
    {QuickInputFieldKind::otp, "otp", "One-Time Code"},
    {QuickInputFieldKind::custom, "custom", "Custom"},
}};

const KindText& textOf(QuickInputFieldKind kind) {
  for (const auto& entry : kKinds) {
    if (entry.kind == kind) return entry;
  }
  return kKinds.back();
}

std::optional<std::string> stringAt(const Json& object, const char* key) {
  auto found = object.find(key);
  if (found == object.end() || !found->is_string()) return std::nullopt;
  return found->get<std::string>();
}

// A string, or absent; nullopt in the outer optional when present with another type.
std::optional<std::optional<std::string>> optionalStringAt(const Json& object, const char* key) {
  auto found = object.find(key);
  if (found == object.end() || found->is_null()) return std::optional<std::string>();
  if (!found->is_string()) return std::nullopt;
  return std::optional<std::string>(found->get<std::string>());
}

std::optional<bool> boolAt(const Json& object, const char* key) {
  auto found = object.find(key);
  if (found == object.end() || !found->is_boolean()) return std::nullopt;
  return found->get<bool>();
}

std::optional<QuickInputField> decodeField(const Json& json) {
  if (!json.is_object()) return std::nullopt;
  auto id = stringAt(json, "id");
  auto kindText = stringAt(json, "kind");
  auto label = stringAt(json, "label");
  auto isSecret = boolAt(json, "isSecret");
  auto savesValue = boolAt(json, "savesValue");
  auto plainValue = optionalStringAt(json, "plainValue");
  auto secretAccount = optionalStringAt(json, "secretAccount");
  if (!id || !kindText || !label || !isSecret || !savesValue || !plainValue || !secretAccount) return std::nullopt;
  auto canonical = parseUUID(*id);
  auto kind = quickInputFieldKindFromRaw(*kindText);
  if (!canonical || !kind) return std::nullopt;
  // A secret field whose value sits in the document would defeat the point of the secret store.
  if (*isSecret && plainValue->has_value()) return std::nullopt;
  return QuickInputField{std::move(*canonical), *kind,          std::move(*label),        *isSecret,
                         *savesValue,           std::move(*plainValue), std::move(*secretAccount)};
}

std::optional<QuickInputProfile> decodeProfile(const Json& json) {
  if (!json.is_object()) return std::nullopt;
  auto id = stringAt(json, "id");
  auto name = stringAt(json, "name");
  auto fields = json.find("fields");
  if (!id || !name || fields == json.end() || !fields->is_array()) return std::nullopt;
  auto canonical = parseUUID(*id);
  if (!canonical) return std::nullopt;
  QuickInputProfile profile{std::move(*canonical), std::move(*name), {}};
  for (const auto& item : *fields) {
    auto field = decodeField(item);
    if (!field) return std::nullopt;
    profile.fields.push_back(std::move(*field));
  }
  return profile;
}

}  // namespace

std::string_view rawValue(QuickInputFieldKind kind) { return textOf(kind).raw; }
std::string_view title(QuickInputFieldKind kind) { return textOf(kind).title; }

std::optional<QuickInputFieldKind> quickInputFieldKindFromRaw(std::string_view text) {
  for (const auto& entry : kKinds) {
    if (entry.raw == text) return entry.kind;
  }
  return std::nullopt;
}

std::string secretAccountForField(std::string_view fieldID) { return "field." + std::string(fieldID); }

Json encodeQuickInputField(const QuickInputField& field) {
  Json json = {{"id", field.id},
               {"kind", std::string(rawValue(field.kind))},
               {"label", field.label},
               {"isSecret", field.isSecret},
               {"savesValue", field.savesValue}};
  if (field.plainValue && !field.isSecret) json["plainValue"] = *field.plainValue;
  if (field.secretAccount) json["secretAccount"] = *field.secretAccount;
  return json;
}

Json encodeQuickInputProfile(const QuickInputProfile& profile) {
  Json fields = Json::array();
  for (const auto& field : profile.fields) fields.push_back(encodeQuickInputField(field));
  return {{"id", profile.id}, {"name", profile.name}, {"fields", std::move(fields)}};
}

Json encodeQuickInputDocument(const QuickInputDocument& document) {
  Json profiles = Json::array();
  for (const auto& profile : document.profiles) profiles.push_back(encodeQuickInputProfile(profile));
  Json json = {{"schemaVersion", document.schemaVersion}, {"profiles", std::move(profiles)}};
  if (document.selectedProfileID) json["selectedProfileID"] = *document.selectedProfileID;
  return json;
}

std::optional<QuickInputDocument> decodeQuickInputDocument(const Json& json) {
  if (!json.is_object()) return std::nullopt;
  auto version = json.find("schemaVersion");
  if (version == json.end() || !version->is_number_integer() ||
      version->get<long long>() != QuickInputDocument::currentSchemaVersion) {
    return std::nullopt;
  }
  auto profiles = json.find("profiles");
  auto selected = optionalStringAt(json, "selectedProfileID");
  if (profiles == json.end() || !profiles->is_array() || !selected) return std::nullopt;
  QuickInputDocument document;
  for (const auto& item : *profiles) {
    auto profile = decodeProfile(item);
    if (!profile) return std::nullopt;
    document.profiles.push_back(std::move(*profile));
  }
  if (*selected) {
    auto canonical = parseUUID(**selected);
    if (!canonical) return std::nullopt;
    document.selectedProfileID = std::move(*canonical);
  }
  return document;
}

}  // namespace orvanta
