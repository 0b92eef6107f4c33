// orvanta workspace save|list|show|delete|rename|export|import|restore
#include <CLI/CLI.hpp>
#include <algorithm>
#include <nlohmann/json.hpp>
#include <ostream>

#include "app/environment.hpp"
#include "app/result_json.hpp"
#include "automation/scenario_library.hpp"
#include "automation/scenario_preflight.hpp"
#include "automation/workspace_plan.hpp"
#include "automation/workspace_store.hpp"
#include "cli/command.hpp"
#include "cli/commands.hpp"
#include "cli/scenario_run.hpp"
#include "cli/target_resolution.hpp"
#include "support/atomic_file.hpp"
#include "support/json_text.hpp"
#include "support/uuid.hpp"
#include "tools/location/location_entry.hpp"

namespace orvanta {
namespace {

using Json = nlohmann::json;
using Entry = WorkspaceStore::Entry;

CommandFailure storeFailure(const WorkspaceStoreError& error) {
  std::vector<std::string> hints;
  if (!error.detail.empty() && error.kind != WorkspaceStoreError::Case::nameTaken) hints.push_back(error.detail);
  return CommandFailure::failure(std::string(error.caseName()), error.description(), std::move(hints));
}

expected<WorkspaceStore, CommandFailure> openStore(CommandContext& context) {
  auto file = WorkspaceStore::defaultFile();
  if (!file) {
    return unexpected(CommandFailure::failure(std::string(file.error().caseName()), file.error().description()));
  }
  auto store = WorkspaceStore::load(*file);
  if (store.recoveryNotice()) context.err << *store.recoveryNotice() << '\n';
  return store;
}

// The entry named by an id (any letter case) or an exact name.
expected<Entry, CommandFailure> findEntry(const WorkspaceStore& store, const std::string& nameOrID) {
  const auto id = parseUUID(nameOrID);
  for (const auto& entry : store.entries) {
    if (id && entry.id() == *id) return entry;
  }
  for (const auto& entry : store.entries) {
    if (entry.readable() && entry.record.name == nameOrID) return entry;
  }
  return unexpected(CommandFailure::failure(
      "notFound", WorkspaceStoreError::of(WorkspaceStoreError::Case::notFound).description(),
      {"See 'orvanta workspace list'."}));
}

expected<Workspace, CommandFailure> findWorkspace(const WorkspaceStore& store, const std::string& nameOrID) {
  auto entry = findEntry(store, nameOrID);
  if (!entry) return unexpected(entry.error());
  if (!entry->readable()) return unexpected(CommandFailure::failure("unsupportedSchemaVersion", entry->message()));
  return entry->record;
}

// The scenario ids that `pins` name (ids or exact names of readable scenarios), in order, without repeats.
expected<std::vector<std::string>, CommandFailure> resolvePins(CommandContext& context,
                                                               const std::vector<std::string>& pins) {
  std::vector<std::string> ids;
  if (pins.empty()) return ids;
  auto file = ScenarioLibrary::defaultFile();
  if (!file) {
    return unexpected(CommandFailure::failure(std::string(file.error().caseName()), file.error().description()));
  }
  const auto library = ScenarioLibrary::load(*file);
  for (const auto& pin : pins) {
    const auto id = parseUUID(pin);
    auto found = std::find_if(library.entries.begin(), library.entries.end(), [&](const ScenarioLibrary::Entry& entry) {
      return entry.readable() && ((id && entry.id() == *id) || entry.record.name == pin);
    });
    if (found == library.entries.end()) {
      return unexpected(CommandFailure::failure("scenarioNotFound", "There is no scenario \"" + pin + "\" to pin.",
                                                {"See 'orvanta scenario list'."}));
    }
    if (std::find(ids.begin(), ids.end(), found->id()) == ids.end()) ids.push_back(found->id());
  }
  (void)context;
  return ids;
}

// "dark, increased contrast off, text size large, status bar 9:41 ..., location 48.1, 11.5"
CommandOutcome saveWorkspace(CommandContext& context, const std::string& name, const std::optional<std::string>& app,
                             const std::vector<std::string>& pins) {
  auto device = requireSelectedTarget(context);
  if (!device) return unexpected(device.error());
  auto pinned = resolvePins(context, pins);
  if (!pinned) return unexpected(pinned.error());
  auto store = openStore(context);
  if (!store) return unexpected(store.error());
  if (store->nameTaken(name)) return unexpected(storeFailure(WorkspaceStoreError::of(WorkspaceStoreError::Case::nameTaken, name)));
  auto state = captureWorkspaceState(context.environment.simctl(), *device, context.environment.settings(), context.stop);
  if (!state) {
    if (context.stop.stop_requested()) return unexpected(CommandFailure::interrupted());
    return unexpected(CommandFailure::failure("stateUnreadable", state.error()));
  }
  Workspace workspace;
  workspace.id = makeUUID();
  workspace.name = name;
  workspace.simulator = workspaceSimulator(*device);
  workspace.bundleIdentifier = app;
  workspace.state = std::move(*state);
  workspace.pinnedScenarioIDs = std::move(*pinned);
  workspace.createdAt = workspace.updatedAt = std::chrono::system_clock::now();
  auto saved = store->add(workspace, NameClash::refuse);
  if (!saved) return unexpected(storeFailure(saved.error()));
  if (context.options.json) {
    context.emitJson(workspaceJson(*saved));
    return {};
  }
  context.out << "Saved workspace \"" << saved->name << "\" from " << saved->simulator.name << "  " << saved->id << '\n';
  for (const auto& line : workspaceStateLines(saved->state)) context.out << "  " << line << '\n';
  return {};
}

CommandOutcome listWorkspaces(CommandContext& context) {
  auto store = openStore(context);
  if (!store) return unexpected(store.error());
  if (context.options.json) {
    Json array = Json::array();
    for (const auto& entry : store->entries) {
      Json item = {{"id", entry.id()}, {"supported", entry.readable()}};
      if (entry.readable()) {
        item["name"] = entry.record.name;
        item["simulatorName"] = entry.record.simulator.name;
        item["simulatorUDID"] = entry.record.simulator.udid;
        if (entry.record.bundleIdentifier) item["bundleIdentifier"] = *entry.record.bundleIdentifier;
      } else {
        item["schemaVersion"] = entry.schemaVersion;
        item["message"] = entry.message();
      }
      array.push_back(std::move(item));
    }
    context.emitJson(array);
    return {};
  }
  if (store->entries.empty()) {
    context.out << "No workspaces yet. Save the target's setup with 'orvanta workspace save NAME'.\n";
    return {};
  }
  for (const auto& entry : store->entries) {
    if (!entry.readable()) {
      context.out << entry.id() << "  " << entry.message() << '\n';
      continue;
    }
    context.out << entry.record.name << "  (" << entry.record.simulator.name
                << (entry.record.bundleIdentifier ? ", " + *entry.record.bundleIdentifier : std::string()) << ")  "
                << entry.id() << '\n';
  }
  return {};
}

CommandOutcome showWorkspace(CommandContext& context, const std::string& nameOrID) {
  auto store = openStore(context);
  if (!store) return unexpected(store.error());
  auto entry = findEntry(*store, nameOrID);
  if (!entry) return unexpected(entry.error());
  if (!entry->readable()) {
    if (context.options.json) {
      context.emitJson(store->item(*entry).value_or(Json::object()));
    } else {
      context.out << entry->id() << '\n' << entry->message() << '\n';
    }
    return {};
  }
  const auto& workspace = entry->record;
  if (context.options.json) {
    context.emitJson(workspaceJson(workspace));
    return {};
  }
  context.out << workspace.name << "  " << workspace.id << '\n';
  // Pinned actions come first, as in the panel.
  if (!workspace.pinnedScenarioIDs.empty()) {
    context.out << "Pinned scenarios:\n";
    std::optional<ScenarioLibrary> library;
    if (auto file = ScenarioLibrary::defaultFile()) library = ScenarioLibrary::load(*file);
    for (const auto& id : workspace.pinnedScenarioIDs) {
      const ScenarioDefinition* scenario = library ? library->lookup(id) : nullptr;
      context.out << "  " << (scenario != nullptr ? scenario->name : "(no longer in the library)") << "  " << id
                  << '\n';
    }
  }
  const auto& simulator = workspace.simulator;
  context.out << "Simulator: " << simulator.name << "  " << simulator.udid << '\n'
              << "  " << simulator.deviceTypeIdentifier << ", " << simulator.runtimeIdentifier << '\n';
  if (workspace.bundleIdentifier) context.out << "App: " << *workspace.bundleIdentifier << '\n';
  for (const auto& line : workspaceStateLines(workspace.state)) context.out << line << '\n';
  return {};
}

CommandOutcome importWorkspaces(CommandContext& context, const std::string& source) {
  auto read = context.readImportedItems(source);
  if (!read) return unexpected(read.error());
  const Json items = std::move(*read);
  auto imports = importItemsOf<WorkspaceStoreTraits>(items, "workspace", decodeWorkspace);
  if (!imports) return unexpected(CommandFailure::failure("invalidWorkspace", imports.error()));
  auto store = openStore(context);
  if (!store) return unexpected(store.error());
  auto added = store->addItems(*imports);
  if (!added) return unexpected(storeFailure(added.error()));
  if (context.options.json) {
    Json array = Json::array();
    for (const auto& entry : *added) {
      array.push_back(entry.readable() ? workspaceJson(entry.record) : store->item(entry).value_or(Json::object()));
    }
    context.emitJson({{"imported", array}});
    return {};
  }
  for (const auto& entry : *added) {
    if (entry.readable()) {
      context.out << "Imported \"" << entry.record.name << "\"  " << entry.id() << '\n';
    } else {
      context.out << "Kept " << entry.id() << " as it is: " << entry.message() << '\n';
    }
  }
  if (added->size() < imports->size()) {
    context.out << (imports->size() - added->size()) << " item(s) left out: their id is already in the store.\n";
  }
  return {};
}

CommandOutcome exportWorkspace(CommandContext& context, const std::string& nameOrID, const std::string& file) {
  auto store = openStore(context);
  if (!store) return unexpected(store.error());
  auto entry = findEntry(*store, nameOrID);
  if (!entry) return unexpected(entry.error());
  auto item = store->item(*entry);
  if (!item) return unexpected(storeFailure(item.error()));
  return context.writeExportedItem(file, *item, entry->id());
}

CommandOutcome changeStore(
    CommandContext& context, const std::string& nameOrID, const std::string& verb,
    const std::function<expected<std::string, WorkspaceStoreError>(WorkspaceStore&, const Entry&)>& change) {
  auto store = openStore(context);
  if (!store) return unexpected(store.error());
  auto entry = findEntry(*store, nameOrID);
  if (!entry) return unexpected(entry.error());
  auto done = change(*store, *entry);
  if (!done) return unexpected(storeFailure(done.error()));
  if (context.options.json) {
    context.emitJson({{"action", verb}, {"id", entry->id()}, {"result", *done}});
  } else {
    context.out << *done << '\n';
  }
  return {};
}

CommandOutcome restoreWorkspace(CommandContext& context, const std::string& nameOrID, const std::string& junit) {
  auto store = openStore(context);
  if (!store) return unexpected(store.error());
  auto workspace = findWorkspace(*store, nameOrID);
  if (!workspace) return unexpected(workspace.error());

  auto devices = context.environment.simctl().listDevices(context.stop);
  if (!devices) {
    if (context.stop.stop_requested()) return unexpected(CommandFailure::interrupted());
    return unexpected(failureFrom(devices.error()));
  }
  // The saved simulator, or the one --device names instead.
  SimulatorDevice device;
  if (context.options.device) {
    auto named = findListedDevice(*devices, *context.options.device);
    if (!named) return unexpected(named.error());
    device = *named;
  } else {
    const auto* saved = workspaceSavedDevice(workspace->simulator, *devices);
    if (saved == nullptr) {
      std::vector<std::string> hints;
      for (const auto& standIn : workspaceStandIns(workspace->simulator, *devices)) {
        hints.push_back("To restore onto \"" + standIn.name + "\" of the same kind: orvanta --device " + standIn.udid +
                        " workspace restore " + workspace->id);
      }
      if (hints.empty()) hints.push_back("Name another simulator with --device UDID-OR-NAME.");
      return unexpected(
          CommandFailure::failure("simulatorNotFound", workspaceSimulatorGoneText(workspace->simulator), hints));
    }
    device = *saved;
  }

  const auto scenario = workspaceRestoreScenario(*workspace, device.state == SimulatorState::booted);
  ScenarioSelection selection;
  selection.simulator = device.udid;
  selection.bundleIdentifier = workspace->bundleIdentifier;
  ScenarioPreflight preflight(context.environment.simctl(), context.environment.recentRoutes());
  auto plan = acceptPreflight(context, preflight.check(scenario, selection, context.stop), workspace->name,
                              !context.options.json, "Restore Workspace");
  if (!plan) return unexpected(plan.error());
  return confirmAndExecute(context, *plan, junit, gate_labels::workspaceRestore);
}

}  // namespace

void registerWorkspaceCommands(CLI::App& app, CommandRegistry& registry) {
  auto* workspace = app.add_subcommand("workspace", "Save a simulator's whole setup and bring it back in one step");
  workspace->require_subcommand(1);
  workspace->footer(
      "A workspace remembers a simulator (udid, name, device type and runtime), an app, the device state that\n"
      "can be read back (appearance, increased contrast, text size, status-bar overrides, the last location set\n"
      "through Orvanta) and pinned scenarios. Workspaces live in Workspaces/workspaces.json in the\n"
      "application-support folder. NAME-OR-ID is a workspace's id or its exact name.\n"
      "Example: orvanta workspace save \"Checkout dark\" --app com.example.cafe --pin \"Smoke test\"\n"
      "         orvanta --yes workspace restore \"Checkout dark\"");

  auto nameOrID = std::make_shared<std::string>();
  auto argument = std::make_shared<std::string>();

  struct SaveOptions {
    std::string name;
    std::optional<std::string> app;
    std::vector<std::string> pins;
  };
  auto saveOptions = std::make_shared<SaveOptions>();
  auto* save = workspace->add_subcommand("save", "Save the target simulator's current setup under a new name");
  save->add_option("NAME", saveOptions->name, "A name no other workspace has")->required();
  save->add_option("--app", saveOptions->app, "The app to launch when the workspace is restored")
      ->option_text("BUNDLE-ID");
  save->add_option("--pin", saveOptions->pins, "A scenario (id or exact name) to pin; repeat for more")
      ->option_text("SCENARIO");
  save->footer(
      "Reads the target's appearance, increased contrast, text size and status bar with the same queries as\n"
      "'orvanta ui' and 'orvanta status-bar show', and takes the newest location of 'orvanta location recents'.\n"
      "The target must be booted. A name that is taken is refused.\n"
      "--json: the saved workspace (as 'workspace show --json').");
  registry.on(save, [saveOptions](CommandContext& context) {
    return saveWorkspace(context, saveOptions->name, saveOptions->app, saveOptions->pins);
  });

  auto* list = workspace->add_subcommand("list", "The saved workspaces, in order");
  list->footer(
      "--json: an array of {id, supported, name?, simulatorName?, simulatorUDID?, bundleIdentifier?,\n"
      "schemaVersion?, message?}; supported is false for a workspace saved by a newer Orvanta.");
  registry.on(list, listWorkspaces);

  auto* show = workspace->add_subcommand("show", "A workspace: pinned scenarios first, then what it restores");
  show->add_option("NAME-OR-ID", *nameOrID)->required();
  show->footer(
      "--json: the workspace with the key names of the store file: {id, schemaVersion, name, createdAt, updatedAt,\n"
      "simulator: {udid, name, deviceTypeIdentifier, runtimeIdentifier}, bundleIdentifier?, state: {appearance?,\n"
      "increasedContrast?, contentSize?, statusBarOverride?, location?}, pinnedScenarioIDs}; dates as RFC 3339.");
  registry.on(show, [nameOrID](CommandContext& context) { return showWorkspace(context, *nameOrID); });

  auto* remove = workspace->add_subcommand("delete", "Remove a workspace");
  remove->add_option("NAME-OR-ID", *nameOrID)->required();
  remove->footer("--json: {action, id, result}.");
  registry.on(remove, [nameOrID](CommandContext& context) {
    return changeStore(context, *nameOrID, "delete",
                       [](WorkspaceStore& store, const Entry& entry) -> expected<std::string, WorkspaceStoreError> {
                         if (auto done = store.remove(entry.id()); !done) return unexpected(done.error());
                         return "Deleted " + entry.id();
                       });
  });

  auto* rename = workspace->add_subcommand("rename", "Give a workspace a new name");
  rename->add_option("NAME-OR-ID", *nameOrID)->required();
  rename->add_option("NEW-NAME", *argument)->required();
  rename->footer("A name another workspace has is refused.\n--json: {action, id, result}.");
  registry.on(rename, [nameOrID, argument](CommandContext& context) {
    return changeStore(
        context, *nameOrID, "rename",
        [argument](WorkspaceStore& store, const Entry& entry) -> expected<std::string, WorkspaceStoreError> {
          if (!entry.readable()) return unexpected(WorkspaceStoreError::of(WorkspaceStoreError::Case::notFound));
          auto renamed = entry.record;
          renamed.name = *argument;
          auto done = store.update(renamed);
          if (!done) return unexpected(done.error());
          return "Renamed to \"" + done->name + "\"";
        });
  });

  auto* exportCommand = workspace->add_subcommand("export", "Write a workspace as a store file");
  exportCommand->add_option("NAME-OR-ID", *nameOrID)->required();
  exportCommand->add_option("FILE", *argument, "Where to write it (default: standard output)");
  exportCommand->footer("The file can be imported on another computer.\n--json (with FILE): {path, id}.");
  registry.on(exportCommand,
              [nameOrID, argument](CommandContext& context) { return exportWorkspace(context, *nameOrID, *argument); });

  auto* import = workspace->add_subcommand("import", "Add the workspaces of a file (the store's item format)");
  import->add_option("FILE", *argument, "A workspace, an array of them, or a whole store file; - reads stdin")
      ->required();
  import->footer(
      "A name that is taken gets \" 2\" (\" 3\", ...); an id that is taken gets a new one. An item whose\n"
      "schemaVersion is not 1 is kept as it is, listed as unsupported.\n"
      "--json: {imported: [workspace...]}.");
  registry.on(import, [argument](CommandContext& context) { return importWorkspaces(context, *argument); });

  auto junit = std::make_shared<std::string>();
  auto* restore = workspace->add_subcommand("restore", "Bring a saved setup back: boot, apply each value, launch");
  restore->add_option("NAME-OR-ID", *nameOrID)->required();
  restore->add_option("--junit", *junit, "Also write the step results as a JUnit XML report")->option_text("FILE");
  restore->footer(
      "Restores onto the saved simulator (or the one --device names): boots it when it is shut down, sets the\n"
      "appearance, increased contrast, text size, status bar and location, reading each back, then launches the\n"
      "app. The steps are checked and confirmed like 'orvanta scenario run' (--yes to skip; refused without a\n"
      "terminal); a failure stops the rest; Ctrl-C cancels before the next step (exit 130).\n"
      "--json: {summary, stepResults: [{id, title, startedAt?, duration?, outcome, message?}]}.");
  registry.on(restore,
              [nameOrID, junit](CommandContext& context) { return restoreWorkspace(context, *nameOrID, *junit); });
}

}  // namespace orvanta
