#ifndef HOST_PAGES_PAGES_H
#define HOST_PAGES_PAGES_H

#include <string>
#include <vector>

#include "pages/commands.h"

namespace pages {

/// The manual page: the template with the version and its lines @COMMANDS@, @OPTIONS@ and @EXAMPLES@ filled in.
std::string Manual(const std::string& text, const std::vector<Command>& commands);

/// What completes a command line in bash, and in zsh: commands, their options, words and files as values.
std::string BashCompletion(const std::vector<Command>& commands);
std::string ZshCompletion(const std::vector<Command>& commands);

}  // namespace pages

#endif
