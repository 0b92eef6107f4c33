#include "viewmodels/apps_model.hpp"

#include <algorithm>

#include "app/app_sentences.hpp"
#include "app/environment.hpp"
#include "app/result_json.hpp"
#include "apps/simulator_app_service.hpp"
#include "core/file_reveal.hpp"

namespace orvanta {
namespace {

bool containsWithoutCase(std::string_view text, std::string_view part) {
  auto lower = [](char c) { return (c >= 'A' && c <= 'Z') ? static_cast<char>(c - 'A' + 'a') : c; };
  return std::search(text.begin(), text.end(), part.begin(), part.end(),
                     [&](char a, char b) { return lower(a) == lower(b); }) != text.end();
}

}  // namespace

AppsModel::AppsModel(PanelSession& session) : PageModel(session) {
  session_.listen(lifetime_, [this] {
    loadIcons();
    changed();
  });
  loadIcons();
}

std::vector<SimulatorApp> AppsModel::rows() const {
  std::vector<SimulatorApp> rows;
  for (const auto& app : session_.apps()) {
    if (!matches(kindFilter_, app)) continue;
    if (!filterText_.empty() && !containsWithoutCase(app.displayName, filterText_) &&
        !containsWithoutCase(app.bundleIdentifier, filterText_)) {
      continue;
    }
    rows.push_back(app);
  }
  return rows;
}

void AppsModel::setFilterText(std::string text) {
  filterText_ = std::move(text);
  changed();
}

void AppsModel::setKindFilter(SimulatorAppFilter filter) {
  kindFilter_ = filter;
  changed();
}

std::string AppsModel::placeholder() const {
  if (!session_.target()) return session_.target().error();
  if (session_.appsError()) return *session_.appsError();
  if (session_.refreshingApps() && session_.apps().empty()) return "Listing apps\xE2\x80\xA6";
  if (rows().empty()) return session_.apps().empty() ? "No apps are installed." : "No apps match.";
  return {};
}

std::shared_ptr<const std::string> AppsModel::icon(const std::string& bundleIdentifier) const {
  auto found = icons_.find(bundleIdentifier);
  return found == icons_.end() ? nullptr : found->second;
}

void AppsModel::loadIcons() {
  std::vector<std::pair<std::string, std::string>> wanted;  // bundle identifier, bundle path
  std::string key;
  for (const auto& app : session_.apps()) {
    if (app.bundlePath.empty()) continue;
    wanted.emplace_back(app.bundleIdentifier, app.bundlePath);
    key += app.bundlePath + '\n';
  }
  if (key == iconsFor_) return;
  iconsFor_ = key;
  using Icons = std::map<std::string, std::shared_ptr<const std::string>>;
  session_.work().post<Icons>(
      lifetime_,
      [cache = iconCache_, wanted = std::move(wanted)](const orvanta::stop_token& stop) {
        Icons icons;
        for (const auto& [identifier, path] : wanted) {
          if (stop.stop_requested()) break;
          if (auto icon = cache->icon(std::filesystem::path(path))) icons[identifier] = icon->bytes;
        }
        return icons;
      },
      [this](Icons icons) {
        icons_ = std::move(icons);
        changed();
      });
}

std::optional<AppsModel::Acting> AppsModel::prepare(const std::string& bundleIdentifier, bool takeGate) {
  auto device = requireTarget();
  if (!device) return std::nullopt;
  const auto* app = session_.app(bundleIdentifier);
  if (app == nullptr) {
    fail(SimulatorAppError::of(SimulatorAppError::Case::noAppSelected).description());
    return std::nullopt;
  }
  Acting acting{*device, *app, nullptr};
  if (takeGate) {
    acting.gate = hold(device->udid, gate_labels::apps, gate_messages::apps);
    if (!acting.gate) return std::nullopt;
  }
  return acting;
}

void AppsModel::launch(const std::string& bundleIdentifier) {
  auto acting = prepare(bundleIdentifier, true);
  if (!acting) return;
  using Outcome = expected<SimulatorAppLaunchResult, SimulatorAppError>;
  run<Outcome>(
      [client = session_.environment().simctl(), acting = *acting](const orvanta::stop_token& stop) {
        SimulatorMutationGate own;  // the panel holds the shared gate
        return SimulatorAppService(client, own).launch(acting.device.udid, acting.app, stop);
      },
      [this, acting = *acting](Outcome result) {
        if (result) {
          succeed(launchedText(acting.app, acting.device.name, *result));
        } else {
          fail(result.error().description());
        }
      });
}

void AppsModel::terminate(const std::string& bundleIdentifier) {
  change(
      bundleIdentifier,
      [](SimulatorAppService& service, const Acting& acting, const orvanta::stop_token& stop) {
        return service.terminate(acting.device.udid, acting.app, stop);
      },
      [](const Acting& acting) { return terminatedText(acting.app, acting.device.name); }, false);
}

void AppsModel::change(const std::string& bundleIdentifier, AppChange call,
                       std::function<std::string(const Acting&)> doneText, bool listAgain) {
  auto acting = prepare(bundleIdentifier, true);
  if (!acting) return;
  using Outcome = expected<void, SimulatorAppError>;
  run<Outcome>(
      [client = session_.environment().simctl(), acting = *acting, call](const orvanta::stop_token& stop) {
        SimulatorMutationGate own;  // the shared one is held on the main thread, in `acting`
        SimulatorAppService service(client, own);
        return call(service, acting, stop);
      },
      [this, acting = *acting, doneText, listAgain](Outcome result) {
        if (result) {
          succeed(doneText(acting));
        } else {
          fail(result.error().description());
        }
        if (listAgain) session_.refreshApps();
      });
}

void AppsModel::install(const std::filesystem::path& bundle) {
  auto device = requireTarget();
  if (!device) return;
  auto gate = hold(device->udid, gate_labels::apps, gate_messages::apps);
  if (!gate) return;
  struct Installed {
    expected<void, SimulatorAppError> done;
    std::optional<SimulatorApp> app;
  };
  run<Installed>(
      [client = session_.environment().simctl(), udid = device->udid, bundle](const orvanta::stop_token& stop) {
        SimulatorMutationGate own;
        SimulatorAppService service(client, own);
        Installed installed{service.install(udid, bundle, stop), std::nullopt};
        if (!installed.done) return installed;
        if (auto identifier = declaredBundleIdentifier(bundle)) {
          if (auto apps = service.listApps(udid, stop)) {
            for (auto& app : *apps) {
              if (app.bundleIdentifier == *identifier) installed.app = std::move(app);
            }
          }
        }
        return installed;
      },
      [this, gate, bundle, name = device->name](Installed installed) {
        if (installed.done) {
          succeed(installedText(bundle, installed.app, name));
        } else {
          fail(installed.done.error().description());
        }
        session_.refreshApps();
      });
}

std::string AppsModel::uninstallQuestion(const std::string& bundleIdentifier) const {
  auto device = session_.target();
  const auto* app = session_.app(bundleIdentifier);
  if (!device || app == nullptr) return {};
  return PendingAppUninstall{*app, device->udid, device->name}.question();
}

void AppsModel::uninstall(const std::string& bundleIdentifier) {
  change(
      bundleIdentifier,
      [](SimulatorAppService& service, const Acting& acting, const orvanta::stop_token& stop) {
        return service.uninstall(acting.device.udid, acting.app, stop);
      },
      [](const Acting& acting) { return uninstalledText(acting.app, acting.device.name); }, true);
}

void AppsModel::showContainer(const std::string& bundleIdentifier) {
  auto acting = prepare(bundleIdentifier, false);
  if (!acting) return;
  using Outcome = expected<std::string, SimulatorAppError>;
  run<Outcome>(
      [client = session_.environment().simctl(), acting = *acting](const orvanta::stop_token& stop) {
        SimulatorMutationGate own;
        return SimulatorAppService(client, own).container(acting.device.udid, acting.app,
                                                          SimulatorAppContainer::data, stop);
      },
      [this](Outcome path) {
        if (path) {
          containerPath_ = *path;
          succeed(*path);
        } else {
          containerPath_.reset();
          fail(path.error().description());
        }
      });
}

void AppsModel::revealContainer() {
  if (!containerPath_) {
    fail("Show an app's container first.");
    return;
  }
  run<expected<void, std::string>>(
      [run = session_.environment().runWithOptions(), path = *containerPath_](const orvanta::stop_token&) {
        return revealInFileBrowser(run, path);
      },
      [this](expected<void, std::string> revealed) {
        if (revealed) {
          succeed("Revealed " + *containerPath_ + ".");
        } else {
          fail(revealed.error());
        }
      });
}

}  // namespace orvanta
