#pragma once

// The command line.

#include <string>
#include <vector>

namespace monitor {

enum class Command { kHelp, kList, kInfo, kId };

struct Arguments {
  Command command = Command::kHelp;
  std::string printer;   // UTF-8
  std::string provider;  // empty: the library beside the program
  std::string machine;   // empty: the preset one
  bool json = false;
};

// Options may stand anywhere; what follows "--" is no option. Gives what is wrong, or an
// empty text.
std::string ReadArguments(const std::vector<std::string>& words, Arguments* arguments);

// How the program is used, several lines.
const char* UsageText();

}  // namespace monitor
