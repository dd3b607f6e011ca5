#pragma once

// A command layer over the fake engine.

#include <gtest/gtest.h>

#include <windows.h>

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "d4/c_d4_cmd_io.h"
#include "diag/dbg_log.h"
#include "platform/faults.h"
#include "platform/multimedia.h"
#include "tests/d4/fake_engine.h"
#include "tests/support/far_side.h"
#include "tests/support/log_lines.h"
#include "tests/support/virtual_time.h"

namespace cmd_test {

using Lines = std::vector<std::string>;

inline constexpr DWORD kUntouched = 0xBEEF;
inline constexpr vlp::XdltPortHandle kPort = 7;
inline constexpr std::uint32_t kBackOff = 1;  // mode

inline constexpr std::uint8_t kCommand[] = {0x1b, 0x40, 0x53};
inline const std::string kWritten = "Write 02 1b 40 53";

// Mode, timing, maximum, time for an answer.
constexpr vlp::GenVlSettings Settings(std::uint32_t mode, std::uint32_t timing,
                                      std::uint32_t maximum, std::uint32_t packet_time) {
  return {mode, timing, maximum, packet_time, 0};
}

// As a profile that names a mode gives them.
inline constexpr vlp::GenVlSettings kUsual = Settings(kBackOff, 4, 25, 20000);

class CmdTest : public ::testing::Test {
 protected:
  CmdTest() { fake_engine::reset(); }
  void TearDown() override {
    platform::clear_faults();
    platform::set_timer_period_min(1);
  }

  // The command layer with an open link and, what came before forgotten, at 0 ms.
  struct Device {
    explicit Device(const std::optional<vlp::GenVlSettings>& settings = kUsual,
                    vlp::DbgLog* log = nullptr)
        : io(log, kPort, &ops, settings ? &*settings : nullptr) {
      io.D4Open();
      fake_engine::forget_calls();
    }

    bool command(std::uint32_t channel = vlp::kD4CommandChannel) {
      return io.D4CmdProc(channel, kCommand, sizeof kCommand, answer, sizeof answer, &count);
    }

    vlp::D4ChannelEntry* open_channel(std::uint32_t channel = vlp::kD4CommandChannel) {
      vlp::D4ChannelEntry* const entry = io.D4OpenChnl(channel);
      fake_engine::forget_calls();
      return entry;
    }

    vlp::XdltPortOps ops;
    std::uint8_t answer[64] = {};
    std::uint32_t count = 99;
    vlp::CD4CmdIO io;
  };
};

// The same with a log.
class CmdLogTest : public CmdTest {
 protected:
  CmdLogTest() {
    far_side::reset();
    directory_ = far_side::fresh_log_directory();
  }

  vlp::DbgLog open_log(std::uint32_t mask) const {
    return vlp::DbgLog("printer", directory_.c_str(), mask, 0);
  }
  Lines lines() const { return log_lines::shown(directory_ + "printer.dat"); }
  std::vector<log_lines::Line> whole_lines() const {
    return log_lines::read(directory_ + "printer.dat");
  }

 private:
  std::string directory_;
};

}  // namespace cmd_test
