// orvanta data path|ls|pull|push|rm|inspect|sql|reset|snapshot
//
// PATH arguments are relative to the app's data container, or to a group's container with --group. Each
// command resolves the target, calls one app data service and prints what it returns.
#include <CLI/CLI.hpp>
#include <algorithm>
#include <cmath>
#include <fmt/format.h>
#include <nlohmann/json.hpp>
#include <ostream>
#include <variant>

#include "cli/app_data_session.hpp"
#include "cli/commands.hpp"
#include "app/environment.hpp"
#include "app/questions.hpp"
#include "apps/simulator_app_service.hpp"
#include "automation/app_data_reset_service.hpp"
#include "support/app_paths.hpp"
#include "support/number_text.hpp"
#include "support/reference_date.hpp"
#include "tools/app_data/app_container_service.hpp"
#include "tools/app_data/app_data_snapshot_service.hpp"
#include "tools/app_data/app_file_browser_service.hpp"
#include "tools/app_data/data_file_service.hpp"
#include "tools/app_data/structured_document.hpp"

namespace orvanta {
namespace {

using Json = nlohmann::json;
namespace fs = std::filesystem;

// What the data commands take; one set shared by the subcommands (only one runs).
struct DataArguments {
  std::string bundleIdentifier;
  std::string path;
  std::string destination;
  std::string source;
  std::string query;
  std::string which = "data";
  std::string name;
  std::optional<std::string> group;
  std::optional<std::string> app;
  bool recursive = false;
  bool permissions = false;
  std::size_t limit = 1000;
};

// The container that PATH arguments are relative to: the data container, or the group's.
expected<fs::path, CommandFailure> containerOf(AppDataSession& session, const DataArguments& arguments) {
  AppContainerService containers(session.context().environment.simctl());
  auto container = containers.dataContainer(session.udid(), arguments.bundleIdentifier, arguments.group,
                                            session.context().stop);
  if (!container) return unexpected(session.failure(container.error()));
  return std::move(*container);
}

Json transferJson(const AppFileTransfer& transfer) {
  return {{"path", jsonText(transfer.path.string())},
          {"fileCount", transfer.count.files},
          {"folderCount", transfer.count.folders},
          {"byteCount", transfer.count.bytes},
          {"skipped", transfer.count.skipped}};
}

std::string transferSummary(const AppFileTransfer& transfer) {
  std::string text = fmt::format("{} file{}, {}", transfer.count.files, transfer.count.files == 1 ? "" : "s",
                                 byteCountText(transfer.count.bytes));
  if (transfer.count.skipped > 0) text += fmt::format("; {} links or special files skipped", transfer.count.skipped);
  return text;
}

CommandOutcome showPath(CommandContext& context, const DataArguments& arguments) {
  AppDataSession session(context);
  if (auto resolved = session.resolve(); !resolved) return resolved;
  AppContainerService containers(context.environment.simctl());
  if (arguments.which == "groups") {
    auto groups = containers.groupContainers(session.udid(), arguments.bundleIdentifier, context.stop);
    if (!groups) return unexpected(session.failure(groups.error()));
    if (context.options.json) {
      Json list = Json::array();
      for (const auto& group : *groups) {
        list.push_back({{"identifier", jsonText(group.identifier)}, {"path", jsonText(group.path.string())}});
      }
      context.emitJson({{"bundleIdentifier", arguments.bundleIdentifier}, {"simulatorUDID", session.udid()}, {"groups", list}});
    } else {
      for (const auto& group : *groups) {
        context.out << escapedForTerminal(group.identifier) << '\t' << escapedForTerminal(group.path.string()) << '\n';
      }
    }
    return {};
  }
  auto path = containers.container(session.udid(), arguments.bundleIdentifier, arguments.which, context.stop);
  if (!path) return unexpected(session.failure(path.error()));
  if (context.options.json) {
    context.emitJson({{"bundleIdentifier", arguments.bundleIdentifier},
                      {"simulatorUDID", session.udid()},
                      {"container", arguments.which},
                      {"path", jsonText(path->string())}});
  } else {
    context.out << escapedForTerminal(path->string()) << '\n';
  }
  return {};
}

CommandOutcome listFiles(CommandContext& context, const DataArguments& arguments) {
  AppDataSession session(context);
  if (auto resolved = session.resolve(); !resolved) return resolved;
  auto container = containerOf(session, arguments);
  if (!container) return unexpected(container.error());
  AppFileBrowserService browser(context.environment.gate());
  auto entries = browser.list(*container, arguments.path, arguments.recursive);
  if (!entries) return unexpected(session.failure(entries.error()));
  if (context.options.json) {
    Json list = Json::array();
    for (const auto& entry : *entries) list.push_back(containerEntryJson(entry));
    context.emitJson(list);
    return {};
  }
  if (entries->empty()) {
    context.out << "The folder is empty.\n";
    return {};
  }
  std::vector<std::vector<std::string>> rows = {{"KIND", "SIZE", "MODIFIED (UTC)", "PATH"}};
  for (const auto& entry : *entries) {
    std::string shown = escapedForTerminal(entry.path);
    if (entry.kind == ContainerEntry::Kind::folder) shown += "/";
    rows.push_back({std::string(rawValue(entry.kind)),
                    entry.kind == ContainerEntry::Kind::file ? byteCountText(entry.size) : "-",
                    formatUtc(entry.modified, UtcFormat::iso8601), std::move(shown)});
  }
  printColumns(context.out, rows);
  return {};
}

CommandOutcome pullFiles(CommandContext& context, const DataArguments& arguments) {
  AppDataSession session(context);
  if (auto resolved = session.resolve(); !resolved) return resolved;
  std::error_code error;
  const fs::path destination = fs::absolute(arguments.destination.empty() ? "." : arguments.destination, error);
  if (error || !fs::is_directory(destination, error)) {
    return unexpected(CommandFailure::usage(arguments.destination + " is not a folder on this computer."));
  }
  auto container = containerOf(session, arguments);
  if (!container) return unexpected(container.error());
  AppFileBrowserService browser(context.environment.gate());
  auto pulled = browser.pull(*container, arguments.path, destination.lexically_normal());
  if (!pulled) return unexpected(session.failure(pulled.error()));
  if (context.options.json) {
    Json document = transferJson(*pulled);
    document["source"] = arguments.path;
    context.emitJson(document);
  } else {
    context.out << "Pulled " << escapedForTerminal(arguments.path) << " to " << escapedForTerminal(pulled->path.string())
                << " (" << transferSummary(*pulled) << ").\n";
  }
  return {};
}

CommandOutcome pushFiles(CommandContext& context, const DataArguments& arguments) {
  AppDataSession session(context);
  if (auto resolved = session.resolve(); !resolved) return resolved;
  auto container = containerOf(session, arguments);
  if (!container) return unexpected(container.error());
  AppFileBrowserService browser(context.environment.gate());
  auto pushed = browser.push(session.udid(), *container, arguments.source, arguments.path);
  if (!pushed) return unexpected(session.failure(pushed.error()));
  if (context.options.json) {
    Json document = transferJson(*pushed);
    document["source"] = arguments.source;
    context.emitJson(document);
  } else {
    context.out << "Pushed " << escapedForTerminal(arguments.source) << " to "
                << escapedForTerminal(pushed->path.generic_string()) << " in " << arguments.bundleIdentifier << "'s "
                << (arguments.group ? "group container " + *arguments.group : std::string("data container")) << " ("
                << transferSummary(*pushed) << ").\n";
  }
  return {};
}

CommandOutcome removeFiles(CommandContext& context, const DataArguments& arguments) {
  AppDataSession session(context);
  if (auto resolved = session.resolve(); !resolved) return resolved;
  auto container = containerOf(session, arguments);
  if (!container) return unexpected(container.error());
  const std::string question = "Remove " + escapedForTerminal(arguments.path) + " (with everything in it) from " +
                               arguments.bundleIdentifier + "'s container on " + session.device().name + "?";
  if (auto confirmed = context.confirm(question); !confirmed) return confirmed;
  AppFileBrowserService browser(context.environment.gate());
  if (auto removed = browser.remove(session.udid(), *container, arguments.path); !removed) {
    return unexpected(session.failure(removed.error()));
  }
  if (context.options.json) {
    context.emitJson({{"path", arguments.path}, {"bundleIdentifier", arguments.bundleIdentifier}, {"removed", true}});
  } else {
    context.out << "Removed " << escapedForTerminal(arguments.path) << ".\n";
  }
  return {};
}

void printTables(std::ostream& out, const std::vector<SqliteTable>& tables) {
  if (tables.empty()) out << "No tables.\n";
  for (const auto& table : tables) {
    out << escapedForTerminal(table.name) << " ("
        << (table.rowCount ? fmt::format("{} row{}", *table.rowCount, *table.rowCount == 1 ? "" : "s")
                           : std::string("rows not countable"))
        << ")\n";
    for (const auto& column : table.columns) {
      std::string line = "  " + escapedForTerminal(column.name);
      if (!column.type.empty()) line += " " + escapedForTerminal(column.type);
      if (column.primaryKey) line += " PRIMARY KEY";
      if (column.notNull) line += " NOT NULL";
      out << line << '\n';
    }
    for (const auto& index : table.indexes) {
      std::string columns;
      for (const auto& column : index.columns) columns += (columns.empty() ? "" : ", ") + escapedForTerminal(column);
      out << "  index " << escapedForTerminal(index.name) << (index.unique ? " (unique)" : "") << ": " << columns << '\n';
    }
  }
}

CommandOutcome inspectData(CommandContext& context, const DataArguments& arguments) {
  AppDataSession session(context);
  if (auto resolved = session.resolve(); !resolved) return resolved;
  auto container = containerOf(session, arguments);
  if (!container) return unexpected(container.error());
  auto temporary = temporaryDirectory();
  DataFileService dataFiles(temporary);

  if (arguments.path.empty()) {
    auto files = dataFiles.findDataFiles(*container);
    if (!files) return unexpected(session.failure(files.error()));
    if (context.options.json) {
      context.emitJson(dataFilesJson(*files));
    } else if (files->empty()) {
      context.out << "No databases, property lists or JSON files in the container.\n";
    } else {
      std::vector<std::vector<std::string>> rows = {{"KIND", "SIZE", "PATH"}};
      for (const auto& file : *files) {
        rows.push_back({std::string(rawValue(file.kind)), byteCountText(file.size), escapedForTerminal(file.path)});
      }
      printColumns(context.out, rows);
    }
    return {};
  }

  auto inspection = dataFiles.inspect(*container, arguments.path, context.stop);
  if (!inspection) return unexpected(session.failure(inspection.error()));
  if (const auto* database = std::get_if<DatabaseInspection>(&*inspection)) {
    if (context.options.json) {
      context.emitJson(inspectionJson(*inspection));
    } else {
      printTables(context.out, database->tables);
    }
    return {};
  }
  const auto& document = std::get<StructuredDocument>(*inspection);
  if (context.options.json) {
    context.emitJson(inspectionJson(*inspection));
  } else {
    const std::string heading = document.kind == StructuredDocument::Kind::json
                                    ? std::string("JSON")
                                    : "Property list (" + document.format + ")";
    context.out << heading << '\n';
    for (const auto& line : describeTypedValue(document.value, "(root)")) context.out << line << '\n';
  }
  return {};
}

std::string cellText(const SqliteValue& value) {
  return std::visit(
      [](const auto& cell) -> std::string {
        using T = std::decay_t<decltype(cell)>;
        if constexpr (std::is_same_v<T, std::nullptr_t>) {
          return "NULL";
        } else if constexpr (std::is_same_v<T, SqliteBlob>) {
          return fmt::format("<{} bytes>", cell.bytes.size());
        } else if constexpr (std::is_same_v<T, double>) {
          return formatPlainDecimal(cell);
        } else if constexpr (std::is_same_v<T, std::string>) {
          return escapedForTerminal(cell);
        } else {
          return std::to_string(cell);
        }
      },
      value);
}

CommandOutcome runQuery(CommandContext& context, const DataArguments& arguments) {
  if (arguments.limit == 0 || arguments.limit > 100000) {
    return unexpected(CommandFailure::usage("--limit must be between 1 and 100000."));
  }
  AppDataSession session(context);
  if (auto resolved = session.resolve(); !resolved) return resolved;
  auto container = containerOf(session, arguments);
  if (!container) return unexpected(container.error());
  DataFileService dataFiles(temporaryDirectory());
  SqliteQueryLimits limits;
  limits.maximumRows = arguments.limit;
  auto result = dataFiles.query(*container, arguments.path, arguments.query, limits, context.stop);
  if (!result) return unexpected(session.failure(result.error()));
  if (result->truncated) {
    context.err << fmt::format("orvanta: Only the first {} rows are shown (--limit raises the limit).\n", result->rows.size());
  }
  if (context.options.json) {
    context.emitJson(sqlRowsJson(*result));
    return {};
  }
  std::vector<std::vector<std::string>> rows;
  std::vector<std::string> header;
  for (const auto& column : result->columns) header.push_back(escapedForTerminal(column));
  rows.push_back(std::move(header));
  for (const auto& row : result->rows) {
    std::vector<std::string> cells;
    for (const auto& cell : row) cells.push_back(cellText(cell));
    rows.push_back(std::move(cells));
  }
  printColumns(context.out, rows);
  context.out << fmt::format("({} row{})\n", result->rows.size(), result->rows.size() == 1 ? "" : "s");
  return {};
}

CommandOutcome resetData(CommandContext& context, const DataArguments& arguments) {
  AppDataSession session(context);
  if (auto resolved = session.resolve(); !resolved) return resolved;
  auto apps = listInstalledApps(context.environment.simctl(), session.udid(), context.stop, true);
  if (!apps) {
    if (apps.error().kind == SimulatorAppError::Case::cancelled) return unexpected(CommandFailure::interrupted());
    return unexpected(CommandFailure::failure(std::string(apps.error().caseName()), apps.error().description()));
  }
  const auto app = std::find_if(apps->begin(), apps->end(), [&](const SimulatorApp& candidate) {
    return candidate.bundleIdentifier == arguments.bundleIdentifier;
  });
  if (app == apps->end()) {
    AppDataError error = AppDataError::of(AppDataError::Case::appNotInstalled);
    error.bundle = arguments.bundleIdentifier;
    return unexpected(session.failure(error));
  }
  if (app->isSystemApp || app->kind == SimulatorAppKind::system) {
    return unexpected(CommandFailure::failure("systemAppNotSupported", "Reset App Data isn't supported for a system app."));
  }
  const std::string question = resetDataQuestion(app->displayName, session.device().name, arguments.permissions);
  if (auto confirmed = context.confirm(question); !confirmed) return confirmed;
  AppDataResetService service(context.environment.simctl(), context.environment.gate());
  const auto outcome = service.reset({session.device(), *app, arguments.permissions}, context.stop);
  if (context.options.json) {
    Json document = appDataResetJson(outcome, app->bundleIdentifier, session.udid());
    if (outcome.kind == AppDataResetOutcome::Case::failed) {
      auto failure = CommandFailure::failure("resetFailed", outcome.summary);
      failure.details = std::make_shared<const Json>(std::move(document));
      return unexpected(std::move(failure));
    }
    context.emitJson(document);
  } else {
    for (const auto& entry : outcome.ledger) {
      context.out << fmt::format("{:<12} {:<10} {}\n", entry.step, resetLedgerStatusWord(entry.status), entry.message);
    }
    if (outcome.kind == AppDataResetOutcome::Case::failed) {
      return unexpected(CommandFailure::failure("resetFailed", outcome.summary));
    }
    if (outcome.kind == AppDataResetOutcome::Case::partial) context.out << outcome.summary << '\n';
    else context.out << "Reset the data of " << app->displayName << ".\n";
  }
  return {};
}

// ---- snapshots ---------------------------------------------------------------------------------------

expected<AppDataSnapshotService, CommandFailure> snapshotService(CommandContext& context) {
  auto root = applicationSupportDirectory();
  if (!root) return unexpected(CommandFailure::failure(std::string(root.error().caseName()), root.error().description()));
  return AppDataSnapshotService(context.environment.simctl(), context.environment.gate(), *root);
}

Json snapshotJson(const AppDataSnapshot& snapshot) {
  return {{"bundleIdentifier", snapshot.bundleIdentifier},
          {"name", snapshot.name},
          {"createdAt", jsonDate(snapshot.createdAt)},
          {"groups", snapshot.groups},
          {"fileCount", snapshot.fileCount},
          {"byteCount", snapshot.byteCount},
          {"path", snapshot.folder.string()}};
}

CommandOutcome saveSnapshot(CommandContext& context, const DataArguments& arguments) {
  AppDataSession session(context);
  if (auto resolved = session.resolve(); !resolved) return resolved;
  auto service = snapshotService(context);
  if (!service) return unexpected(service.error());
  auto saved = service->save(session.udid(), arguments.bundleIdentifier, arguments.name, context.stop);
  if (!saved) return unexpected(session.failure(saved.error()));
  if (context.options.json) {
    context.emitJson(snapshotJson(*saved));
  } else {
    context.out << "Saved the snapshot " << escapedForTerminal(saved->name) << " of " << saved->bundleIdentifier << " ("
                << saved->fileCount << " files, " << byteCountText(saved->byteCount)
                << (saved->groups.empty() ? std::string()
                                          : fmt::format(", {} group container{}", saved->groups.size(),
                                                        saved->groups.size() == 1 ? "" : "s"))
                << ").\n";
  }
  return {};
}

CommandOutcome listSnapshots(CommandContext& context, const DataArguments& arguments) {
  auto service = snapshotService(context);
  if (!service) return unexpected(service.error());
  const auto snapshots =
      service->list(arguments.bundleIdentifier.empty() ? std::nullopt : std::optional(arguments.bundleIdentifier));
  if (context.options.json) {
    Json list = Json::array();
    for (const auto& snapshot : snapshots) list.push_back(snapshotJson(snapshot));
    context.emitJson(list);
    return {};
  }
  if (snapshots.empty()) {
    context.out << "No snapshots.\n";
    return {};
  }
  std::vector<std::vector<std::string>> rows = {{"APP", "NAME", "SAVED (UTC)", "FILES", "SIZE"}};
  for (const auto& snapshot : snapshots) {
    rows.push_back({snapshot.bundleIdentifier, escapedForTerminal(snapshot.name),
                    formatUtc(snapshot.createdAt, UtcFormat::iso8601), std::to_string(snapshot.fileCount),
                    byteCountText(snapshot.byteCount)});
  }
  printColumns(context.out, rows);
  return {};
}

// The one snapshot named `name` (of --app's app when given).
expected<AppDataSnapshot, CommandFailure> findSnapshot(CommandContext& context, AppDataSnapshotService& service,
                                                       const std::string& name, const std::optional<std::string>& app) {
  std::vector<AppDataSnapshot> matches;
  for (auto& snapshot : service.list(app)) {
    if (snapshot.name == name) matches.push_back(std::move(snapshot));
  }
  if (matches.size() == 1) return std::move(matches.front());
  if (matches.empty()) {
    AppDataError error = AppDataError::named(AppDataError::Case::snapshotNotFound, name);
    error.bundle = app.value_or("");
    AppDataSession session(context);
    return unexpected(session.failure(error));
  }
  std::vector<std::string> hints = {"Name the app with --app:"};
  for (const auto& snapshot : matches) hints.push_back("  orvanta data snapshot delete " + name + " --app " + snapshot.bundleIdentifier);
  return unexpected(CommandFailure::usage("Several apps have a snapshot named " + name + ".", std::move(hints)));
}

CommandOutcome deleteSnapshot(CommandContext& context, const DataArguments& arguments) {
  auto service = snapshotService(context);
  if (!service) return unexpected(service.error());
  auto snapshot = findSnapshot(context, *service, arguments.name, arguments.app);
  if (!snapshot) return unexpected(snapshot.error());
  if (auto removed = service->remove(snapshot->bundleIdentifier, snapshot->name); !removed) {
    AppDataSession session(context);
    return unexpected(session.failure(removed.error()));
  }
  if (context.options.json) {
    context.emitJson({{"bundleIdentifier", snapshot->bundleIdentifier}, {"name", snapshot->name}, {"deleted", true}});
  } else {
    context.out << "Deleted the snapshot " << escapedForTerminal(snapshot->name) << " of " << snapshot->bundleIdentifier
                << ".\n";
  }
  return {};
}

CommandOutcome restoreSnapshot(CommandContext& context, const DataArguments& arguments) {
  AppDataSession session(context);
  if (auto resolved = session.resolve(); !resolved) return resolved;
  auto service = snapshotService(context);
  if (!service) return unexpected(service.error());
  const std::string question = "Replace the data of " + arguments.bundleIdentifier + " on " + session.device().name +
                               " with the snapshot " + escapedForTerminal(arguments.name) +
                               "? The app is terminated first, and its current files are removed.";
  if (auto confirmed = context.confirm(question); !confirmed) return confirmed;
  auto restored = service->restore(session.udid(), arguments.bundleIdentifier, arguments.name, context.stop);
  if (!restored) return unexpected(session.failure(restored.error()));
  if (context.options.json) {
    context.emitJson({{"bundleIdentifier", arguments.bundleIdentifier},
                      {"name", arguments.name},
                      {"simulatorUDID", session.udid()},
                      {"terminatedApp", restored->terminatedApp},
                      {"filesVerified", restored->filesVerified},
                      {"missingGroups", restored->missingGroups}});
    return {};
  }
  context.out << "Restored the snapshot " << escapedForTerminal(arguments.name) << " of " << arguments.bundleIdentifier
              << " on " << session.device().name << " (" << restored->filesVerified << " files read back"
              << (restored->terminatedApp ? "; the app was terminated" : "") << ").\n";
  for (const auto& group : restored->missingGroups) {
    context.out << "Note: the app no longer has the group " << group << "; its part of the snapshot was left out.\n";
  }
  return {};
}

}  // namespace

void registerDataCommands(CLI::App& app, CommandRegistry& registry) {
  auto arguments = std::make_shared<DataArguments>();
  auto* data = app.add_subcommand("data", "Browse, inspect, copy, reset and snapshot an app's data on the target");
  data->require_subcommand(1);
  data->footer(
      "PATH is relative to the app's data container, or to an app group's container with --group GROUP-ID.\n"
      "A PATH that leaves the container (\"..\", an absolute path, or a symbolic link that leads outside) is\n"
      "refused. Changes (push, rm, reset, snapshot restore) are refused while another orvanta command changes\n"
      "the same simulator.\n"
      "Examples:\n"
      "  orvanta data ls com.example.cafe Library --recursive\n"
      "  orvanta data inspect com.example.cafe Library/Application\\ Support/Cafe.sqlite\n"
      "  orvanta data sql com.example.cafe Library/Application\\ Support/Cafe.sqlite 'SELECT * FROM orders'\n"
      "  orvanta data snapshot save com.example.cafe before-migration");

  auto bundle = [&](CLI::App* command) {
    command->add_option("BUNDLE-ID", arguments->bundleIdentifier, "The app's bundle identifier")->required();
  };
  auto group = [&](CLI::App* command) {
    command->add_option("--group", arguments->group, "Paths are relative to this app group's container");
  };

  auto* path = data->add_subcommand("path", "Print the path of an app's container");
  bundle(path);
  path->add_option("CONTAINER", arguments->which, "data (default), app, groups, or a group identifier");
  path->footer("groups prints one \"GROUP-ID<TAB>PATH\" line per app group.\n"
               "--json: {bundleIdentifier, simulatorUDID, container, path}; for groups\n"
               "{bundleIdentifier, simulatorUDID, groups: [{identifier, path}]}.");
  registry.on(path, [arguments](CommandContext& context) { return showPath(context, *arguments); });

  auto* ls = data->add_subcommand("ls", "List files: kind, size, modified time, path");
  bundle(ls);
  ls->add_option("PATH", arguments->path, "A folder or file in the container (default: the container)");
  group(ls);
  ls->add_flag("--recursive,-r", arguments->recursive, "Everything below the folder");
  ls->footer("--json: an array of {path, kind: file|folder|link, size, modified} (modified as RFC 3339 UTC).");
  registry.on(ls, [arguments](CommandContext& context) { return listFiles(context, *arguments); });

  auto* pull = data->add_subcommand("pull", "Copy a file or folder out of the container");
  bundle(pull);
  pull->add_option("PATH", arguments->path, "The file or folder in the container")->required();
  pull->add_option("DEST", arguments->destination, "A folder on this computer (default: the current folder)");
  group(pull);
  pull->footer("An existing file is never replaced: the copy is named \" 2\", \" 3\", ... instead. Symbolic links\n"
               "and special files inside a folder are skipped.\n"
               "--json: {path, source, fileCount, folderCount, byteCount, skipped}.");
  registry.on(pull, [arguments](CommandContext& context) { return pullFiles(context, *arguments); });

  auto* push = data->add_subcommand("push", "Copy a file or folder from this computer into the container");
  bundle(push);
  push->add_option("SOURCE", arguments->source, "A file or folder on this computer")->required();
  push->add_option("PATH", arguments->path, "Where it goes: into this folder, or as this name (default: the container)");
  group(push);
  push->footer("A file of the same name is replaced whole; a folder of the same name is refused.\n"
               "--json: {path, source, fileCount, folderCount, byteCount, skipped}.");
  registry.on(push, [arguments](CommandContext& context) { return pushFiles(context, *arguments); });

  auto* rm = data->add_subcommand("rm", "Remove a file or folder from the container (asks first)");
  bundle(rm);
  rm->add_option("PATH", arguments->path, "The file or folder in the container")->required();
  group(rm);
  rm->footer("Asks on a terminal; pass --yes to skip the question (required when stdin is not a terminal).\n"
             "A symbolic link is removed itself, never what it points to.\n"
             "--json: {path, bundleIdentifier, removed}.");
  registry.on(rm, [arguments](CommandContext& context) { return removeFiles(context, *arguments); });

  auto* inspect = data->add_subcommand("inspect", "Show the container's databases, property lists and JSON files");
  bundle(inspect);
  inspect->add_option("PATH", arguments->path, "One file to show (default: list them all)");
  group(inspect);
  inspect->footer(
      "A SQLite database is read from a private copy of it and its -wal (so recent rows are included and the\n"
      "app's files are never touched).\n"
      "--json: without PATH an array of {path, kind: sqlite|propertyList|json, size}; a database\n"
      "{kind: \"sqlite\", tables: [{name, rowCount, columns: [{name, type, notNull, primaryKey}],\n"
      "indexes: [{name, unique, columns}]}]}; a property list or JSON file {kind, format?, value}, where value\n"
      "is a typed tree: {type, value} with type string|integer|real|boolean|date|data|array|dictionary\n"
      "(property lists) or null|boolean|integer|real|string|array|object (JSON).");
  registry.on(inspect, [arguments](CommandContext& context) { return inspectData(context, *arguments); });

  auto* sql = data->add_subcommand("sql", "Run one read-only query on a database in the container");
  bundle(sql);
  sql->add_option("PATH", arguments->path, "The database in the container")->required();
  sql->add_option("QUERY", arguments->query, "One SELECT (or read-only PRAGMA) statement")->required();
  group(sql);
  sql->add_option("--limit", arguments->limit, "At most this many rows (default 1000, at most 100000)");
  sql->footer("Runs on a consistent copy of the database and its -wal. Statements that write, ATTACH, transaction\n"
              "control and PRAGMAs that change state are refused.\n"
              "--json: an array of row objects {COLUMN: value}; blobs as {base64}.");
  registry.on(sql, [arguments](CommandContext& context) { return runQuery(context, *arguments); });

  auto* reset = data->add_subcommand("reset", "Reset an app's data: reinstall it from its installed build (asks)");
  bundle(reset);
  reset->add_flag("--permissions", arguments->permissions, "Also reset its privacy permissions");
  reset->footer("--json: {bundleIdentifier, simulatorUDID, outcome: succeeded|partial|failed, summary?,\n"
                "ledger: [{step, status, message}]}.");
  registry.on(reset, [arguments](CommandContext& context) { return resetData(context, *arguments); });

  auto* snapshot = data->add_subcommand("snapshot", "Save, list, delete and restore copies of an app's data");
  snapshot->require_subcommand(1);
  snapshot->footer("Snapshots hold the data container and the app group containers, in the application-support\n"
                   "folder (Snapshots/BUNDLE-ID/NAME).");
  auto* save = snapshot->add_subcommand("save", "Save a snapshot of the app's containers");
  bundle(save);
  save->add_option("NAME", arguments->name, "The snapshot's name")->required();
  save->footer("--json: {bundleIdentifier, name, createdAt, groups, fileCount, byteCount, path}.");
  registry.on(save, [arguments](CommandContext& context) { return saveSnapshot(context, *arguments); });
  auto* restore = snapshot->add_subcommand("restore", "Put a snapshot back (asks; terminates the app)");
  bundle(restore);
  restore->add_option("NAME", arguments->name, "The snapshot's name")->required();
  restore->footer("Every file is read back and compared with the snapshot's checksums; a difference is a failure.\n"
                  "--json: {bundleIdentifier, name, simulatorUDID, terminatedApp, filesVerified, missingGroups}.");
  registry.on(restore, [arguments](CommandContext& context) { return restoreSnapshot(context, *arguments); });
  auto* list = snapshot->add_subcommand("list", "List the snapshots (of one app, or all)");
  list->add_option("BUNDLE-ID", arguments->bundleIdentifier, "Only this app's snapshots");
  list->footer("No simulator needed.\n--json: an array of {bundleIdentifier, name, createdAt, groups, fileCount, byteCount, path}.");
  registry.on(list, [arguments](CommandContext& context) { return listSnapshots(context, *arguments); });
  auto* remove = snapshot->add_subcommand("delete", "Delete a snapshot");
  remove->add_option("NAME", arguments->name, "The snapshot's name")->required();
  remove->add_option("--app", arguments->app, "The app whose snapshot it is, when several apps have one of that name");
  remove->footer("No simulator needed.\n--json: {bundleIdentifier, name, deleted}.");
  registry.on(remove, [arguments](CommandContext& context) { return deleteSnapshot(context, *arguments); });
}

}  // namespace orvanta
