// The page language: commands that begin with GS and end in a capital, and text between them.

#include "simulator/language_step.h"
#include "simulator/status_report.h"

namespace simulator {
namespace {

constexpr std::string_view leave = "\x1B\x01";
constexpr size_t longest_command = 256;

bool is_parameter(uint8_t c) { return (c >= '0' && c <= '9') || c == ';'; }
bool is_small(uint8_t c) { return c >= 'a' && c <= 'z'; }
bool is_capital(uint8_t c) { return c >= 'A' && c <= 'Z'; }

Step run(const std::string& command, size_t used, LanguageState state,
         const PrinterOptions& options) {
  if (command == "10;1lS") {
    state.page_answers = true;
    return silent(used, state);
  }
  if (command == "12mlS") {
    return state.page_answers ? probed(used, state, page_identity(options)) : silent(used, state);
  }
  if (command == "0iS") {
    return replied(used, state,
                   bytes_of("ZRD/PAGE iS MEMORY=64;SERIAL=" + options.serial_number + "\n"));
  }
  if (command.ends_with("fS")) {
    const auto length = wanted_length(command.substr(0, command.size() - 2), "");
    return length ? replied(used, state, pattern(*length))
                  : refused("the page language has no command " + shown(bytes_of(command)));
  }
  // Movement, fonts, ejection.
  const char last = command.back();
  if (last == 'P' || last == 'X' || last == 'Y' || last == 'F') {
    return silent(used, state);
  }
  return refused("the page language has no command " + shown(bytes_of(command)));
}

// Text of the page, and the marks that end lines and pages.
bool is_text(uint8_t c) { return (c >= 0x20 && c != 0x7F) || c == '\r' || c == '\n' || c == 0x0C; }

}  // namespace

Step read_page(View input, LanguageState state, const PrinterOptions& options) {
  if (input[0] == 0x1B && state.mode == Mode::page) {
    const Match match = match_front(input, leave);
    if (match == Match::no) {
      return refused("in the page language stands " + shown(input));
    }
    return match == Match::part ? wait_for_more(state) : silent(leave.size(), {});
  }
  if (input[0] != 0x1D) {
    return is_text(input[0]) ? silent(1, state)
                             : refused("in the page language stands " + shown(input));
  }
  size_t at = 1;
  while (at < input.size() && is_parameter(input[at])) {
    ++at;
  }
  while (at < input.size() && is_small(input[at])) {
    ++at;
  }
  if (at == input.size()) {
    return at > longest_command ? refused("a page command never ends") : wait_for_more(state);
  }
  if (!is_capital(input[at])) {
    return refused("a page command is broken: " + shown(input));
  }
  return run(std::string(input.begin() + 1, input.begin() + static_cast<std::ptrdiff_t>(at) + 1),
             at + 1, state, options);
}

}  // namespace simulator
