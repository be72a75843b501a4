#include <fcntl.h>
#include <fmt/format.h>
#include <signal.h>
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <memory>
#include <new>
#include <string>
#include <vector>

#include "command/commands.h"
#include "command/failure.h"
#include "command/interrupt.h"
#include "command/messages.h"
#include "command/output.h"
#include "command/program.h"
#include "text/printable.h"
#include "vexa/vexa.h"

namespace command {
namespace {

/// A descriptor that the caller closed would be taken by the next file that is opened, which then would be written
/// to by accident. Standing in for it, one that cannot be written.
void HoldStandardDescriptors() {
  for (int descriptor = STDIN_FILENO; descriptor <= STDERR_FILENO; ++descriptor)
    if (fcntl(descriptor, F_GETFD) < 0) open("/dev/null", O_RDONLY);
}

/// Throws UsageError, in words of this program, for a command line that does not begin with a command.
void CheckCommand(const CLI::App& program, const std::string& first) {
  std::string names;
  for (const CLI::App* command : program.get_subcommands({})) {
    if (first == command->get_name()) return;
    names += ' ' + command->get_name();
  }
  if (first == "-h" || first == "--help" || first == "--version") return;
  if (first.empty()) throw UsageError("which command?" + names + "; vexa-stats --help tells more");
  if (first.front() == '-') throw UsageError("options go behind the command:" + names);
  throw UsageError(fmt::format("{} is no command; there are{}", text::Quoted(first), names));
}

/// What is wrong with the command line, in words of this program.
std::string InWords(const CLI::ParseError& error) {
  std::string what = error.what();
  const std::size_t colon = what.find(':');
  if (dynamic_cast<const CLI::ArgumentMismatch*>(&error) != nullptr && colon != std::string::npos)
    return what.substr(0, colon) + (what.ends_with("missing") ? " needs a value" : " can be given only once");
  if (dynamic_cast<const CLI::ExtrasError*>(&error) != nullptr && colon != std::string::npos)
    return "there is no option" + what.substr(colon + 1);
  return what;
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
    messages.Error(InWords(error));
    messages.Note(fmt::format("`{} --help` tells how it is used", name));
    return kUsage;
  }
  Output output("", {});
  output.Write(text);
  output.Commit();
  return kSuccess;
}

int Main(int argc, char** argv, Messages& messages) {
  Run chosen;
  const std::unique_ptr<CLI::App> program = MakeProgram(chosen);
  std::vector<std::string> args(argv + 1, argv + argc);
  if (!args.empty() && args[0] == "help") args[0] = "--help";
  CheckCommand(*program, args.empty() ? "" : args[0]);
  // CLI11 takes them from the back.
  std::reverse(args.begin(), args.end());
  try {
    program->parse(args);
  } catch (const CLI::ParseError& error) {
    return Answer(*program, error, messages);
  }
  CatchInterrupts();
  return chosen(messages);
}

int Told(int argc, char** argv, Messages& messages) {
  try {
    return Main(argc, argv, messages);
  } catch (const std::bad_alloc&) {
    throw;
  } catch (const UsageError& error) {
    messages.Error(error.what());
    return kUsage;
  } catch (const Interrupted&) {
    messages.Note("interrupted before there was a result");
    return kInterrupted;
  } catch (const PipeClosed&) {
    return kPipeClosed;
  } catch (const std::exception& error) {
    messages.Error(error.what());
    return kFailure;
  }
}

int Guarded(int argc, char** argv) {
  Messages messages;
  try {
    return Told(argc, argv, messages);
  } catch (const std::bad_alloc&) {
    // Perhaps while something else was being told.
    messages.OutOfMemory();
    return kFailure;
  }
}

}  // namespace
}  // namespace command

int main(int argc, char** argv) {
  // A file that grows beyond what the user may write is an error to be told, not a reason to be killed.
  signal(SIGXFSZ, SIG_IGN);
  // Nor is somebody who reads no more of the messages: the result still has its readers.
  signal(SIGPIPE, SIG_IGN);
  command::HoldStandardDescriptors();
  return command::Guarded(argc, argv);
}
