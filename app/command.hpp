// What every command of the program shares: the global options, the outcome type and the context a
// command runs in.
#pragma once

#include <functional>
#include <iosfwd>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>
#include "support/stop_token.hpp"

#include <nlohmann/json_fwd.hpp>

#include "support/expected.hpp"

namespace CLI {
class App;
}

namespace orvanta {

struct GlobalOptions {
  std::optional<std::string> device;  // --device UDID-OR-NAME
  bool json = false;                  // --json
  std::optional<std::string> xcrun;   // --xcrun PATH (else ORVANTA_XCRUN, else /usr/bin/xcrun)
  bool yes = false;                   // --yes
};

// Why a command did not complete. `caseName` is the error case scripts see in --json output, `message`
// the exact sentence, `hints` further lines for people.
struct CommandFailure {
  enum class Kind { failed, usage, interrupted };
  Kind kind = Kind::failed;
  std::string caseName;
  std::string message;
  std::vector<std::string> hints;
  // With --json: members written beside "error" in the one document on stdout (for example the list of
  // problems that the message summarises).
  std::shared_ptr<const nlohmann::json> details;
  // The failure is the command's outcome even when a stop was requested: the stop was part of its normal
  // course (Ctrl-C ends a log stream), and what failed came after it. Otherwise a failure after a stop
  // request is reported as the interruption.
  bool outlastsStop = false;

  static CommandFailure failure(std::string caseName, std::string message, std::vector<std::string> hints = {});
  static CommandFailure usage(std::string message, std::vector<std::string> hints = {});
  static CommandFailure interrupted();
};

using CommandOutcome = expected<void, CommandFailure>;

// The exit status for an outcome: 0 done, 1 failed or refused, 2 usage, 130 interrupted.
int exitStatusFor(const CommandOutcome& outcome);

class Environment;

// Handed to the command that runs. Used on the main thread only.
struct CommandContext {
  const GlobalOptions& options;
  orvanta::stop_token stop;
  std::ostream& out;
  std::ostream& err;
  Environment& environment;
  bool stdinIsTerminal = false;
  std::istream* in = nullptr;
  // The descriptor behind `out` when it is one (the program's standard output), for commands that write
  // much output on a thread of their own; -1 when there is none. Flush `out` before writing to it.
  int outFd = -1;

  // Writes one JSON document (pretty, with a final newline) on stdout.
  void emitJson(const nlohmann::json& document) const;
  // Asks a yes/no question on a terminal; --yes answers yes. Without a terminal and without --yes the
  // confirmation is refused with a sentence that names --yes.
  [[nodiscard]] CommandOutcome confirm(const std::string& question) const;
};

using CommandAction = std::function<CommandOutcome(CommandContext&)>;

// The action of each (sub)command; after parsing, the deepest command given on the line is the one to run.
class CommandRegistry {
 public:
  void on(CLI::App* command, CommandAction action);
  // The action of the innermost parsed subcommand of `root`; empty when it has none.
  [[nodiscard]] CommandAction selected(CLI::App& root) const;

 private:
  std::map<const CLI::App*, CommandAction> actions_;
};

}  // namespace orvanta
