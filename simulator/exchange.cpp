#include "simulator/exchange.h"

#include <algorithm>
#include <utility>

namespace simulator {

Exchange::Exchange(ExchangePlan plan) : plan_(std::move(plan)) {
  if (plan_.end) {
    reply_end_.emplace(*plan_.end, count_of(plan_.command, plan_.end->probe));
  }
}

void Exchange::send(Printer& printer, const Bytes& bytes, uint64_t now_ms) {
  printer.write(bytes, now_ms, plan_.way);
  printer.end_message(now_ms, plan_.way);
  sent_.push_back(bytes);
}

void Exchange::start(Printer& printer, uint64_t now_ms) {
  sent_ms_ = now_ms;
  if (!plan_.command.empty()) {
    send(printer, plan_.command, now_ms);
  }
}

bool Exchange::is_whole() {
  return plan_.wants_reply && reply_end_ && reply_end_->reached(received_);
}

uint64_t Exchange::deadline(const PrinterOptions& options) const {
  if (!plan_.wants_reply || plan_.command.empty()) {
    return sent_ms_ + options.latency_ms;
  }
  if (reply_end_) {
    return sent_ms_ + options.give_up_ms;
  }
  return received_.empty() ? sent_ms_ + options.first_byte_ms : heard_ms_ + options.silence_ms;
}

std::optional<uint64_t> Exchange::proceed(Printer& printer, uint64_t now_ms) {
  if (over_) {
    return std::nullopt;
  }
  if (plan_.wants_reply) {
    const Bytes bytes = printer.take(now_ms);
    heard_ms_ = bytes.empty() ? heard_ms_ : now_ms;
    append(received_, View(bytes));
  }
  const uint64_t last = deadline(printer.options());
  if (is_whole() || now_ms >= last) {
    finish(printer, now_ms);
    return std::nullopt;
  }
  return std::min(last, printer.next_due().value_or(last));
}

void Exchange::finish(Printer& printer, uint64_t now_ms) {
  over_ = true;
  if (plan_.end && !plan_.end->trailer.empty()) {
    send(printer, plan_.end->trailer, now_ms);
  }
  printer.end_exchange();
}

}  // namespace simulator
