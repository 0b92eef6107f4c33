#include "cli/command.hpp"

#include <CLI/CLI.hpp>
#include <iostream>
#include <nlohmann/json.hpp>

#include "support/atomic_file.hpp"
#include "support/input_reader.hpp"
#include "support/json_text.hpp"
#include "support/versioned_document_store.hpp"

namespace orvanta {

void CommandContext::emitJson(const nlohmann::json& document) const {
  pendingJson_ = std::make_shared<const nlohmann::json>(document);
}

CommandOutcome CommandContext::confirm(const std::string& question) const {
  if (options.yes) return {};
  if (!stdinIsTerminal || inputFd < 0) {
    return unexpected(CommandFailure::failure(
        "confirmationRequired", "This needs a confirmation and standard input is not a terminal; pass --yes to confirm."));
  }
  err << question << " [y/N] " << std::flush;
  auto line = readLine(1024);
  if (!line) {
    err << '\n';
    return unexpected(line.error());
  }
  const std::string answer = line->value_or("");
  if (answer == "y" || answer == "Y" || answer == "yes" || answer == "Yes" || answer == "YES") return {};
  return unexpected(CommandFailure::failure("declined", "Not confirmed; nothing was changed."));
}

namespace {
CommandFailure inputFailure(const InputError& error) {
  switch (error.kind) {
    case InputError::Case::stopped: return CommandFailure::interrupted();
    case InputError::Case::tooLarge: return CommandFailure::failure("inputTooLarge", error.description());
    case InputError::Case::readFailed: return CommandFailure::failure("readFailed", error.description());
  }
  return CommandFailure::failure("readFailed", error.description());
}
}  // namespace

expected<std::string, CommandFailure> CommandContext::readInput(std::size_t maxBytes) const {
  if (inputFd < 0) return unexpected(CommandFailure::usage("Standard input cannot be read."));
  auto text = readAllInput(inputFd, maxBytes, stop);
  if (!text) return unexpected(inputFailure(text.error()));
  return std::move(*text);
}

expected<nlohmann::json, CommandFailure> CommandContext::readImportedItems(const std::string& source) const {
  std::string text;
  if (source == "-") {
    auto input = readInput(read_budget::library);
    if (!input) return unexpected(input.error());
    text = std::move(*input);
  } else {
    auto content = readFile(source, read_budget::library);
    if (!content) {
      return unexpected(CommandFailure::failure(std::string(content.error().caseName()), content.error().description()));
    }
    if (!*content) return unexpected(CommandFailure::failure("readFailed", "There is no file at " + source + "."));
    text = std::move(**content);
  }
  auto items = importedItems(text);
  if (!items) return unexpected(CommandFailure::failure("invalidFile", items.error()));
  return std::move(*items);
}

CommandOutcome CommandContext::writeExportedItem(const std::string& file, const nlohmann::json& item,
                                                const std::string& id) const {
  const std::string text = exportedItemText(item);
  if (file.empty() || file == "-") {
    out << text;
    return {};
  }
  if (auto written = writeFileAtomically(file, text, 0644); !written) {
    return unexpected(CommandFailure::failure(std::string(written.error().caseName()), written.error().description()));
  }
  if (options.json) {
    emitJson({{"path", file}, {"id", id}});
  } else {
    out << "Exported to " << file << '\n';
  }
  return {};
}

expected<std::optional<std::string>, CommandFailure> CommandContext::readLine(std::size_t maxBytes) const {
  if (inputFd < 0) return std::optional<std::string>();
  auto line = readInputLine(inputFd, maxBytes, stop);
  if (!line) return unexpected(inputFailure(line.error()));
  return std::move(*line);
}

void CommandRegistry::on(CLI::App* command, CommandAction action) { actions_[command] = std::move(action); }

CommandAction CommandRegistry::selected(CLI::App& root) const {
  CLI::App* current = &root;
  for (auto subcommands = current->get_subcommands(); !subcommands.empty(); subcommands = current->get_subcommands()) {
    current = subcommands.front();
  }
  auto found = actions_.find(current);
  return found == actions_.end() ? CommandAction() : found->second;
}

}  // namespace orvanta
