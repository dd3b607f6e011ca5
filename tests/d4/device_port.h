#pragma once

// The simulated device as a port of the engine, in virtual time.
//
//   DevicePort port({.latency_ms = 20, .answers = {{.reply = text("ready"), .echo = true}}});
//   Engine engine;
//   const Opened opened = open_link(port);
//   port.with([](simulator::D4Device& device, std::uint64_t now) { device.send_exit(now); });
//
// A read with nothing due completes without bytes, at once or as the device's options say.
// When the port ends, what the host did wrong in the device's eyes fails the test and is
// told with the whole conversation; so are two transfers at once.
//
// Make and destroy it inside the scenario, before the Engine. All calls may come from
// any thread, also while the engine runs.

#include <windows.h>

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "d4/xdlt.h"
#include "platform/kernel/scenario.h"
#include "simulator/d4_device.h"
#include "support/critical_section.h"
#include "support/handles.h"
#include "tests/d4/scripted_port.h"

namespace d4_test {

class DevicePort {
 public:
  explicit DevicePort(simulator::D4Options options = {}, std::string name = "device");
  ~DevicePort();  // finish(), unless that was called
  DevicePort(const DevicePort&) = delete;
  DevicePort& operator=(const DevicePort&) = delete;

  // For XDLT_Open. keepPriority is 1, skipDummyRead 0 until the test changes them here.
  vlp::XdltPortHandle handle() const { return reinterpret_cast<std::uintptr_t>(this); }
  vlp::XdltPortOps* ops() { return &ops_; }

  // Works on the device and the time, with no transfer in between; transfers inside look
  // again afterwards. Gives what the work gives. No call of the port or of the engine in it.
  template <typename Work>
  auto with(Work work) {
    const vlp::LockGuard guard(lock_);
    const Told told(*this);
    return work(device_, platform::elapsed_ms());
  }

  // The device is unplugged: every transfer fails from then on, the ones inside too.
  void remove();
  // At a moment of the scenario.
  void remove_at_ms(std::uint64_t ms);

  // Whether a read without bytes stores 0 in `got`. At the start: it leaves it alone.
  void empty_reads_store_zero(bool yes);

  std::vector<Transfer> writes() const;
  std::vector<Transfer> reads() const;
  std::size_t call_count() const { return writes().size() + reads().size(); }
  std::string report() const;  // the device's own

  // Fails the test for what the host owes or did wrong. Once.
  void finish();
  // For tests of wrong hosts: the breaches; nothing is checked at the end.
  std::vector<std::string> forgive();

 private:
  // Lets the transfers inside look again when it goes.
  class Told {
   public:
    explicit Told(DevicePort& port) : port_(port) {}
    ~Told() { port_.tell(); }
    Told(const Told&) = delete;
    Told& operator=(const Told&) = delete;

   private:
    DevicePort& port_;
  };

  std::uint32_t write(const std::uint8_t* bytes, std::uint32_t count, std::uint32_t* written);
  std::uint32_t read(std::uint8_t* buffer, std::uint32_t capacity, std::uint32_t* got);
  std::size_t begin(std::vector<Transfer>& list, std::uint32_t asked) VLP_REQUIRES(lock_);
  std::uint32_t end(Transfer& transfer, bool success, DWORD error) VLP_REQUIRES(lock_);
  void wait_for_news() VLP_REQUIRES(lock_);
  void guard_against_spin() VLP_REQUIRES(lock_);
  void breach(const std::string& text) VLP_REQUIRES(lock_);
  std::vector<std::string> all_breaches() VLP_REQUIRES(lock_);
  void tell();

  vlp::XdltPortOps ops_;
  std::string name_;
  mutable vlp::CriticalSection lock_;
  vlp::KernelHandle news_;  // something changed
  simulator::D4Device device_;
  bool stores_zero_ = false;
  unsigned inside_ = 0;
  std::uint64_t order_ = 0;
  std::vector<Transfer> writes_;
  std::vector<Transfer> reads_;
  std::vector<std::string> breaches_;  // the port's own
  std::uint64_t spin_ms_ = 0;
  unsigned spin_reads_ = 0;
  bool spin_told_ = false;
  bool finished_ = false;
};

}  // namespace d4_test
