#pragma once

// A computer with devices on its USB, out of an input, for the targets of device/.

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "device/gen_vl_access.h"
#include "fuzz/choices.h"
#include "platform/usb_devices.h"

namespace fuzz {

// The number that is searched for.
inline constexpr char kWantedSerial[] = "QN90000203";
inline constexpr vlp::GenVlSettings kDeviceSettings = {1, 4, 25, 20000, 5000};

// An empty computer, and the body as a scenario on it. Each run begins anew.
void RunOnComputer(std::uint8_t seed, const std::function<void()>& body);

// A log on that computer's drive, with every line; null unless it is wanted.
std::unique_ptr<vlp::DbgLog> MakeDeviceLog(bool wanted);

// A status, a command and its reply, of an object that may have found its device or not.
void UseDevice(vlp::GenVlAccess& access);

// What the devices of this computer held against the host.
std::vector<std::string> TakeBreaches();

}  // namespace fuzz
