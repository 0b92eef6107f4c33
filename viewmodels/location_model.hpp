// The Location page: a point (typed, or from a preset or a recent one), a GPX route drawn from its points
// with its figures and notes and played at a chosen speed, and the simulator's own location scenarios.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "tools/location/gpx_route_parser.hpp"
#include "tools/location/location_persistence.hpp"
#include "tools/location/location_route_playback.hpp"
#include "tools/location/location_scenario_list.hpp"
#include "viewmodels/page_model.hpp"

namespace orvanta {

struct LoadedRoute {
  LocationRoute route;
  LocationRouteMetrics metrics;
  std::vector<std::string> metricLines;
  std::vector<std::string> notes;
  std::optional<std::string> unplayable;  // why it cannot be played, if it cannot
};

class LocationModel : public PageModel {
 public:
  explicit LocationModel(PanelSession& session);

  // The point being typed, as text; checked when it is set.
  std::string latitudeText;
  std::string longitudeText;
  void setPoint();
  void clear();

  [[nodiscard]] std::vector<LocationPreset> presets() const;
  [[nodiscard]] std::vector<LocationHistoryEntry> recents() const;
  // Fills the point from a preset or a recent entry (by id); setPoint() sends it.
  void usePreset(const std::string& id);
  void useRecent(const std::string& id);
  // Saves the typed point as a preset under `label` (unique).
  void addPreset(const std::string& label);
  void removePreset(const std::string& id);

  void loadRoute(const std::string& gpxPath);
  [[nodiscard]] const std::optional<LoadedRoute>& route() const { return route_; }
  std::string speedText = "20";
  void playRoute();

  void listScenarios();
  [[nodiscard]] const std::vector<LocationScenario>& scenarios() const { return scenarios_; }
  void runScenario(const std::string& name);

 private:
  void fillPoint(const SimulatedLocation& location);

  std::optional<LoadedRoute> route_;
  std::vector<LocationScenario> scenarios_;
};

}  // namespace orvanta
