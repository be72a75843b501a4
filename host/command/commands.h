#ifndef HOST_COMMAND_COMMANDS_H
#define HOST_COMMAND_COMMANDS_H

#include <CLI/CLI.hpp>
#include <functional>

#include "command/messages.h"

namespace command {

/// The command that the command line chose: does its work and returns the exit code, or throws.
using Run = std::function<int(Messages&)>;

/// Each adds commands to the program; parsing a command line with one of them sets `chosen`.
void AddDescribeCommand(CLI::App& program, Run& chosen);
void AddMatrixCommands(CLI::App& program, Run& chosen);
void AddGroupsCommand(CLI::App& program, Run& chosen);
void AddRegressCommand(CLI::App& program, Run& chosen);
void AddSumsCommand(CLI::App& program, Run& chosen);

}  // namespace command

#endif
