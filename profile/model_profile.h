#pragma once

// The settings of a printer model: a small INI file, ending in ".LMD", among the
// dependent files of the printer's driver, section "ProfileInf".

#include <array>
#include <cstdint>
#include <string>
#include <vector>

namespace vlp {

// Ten slots can be read; the eleventh stays zero and ends the list.
inline constexpr std::size_t kProfileChannels = 11;
inline constexpr std::size_t kProfileMakers = 5;

using ByteList = std::vector<std::uint8_t>;

// Filled once per printer and unchanged from then on. Each number stands as the file
// gives it, unclamped: whoever uses one must bear any value. What has no reader in this
// library is kept for those who look at the record.
struct ModelProfile {
  std::uint32_t loaded = 0;

  // Up to the first kind 0.
  std::array<std::uint32_t, kProfileChannels> channelKind{};
  std::array<std::uint32_t, kProfileChannels> channelMode{};
  std::array<ByteList, kProfileChannels> channelStatusCmd;

  std::uint32_t statusNoChkTime = 5000;    // ms, age limit of the status cache
  std::uint32_t devIDNoChkTime = 30000;    // ms, age limit of the device-ID cache
  std::uint32_t statusLength = 2048;       // bytes
  std::uint32_t packetRcvMaxTime = 20000;  // ms
  std::uint32_t rcvDatBuffSize = 2048;     // bytes, size of the reply buffer
  std::uint32_t dltEnable = 1;
  std::uint32_t d4AIDMode = 0;
  std::uint32_t d4PacketSize = 4102;  // bytes
  std::uint32_t d4RetryMode = 0;
  std::uint32_t d4RetryTiming = 50;
  std::uint32_t d4RetryMax = 0;
  std::uint32_t universalDriver = 0;  // not 0: every query asks the printer anew
  ByteList startJobCmd;
  ByteList endJobCmd;
  std::uint32_t portReadWriteWaitTime = 5000;  // ms
  std::uint32_t readTotalTimeOut = 5000;       // ms
  std::uint32_t readIntervalTimeOut = 200;     // ms
  std::uint32_t stopDLTDummyRead = 0;
  std::uint32_t readTotalTimeOutUSB = 5000;    // ms
  std::uint32_t readIntervalTimeOutUSB = 200;  // ms
  std::uint32_t stopDLTDummyReadUSB = 0;
  std::uint32_t tndmDriver = 0;
  std::array<std::string, kProfileMakers> oemMfg;
  std::uint32_t usePrintThread = 0;
  std::uint32_t threadMemorySize = 0x100000;   // bytes
  std::uint32_t flushTimer = 2000;             // ms
  std::uint32_t vl1394D3PacketSize = 0x10000;  // bytes
  std::uint32_t monitorPRIUp = 0;
  std::uint32_t dontSendStatusReplyCmd = 0;
  std::uint32_t dataFlushCmdCheckInf = 0;
};

// Finds and reads the profile of the printer with this name. Can't fail: whatever goes
// wrong on the way means that the defaults stand and no channel is listed. Asks the
// spooler and reads a file; throws only when memory runs out.
ModelProfile LoadModelProfile(const char* printer_name);

}  // namespace vlp
