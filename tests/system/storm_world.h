#pragma once

// The printers of the storm: their device ID keeps changing between two whole texts, and
// with it the channels. What is asked of them has the request's number in it wherever the
// printer can be made to say it.

#include <cstdint>
#include <string>
#include <vector>

#include "tests/system/provider.h"

namespace system_test {

inline constexpr std::size_t kStormPrinters = 3;
inline constexpr std::size_t kStormFaces = 2;

enum class Wish {
  device_id,
  bdc_status,
  job_status,
  short_echo,
  long_echo,
  job_echo,
  fax_echo,
  silent,     // the printer answers nothing
  too_large,  // more than there is room for
  through,
};
inline constexpr std::size_t kWishes = 10;

// One request and what became of it.
struct Request {
  Wish wish = Wish::device_id;
  std::uint32_t id = 0;
  std::size_t printer = 0;
  std::int32_t code = 0;
  bool wholly_before = false;  // it ended before Terminate was called
};

std::string StormName(std::size_t printer);
std::string StormPort(std::size_t printer);

// Adds printer, driver and profile to an empty world.
void AddStormPrinter(std::size_t printer);
// Replaces the printer at the port by one of that face.
void TurnStormPrinter(std::size_t printer, std::size_t face);

// Whether these are the channels of the printer with one of its faces.
bool IsFace(std::size_t printer, const std::vector<Entry>& entries);

// Makes the request and notes its code.
void Ask(const Provider& provider, Request& request);

// What success gives; whether there is a result then.
std::int32_t GoodCode(const Request& request);
bool HasResult(Wish wish);
// Whether the code is one that may come in that storm; Terminate is another matter.
bool MayRefuse(Wish wish, std::int32_t code);
// Whether the data are a whole answer to this request and no other.
bool IsAnswer(const Request& request, const Bytes& data);
// How often the command of that request reached the printer. Always 0 for what isn't a
// command with its number in it.
bool IsNumbered(Wish wish);
std::size_t TimesOnWire(const Request& request);

}  // namespace system_test
