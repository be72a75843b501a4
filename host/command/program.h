#ifndef HOST_COMMAND_PROGRAM_H
#define HOST_COMMAND_PROGRAM_H

#include <CLI/CLI.hpp>
#include <memory>

#include "command/commands.h"

namespace command {

/// The command line of the program: all commands with all their options. Parsing one with a command sets `chosen`,
/// which must outlive the program. The help, the manual page and the completions of shells are made from it.
std::unique_ptr<CLI::App> MakeProgram(Run& chosen);

}  // namespace command

#endif
