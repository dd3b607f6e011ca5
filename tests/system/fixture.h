#pragma once

// What every test of the whole library begins and ends with.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "tests/system/provider.h"

namespace system_test {

// Bits of the log's mask.
inline constexpr std::uint32_t kLogOperations = 0x1;
inline constexpr std::uint32_t kLogSpooler = 0x2;
inline constexpr std::uint32_t kLogUncut = 0x40000000;
inline constexpr std::uint32_t kLogLife = 0x80000000;

// A channel as a profile lists it.
struct Channel {
  ChannelKind kind = 0;
  std::uint32_t mode = 7;
  Bytes status_command = {};  // empty: the profile says nothing of one
};

// Lines of a profile with these channels, in this order, and further lines behind them.
std::string ProfileLines(const std::vector<Channel>& channels, const std::string& more = {});

// What asks a printer on its BDC channel for its status, as text.
Bytes TextStatusRequest();

// An empty world at the start; at the end the library is terminated and unloaded, and
// nothing may be left of it: no handle, no lock, no thread, no COM object, nothing that
// the far side had to complain about.
class SystemTest : public ::testing::Test {
 protected:
  void SetUp() override;
  void TearDown() override;

  // Loads the library, which reads the log's settings.
  Provider& Load();
  Provider& provider() { return *provider_; }
  void DropProvider() { provider_.reset(); }

  // A printer of these channels whose device ID is this text. Everything that it needs
  // is named after its port.
  void AddPrinter(const std::string& name, const std::string& port, const std::string& device_id,
                  const std::vector<Channel>& channels, const std::string& more_lines = {});
  // The usual one: "Laser" at USB001 with a BDC channel, which gives its status as text.
  void AddLaser();

  // Settings for the next load, with a folder of its own.
  void LogTo(std::uint32_t mask);
  std::string LogFile(const std::string& printer) const { return log_folder_ + printer + ".dat"; }
  // Its whole content; empty if there is no file.
  std::string Log(const std::string& printer) const;
  // The lines without their heads; failures keep their "### ".
  std::vector<std::string> LogLines(const std::string& printer) const;
  const std::string& log_folder() const { return log_folder_; }

  // That no result lies in the queue. Asks a printer of its own.
  void ExpectNothingQueued();

  std::unique_ptr<Provider> provider_;
  std::string log_folder_;
};

inline constexpr const char* kLaser = "Laser";
inline constexpr const char* kLaserId = "MFG:V;CMD:BDC;MDL:L;";

}  // namespace system_test
