// What comes without a language having been entered: the switches, the commands of the D4,
// label and page-stream channels, and the fax unit's.

#include "simulator/language_step.h"
#include "simulator/status_report.h"

#include <algorithm>
#include <array>

namespace simulator {
namespace {

using namespace std::string_view_literals;

constexpr std::string_view open_job = "\x1B\x01"sv;
constexpr std::string_view open_remote = "\x1B@\x1B@\x1B(R\x08\x00\x00REMOTE1"sv;
constexpr std::string_view leave_remote = "\x1B\x00\x00\x00"sv;
constexpr size_t longest_label = 70000;

Step read_switch(View input, LanguageState state, const PrinterOptions& options) {
  if (match_front(input, leave_remote) == Match::whole) {
    return refused("REMOTE1 is left, but wasn't entered");
  }
  if (match_front(input, open_job) == Match::whole) {
    return speaks(options, "QPL") || speaks(options, "ZRDPAGE")
               ? silent(open_job.size(), {.mode = Mode::job})
               : refused("the job language, which this printer hasn't");
  }
  if (match_front(input, open_remote) == Match::whole) {
    return speaks(options, "BDC") ? silent(open_remote.size(), {.mode = Mode::remote})
                                  : refused("REMOTE1, which this printer hasn't");
  }
  for (const std::string_view wanted : {leave_remote, open_job, open_remote}) {
    if (match_front(input, wanted) == Match::part) {
      return wait_for_more(state);
    }
  }
  return refused("no switch begins with " + shown(input));
}

Step label_step(Step step) {
  step.label = true;
  return step;
}

}  // namespace

Step read_idle(View input, LanguageState state, const PrinterOptions& options) {
  if (input[0] == 0x1B) {
    return read_switch(input, state, options);
  }
  if (input[0] == '~' && speaks(options, "ZRDLABEL")) {
    return read_label(input, state, options);
  }
  if (input[0] == 0x1D && speaks(options, "ZRDPAGES")) {
    return read_page(input, state, options);
  }
  if (speaks(options, "D4")) {
    return read_two_letters(input, state, options);
  }
  return refused("no language has been entered, and there comes " + shown(input));
}

Step read_label(View input, LanguageState state, const PrinterOptions& options) {
  const auto end = std::find(input.begin(), input.end(), '\n');
  if (end == input.end()) {
    return input.size() > longest_label ? refused("a label command never ends")
                                        : wait_for_more(state);
  }
  const std::string line(input.begin(), end);
  const size_t used = line.size() + 1;
  if (line == "~HS") {
    return label_step(
        replied(used, state,
                bytes_of("~HS," + options.status_text + "," + options.serial_number + "\r\n")));
  }
  if (line == "~HI") {
    return label_step(replied(used, state, bytes_of("~HI,V1.7,203DPI\r\n")));
  }
  if (line.rfind("~EC", 0) == 0) {
    return label_step(replied(used, state, bytes_of(line.substr(3))));
  }
  if (const auto length = wanted_length(line, "~FL")) {
    return label_step(replied(used, state, pattern(*length)));
  }
  for (const char* const name : {"~PR", "~CL", "~SD"}) {
    if (line.rfind(name, 0) == 0) {
      return label_step(silent(used, state));
    }
  }
  return refused("the label language has no command " + shown(bytes_of(line)));
}

Step read_fax(View input, LanguageState state, const PrinterOptions& options) {
  constexpr size_t head_length = 4;
  if (!speaks(options, "END4")) {
    return refused("a fax command, but this printer has no fax unit");
  }
  const Match match = match_front(input, "FX");
  if (match == Match::no) {
    return refused("no fax command begins with " + shown(input));
  }
  if (match == Match::part || input.size() < head_length) {
    return wait_for_more(state);
  }
  const size_t length = input[2] | static_cast<size_t>(input[3]) << 8;
  if (length == 0) {
    return refused("a fax command without its code");
  }
  if (input.size() - head_length < length) {
    return wait_for_more(state);
  }
  const View data = input.subspan(head_length + 1, length - 1);
  const size_t used = head_length + length;
  switch (input[head_length]) {
    case 0x01:
      return replied(used, state, bytes_of("FX:READY;SN:" + options.serial_number + ";\r\n"));
    case 0x02:
      return replied(used, state, bytes_of("FX:OK\r\n"));
    case 0x03:
      return silent(used, state);
    case 0x04:
      return replied(used, state, Bytes(data.begin(), data.end()));
    default:
      return refused("the fax unit has no command " + shown(input.subspan(head_length, 1)));
  }
}

}  // namespace simulator
