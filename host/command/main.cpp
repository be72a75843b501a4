#include <fcntl.h>
#include <fmt/format.h>
#include <signal.h>
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <memory>
#include <new>
#include <string>

#include "command/commands.h"
#include "command/failure.h"
#include "command/interrupt.h"
#include "command/messages.h"
#include "command/options.h"
#include "command/output.h"
#include "text/printable.h"
#include "vexa/vexa.h"

namespace command {
namespace {

constexpr const char* kFooter =
    "vexa-stats COMMAND --help tells the options of a command.\n"
    "\n"
    "Exit code: 0 done; 1 wrong command line; 2 bad input, or output that cannot be\n"
    "written; 130 interrupted (Ctrl-C), with the result of the rows read until then.\n";

/// A descriptor that the caller closed would be taken by the next file that is opened, which then would be written
/// to by accident. Standing in for it, one that cannot be written.
void HoldStandardDescriptors() {
  for (int descriptor = STDIN_FILENO; descriptor <= STDERR_FILENO; ++descriptor)
    if (fcntl(descriptor, F_GETFD) < 0) open("/dev/null", O_RDONLY);
}

/// Throws UsageError, in words of this program, for a command line that does not begin with a command.
void CheckCommand(const CLI::App& program, int argc, char** argv) {
  const std::string first = argc < 2 ? "" : argv[1];
  if (first.starts_with('-')) return;
  std::string names;
  for (const CLI::App* command : program.get_subcommands({})) {
    if (first == command->get_name()) return;
    names += ' ' + command->get_name();
  }
  throw UsageError(first.empty() ? "which command?" + names + "; vexa-stats --help tells more"
                                 : fmt::format("{} is no command; there are{}", text::Quoted(first), names));
}

/// What the command line says, when it is not the name of a command to run: help, the version, or what is wrong.
int Answer(const CLI::App& program, const CLI::ParseError& error, Messages& messages) {
  const auto& chosen = program.get_subcommands();
  const std::string name = program.get_name() + (chosen.empty() ? "" : ' ' + chosen.front()->get_name());
  std::string text;
  if (dynamic_cast<const CLI::CallForHelp*>(&error) != nullptr) {
    text = program.help();
  } else if (dynamic_cast<const CLI::CallForVersion*>(&error) != nullptr) {
    text = fmt::format("vexa-stats {}\n", VEXA_VERSION);
  } else {
    messages.Error(error.what());
    messages.Note(fmt::format("`{} --help` tells how it is used", name));
    return kUsage;
  }
  Output output("", {});
  output.Write(text);
  output.Commit();
  return kSuccess;
}

int Main(int argc, char** argv, Messages& messages) {
  CLI::App program("Statistics of data files of any size, in one pass, with the same bits every time.",
                   "vexa-stats");
  program.formatter(std::make_shared<HelpFormatter>());
  program.set_help_flag("-h,--help", "Print this help");
  program.set_version_flag("--version", VEXA_VERSION, "Print the version");
  program.require_subcommand(1);
  program.footer(kFooter);
  Run chosen;
  AddMatrixCommands(program, chosen);
  AddSumsCommand(program, chosen);
  CheckCommand(program, argc, argv);
  try {
    program.parse(argc, argv);
  } catch (const CLI::ParseError& error) {
    return Answer(program, error, messages);
  }
  CatchInterrupts();
  return chosen(messages);
}

int Guarded(int argc, char** argv) {
  Messages messages;
  try {
    return Main(argc, argv, messages);
  } catch (const UsageError& error) {
    messages.Error(error.what());
    return kUsage;
  } catch (const Interrupted&) {
    messages.Note("interrupted before there was a result");
    return kInterrupted;
  } catch (const PipeClosed&) {
    return kPipeClosed;
  } catch (const std::bad_alloc&) {
    messages.Error("out of memory");
  } catch (const std::exception& error) {
    messages.Error(error.what());
  }
  return kFailure;
}

}  // namespace
}  // namespace command

int main(int argc, char** argv) {
  // A file that grows beyond what the user may write is an error to be told, not a reason to be killed.
  signal(SIGXFSZ, SIG_IGN);
  command::HoldStandardDescriptors();
  return command::Guarded(argc, argv);
}
