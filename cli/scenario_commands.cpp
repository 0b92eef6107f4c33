// orvanta scenario list|show|import|export|duplicate|delete|rename|move|check|run
#include <fmt/format.h>
#include <CLI/CLI.hpp>
#include <algorithm>
#include <cmath>
#include <fstream>
#include <iterator>
#include <nlohmann/json.hpp>
#include <ostream>

#include "app/result_json.hpp"
#include "cli/command.hpp"
#include "cli/commands.hpp"
#include "cli/scenario_run.hpp"
#include "app/environment.hpp"
#include "automation/scenario_executor.hpp"
#include "automation/scenario_junit.hpp"
#include "automation/scenario_library.hpp"
#include "automation/scenario_preflight.hpp"
#include "support/atomic_file.hpp"
#include "support/json_text.hpp"
#include "support/reference_date.hpp"
#include "support/uuid.hpp"

namespace orvanta {
namespace {

using Json = nlohmann::json;
using Entry = ScenarioLibrary::Entry;

CommandFailure libraryFailure(const ScenarioLibraryError& error) {
  std::vector<std::string> hints;
  if (!error.detail.empty()) hints.push_back(error.detail);
  return CommandFailure::failure(std::string(error.caseName()), error.description(), std::move(hints));
}

expected<ScenarioLibrary, CommandFailure> openLibrary(CommandContext& context) {
  auto file = ScenarioLibrary::defaultFile();
  if (!file)
    return unexpected(CommandFailure::failure(std::string(file.error().caseName()), file.error().description()));
  auto library = ScenarioLibrary::load(*file);
  if (library.recoveryNotice()) context.err << *library.recoveryNotice() << '\n';
  return library;
}

// The entry named by an id (any letter case), a 1-based position, or an exact name.
expected<Entry, CommandFailure> findEntry(const ScenarioLibrary& library, const std::string& nameOrID) {
  const auto id = parseUUID(nameOrID);
  std::vector<const Entry*> named;
  for (const auto& entry : library.entries) {
    if (id && entry.id() == *id) return entry;
    if (entry.kind == Entry::Case::record && entry.record.name == nameOrID) named.push_back(&entry);
  }
  if (named.size() == 1) return *named.front();
  if (named.size() > 1) {
    return unexpected(CommandFailure::usage("Several scenarios are named \"" + nameOrID + "\".",
                                            {"Name one by its id (see 'orvanta scenario list')."}));
  }
  return unexpected(
      CommandFailure::failure("notFound", ScenarioLibraryError::of(ScenarioLibraryError::Case::notFound).description(),
                              {"See 'orvanta scenario list'."}));
}

expected<ScenarioDefinition, CommandFailure> findScenario(const ScenarioLibrary& library, const std::string& nameOrID) {
  auto entry = findEntry(library, nameOrID);
  if (!entry) return unexpected(entry.error());
  if (entry->kind == Entry::Case::unsupportedFormat) {
    return unexpected(
        CommandFailure::failure("unsupportedSchemaVersion", entry->message()));
  }
  return entry->record;
}

Json entryJson(const ScenarioLibrary& library, const Entry& entry) {
  if (entry.kind == Entry::Case::unsupportedFormat) {
    return {{"id", entry.id()},
            {"schemaVersion", entry.schemaVersion},
            {"supported", false},
            {"message", entry.message()},
            {"item", library.preservedRawItems.count(entry.id()) ? library.preservedRawItems.at(entry.id()) : Json()}};
  }
  auto json = scenarioJson(entry.record);
  json["supported"] = true;
  return json;
}

CommandOutcome listScenarios(CommandContext& context) {
  auto library = openLibrary(context);
  if (!library) return unexpected(library.error());
  if (context.options.json) {
    context.emitJson(scenarioListJson(*library));
    return {};
  }
  if (library->entries.empty()) {
    context.out << "No scenarios yet. Import one with 'orvanta scenario import FILE'.\n";
    return {};
  }
  std::size_t position = 1;
  for (const auto& entry : library->entries) {
    context.out << position++ << ". ";
    if (entry.kind == Entry::Case::record) {
      const auto count = entry.record.steps.size();
      context.out << entry.record.name << "  (" << count << (count == 1 ? " step)  " : " steps)  ") << entry.id()
                  << '\n';
    } else {
      context.out << entry.id() << "  " << entry.message() << '\n';
    }
  }
  return {};
}

CommandOutcome showScenario(CommandContext& context, const std::string& nameOrID) {
  auto library = openLibrary(context);
  if (!library) return unexpected(library.error());
  auto entry = findEntry(*library, nameOrID);
  if (!entry) return unexpected(entry.error());
  if (context.options.json) {
    context.emitJson(entryJson(*library, *entry));
    return {};
  }
  if (entry->kind == Entry::Case::unsupportedFormat) {
    context.out << entry->id() << '\n' << entry->message() << '\n';
    return {};
  }
  const auto& scenario = entry->record;
  context.out << scenario.name << "  " << scenario.id << '\n';
  if (scenario.description) context.out << *scenario.description << '\n';
  std::size_t number = 1;
  for (const auto& step : scenario.steps) context.out << "  " << number++ << ". " << step.kind.title() << '\n';
  return {};
}

CommandOutcome importScenarios(CommandContext& context, const std::string& source) {
  auto read = context.readImportedItems(source);
  if (!read) return unexpected(read.error());
  const Json items = std::move(*read);
  auto imports = scenarioImportItems(items, std::chrono::system_clock::now());
  if (!imports) return unexpected(CommandFailure::failure("invalidScenario", imports.error()));
  auto library = openLibrary(context);
  if (!library) return unexpected(library.error());
  auto added = library->addItems(*imports);
  if (!added) return unexpected(libraryFailure(added.error()));
  if (context.options.json) {
    Json array = Json::array();
    for (const auto& entry : *added) array.push_back(entryJson(*library, entry));
    context.emitJson({{"imported", array}});
    return {};
  }
  for (const auto& entry : *added) {
    if (entry.kind == Entry::Case::record) {
      context.out << "Imported \"" << entry.record.name << "\" (" << entry.record.steps.size() << " steps)  "
                  << entry.id() << '\n';
    } else {
      context.out << "Kept " << entry.id() << " as it is: " << entry.message()
                  << '\n';
    }
  }
  if (added->size() < imports->size()) {
    context.out << (imports->size() - added->size()) << " item(s) left out: their id is already in the library.\n";
  }
  return {};
}

CommandOutcome exportScenario(CommandContext& context, const std::string& nameOrID, const std::string& file) {
  auto library = openLibrary(context);
  if (!library) return unexpected(library.error());
  auto entry = findEntry(*library, nameOrID);
  if (!entry) return unexpected(entry.error());
  auto item = library->item(*entry);
  if (!item) return unexpected(CommandFailure::failure(std::string(item.error().caseName()), item.error().description()));
  return context.writeExportedItem(file, *item, entry->id());
}

CommandOutcome changeLibrary(
    CommandContext& context, const std::string& nameOrID, const std::string& verb,
    const std::function<expected<std::string, ScenarioLibraryError>(ScenarioLibrary&, const Entry&)>& change,
    const std::shared_ptr<Json>& members = nullptr) {
  auto library = openLibrary(context);
  if (!library) return unexpected(library.error());
  auto entry = findEntry(*library, nameOrID);
  if (!entry) return unexpected(entry.error());
  auto done = change(*library, *entry);
  if (!done) return unexpected(libraryFailure(done.error()));
  if (context.options.json) {
    Json document = {{"action", verb}, {"id", entry->id()}, {"result", *done}};
    if (members) document.update(*members);
    context.emitJson(document);
  } else {
    context.out << *done << '\n';
  }
  return {};
}

// ---- check and run -------------------------------------------------------------------------------------

struct RunOptions {
  std::string nameOrID;
  std::optional<std::string> app;
  std::string junit;
};

expected<ScenarioExecutionPlan, CommandFailure> preflightFor(CommandContext& context, const RunOptions& options,
                                                             bool printPlan) {
  auto library = openLibrary(context);
  if (!library) return unexpected(library.error());
  auto scenario = findScenario(*library, options.nameOrID);
  if (!scenario) {
    // A scenario that cannot run at all is one issue like any other, for scripts that read the issues.
    auto failure = scenario.error();
    if (failure.kind == CommandFailure::Kind::failed) {
      failure.details =
          std::make_shared<const Json>(Json{{"issues", Json::array({{{"kind", failure.caseName}, {"message", failure.message}}})}});
    }
    return unexpected(std::move(failure));
  }
  ScenarioSelection selection;
  selection.bundleIdentifier = options.app;
  if (context.options.device) {
    selection.simulator = context.options.device;
  } else if (auto remembered = context.environment.selection().selectedUDID(); remembered && *remembered) {
    selection.simulator = **remembered;
  }
  auto routeLibrary = context.environment.recentRoutes();
  ScenarioPreflight preflight(context.environment.simctl(), routeLibrary);
  return acceptPreflight(context, preflight.check(*scenario, selection, context.stop), scenario->name, printPlan,
                         "Run Scenario");
}

CommandOutcome checkScenario(CommandContext& context, const RunOptions& options) {
  auto plan = preflightFor(context, options, true);
  if (!plan) return unexpected(plan.error());
  return {};
}

CommandOutcome runScenario(CommandContext& context, const RunOptions& options) {
  auto plan = preflightFor(context, options, !context.options.json);
  if (!plan) return unexpected(plan.error());
  return confirmAndExecute(context, *plan, options.junit, gate_labels::scenario);
}

}  // namespace

void registerScenarioCommands(CLI::App& app, CommandRegistry& registry) {
  auto* scenario = app.add_subcommand("scenario", "Saved sequences of simulator actions: keep, check and run them");
  scenario->require_subcommand(1);
  scenario->footer(
      "Scenarios live in Scenarios/scenarios.json in the application-support folder. NAME-OR-ID is a\n"
      "scenario's id or its exact name. Examples: examples/scenarios/*.json.");

  auto nameOrID = std::make_shared<std::string>();
  auto argument = std::make_shared<std::string>();
  auto runOptions = std::make_shared<RunOptions>();

  auto* list = scenario->add_subcommand("list", "The saved scenarios, in order");
  list->footer("--json: an array of {id, supported, name?, stepCount?, schemaVersion?}.");
  registry.on(list, listScenarios);

  auto* show = scenario->add_subcommand("show", "A scenario's steps");
  show->add_option("NAME-OR-ID", *nameOrID)->required();
  show->footer("--json: the scenario as the library stores it, with \"supported\".");
  registry.on(show, [nameOrID](CommandContext& context) { return showScenario(context, *nameOrID); });

  auto* import = scenario->add_subcommand("import", "Add the scenarios of a file (the library's item format)");
  import->add_option("FILE", *argument, "A scenario, an array of them, or a whole library file; - reads stdin")
      ->required();
  import->footer(
      "Ids and dates may be left out (they are made). An item whose schemaVersion is not 1 is kept as it is,\n"
      "listed as unsupported. A scenario whose id is already in the library gets a new one.\n"
      "--json: {imported: [scenario...]}.");
  registry.on(import, [argument](CommandContext& context) { return importScenarios(context, *argument); });

  auto* exportCommand = scenario->add_subcommand("export", "Write a scenario as a library file");
  exportCommand->add_option("NAME-OR-ID", *nameOrID)->required();
  exportCommand->add_option("FILE", *argument, "Where to write it (default: standard output)");
  exportCommand->footer("--json (with FILE): {path, id}.");
  registry.on(exportCommand,
              [nameOrID, argument](CommandContext& context) { return exportScenario(context, *nameOrID, *argument); });

  auto* duplicate = scenario->add_subcommand("duplicate", "Copy a scenario (\" Copy\" is added to its name)");
  duplicate->add_option("NAME-OR-ID", *nameOrID)->required();
  duplicate->footer("--json: {action, id, result, newID, newName}.");
  registry.on(duplicate, [nameOrID](CommandContext& context) {
    auto members = std::make_shared<Json>(Json::object());
    return changeLibrary(
        context, *nameOrID, "duplicate",
        [members](ScenarioLibrary& library, const Entry& entry) -> expected<std::string, ScenarioLibraryError> {
          auto copy = library.duplicate(entry.id());
          if (!copy) return unexpected(copy.error());
          (*members)["newID"] = copy->id;
          (*members)["newName"] = copy->name;
          return "Created \"" + copy->name + "\"  " + copy->id;
        },
        members);
  });

  auto* remove = scenario->add_subcommand("delete", "Remove a scenario");
  remove->add_option("NAME-OR-ID", *nameOrID)->required();
  remove->footer("--json: {action, id, result}.");
  registry.on(remove, [nameOrID](CommandContext& context) {
    return changeLibrary(
        context, *nameOrID, "delete",
        [](ScenarioLibrary& library, const Entry& entry) -> expected<std::string, ScenarioLibraryError> {
          if (auto done = library.remove(entry.id()); !done) return unexpected(done.error());
          return "Deleted " + entry.id();
        });
  });

  auto* rename = scenario->add_subcommand("rename", "Give a scenario a new name");
  rename->add_option("NAME-OR-ID", *nameOrID)->required();
  rename->add_option("NEW-NAME", *argument)->required();
  rename->footer("--json: {action, id, result}.");
  registry.on(rename, [nameOrID, argument](CommandContext& context) {
    return changeLibrary(
        context, *nameOrID, "rename",
        [argument](ScenarioLibrary& library, const Entry& entry) -> expected<std::string, ScenarioLibraryError> {
          if (entry.kind != Entry::Case::record)
            return unexpected(ScenarioLibraryError::of(ScenarioLibraryError::Case::notFound));
          auto renamed = entry.record;
          renamed.name = *argument;
          auto done = library.update(renamed);
          if (!done) return unexpected(done.error());
          return "Renamed to \"" + done->name + "\"";
        });
  });

  auto position = std::make_shared<std::size_t>(1);
  auto* move = scenario->add_subcommand("move", "Move a scenario to another position (1 is first)");
  move->add_option("NAME-OR-ID", *nameOrID)->required();
  move->add_option("POSITION", *position, "The new position, 1 for the first")
      ->required()
      ->check(CLI::Validator(
          [](const std::string& text) {
            return text.find_first_not_of("0123456789") == std::string::npos && !text.empty() &&
                           text.find_first_not_of('0') != std::string::npos
                       ? std::string()
                       : std::string("POSITION must be a whole number from 1 (the first place)");
          },
          "1..", "position"));
  move->footer("--json: {action, id, result}.");
  registry.on(move, [nameOrID, position](CommandContext& context) {
    return changeLibrary(
        context, *nameOrID, "move",
        [position](ScenarioLibrary& library, const Entry& entry) -> expected<std::string, ScenarioLibraryError> {
          std::vector<std::string> ids;
          for (const auto& each : library.entries) {
            if (each.id() != entry.id()) ids.push_back(each.id());
          }
          const auto at = std::min(*position - 1, ids.size());
          ids.insert(ids.begin() + static_cast<std::ptrdiff_t>(at), entry.id());
          if (auto done = library.reorder(ids); !done) return unexpected(done.error());
          return "Moved to position " + std::to_string(at + 1);
        });
  });

  auto* check = scenario->add_subcommand("check", "Preflight: the confirmation text, or the issues that block a run");
  check->add_option("NAME-OR-ID", runOptions->nameOrID)->required();
  check->add_option("--app", runOptions->app, "The app for app steps")->option_text("BUNDLE-ID");
  check->footer(
      "Checks the scenario against a fresh device list, the app's installation and each step's own rules.\n"
      "Blocking issues exit 1.\n"
      "--json: {issues: [{kind, message, stepID?}]} or {plan, confirmation: {title, confirmButtonTitle, target,\n"
      "stepLines, destructiveNotes, note}}.");
  registry.on(check, [runOptions](CommandContext& context) { return checkScenario(context, *runOptions); });

  auto* run = scenario->add_subcommand("run", "Preflight, confirm and run a scenario step by step");
  run->add_option("NAME-OR-ID", runOptions->nameOrID)->required();
  run->add_option("--app", runOptions->app, "The app for app steps")->option_text("BUNDLE-ID");
  run->add_option("--junit", runOptions->junit, "Also write the step results as a JUnit XML report")
      ->option_text("FILE");
  run->footer(
      "Asks for confirmation (--yes to skip; refused without a terminal). Steps run in order; a failure stops\n"
      "the rest. Exit 0 only when every step succeeded; Ctrl-C cancels before the next step (exit 130).\n"
      "--json: {summary, stepResults: [{id, title, startedAt?, duration?, outcome, message?}]}; outcome is one of\n"
      "succeeded, partial, failed, pending, running, notRun, cancelled.");
  registry.on(run, [runOptions](CommandContext& context) { return runScenario(context, *runOptions); });
}

}  // namespace orvanta
