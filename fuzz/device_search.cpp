// The search for the device with one serial number, among devices that say anything when they
// are asked for their status.

#include <algorithm>
#include <cstdio>

#include "fuzz/d4_device_plan.h"
#include "fuzz/device_world.h"
#include "language/status_item.h"
#include "platform/kernel/scenario.h"
#include "simulator/status_report.h"

namespace fuzz {
namespace {

constexpr std::size_t kMostDevices = 3;
constexpr std::size_t kMostStatus = 512;
// A search asks each device once; then there are a status and a command. No exchange lasts longer.
constexpr std::uint64_t kLongestExchangeMs = 300'000;

constexpr std::uint64_t kRemovedMs = 200'000;

// How the status of a device comes to be.
simulator::Bytes MakeStatus(Choices& choices) {
  const std::uint8_t kind = choices.Byte();
  const Input own = choices.Bytes(kind & 0x3F);
  simulator::Bytes status(own.begin(), own.end());
  const simulator::StatusForm form =
      (kind & 0x40) != 0 ? simulator::StatusForm::binary : simulator::StatusForm::text;
  if ((kind & 0x80) == 0) return status;
  // A good one with these bytes over it, at any place, or as long as they say.
  simulator::Bytes item = simulator::status_item({.serial_number = kWantedSerial}, form);
  const std::uint16_t at = choices.Word();
  std::copy_n(status.begin(), std::min(status.size(), item.size() - at % item.size()),
              item.begin() + static_cast<std::ptrdiff_t>(at % item.size()));
  item.resize(item.size() - (at >> 8) % item.size() + ((at & 0x80) != 0 ? kMostStatus : 0));
  return item;
}

bool IsWanted(const simulator::Bytes& status) {
  if (status.empty() || status.size() > kMostStatus) return false;
  const auto serial = vlp::GetSerialFromStatus(status);
  return serial && std::equal(serial->begin(), serial->end(), kWantedSerial);
}

struct Devices {
  std::vector<simulator::Bytes> statuses = {};
  bool honest = true;  // all of them keep to the protocol
};

Devices PlugIn(Choices& choices, std::uint8_t flags) {
  Devices devices;
  devices.honest = (flags & 1) == 0;
  const std::size_t count = 1 + (flags >> 1) % kMostDevices;
  for (std::size_t number = 0; number < count; ++number) {
    platform::UsbDeviceDescription device;
    device.paths = {"\\\\?\\usb#vid_0ff7&pid_0900#" + std::to_string(number) +
                    "#{b1ceb704-c9ba-4369-82b7-af7ee754099f}"};
    devices.statuses.push_back(MakeStatus(choices));
    device.printer.status_item = devices.statuses.back();
    device.printer.scripts = {{{'c', 'm', 'd'}, {'r', 'e', 'p', 'l', 'y'}}};
    device.d4.empty_after_ms = 100;
    // The last one has the rest of the input for its conduct.
    if (!devices.honest && number + 1 == count) {
      device.d4 = MakeDevice(choices);
      // A transfer has no end of its own: what ends it where a device keeps silent.
      device.d4.acts.push_back({.kind = simulator::D4Act::Kind::removal, .at_ms = kRemovedMs});
    }
    platform::add_usb_device(device);
  }
  return devices;
}

// The first that has the number, and none else, is the one whose status is held.
void ClaimFound(vlp::GenVlAccess& access, const Devices& devices) {
  const auto first = std::ranges::find_if(devices.statuses, IsWanted);
  claim(access.IsInitialized() == (first != devices.statuses.end()), "a search with another end");
  if (first == devices.statuses.end()) return;
  simulator::Bytes held(kMostStatus);
  std::uint32_t length = 0;
  claim(access.GenVlGetStatus(vlp::GENVL_CHANNEL_STATUS, held.data(), kMostStatus, &length) == 0,
        "no status is held");
  held.resize(length);
  claim(held == *first, "another device's status");
}

}  // namespace

void device_search(Input input) {
  RunOnComputer(input.empty() ? std::uint8_t{0} : input[0], [input] {
    Choices choices(input);
    choices.Byte();
    const std::uint8_t flags = choices.Byte();
    const Devices devices = PlugIn(choices, flags);
    const std::unique_ptr<vlp::DbgLog> log = MakeDeviceLog((flags & 0x80) != 0);
    const std::uint64_t began = platform::elapsed_ms();
    {
      vlp::GenVlAccess access(reinterpret_cast<const std::uint8_t*>(kWantedSerial), 0, 0, nullptr,
                              &kDeviceSettings, log.get());
      if (devices.honest) ClaimFound(access, devices);
      UseDevice(access);
    }
    claim(platform::elapsed_ms() - began <= (kMostDevices + 2) * kLongestExchangeMs,
          "a search that took too long");
    if (!devices.honest) return;
    const std::vector<std::string> breaches = TakeBreaches();
    for (const std::string& text : breaches) std::fprintf(stderr, "%s\n", text.c_str());
    claim(breaches.empty(), "a device finds the host at fault");
  });
}

}  // namespace fuzz
