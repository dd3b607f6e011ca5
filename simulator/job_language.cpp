// The job language, line by line, and the switches out of it.

#include "simulator/language_step.h"
#include "simulator/status_report.h"

#include <algorithm>

namespace simulator {
namespace {

constexpr std::string_view close = "\x1B\x01";
constexpr size_t longest_line = 70000;

// What is silent: settings and remarks.
bool is_silent(const std::string& command) {
  return command.empty() || command.rfind("SET ", 0) == 0 || command.rfind("COMMENT ", 0) == 0;
}

Step read_line(const std::string& line, size_t used, LanguageState state,
               const PrinterOptions& options) {
  std::string command = line.substr(std::min<size_t>(line.size(), 4));
  if (line.rfind("@QPL", 0) != 0 || (!command.empty() && command[0] != ' ')) {
    return refused("the job language has no line " + shown(bytes_of(line)));
  }
  command.erase(0, 1);
  if (command == "ID") {
    return probed(used, state, job_identity(options));
  }
  if (command == "INFO STATUS") {
    return status(used, state, StatusForm::job);
  }
  if (command == "INFO CONFIG") {
    return replied(
        used, state,
        bytes_of("@QPL INFO CONFIG\r\nMEMORY=64\r\nSERIAL=" + options.serial_number + "\r\n\x0C"));
  }
  if (command.rfind("ECHO ", 0) == 0) {
    return replied(used, state, bytes_of("@QPL " + command + "\r\n\x0C"));
  }
  if (const auto length = wanted_length(command, "FILL ")) {
    return replied(used, state, pattern(*length));
  }
  if (is_silent(command)) {
    return silent(used, state);
  }
  if (command == "EN LA=ZRD/PAGE") {
    if (!speaks(options, "ZRDPAGE")) {
      return refused("a switch to the page language, which this printer hasn't");
    }
    return silent(used, {.mode = Mode::page});
  }
  return refused("the job language has no command " + shown(bytes_of(line)));
}

}  // namespace

Step read_job(View input, LanguageState state, const PrinterOptions& options) {
  if (input[0] == 0x1B) {
    const Match match = match_front(input, close);
    if (match == Match::no) {
      return refused("in the job language stands " + shown(input));
    }
    return match == Match::part ? wait_for_more(state) : silent(close.size(), {});
  }
  if (input[0] == 0x1D) {
    return refused("a page command in the job language: " + shown(input));
  }
  if (input[0] != '@') {
    return refused("a line of the job language begins with " + shown(input));
  }
  const auto end = std::find(input.begin(), input.end(), '\n');
  const auto length = static_cast<size_t>(end - input.begin());
  const auto escape = std::find(input.begin(), end, 0x1B);
  if (escape != end) {
    return refused("a line of the job language has no end: " + shown(input));
  }
  if (end == input.end()) {
    return length > longest_line ? refused("a line of the job language never ends")
                                 : wait_for_more(state);
  }
  std::string line(input.begin(), end);
  if (!line.empty() && line.back() == '\r') {
    line.pop_back();
  }
  return read_line(line, length + 1, state, options);
}

}  // namespace simulator
