// What the port's monitor asks of a batch before it moves a byte.

#include "simulator/port_monitor.h"
#include "simulator/schemas.h"

#include <utility>

namespace simulator {
namespace {

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

std::string numbered(size_t index, const std::string& text) {
  return "row " + std::to_string(index) + ": " + text;
}

}  // namespace

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
  if (index > 0 && row.schema == schemas::set_printer_name) {
    breach(numbered(index, "the printer is named behind the first row"));
  }
  if (row.schema == schemas::get_device_id && !row.input.empty()) {
    breach(numbered(index, "the device ID query carries bytes"));
  }
}

// The printer is named, then comes the command, then how its reply ends.
void PortMonitor::check_order(const SeenBatch& batch, const std::optional<size_t>& command_row) {
  for (size_t i = 0; i < batch.rows.size(); ++i) {
    const SeenRow& row = batch.rows[i];
    if (scripted(row)) {
      continue;
    }
    const schemas::Command* before =
        i == 0 ? nullptr : schemas::find_command(batch.rows[i - 1].schema);
    if (row.schema == schemas::set_terminate_inf) {
      if (before == nullptr || !before->takes_terminate_inf) {
        breach(numbered(i, "no command stands before the end of its reply"));
      }
    } else if (command_row && i > *command_row) {
      breach(numbered(i, "\"" + readable(row.schema) + "\" behind the command"));
    }
    if (i == command_row && i != 1) {
      breach(numbered(i, "the command isn't the second row"));
    }
    if (schemas::find_command(row.schema) != nullptr && row.schema != schemas::get_status &&
        row.input.empty()) {
      breach(numbered(i, "a command of no bytes"));
    }
  }
  if (command_row && batch.rows.size() > *command_row + 2) {
    breach("rows behind the end of the reply");
  }
}

// What has to be moved for the batch, if anything.
std::optional<ExchangePlan> PortMonitor::plan_of(const Pending& pending) {
  if (!pending.named || !pending.command_row || pending.refusal.failed()) {
    return std::nullopt;
  }
  const size_t index = *pending.command_row;
  const SeenRow& row = pending.batch.rows[index];
  const schemas::Command& schema = *schemas::find_command(row.schema);
  ExchangePlan plan{.way = schema.way, .command = row.input, .wants_reply = schema.wants_reply};
  if (!schema.takes_terminate_inf || index + 1 >= pending.batch.rows.size()) {
    return plan;
  }
  const SeenRow& behind = pending.batch.rows[index + 1];
  if (behind.schema != schemas::set_terminate_inf || scripted(behind)) {
    return plan;
  }
  std::string error;
  plan.end = read_terminate_record(behind.input, error);
  if (!plan.end) {
    breach(numbered(index + 1, "the end of the reply can't be read: " + error));
  } else if (row.schema != schemas::get_status && count_of(row.input, plan.end->probe) == 0) {
    breach(numbered(index, "the probe isn't in the command " + shown(row.input)));
    plan.end.reset();
  }
  return plan;
}

}  // namespace simulator
