// orvanta doctor
#include <CLI/CLI.hpp>
#include <nlohmann/json.hpp>
#include <ostream>

#include "cli/command.hpp"
#include "cli/commands.hpp"
#include "app/environment.hpp"
#include "app/result_json.hpp"
#include "core/toolchain_doctor.hpp"

namespace orvanta {
namespace {

CommandOutcome doctor(CommandContext& context) {
  const DoctorInputs inputs = context.environment.doctorInputs();

  const auto checks = runDoctor(inputs, context.stop);
  if (context.stop.stop_requested()) return unexpected(CommandFailure::interrupted());
  bool failed = false;
  std::size_t width = 0;
  for (const auto& check : checks) width = std::max(width, check.name.size());
  for (const auto& check : checks) {
    failed = failed || check.status == DoctorCheck::Status::failed;
    if (!context.options.json) {
      const auto word = statusWord(check.status);
      context.out << word << std::string(8 - word.size(), ' ') << check.name << std::string(width - check.name.size() + 2, ' ')
                  << check.message << '\n';
    }
  }
  if (context.options.json) context.emitJson(doctorJson(checks));
  if (failed) {
    return unexpected(CommandFailure::failure("checksFailed", "Some checks failed; see the lines marked failed."));
  }
  return {};
}

}  // namespace

void registerDoctorCommands(CLI::App& app, CommandRegistry& registry) {
  auto* command = app.add_subcommand("doctor", "Check the toolchain and folders Orvanta needs");
  command->footer(
      "One line per check: ok, warning or failed, with what to do. Checks: the xcrun in use, the selected\n"
      "developer folder (xcode-select -p, DEVELOPER_DIR; macOS only), simctl and its version, that\n"
      "'simctl list devices --json' gives a non-empty document, booted simulators, and that the settings and\n"
      "application-support folders can be written. Exit 1 when any check failed.\n"
      "--json: {checks: [{name, status: ok|warning|failed, message}]}.");
  registry.on(command, doctor);
}

}  // namespace orvanta
