#include "operations/command_list.h"

namespace vlp {
namespace {

constexpr std::string_view kField = "CMD:";
constexpr std::size_t kFieldLimit = 1023;

std::string_view CommandField(std::string_view device_id) {
  const std::size_t found = device_id.find(kField);
  if (found == std::string_view::npos) return {};
  const std::string_view rest = device_id.substr(found + kField.size());
  return rest.substr(0, rest.find(';')).substr(0, kFieldLimit);
}

bool IsEntry(std::string_view field, std::size_t at, std::size_t size) {
  const std::size_t end = at + size;
  const bool ends = end == field.size() || field[end] == ',' || field[end] == '-';
  const bool begins = at <= 1 || field[at - 1] == ',';
  return ends && begins;
}

}  // namespace

bool CmdListHas(std::span<const std::uint8_t> device_id, std::string_view keyword) {
  const std::string_view field =
      CommandField({reinterpret_cast<const char*>(device_id.data()), device_id.size()});
  if (keyword.empty()) return false;
  for (std::size_t at = field.find(keyword); at != std::string_view::npos;
       at = field.find(keyword, at + keyword.size())) {
    if (IsEntry(field, at, keyword.size())) return true;
  }
  return false;
}

}  // namespace vlp
