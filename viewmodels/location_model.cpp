#include "viewmodels/location_model.hpp"

#include "app/environment.hpp"
#include "tools/location/location_entry.hpp"
#include "tools/location/location_route_service.hpp"
#include "tools/location/location_simulator_service.hpp"
#include "tools/location/location_texts.hpp"

namespace orvanta {

LocationModel::LocationModel(PanelSession& session) : PageModel(session) {
  session_.listen(lifetime_, [this] { changed(); });
}

std::vector<LocationPreset> LocationModel::presets() const {
  return LocationPresetStore(session_.environment().settings()).presets();
}

std::vector<LocationHistoryEntry> LocationModel::recents() const {
  return LocationHistoryStore(session_.environment().settings()).entries();
}

void LocationModel::fillPoint(const SimulatedLocation& location) {
  latitudeText = coordinateText(location.latitude);
  longitudeText = coordinateText(location.longitude);
  changed();
}

void LocationModel::usePreset(const std::string& id) {
  for (const auto& preset : presets()) {
    if (preset.id == id) return fillPoint(preset.coordinate);
  }
}

void LocationModel::useRecent(const std::string& id) {
  for (const auto& entry : recents()) {
    if (entry.id == id) return fillPoint(entry.coordinate);
  }
}

void LocationModel::addPreset(const std::string& label) {
  auto location = parseCoordinateEntry(latitudeText, longitudeText);
  if (!location) return fail(location.error().description());
  auto added = LocationPresetStore(session_.environment().settings()).add(label, *location);
  if (!added) return fail(added.error().description());
  succeed("Saved the preset \xE2\x80\x9C" + added->label + "\xE2\x80\x9D (" + coordinatesText(added->coordinate) + ").");
}

void LocationModel::removePreset(const std::string& id) {
  auto removed = LocationPresetStore(session_.environment().settings()).remove(id);
  if (!removed) return fail(removed.error().description());
  succeed("Removed the preset \xE2\x80\x9C" + removed->label + "\xE2\x80\x9D.");
}

void LocationModel::setPoint() {
  auto location = parseCoordinateEntry(latitudeText, longitudeText);
  if (!location) return fail(location.error().description());
  if (!requireTarget()) return;
  using Outcome = expected<LocationCommandResult, LocationSimulationError>;
  run<Outcome>(
      [client = session_.environment().simctl(), settings = session_.environment().settings(),
       status = session_.status(), location = *location](const orvanta::stop_token& stop) {
        LocationSimulatorService service({client, nullptr, nullptr},
                                         std::make_shared<LocationHistoryStore>(settings));
        return service.perform(status, LocationAction::set(location), stop);
      },
      [this, location = *location](Outcome result) {
        if (!result) return fail(result.error().description());
        std::string text = "Location of " + result->simulatorName + " set to " + coordinatesText(location) + ".";
        if (result->persistenceError) text += " " + result->persistenceError->description();
        succeed(std::move(text));
      });
}

void LocationModel::clear() {
  if (!requireTarget()) return;
  using Outcome = expected<LocationCommandResult, LocationSimulationError>;
  run<Outcome>(
      [client = session_.environment().simctl(), status = session_.status()](const orvanta::stop_token& stop) {
        LocationSimulatorService service({client, nullptr, nullptr});
        return service.perform(status, LocationAction::clear(), stop);
      },
      [this](Outcome result) {
        if (!result) return fail(result.error().description());
        succeed("Simulated location cleared on " + result->simulatorName + ".");
      });
}

void LocationModel::loadRoute(const std::string& gpxPath) {
  using Outcome = expected<LoadedRoute, std::string>;
  run<Outcome>(
      [gpxPath](const orvanta::stop_token&) -> Outcome {
        auto imported = importGPXFile(gpxPath);
        if (!imported) {
          std::string text = imported.error().error.description();
          if (imported.error().detail) text += " " + *imported.error().detail;
          return unexpected(std::move(text));
        }
        LoadedRoute loaded;
        loaded.metrics = *routeMetrics(imported->route);  // a parsed route always has a point
        loaded.metricLines = routeMetricLines(loaded.metrics);
        loaded.notes = gpxNoteLines(imported->notes);
        if (auto playback = prepareRoutePlayback(imported->route); !playback) {
          loaded.unplayable = playback.error().description();
        }
        loaded.route = std::move(imported->route);
        return loaded;
      },
      [this](Outcome loaded) {
        if (!loaded) return fail(loaded.error());
        route_ = std::move(*loaded);
        succeed("Loaded \xE2\x80\x9C" + route_->route.name + "\xE2\x80\x9D from " + route_->route.source.filename + ".");
      });
}

void LocationModel::playRoute() {
  if (!route_) return fail("Open a GPX file first.");
  if (route_->unplayable) return fail(*route_->unplayable);
  auto speed = parseSpeedEntry(speedText);
  if (!speed) return fail(speed.error().description());
  if (!requireTarget()) return;
  using Outcome = expected<LocationRouteStart, LocationSimulationError>;
  run<Outcome>(
      [client = session_.environment().simctl(), library = session_.environment().recentRoutes(),
       status = session_.status(), route = route_->route, speed = *speed](const orvanta::stop_token& stop) {
        LocationRouteService service({client, nullptr, nullptr}, library);
        return service.start(status, route, speed, stop);
      },
      [this, speed = *speed](Outcome started) {
        if (!started) return fail(started.error().description());
        succeed("Started \xE2\x80\x9C" + started->operation.name + "\xE2\x80\x9D on " + started->operation.simulatorName +
                " at " + speedDisplay(speed) + ". " + std::string(locationRouteNote));
      });
}

void LocationModel::listScenarios() {
  if (!requireTarget()) return;
  using Outcome = expected<std::vector<LocationScenario>, LocationSimulationError>;
  run<Outcome>(
      [client = session_.environment().simctl(), status = session_.status()](const orvanta::stop_token& stop) {
        LocationSimulatorService service({client, nullptr, nullptr});
        return service.listScenarios(status, stop);
      },
      [this](Outcome listed) {
        if (!listed) return fail(listed.error().description());
        // Element-wise on purpose: moving the whole vector out of the expected trips a false
        // maybe-uninitialized warning in GCC 12 at -O2.
        scenarios_.clear();
        for (auto& scenario : *listed) scenarios_.push_back(std::move(scenario));
        if (scenarios_.empty()) succeed("The simulator lists no location scenarios.");
      });
}

void LocationModel::runScenario(const std::string& name) {
  if (!requireTarget()) return;
  using Outcome = expected<LocationScenarioStart, LocationSimulationError>;
  run<Outcome>(
      [client = session_.environment().simctl(), status = session_.status(), name](const orvanta::stop_token& stop) {
        LocationSimulatorService service({client, nullptr, nullptr});
        return service.runScenario(status, name, stop);
      },
      [this, name](Outcome started) {
        if (!started) return fail(started.error().description());
        succeed("Running the scenario \xE2\x80\x9C" + name + "\xE2\x80\x9D on " + started->operation.simulatorName + ". " +
                std::string(locationScenarioNote));
      });
}

}  // namespace orvanta
