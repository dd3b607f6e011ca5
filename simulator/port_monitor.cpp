#include "simulator/port_monitor.h"

#include "simulator/schemas.h"

#include <algorithm>
#include <cstdio>
#include <string_view>

namespace simulator {
namespace {

constexpr uint32_t invalid_printer_name = 1801;
constexpr uint32_t server_offline = 13003;
constexpr uint32_t device_offline = 13004;
constexpr uint32_t invalid_argument = 0x80070057;
constexpr uint32_t windows_facility = 0x80070000;

std::string folded(std::string port) {
  for (char& c : port) {
    c = c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
  }
  return port;
}

}  // namespace

std::string readable(const std::u16string& text) {
  std::string result;
  for (const char16_t unit : text) {
    if (unit >= 0x20 && unit < 0x7F) {
      result.push_back(static_cast<char>(unit));
    } else {
      char escaped[8];
      std::snprintf(escaped, sizeof escaped, "\\u%04X", static_cast<unsigned>(unit));
      result += escaped;
    }
  }
  return result;
}

void PortMonitor::reset() {
  printers_.clear();
  holders_.clear();
  wire_.clear();
  set_trouble(Trouble{});
  counts_.clear();
  batches_.clear();
  breaches_.clear();
}

void PortMonitor::plug(PrinterOptions options) {
  const std::string port = folded(options.port);
  printers_.insert_or_assign(port, Printer(std::move(options)));
}

void PortMonitor::unplug(const std::string& port) { printers_.erase(folded(port)); }

const Printer* PortMonitor::find(const std::string& port) const {
  const auto found = printers_.find(folded(port));
  return found == printers_.end() ? nullptr : &found->second;
}

void PortMonitor::set_trouble(Trouble trouble) {
  trouble_ = std::move(trouble);
  met_.clear();
}

Ending PortMonitor::check(Refusal Trouble::*step) {
  const Refusal& refusal = trouble_.*step;
  if (refusal.result == ok) {
    return {};
  }
  auto met = std::find_if(met_.begin(), met_.end(),
                          [step](const auto& entry) { return entry.first == step; });
  if (met == met_.end()) {
    met = met_.insert(met, {step, 0});
  }
  ++met->second;
  if (refusal.at != 0 && refusal.at != met->second) {
    return {};
  }
  return {refusal.result, refusal.last_error};
}

Ending PortMonitor::bind(const std::u16string& printer, bool known, uint32_t access) {
  Counts& counts = counts_[printer];
  const bool user = access == static_cast<uint32_t>(Access::user);
  if (!user && access != static_cast<uint32_t>(Access::administrator)) {
    breach("bind with access " + std::to_string(access));
    return {invalid_argument, std::nullopt};
  }
  ++(user ? counts.binds_user : counts.binds_administrator);
  Ending ending = check(user ? &Trouble::bind_user : &Trouble::bind_administrator);
  if (!ending.failed() && !known) {
    ending = {from_windows_error(invalid_printer_name), std::nullopt};
  }
  if (!ending.failed()) {
    ++counts.bound;
    return ending;
  }
  if (!ending.last_error && (ending.result & 0xFFFF0000U) == windows_facility) {
    ending.last_error = ending.result & 0xFFFFU;
  }
  return ending;
}

Ending PortMonitor::unbind(const std::u16string& printer) {
  ++counts_[printer].unbinds;
  return check(&Trouble::unbind);
}

Arrival PortMonitor::arrive(SeenBatch batch, const std::string& port) {
  Counts& counts = counts_[batch.printer];
  ++counts.sends;
  counts.rows += static_cast<uint32_t>(batch.rows.size());
  Pending pending;
  pending.port = folded(port);
  if (batch.action != u"Get") {
    breach("the action is \"" + readable(batch.action) + "\"");
    pending.refusal.result = invalid_argument;
  }
  const bool named = !batch.rows.empty() && batch.rows[0].schema == schemas::set_printer_name;
  pending.named = named && (scripted(batch.rows[0]) || names_printer(batch.rows[0], batch.printer));
  for (size_t i = 0; i < batch.rows.size(); ++i) {
    const SeenRow& row = batch.rows[i];
    const schemas::Command* command = schemas::find_command(row.schema);
    if (row.schema == schemas::get_device_id) {
      ++counts.device_id_queries;
    } else if (command != nullptr) {
      ++(counts.*command->count);
    }
    if (command != nullptr && !scripted(row) && !pending.command_row) {
      pending.command_row = i;
    }
    check_row(row, i, pending.named || (i == 0 && named));
  }
  check_order(batch, pending.command_row);
  if (!pending.refusal.failed()) {
    pending.refusal = check(&Trouble::send);
  }
  batches_.push_back(batch);
  pending.batch = std::move(batch);
  Arrival arrival{.ticket = ++last_ticket_};
  if (const Printer* printer = find(port)) {
    arrival.started = printer->options().started;
    arrival.gate = printer->options().gate;
  }
  pending_.emplace(arrival.ticket, std::move(pending));
  return arrival;
}

Printer* PortMonitor::reachable(const std::string& port) {
  const auto found = printers_.find(folded(port));
  return found == printers_.end() || found->second.options().reach != Reach::online
             ? nullptr
             : &found->second;
}

// The moment at which a batch may look again for whether the port is free.
std::optional<uint64_t> PortMonitor::wait_for_turn(uint64_t ticket, const Pending& pending,
                                                   uint64_t now_ms) {
  const auto holder = holders_.find(pending.port);
  if (holder == holders_.end() || holder->second == ticket || !pending_.contains(holder->second)) {
    return std::nullopt;
  }
  return now_ms + 1;
}

void PortMonitor::collect_from(const std::string& port, Printer& printer) {
  for (const std::string& text : printer.take_breaches()) {
    breach(std::string("port ").append(port).append(": ").append(text));
  }
}

std::optional<uint64_t> PortMonitor::proceed(uint64_t ticket, uint64_t now_ms) {
  const auto found = pending_.find(ticket);
  if (found == pending_.end()) {
    return std::nullopt;
  }
  Pending& pending = found->second;
  Printer* printer = reachable(pending.port);
  if (!pending.ready_ms && !pending.exchange) {
    if (const auto turn = wait_for_turn(ticket, pending, now_ms)) {
      return turn;
    }
    const Printer* there = find(pending.port);
    auto plan = printer == nullptr ? std::nullopt : plan_of(pending);
    if (!plan) {
      pending.ready_ms = now_ms + (there == nullptr ? 0 : there->options().latency_ms);
    } else {
      holders_[pending.port] = ticket;
      pending.exchange.emplace(*std::move(plan));
      pending.exchange->start(*printer, now_ms);
    }
  }
  if (pending.ready_ms) {
    return now_ms < *pending.ready_ms ? pending.ready_ms : std::nullopt;
  }
  const auto next = printer == nullptr ? std::nullopt : pending.exchange->proceed(*printer, now_ms);
  if (printer != nullptr) {
    collect_from(pending.port, *printer);
  }
  if (!next) {
    holders_.erase(pending.port);
    return std::nullopt;
  }
  return std::max(*next, now_ms + 1);
}

RowResult PortMonitor::answer_row(const Pending& pending, size_t index,
                                  const Printer& printer) const {
  const SeenRow& row = pending.batch.rows[index];
  if (const auto found = trouble_.rows.find(row.schema); found != trouble_.rows.end()) {
    const RowAnswer& answer = found->second;
    return {answer.result, answer.data ? answer.outputs : 0, answer.type,
            answer.data.value_or(Bytes{}), answer.null_data};
  }
  RowResult result;
  if (row.schema == schemas::get_device_id && pending.named) {
    result.data = printer.device_id();
  } else if (index == pending.command_row && pending.exchange) {
    result.data = pending.exchange->received();
  } else if (row.schema != schemas::set_printer_name && row.schema != schemas::get_device_id &&
             row.schema != schemas::set_terminate_inf &&
             schemas::find_command(row.schema) == nullptr) {
    result.result = schema_not_supported;
  }
  if (!result.data.empty()) {
    result.outputs = 1;
    result.type = blob_type;
  }
  return result;
}

Answer PortMonitor::answer(uint64_t ticket) {
  Answer answer;
  auto node = pending_.extract(ticket);
  if (node.empty()) {
    return answer;
  }
  const Pending& pending = node.mapped();
  if (pending.exchange) {
    std::vector<WireMessage>& wire = wire_[pending.port];
    for (const Bytes& bytes : pending.exchange->sent()) {
      wire.push_back({pending.exchange->way(), bytes});
    }
  }
  answer.rows.resize(pending.batch.rows.size());
  answer.ending = pending.refusal;
  if (pending.refusal.failed()) {
    return answer;
  }
  const Printer* printer = find(pending.port);
  if (printer == nullptr || printer->options().reach == Reach::device_offline) {
    answer.ending.result = from_windows_error(device_offline);
    return answer;
  }
  if (printer->options().reach == Reach::server_offline) {
    answer.ending.result = from_windows_error(server_offline);
    return answer;
  }
  for (size_t i = 0; i < pending.batch.rows.size(); ++i) {
    answer.rows[i] = answer_row(pending, i, *printer);
  }
  answer.ending.result = trouble_.send_result.value_or(ok);
  return answer;
}

bool PortMonitor::push_status(const std::string& port, const StatusPush& push) {
  const auto found = printers_.find(folded(port));
  if (found == printers_.end()) {
    return false;
  }
  found->second.push_status(push);
  return true;
}

const std::vector<WireMessage>& PortMonitor::wire(const std::string& port) {
  return wire_[folded(port)];
}

Counts PortMonitor::counts(const std::u16string& printer) const {
  const auto found = counts_.find(printer);
  return found == counts_.end() ? Counts{} : found->second;
}

}  // namespace simulator
