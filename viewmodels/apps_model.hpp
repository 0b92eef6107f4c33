// The Apps page: the apps installed on the target with their icons, a filter, and launch, terminate,
// install, uninstall (after a confirmation), the container's path and revealing it.
#pragma once

#include <filesystem>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "apps/simulator_app_icon_cache.hpp"
#include "apps/simulator_app_service.hpp"
#include "viewmodels/page_model.hpp"

namespace orvanta {

class AppsModel : public PageModel {
 public:
  explicit AppsModel(PanelSession& session);

  // The apps that match the filter text (in the name or the bundle identifier, without case) and kind.
  [[nodiscard]] std::vector<SimulatorApp> rows() const;
  void setFilterText(std::string text);
  void setKindFilter(SimulatorAppFilter filter);
  [[nodiscard]] const std::string& filterText() const { return filterText_; }
  [[nodiscard]] SimulatorAppFilter kindFilter() const { return kindFilter_; }
  // "Listing apps…", the listing's failure, "No apps match." or empty.
  [[nodiscard]] std::string placeholder() const;
  // The icon's PNG bytes, once loaded; null for an app without one.
  [[nodiscard]] std::shared_ptr<const std::string> icon(const std::string& bundleIdentifier) const;

  void refresh() { session_.refreshApps(); }
  void launch(const std::string& bundleIdentifier);
  void terminate(const std::string& bundleIdentifier);
  void install(const std::filesystem::path& bundle);
  // What the confirmation asks before an uninstall; empty for an app that is not listed.
  [[nodiscard]] std::string uninstallQuestion(const std::string& bundleIdentifier) const;
  void uninstall(const std::string& bundleIdentifier);
  // Shows the data container's path, and remembers it for reveal().
  void showContainer(const std::string& bundleIdentifier);
  [[nodiscard]] const std::optional<std::string>& containerPath() const { return containerPath_; }
  void revealContainer();

 private:
  struct Acting {
    SimulatorDevice device;
    SimulatorApp app;
    std::shared_ptr<SimulatorGateHold> gate;
  };
  // The target, the listed app and the gate under "apps"; none with the sentence shown.
  std::optional<Acting> prepare(const std::string& bundleIdentifier, bool takeGate);
  // Runs one change of an installed app on a worker (the gate held meanwhile), then shows `doneText` or
  // the failure; `listAgain` lists the apps once it is over.
  using AppChange = std::function<expected<void, SimulatorAppError>(SimulatorAppService&, const Acting&,
                                                                     const orvanta::stop_token&)>;
  void change(const std::string& bundleIdentifier, AppChange call, std::function<std::string(const Acting&)> doneText,
              bool listAgain);
  void loadIcons();

  std::string filterText_;
  SimulatorAppFilter kindFilter_ = SimulatorAppFilter::all;
  std::shared_ptr<SimulatorAppIconCache> iconCache_ = std::make_shared<SimulatorAppIconCache>();
  std::map<std::string, std::shared_ptr<const std::string>> icons_;
  std::string iconsFor_;  // the bundle paths the icons were loaded for
  std::optional<std::string> containerPath_;
};

}  // namespace orvanta
