#pragma once

// One command on its way to a printer and its reply on the way back: what the port's monitor
// does with the bytes. Nothing here knows what a reply says; its end is found by the record
// that came along, or by silence.

#include "simulator/printer.h"
#include "simulator/terminate_record.h"

#include <optional>

namespace simulator {

struct ExchangePlan {
  Way way = Way::data;
  Bytes command = {};
  bool wants_reply = true;
  std::optional<TerminateRecord> end = {};
};

class Exchange {
 public:
  explicit Exchange(ExchangePlan plan);

  // Hands the command to the printer.
  void start(Printer& printer, uint64_t now_ms);
  // Collects what has come. Gives the moment of the next look, or nothing when it's over.
  std::optional<uint64_t> proceed(Printer& printer, uint64_t now_ms);

  const Bytes& received() const { return received_; }
  // All that was handed to the printer, by message.
  const std::vector<Bytes>& sent() const { return sent_; }
  Way way() const { return plan_.way; }

 private:
  void send(Printer& printer, const Bytes& bytes, uint64_t now_ms);
  bool is_whole();
  uint64_t deadline(const PrinterOptions& options) const;
  void finish(Printer& printer, uint64_t now_ms);

  ExchangePlan plan_;
  std::optional<ReplyEnd> reply_end_;
  Bytes received_;
  std::vector<Bytes> sent_;
  uint64_t sent_ms_ = 0;
  uint64_t heard_ms_ = 0;  // when the last bytes came
  bool over_ = false;
};

}  // namespace simulator
