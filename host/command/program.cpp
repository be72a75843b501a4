#include "command/program.h"

#include <cstddef>

#include "command/options.h"
#include "vexa/vexa.h"

namespace command {
namespace {

constexpr std::size_t kCommandsColumn = 13;
constexpr std::size_t kOptionsColumn = 26;
constexpr const char* kFooter =
    "vexa-stats COMMAND --help tells the options of a command.\n"
    "\n"
    "Exit code: 0 done; 1 wrong command line; 2 bad input, or output that cannot be\n"
    "written; 130 interrupted (Ctrl-C), with the result of the rows read until then.\n";

}  // namespace

std::unique_ptr<CLI::App> MakeProgram(Run& chosen) {
  auto program = std::make_unique<CLI::App>(
      "Statistics of data files of any size in one pass, the same bits every time.", "vexa-stats");
  // The commands take it over as they are added.
  program->formatter(std::make_shared<HelpFormatter>(kOptionsColumn));
  program->set_help_flag("-h,--help", "Print this help");
  program->set_version_flag("--version", VEXA_VERSION, "Print the version");
  program->require_subcommand(1);
  program->footer(kFooter);
  AddDescribeCommand(*program, chosen);
  AddMatrixCommands(*program, chosen);
  AddSumsCommand(*program, chosen);
  AddRegressCommand(*program, chosen);
  AddGroupsCommand(*program, chosen);
  program->formatter(std::make_shared<HelpFormatter>(kCommandsColumn));
  return program;
}

}  // namespace command
