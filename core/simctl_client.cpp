#include "core/simctl_client.hpp"

#include <algorithm>
#include <cstdlib>
#include <iterator>

#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include "support/json_text.hpp"
#include "support/text.hpp"
#include "support/utf8.hpp"

namespace orvanta {

std::string utf8OrEmpty(std::string_view bytes) { return isValidUtf8(bytes) ? std::string(bytes) : std::string(); }

ProcessRunner::Options simctlRunOptions(const std::vector<std::string>& arguments, double scale) {
  static constexpr std::string_view queries[] = {"list", "listapps", "appinfo", "get_app_container", "help",
                                                 "pbpaste", "getenv", "bootstatus"};
  static constexpr std::string_view lifecycle[] = {"boot", "shutdown", "erase"};
  double seconds = 60;
  if (arguments.size() >= 2 && arguments[0] == "simctl") {
    const std::string_view subcommand = arguments[1];
    const bool isQuery = std::find(std::begin(queries), std::end(queries), subcommand) != std::end(queries) ||
                         (arguments.size() >= 4 && arguments.back() == "list") ||
                         (subcommand == "ui" && arguments.size() == 4);
    if (subcommand == "install") {
      seconds = 900;
    } else if (std::find(std::begin(lifecycle), std::end(lifecycle), subcommand) != std::end(lifecycle)) {
      seconds = 300;
    } else if (!isQuery) {
      seconds = 120;
    }
  }
  ProcessRunner::Options options;
  options.timeout = seconds * scale;
  return options;
}

double timeoutScaleFromEnvironment() {
  const char* text = std::getenv("ORVANTA_TIMEOUT_SCALE");
  if (text == nullptr) return 1.0;
  char* end = nullptr;
  const double value = std::strtod(text, &end);
  return (end != text && *end == '\0' && value > 0 && value < 1000) ? value : 1.0;
}

std::string simctlFailureText(const ProcessRunner::Output& output) {
  std::string text = simctlDiagnostic(output);
  if (!text.empty()) return text;
  return "simctl " + terminationText(output.terminationStatus, output.terminatedBySignal) + ".";
}

ProcessRunner::Result SimctlClient::simctl(std::vector<std::string> arguments, orvanta::stop_token stop) const {
  arguments.insert(arguments.begin(), "simctl");
  return run(xcrunPath, arguments, std::move(stop));
}

ProcessRunner::Result SimctlClient::simctlChecked(std::vector<std::string> arguments, orvanta::stop_token stop) const {
  auto output = simctl(std::move(arguments), std::move(stop));
  if (output && output->terminatedBySignal) {
    return unexpected(ProcessRunnerError::killedBySignal(output->terminationStatus, utf8OrEmpty(output->stderr)));
  }
  if (output && output->terminationStatus != 0) {
    return unexpected(ProcessRunnerError::nonZeroExit(output->terminationStatus, utf8OrEmpty(output->stderr)));
  }
  return output;
}

expected<std::vector<SimulatorDevice>, ProcessRunnerError> SimctlClient::listDevices(orvanta::stop_token stop) const {
  auto output = simctlChecked({"list", "devices", "--json"}, std::move(stop));
  if (!output) return unexpected(output.error());
  return decodeDeviceList(output->stdout);
}

namespace {

using Json = nlohmann::ordered_json;

std::string typeName(const Json& value) { return value.type_name(); }

}  // namespace

expected<std::vector<SimulatorDevice>, ProcessRunnerError> decodeDeviceList(std::string_view text) {
  auto fail = [](std::string message) { return unexpected(ProcessRunnerError::decodingFailed(std::move(message))); };
  auto document = parseJsonText<Json>(text);
  if (!document) return fail(document.error());
  if (!document->is_object()) return fail("type must be object, but is " + typeName(*document));
  auto devices = document->find("devices");
  if (devices == document->end()) return fail("key 'devices' not found");
  if (!devices->is_object()) return fail("'devices' must be an object, but is " + typeName(*devices));

  std::vector<SimulatorDevice> list;
  for (const auto& [runtime, entries] : devices->items()) {
    if (!entries.is_array()) return fail(fmt::format("'{}' must be an array, but is {}", runtime, typeName(entries)));
    const std::string displayName = runtimeDisplayName(runtime);
    std::size_t index = 0;
    for (const auto& entry : entries) {
      const std::string where = fmt::format("device {} of {}", index++, runtime);
      if (!entry.is_object()) return fail(fmt::format("{} must be an object, but is {}", where, typeName(entry)));
      auto stringField = [&](const char* key) -> expected<std::string, ProcessRunnerError> {
        auto found = entry.find(key);
        if (found == entry.end()) return fail(fmt::format("key '{}' not found in {}", key, where));
        if (!found->is_string()) {
          return fail(fmt::format("'{}' in {} must be a string, but is {}", key, where, typeName(*found)));
        }
        return found->get<std::string>();
      };
      auto udid = stringField("udid");
      if (!udid) return unexpected(udid.error());
      auto name = stringField("name");
      if (!name) return unexpected(name.error());
      auto state = stringField("state");
      if (!state) return unexpected(state.error());
      if (auto available = entry.find("isAvailable"); available != entry.end() && !available->is_null()) {
        if (!available->is_boolean()) {
          return fail(fmt::format("'isAvailable' in {} must be a boolean, but is {}", where, typeName(*available)));
        }
        if (!available->get<bool>()) continue;
      }
      std::optional<std::string> deviceType;
      if (auto type = entry.find("deviceTypeIdentifier"); type != entry.end() && !type->is_null()) {
        if (!type->is_string()) {
          return fail(fmt::format("'deviceTypeIdentifier' in {} must be a string, but is {}", where, typeName(*type)));
        }
        deviceType = type->get<std::string>();
      }
      list.push_back(SimulatorDevice{std::move(*udid), std::move(*name), simulatorStateFromRawValue(*state), runtime,
                                     displayName, std::move(deviceType)});
    }
  }
  // Plain byte comparison: code-point order for UTF-8, upper case before lower case, no locale.
  std::stable_sort(list.begin(), list.end(),
                   [](const SimulatorDevice& a, const SimulatorDevice& b) { return a.name < b.name; });
  return list;
}

std::string simctlDiagnostic(const ProcessRunner::Output& output) {
  std::string text(trimWhitespace(utf8OrEmpty(output.stderr.view())));
  if (text.empty()) text = std::string(trimWhitespace(utf8OrEmpty(output.stdout.view())));
  return text;
}

}  // namespace orvanta
