#include <fmt/format.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <sstream>
#include <string_view>

#include "pages/pages.h"
#include "vexa/vexa.h"

namespace pages {
namespace {

/// Text as roff takes it: no sign of it is a command, and a hyphen is one that can be copied.
std::string Roff(std::string_view text) {
  std::string escaped = text.starts_with('.') || text.starts_with('\'') ? "\\&" : "";
  for (const char sign : text) {
    if (sign == '\\' || sign == '-') escaped += '\\';
    escaped += sign == '\\' ? 'e' : sign;
  }
  return escaped;
}

std::string Commands(const std::vector<Command>& commands) {
  std::string text;
  for (const Command& command : commands)
    text += fmt::format(".TP\n.B {}\n{}\n", Roff(command.name), Roff(command.summary));
  return text;
}

/// An option, and which of the commands have it with this help.
struct Shared {
  Option option;
  std::vector<std::string> commands = {};
};

std::string Entry(const Shared& shared, std::size_t commands) {
  std::string text = ".TP\n";
  for (const std::string& name : shared.option.names)
    text += fmt::format("{}\\fB{}\\fR", &name == shared.option.names.data() ? "" : ", ", Roff(name));
  if (!shared.option.value.empty()) text += fmt::format(" \\fI{}\\fR", Roff(shared.option.value));
  text += fmt::format("\n{}\n", Roff(shared.option.help));
  if (shared.commands.size() < commands)
    text += fmt::format(".br\nOf {}.\n", fmt::join(shared.commands, ", "));
  return text;
}

std::string Options(const std::vector<Command>& commands) {
  std::vector<Shared> all;
  std::vector<std::string> groups;
  for (const Command& command : commands) {
    for (const Option& option : command.options) {
      const auto same = std::find_if(all.begin(), all.end(), [&](const Shared& shared) {
        return shared.option.names == option.names && shared.option.help == option.help;
      });
      Shared& shared = same != all.end() ? *same : all.emplace_back(Shared{.option = option});
      shared.commands.push_back(command.name);
      if (std::find(groups.begin(), groups.end(), option.group) == groups.end())
        groups.push_back(option.group);
    }
  }
  std::string text;
  for (const std::string& group : groups) {
    text += fmt::format(".SS {}\n", group);
    for (const Shared& shared : all)
      if (shared.option.group == group) text += Entry(shared, commands.size());
  }
  return text;
}

std::string Examples(const std::vector<Command>& commands) {
  std::string text = ".nf\n";
  for (const Command& command : commands)
    for (const std::string& example : command.examples) text += Roff(example) + '\n';
  return text + ".fi\n";
}

}  // namespace

std::string Manual(const std::string& text, const std::vector<Command>& commands) {
  std::string manual;
  std::istringstream lines(text);
  for (std::string line; std::getline(lines, line);) {
    if (line == "@COMMANDS@") {
      manual += Commands(commands);
    } else if (line == "@OPTIONS@") {
      manual += Options(commands);
    } else if (line == "@EXAMPLES@") {
      manual += Examples(commands);
    } else {
      manual += CLI::detail::find_and_replace(line, "@VERSION@", VEXA_VERSION) + '\n';
    }
  }
  return manual;
}

}  // namespace pages
