#include "tests/system/storm_world.h"

#include <algorithm>
#include <cstdio>

namespace system_test {
namespace {

using namespace std::string_literals;

struct Face {
  std::string device_id;
  std::string status;
  std::vector<Entry> entries;
};

// The second has no job language and no fax; it is longer, so that a mixture shows.
const Face kFaces[kStormFaces] = {
    {"MFG:V;CMD:QPL,BDC,END4;MDL:" + std::string(200, 'a') + ";",
     "0400",
     {{ChnlKindQpl, 3}, {ChnlKindBdc, 7}, {ChnlKindZrdPage, 7}, {ChnlKindEnd4, 3}}},
    {"MFG:V;CMD:BDC,D4;MDL:" + std::string(500, 'b') + ";",
     "0" + std::string(90, '4'),
     {{ChnlKindBdc, 7}, {ChnlKindZrdPage, 7}, {ChnlKindD4, 7}}},
};

// D4 stands in the profile of the first printer only: its status has no head, so items of
// the printer's own accord may not be mixed into it.
bool HasD4(std::size_t printer) { return printer == 0; }

constexpr const char* kChannels =
    "LPT_Channel00=0x10010002\nLPT_ChnlMode00=7\n"
    "LPT_Channel01=0x10010003\nLPT_ChnlMode01=7\n"
    "LPT_ChnlStsCmd01=1B,40,1B,40,1B,28,52,08,00,00,52,45,4D,4F,54,45,31,"
    "53,54,02,00,00,01,53,54,01,00,01,1B,00,00,00\n"
    "LPT_Channel02=0x10010004\nLPT_ChnlMode02=7\n"
    "LPT_ChnlStsCmd02=1B,01,40,51,50,4C,20,49,4E,46,4F,20,53,54,41,54,55,53,0D,0A,"
    "40,51,50,4C,20,45,4E,20,4C,41,3D,5A,52,44,2F,50,41,47,45,0A,"
    "1D,31,30,3B,31,6C,53,1D,31,32,6D,6C,53\n"
    "LPT_Channel03=0x10010008\nLPT_ChnlMode03=3\n";
constexpr const char* kD4Channel =
    "LPT_Channel04=0x10000005\nLPT_ChnlMode04=7\nLPT_ChnlStsCmd04=73,74,01,00,01\n";

// One is asked anew each time, one now and then, one nearly always from what is known.
constexpr const char* kAges[kStormPrinters] = {"LPT_UniversalDriver=1\nLPT_StatusNoChkTime=2\n",
                                               "LPT_DevIDNoChkTime=3\n",
                                               "LPT_StatusNoChkTime=20\n"};

// Fewer than the printer is asked for by what is too large.
constexpr std::uint32_t kTooLarge = 5000;

std::string Number(std::uint32_t id) {
  char text[16];
  std::snprintf(text, sizeof(text), "<%08X>", static_cast<unsigned>(id));
  return text;
}

std::string Sized(const std::string& text) {
  return ""s + static_cast<char>(text.size() & 0xFF) + static_cast<char>(text.size() >> 8) + text;
}

// What the printer is to say, where it is told.
std::string EchoOf(const Request& request) {
  const std::string number = Number(request.id);
  if (request.wish != Wish::long_echo) return number;
  std::string text;
  while (text.size() < 1500) text += number;
  return text;
}

std::string CommandOf(const Request& request) {
  switch (request.wish) {
    case Wish::short_echo:
    case Wish::long_echo:
    case Wish::through:
      return "ec" + Sized(EchoOf(request));
    case Wish::job_echo:
      return "@QPL ECHO " + EchoOf(request) + "\r\n";
    case Wish::fax_echo:
      return "FX" + Sized("\x04" + EchoOf(request));
    case Wish::silent:
      return "@QPL COMMENT " + EchoOf(request) + "\r\n";
    case Wish::too_large:
      return "fl\4\0"s + static_cast<char>(kTooLarge & 0xFF) + static_cast<char>(kTooLarge >> 8) +
             "\0\0"s;
    default:
      return {};
  }
}

ChannelKind KindOf(Wish wish) {
  switch (wish) {
    case Wish::job_status:
      return ChnlKindZrdPage;
    case Wish::job_echo:
    case Wish::silent:
      return ChnlKindQpl;
    case Wish::fax_echo:
      return ChnlKindEnd4;
    default:
      return ChnlKindBdc;
  }
}

// All items that the printer can give, with either face and in either form: what is known
// of its status is given whichever channel it came by.
bool IsStatusItem(const std::string& item) {
  const auto is = [&item](const Face& face) {
    return item ==
               "@BDC ST\r\nST:" + face.status + ";ER:00;PA:A4;MC:514E3432303030303137;SE:01;\f" ||
           item == "@QPL STATUS CODE=" + face.status + ";MC:514E3432303030303137\n";
  };
  return std::any_of(std::begin(kFaces), std::end(kFaces), is);
}

}  // namespace

std::string StormName(std::size_t printer) { return "Printer " + std::to_string(printer); }
std::string StormPort(std::size_t printer) { return "USB00" + std::to_string(printer); }

void AddStormPrinter(std::size_t printer) {
  const std::string driver = "Driver " + std::to_string(printer);
  far_side::add_model(driver,
                      kAges[printer] + std::string(kChannels) + (HasD4(printer) ? kD4Channel : ""));
  far_side::add_printer({.name = StormName(printer), .port = StormPort(printer), .driver = driver});
  TurnStormPrinter(printer, 0);
}

void TurnStormPrinter(std::size_t printer, std::size_t face) {
  far_side::plug({.port = StormPort(printer),
                  .device_id = bytes_of(kFaces[face].device_id),
                  .serial_number = "QN42000017",
                  .languages = {"QPL", "BDC", "ZRDPAGE", "D4", "END4"},
                  .latency_ms = static_cast<std::uint32_t>(printer),
                  .status_text = kFaces[face].status,
                  .silence_ms = 2,
                  .first_byte_ms = 10,
                  .give_up_ms = 20});
}

bool IsFace(std::size_t printer, const std::vector<Entry>& entries) {
  for (const Face& face : kFaces) {
    std::vector<Entry> expected = face.entries;
    if (!HasD4(printer)) {
      std::erase_if(expected, [](const Entry& entry) { return entry.kind == ChnlKindD4; });
    }
    if (entries == expected) return true;
  }
  return false;
}

void Ask(const Provider& provider, Request& request) {
  const std::string name = StormName(request.printer);
  const ChannelKind kind = KindOf(request.wish);
  switch (request.wish) {
    case Wish::device_id:
      request.code = provider.DeviceId(request.id, name);
      return;
    case Wish::bdc_status:
    case Wish::job_status:
      request.code = provider.Status(request.id, name, kind);
      return;
    case Wish::through:
      request.code = provider.Through(request.id, name, kind, bytes_of(CommandOf(request)));
      return;
    default:
      request.code = provider.Command(request.id, name, kind, bytes_of(CommandOf(request)));
  }
}

// A command's length, and 0 for what isn't one.
std::int32_t GoodCode(const Request& request) {
  return static_cast<std::int32_t>(CommandOf(request).size());
}

bool HasResult(Wish wish) {
  return wish != Wish::silent && wish != Wish::too_large && wish != Wish::through;
}

bool MayRefuse(Wish wish, std::int32_t code) {
  // Nobody serves the port that the printer hangs on just now.
  if (code == VLPER_NOTSUPPORT) return true;
  // The port was changed behind the look at it, and nobody is at the new one.
  if (wish == Wish::device_id) {
    // Or the answer grew between the two calls of the length protocol.
    return code == VLPER_NOTCONNECT || code == VLPER_BUFFERSIZE;
  }
  // The channel has gone, or the printer was replaced while it was asked.
  if (code == VLPER_NOCHANNEL || code == VLPER_SEND) return true;
  if (wish == Wish::bdc_status || wish == Wish::job_status) return code == VLPER_BUFFERSIZE;
  if (wish == Wish::through) return false;
  // A reply of no bytes at all can't be used.
  return code == VLPER_PARAM || (wish == Wish::too_large && code == VLPER_BUFFERSIZE);
}

bool IsAnswer(const Request& request, const Bytes& data) {
  const std::string text(data.begin(), data.end());
  switch (request.wish) {
    case Wish::device_id:
      return text == kFaces[0].device_id || text == kFaces[1].device_id;
    case Wish::bdc_status:
    case Wish::job_status:
      return IsStatusItem(text);
    case Wish::job_echo:
      return text == "@QPL ECHO " + EchoOf(request) + "\r\n\f";
    default:
      return text == EchoOf(request);
  }
}

bool IsNumbered(Wish wish) {
  return wish != Wish::device_id && wish != Wish::bdc_status && wish != Wish::job_status &&
         wish != Wish::too_large;
}

std::size_t TimesOnWire(const Request& request) {
  const Bytes command = bytes_of(CommandOf(request));
  std::size_t times = 0;
  for (const far_side::WireMessage& message : far_side::wire_messages(StormPort(request.printer))) {
    const auto found =
        std::search(message.bytes.begin(), message.bytes.end(), command.begin(), command.end());
    if (found != message.bytes.end()) ++times;
  }
  return times;
}

}  // namespace system_test
