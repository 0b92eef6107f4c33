// orvanta input profiles|profile|field|copy|clear: quick-input profiles, and a field's value put on the
// target simulator's clipboard.
//
// A secret value is read from the terminal without echo, or from standard input when that is not a
// terminal; it is never taken from an argument, which every user of the computer can see.
#include <termios.h>
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <iterator>
#include <memory>
#include <nlohmann/json.hpp>
#include <ostream>

#include "support/atomic_file.hpp"
#include "cli/commands.hpp"
#include "app/environment.hpp"
#include "cli/target_resolution.hpp"
#include "tools/quickinput/quick_input_service.hpp"

namespace orvanta {
namespace {

using Json = nlohmann::json;
using ErrorCase = QuickInputError::Case;
using ValueKind = QuickInputFieldDraft::ValueKind;

constexpr const char* kListHint = "'orvanta input profiles' lists the profiles and their fields with their ids.";

QuickInputService makeService(CommandContext& context) {
  auto& environment = context.environment;
  return QuickInputService(environment.settings(), environment.secretStore(), environment.simulatorPasteboard());
}

CommandFailure failureOf(CommandContext& context, const QuickInputError& error) {
  if (context.stop.stop_requested()) return CommandFailure::interrupted();
  std::vector<std::string> hints;
  switch (error.kind) {
    case ErrorCase::profileNotFound:
    case ErrorCase::fieldNotFound:
      hints.push_back(kListHint);
      break;
    case ErrorCase::noProfileSelected:
      hints.push_back("Select one with 'orvanta input profile select NAME', or pass --profile.");
      break;
    case ErrorCase::persistenceFailed:
      if (!error.detail.empty()) hints.push_back(error.detail);
      break;
    case ErrorCase::secret:
      if (error.secretError && error.secretError->kind == SecretStoreError::Case::notFound) {
        hints.push_back("The field's secret is missing from " + context.environment.secretStore().displayName() +
                        "; remove the field and add it again.");
      } else {
        hints.push_back("The secret store is " + context.environment.secretStore().displayName() + ".");
      }
      break;
    case ErrorCase::pasteboard:
      if (error.pasteboardError) {
        if (auto problem = error.pasteboardError->retryProblem(); !problem.empty()) hints.push_back(std::move(problem));
      }
      break;
    default:
      break;
  }
  return CommandFailure::failure(std::string(error.caseName()), error.description(), std::move(hints));
}

void showNotice(CommandContext& context, QuickInputService& service) {
  if (auto notice = service.store().takeRecoveryNotice()) context.err << "orvanta: warning: " << *notice << '\n';
}

expected<QuickInputDocument, CommandFailure> loadDocument(CommandContext& context, QuickInputService& service) {
  auto document = service.store().document();
  showNotice(context, service);
  if (!document) return unexpected(failureOf(context, document.error()));
  return std::move(*document);
}

// The profile --profile names, else the selected one, else the only one.
expected<QuickInputProfile, CommandFailure> chosenProfile(CommandContext& context, const QuickInputDocument& document,
                                                          const std::optional<std::string>& idOrName) {
  if (idOrName) {
    auto matches = matchingProfiles(document, *idOrName);
    if (matches.empty()) return unexpected(failureOf(context, QuickInputError(ErrorCase::profileNotFound)));
    if (matches.size() > 1) {
      std::vector<std::string> hints;
      for (const auto* profile : matches) hints.push_back("  " + profile->id + "  " + profile->name);
      return unexpected(
          CommandFailure::usage("Several profiles are named \"" + *idOrName + "\"; give an id instead:", hints));
    }
    return *matches.front();
  }
  for (const auto& profile : document.profiles) {
    if (document.selectedProfileID == profile.id) return profile;
  }
  if (document.profiles.size() == 1) return document.profiles.front();
  if (document.profiles.empty()) {
    return unexpected(CommandFailure::failure("noProfileSelected",
                                              QuickInputError(ErrorCase::noProfileSelected).description(),
                                              {"Add one with 'orvanta input profile add NAME'."}));
  }
  return unexpected(failureOf(context, QuickInputError(ErrorCase::noProfileSelected)));
}

expected<QuickInputField, CommandFailure> chosenField(CommandContext& context, const QuickInputProfile& profile,
                                                      const std::string& idOrLabel) {
  auto matches = matchingFields(profile, idOrLabel);
  if (matches.empty()) return unexpected(failureOf(context, QuickInputError(ErrorCase::fieldNotFound)));
  if (matches.size() > 1) {
    std::vector<std::string> hints;
    for (const auto* field : matches) hints.push_back("  " + field->id + "  " + field->label);
    return unexpected(
        CommandFailure::usage("Several fields are labelled \"" + idOrLabel + "\"; give an id instead:", hints));
  }
  return *matches.front();
}

std::string valueText(const QuickInputField& field) {
  if (!field.savesValue) return "(no value)";
  if (field.isSecret) return "(secret)";
  return field.plainValue.value_or("");
}

// ---- profiles ----------------------------------------------------------------------------------------

CommandOutcome listProfiles(CommandContext& context) {
  auto service = makeService(context);
  auto document = loadDocument(context, service);
  if (!document) return unexpected(document.error());
  if (context.options.json) {
    context.emitJson(encodeQuickInputDocument(*document));
    return {};
  }
  if (document->profiles.empty()) {
    context.out << "No profiles. Add one with 'orvanta input profile add NAME'.\n";
    return {};
  }
  for (const auto& profile : document->profiles) {
    const bool selected = document->selectedProfileID == profile.id;
    context.out << (selected ? "* " : "  ") << profile.name << "  " << profile.id << '\n';
    if (profile.fields.empty()) context.out << "      (no fields)\n";
    for (const auto& field : profile.fields) {
      context.out << "      " << field.label << " [" << title(field.kind) << "]  " << valueText(field) << "  "
                  << field.id << '\n';
    }
  }
  return {};
}

CommandOutcome reportProfile(CommandContext& context, QuickInputService& service,
                             const expected<QuickInputProfile, QuickInputError>& profile, std::string_view verb) {
  showNotice(context, service);
  if (!profile) return unexpected(failureOf(context, profile.error()));
  if (context.options.json) {
    context.emitJson(encodeQuickInputProfile(*profile));
  } else {
    context.out << "Profile \"" << profile->name << "\" " << verb << ". Id: " << profile->id << '\n';
  }
  return {};
}

// Resolves `idOrName` and hands the profile's id to `action`.
template <typename Action>
CommandOutcome onProfile(CommandContext& context, const std::string& idOrName, std::string_view verb, Action action) {
  auto service = makeService(context);
  auto document = loadDocument(context, service);
  if (!document) return unexpected(document.error());
  auto profile = chosenProfile(context, *document, idOrName);
  if (!profile) return unexpected(profile.error());
  return reportProfile(context, service, action(service, profile->id), verb);
}

// ---- fields ------------------------------------------------------------------------------------------

struct FieldAddOptions {
  std::string kind;
  std::string label;
  std::optional<std::string> value;
  bool secret = false;
  bool noValue = false;
  std::optional<std::string> profile;
};

// Restores the terminal's echo on every way out.
class EchoOff {
 public:
  EchoOff() {
    if (::tcgetattr(STDIN_FILENO, &saved_) != 0) return;
    termios quiet = saved_;
    quiet.c_lflag &= ~static_cast<tcflag_t>(ECHO);
    active_ = ::tcsetattr(STDIN_FILENO, TCSAFLUSH, &quiet) == 0;
  }
  ~EchoOff() {
    if (active_) ::tcsetattr(STDIN_FILENO, TCSAFLUSH, &saved_);
  }
  EchoOff(const EchoOff&) = delete;
  EchoOff& operator=(const EchoOff&) = delete;

 private:
  termios saved_{};
  bool active_ = false;
};

// The secret from the terminal (one line, not shown) or from standard input (all of it, less one final
// line break).
expected<std::string, CommandFailure> readSecret(CommandContext& context, const std::string& label) {
  std::string secret;
  if (context.stdinIsTerminal) {
    context.err << label << " (not shown): " << std::flush;
    expected<std::optional<std::string>, CommandFailure> line;
    {
      EchoOff quiet;
      line = context.readLine(read_budget::payload);
    }
    context.err << '\n';
    // Ctrl-C while typing asks to stop; the line that ends the wait is not kept.
    if (!line) return unexpected(line.error());
    if (context.stop.stop_requested()) return unexpected(CommandFailure::interrupted());
    secret = line->value_or("");
  } else {
    auto input = context.readInput(read_budget::payload);
    if (!input) return unexpected(input.error());
    secret = std::move(*input);
    if (secret.ends_with('\n')) secret.pop_back();
    if (secret.ends_with('\r')) secret.pop_back();
  }
  if (secret.find('\0') != std::string::npos) {
    return unexpected(CommandFailure::failure("invalidValue", "A secret must be text, without NUL characters."));
  }
  return secret;
}

CommandOutcome addField(CommandContext& context, const FieldAddOptions& options) {
  auto kind = quickInputFieldKindFromRaw(options.kind);
  if (!kind) {
    return unexpected(CommandFailure::usage("Unknown kind \"" + options.kind +
                                            "\": use email, username, password, phone, otp or custom."));
  }
  const int choices = (options.value ? 1 : 0) + (options.secret ? 1 : 0) + (options.noValue ? 1 : 0);
  if (choices > 1) return unexpected(CommandFailure::usage("Give only one of --value, --secret and --no-value."));
  if (*kind == QuickInputFieldKind::password && options.value) {
    return unexpected(CommandFailure::usage(
        "A password is never taken from an argument, which other users can see: use --secret, which asks for it."));
  }
  QuickInputFieldDraft draft{*kind, options.label, ValueKind::plain, {}};
  if (options.noValue) {
    draft.valueKind = ValueKind::none;
  } else if (options.secret || (!options.value && *kind == QuickInputFieldKind::password)) {
    draft.valueKind = ValueKind::secret;
  } else if (options.value) {
    draft.value = *options.value;
  } else {
    return unexpected(CommandFailure::usage("Give the value with --value TEXT, --secret, or --no-value."));
  }

  auto service = makeService(context);
  auto document = loadDocument(context, service);
  if (!document) return unexpected(document.error());
  auto profile = chosenProfile(context, *document, options.profile);
  if (!profile) return unexpected(profile.error());
  if (draft.valueKind == ValueKind::secret) {
    auto secret = readSecret(context, options.label);
    if (!secret) return unexpected(secret.error());
    draft.value = std::move(*secret);
  }
  auto field = service.addField(profile->id, draft);
  if (!field) return unexpected(failureOf(context, field.error()));
  if (context.options.json) {
    context.emitJson(encodeQuickInputField(*field));
  } else {
    context.out << "Field \"" << field->label << "\" added to \"" << profile->name << "\"";
    if (field->isSecret) context.out << "; its value is kept in " << context.environment.secretStore().displayName();
    context.out << ". Id: " << field->id << '\n';
  }
  return {};
}

struct FieldChoice {
  std::string field;
  std::optional<std::string> profile;
};

struct ChosenField {
  QuickInputProfile profile;
  QuickInputField field;
};

// The profile (the given one or the selected one) and its field that `choice` names.
expected<ChosenField, CommandFailure> chooseField(CommandContext& context, QuickInputService& service,
                                                  const FieldChoice& choice) {
  auto document = loadDocument(context, service);
  if (!document) return unexpected(document.error());
  auto profile = chosenProfile(context, *document, choice.profile);
  if (!profile) return unexpected(profile.error());
  auto field = chosenField(context, *profile, choice.field);
  if (!field) return unexpected(field.error());
  return ChosenField{std::move(*profile), std::move(*field)};
}

CommandOutcome removeField(CommandContext& context, const FieldChoice& choice) {
  auto service = makeService(context);
  auto chosen = chooseField(context, service, choice);
  if (!chosen) return unexpected(chosen.error());
  const QuickInputProfile* profile = &chosen->profile;
  const QuickInputField* field = &chosen->field;
  auto removed = service.removeField(profile->id, field->id);
  if (!removed) return unexpected(failureOf(context, removed.error()));
  if (context.options.json) {
    context.emitJson(encodeQuickInputField(*removed));
  } else {
    context.out << "Field \"" << removed->label << "\" removed from \"" << profile->name << "\".\n";
  }
  return {};
}

// ---- copy and clear ----------------------------------------------------------------------------------

CommandOutcome copyField(CommandContext& context, const FieldChoice& choice) {
  auto service = makeService(context);
  auto chosen = chooseField(context, service, choice);
  if (!chosen) return unexpected(chosen.error());
  const QuickInputField* field = &chosen->field;
  auto device = requireSelectedTarget(context);
  if (!device) return unexpected(device.error());

  auto copied = service.copyField(*field, device->udid, context.stop);
  if (!copied) return unexpected(failureOf(context, copied.error()));
  if (copied->fingerprintProblem) {
    context.err << "orvanta: warning: 'orvanta input clear' will not be able to clear this copy: "
                << *copied->fingerprintProblem << '\n';
  }
  if (context.options.json) {
    context.emitJson({{"fieldID", field->id},
                      {"label", field->label},
                      {"kind", std::string(rawValue(field->kind))},
                      {"simulatorUDID", device->udid},
                      {"viaHostPasteboard", copied->write.viaHostPasteboard},
                      {"fingerprintStored", !copied->fingerprintProblem}});
  } else {
    context.out << "Copied \"" << field->label << "\" to " << device->name << "'s clipboard";
    if (copied->write.viaHostPasteboard) context.out << " (through this computer's clipboard)";
    context.out << ".\n";
  }
  return {};
}

CommandOutcome clearClipboard(CommandContext& context) {
  auto device = requireSelectedTarget(context);
  if (!device) return unexpected(device.error());
  auto service = makeService(context);
  auto cleared = service.clear(device->udid, device->name, context.stop);
  if (!cleared) return unexpected(failureOf(context, cleared.error()));
  if (context.options.json) {
    context.emitJson({{"cleared", cleared->cleared}, {"message", cleared->message}, {"simulatorUDID", device->udid}});
  } else {
    context.out << cleared->message << '\n';
  }
  return {};
}

}  // namespace

void registerInputCommands(CLI::App& app, CommandRegistry& registry) {
  auto* input = app.add_subcommand("input", "Quick input: profiles of test values to put on the simulator's clipboard");
  input->require_subcommand(1);
  input->footer(
      "Profiles hold labelled fields (email, username, password, phone, otp, custom). Plain values are kept in\n"
      "the settings; secret values only in the system's secret store (the Keychain on macOS, the Secret\n"
      "Service on Linux). A field is named by its label or its id; a profile by its name or its id, and\n"
      "--profile defaults to the selected profile.");

  auto* profiles = input->add_subcommand("profiles", "List the profiles and their fields (secret values never shown)");
  profiles->footer(
      "--json: {schemaVersion, profiles: [{id, name, fields: [{id, kind, label, isSecret, savesValue,\n"
      "plainValue?, secretAccount?}]}], selectedProfileID?}.");
  registry.on(profiles, listProfiles);

  auto* profile = input->add_subcommand("profile", "Add, rename, remove or select a profile");
  profile->require_subcommand(1);
  profile->footer("--json: the profile, {id, name, fields}.");

  auto addName = std::make_shared<std::string>();
  auto* add = profile->add_subcommand("add", "Add a profile (the first one is selected)");
  add->add_option("NAME", *addName, "The profile's name")->required();
  add->footer("--json: {id, name, fields}.");
  registry.on(add, [addName](CommandContext& context) {
    auto service = makeService(context);
    return reportProfile(context, service, service.addProfile(*addName), "added");
  });

  auto renameArgs = std::make_shared<std::pair<std::string, std::string>>();
  auto* rename = profile->add_subcommand("rename", "Give a profile a new name");
  rename->add_option("ID", renameArgs->first, "The profile's id or name")->required();
  rename->add_option("NAME", renameArgs->second, "The new name")->required();
  rename->footer("--json: {id, name, fields}.");
  registry.on(rename, [renameArgs](CommandContext& context) {
    return onProfile(context, renameArgs->first, "renamed", [&](QuickInputService& service, const std::string& id) {
      return service.renameProfile(id, renameArgs->second);
    });
  });

  auto removeID = std::make_shared<std::string>();
  auto* remove = profile->add_subcommand("remove", "Remove a profile, and its fields' secrets");
  remove->add_option("ID", *removeID, "The profile's id or name")->required();
  remove->footer("--json: {id, name, fields} of the removed profile.");
  registry.on(remove, [removeID](CommandContext& context) {
    return onProfile(context, *removeID, "removed",
                     [](QuickInputService& service, const std::string& id) { return service.removeProfile(id); });
  });

  auto selectID = std::make_shared<std::string>();
  auto* select = profile->add_subcommand("select", "Make a profile the one fields and copies use by default");
  select->add_option("ID-OR-NAME", *selectID, "The profile's id or name")->required();
  select->footer("--json: {id, name, fields}.");
  registry.on(select, [selectID](CommandContext& context) {
    return onProfile(context, *selectID, "selected",
                     [](QuickInputService& service, const std::string& id) { return service.selectProfile(id); });
  });

  auto* field = input->add_subcommand("field", "Add or remove a field of a profile");
  field->require_subcommand(1);

  auto fieldAdd = std::make_shared<FieldAddOptions>();
  auto* fieldAddCommand = field->add_subcommand("add", "Add a field at the end of a profile");
  fieldAddCommand->add_option("--kind", fieldAdd->kind, "email, username, password, phone, otp or custom")
      ->required()
      ->option_text("KIND");
  fieldAddCommand->add_option("--label", fieldAdd->label, "What the field is called")->required()->option_text("TEXT");
  fieldAddCommand->add_option("--value", fieldAdd->value, "A plain value, kept in the settings (never a password)")
      ->option_text("TEXT");
  fieldAddCommand->add_flag("--secret", fieldAdd->secret,
                            "Keep the value in the secret store; it is read from the terminal without echo, or "
                            "from standard input when that is not a terminal");
  fieldAddCommand->add_flag("--no-value", fieldAdd->noValue, "Keep no value (a reminder only)");
  fieldAddCommand->add_option("--profile", fieldAdd->profile, "The profile (default: the selected one)")
      ->option_text("ID-OR-NAME");
  fieldAddCommand->footer(
      "A password field is always secret: without --secret or --no-value its value is asked for as with\n"
      "--secret. A secret never travels in an argument: arguments are visible to every user of the computer.\n"
      "  printf %s \"$PASSWORD\" | orvanta input field add --kind password --label Password --secret\n"
      "--json: {id, kind, label, isSecret, savesValue, plainValue?, secretAccount?}.");
  registry.on(fieldAddCommand, [fieldAdd](CommandContext& context) { return addField(context, *fieldAdd); });

  auto fieldRemove = std::make_shared<FieldChoice>();
  auto* fieldRemoveCommand = field->add_subcommand("remove", "Remove a field, and its secret");
  fieldRemoveCommand->add_option("FIELD", fieldRemove->field, "The field's label or id")->required();
  fieldRemoveCommand->add_option("--profile", fieldRemove->profile, "The profile (default: the selected one)")
      ->option_text("ID-OR-NAME");
  fieldRemoveCommand->footer("--json: the removed field, {id, kind, label, isSecret, savesValue, ...}.");
  registry.on(fieldRemoveCommand,
              [fieldRemove](CommandContext& context) { return removeField(context, *fieldRemove); });

  auto copyChoice = std::make_shared<FieldChoice>();
  auto* copy = input->add_subcommand("copy", "Put a field's value on the target simulator's clipboard");
  copy->add_option("FIELD", copyChoice->field, "The field's label or id")->required();
  copy->add_option("--profile", copyChoice->profile, "The profile (default: the selected one)")
      ->option_text("ID-OR-NAME");
  copy->footer(
      "The value is written with simctl pbcopy and read back with pbpaste before success is reported; when the\n"
      "simulator did not take it, it goes once through this computer's clipboard (and is taken off it again).\n"
      "A keyed fingerprint of the value (never the value) is remembered, so that 'orvanta input clear' can\n"
      "later empty the clipboard while it still holds that value.\n"
      "--json: {fieldID, label, kind, simulatorUDID, viaHostPasteboard, fingerprintStored}.");
  registry.on(copy, [copyChoice](CommandContext& context) { return copyField(context, *copyChoice); });

  auto* clear = input->add_subcommand("clear", "Empty the target's clipboard if it still holds what orvanta copied");
  clear->footer(
      "Anything else on the clipboard (something copied in the simulator since) is left alone, and the command\n"
      "says \"Nothing Orvanta copied is waiting to be cleared\" (exit 0).\n"
      "--json: {cleared, message, simulatorUDID}.");
  registry.on(clear, clearClipboard);
}

}  // namespace orvanta
