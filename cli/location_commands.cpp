// orvanta location set|clear|route|recents|history|presets|preset|scenarios|scenario, orvanta gpx inspect
//
// Every number is written in the C locale's dot-decimal form, whatever the user's locale. Dates in --json
// output are ISO 8601 UTC texts ("2026-11-21T05:46:00Z"); the settings keep them as 2001-epoch seconds.
// A location that reached the simulator but could not be remembered (history, recent routes) still
// succeeds: the failure is a warning on stderr and a "persistenceError" member in --json output.
#include <CLI/CLI.hpp>
#include <algorithm>
#include <cmath>
#include <cerrno>
#include <filesystem>
#include <memory>
#include <nlohmann/json.hpp>
#include <ostream>

#include <fmt/format.h>

#include "app/result_json.hpp"
#include "cli/commands.hpp"
#include "app/environment.hpp"
#include "cli/target_resolution.hpp"
#include "support/atomic_file.hpp"
#include "support/number_text.hpp"
#include "support/reference_date.hpp"
#include "support/uuid.hpp"
#include "tools/location/gpx_route_parser.hpp"
#include "tools/location/location_entry.hpp"
#include "tools/location/location_persistence.hpp"
#include "tools/location/location_route_library.hpp"
#include "tools/location/location_route_service.hpp"
#include "tools/location/location_simulator_service.hpp"
#include "tools/location/location_texts.hpp"

namespace orvanta {
namespace {

using Json = nlohmann::json;
using ErrorCase = LocationSimulationError::Case;

// ---- JSON shapes -------------------------------------------------------------------------------------

Json historyJson(const LocationHistoryEntry& entry) {
  return {{"id", entry.id}, {"coordinate", toJson(entry.coordinate)}, {"setAt", jsonDate(entry.setAt)}};
}

// ---- failures ----------------------------------------------------------------------------------------

CommandFailure failureOf(const LocationSimulationError& error, std::vector<std::string> hints = {}) {
  // The sentence speaks of the panel's Point tab; here a point is set with its own command.
  if (error.description().ends_with("use the Point tab.")) {
    hints.insert(hints.begin(), "For one point: orvanta location set LATITUDE LONGITUDE");
  }
  return CommandFailure::failure(std::string(error.caseName()), error.description(), std::move(hints));
}

// The warning for something that reached the simulator but was not remembered.
void warnNotSaved(CommandContext& context, const std::optional<LocationSimulationError>& error, std::string_view what) {
  if (!error) return;
  context.err << "orvanta: " << error->description() << '\n' << what << '\n';
}

// The services of one command, acting on the resolved target.
class LocationSession {
 public:
  explicit LocationSession(CommandContext& context) : context_(context) {}

  CommandOutcome resolve() {
    auto status = currentTargetStatus(context_);
    if (!status) return unexpected(status.error());
    status_ = *status;
    return {};
  }

  LocationServiceEnvironment services() {
    return {context_.environment.simctl(), &context_.environment.gate(), activity_};
  }

  CommandFailure failure(const LocationSimulationError& error) const {
    if (context_.stop.stop_requested()) return CommandFailure::interrupted();
    std::vector<std::string> hints;
    if (error.kind == ErrorCase::noSimulatorSelected || error.kind == ErrorCase::simulatorNotBooted) {
      hints.push_back(statusLine(status_, context_.environment.discovery().devices()));
      hints.push_back(error.kind == ErrorCase::simulatorNotBooted
                          ? "Boot it again, or choose another with 'orvanta target set NAME' or --device."
                          : "Choose one with 'orvanta target set NAME', or pass --device for one call.");
    } else if (error.kind == ErrorCase::simulatorBusy) {
      hints.push_back("Held by: " + error.holder + ".");
    }
    return failureOf(error, std::move(hints));
  }

  const SimulatorTargetStatus& status() const { return status_; }

 private:
  CommandContext& context_;
  SimulatorTargetStatus status_;
  std::shared_ptr<LocationActivity> activity_ = std::make_shared<LocationActivity>();
};

expected<std::shared_ptr<LocationRouteLibrary>, CommandFailure> routeLibrary(CommandContext& context) {
  auto directory = LocationRouteLibrary::defaultDirectory();
  if (!directory) {
    return unexpected(
        CommandFailure::failure(std::string(directory.error().caseName()), directory.error().description()));
  }
  return std::make_shared<LocationRouteLibrary>(context.environment.settings(), *directory);
}

// ---- set, clear, preset ------------------------------------------------------------------------------

CommandOutcome setLocation(CommandContext& context, const SimulatedLocation& location,
                           const std::optional<LocationPreset>& preset) {
  LocationSession session(context);
  if (auto resolved = session.resolve(); !resolved) return resolved;
  LocationSimulatorService service(session.services(),
                                   std::make_shared<LocationHistoryStore>(context.environment.settings()));
  auto result = service.perform(session.status(), LocationAction::set(location), context.stop);
  if (!result) return unexpected(session.failure(result.error()));
  if (context.options.json) {
    Json json = locationResultJson(*result);
    if (preset) json["preset"] = toJson(*preset);
    context.emitJson(json);
  } else if (preset) {
    context.out << "Location of " << result->simulatorName << " set to \"" << preset->label << "\" ("
                << coordinatesText(location) << ").\n";
  } else {
    context.out << "Location of " << result->simulatorName << " set to " << coordinatesText(location) << ".\n";
  }
  warnNotSaved(context, result->persistenceError, "The location was set; only the point history was not saved.");
  return {};
}

CommandOutcome clearLocation(CommandContext& context) {
  LocationSession session(context);
  if (auto resolved = session.resolve(); !resolved) return resolved;
  LocationSimulatorService service(session.services());
  auto result = service.perform(session.status(), LocationAction::clear(), context.stop);
  if (!result) return unexpected(session.failure(result.error()));
  if (context.options.json) {
    context.emitJson(locationResultJson(*result));
  } else {
    context.out << "Simulated location cleared on " << result->simulatorName << ".\n";
  }
  return {};
}

// The preset named by its id or its exact label.
expected<LocationPreset, CommandFailure> findPreset(CommandContext& context, const std::string& labelOrId) {
  const auto presets = LocationPresetStore(context.environment.settings()).presets();
  std::vector<const LocationPreset*> matches;
  if (auto id = parseUUID(labelOrId)) {
    for (const auto& preset : presets) {
      if (preset.id == *id) matches.push_back(&preset);
    }
  }
  if (matches.empty()) {
    for (const auto& preset : presets) {
      if (preset.label == labelOrId) matches.push_back(&preset);
    }
  }
  if (matches.empty()) {
    return unexpected(failureOf(LocationSimulationError(ErrorCase::presetNotFound),
                                {"'orvanta location presets' lists them with their ids."}));
  }
  if (matches.size() > 1) {
    std::vector<std::string> hints;
    for (const auto* preset : matches) hints.push_back("  " + preset->id + "  " + coordinatesText(preset->coordinate));
    return unexpected(
        CommandFailure::usage("Several presets are labelled \"" + labelOrId + "\"; give an id instead:", hints));
  }
  return *matches.front();
}

CommandOutcome setPreset(CommandContext& context, const std::string& labelOrId) {
  auto preset = findPreset(context, labelOrId);
  if (!preset) return unexpected(preset.error());
  return setLocation(context, preset->coordinate, *preset);
}

// ---- routes ------------------------------------------------------------------------------------------

// Reads and parses a GPX file (see importGPXFile).
expected<GPXParseResult, CommandFailure> importGpx(const std::string& path) {
  auto imported = importGPXFile(path);
  if (!imported) {
    std::vector<std::string> hints;
    if (imported.error().detail) hints.push_back(*imported.error().detail);
    return unexpected(failureOf(imported.error().error, std::move(hints)));
  }
  return std::move(*imported);
}

struct RouteOptions {
  std::optional<std::string> file;
  std::optional<std::string> recent;
  std::string speed = "20";
};

CommandOutcome playRoute(CommandContext& context, const RouteOptions& options) {
  if (!options.file && !options.recent) {
    return unexpected(CommandFailure::usage("Give a GPX file, or --recent ID to replay a recent route.",
                                            {"Run 'orvanta location route --help' for usage."}));
  }
  auto speed = parseSpeedEntry(options.speed);
  if (!speed) return unexpected(failureOf(speed.error()));

  auto library = routeLibrary(context);
  LocationRoute route;
  std::optional<GPXParseNotes> notes;
  if (options.recent) {
    if (!library) return unexpected(library.error());
    auto recent = (*library)->recent(*options.recent);
    if (!recent) {
      return unexpected(CommandFailure::failure("recentNotFound", "No recent route has the id " + *options.recent + ".",
                                                {"'orvanta location recents' lists them with their ids."}));
    }
    auto opened = (*library)->open(*recent);
    if (!opened) {
      return unexpected(
          failureOf(opened.error(), {"Remove it with 'orvanta location recents --remove " + recent->id + "'."}));
    }
    route = std::move(*opened);
  } else {
    auto imported = importGpx(*options.file);
    if (!imported) return unexpected(imported.error());
    route = std::move(imported->route);
    notes = imported->notes;
  }

  LocationSession session(context);
  if (auto resolved = session.resolve(); !resolved) return resolved;
  LocationRouteService service(session.services(), library ? *library : nullptr);
  auto started = service.start(session.status(), route, *speed, context.stop);
  if (!started) return unexpected(session.failure(started.error()));
  if (!library) started->persistenceError = LocationSimulationError(ErrorCase::persistenceFailed);

  if (context.options.json) {
    Json json = routeStartJson(route, *started, *speed, notes);
    context.emitJson(json);
  } else {
    context.out << "Playing \"" << route.name << "\" on " << started->operation.simulatorName << " at "
                << speedText(*speed) << " m/s.\n";
    for (const auto& line : routeMetricLines(started->metrics)) context.out << "  " << line << '\n';
    if (notes) {
      for (const auto& line : gpxNoteLines(*notes)) context.out << "  Note:      " << line << '\n';
    }
    if (started->recent) context.out << "  Recent:    " << started->recent->id << '\n';
    context.out << locationRouteNote << '\n';
  }
  warnNotSaved(context, started->persistenceError, "The route is playing; it was not added to the recent routes.");
  return {};
}

struct RecentsOptions {
  std::vector<std::string> remove;
  bool all = false;
};

CommandOutcome recents(CommandContext& context, const RecentsOptions& options) {
  auto library = routeLibrary(context);
  if (!library) return unexpected(library.error());
  if (options.all || !options.remove.empty()) {
    std::vector<std::string> unknown;
    for (const auto& id : options.remove) {
      if (!(*library)->recent(id)) unknown.push_back(id);
    }
    if (!unknown.empty()) {
      return unexpected(CommandFailure::failure("recentNotFound", "No recent route has the id " + unknown.front() + ".",
                                                {"'orvanta location recents' lists them with their ids."}));
    }
    auto removed = options.all ? (*library)->removeAll() : (*library)->remove(options.remove);
    if (!removed) return unexpected(failureOf(removed.error()));
    if (context.options.json) {
      Json list = Json::array();
      for (const auto& recent : *removed) list.push_back(routeRecentJson(recent));
      context.emitJson({{"removed", list}, {"note", locationRecentsRemovedNote}});
    } else {
      context.out << "Removed " << countText(static_cast<std::int64_t>(removed->size()), "recent route", "recent routes")
                  << ".\n"
                  << locationRecentsRemovedNote << '\n';
    }
    return {};
  }
  const auto list = (*library)->recents();
  if (context.options.json) {
    Json array = Json::array();
    for (const auto& recent : list) array.push_back(routeRecentJson(recent));
    context.emitJson(array);
  } else if (list.empty()) {
    context.out << "No recent routes.\n";
  } else {
    for (const auto& recent : list) {
      context.out << recent.id << "  " << recent.name << "  (" << recent.sourceFilename << ")\n"
                  << "    " << countText(recent.pointCount, "point", "points") << ", "
                  << countText(recent.segmentCount, "segment", "segments") << ", " << distanceText(recent.distanceMeters)
                  << "; played at " << speedText(recent.speedMetersPerSecond) << " m/s, " << isoDateText(recent.startedAt)
                  << '\n';
    }
  }
  return {};
}

// ---- history and presets -----------------------------------------------------------------------------

CommandOutcome history(CommandContext& context) {
  const auto entries = LocationHistoryStore(context.environment.settings()).entries();
  if (context.options.json) {
    Json array = Json::array();
    for (const auto& entry : entries) array.push_back(historyJson(entry));
    context.emitJson(array);
  } else if (entries.empty()) {
    context.out << "No locations have been set yet.\n";
  } else {
    for (const auto& entry : entries) {
      context.out << isoDateText(entry.setAt) << "  " << coordinatesText(entry.coordinate) << '\n';
    }
  }
  return {};
}

CommandOutcome listPresets(CommandContext& context) {
  const auto presets = LocationPresetStore(context.environment.settings()).presets();
  if (context.options.json) {
    Json array = Json::array();
    for (const auto& preset : presets) array.push_back(toJson(preset));
    context.emitJson(array);
  } else if (presets.empty()) {
    context.out << "No presets. Add one with 'orvanta location presets add LABEL LATITUDE LONGITUDE'.\n";
  } else {
    for (const auto& preset : presets) {
      context.out << preset.id << "  " << preset.label << "  " << coordinatesText(preset.coordinate) << '\n';
    }
  }
  return {};
}

CommandOutcome reportPreset(CommandContext& context, const expected<LocationPreset, LocationSimulationError>& preset,
                            std::string_view verb) {
  if (!preset) return unexpected(failureOf(preset.error()));
  if (context.options.json) {
    context.emitJson(toJson(*preset));
  } else {
    context.out << "Preset \"" << preset->label << "\" (" << coordinatesText(preset->coordinate) << ") " << verb
                << ". Id: " << preset->id << '\n';
  }
  return {};
}

// ---- scenarios ---------------------------------------------------------------------------------------

CommandOutcome listScenarios(CommandContext& context) {
  LocationSession session(context);
  if (auto resolved = session.resolve(); !resolved) return resolved;
  LocationSimulatorService service(session.services());
  auto scenarios = service.listScenarios(session.status(), context.stop);
  if (!scenarios) return unexpected(session.failure(scenarios.error()));
  const auto& device = *session.status().device;
  if (context.options.json) {
    Json array = Json::array();
    for (const auto& scenario : *scenarios) array.push_back({{"name", scenario.name}, {"summary", scenario.summary}});
    context.emitJson({{"simulatorUDID", device.udid},
                      {"simulatorName", device.name},
                      {"scenarios", array},
                      {"note", locationScenarioNote}});
    return {};
  }
  if (scenarios->empty()) {
    context.out << "simctl lists no location scenarios for " << device.name << ".\n";
  } else {
    for (const auto& scenario : *scenarios) {
      context.out << scenario.name << (scenario.summary.empty() ? "" : "  " + scenario.summary) << '\n';
    }
  }
  context.out << locationScenarioNote << '\n';
  return {};
}

CommandOutcome runScenario(CommandContext& context, const std::string& name) {
  LocationSession session(context);
  if (auto resolved = session.resolve(); !resolved) return resolved;
  LocationSimulatorService service(session.services());
  auto started = service.runScenario(session.status(), name, context.stop);
  if (!started) {
    auto failure = session.failure(started.error());
    if (started.error().kind == ErrorCase::scenarioUnavailable && !service.scenarios().empty()) {
      std::string names;
      for (const auto& scenario : service.scenarios()) names += (names.empty() ? "" : ", ") + scenario.name;
      failure.hints.push_back("Scenarios on this simulator: " + names + ".");
    }
    return unexpected(failure);
  }
  if (context.options.json) {
    context.emitJson({{"scenario", name},
                      {"simulatorUDID", started->operation.simulatorUDID},
                      {"simulatorName", started->operation.simulatorName},
                      {"stdout", started->stdout},
                      {"stderr", started->stderr},
                      {"activeOperation", locationOperationJson(started->operation)},
                      {"note", locationScenarioNote}});
  } else {
    context.out << "Running the scenario \"" << name << "\" on " << started->operation.simulatorName << ".\n"
                << locationScenarioNote << '\n';
  }
  return {};
}

// ---- gpx inspect -------------------------------------------------------------------------------------

CommandOutcome inspectGpx(CommandContext& context, const std::string& path) {
  auto imported = importGpx(path);
  if (!imported) return unexpected(imported.error());
  const auto& route = imported->route;
  const auto metrics = *routeMetrics(route);  // a parsed route always has a point
  const auto playback = prepareRoutePlayback(route);
  if (context.options.json) {
    Json json = {{"name", route.name},
                 {"sourceFilename", route.source.filename},
                 {"metrics", routeMetricsJson(metrics)},
                 {"notes", gpxNotesJson(imported->notes)},
                 {"playable", playback.has_value()}};
    if (!playback) json["playbackError"] = locationErrorJson(playback.error());
    context.emitJson(json);
    return {};
  }
  context.out << "\"" << route.name << "\" from " << route.source.filename << '\n';
  for (const auto& line : routeMetricLines(metrics)) context.out << "  " << line << '\n';
  const auto notes = gpxNoteLines(imported->notes);
  for (const auto& line : notes) context.out << "  Note:      " << line << '\n';
  if (playback) {
    context.out << "It can be played with 'orvanta location route'.\n";
  } else {
    context.out << "It cannot be played: " << playback.error().description() << '\n';
  }
  return {};
}

}  // namespace

void registerLocationCommands(CLI::App& app, CommandRegistry& registry) {
  auto* location = app.add_subcommand("location", "Simulated location: points, presets, GPX routes and scenarios");
  location->require_subcommand(1);

  auto coordinates = std::make_shared<std::pair<std::string, std::string>>();
  auto* set = location->add_subcommand("set", "Put the target simulator at a fixed position");
  set->add_option("LATITUDE", coordinates->first, "Degrees, -90 to 90, dot-decimal (48.137154)")->required();
  set->add_option("LONGITUDE", coordinates->second, "Degrees, -180 to 180, dot-decimal (-122.0301)")->required();
  set->footer(
      "The position is added to the history ('orvanta location history').\n"
      "--json: {action: \"set\", simulatorUDID, simulatorName, stdout, stderr, coordinate: {latitude, longitude},\n"
      "persistenceError?: {kind, message}}.");
  registry.on(set, [coordinates](CommandContext& context) -> CommandOutcome {
    auto entered = parseCoordinateEntry(coordinates->first, coordinates->second);
    if (!entered) return unexpected(failureOf(entered.error()));
    return setLocation(context, *entered, std::nullopt);
  });

  auto* clear = location->add_subcommand("clear", "Stop any route or scenario and clear the simulated location");
  clear->footer("--json: {action: \"clear\", simulatorUDID, simulatorName, stdout, stderr}.");
  registry.on(clear, clearLocation);

  auto routeOptions = std::make_shared<RouteOptions>();
  auto* route = location->add_subcommand("route", "Play a GPX route (or a recent one) at a constant speed");
  auto* routeFile = route->add_option("FILE", routeOptions->file, "A GPX 1.0 or 1.1 file with tracks or routes");
  route->add_option("--recent", routeOptions->recent, "Replay a recent route by its id ('orvanta location recents')")
      ->option_text("ID")
      ->excludes(routeFile);
  route->add_option("--speed", routeOptions->speed, "Metres per second, 0.1 to 1000 (default 20, also with --recent)")
      ->option_text("M/S");
  route->footer(
      "simctl starts the route and returns; the simulator then moves on its own at the one speed given, whatever\n"
      "times the file holds. A route needs 2 to 4000 points and must not cross the 180th meridian.\n"
      "Each route played is kept among the recent routes (at most 10).\n"
      "--json: {route: {id, name, sourceFilename}, metrics, speedMetersPerSecond, simulatorUDID, simulatorName,\n"
      "stdout, stderr, activeOperation: {kind: \"route\", name, pointCount, speedMetersPerSecond, simulatorUDID,\n"
      "simulatorName, startedAt}, notes?, recent?, persistenceError?, note}; metrics: {pointCount, segmentCount,\n"
      "first, last, bounds, distanceMeters, segmentGapCount, hasCompleteTimestamps, duration?, timedAverageSpeed?}\n"
      "as for 'orvanta gpx inspect'.");
  registry.on(route, [routeOptions](CommandContext& context) { return playRoute(context, *routeOptions); });

  auto recentsOptions = std::make_shared<RecentsOptions>();
  auto* recentsCommand = location->add_subcommand("recents", "The recently played routes, or remove some");
  auto* removeOption =
      recentsCommand->add_option("--remove", recentsOptions->remove, "Remove this recent route (repeatable)")
          ->option_text("ID");
  recentsCommand->add_flag("--all", recentsOptions->all, "Remove every recent route")->excludes(removeOption);
  recentsCommand->footer(
      "Newest first, at most 10. Removing one deletes its saved points only; GPX files and the simulator are\n"
      "unaffected.\n"
      "--json: an array of {id, name, sourceFilename, pointCount, segmentCount, distanceMeters, speedMetersPerSecond,\n"
      "startedAt, signature}; with --remove or --all: {removed: [...], note}.");
  registry.on(recentsCommand, [recentsOptions](CommandContext& context) { return recents(context, *recentsOptions); });

  auto* historyCommand = location->add_subcommand("history", "The positions set recently, newest first (at most 25)");
  historyCommand->footer("--json: an array of {id, coordinate: {latitude, longitude}, setAt}.");
  registry.on(historyCommand, history);

  auto* presets = location->add_subcommand("presets", "List the location presets; add, rename or remove one");
  presets->footer(
      "At most 100 presets, each with its own coordinates.\n"
      "--json: an array of {id, label, coordinate: {latitude, longitude}}; add, rename and remove print\n"
      "the one preset.");
  registry.on(presets, listPresets);

  auto presetAdd = std::make_shared<std::array<std::string, 3>>();
  auto* add = presets->add_subcommand("add", "Add a preset");
  add->add_option("LABEL", (*presetAdd)[0], "Its name")->required();
  add->add_option("LATITUDE", (*presetAdd)[1], "Degrees, dot-decimal")->required();
  add->add_option("LONGITUDE", (*presetAdd)[2], "Degrees, dot-decimal")->required();
  registry.on(add, [presetAdd](CommandContext& context) -> CommandOutcome {
    auto entered = parseCoordinateEntry((*presetAdd)[1], (*presetAdd)[2]);
    if (!entered) return unexpected(failureOf(entered.error()));
    return reportPreset(context, LocationPresetStore(context.environment.settings()).add((*presetAdd)[0], *entered),
                        "added");
  });

  auto presetRename = std::make_shared<std::array<std::string, 2>>();
  auto* rename = presets->add_subcommand("rename", "Give a preset a new label");
  rename->add_option("LABEL-OR-ID", (*presetRename)[0], "The preset's id, or its exact label")->required();
  rename->add_option("LABEL", (*presetRename)[1], "The new label")->required();
  registry.on(rename, [presetRename](CommandContext& context) -> CommandOutcome {
    auto found = findPreset(context, (*presetRename)[0]);
    if (!found) return unexpected(found.error());
    return reportPreset(context, LocationPresetStore(context.environment.settings()).rename(found->id, (*presetRename)[1]),
                        "renamed");
  });

  auto presetRemove = std::make_shared<std::string>();
  auto* remove = presets->add_subcommand("remove", "Remove a preset");
  remove->add_option("LABEL-OR-ID", *presetRemove, "The preset's id, or its exact label")->required();
  registry.on(remove, [presetRemove](CommandContext& context) -> CommandOutcome {
    auto found = findPreset(context, *presetRemove);
    if (!found) return unexpected(found.error());
    return reportPreset(context, LocationPresetStore(context.environment.settings()).remove(found->id), "removed");
  });

  auto presetChoice = std::make_shared<std::string>();
  auto* preset = location->add_subcommand("preset", "Put the target simulator at a preset's position");
  preset->add_option("LABEL-OR-ID", *presetChoice, "The preset's id, or its exact label")->required();
  preset->footer("--json: as for 'location set', with preset: {id, label, coordinate}.");
  registry.on(preset, [presetChoice](CommandContext& context) { return setPreset(context, *presetChoice); });

  auto* scenarios = location->add_subcommand("scenarios", "The location scenarios the target simulator offers");
  scenarios->footer(
      "--json: {simulatorUDID, simulatorName, scenarios: [{name, summary}], note}. simctl gives names\n"
      "only, so summaries are usually empty.");
  registry.on(scenarios, listScenarios);

  auto scenarioName = std::make_shared<std::string>();
  auto* scenario = location->add_subcommand("scenario", "Run one of the simulator's location scenarios");
  scenario->add_option("NAME", *scenarioName, "Exactly as 'orvanta location scenarios' lists it")->required();
  scenario->footer(
      "simctl starts the scenario and returns; 'orvanta location clear' stops it.\n"
      "--json: {scenario, simulatorUDID, simulatorName, stdout, stderr, activeOperation: {kind: \"scenario\",\n"
      "name, simulatorUDID, simulatorName, startedAt}, note}.");
  registry.on(scenario, [scenarioName](CommandContext& context) { return runScenario(context, *scenarioName); });

  auto* gpx = app.add_subcommand("gpx", "GPX files");
  gpx->require_subcommand(1);
  auto gpxFile = std::make_shared<std::string>();
  auto* inspect = gpx->add_subcommand("inspect", "Read a GPX file as 'location route' would, without a simulator");
  inspect->add_option("FILE", *gpxFile, "A GPX 1.0 or 1.1 file")->required();
  inspect->footer(
      "Prints the route's name, points, segments, distance and bounds; the duration and timed average speed\n"
      "when every point has a time; what was skipped; and whether the route can be played.\n"
      "--json: {name, sourceFilename, metrics: {pointCount, segmentCount, first, last, bounds: {minLatitude,\n"
      "maxLatitude, minLongitude, maxLongitude}, distanceMeters, segmentGapCount, hasCompleteTimestamps, duration?,\n"
      "timedAverageSpeed?}, notes: {ignoredWaypointCount, ignoredRouteCount, unreadableTimestampCount,\n"
      "unreadableElevationCount}, playable, playbackError?: {kind, message}}; first and last are {latitude,\n"
      "longitude, elevation?, timestamp?}, duration in seconds, speeds in metres per second.");
  registry.on(inspect, [gpxFile](CommandContext& context) { return inspectGpx(context, *gpxFile); });
}

}  // namespace orvanta
