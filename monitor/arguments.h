#pragma once

// The command line.

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "include/vlpbidi.h"

namespace monitor {

enum class Command { kHelp, kList, kInfo, kId, kStatus, kSend, kThrough };

// Where the bytes of a command for the printer come from.
enum class Source { kNone, kText, kHex, kFile };

struct Arguments {
  Command command = Command::kHelp;
  std::string printer;   // UTF-8
  std::string provider;  // empty: the library beside the program
  std::string machine;   // empty: the preset one
  bool json = false;

  std::optional<ChannelKind> kind;     // status, send, through
  bool watch = false;                  // status
  std::uint32_t every_ms = 1000;       // from one reading's start to the next one's
  std::optional<std::uint32_t> count;  // readings after which a watch ends
  Source source = Source::kNone;       // send, through
  std::string payload;                 // what stood behind --text, --hex or --file
};

// Options may stand anywhere; what follows "--" is no option. Gives what is wrong, or an
// empty text.
std::string ReadArguments(const std::vector<std::string>& words, Arguments* arguments);

// How the program is used, several lines.
const char* UsageText();

}  // namespace monitor
