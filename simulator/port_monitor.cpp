#include "simulator/port_monitor.h"

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

constexpr std::u16string_view set_printer_name = u"\\Printer.VELNO_SCHEMA:SetPrinterName";
constexpr std::u16string_view get_device_id = u"\\Printer.VELNO_SCHEMA:GetDeviceID";

uint32_t unit_at(const Bytes& bytes, size_t index) {
  return static_cast<uint32_t>(bytes[2 * index]) | static_cast<uint32_t>(bytes[2 * index + 1]) << 8;
}

// The text in `bytes` if they are UTF-16 units with one terminator, at their end.
std::optional<std::u16string> terminated_text(const Bytes& bytes) {
  if (bytes.size() < 2 || bytes.size() % 2 != 0) {
    return std::nullopt;
  }
  std::u16string text;
  const size_t units = bytes.size() / 2;
  for (size_t i = 0; i + 1 < units; ++i) {
    if (unit_at(bytes, i) == 0) {
      return std::nullopt;
    }
    text.push_back(static_cast<char16_t>(unit_at(bytes, i)));
  }
  if (unit_at(bytes, units - 1) != 0) {
    return std::nullopt;
  }
  return text;
}

std::string folded(std::string port) {
  for (char& c : port) {
    c = c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
  }
  return port;
}

std::string numbered(size_t index, const std::string& text) {
  return "row " + std::to_string(index) + ": " + text;
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

bool PortMonitor::names_printer(const SeenRow& row, const std::u16string& bound) {
  if (row.input_type != blob_type) {
    breach("the printer's name came as type " + std::to_string(row.input_type));
    return false;
  }
  const auto name = terminated_text(row.input);
  if (!name) {
    breach("the printer's name isn't wide text with one terminator at its end");
    return false;
  }
  if (*name != bound) {
    breach("the batch names \"" + readable(*name) + "\" on the way to \"" + readable(bound) + "\"");
    return false;
  }
  return true;
}

void PortMonitor::check_row(const SeenRow& row, size_t index, bool named) {
  if (row.input.empty() != (row.input_type == 0)) {
    breach(numbered(index, "type " + std::to_string(row.input_type) + " with " +
                               std::to_string(row.input.size()) + " bytes"));
  }
  if (scripted(row)) {
    return;
  }
  if (!named) {
    breach(numbered(index, "\"" + readable(row.schema) + "\" before the printer was named"));
  }
  if (index > 0 && row.schema == set_printer_name) {
    breach(numbered(index, "the printer is named behind the first row"));
  }
  if (row.schema == get_device_id && !row.input.empty()) {
    breach(numbered(index, "the device ID query carries bytes"));
  }
}

Arrival PortMonitor::arrive(SeenBatch batch, const std::string& port) {
  Counts& counts = counts_[batch.printer];
  ++counts.sends;
  counts.rows += static_cast<uint32_t>(batch.rows.size());
  Arrival arrival;
  if (batch.action != u"Get") {
    breach("the action is \"" + readable(batch.action) + "\"");
    arrival.refusal.result = invalid_argument;
  }
  const bool named = !batch.rows.empty() && batch.rows[0].schema == set_printer_name &&
                     (scripted(batch.rows[0]) || names_printer(batch.rows[0], batch.printer));
  for (size_t i = 0; i < batch.rows.size(); ++i) {
    const SeenRow& row = batch.rows[i];
    if (row.schema == get_device_id) {
      ++counts.device_id_queries;
    }
    check_row(row, i, named || (i == 0 && row.schema == set_printer_name));
  }
  if (!arrival.refusal.failed()) {
    arrival.refusal = check(&Trouble::send);
  }
  batches_.push_back(std::move(batch));
  if (const Printer* printer = find(port)) {
    const PrinterOptions& options = printer->options();
    arrival.latency_ms = options.latency_ms;
    arrival.started = options.started;
    arrival.gate = options.gate;
  }
  return arrival;
}

RowResult PortMonitor::answer_row(const SeenRow& row, const Printer& printer, bool named) const {
  if (const auto found = trouble_.rows.find(row.schema); found != trouble_.rows.end()) {
    const RowAnswer& answer = found->second;
    return {answer.result, answer.data ? answer.outputs : 0, answer.type,
            answer.data.value_or(Bytes{}), answer.null_data};
  }
  RowResult result;
  if (row.schema == set_printer_name) {
    return result;
  }
  if (row.schema != get_device_id) {
    result.result = schema_not_supported;
    return result;
  }
  if (named) {
    result.data = printer.device_id();
  }
  if (!result.data.empty()) {
    result.outputs = 1;
    result.type = blob_type;
  }
  return result;
}

Answer PortMonitor::answer(const SeenBatch& batch, const std::string& port, const Ending& refusal) {
  Answer answer;
  answer.rows.resize(batch.rows.size());
  answer.ending = refusal;
  if (refusal.failed()) {
    return answer;
  }
  const Printer* printer = find(port);
  if (printer == nullptr || printer->options().reach == Reach::device_offline) {
    answer.ending.result = from_windows_error(device_offline);
    return answer;
  }
  if (printer->options().reach == Reach::server_offline) {
    answer.ending.result = from_windows_error(server_offline);
    return answer;
  }
  const bool named =
      !batch.rows.empty() && batch.rows[0].schema == set_printer_name &&
      (scripted(batch.rows[0]) || terminated_text(batch.rows[0].input) == batch.printer);
  for (size_t i = 0; i < batch.rows.size(); ++i) {
    answer.rows[i] = answer_row(batch.rows[i], *printer, named);
  }
  answer.ending.result = trouble_.send_result.value_or(ok);
  return answer;
}

Counts PortMonitor::counts(const std::u16string& printer) const {
  const auto found = counts_.find(printer);
  return found == counts_.end() ? Counts{} : found->second;
}

}  // namespace simulator
