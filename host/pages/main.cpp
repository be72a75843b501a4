// vexa-stats-pages TEMPLATE FOLDER: writes the manual page and the completions of vexa-stats, from the definition of
// its command line.

#include <cstdio>
#include <fstream>
#include <iterator>
#include <memory>
#include <string>
#include <vector>

#include "command/program.h"
#include "pages/commands.h"
#include "pages/pages.h"

namespace {

bool Write(const std::string& path, const std::string& text) {
  std::ofstream file(path);
  file << text << std::flush;
  if (!file) std::fprintf(stderr, "vexa-stats-pages: cannot write %s\n", path.c_str());
  return static_cast<bool>(file);
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 3) {
    std::fprintf(stderr, "usage: vexa-stats-pages TEMPLATE FOLDER\n");
    return 1;
  }
  std::ifstream file(argv[1]);
  const std::string text{std::istreambuf_iterator<char>(file), {}};
  if (text.empty()) {
    std::fprintf(stderr, "vexa-stats-pages: cannot read %s\n", argv[1]);
    return 1;
  }
  command::Run chosen;
  const std::unique_ptr<CLI::App> program = command::MakeProgram(chosen);
  const std::vector<pages::Command> commands = pages::CommandsOf(*program);
  const std::string folder = std::string(argv[2]) + '/';
  const bool isWritten = Write(folder + "vexa-stats.1", pages::Manual(text, commands)) &&
                         Write(folder + "vexa-stats.bash", pages::BashCompletion(commands)) &&
                         Write(folder + "_vexa-stats", pages::ZshCompletion(commands));
  return isWritten ? 0 : 1;
}
