#pragma once

// The schemas that the port's monitor serves.

#include "simulator/printer.h"
#include "simulator/record.h"

#include <string>
#include <string_view>

namespace simulator::schemas {

inline constexpr std::u16string_view set_printer_name = u"\\Printer.VELNO_SCHEMA:SetPrinterName";
inline constexpr std::u16string_view get_device_id = u"\\Printer.VELNO_SCHEMA:GetDeviceID";
inline constexpr std::u16string_view get_status = u"\\Printer.VELNO_SCHEMA:GetStatus";
inline constexpr std::u16string_view set_terminate_inf = u"\\Printer.VELNO_SCHEMA:SetTerminateInf";

// A row whose input goes to the printer.
struct Command {
  std::u16string_view name;
  Way way;
  bool wants_reply;
  bool takes_terminate_inf;
  uint32_t Counts::*count;
};

// The command of that schema; null for the others.
const Command* find_command(const std::u16string& schema);

}  // namespace simulator::schemas
