// openurl: hands a URL to the app that registered its scheme on the device.
//
// The schemes come from the installed apps: each user app's Info.plist in its bundle folder on disk
// ("CFBundleURLTypes"), and a fixed table for the system apps, whose bundles live in the runtime. A URL
// that nothing handles fails the way the device's runtime words it: LaunchServices error 115 on iOS 18
// and later, OSStatus -10814 before. Each URL handed over is remembered under
// device["emulator"]["openedURLs"] (the newest 20, as {"url", "bundleIdentifier"}), so tests can see what
// arrived where.
#include <algorithm>
#include <cctype>
#include <optional>

#include "emulator/emulator.hpp"
#include "support/atomic_file.hpp"
#include "support/property_list.hpp"

namespace orvanta::emulator {
namespace {

constexpr std::size_t keptOpenedURLs = 20;

std::string lowerCased(std::string text) {
  std::transform(text.begin(), text.end(), text.begin(),
                 [](char c) { return static_cast<char>(std::tolower(static_cast<unsigned char>(c))); });
  return text;
}

// The URL's scheme, lower-cased; nullopt when the text does not start with one.
std::optional<std::string> schemeOf(const std::string& url) {
  const auto colon = url.find(':');
  if (colon == std::string::npos || colon == 0 || !std::isalpha(static_cast<unsigned char>(url[0]))) return std::nullopt;
  for (std::size_t i = 1; i < colon; ++i) {
    const char c = url[i];
    if (!std::isalnum(static_cast<unsigned char>(c)) && c != '+' && c != '-' && c != '.') return std::nullopt;
  }
  return lowerCased(url.substr(0, colon));
}

std::vector<std::string> systemSchemes(const std::string& bundleIdentifier) {
  if (bundleIdentifier == "com.apple.mobilesafari") return {"http", "https"};
  if (bundleIdentifier == "com.apple.Maps") return {"maps"};
  if (bundleIdentifier == "com.apple.MobileSMS") return {"sms"};
  return {};
}

// The schemes a user app's Info.plist declares; none when the file cannot be read.
std::vector<std::string> bundleSchemes(const Json& record) {
  std::vector<std::string> schemes;
  auto path = record.find("Path");
  if (path == record.end() || !path->is_string()) return schemes;
  auto bytes = readFile(std::filesystem::path(path->get<std::string>()) / "Info.plist", 8 << 20);
  if (!bytes || !*bytes) return schemes;
  auto info = parsePropertyList(**bytes);
  if (!info) return schemes;
  const PropertyListValue* types = info->find("CFBundleURLTypes");
  if (types == nullptr || !types->isArray()) return schemes;
  for (const auto& type : *types->asArray()) {
    const PropertyListValue* names = type.find("CFBundleURLSchemes");
    if (names == nullptr || !names->isArray()) continue;
    for (const auto& name : *names->asArray()) {
      if (const std::string* scheme = name.asString()) schemes.push_back(lowerCased(*scheme));
    }
  }
  return schemes;
}

// The installed app that handles `scheme`, in the order listapps keeps them.
std::optional<std::string> handlerFor(const Json& installed, const std::string& scheme) {
  for (const auto& [bundleIdentifier, record] : installed.items()) {
    const bool user = record.value("ApplicationType", "") == "User";
    const auto schemes = user ? bundleSchemes(record) : systemSchemes(bundleIdentifier);
    if (std::find(schemes.begin(), schemes.end(), scheme) != schemes.end()) return bundleIdentifier;
  }
  return std::nullopt;
}

// The major version of a runtime identifier ("com.apple.CoreSimulator.SimRuntime.iOS-18-2" -> 18).
int runtimeMajor(const std::string& identifier) {
  const auto dash = identifier.rfind('-', identifier.rfind('-') - 1);
  if (dash == std::string::npos) return 0;
  int major = 0;
  for (std::size_t i = dash + 1; i < identifier.size() && std::isdigit(static_cast<unsigned char>(identifier[i])); ++i) {
    major = major * 10 + (identifier[i] - '0');
  }
  return major;
}

SimctlFailure noHandler(const std::string& url, int major) {
  if (major >= 18) {
    return {"LSApplicationWorkspaceErrorDomain", 115, "Simulator device failed to open " + url + ".",
            "Underlying error (domain=LSApplicationWorkspaceErrorDomain, code=115):\n"
            "\tThe operation couldn\xe2\x80\x99t be completed. (LSApplicationWorkspaceErrorDomain error 115)\n"};
  }
  return {"NSOSStatusErrorDomain", -10814, "The operation couldn\xe2\x80\x99t be completed. (OSStatus error -10814.)",
          ""};
}

int openurl(Invocation& call) {
  int status = 0;
  Json* device = call.device(0, &status);
  if (!device) return status;
  if (call.args.size() < 2) return call.usage("Usage: simctl openurl <device> <URL>");
  if (call.requireBooted(*device, &status)) return status;
  Json* state = deviceApps(call, *device, &status);
  if (!state) return status;
  const std::string& url = call.args[1];
  const auto scheme = schemeOf(url);
  const auto handler = scheme ? handlerFor((*state)["installed"], *scheme) : std::nullopt;
  if (!handler) return call.fail(noHandler(url, runtimeMajor(call.devices.runtimeOf(*device))));

  Json& opened = (*device)["emulator"]["openedURLs"];
  if (!opened.is_array()) opened = Json::array();
  opened.push_back(Json{{"url", url}, {"bundleIdentifier", *handler}});
  while (opened.size() > keptOpenedURLs) opened.erase(opened.begin());
  if (auto saved = call.devices.save(); !saved) return call.usage(saved.error());
  return 0;
}

}  // namespace

void registerDeepLinkCommands(CommandTable& table) { table["openurl"] = openurl; }

}  // namespace orvanta::emulator
