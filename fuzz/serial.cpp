// The input is a status item, of which the serial number is wanted.

#include <algorithm>
#include <cstdio>
#include <string>

#include "fuzz/targets.h"
#include "language/status_item.h"

namespace fuzz {
namespace {

// Whether the ten bytes stand in the item: as they are, or as digits of either case.
bool StandsIn(const vlp::SerialNumber& serial, Input item) {
  if (std::search(item.begin(), item.end(), serial.begin(), serial.end()) != item.end())
    return true;
  std::string digits;
  for (const std::uint8_t byte : serial) {
    char text[3];
    std::snprintf(text, sizeof(text), "%02x", byte);
    digits += text;
  }
  return std::search(item.begin(), item.end(), digits.begin(), digits.end(),
                     [](std::uint8_t from_item, char digit) {
                       const bool upper = from_item >= 'A' && from_item <= 'F';
                       return (upper ? from_item + ('a' - 'A') : from_item) == digit;
                     }) != item.end();
}

}  // namespace

void serial(Input input) {
  const auto found = vlp::GetSerialFromStatus(input);
  if (!found) return;
  claim(input.size() >= 13, "a serial number out of too little");
  claim(StandsIn(*found, input), "a serial number that isn't in the item");
}

}  // namespace fuzz
