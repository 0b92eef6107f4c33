// orvanta panel: starts the desktop panel, orvanta-panel, in place of this process.
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <iostream>
#include <ostream>

#include "cli/command.hpp"
#include "cli/commands.hpp"
#include "core/host_pasteboard.hpp"
#include "support/app_paths.hpp"
#include "support/file_error.hpp"

namespace orvanta {
namespace {

struct PanelOptions {
  std::optional<std::string> render;
  std::optional<std::string> gpx;
};

// The panel installed beside this program, else one on $PATH.
std::optional<std::filesystem::path> panelProgram() {
  if (auto self = runningExecutable()) {
    auto beside = self->parent_path() / "orvanta-panel";
    if (::access(beside.c_str(), X_OK) == 0) return beside;
  }
  return detail::findOnPath({"orvanta-panel"});
}

CommandOutcome startPanel(CommandContext& context, const PanelOptions& options) {
  if (context.options.json) return unexpected(CommandFailure::usage("The panel has no --json output."));
  auto program = panelProgram();
  if (!program) {
    return unexpected(CommandFailure::failure(
        "panelNotInstalled", "The panel, orvanta-panel, is not installed beside orvanta or on the PATH.",
        {"It is built where Qt 6 is found: 'scripts/bootstrap' installs it, then build again."}));
  }
  std::vector<std::string> words{program->string()};
  if (context.options.xcrun) words.insert(words.end(), {"--xcrun", *context.options.xcrun});
  if (options.render) words.insert(words.end(), {"--render", *options.render});
  if (options.gpx) words.insert(words.end(), {"--gpx", *options.gpx});
  std::vector<char*> argv;
  for (auto& word : words) argv.push_back(word.data());
  argv.push_back(nullptr);
  context.out.flush();
  context.err.flush();
  std::cout.flush();
  ::execv(argv[0], argv.data());
  return unexpected(CommandFailure::failure("panelNotStarted",
                                            "Could not start " + program->string() + ": " + systemMessage(errno)));
}

}  // namespace

void registerPanelCommands(CLI::App& app, CommandRegistry& registry) {
  auto options = std::make_shared<PanelOptions>();
  auto* panel = app.add_subcommand("panel", "Open the desktop panel beside the simulator");
  panel->add_option("--render", options->render,
                    "Write a picture of each page into DIR (devices.png, apps.png, ...) and one of the command palette, "
                    "and exit; without a display it draws offscreen")
      ->type_name("DIR");
  panel->add_option("--gpx", options->gpx, "With --render: open FILE on the Location page first")->type_name("FILE");
  panel->footer(
      "Pages: Devices, Apps, Controls, Location, Push, Privacy, Deep links, Console, Captures, Quick input,\n"
      "Scenarios, Workspaces. Ctrl-K (Cmd-K on a Mac) searches every action of every page.\n\n"
      "The panel acts on the remembered target ('orvanta target set NAME'), as the commands do without\n"
      "--device, and never picks one by itself. --xcrun is passed on.");
  registry.on(panel, [options](CommandContext& context) { return startPanel(context, *options); });
}

}  // namespace orvanta
