// orvanta media add FILE..., orvanta keychain reset|add-root-cert|add-cert
#include <CLI/CLI.hpp>
#include <nlohmann/json.hpp>
#include <ostream>

#include "cli/app_data_session.hpp"
#include "cli/commands.hpp"
#include "app/environment.hpp"
#include "tools/app_data/file_bridge_service.hpp"
#include "tools/app_data/structured_document.hpp"

namespace orvanta {
namespace {

using Json = nlohmann::json;

CommandOutcome addMedia(CommandContext& context, const std::vector<std::string>& files) {
  AppDataSession session(context);
  if (auto resolved = session.resolve(); !resolved) return resolved;
  FileBridgeService bridge(context.environment.simctl(), context.environment.gate());
  std::vector<std::filesystem::path> paths(files.begin(), files.end());
  auto added = bridge.addMedia(session.udid(), paths, context.stop);
  if (!added) return unexpected(session.failure(added.error()));
  if (context.options.json) {
    Json list = Json::array();
    for (const auto& item : *added) list.push_back({{"path", item.path.string()}, {"kind", std::string(rawValue(item.kind))}});
    context.emitJson({{"simulatorUDID", session.udid()}, {"added", std::move(list)}});
    return {};
  }
  for (const auto& item : *added) {
    context.out << "Added " << rawValue(item.kind) << ' ' << escapedForTerminal(item.path.filename().string()) << " to "
                << session.device().name << ".\n";
  }
  return {};
}

CommandOutcome resetKeychain(CommandContext& context) {
  AppDataSession session(context);
  if (auto resolved = session.resolve(); !resolved) return resolved;
  const std::string question =
      "Remove every keychain item of every app on " + session.device().name + "? This cannot be undone.";
  if (auto confirmed = context.confirm(question); !confirmed) return confirmed;
  FileBridgeService bridge(context.environment.simctl(), context.environment.gate());
  if (auto done = bridge.resetKeychain(session.udid(), context.stop); !done) return unexpected(session.failure(done.error()));
  if (context.options.json) {
    context.emitJson({{"simulatorUDID", session.udid()}, {"action", "reset"}});
  } else {
    context.out << "Reset the keychain of " << session.device().name << ".\n";
  }
  return {};
}

CommandOutcome addCertificate(CommandContext& context, const std::string& file, CertificateTrust trust) {
  AppDataSession session(context);
  if (auto resolved = session.resolve(); !resolved) return resolved;
  FileBridgeService bridge(context.environment.simctl(), context.environment.gate());
  if (auto done = bridge.addCertificate(session.udid(), file, trust, context.stop); !done) {
    return unexpected(session.failure(done.error()));
  }
  const char* action = trust == CertificateTrust::root ? "add-root-cert" : "add-cert";
  if (context.options.json) {
    context.emitJson({{"simulatorUDID", session.udid()}, {"action", action}, {"path", file}});
  } else {
    context.out << "Added " << (trust == CertificateTrust::root ? "the trusted root certificate " : "the certificate ")
                << escapedForTerminal(file) << " to the keychain of " << session.device().name << ".\n";
  }
  return {};
}

}  // namespace

void registerMediaKeychainCommands(CLI::App& app, CommandRegistry& registry) {
  auto files = std::make_shared<std::vector<std::string>>();
  auto* media = app.add_subcommand("media", "Add photos, videos and contacts to the target simulator");
  media->require_subcommand(1);
  auto* add = media->add_subcommand("add", "Add files to the simulator's photo library or contacts");
  add->add_option("FILE", *files, "Photos (.jpg .png .heic ...), videos (.mov .mp4 .m4v), contacts (.vcf)")
      ->required();
  add->footer("A photo and a video given together become a live photo.\n"
              "Example: orvanta media add beach.heic beach.mov contacts.vcf\n"
              "--json: {simulatorUDID, added: [{path, kind: photo|video|contact}]}.");
  registry.on(add, [files](CommandContext& context) { return addMedia(context, *files); });

  auto* keychain = app.add_subcommand("keychain", "Reset the target simulator's keychain, or add certificates to it");
  keychain->require_subcommand(1);
  auto* reset = keychain->add_subcommand("reset", "Remove every app's keychain items (asks first)");
  reset->footer("Asks on a terminal; pass --yes to skip the question (required when stdin is not a terminal).\n"
                "--json: {simulatorUDID, action}.");
  registry.on(reset, [](CommandContext& context) { return resetKeychain(context); });
  auto certificate = std::make_shared<std::string>();
  for (auto [word, trust, help] : {std::tuple{"add-root-cert", CertificateTrust::root, "Add a certificate as a trusted root"},
                                   std::tuple{"add-cert", CertificateTrust::leaf, "Add a certificate"}}) {
    auto* command = keychain->add_subcommand(word, help);
    command->add_option("FILE", *certificate, "The certificate (PEM or DER)")->required();
    command->footer("--json: {simulatorUDID, action, path}.");
    const CertificateTrust chosen = trust;
    registry.on(command, [certificate, chosen](CommandContext& context) {
      return addCertificate(context, *certificate, chosen);
    });
  }
}

}  // namespace orvanta
