#pragma once

// A printer that exists only in memory. A pure machine: it is told what arrives and when, and
// says what it has to send and from when on. It calls nothing and waits for nothing.

#include "simulator/language_step.h"
#include "simulator/printer_options.h"

#include <cstdint>
#include <deque>
#include <map>
#include <optional>
#include <string>
#include <vector>

namespace simulator {

// The ways into a printer. `data`: the port itself, both ways. `remote`: REMOTE1 commands that
// need no switch and get no answer. `fax`: the fax unit.
enum class Way { data, remote, fax };

class Printer {
 public:
  explicit Printer(PrinterOptions options) : options_(std::move(options)) {}

  const PrinterOptions& options() const { return options_; }

  // The device ID as it goes over the wire; empty when the printer keeps silent.
  Bytes device_id() const { return options_.mute ? Bytes{} : options_.device_id; }

  // Bytes arrive, cut anywhere: a command may come in many writes. Answers come due.
  void write(View bytes, uint64_t now_ms, Way way = Way::data);
  // What came on this way is a whole message; what isn't finished now never will be. The
  // page language may still be in force.
  void end_message(uint64_t now_ms, Way way = Way::data);
  // The exchange is over: no language may be in force.
  void end_exchange();

  // When take() has something to give next; nothing while the printer has nothing to say.
  std::optional<uint64_t> next_due() const;
  // What has come due.
  Bytes take(uint64_t now_ms);

  void push_status(const StatusPush& push) { pushes_.push_back(push); }

  // What the printer didn't accept, each told once.
  std::vector<std::string> take_breaches();

 private:
  // What has come on one way and isn't understood yet.
  struct Reader {
    LanguageState state = {};
    Bytes pending = {};
    bool label_unanswered = false;
    bool answered = false;
    bool began = false;
  };
  struct Piece {
    uint64_t due_ms = 0;
    Bytes bytes = {};
  };

  void begin_message(Reader& reader);
  void read(Way way, bool whole, uint64_t now_ms);
  Step next_step(Way way, const Reader& reader, View input, bool whole) const;
  std::optional<Step> scripted_step(Way way, const Reader& reader, View input, bool whole) const;
  void perform(Way way, Reader& reader, const Step& step, uint64_t now_ms);
  Bytes with_pushed(PushPlace place, const Reader& reader, Bytes bytes);
  Bytes pushed(PushPlace place, const Reader& reader);
  StatusForm form_of(StatusForm wanted, const Reader& reader) const;
  void emit(Bytes bytes, uint64_t now_ms);

  PrinterOptions options_;
  std::map<Way, Reader> readers_;
  std::vector<StatusPush> pushes_;  // not sent yet
  std::deque<Piece> output_;
  uint64_t last_due_ms_ = 0;
  uint64_t emitted_ = 0;  // bytes of answer to the message
  std::vector<std::string> breaches_;
};

}  // namespace simulator
