// orvanta completion bash|zsh|fish, and `completion devices` (the names the scripts offer for --device)
//
// The scripts are generated from the command tree itself, so they always know every command, option and
// enumerated value (an option's allowed words come from its check). Device names are not baked in: the
// scripts ask `orvanta completion devices` when a device is to be completed.
#include <CLI/CLI.hpp>
#include <algorithm>
#include <nlohmann/json.hpp>
#include <ostream>
#include <sstream>

#include "cli/command.hpp"
#include "cli/commands.hpp"
#include "app/environment.hpp"
#include "cli/target_resolution.hpp"

namespace orvanta {
namespace {

constexpr std::string_view kDevicesMarker = "@devices";

struct OptionSpec {
  std::vector<std::string> names;   // "--filter", "-d"
  bool takesValue = false;
  std::vector<std::string> values;  // allowed words, or {kDevicesMarker}
};

struct CommandSpec {
  std::string path;  // "" for the program, "app launch"
  std::vector<std::string> subcommands;
  std::vector<OptionSpec> options;
  std::vector<std::string> positionalValues;  // words for the first positional argument
};

// The words of an IsMember check, read back from the option's type text ("TEXT:{all,user,system}").
std::vector<std::string> allowedWords(const CLI::Option& option) {
  const std::string type = option.get_type_name();
  const auto open = type.find('{');
  const auto close = type.find('}', open);
  std::vector<std::string> words;
  if (open == std::string::npos || close == std::string::npos) return words;
  std::stringstream list(type.substr(open + 1, close - open - 1));
  for (std::string word; std::getline(list, word, ',');) {
    if (!word.empty()) words.push_back(word);
  }
  return words;
}

bool namesADevice(const std::string& path, const std::string& positionalName) {
  return positionalName == "UDID-OR-NAME" || positionalName == "NAME-OR-UDID" ||
         (path == "target set" && !positionalName.empty());
}

void collect(const CLI::App& command, const std::string& path, std::vector<CommandSpec>& specs) {
  CommandSpec spec;
  spec.path = path;
  for (const auto* sub : command.get_subcommands({})) spec.subcommands.push_back(sub->get_name());
  for (const auto* option : command.get_options()) {
    if (option->get_positional()) {
      if (spec.positionalValues.empty()) {
        spec.positionalValues = namesADevice(path, option->get_name())
                                    ? std::vector<std::string>{std::string(kDevicesMarker)}
                                    : allowedWords(*option);
      }
      continue;
    }
    OptionSpec entry;
    for (const auto& name : option->get_snames()) entry.names.push_back("-" + name);
    for (const auto& name : option->get_lnames()) entry.names.push_back("--" + name);
    entry.takesValue = option->get_items_expected_min() > 0;
    const bool device = std::find(entry.names.begin(), entry.names.end(), "--device") != entry.names.end();
    entry.values = device ? std::vector<std::string>{std::string(kDevicesMarker)} : allowedWords(*option);
    if (!entry.names.empty()) spec.options.push_back(std::move(entry));
  }
  specs.push_back(std::move(spec));
  for (const auto* sub : command.get_subcommands({})) {
    collect(*sub, path.empty() ? sub->get_name() : path + " " + sub->get_name(), specs);
  }
}

std::vector<CommandSpec> commandTree() {
  // The program's own options, as runCommandLine declares them.
  CLI::App app("orvanta", "orvanta");
  std::string text;
  bool flag = false;
  app.add_option("-d,--device", text);
  app.add_flag("--json", flag);
  app.add_option("--xcrun", text);
  app.add_flag("-y,--yes", flag);
  app.add_flag("--version", flag);
  CommandRegistry registry;
  registerCommands(app, registry);
  std::vector<CommandSpec> specs;
  collect(app, "", specs);
  return specs;
}

std::string joined(const std::vector<std::string>& words) {
  std::string text;
  for (const auto& word : words) text += (text.empty() ? "" : " ") + word;
  return text;
}

// The options of the program itself, accepted at every level.
const CommandSpec& root(const std::vector<CommandSpec>& specs) { return specs.front(); }

std::vector<OptionSpec> optionsAt(const std::vector<CommandSpec>& specs, const CommandSpec& spec) {
  auto options = spec.options;
  if (&spec != &root(specs)) options.insert(options.end(), root(specs).options.begin(), root(specs).options.end());
  return options;
}

// The data functions both script languages share, written as case statements in `shell`'s syntax.
std::string bashScript(const std::vector<CommandSpec>& specs) {
  std::ostringstream s;
  s << "# orvanta completion for bash (and zsh through bashcompinit). Load it with:\n"
       "#   source <(orvanta completion bash)\n"
       "_orvanta_subcommands() {\n  case \"$1\" in\n";
  for (const auto& spec : specs) {
    if (!spec.subcommands.empty()) s << "    \"" << spec.path << "\") echo \"" << joined(spec.subcommands) << "\" ;;\n";
  }
  s << "  esac\n}\n_orvanta_options() {\n  case \"$1\" in\n";
  for (const auto& spec : specs) {
    std::vector<std::string> names;
    for (const auto& option : optionsAt(specs, spec)) names.insert(names.end(), option.names.begin(), option.names.end());
    names.push_back("--help");
    s << "    \"" << spec.path << "\") echo \"" << joined(names) << "\" ;;\n";
  }
  s << "  esac\n}\n# Prints the words for the value of option $2 at command $1; fails when $2 takes no value.\n"
       "_orvanta_option_values() {\n  case \"$1|$2\" in\n";
  for (const auto& spec : specs) {
    for (const auto& option : optionsAt(specs, spec)) {
      if (!option.takesValue) continue;
      for (const auto& name : option.names) {
        s << "    \"" << spec.path << "|" << name << "\") echo \"" << joined(option.values) << "\" ;;\n";
      }
    }
  }
  s << "    *) return 1 ;;\n  esac\n}\n_orvanta_positional_values() {\n  case \"$1\" in\n";
  for (const auto& spec : specs) {
    if (!spec.positionalValues.empty()) {
      s << "    \"" << spec.path << "\") echo \"" << joined(spec.positionalValues) << "\" ;;\n";
    }
  }
  s << R"SH(  esac
}
# Sets COMPREPLY to the words of $1 (split on blanks) that begin with $2.
_orvanta_match() {
  local word
  COMPREPLY=()
  for word in $1; do
    [[ $word == "$2"* ]] && COMPREPLY+=("$word")
  done
}
_orvanta_words() {
  local words=$1 cur=$2
  if [[ $words == "@devices" ]]; then
    # A name with spaces is typed escaped (iPhone\ 1) or after a quote ("iPhone 1): compare it in the
    # form it was typed, and offer it escaped.
    local IFS=$'\n' name quoted plain=$cur
    [[ $plain == [\"\']* ]] && plain=${plain:1}
    COMPREPLY=()
    while IFS= read -r name; do
      quoted=$(printf '%q' "$name")
      if [[ $quoted == "$cur"* || $name == "$plain"* ]]; then COMPREPLY+=("$quoted"); fi
    done < <("${_orvanta_program:-orvanta}" completion devices 2>/dev/null)
  else
    _orvanta_match "$words" "$cur"
  fi
}
_orvanta() {
  # Under zsh's bashcompinit, arrays must count from 0 and words split as in bash. (No variable here may
  # be called "path": zsh ties that name to PATH.)
  [[ -n ${ZSH_VERSION-} ]] && setopt local_options ksh_arrays sh_word_split
  local cur=${COMP_WORDS[COMP_CWORD]} prev=${COMP_WORDS[COMP_CWORD-1]}
  local at="" word i skip=0 subs values
  _orvanta_program=${COMP_WORDS[0]}
  for ((i = 1; i < COMP_CWORD; i++)); do
    word=${COMP_WORDS[i]}
    if ((skip)); then skip=0; continue; fi
    if [[ $word == -* ]]; then
      _orvanta_option_values "$at" "$word" >/dev/null && skip=1
      continue
    fi
    subs=" $(_orvanta_subcommands "$at") "
    [[ $subs == *" $word "* ]] && at="${at:+$at }$word"
  done
  if [[ $COMP_CWORD -gt 1 && $prev == -* ]] && values=$(_orvanta_option_values "$at" "$prev"); then
    _orvanta_words "$values" "$cur"
    return 0
  fi
  if [[ $cur == -* ]]; then
    _orvanta_match "$(_orvanta_options "$at")" "$cur"
    return 0
  fi
  subs=$(_orvanta_subcommands "$at")
  if [[ -n $subs ]]; then
    _orvanta_match "$subs" "$cur"
  else
    _orvanta_words "$(_orvanta_positional_values "$at")" "$cur"
  fi
  return 0
}
complete -F _orvanta orvanta
)SH";
  return s.str();
}

std::string zshScript(const std::vector<CommandSpec>& specs) {
  return "# orvanta completion for zsh. Load it with:\n"
         "#   source <(orvanta completion zsh)\n"
         "autoload -U +X compinit && compinit\n"
         "autoload -U +X bashcompinit && bashcompinit\n" +
         bashScript(specs);
}

std::string fishQuoted(const std::string& text) {
  std::string quoted = "'";
  for (char c : text) {
    if (c == '\'' || c == '\\') quoted += '\\';
    quoted += c;
  }
  return quoted + "'";
}

std::string fishScript(const std::vector<CommandSpec>& specs) {
  std::ostringstream s;
  s << "# orvanta completion for fish. Load it with:\n"
       "#   orvanta completion fish | source\n"
       "function __orvanta_subcommands\n    switch $argv[1]\n";
  for (const auto& spec : specs) {
    if (spec.subcommands.empty()) continue;
    s << "        case " << fishQuoted(spec.path) << "\n";
    for (const auto& sub : spec.subcommands) s << "            echo " << sub << "\n";
  }
  s << "    end\nend\nfunction __orvanta_options\n    switch $argv[1]\n";
  for (const auto& spec : specs) {
    s << "        case " << fishQuoted(spec.path) << "\n";
    for (const auto& option : optionsAt(specs, spec)) {
      for (const auto& name : option.names) s << "            echo -- " << name << "\n";
    }
    s << "            echo -- --help\n";
  }
  s << "    end\nend\nfunction __orvanta_option_values\n    switch \"$argv[1]|$argv[2]\"\n";
  for (const auto& spec : specs) {
    for (const auto& option : optionsAt(specs, spec)) {
      if (!option.takesValue) continue;
      for (const auto& name : option.names) {
        s << "        case " << fishQuoted(spec.path + "|" + name) << "\n            echo "
          << (option.values.empty() ? "''" : joined(option.values)) << "\n";
      }
    }
  }
  s << "        case '*'\n            return 1\n    end\nend\nfunction __orvanta_positional_values\n"
       "    switch $argv[1]\n";
  for (const auto& spec : specs) {
    if (spec.positionalValues.empty()) continue;
    s << "        case " << fishQuoted(spec.path) << "\n            echo " << joined(spec.positionalValues) << "\n";
  }
  s << R"FISH(    end
end
function __orvanta_say
    for word in (string split ' ' -- $argv[1])
        if test "$word" = '@devices'
            set -l program (commandline -opc)[1]
            command $program completion devices 2>/dev/null
        else if test -n "$word"
            echo $word
        end
    end
end
function __orvanta_complete
    set -l words (commandline -opc)
    set -l current (commandline -ct)
    set -l at ''
    set -l skip 0
    for word in $words[2..-1]
        if test $skip = 1
            set skip 0
            continue
        end
        if string match -q -- '-*' $word
            if __orvanta_option_values "$at" $word >/dev/null
                set skip 1
            end
            continue
        end
        if contains -- $word (__orvanta_subcommands "$at")
            set at (string trim -- "$at $word")
        end
    end
    if test (count $words) -gt 1; and string match -q -- '-*' $words[-1]
        set -l values (__orvanta_option_values "$at" $words[-1])
        and begin
            __orvanta_say "$values"
            return
        end
    end
    if string match -q -- '-*' $current
        __orvanta_options "$at"
        return
    end
    set -l subs (__orvanta_subcommands "$at")
    if test (count $subs) -gt 0
        printf '%s\n' $subs
    else
        __orvanta_say (__orvanta_positional_values "$at")
    end
end
complete -c orvanta -f -a '(__orvanta_complete)'
)FISH";
  return s.str();
}

CommandOutcome printScript(CommandContext& context, const std::string& shell) {
  const auto specs = commandTree();
  if (shell == "bash") {
    context.out << bashScript(specs);
  } else if (shell == "zsh") {
    context.out << zshScript(specs);
  } else {
    context.out << fishScript(specs);
  }
  return {};
}

CommandOutcome printDevices(CommandContext& context) {
  if (auto refreshed = refreshDevices(context); !refreshed) return refreshed;
  std::vector<std::string> names;
  for (const auto& device : context.environment.discovery().devices()) {
    if (std::find(names.begin(), names.end(), device.name) == names.end()) names.push_back(device.name);
  }
  for (const auto& name : names) context.out << name << '\n';
  for (const auto& device : context.environment.discovery().devices()) context.out << device.udid << '\n';
  return {};
}

}  // namespace

void registerCompletionCommands(CLI::App& app, CommandRegistry& registry) {
  auto* completion = app.add_subcommand("completion", "Print a shell completion script (bash, zsh or fish)");
  completion->footer(
      "bash: source <(orvanta completion bash)      zsh: source <(orvanta completion zsh)\n"
      "fish: orvanta completion fish | source\n"
      "Completes commands, options and their listed values; device names come from 'orvanta completion\n"
      "devices' (the listed simulators' names, then their udids, one per line) when they are completed.");
  auto shell = std::make_shared<std::string>();
  completion->add_option("SHELL", *shell, "bash, zsh or fish")->check(CLI::IsMember({"bash", "zsh", "fish"}));
  registry.on(completion, [shell](CommandContext& context) -> CommandOutcome {
    if (shell->empty()) return unexpected(CommandFailure::usage("Name a shell: bash, zsh or fish.",
                                                                {"Run 'orvanta completion --help' for usage."}));
    return printScript(context, *shell);
  });
  auto* devices = completion->add_subcommand("devices", "The listed simulators' names, then their udids, one per line");
  registry.on(devices, printDevices);
}

}  // namespace orvanta
