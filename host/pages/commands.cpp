#include "pages/commands.h"

#include <algorithm>
#include <sstream>

namespace pages {
namespace {

/// A validator for one of several words describes itself as {one,other}.
std::vector<std::string> WordsOf(CLI::Option& option) {
  std::string text = option.get_type_name();
  const std::size_t open = text.find('{');
  const std::size_t close = text.find('}');
  if (open == std::string::npos || close == std::string::npos) return {};
  return CLI::detail::split(text.substr(open + 1, close - open - 1), ',');
}

Option OptionOf(CLI::Option& option) {
  Option found{.group = option.get_group(), .words = WordsOf(option)};
  for (const std::string& name : option.get_snames()) found.names.push_back('-' + name);
  for (const std::string& name : option.get_lnames()) found.names.push_back("--" + name);
  if (option.get_items_expected_max() > 0) found.value = option.get_option_text();
  found.help = option.get_description();
  std::replace(found.help.begin(), found.help.end(), '\n', ' ');
  return found;
}

}  // namespace

std::vector<Command> CommandsOf(CLI::App& program) {
  std::vector<Command> commands;
  for (CLI::App* app : program.get_subcommands([](CLI::App*) { return true; })) {
    Command& command =
        commands.emplace_back(Command{.name = app->get_name(), .summary = app->get_description()});
    std::istringstream footer(app->get_footer());
    for (std::string line; std::getline(footer, line);)
      if (line.starts_with("  ")) command.examples.push_back(line.substr(2));
    for (CLI::Option* option : app->get_options([](CLI::Option*) { return true; }))
      if (!option->get_positional()) command.options.push_back(OptionOf(*option));
  }
  return commands;
}

}  // namespace pages
