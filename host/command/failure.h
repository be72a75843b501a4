#ifndef HOST_COMMAND_FAILURE_H
#define HOST_COMMAND_FAILURE_H

#include <stdexcept>

/// How a command ends, and the failures that are not the input's.
namespace command {

enum ExitCode {
  kSuccess = 0,
  kUsage = 1,          ///< the command line is wrong
  kFailure = 2,        ///< the input is bad or the output cannot be written
  kInterrupted = 130,  ///< 128 + SIGINT, as a shell would say; the result, if any, is partial
  kPipeClosed = 141,   ///< 128 + SIGPIPE: whoever read the output has had enough
};

/// The command line asks for something that cannot be.
class UsageError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

/// The result cannot be put where it should go. what() is the whole message.
class OutputError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

/// The reader of standard output went away: nothing to tell, and nobody to tell it to.
struct PipeClosed {};

/// The user stopped the run before there was anything to show.
struct Interrupted {};

}  // namespace command

#endif
