// REMOTE1, and the commands of two letters that the D4 channel has as well.

#include "simulator/language_step.h"
#include "simulator/status_report.h"

#include <array>

namespace simulator {
namespace {

using namespace std::string_view_literals;

constexpr std::string_view leave = "\x1B\x00\x00\x00"sv;
constexpr size_t head_length = 4;
constexpr uint8_t binary_status = 0x11;
constexpr size_t largest_fill = size_t{16} * 1024 * 1024;
constexpr size_t any_length = ~size_t{0};

struct Command {
  std::string_view name;  // in lower case; either case will do
  size_t length;          // of its data
};

constexpr std::array<Command, 8> commands{{{"ti", 0},
                                           {"vi", 0},
                                           {"ec", any_length},
                                           {"fl", 4},
                                           {"ld", 0},
                                           {"js", any_length},
                                           {"je", 1},
                                           {"sn", any_length}}};

char lower(uint8_t c) { return static_cast<char>(c >= 'A' && c <= 'Z' ? c - 'A' + 'a' : c); }

bool is_letter(uint8_t c) { return lower(c) >= 'a' && lower(c) <= 'z'; }

const Command* find_command(View name) {
  for (const Command& command : commands) {
    if (lower(name[0]) == command.name[0] && lower(name[1]) == command.name[1]) {
      return &command;
    }
  }
  return nullptr;
}

Step read_fill(View data, size_t used, LanguageState state) {
  const size_t length = data[0] | static_cast<size_t>(data[1]) << 8 |
                        static_cast<size_t>(data[2]) << 16 | static_cast<size_t>(data[3]) << 24;
  if (length > largest_fill) {
    return refused("a fill of " + std::to_string(length) + " bytes");
  }
  return replied(used, state, pattern(length));
}

// The status request: one byte of data asks for the probe's answer, two name a form.
Step read_status(View data, size_t used, LanguageState state, const PrinterOptions& options) {
  const bool remote = state.mode == Mode::remote;
  if (data.size() == 1 && data[0] == 0) {
    return silent(used, state);  // no more status of its own accord
  }
  if (data.size() == 1 && data[0] == 1) {
    return remote ? probed(used, state, remote_identity(options))
                  : status(used, state, StatusForm::own);
  }
  if (data.size() == 2 && data[0] == 0) {
    return status(used, state, data[1] == binary_status ? StatusForm::binary : StatusForm::text);
  }
  return refused("a status request with the data " + shown(data));
}

Step run(const Command& command, View data, size_t used, LanguageState state,
         const PrinterOptions& options) {
  if (command.name == "ti") {
    return replied(used, state, bytes_of("@BDC TI\r\nTI:20260301120000;\x0C"));
  }
  if (command.name == "vi") {
    return replied(used, state,
                   bytes_of("@BDC VI\r\nVI:0107;SN:" + options.serial_number + ";\x0C"));
  }
  if (command.name == "ec") {
    return replied(used, state, Bytes(data.begin(), data.end()));
  }
  return command.name == "fl" ? read_fill(data, used, state) : silent(used, state);
}

}  // namespace

Step read_two_letters(View input, LanguageState state, const PrinterOptions& options) {
  if (!is_letter(input[0]) || (input.size() > 1 && !is_letter(input[1]))) {
    return refused("no command begins with " + shown(input));
  }
  if (input.size() < 2) {
    return wait_for_more(state);
  }
  const std::string_view status_name = state.mode == Mode::remote ? "ST" : "st";
  const bool is_status = match_front(input, status_name) == Match::whole;
  const Command* command = is_status ? nullptr : find_command(input);
  if (!is_status && command == nullptr) {
    return refused("there is no command " + shown(input.first(2)));
  }
  if (input.size() < head_length) {
    return wait_for_more(state);
  }
  const size_t length = input[2] | static_cast<size_t>(input[3]) << 8;
  const bool fits = is_status ? length == 1 || length == 2
                              : command->length == any_length || command->length == length;
  if (!fits) {
    return refused("the command " + shown(input.first(2)) + " with " + std::to_string(length) +
                   " bytes of data");
  }
  if (input.size() - head_length < length) {
    return wait_for_more(state);
  }
  const View data = input.subspan(head_length, length);
  const size_t used = head_length + length;
  return is_status ? read_status(data, used, state, options)
                   : run(*command, data, used, state, options);
}

Step read_remote(View input, LanguageState state, const PrinterOptions& options) {
  if (input[0] != 0x1B) {
    return read_two_letters(input, state, options);
  }
  const Match match = match_front(input, leave);
  if (match == Match::no) {
    return refused("in REMOTE1 stands " + shown(input));
  }
  return match == Match::part ? wait_for_more(state) : silent(leave.size(), {});
}

}  // namespace simulator
