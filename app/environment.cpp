#include "app/environment.hpp"

#include <cstdlib>

#include "support/app_paths.hpp"
#include "support/platform.hpp"

namespace orvanta {

namespace {
std::string xcrunSourceOf(const std::optional<std::string>& option) {
  if (option) return "--xcrun";
  if (const char* fromEnvironment = std::getenv("ORVANTA_XCRUN"); fromEnvironment && *fromEnvironment) {
    return "ORVANTA_XCRUN";
  }
  return "the default";
}

std::filesystem::path resolveXcrun(const std::optional<std::string>& option) {
  if (option) return *option;
  if (const char* fromEnvironment = std::getenv("ORVANTA_XCRUN"); fromEnvironment && *fromEnvironment) {
    return fromEnvironment;
  }
  return std::filesystem::path("/usr/bin") / "xcrun";
}
}  // namespace

Environment::Environment(const std::optional<std::string>& xcrunOption)
    : run_(makeRunFunction(runner_,
                           [scale = timeoutScaleFromEnvironment()](const std::filesystem::path&,
                                                                   const std::vector<std::string>& arguments) {
                             return simctlRunOptions(arguments, scale);
                           })),
      runWithOptions_(makeRunWithOptionsFunction(runner_)),
      xcrun_(resolveXcrun(xcrunOption)),
      xcrunSource_(xcrunSourceOf(xcrunOption)),
      simctl_{run_, xcrun_},
      discovery_(simctl_) {}

Environment::~Environment() = default;

SimctlClient Environment::simctlWithTimeout(double seconds) const {
  RunWithOptionsFunction run = runWithOptions_;
  return SimctlClient{[run, seconds](const std::filesystem::path& executable, const std::vector<std::string>& arguments,
                                     orvanta::stop_token stop) {
                        ProcessRunner::Options options;
                        options.timeout = seconds;
                        return run(executable, arguments, options, std::move(stop));
                      },
                      xcrun_};
}

namespace {
expected<std::filesystem::path, std::string> folderOrSentence(expected<std::filesystem::path, FileError> folder) {
  if (!folder) return unexpected(folder.error().description());
  return *folder;
}
}  // namespace

DoctorInputs Environment::doctorInputs() {
  DoctorInputs inputs;
  inputs.xcrun = xcrunPath();
  inputs.xcrunSource = xcrunSource();
  inputs.run = run();
  inputs.onMacOS = buildIsForMacOS;
  if (const char* developerDir = std::getenv("DEVELOPER_DIR")) inputs.developerDirEnvironment = developerDir;
  inputs.settingsFolder = [] { return folderOrSentence(configDirectory()); };
  inputs.applicationSupportFolder = [] { return folderOrSentence(applicationSupportDirectory()); };
  return inputs;
}

std::shared_ptr<LocationRouteLibrary> Environment::recentRoutes() {
  auto routes = LocationRouteLibrary::defaultDirectory();
  if (!routes) return nullptr;
  return std::make_shared<LocationRouteLibrary>(settings(), *routes);
}

std::shared_ptr<SettingsStore> Environment::settings() {
  if (!settings_) {
    if (auto file = JsonFileSettingsStore::defaultFile()) {
      settings_ = std::make_shared<JsonFileSettingsStore>(*file);
    } else {
      settings_ = std::make_shared<InMemorySettingsStore>();
    }
  }
  return settings_;
}

std::optional<std::string> Environment::takeSettingsNotice() {
  if (!settings_) return std::nullopt;
  return settings_->takeRecoveryNotice();
}

SimulatorSelectionStore& Environment::selection() {
  if (!selection_) selection_.emplace(settings());
  return *selection_;
}

std::optional<FileError> Environment::gateProblem() const {
  if (!gate_) return std::nullopt;
  return gate_->problem();
}

SimulatorMutationGate& Environment::gate() {
  if (!gate_) {
    auto directory = runtimeDirectory();
    if (directory) {
      gate_.emplace(std::optional<std::filesystem::path>(*directory));
    } else {
      gate_.emplace(directory.error());
    }
  }
  return *gate_;
}

HostPasteboard& Environment::hostPasteboard() {
  if (!hostPasteboard_) hostPasteboard_ = makeHostPasteboard(runWithOptions_);
  return *hostPasteboard_;
}

SimulatorPasteboardService Environment::simulatorPasteboard() {
  return SimulatorPasteboardService({runWithOptions_, xcrun_, &hostPasteboard()});
}

SecretStore& Environment::secretStore() {
  if (!secretStore_) secretStore_ = makeSecretStore();
  return *secretStore_;
}

}  // namespace orvanta
