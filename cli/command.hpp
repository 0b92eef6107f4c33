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

#include "app/command_failure.hpp"
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

class Environment;

// Handed to the command that runs. Used on the main thread only.
struct CommandContext {
  CommandContext(const GlobalOptions& options_, orvanta::stop_token stop_, std::ostream& out_, std::ostream& err_,
                 Environment& environment_, bool stdinIsTerminal_, int inputFd_, int outFd_)
      : options(options_),
        stop(std::move(stop_)),
        out(out_),
        err(err_),
        environment(environment_),
        stdinIsTerminal(stdinIsTerminal_),
        inputFd(inputFd_),
        outFd(outFd_) {}

  const GlobalOptions& options;
  orvanta::stop_token stop;
  std::ostream& out;
  std::ostream& err;
  Environment& environment;
  bool stdinIsTerminal = false;
  // Standard input's descriptor; -1 when there is none to read.
  int inputFd = -1;
  // The descriptor behind `out` when it is one (the program's standard output), for commands that write
  // much output on a thread of their own; -1 when there is none (or when what is written must pass the
  // terminal's escaping). Flush `out` before writing to it.
  int outFd = -1;

  // The command's one JSON document. It is written (pretty, with a final newline) when the command ends:
  // as it is on success, or with "error" among its members when the command then fails, so that stdout
  // always holds exactly one document.
  void emitJson(const nlohmann::json& document) const;
  // For commands that print NDJSON themselves (one object per line as results come): a failure is then
  // written as one more compact line instead of a document.
  void printsJsonLines() const { jsonLines_ = true; }

  // What emitJson kept, and whether the command prints lines; read by the command line when it reports.
  [[nodiscard]] const std::shared_ptr<const nlohmann::json>& pendingJson() const { return pendingJson_; }
  [[nodiscard]] bool jsonLines() const { return jsonLines_; }
  // Asks a yes/no question on a terminal; --yes answers yes. Without a terminal and without --yes the
  // confirmation is refused with a sentence that names --yes.
  [[nodiscard]] CommandOutcome confirm(const std::string& question) const;
  // All of standard input (for an argument "-"), at most `maxBytes`. Ctrl-C ends the wait (interrupted).
  [[nodiscard]] expected<std::string, CommandFailure> readInput(std::size_t maxBytes) const;
  // The items of an imported document, from a file or "-" (standard input), read within the library's
  // budget: a whole saved document's "items", an array of items, or one item as an array of one.
  [[nodiscard]] expected<nlohmann::json, CommandFailure> readImportedItems(const std::string& source) const;
  // One saved item (with `id`) as a document of its own, {"formatVersion": 1, "items": [item]}: on stdout
  // for "" or "-", else written to `file` atomically and reported ("Exported to FILE"; --json {path, id}).
  [[nodiscard]] CommandOutcome writeExportedItem(const std::string& file, const nlohmann::json& item,
                                                 const std::string& id) const;
  // One line of standard input (an answer at a prompt); nullopt at its end. Ctrl-C ends the wait.
  [[nodiscard]] expected<std::optional<std::string>, CommandFailure> readLine(std::size_t maxBytes) const;

 private:
  mutable std::shared_ptr<const nlohmann::json> pendingJson_;
  mutable bool jsonLines_ = false;
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
