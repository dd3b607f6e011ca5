#pragma once

// How the languages are read: each reader looks at the front of the bytes that have come and
// gives one step, or asks for more bytes. They keep nothing and touch nothing.

#include "simulator/printer_options.h"

#include <optional>
#include <string>

namespace simulator {

// Where the printer stands. `idle`: no language has been entered. `lost`: it has met what it
// doesn't understand and takes nothing in until the message ends.
enum class Mode { idle, job, remote, page, lost };

// What a reader is told, and what a step may change.
struct LanguageState {
  Mode mode = Mode::idle;
  bool page_answers = false;  // the page language was asked for its status report
};

enum class ReplyKind { none, command, probe, status };

struct Step {
  size_t used = 0;  // bytes of the command; 0: it isn't whole yet
  LanguageState next = {};
  ReplyKind kind = ReplyKind::none;
  Bytes reply = {};  // for a status the item is made by whoever takes the step
  StatusForm form = StatusForm::own;
  bool label = false;       // a command of the label language, which never stays without a byte
  std::string breach = {};  // not empty: no printer takes this
};

Step wait_for_more(LanguageState state);
Step silent(size_t used, LanguageState next);
Step replied(size_t used, LanguageState next, Bytes reply);
Step probed(size_t used, LanguageState next, Bytes reply);
Step status(size_t used, LanguageState next, StatusForm form);
Step refused(std::string breach);

// No language entered: the switches, and what goes without an envelope.
Step read_idle(View input, LanguageState state, const PrinterOptions& options);
// Inside the job language's envelope, at the beginning of a line.
Step read_job(View input, LanguageState state, const PrinterOptions& options);
// In REMOTE1.
Step read_remote(View input, LanguageState state, const PrinterOptions& options);
// In the page language, or in a page stream without an envelope.
Step read_page(View input, LanguageState state, const PrinterOptions& options);

// The command that two letters, a length and data make; for REMOTE1, for the D4 channel.
Step read_two_letters(View input, LanguageState state, const PrinterOptions& options);
// A line of the label language.
Step read_label(View input, LanguageState state, const PrinterOptions& options);
// A command to the fax unit.
Step read_fax(View input, LanguageState state, const PrinterOptions& options);

// The number behind `prefix` and up to the end of `text`, if it is one of up to 16 MiB.
std::optional<size_t> wanted_length(const std::string& text, const std::string& prefix);

}  // namespace simulator
