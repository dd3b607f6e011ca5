#pragma once

// One life of a link, of which one part goes by while a call fails: what is prepared goes
// well, then the fault is armed for what is tested, and behind it the same port must serve
// as ever.

#include <windows.h>

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "tests/d4/device_talk.h"
#include "tests/support/sweep_fault.h"

namespace d4_test {

using test::SweepFault;

class SweepLife {
 public:
  explicit SweepLife(const SweepFault& fault, vlp::DbgLog* log);

  // The parts' steps. Each may go wrong only while a fault is armed; then its codes must
  // still be listed, and what it claims to have done must be right.
  void make();  // the command layer
  void open();  // its link
  void open_channels();
  void command();    // and its answer
  void write_fax();  // several packets
  void read_fax();
  void close();
  void end();           // the command layer's
  void engine_calls();  // all of the engine's own, from its first user to its last

  // Runs `act` under the fault; true if it was met.
  template <typename Act>
  bool run(Act act) {
    arm();
    act(*this);
    disarm();
    return met_ != 0;
  }
  void expect_recovery();

  // Calls as the undisturbed part made them.
  const std::vector<std::string>& made() const { return made_; }

 private:
  void arm();
  void disarm();
  void expect(bool good, const char* what) const;
  std::int32_t engine(std::int32_t result) const;
  bool exchange();
  void expect_fax_or_more(std::uint32_t count) const;
  void expect_no_breach();

  SweepFault fault_;
  vlp::DbgLog* log_;
  DevicePort port_;
  std::optional<vlp::CD4CmdIO> io_;
  std::array<std::uint8_t, 256> buffer_{};
  bool armed_ = false;
  unsigned met_ = 0;
  std::vector<std::string> failed_;
  std::vector<std::string> made_;
};

struct SweepPart {
  const char* name;
  void (*prepare)(SweepLife&);
  void (*act)(SweepLife&);
  unsigned least;  // calls that can fail in it, allocations left out
};

const std::vector<SweepPart>& sweep_parts();

}  // namespace d4_test
