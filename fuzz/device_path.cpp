// What the USB lists and how its devices describe themselves: their paths into the list, the
// opening and the searches.

#include <windows.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstring>
#include <string_view>

#include "device/c_winusb_io.h"
#include "fuzz/device_world.h"

namespace vlp {

// The searches that nobody selects yet, over one path or all that are listed.
class GenVlAccessTest {
 public:
  static void Search(std::uint32_t product, std::uint32_t pass_over, DbgLog* log) {
    GenVlAccess access(nullptr, log);
    access.m_dwSearchMode = kSearchProduct;
    access.m_pWinUSBIO = std::make_unique<CWinUSB_IO>(&kProductInterface);
    access.m_dwPID = product;
    access.m_dwPIDIndex = pass_over;
    const bool found = access.SearchPIDDevPath();
    fuzz::claim(!found || product != 0, "a product of no number");
    fuzz::claim(!found || access.ProductOfPath() == product, "another product");
    fuzz::claim(!found || access.m_hWinUSBMutex, "a device without its mutex");
    std::fill_n(access.m_szContainerID.begin(), 10, '{');
    access.IsSameContainerID();
    std::array<char, kTextLimit> prefix;
    prefix.fill('x');
    const std::uint32_t length =
        GenVlAccess::GetParentIDPrefix(access.m_szDevicePath.data(), prefix.data());
    fuzz::claim(length <= kTextLimit, "a prefix that is too long");
    fuzz::claim(length == 0 || (std::strlen(prefix.data()) == length - 1 && length >= 2 &&
                                prefix[length - 2] == '&'),
                "a prefix that ends otherwise");
  }
};

}  // namespace vlp

namespace fuzz {
namespace {

constexpr std::uint16_t kRemovalBit = 0x8000;
constexpr std::size_t kClasses = 2;
constexpr const char* kClassTails[kClasses] = {"#{b1ceb704-c9ba-4369-82b7-af7ee754099f}",
                                               "#{d8965402-43cd-4410-8b2b-fcdaeb81b001}"};
constexpr std::size_t kLongest = 259;

// Wide characters of the input's bytes as the layer is told them, and as the code page says them.
struct Text {
  std::string utf8 = {};
  std::string narrow = {};

  void Add(std::string_view ascii) {
    utf8 += ascii;
    narrow += ascii;
  }
  // A path parts its fields by these marks.
  void AddByte(std::uint8_t byte, bool sign_too) {
    if (byte == 0 || byte == '\\' || (sign_too && byte == '#')) byte = '_';
    if (byte < 0x80) return Add(std::string(1, static_cast<char>(byte)));
    // Those that are the same number in the code page.
    byte |= 0xA0;
    utf8 += static_cast<char>(0xC0 | byte >> 6);
    utf8 += static_cast<char>(0x80 | (byte & 0x3F));
    narrow += static_cast<char>(byte);
  }
};

struct Described {
  platform::UsbDeviceDescription device = {};
  std::array<std::string, kClasses> narrow = {};  // empty: not in this class
  bool opens = false;
  bool wanted = false;
};

Text MakePath(Choices& choices, std::size_t number) {
  constexpr std::array<std::string_view, 8> kMarks{
      "vid_0ff7&pid_0900", "VID_0FF7&PID_", "vid_0ff7&pid_",     "v",
      "vid_0ff7&pid_09ag", "vid_0ff8",      "vid_vid_0ff7&pid_", "pid_0900&vid_0ff7"};
  Text path;
  path.Add("\\\\?\\usb#");
  path.Add(kMarks[choices.Byte() & 7]);
  for (const std::uint8_t byte : choices.Bytes(choices.Byte() & 63)) path.AddByte(byte, true);
  path.Add("#" + std::to_string(number));
  const std::uint8_t length = choices.Byte();
  if ((length & 0x80) != 0) path.Add(std::string(100 + 2 * std::size_t{length & 0x7FU}, 'y'));
  for (const std::uint8_t byte : choices.Bytes(length & 0x7F)) path.AddByte(byte, false);
  return path;
}

// Whether the pipes can be found by what is told.
bool MakeDescriptor(Choices& choices, platform::UsbDescriptor& descriptor) {
  const std::uint8_t kind = choices.Byte();
  if ((kind & 1) != 0) {
    descriptor.endpoints.clear();
    for (unsigned left = kind >> 4; left > 0; --left) {
      const std::uint8_t address = choices.Byte();
      const std::uint8_t type = choices.Byte();
      descriptor.endpoints.push_back({.address = address,
                                      .type = static_cast<std::uint8_t>(type & 3),
                                      .packet_bytes = choices.Word(),
                                      .interval = choices.Byte()});
    }
  }
  if ((kind & 2) != 0) descriptor.told_endpoints = choices.Byte();
  if ((kind & 4) != 0) descriptor.settings_error = 1 + choices.Word();
  if (descriptor.settings_error) return false;
  const std::size_t told =
      descriptor.told_endpoints.value_or(static_cast<std::uint8_t>(descriptor.endpoints.size()));
  bool ways[2] = {};
  for (std::size_t i = 0; i < std::min(told, descriptor.endpoints.size()); ++i) {
    const platform::UsbEndpoint& endpoint = descriptor.endpoints[i];
    if (endpoint.type == 2) ways[endpoint.address >> 7] = true;
  }
  return ways[0] && ways[1];
}

Described MakeDevice(Choices& choices, std::size_t number) {
  Described one;
  const Text path = MakePath(choices, number);
  const std::uint8_t flags = choices.Byte();
  for (std::size_t n = 0; n < kClasses; ++n) {
    // At least one.
    if ((flags >> n & 1) == 0 && (n == 0 || (flags & 1) != 0)) continue;
    one.device.paths.push_back(path.utf8 + kClassTails[n]);
    one.narrow[n] = path.narrow + kClassTails[n];
  }
  one.wanted = (flags & 4) != 0;
  one.device.printer.serial_number = one.wanted ? kWantedSerial : "QN90000204";
  one.device.printer.scripts = {{{'c', 'm', 'd'}, {'r', 'e', 'p', 'l', 'y'}}};
  one.device.d4.empty_after_ms = 100;
  if ((flags & 8) != 0) one.device.container_id = path.utf8;
  if ((flags & 16) != 0) {
    const std::uint16_t at = choices.Word();
    auto& removal = (at & kRemovalBit) != 0 ? one.device.d4.remove_after_read
                                            : one.device.d4.remove_after_written;
    removal = 1 + (at & 0xFF);
  }
  one.opens = MakeDescriptor(choices, one.device.descriptor);
  return one;
}

// The list gives what was described: every path that fits, once, and nothing else.
void ClaimList(const vlp::CWinUSB_IO& usb, const std::vector<Described>& all, std::size_t kind) {
  std::vector<std::string> expected;
  std::size_t listed = 0;
  for (const Described& one : all) {
    if (one.narrow[kind].empty()) continue;
    ++listed;
    if (one.narrow[kind].size() <= kLongest) expected.push_back(one.narrow[kind]);
  }
  std::vector<std::string> got;
  for (std::uint32_t index = 0; index < listed + 2; ++index) {
    const auto path = std::make_unique<char[]>(vlp::kTextLimit);
    std::fill_n(path.get(), vlp::kTextLimit, 'x');
    SetLastError(0);
    if (usb.GetDevicePath(index, path.get())) {
      got.emplace_back(path.get(), strnlen(path.get(), vlp::kTextLimit));
      continue;
    }
    claim(index < listed || GetLastError() == ERROR_NO_MORE_ITEMS, "an end of another kind");
    claim(std::all_of(path.get(), path.get() + vlp::kTextLimit, [](char c) { return c == 0; }),
          "a part of a path");
  }
  std::ranges::sort(expected);
  std::ranges::sort(got);
  claim(got == expected, "a list that isn't the devices'");
}

void ClaimOpening(vlp::CWinUSB_IO& usb, const Described& one, std::size_t kind) {
  for (int round = 0; round < 2; ++round) {
    if (one.narrow[kind].empty()) return;
    const bool opened = usb.OpenWinUSBDevice(one.narrow[kind].c_str());
    if (opened != one.opens)
      std::fprintf(stderr, "%s: %d, last error %u\n", one.narrow[kind].c_str(), opened,
                   static_cast<unsigned>(GetLastError()));
    claim(opened == one.opens, "an opening of its own");
    claim(usb.IsOpened() == one.opens, "a device that is open otherwise");
    usb.CloseWinUSBDevice();
  }
}

}  // namespace

void device_path(Input input) {
  RunOnComputer(input.empty() ? std::uint8_t{0} : input[0], [input] {
    Choices choices(input);
    choices.Byte();
    const std::uint8_t flags = choices.Byte();
    std::vector<Described> all;
    for (std::size_t number = 0; number < 4 && !choices.Empty(); ++number) {
      all.push_back(MakeDevice(choices, number));
      platform::add_usb_device(all.back().device);
    }
    const GUID* const classes[kClasses] = {&vlp::kSerialNumberInterface, &vlp::kProductInterface};
    for (std::size_t kind = 0; kind < kClasses; ++kind) {
      vlp::CWinUSB_IO usb(classes[kind]);
      ClaimList(usb, all, kind);
      for (const Described& one : all) ClaimOpening(usb, one, kind);
    }
    const std::unique_ptr<vlp::DbgLog> log = MakeDeviceLog((flags & 1) != 0);
    vlp::GenVlAccessTest::Search((flags & 2) != 0 ? 0x0900 : flags >> 2, flags >> 6, log.get());
    vlp::GenVlAccess access(reinterpret_cast<const std::uint8_t*>(kWantedSerial), 0, 0, nullptr,
                            &kDeviceSettings, log.get());
    claim(
        !access.IsInitialized() ||
            std::ranges::any_of(all, [](const Described& one) { return one.wanted && one.opens; }),
        "a device that nobody plugged in");
    UseDevice(access);
  });
}

}  // namespace fuzz
