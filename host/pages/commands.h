#ifndef HOST_PAGES_COMMANDS_H
#define HOST_PAGES_COMMANDS_H

#include <CLI/CLI.hpp>
#include <string>
#include <vector>

/// What the definition of the command line says, as the manual page and the completions need it.
namespace pages {

struct Option {
  std::string group = {};               ///< the heading of the help under which it stands
  std::vector<std::string> names = {};  ///< as typed, short ones first
  std::string value = {};  ///< what its value is called, FILE… for a file; empty: it takes none
  std::vector<std::string> words = {};  ///< the values that it takes, when they are these words
  std::string help = {};                ///< in one line
};

struct Command {
  std::string name = {};
  std::string summary = {};
  std::vector<std::string> examples = {};
  std::vector<Option> options = {};
};

/// All commands, in the order of the help; `program` is only read.
std::vector<Command> CommandsOf(CLI::App& program);

}  // namespace pages

#endif
