#include "mcp/tool_arguments.hpp"

#include <cmath>


namespace orvanta {

namespace {

bool hasType(const nlohmann::json& value, const std::string& type) {
  if (type == "string") return value.is_string();
  if (type == "boolean") return value.is_boolean();
  if (type == "number") return value.is_number();
  if (type == "integer") {
    if (value.is_number_integer()) return true;
    return value.is_number_float() && std::isfinite(value.get<double>()) &&
           std::floor(value.get<double>()) == value.get<double>();
  }
  if (type == "object") return value.is_object();
  if (type == "array") return value.is_array();
  return true;
}

// 3, not 3.0: bounds are written as a person would.
std::string numberText(const nlohmann::json& number) {
  const double value = number.get<double>();
  if (std::floor(value) == value && std::fabs(value) < 1e15) return std::to_string(static_cast<long long>(value));
  return number.dump();
}

std::string article(const std::string& type) { return type == "integer" || type == "object" || type == "array" ? "an " : "a "; }

std::optional<std::string> propertyProblem(const std::string& name, const nlohmann::json& property,
                                           const nlohmann::json& value) {
  const std::string quoted = "The argument \"" + name + "\"";
  if (auto type = property.find("type"); type != property.end() && !hasType(value, type->get<std::string>())) {
    return quoted + " must be " + article(type->get<std::string>()) + type->get<std::string>() + ".";
  }
  if (auto values = property.find("enum"); values != property.end()) {
    bool listed = false;
    std::string choices;
    for (const auto& allowed : *values) {
      if (allowed == value) listed = true;
      choices += (choices.empty() ? "" : ", ") + (allowed.is_string() ? allowed.get<std::string>() : allowed.dump());
    }
    if (!listed) return quoted + " must be one of: " + choices + ".";
  }
  if (value.is_number()) {
    const double number = value.get<double>();
    if (auto minimum = property.find("minimum"); minimum != property.end() && number < minimum->get<double>()) {
      return quoted + " must be at least " + numberText(*minimum) + ".";
    }
    if (auto maximum = property.find("maximum"); maximum != property.end() && number > maximum->get<double>()) {
      return quoted + " must be at most " + numberText(*maximum) + ".";
    }
  }
  return std::nullopt;
}

}  // namespace

std::optional<std::string> argumentProblem(const nlohmann::json& schema, const nlohmann::json& arguments) {
  if (!arguments.is_object()) return "The arguments must be an object.";
  const auto& properties = schema.value("properties", nlohmann::json::object());
  for (const auto& [name, value] : arguments.items()) {
    auto property = properties.find(name);
    if (property == properties.end()) return "The tool takes no argument \"" + name + "\".";
    if (auto problem = propertyProblem(name, *property, value)) return problem;
  }
  if (auto required = schema.find("required"); required != schema.end()) {
    for (const auto& name : *required) {
      if (!arguments.contains(name.get<std::string>())) {
        return "The argument \"" + name.get<std::string>() + "\" is required.";
      }
    }
  }
  return std::nullopt;
}

}  // namespace orvanta
