#include <fmt/format.h>

#include <string_view>

#include "pages/pages.h"

namespace pages {
namespace {

/// How the completion of a program starts that takes a command and then options and files.
constexpr std::string_view kBashHead = R"(# bash completion of vexa-stats

_vexa_stats() {
  local word=${COMP_WORDS[COMP_CWORD]} before=${COMP_WORDS[COMP_CWORD - 1]} options= words= value=
  COMPREPLY=()
  # Bash takes --format=csv apart into three words.
  if [[ $word == = ]]; then
    word=
  elif [[ $before == = ]]; then
    before=${COMP_WORDS[COMP_CWORD - 2]}
  fi
)";

/// And how it ends, with `options`, and for the value of an option `value` and perhaps `words`, set.
constexpr std::string_view kBashTail =
    R"(  if [[ $value == FILE* ]] || [[ -z $value && -n $options && $word != -* ]]; then
    compopt -o filenames
    mapfile -t COMPREPLY < <(compgen -f -- "$word")
  else
    [[ -n $value ]] || words=$options
    mapfile -t COMPREPLY < <(compgen -W "$words" -- "$word")
  fi
}
complete -F _vexa_stats vexa-stats
)";

std::string Quoted(std::string_view text) {
  std::string quoted;
  for (const char sign : text) quoted += sign == '\'' ? "'\\''" : std::string(1, sign);
  return '\'' + quoted + '\'';
}

/// An option's explanation inside the brackets of _arguments.
std::string Explained(const Option& option) {
  std::string text;
  for (const char sign : option.help) {
    if (sign == '[' || sign == ']' || sign == '\\') text += '\\';
    text += sign;
  }
  return '[' + text + ']';
}

/// What _arguments is told of an option: what it excludes, its names, explanation and value.
std::string ZshArgument(const Option& option) {
  std::string rest = Explained(option);
  if (!option.value.empty()) {
    const std::string action = option.value.starts_with("FILE") ? "_files"
                               : option.words.empty()           ? " "
                                                      : fmt::format("({})", fmt::join(option.words, " "));
    rest += fmt::format(":{}:{}", option.value, action);
  }
  std::string text;
  for (const std::string& name : option.names) {
    // -f csv or -fcsv, --format csv or --format=csv.
    const std::string sign = option.value.empty() ? "" : name.starts_with("--") ? "=" : "+";
    text += fmt::format(" \\\n        {}",
                        Quoted(fmt::format("({}){}{}{}", fmt::join(option.names, " "), name, sign, rest)));
  }
  return text;
}

}  // namespace

std::string BashCompletion(const std::vector<Command>& commands) {
  std::string cases;
  std::string names;
  for (const Command& command : commands) {
    names += command.name + ' ';
    std::string options;
    std::string values;
    for (const Option& option : command.options) {
      options += fmt::format("{}{}", options.empty() ? "" : " ", fmt::join(option.names, " "));
      if (option.value.empty()) continue;
      values += fmt::format("        {}) value={} words={} ;;\n", fmt::join(option.names, "|"),
                            Quoted(option.value), Quoted(fmt::format("{}", fmt::join(option.words, " "))));
    }
    cases += fmt::format("    {})\n      options={}\n      case $before in\n{}      esac\n      ;;\n",
                         command.name, Quoted(options), values);
  }
  return fmt::format(
      "{}  if ((COMP_CWORD == 1)); then\n    value=COMMAND words={}\n  fi\n  case ${{COMP_WORDS[1]}} in\n{}  "
      "esac\n{}",
      kBashHead, Quoted(names + "--help --version"), cases, kBashTail);
}

std::string ZshCompletion(const std::vector<Command>& commands) {
  std::string list;
  std::string cases;
  for (const Command& command : commands) {
    list += fmt::format("        {}\n", Quoted(command.name + ':' + command.summary));
    cases += fmt::format("        {})\n          _arguments -s", command.name);
    for (const Option& option : command.options) cases += ZshArgument(option);
    cases += " \\\n        '*:file:_files'\n          ;;\n";
  }
  return fmt::format(R"(#compdef vexa-stats

_vexa-stats() {{
  local curcontext=$curcontext state line
  _arguments -C '(- *)'{{-h,--help}}'[Print the help]' '(- *)--version[Print the version]' \
    '1:command:->command' '*::argument:->argument'
  case $state in
    command)
      local -a commands=(
{}      )
      _describe command commands
      ;;
    argument)
      case $words[1] in
{}      esac
      ;;
  esac
}}

_vexa-stats "$@"
)",
                     list, cases);
}

}  // namespace pages
