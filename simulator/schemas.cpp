#include "simulator/schemas.h"

#include <array>

namespace simulator::schemas {
namespace {

constexpr std::array<Command, 4> commands{{
    {get_status, Way::data, true, true, &Counts::status_queries},
    {u"\\Printer.VELNO_SCHEMA:SendCommand", Way::data, true, true, &Counts::commands},
    {u"\\Printer.VELNO_SCHEMA:SendFaxCommand", Way::fax, true, false, &Counts::fax},
    {u"\\Printer.VELNO_SCHEMA:SendThroughREMOTE", Way::remote, false, false, &Counts::through},
}};

}  // namespace

const Command* find_command(const std::u16string& schema) {
  for (const Command& candidate : commands) {
    if (schema == candidate.name) {
      return &candidate;
    }
  }
  return nullptr;
}

}  // namespace simulator::schemas
