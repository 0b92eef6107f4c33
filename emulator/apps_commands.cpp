// listapps, appinfo, launch, terminate, install, uninstall and get_app_container (app, data, groups or
// one group's identifier).
//
// Each device's apps live under device["emulator"]["apps"]: "installed" maps a bundle identifier to the
// dictionary that listapps prints for it, "running" maps a bundle identifier to {"pid", "bootedAt"} (a
// process survives only as long as the boot it was started in), and "nextPid" numbers the launches. A
// device gets its apps on first use: a few system apps living in the runtime, SpringBoard as a hidden
// app, and user apps whose bundles (Info.plist, icons, executable) and data containers are real folders
// under the device's data path.
#include <algorithm>
#include <array>
#include <cstdint>
#include <map>
#include <system_error>

#include <fmt/format.h>

#include "emulator/binary_plist.hpp"
#include "emulator/emulator.hpp"
#include "support/atomic_file.hpp"
#include "support/png.hpp"
#include "support/property_list.hpp"
#include "support/uuid.hpp"

namespace orvanta::emulator {
namespace {

namespace fs = std::filesystem;

// ---- paths, URLs and identifiers ----------------------------------------------------------------------

// "file://" and the path, percent-encoded as NSURL writes it, with a slash after folders.
std::string fileURL(const std::string& path, bool folder) {
  std::string url = "file://";
  for (char ch : path) {
    const auto c = static_cast<unsigned char>(ch);
    const bool keep = (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') ||
                      std::string_view("-._~/!$&'()*+,;=:@").find(ch) != std::string_view::npos;
    url += keep ? std::string(1, ch) : fmt::format("%{:02X}", c);
  }
  if (folder && !url.ends_with('/')) url += '/';
  return url;
}

// A UUID-shaped name that is always the same for the same text, so that seeded containers keep their
// paths from one emulator home to the next.
std::string stableUUID(const std::string& text) {
  auto fnv = [&](std::uint64_t seed) {
    std::uint64_t hash = seed;
    for (char c : text) {
      hash ^= static_cast<unsigned char>(c);
      hash *= 1099511628211ull;
    }
    return hash;
  };
  const std::string hex = fmt::format("{:016X}{:016X}", fnv(14695981039346656037ull), fnv(0x9E3779B97F4A7C15ull));
  return hex.substr(0, 8) + "-" + hex.substr(8, 4) + "-" + hex.substr(12, 4) + "-" + hex.substr(16, 4) + "-" +
         hex.substr(20, 12);
}

// "com.apple.CoreSimulator.SimRuntime.iOS-18-2" -> "iOS 18.2".
std::string runtimeName(const std::string& identifier) {
  constexpr std::string_view prefix = "com.apple.CoreSimulator.SimRuntime.";
  std::string rest = identifier.starts_with(prefix) ? identifier.substr(prefix.size()) : identifier;
  const auto dash = rest.find('-');
  if (dash == std::string::npos) return rest;
  std::string version = rest.substr(dash + 1);
  std::replace(version.begin(), version.end(), '-', '.');
  return rest.substr(0, dash) + " " + version;
}

std::string runtimeRoot(const std::string& runtimeIdentifier) {
  return "/Library/Developer/CoreSimulator/Profiles/Runtimes/" + runtimeName(runtimeIdentifier) +
         ".simruntime/Contents/Resources/RuntimeRoot";
}

// Whether `path` lies inside `folder` (lexically; both absolute).
bool isInside(const fs::path& path, const fs::path& folder) {
  const auto relative = path.lexically_normal().lexically_relative(folder.lexically_normal());
  return !relative.empty() && *relative.begin() != "..";
}

// ---- bundles on disk ----------------------------------------------------------------------------------

struct IconFile {
  const char* name;
  std::uint32_t pixels;
};

struct SeedApp {
  const char* bundleIdentifier;
  const char* type;  // "System", "Hidden" or "User"
  const char* displayName;  // nullptr: no CFBundleDisplayName
  const char* name;
  const char* executable;
  const char* version;
  const char* location;  // system apps: the bundle's folder inside the runtime root
  bool dataContainer;
  Json infoExtras;  // user apps: icon keys and URL types of the Info.plist
  std::vector<IconFile> icons;
  std::vector<const char*> groups = {};  // user apps: app group identifiers
};

std::vector<SeedApp> seedApps() {
  const Json primaryIcon = {{"CFBundlePrimaryIcon", {{"CFBundleIconFiles", {"AppIcon60x60"}}, {"CFBundleIconName", "AppIcon"}}}};
  return {
      {"com.apple.Bridge", "System", "Watch", "Bridge", "Bridge", "1.0", "/Applications", true, {}, {}},
      {"com.apple.Maps", "System", "Maps", "Maps", "Maps", "1.0", "/Applications", true, {}, {}},
      {"com.apple.MobileSMS", "System", "Messages", "MobileSMS", "MobileSMS", "1.0", "/Applications", true, {}, {}},
      {"com.apple.Preferences", "System", "Settings", "Preferences", "Preferences", "1", "/Applications", true, {}, {}},
      {"com.apple.mobileslideshow", "System", "Photos", "MobileSlideShow", "MobileSlideShow", "1.0", "/Applications",
       true, {}, {}},
      {"com.apple.mobilesafari", "System", "Safari", "Safari", "MobileSafari", "8620.1.16", "/Applications", true, {}, {}},
      {"com.apple.springboard", "Hidden", nullptr, "SpringBoard", "SpringBoard", "50", "/System/Library/CoreServices",
       false, {}, {}},
      {"com.example.cafe", "User", "Caf\xc3\xa9 \"Bar\"", "cafe", "Cafe", "42", nullptr, true,
       {{"CFBundleIcons", primaryIcon},
        {"CFBundleIcons~ipad", primaryIcon},
        {"CFBundleURLTypes",
         {{{"CFBundleTypeRole", "Editor"}, {"CFBundleURLName", "com.example.cafe"},
           {"CFBundleURLSchemes", {"cafe", "cafe-beta"}}}}}},
       {{"AppIcon60x60@2x.png", 120}, {"AppIcon60x60@3x.png", 180}, {"AppIcon76x76@2x~ipad.png", 152}},
       {"group.com.example.cafe"}},
      {"com.orvanta.fieldnotes", "User", nullptr, "Field Notes", "FieldNotes", "7", nullptr, true,
       {{"CFBundleIconFiles", {"Icon.png", "Icon@2x.png"}},
        {"CFBundleURLTypes",
         {{{"CFBundleURLSchemes", {"fieldnotes"}}},
          {{"CFBundleTypeRole", "Viewer"}, {"CFBundleURLName", "com.orvanta.fieldnotes.oauth"},
           {"CFBundleURLSchemes", {"com.googleusercontent.apps.1234-abcd"}}}}}},
       {{"Icon.png", 57}, {"Icon@2x.png", 114}}},
  };
}

// Where a user app's bundle and data containers go on this device.
struct Containers {
  fs::path bundleContainer;
  fs::path dataContainer;
};

Containers userContainers(const Json& device, const std::string& bundleContainerName, const std::string& dataName) {
  const fs::path data = device["dataPath"].get<std::string>();
  return {data / "Containers" / "Bundle" / "Application" / bundleContainerName,
          data / "Containers" / "Data" / "Application" / dataName};
}

// The dictionary listapps prints for a user app installed at `bundle`.
Json userRecord(const std::string& bundleIdentifier, const PropertyListValue& info, const fs::path& bundle,
                const fs::path& bundleContainer, const fs::path& dataContainer) {
  const std::string stem = bundle.stem().string();
  auto text = [&](const char* key) -> std::optional<std::string> {
    const std::string* value = info.findString(key);
    if (value == nullptr || value->empty()) return std::nullopt;
    return *value;
  };
  Json record = {{"ApplicationType", "User"},
                 {"Bundle", fileURL(bundle.string(), true)},
                 {"BundleContainer", fileURL(bundleContainer.string(), true)},
                 {"CFBundleExecutable", text("CFBundleExecutable").value_or(stem)},
                 {"CFBundleIdentifier", bundleIdentifier},
                 {"CFBundleName", text("CFBundleName").value_or(stem)},
                 {"DataContainer", fileURL(dataContainer.string(), true)},
                 {"GroupContainers", Json::object()},
                 {"Path", bundle.string()},
                 {"SBAppTags", Json::array()}};
  if (auto displayName = text("CFBundleDisplayName")) record["CFBundleDisplayName"] = *displayName;
  if (auto version = text("CFBundleVersion")) record["CFBundleVersion"] = *version;
  return record;
}

expected<void, std::string> writeSeedBundle(const SeedApp& app, const fs::path& bundle) {
  std::error_code error;
  fs::create_directories(bundle, error);
  if (error) return unexpected(error.message());
  Json info = {{"CFBundleIdentifier", app.bundleIdentifier},
               {"CFBundleName", app.name},
               {"CFBundleExecutable", app.executable},
               {"CFBundleVersion", app.version},
               {"CFBundleShortVersionString", "1.0"},
               {"CFBundlePackageType", "APPL"}};
  if (app.displayName) info["CFBundleDisplayName"] = app.displayName;
  for (const auto& [key, value] : app.infoExtras.items()) info[key] = value;
  if (auto written = writeFileAtomically(bundle / "Info.plist", binaryPropertyList(info), 0644); !written) {
    return unexpected(written.error().description());
  }
  if (auto written = writeFileAtomically(bundle / app.executable, "", 0755); !written) {
    return unexpected(written.error().description());
  }
  std::uint32_t hash = pngCrc32(app.bundleIdentifier);
  for (const auto& icon : app.icons) {
    auto png = solidColorPng(icon.pixels, icon.pixels, static_cast<std::uint8_t>(hash), static_cast<std::uint8_t>(hash >> 8),
                             static_cast<std::uint8_t>(hash >> 16));
    if (auto written = writeFileAtomically(bundle / icon.name, png, 0644); !written) {
      return unexpected(written.error().description());
    }
  }
  return {};
}

expected<Json, std::string> seedInstalledApps(const Json& device, const std::string& runtimeIdentifier) {
  const std::string udid = device["udid"].get<std::string>();
  Json installed = Json::object();
  for (const auto& app : seedApps()) {
    const std::string id = app.bundleIdentifier;
    const auto containers =
        userContainers(device, stableUUID(udid + "/bundle/" + id), stableUUID(udid + "/data/" + id));
    std::error_code error;
    if (app.dataContainer) {
      fs::create_directories(containers.dataContainer, error);
      if (error) return unexpected(error.message());
    }
    if (std::string_view(app.type) == "User") {
      const fs::path bundle = containers.bundleContainer / (std::string(app.executable) + ".app");
      if (auto written = writeSeedBundle(app, bundle); !written) return unexpected(written.error());
      auto text = readFile(bundle / "Info.plist", 8 << 20);
      if (!text || !*text) return unexpected(std::string("the seeded Info.plist cannot be read"));
      auto info = parsePropertyList(**text);
      if (!info) return unexpected(info.error().description());
      installed[id] = userRecord(id, *info, bundle, containers.bundleContainer, containers.dataContainer);
      std::map<std::string, fs::path> groups;
      for (const char* group : app.groups) {
        groups[group] = fs::path(device["dataPath"].get<std::string>()) / "Containers" / "Shared" / "AppGroup" /
                        stableUUID(udid + "/group/" + group);
        fs::create_directories(groups[group], error);
        if (error) return unexpected(error.message());
        installed[id]["GroupContainers"][group] = fileURL(groups[group].string(), true);
      }
      if (auto seeded = seedAppData(id, containers.dataContainer, groups); !seeded) return unexpected(seeded.error());
      continue;
    }
    const std::string path =
        runtimeRoot(runtimeIdentifier) + app.location + "/" + std::string(app.executable) + ".app";
    Json record = {{"ApplicationType", app.type},
                   {"Bundle", fileURL(path, true)},
                   {"CFBundleExecutable", app.executable},
                   {"CFBundleIdentifier", id},
                   {"CFBundleName", app.name},
                   {"CFBundleVersion", app.version},
                   {"GroupContainers", Json::object()},
                   {"Path", path},
                   {"SBAppTags", Json::array()}};
    if (app.displayName) record["CFBundleDisplayName"] = app.displayName;
    if (app.dataContainer) record["DataContainer"] = fileURL(containers.dataContainer.string(), true);
    if (id == "com.apple.Bridge") {
      const fs::path group = fs::path(device["dataPath"].get<std::string>()) / "Containers" / "Shared" / "AppGroup" /
                             stableUUID(udid + "/group/" + id);
      fs::create_directories(group, error);
      if (error) return unexpected(error.message());
      record["GroupContainers"] = Json{{"group.com.apple.bridge", fileURL(group.string(), true)}};
      record["SBAppTags"] = Json::array({"watch-companion"});
    }
    installed[id] = std::move(record);
  }
  return installed;
}

// ---- state ---------------------------------------------------------------------------------------------

// The device's app state, seeded (and saved) on first use; nullptr after writing the error.
Json* appsState(Invocation& call, Json& device, int* status) {
  Json& state = device["emulator"]["apps"];
  if (state.is_object() && state.contains("installed")) return &state;
  auto installed = seedInstalledApps(device, call.devices.runtimeOf(device));
  if (!installed) {
    *status = call.usage("Couldn't prepare the device's apps: " + installed.error());
    return nullptr;
  }
  state = Json{{"installed", std::move(*installed)}, {"running", Json::object()}, {"nextPid", 40001}};
  if (auto saved = call.devices.save(); !saved) {
    *status = call.usage(saved.error());
    return nullptr;
  }
  return &state;
}

// The booted device of args[0] with its app state; nullptr after writing the error.
Json* bootedApps(Invocation& call, Json** deviceOut, int* status) {
  Json* device = call.device(0, status);
  if (!device) return nullptr;
  if (call.requireBooted(*device, status)) return nullptr;
  *deviceOut = device;
  return appsState(call, *device, status);
}

std::string bootedAt(const Json& device) { return device.value("lastBootedAt", std::string()); }

bool isRunning(const Json& state, const Json& device, const std::string& bundleIdentifier) {
  const Json& running = state["running"];
  return running.contains(bundleIdentifier) && running[bundleIdentifier].value("bootedAt", "") == bootedAt(device);
}

int saved(Invocation& call) {
  if (auto result = call.devices.save(); !result) return call.usage(result.error());
  return 0;
}

std::string stringAt(const Json& record, const char* key) {
  auto found = record.find(key);
  return found != record.end() && found->is_string() ? found->get<std::string>() : std::string();
}

// A container URL back to its path, without the trailing slash (get_app_container prints it so).
std::string pathOfFileURL(const std::string& url) {
  std::string path;
  std::string_view rest = std::string_view(url).substr(url.starts_with("file://") ? 7 : 0);
  for (std::size_t i = 0; i < rest.size(); ++i) {
    auto hex = [&](std::size_t at) -> int {
      const char c = at < rest.size() ? rest[at] : '\0';
      if (c >= '0' && c <= '9') return c - '0';
      if (c >= 'A' && c <= 'F') return c - 'A' + 10;
      if (c >= 'a' && c <= 'f') return c - 'a' + 10;
      return -1;
    };
    if (rest[i] == '%' && hex(i + 1) >= 0 && hex(i + 2) >= 0) {
      path += static_cast<char>(hex(i + 1) * 16 + hex(i + 2));
      i += 2;
    } else {
      path += rest[i];
    }
  }
  while (path.size() > 1 && path.back() == '/') path.pop_back();
  return path;
}

SimctlFailure noSuchFile() {
  return {"NSPOSIXErrorDomain", 2, "The operation couldn\xe2\x80\x99t be completed. No such file or directory\nNo such file or directory",
          ""};
}

// ---- commands ------------------------------------------------------------------------------------------

int listapps(Invocation& call) {
  int status = 0;
  Json* device = nullptr;
  Json* state = bootedApps(call, &device, &status);
  if (!state) return status;
  call.out += openStepText((*state)["installed"]);
  return 0;
}

int appinfo(Invocation& call) {
  int status = 0;
  Json* device = nullptr;
  Json* state = bootedApps(call, &device, &status);
  if (!state) return status;
  if (call.args.size() < 2) return call.usage("Usage: simctl appinfo <device> <app bundle identifier>");
  const std::string& id = call.args[1];
  const Json& installed = (*state)["installed"];
  if (installed.contains(id)) {
    call.out += openStepText(installed[id]);
  } else {
    // simctl answers for an app that is not installed too, with a stub and exit status 0.
    call.out += openStepText(Json{{"CFBundleIdentifier", id}, {"GroupContainers", Json::object()},
                                  {"SBAppTags", Json::array()}});
  }
  return 0;
}

int launch(Invocation& call) {
  // Options come before the device: --console, -w, --terminate-running-process and the like.
  std::size_t first = 0;
  bool restart = false;
  while (first < call.args.size() && call.args[first].starts_with("-")) {
    restart |= call.args[first] == "--terminate-running-process";
    ++first;
  }
  call.args.erase(call.args.begin(), call.args.begin() + static_cast<std::ptrdiff_t>(first));
  int status = 0;
  Json* device = nullptr;
  Json* state = bootedApps(call, &device, &status);
  if (!state) return status;
  if (call.args.size() < 2) return call.usage("Usage: simctl launch [options] <device> <app bundle identifier> [<argv>...]");
  const std::string& id = call.args[1];
  const Json& installed = (*state)["installed"];
  const std::string request = fmt::format("The request to open \"{}\" failed.", id);
  if (!installed.contains(id)) {
    return call.fail({"FBSOpenApplicationServiceErrorDomain", 4, "Simulator device failed to launch " + id + ".",
                      "Underlying error (domain=FBSOpenApplicationServiceErrorDomain, code=4):\n\t" + request + "\n"});
  }
  if (stringAt(installed[id], "ApplicationType") == "Hidden") {
    const std::string denied = "The request was denied by service delegate (SBMainWorkspace).";
    return call.fail({"FBSOpenApplicationServiceErrorDomain", 1,
                      "Simulator device failed to launch " + id + ".\n" + denied,
                      "Underlying error (domain=FBSOpenApplicationServiceErrorDomain, code=1):\n\t" + request + "\n\t" +
                          denied + "\n"});
  }
  Json& running = (*state)["running"];
  if (restart || !isRunning(*state, *device, id)) {
    const int pid = (*state)["nextPid"].get<int>();
    (*state)["nextPid"] = pid + 1;
    running[id] = Json{{"pid", pid}, {"bootedAt", bootedAt(*device)}};
  }
  call.out += fmt::format("{}: {}\n", id, running[id]["pid"].get<int>());
  return saved(call);
}

int terminate(Invocation& call) {
  int status = 0;
  Json* device = nullptr;
  Json* state = bootedApps(call, &device, &status);
  if (!state) return status;
  if (call.args.size() < 2) return call.usage("Usage: simctl terminate <device> <app bundle identifier>");
  const std::string& id = call.args[1];
  if (!isRunning(*state, *device, id)) {
    return call.fail({"NSPOSIXErrorDomain", 3,
                      "Simulator device returned an error for the requested operation.\nfound nothing to terminate",
                      fmt::format("Underlying error (domain=NSPOSIXErrorDomain, code=3):\n\tThe request to terminate "
                                  "\"{}\" failed. found nothing to terminate\n\tfound nothing to terminate\n",
                                  id)});
  }
  (*state)["running"].erase(id);
  return saved(call);
}

int install(Invocation& call) {
  int status = 0;
  Json* device = nullptr;
  Json* state = bootedApps(call, &device, &status);
  if (!state) return status;
  if (call.args.size() < 2) return call.usage("Usage: simctl install <device> <path>");
  const SimctlFailure notABundle{"NSPOSIXErrorDomain", 2,
                                 "Failed to install the requested application\n"
                                 "An application bundle was not found at the provided path.\n"
                                 "Provide a valid path to the desired application bundle.",
                                 ""};
  fs::path source = fs::absolute(fs::path(call.args[1])).lexically_normal();
  if (source.filename().empty()) source = source.parent_path();
  std::error_code error;
  if (!fs::is_directory(source, error) || source.extension() != ".app") return call.fail(notABundle);
  auto text = readFile(source / "Info.plist", 8 << 20);
  if (!text || !*text) return call.fail(notABundle);
  auto info = parsePropertyList(**text);
  const std::string* id = info ? info->findString("CFBundleIdentifier") : nullptr;
  if (id == nullptr || id->empty()) return call.fail(notABundle);
  const std::string bundleIdentifier = *id;

  // A reinstall gets a fresh bundle container and keeps the data container, as on a device.
  Json& installed = (*state)["installed"];
  fs::path dataContainer;
  if (installed.contains(bundleIdentifier) && stringAt(installed[bundleIdentifier], "ApplicationType") == "User") {
    const Json& old = installed[bundleIdentifier];
    dataContainer = pathOfFileURL(stringAt(old, "DataContainer"));
    const fs::path oldContainer = pathOfFileURL(stringAt(old, "BundleContainer"));
    if (isInside(oldContainer, (*device)["dataPath"].get<std::string>())) fs::remove_all(oldContainer, error);
  }
  auto containers = userContainers(*device, makeUUID(), makeUUID());
  if (!dataContainer.empty()) containers.dataContainer = dataContainer;
  const fs::path bundle = containers.bundleContainer / source.filename();
  fs::create_directories(containers.bundleContainer, error);
  if (!error) fs::create_directories(containers.dataContainer, error);
  if (!error) fs::copy(source, bundle, fs::copy_options::recursive | fs::copy_options::copy_symlinks, error);
  if (error) return call.fail(notABundle);

  // App groups outlive a reinstall, as the data container does.
  Json groups = installed.contains(bundleIdentifier) ? installed[bundleIdentifier].value("GroupContainers", Json::object())
                                                     : Json::object();
  installed[bundleIdentifier] = userRecord(bundleIdentifier, *info, bundle, containers.bundleContainer,
                                           containers.dataContainer);
  installed[bundleIdentifier]["GroupContainers"] = std::move(groups);
  (*state)["running"].erase(bundleIdentifier);
  return saved(call);
}

int uninstall(Invocation& call) {
  int status = 0;
  Json* device = nullptr;
  Json* state = bootedApps(call, &device, &status);
  if (!state) return status;
  if (call.args.size() < 2) return call.usage("Usage: simctl uninstall <device> <app bundle identifier>");
  const std::string& id = call.args[1];
  Json& installed = (*state)["installed"];
  // Like simctl, this succeeds quietly for an app that is not installed, and for system apps, which stay.
  if (!installed.contains(id) || stringAt(installed[id], "ApplicationType") != "User") return 0;
  const fs::path dataPath = (*device)["dataPath"].get<std::string>();
  std::error_code error;
  for (const char* key : {"BundleContainer", "DataContainer"}) {
    const fs::path folder = pathOfFileURL(stringAt(installed[id], key));
    if (isInside(folder, dataPath)) fs::remove_all(folder, error);
  }
  installed.erase(id);
  (*state)["running"].erase(id);
  return saved(call);
}

int getAppContainer(Invocation& call) {
  int status = 0;
  Json* device = nullptr;
  Json* state = bootedApps(call, &device, &status);
  if (!state) return status;
  if (call.args.size() < 2) {
    return call.usage("Usage: simctl get_app_container <device> <app bundle identifier> [<container>]");
  }
  const std::string& id = call.args[1];
  const std::string which = call.args.size() > 2 ? call.args[2] : "app";
  const Json& installed = (*state)["installed"];
  if (!installed.contains(id)) return call.fail(noSuchFile());
  const Json& record = installed[id];
  if (which == "groups") {
    // One "<group id><TAB><path>" line per group; nothing for an app without groups.
    for (const auto& [group, url] : record["GroupContainers"].items()) {
      call.out += group + "\t" + pathOfFileURL(url.get<std::string>()) + "\n";
    }
    return 0;
  }
  std::string path;
  if (which == "app") {
    path = stringAt(record, "Path");
  } else if (which == "data") {
    path = pathOfFileURL(stringAt(record, "DataContainer"));
  } else if (record["GroupContainers"].contains(which)) {
    path = pathOfFileURL(record["GroupContainers"][which].get<std::string>());
  }
  if (path.empty()) return call.fail(noSuchFile());
  call.out += path + "\n";
  return 0;
}

}  // namespace

Json* deviceApps(Invocation& call, Json& device, int* status) { return appsState(call, device, status); }

void registerAppsCommands(CommandTable& table) {
  table["listapps"] = listapps;
  table["appinfo"] = appinfo;
  table["launch"] = launch;
  table["terminate"] = terminate;
  table["install"] = install;
  table["uninstall"] = uninstall;
  table["get_app_container"] = getAppContainer;
}

}  // namespace orvanta::emulator
