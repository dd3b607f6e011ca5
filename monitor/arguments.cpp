#include "monitor/arguments.h"

#include <charconv>
#include <cstddef>
#include <iterator>
#include <string_view>

#include "monitor/names.h"

namespace monitor {
namespace {

constexpr std::uint32_t kEveryLeast = 100;
constexpr std::uint32_t kEveryMost = 24 * 60 * 60 * 1000;
constexpr std::uint32_t kCountMost = 1'000'000'000;

struct CommandWord {
  const char* word;
  Command command;
  std::size_t names;  // how many printers it wants
};

constexpr CommandWord kCommands[] = {
    {"list", Command::kList, 0},     {"info", Command::kInfo, 1}, {"id", Command::kId, 1},
    {"status", Command::kStatus, 1}, {"send", Command::kSend, 1}, {"through", Command::kThrough, 1},
};
constexpr const char* kCommandWords = "list, info, id, status, send or through";
constexpr const char* kKindWords = "qpl, bdc, zrdpage, zrdpages, d4, end4, label or a number";

std::string Quoted(const std::string& word) { return "\"" + word + "\""; }

std::string WordOf(Command command) {
  for (const CommandWord& known : kCommands) {
    if (known.command == command) return known.word;
  }
  return {};
}

bool Sends(Command command) { return command == Command::kSend || command == Command::kThrough; }

bool ReadNumber(const std::string& word, std::uint32_t least, std::uint32_t most,
                std::uint32_t* number) {
  const char* const end = word.data() + word.size();
  const auto read = std::from_chars(word.data(), end, *number);
  return read.ec == std::errc() && read.ptr == end && *number >= least && *number <= most;
}

// Each reads the value of one option into the arguments and gives what is wrong.

std::string ReadPath(std::string* path, const std::string& option, const std::string& value) {
  if (value.empty()) return option + " wants a path";
  *path = value;
  return {};
}

std::string ReadKind(const std::string& value, Arguments* arguments) {
  arguments->kind = KindFrom(value);
  if (arguments->kind) return {};
  return Quoted(value) + " is no kind of channel: " + kKindWords;
}

std::string ReadEvery(const std::string& value, Arguments* arguments) {
  if (ReadNumber(value, kEveryLeast, kEveryMost, &arguments->every_ms)) return {};
  return "--every wants milliseconds, from " + std::to_string(kEveryLeast) + " to " +
         std::to_string(kEveryMost);
}

std::string ReadCount(const std::string& value, Arguments* arguments) {
  std::uint32_t count = 0;
  if (!ReadNumber(value, 1, kCountMost, &count)) return "--count wants a number of readings";
  arguments->count = count;
  return {};
}

std::string ReadPayload(Source source, const std::string& value, Arguments* arguments) {
  if (arguments->source != Source::kNone) return "one of --text, --hex and --file is enough";
  arguments->source = source;
  arguments->payload = value;
  return {};
}

// Options without a value; false for any other word.
bool ReadSwitch(const std::string& word, Arguments* arguments) {
  if (word == "--json") {
    arguments->json = true;
  } else if (word == "--watch") {
    arguments->watch = true;
  } else {
    return false;
  }
  return true;
}

enum class Option { kNone, kProvider, kMachine, kKind, kEvery, kCount, kText, kHex, kFile };

struct OptionWord {
  const char* word;
  Option option;
  const char* value;
};

constexpr OptionWord kOptions[] = {
    {"--provider", Option::kProvider, "a path"},
    {"--machine", Option::kMachine, "a path"},
    {"--kind", Option::kKind, "a kind of channel"},
    {"--every", Option::kEvery, "milliseconds"},
    {"--count", Option::kCount, "a number of readings"},
    {"--text", Option::kText, "a text"},
    {"--hex", Option::kHex, "hexadecimal digits"},
    {"--file", Option::kFile, "a path"},
};

const OptionWord* FindOption(const std::string& word) {
  for (const OptionWord& known : kOptions) {
    if (word == known.word) return &known;
  }
  return nullptr;
}

std::string ReadValue(const OptionWord& option, const std::string& value, Arguments* arguments) {
  switch (option.option) {
    case Option::kProvider:
      return ReadPath(&arguments->provider, option.word, value);
    case Option::kMachine:
      return ReadPath(&arguments->machine, option.word, value);
    case Option::kKind:
      return ReadKind(value, arguments);
    case Option::kEvery:
      return ReadEvery(value, arguments);
    case Option::kCount:
      return ReadCount(value, arguments);
    case Option::kText:
      return ReadPayload(Source::kText, value, arguments);
    case Option::kHex:
      return ReadPayload(Source::kHex, value, arguments);
    default:
      if (value.empty()) return "--file wants a path";
      return ReadPayload(Source::kFile, value, arguments);
  }
}

std::string ReadCommand(const std::vector<std::string>& plain, Arguments* arguments) {
  if (plain.empty()) return std::string("a command is missing: ") + kCommandWords;
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
  return "unknown command " + Quoted(plain[0]) + ": " + kCommandWords;
}

// Whether the options belong to the command, and those that it can't do without are there.
std::string CheckTogether(const Arguments& arguments, bool every_given) {
  const std::string word = WordOf(arguments.command);
  const bool sends = Sends(arguments.command);
  const bool status = arguments.command == Command::kStatus;
  if (arguments.kind && !sends && !status) return "--kind doesn't go with " + word;
  if (arguments.watch && !status) return "--watch doesn't go with " + word;
  if (every_given && !arguments.watch) return "--every goes with status --watch only";
  if (arguments.count && !arguments.watch) return "--count goes with status --watch only";
  if (arguments.source != Source::kNone && !sends) {
    return "--text, --hex and --file don't go with " + word;
  }
  if (sends && !arguments.kind) return word + " wants --kind: " + kKindWords;
  if (sends && arguments.source == Source::kNone) {
    return word + " wants one of --text, --hex and --file";
  }
  return {};
}

}  // namespace

std::string ReadArguments(const std::vector<std::string>& words, Arguments* arguments) {
  std::vector<std::string> plain;
  bool every_given = false;
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
    if (const OptionWord* const option = FindOption(word)) {
      if (at + 1 == words.size()) return word + " wants " + option->value;
      std::string wrong = ReadValue(*option, words[++at], arguments);
      if (!wrong.empty()) return wrong;
      every_given = every_given || option->option == Option::kEvery;
    } else if (ReadSwitch(word, arguments)) {
      continue;
    } else if (word.starts_with("-") && word.size() > 1) {
      return "unknown option " + Quoted(word);
    } else {
      plain.push_back(word);
    }
  }
  std::string wrong = ReadCommand(plain, arguments);
  return wrong.empty() ? CheckTogether(*arguments, every_given) : wrong;
}

const char* UsageText() {
  return "usage: vlpmon [--provider FILE] [--machine DIR] [--json] COMMAND\n"
         "\n"
         "  list            the printers of this computer and the channels of each\n"
         "  info NAME       the channels of one printer\n"
         "  id NAME         the device ID of one printer\n"
         "  status NAME     the status of one printer\n"
         "  send NAME       sends it a command and shows the reply\n"
         "  through NAME    sends it bytes as they stand and takes no reply\n"
         "\n"
         "status, send and through:\n"
         "  --kind KIND     the channel: qpl, bdc, zrdpage, zrdpages, d4, end4, label or a\n"
         "                  number; status finds one by itself\n"
         "status:\n"
         "  --watch         again and again; on a terminal as a screen that is kept up to date\n"
         "  --every MS      the time from one reading to the next, 1000 if not given\n"
         "  --count N       ends the watch after so many readings\n"
         "send and through, one of:\n"
         "  --text T        with \\n \\r \\t \\\\ and \\xHH for any byte\n"
         "  --hex H         digits; blanks don't count\n"
         "  --file F        what is in the file, up to 16 MiB\n"
         "always:\n"
         "  --provider FILE the library to load, instead of the one beside this program\n"
         "  --machine DIR   the folder of a described machine; not on Windows\n"
         "  --json          one JSON object for each answer\n"
         "  --              ends the options\n"
         "\n"
         "Exit status: 0; 1 for a negative result, in a watch for any; 2 for wrong use, a\n"
         "library that can't be loaded, or a machine that is missing or broken.\n";
}

}  // namespace monitor
