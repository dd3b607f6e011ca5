#include "monitor/arguments.h"

#include <cstddef>
#include <iterator>

namespace monitor {
namespace {

struct CommandWord {
  const char* word;
  Command command;
  std::size_t names;  // how many printers it wants
};

constexpr CommandWord kCommands[] = {
    {"list", Command::kList, 0},
    {"info", Command::kInfo, 1},
    {"id", Command::kId, 1},
};

std::string Quoted(const std::string& word) { return "\"" + word + "\""; }

std::string ReadCommand(const std::vector<std::string>& plain, Arguments* arguments) {
  if (plain.empty()) return "a command is missing: list, info or id";
  for (const CommandWord& known : kCommands) {
    if (plain[0] != known.word) continue;
    arguments->command = known.command;
    if (plain.size() < known.names + 1) return plain[0] + " wants the name of a printer";
    if (plain.size() > known.names + 1) {
      return Quoted(plain[known.names + 1]) + " is one word too many; quote a name with blanks";
    }
    if (known.names != 0) arguments->printer = plain[1];
    return {};
  }
  return "unknown command " + Quoted(plain[0]) + ": list, info or id";
}

}  // namespace

std::string ReadArguments(const std::vector<std::string>& words, Arguments* arguments) {
  std::vector<std::string> plain;
  for (std::size_t at = 0; at < words.size(); ++at) {
    const std::string& word = words[at];
    if (word == "--") {
      plain.insert(plain.end(), std::next(words.begin(), static_cast<std::ptrdiff_t>(at) + 1),
                   words.end());
      break;
    }
    if (word == "--help") {
      arguments->command = Command::kHelp;
      return {};
    }
    if (word == "--json") {
      arguments->json = true;
    } else if (word == "--provider" || word == "--machine") {
      if (at + 1 == words.size() || words[at + 1].empty()) return word + " wants a path";
      (word == "--provider" ? arguments->provider : arguments->machine) = words[++at];
    } else if (word.starts_with("-") && word.size() > 1) {
      return "unknown option " + Quoted(word);
    } else {
      plain.push_back(word);
    }
  }
  return ReadCommand(plain, arguments);
}

const char* UsageText() {
  return "usage: vlpmon [--provider FILE] [--machine DIR] [--json] COMMAND\n"
         "\n"
         "  list            the printers of this computer and the channels of each\n"
         "  info NAME       the channels of one printer\n"
         "  id NAME         the device ID of one printer\n"
         "\n"
         "  --provider FILE the library to load, instead of the one beside this program\n"
         "  --machine DIR   the folder of a described machine; not on Windows\n"
         "  --json          one JSON object for each answer\n"
         "  --              ends the options\n"
         "\n"
         "Exit status: 0; 1 for a negative result; 2 for wrong use, a library that can't be\n"
         "loaded, or a machine that is missing or broken.\n";
}

}  // namespace monitor
