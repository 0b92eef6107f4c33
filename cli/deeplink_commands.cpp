// orvanta open, orvanta deeplink validate|schemes|history|favorites
//
// A URL is validated before anything else runs, so a typing mistake never waits for the device list.
// Warnings about the app a link is meant for (--app) go to stderr and never change the exit status.
// Dates in --json output are ISO 8601 UTC texts; the settings keep them as 2001-epoch seconds.
#include <CLI/CLI.hpp>
#include <memory>
#include <nlohmann/json.hpp>
#include <ostream>

#include "app/result_json.hpp"
#include "cli/commands.hpp"
#include "app/environment.hpp"
#include "cli/target_resolution.hpp"
#include "support/reference_date.hpp"
#include "tools/deeplink/app_url_scheme_service.hpp"
#include "tools/deeplink/deep_link_service.hpp"
#include "tools/deeplink/deep_link_store.hpp"
#include "tools/deeplink/deep_link_validation.hpp"

namespace orvanta {
namespace {

using Json = nlohmann::json;
using ErrorCase = DeepLinkError::Case;

// ---- texts and shapes --------------------------------------------------------------------------------

std::string kindText(const DeepLinkKind& kind) {
  return kind.kind == DeepLinkKind::Case::custom ? "custom scheme \"" + kind.scheme + "\"" : kind.scheme;
}

Json schemeJson(const DeclaredURLScheme& scheme) {
  Json json = {{"scheme", scheme.scheme}};
  if (scheme.urlName) json["urlName"] = *scheme.urlName;
  if (scheme.role) json["role"] = *scheme.role;
  return json;
}

Json favoriteJson(const DeepLinkFavorite& favorite) {
  return {{"id", favorite.id}, {"urlString", favorite.urlString}, {"label", favorite.label}};
}

// The first line of simctl's diagnostic that says something, for a hint.
std::string diagnosticLine(const std::string& text) {
  std::size_t start = 0;
  std::string chosen;
  while (start < text.size()) {
    auto end = text.find('\n', start);
    if (end == std::string::npos) end = text.size();
    std::string line = text.substr(start, end - start);
    start = end + 1;
    if (line.find_first_not_of(" \t\r") == std::string::npos) continue;
    if (chosen.empty()) chosen = line;
    if (!line.starts_with("An error was encountered")) return line;
  }
  return chosen;
}

CommandFailure failureOf(const DeepLinkError& error, std::vector<std::string> hints = {}) {
  return CommandFailure::failure(std::string(error.caseName()), error.description(), std::move(hints));
}

CommandFailure failureOf(const AppURLSchemeError& error) {
  std::vector<std::string> hints;
  if (error.kind == AppURLSchemeError::Case::simctlFailed && !error.message.empty()) {
    hints.push_back("simctl: " + diagnosticLine(error.message));
  }
  return CommandFailure::failure(std::string(error.caseName()), error.description(), std::move(hints));
}

expected<ValidatedDeepLink, CommandFailure> validated(const std::string& text) {
  auto link = validateDeepLink(text);
  if (!link) return unexpected(failureOf(link.error()));
  return std::move(*link);
}

// The services of one command that opens links on the resolved target.
class DeepLinkSession {
 public:
  explicit DeepLinkSession(CommandContext& context) : context_(context) {}

  CommandOutcome resolve() {
    auto status = currentTargetStatus(context_);
    if (!status) return unexpected(status.error());
    status_ = *status;
    return {};
  }

  DeepLinkService service() {
    auto& environment = context_.environment;
    return DeepLinkService({environment.run(), environment.xcrunPath(),
                            std::make_shared<DeepLinkHistoryStore>(environment.settings())});
  }

  CommandFailure failure(const DeepLinkError& error) const {
    if (context_.stop.stop_requested()) return CommandFailure::interrupted();
    std::vector<std::string> hints;
    const auto& devices = context_.environment.discovery().devices();
    switch (error.kind) {
      case ErrorCase::noSimulatorSelected:
      case ErrorCase::simulatorNotBooted:
        hints.push_back(statusLine(status_, devices));
        hints.push_back(error.kind == ErrorCase::simulatorNotBooted
                            ? "Boot it again, or choose another with 'orvanta target set NAME' or --device."
                            : "Choose one with 'orvanta target set NAME', or pass --device for one call.");
        break;
      case ErrorCase::simctlFailed:
      case ErrorCase::noHandler:
        if (!error.stderr.empty()) hints.push_back("simctl: " + diagnosticLine(error.stderr));
        break;
      case ErrorCase::persistenceFailed:
        if (error.opened) {
          hints.push_back("The URL was opened on " + deviceName() + "; only the history was not saved.");
        }
        break;
      default: break;
    }
    return failureOf(error, std::move(hints));
  }

  const SimulatorTargetStatus& status() const { return status_; }
  std::string deviceName() const { return status_.device ? status_.device->name : status_.udid; }

 private:
  CommandContext& context_;
  SimulatorTargetStatus status_;
};

CommandOutcome reportOpened(CommandContext& context, const DeepLinkSession& session, const ValidatedDeepLink& link,
                            const DeepLinkLaunchResult& result) {
  if (context.options.json) {
    context.emitJson(deepLinkOpenedJson(result, link));
  } else {
    context.out << "Opened " << result.urlString << " on " << session.deviceName() << ".\n";
  }
  return {};
}

// ---- open --------------------------------------------------------------------------------------------

struct OpenOptions {
  std::string url;
  std::optional<std::string> app;
};

CommandOutcome openURL(CommandContext& context, const OpenOptions& options) {
  auto link = validated(options.url);
  if (!link) return unexpected(link.error());
  DeepLinkSession session(context);
  if (auto resolved = session.resolve(); !resolved) return resolved;
  if (options.app && session.status().kind == SimulatorTargetStatus::Case::selected) {
    expected<std::vector<DeclaredURLScheme>, AppURLSchemeError> declared = std::vector<DeclaredURLScheme>{};
    if (link->kind.kind == DeepLinkKind::Case::custom) {
      AppURLSchemeService schemes(context.environment.run(), context.environment.xcrunPath());
      declared = schemes.declaredSchemes(*options.app, session.status().device->udid, context.stop);
    }
    for (const auto& note : deepLinkAppNotes(*link, *options.app, declared)) {
      context.err << "orvanta: warning: " << note << '\n';
    }
  }
  auto service = session.service();
  auto result = service.open(*link, session.status(), context.stop);
  if (!result) return unexpected(session.failure(result.error()));
  return reportOpened(context, session, *link, *result);
}

// ---- validate, schemes, history ----------------------------------------------------------------------

CommandOutcome validateURL(CommandContext& context, const std::string& text) {
  auto link = validated(text);
  if (!link) return unexpected(link.error());
  if (context.options.json) {
    context.emitJson({{"urlString", link->urlString},
                      {"kind", std::string(link->kind.caseName())},
                      {"scheme", link->kind.scheme}});
  } else {
    context.out << link->urlString << ": " << kindText(link->kind) << '\n';
  }
  return {};
}

CommandOutcome listSchemes(CommandContext& context, const std::string& bundleIdentifier) {
  auto device = requireSelectedTarget(context);
  if (!device) return unexpected(device.error());
  AppURLSchemeService service(context.environment.run(), context.environment.xcrunPath());
  auto schemes = service.declaredSchemes(bundleIdentifier, device->udid, context.stop);
  if (!schemes) {
    if (context.stop.stop_requested()) return unexpected(CommandFailure::interrupted());
    return unexpected(failureOf(schemes.error()));
  }
  if (context.options.json) {
    Json array = Json::array();
    for (const auto& scheme : *schemes) array.push_back(schemeJson(scheme));
    context.emitJson(array);
  } else if (schemes->empty()) {
    context.out << bundleIdentifier << " declares no URL schemes.\n";
  } else {
    for (const auto& scheme : *schemes) {
      context.out << scheme.scheme << "://";
      if (scheme.urlName) context.out << "  " << *scheme.urlName;
      if (scheme.role) context.out << "  (" << *scheme.role << ")";
      context.out << '\n';
    }
  }
  return {};
}

CommandOutcome history(CommandContext& context) {
  const auto entries = DeepLinkHistoryStore(context.environment.settings()).entries();
  if (context.options.json) {
    Json array = Json::array();
    for (const auto& entry : entries) {
      array.push_back({{"id", entry.id},
                       {"urlString", entry.urlString},
                       {"openedAt", jsonDate(entry.openedAt)}});
    }
    context.emitJson(array);
  } else if (entries.empty()) {
    context.out << "No deep links have been opened yet.\n";
  } else {
    for (const auto& entry : entries) {
      context.out << formatUtc(entry.openedAt, UtcFormat::iso8601) << "  " << entry.urlString << '\n';
    }
  }
  return {};
}

// ---- favourites --------------------------------------------------------------------------------------

CommandOutcome listFavorites(CommandContext& context) {
  const auto favorites = DeepLinkFavoriteStore(context.environment.settings()).favorites();
  if (context.options.json) {
    Json array = Json::array();
    for (const auto& favorite : favorites) array.push_back(favoriteJson(favorite));
    context.emitJson(array);
  } else if (favorites.empty()) {
    context.out << "No favorites. Add one with 'orvanta deeplink favorites add URL --label TEXT'.\n";
  } else {
    for (const auto& favorite : favorites) {
      context.out << favorite.id << "  " << favorite.urlString;
      if (!favorite.label.empty()) context.out << "  \"" << favorite.label << "\"";
      context.out << '\n';
    }
  }
  return {};
}

CommandOutcome reportFavorite(CommandContext& context, const expected<DeepLinkFavorite, DeepLinkError>& favorite,
                              std::string_view verb) {
  if (!favorite) {
    std::vector<std::string> hints;
    if (favorite.error().kind == ErrorCase::favoriteNotFound) {
      hints.push_back("'orvanta deeplink favorites' lists them with their ids.");
    }
    return unexpected(failureOf(favorite.error(), std::move(hints)));
  }
  if (context.options.json) {
    context.emitJson(favoriteJson(*favorite));
  } else {
    context.out << "Favorite \"" << favorite->title() << "\" " << verb << ". Id: " << favorite->id << '\n';
  }
  return {};
}

// The one favourite `idOrLabel` names.
expected<DeepLinkFavorite, CommandFailure> chosenFavorite(CommandContext& context, const std::string& idOrLabel) {
  auto matches = DeepLinkFavoriteStore(context.environment.settings()).matching(idOrLabel);
  if (matches.empty()) {
    return unexpected(failureOf(DeepLinkError(ErrorCase::favoriteNotFound),
                                {"'orvanta deeplink favorites' lists them with their ids."}));
  }
  if (matches.size() > 1) {
    std::vector<std::string> hints;
    for (const auto& favorite : matches) hints.push_back("  " + favorite.id + "  " + favorite.urlString);
    return unexpected(
        CommandFailure::usage("Several favorites are labelled \"" + idOrLabel + "\"; give an id instead:", hints));
  }
  return std::move(matches.front());
}

CommandOutcome openFavorite(CommandContext& context, const std::string& idOrLabel) {
  auto favorite = chosenFavorite(context, idOrLabel);
  if (!favorite) return unexpected(favorite.error());
  auto link = validated(favorite->urlString);
  if (!link) return unexpected(link.error());
  DeepLinkSession session(context);
  if (auto resolved = session.resolve(); !resolved) return resolved;
  auto service = session.service();
  auto result = service.openFavorite(*favorite, session.status(), context.stop);
  if (!result) return unexpected(session.failure(result.error()));
  return reportOpened(context, session, *link, *result);
}

CommandOutcome copyFavorite(CommandContext& context, const std::string& idOrLabel) {
  auto favorite = chosenFavorite(context, idOrLabel);
  if (!favorite) return unexpected(favorite.error());
  auto copied = copyFavoriteURL(*favorite, context.environment.hostPasteboard(), context.stop);
  if (!copied) {
    if (context.stop.stop_requested()) return unexpected(CommandFailure::interrupted());
    return unexpected(failureOf(copied.error(), {copied.error().stderr}));
  }
  if (context.options.json) {
    context.emitJson(favoriteJson(*favorite));
  } else {
    context.out << "Copied " << favorite->urlString << " to the clipboard.\n";
  }
  return {};
}

}  // namespace

void registerDeepLinkCommands(CLI::App& app, CommandRegistry& registry) {
  auto openOptions = std::make_shared<OpenOptions>();
  auto* open = app.add_subcommand("open", "Open a URL on the target simulator, as a tap on a link would");
  open->add_option("URL", openOptions->url, "A URL with a scheme: myapp://path, https://example.com/x")->required();
  open->add_option("--app", openOptions->app, "The app the link is meant for: warns when it doesn't declare the scheme")
      ->option_text("BUNDLE-ID");
  open->footer(
      "The URL is trimmed and must have no spaces inside; it is sent as typed otherwise. Each URL opened is\n"
      "kept in the history ('orvanta deeplink history', newest 25).\n"
      "simctl never says which app took the link. With --app, a custom scheme that the app's Info.plist does\n"
      "not declare is reported on stderr (the link then goes to another app, or fails); for http and https a\n"
      "note says that universal links usually open in Safari.\n"
      "--json: {urlString, simulatorUDID, kind: \"custom\"|\"http\"|\"https\", scheme}.");
  registry.on(open, [openOptions](CommandContext& context) { return openURL(context, *openOptions); });

  auto* deeplink = app.add_subcommand("deeplink", "Deep links: validate URLs, app URL schemes, history, favorites");
  deeplink->require_subcommand(1);

  auto validateText = std::make_shared<std::string>();
  auto* validate = deeplink->add_subcommand("validate", "Check a URL as 'open' would, without a simulator");
  validate->add_option("URL", *validateText, "The URL to check")->required();
  validate->footer(
      "Prints the kind: a custom scheme (lower-cased), http or https. Exit status 1 with the reason when the\n"
      "URL is empty, has spaces inside, is not a valid URL (RFC 3986; non-ASCII must be percent-encoded) or\n"
      "has no scheme.\n"
      "--json: {urlString, kind: \"custom\"|\"http\"|\"https\", scheme}.");
  registry.on(validate, [validateText](CommandContext& context) { return validateURL(context, *validateText); });

  auto schemesApp = std::make_shared<std::string>();
  auto* schemes = deeplink->add_subcommand("schemes", "The URL schemes an installed app declares in its Info.plist");
  schemes->add_option("BUNDLE-ID", *schemesApp, "The app's bundle identifier")->required();
  schemes->footer(
      "Read from CFBundleURLTypes of the app bundle's Info.plist on the target simulator, in order.\n"
      "--json: an array of {scheme, urlName?, role?}.");
  registry.on(schemes, [schemesApp](CommandContext& context) { return listSchemes(context, *schemesApp); });

  auto* historyCommand = deeplink->add_subcommand("history", "The URLs opened recently, newest first (at most 25)");
  historyCommand->footer("--json: an array of {id, urlString, openedAt}.");
  registry.on(historyCommand, history);

  auto* favorites = deeplink->add_subcommand("favorites", "List the favorite links; add, rename, remove, open, copy");
  favorites->footer(
      "At most 100 favorites, each URL once (compared exactly as typed, after trimming). A label is optional.\n"
      "--json: an array of {id, urlString, label}; add, rename, remove and copy print the one favorite;\n"
      "open prints what 'orvanta open' prints.");
  registry.on(favorites, listFavorites);

  auto addOptions = std::make_shared<std::pair<std::string, std::string>>();
  auto* add = favorites->add_subcommand("add", "Add a favorite link");
  add->add_option("URL", addOptions->first, "The URL, validated as 'open' does")->required();
  add->add_option("--label", addOptions->second, "A name for it")->option_text("TEXT");
  registry.on(add, [addOptions](CommandContext& context) {
    return reportFavorite(
        context, DeepLinkFavoriteStore(context.environment.settings()).add(addOptions->first, addOptions->second),
        "added");
  });

  auto renameOptions = std::make_shared<std::pair<std::string, std::string>>();
  auto* rename = favorites->add_subcommand("rename", "Give a favorite a new label");
  rename->add_option("ID-OR-LABEL", renameOptions->first, "The favorite's id, its exact label, or its URL")->required();
  rename->add_option("LABEL", renameOptions->second, "The new label (\"\" removes it)")->required();
  registry.on(rename, [renameOptions](CommandContext& context) -> CommandOutcome {
    auto found = chosenFavorite(context, renameOptions->first);
    if (!found) return unexpected(found.error());
    return reportFavorite(
        context,
        DeepLinkFavoriteStore(context.environment.settings()).relabel(found->id, renameOptions->second),
        "renamed");
  });

  auto removeId = std::make_shared<std::string>();
  auto* remove = favorites->add_subcommand("remove", "Remove a favorite");
  remove->add_option("ID-OR-LABEL", *removeId, "The favorite's id, its exact label, or its URL")->required();
  registry.on(remove, [removeId](CommandContext& context) -> CommandOutcome {
    auto found = chosenFavorite(context, *removeId);
    if (!found) return unexpected(found.error());
    return reportFavorite(context, DeepLinkFavoriteStore(context.environment.settings()).remove(found->id), "removed");
  });

  auto openChoice = std::make_shared<std::string>();
  auto* openCommand = favorites->add_subcommand("open", "Open a favorite on the target simulator");
  openCommand->add_option("ID-OR-LABEL", *openChoice, "The favorite's id, its exact label, or its URL")->required();
  openCommand->footer("--json: {urlString, simulatorUDID, kind, scheme}, as for 'orvanta open'.");
  registry.on(openCommand, [openChoice](CommandContext& context) { return openFavorite(context, *openChoice); });

  auto copyChoice = std::make_shared<std::string>();
  auto* copy = favorites->add_subcommand("copy", "Put a favorite's URL on this computer's clipboard");
  copy->add_option("ID-OR-LABEL", *copyChoice, "The favorite's id, its exact label, or its URL")->required();
  copy->footer("--json: {id, urlString, label}.");
  registry.on(copy, [copyChoice](CommandContext& context) { return copyFavorite(context, *copyChoice); });
}

}  // namespace orvanta
