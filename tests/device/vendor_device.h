#pragma once

// Vendor-class printers on the layer's USB and the object that reaches them, in virtual time.
//
// What a host does wrong in the device's eyes, and handles that stay open, fail the test when
// it ends.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <windows.h>

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "device/gen_vl_access.h"
#include "platform/faults.h"
#include "platform/usb_devices.h"
#include "tests/device/mutex_holder.h"
#include "tests/support/far_side.h"
#include "tests/support/log_lines.h"
#include "tests/support/virtual_time.h"

namespace vlp {

// The private steps.
class GenVlAccessTest {
 public:
  explicit GenVlAccessTest(GenVlAccess& access) : access_(access) {}

  // Without any part.
  static std::unique_ptr<GenVlAccess> Bare(const GenVlSettings* settings = nullptr);

  std::int32_t Open() { return access_.OpenGenVlDevice(); }
  void Close() { access_.CloseGenVlDevice(); }
  bool Sizes(GenVlChannelSlot* slot) { return access_.GetSndRcvMaxSize(slot); }
  bool Exec(GenVlChannelSlot* slot, const std::vector<std::uint8_t>& bytes) {
    return access_.ExecGenVlCmd(slot, bytes.data(), static_cast<std::uint32_t>(bytes.size()));
  }
  bool ExecRaw(GenVlChannelSlot* slot, const std::uint8_t* data, std::uint32_t length) {
    return access_.ExecGenVlCmd(slot, data, length);
  }
  bool AskStatus() { return access_.GetD4Status(); }

  GenVlChannelSlot& StatusSlot() { return access_.m_StatusSlot; }
  GenVlChannelSlot& FaxSlot() { return access_.m_FaxSlot; }
  D4ChannelEntry* FaxChannel() { return access_.m_pFaxChannel; }
  std::unique_ptr<CD4CmdIO>& CommandLayer() { return access_.m_pD4CmdIO; }
  std::unique_ptr<CIOAccess>& Port() { return access_.m_pIOAccess; }
  std::unique_ptr<CWinUSB_IO>& Usb() { return access_.m_pWinUSBIO; }
  KernelHandle& Mutex() { return access_.m_hWinUSBMutex; }

  std::uint32_t OpenCount() const { return access_.m_nOpenCount.load(); }
  std::uint32_t Fatal() const { return access_.m_dwFatalError.load(); }
  void SetFatal(std::uint32_t fatal) { access_.m_dwFatalError.store(fatal); }
  void SetInitialized(std::uint32_t initialized) { access_.m_bInitialized = initialized; }
  std::uint32_t StatusLength() const { return access_.m_dwStatusLen; }
  std::uint32_t StatusLifeMs() const { return access_.m_dwStatusLifeTime; }
  std::uint32_t MutexWaitMs() const { return access_.m_dwMutexWaitTime; }
  std::string Path() const { return access_.m_szDevicePath.data(); }
  std::string MutexName() const { return access_.m_szMutexName.data(); }

 private:
  GenVlAccess& access_;
};

}  // namespace vlp

namespace device_test {

using simulator::Bytes;
using simulator::D4Act;
using simulator::D4Answer;
using simulator::D4Options;
using simulator::UsbPrinter;
using std::uint32_t;
using test::elapsed_ms;
using test::run_virtual_parallel;
using test::run_virtual_serial;
using test::settle;
using test::sleep_ms;
using test::spawn;
using test::TestThread;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using vlp::GENVL_CHANNEL_FAX;
using vlp::GENVL_CHANNEL_STATUS;
using Private = vlp::GenVlAccessTest;
using Access = std::unique_ptr<vlp::GenVlAccess>;

inline constexpr uint32_t kNoChannel = 0x10000003;
inline constexpr std::uint8_t kCommandSocket = 0x02;
inline constexpr std::uint8_t kFaxSocket = 0x21;
inline constexpr uint32_t kDefaultPayload = 4096;  // of the simulated device's packets
inline constexpr char kSerialNumber[] = "QN90000203";

// As a profile's defaults make them.
inline constexpr vlp::GenVlSettings kSettings = {1, 1, 50, 20000, 5000};

std::string path_of(const std::string& name);
inline const std::string kFirst = path_of("first");
inline const std::string kSecond = path_of("second");

Bytes text(const std::string& characters);
Bytes filled(std::size_t count);

// The status item of the printer with kSerialNumber.
Bytes status_item();
Bytes status_request();
// A command and what the printer says to it.
Bytes echo_command(const std::string& characters);

struct Result {
  std::int32_t code = 0;
  uint32_t length = 0xABCD;
  Bytes bytes = {};
};

Result get_status(vlp::GenVlAccess& access, uint32_t capacity = 512);
std::int32_t send(vlp::GenVlAccess& access, const Bytes& command,
                  uint32_t channel = GENVL_CHANNEL_STATUS);
Result get_reply(vlp::GenVlAccess& access, uint32_t capacity = 5000,
                 uint32_t channel = GENVL_CHANNEL_STATUS);
// Both.
Bytes ask(vlp::GenVlAccess& access, const Bytes& command, uint32_t channel = GENVL_CHANNEL_STATUS);

// Calls of files and WinUSB since platform::watch_calls(). Only without a log.
unsigned device_calls();

// Decides what parts give their users, and sees what the command layer asks of the engine.
struct Spy {
  bool engine_refuses = false;
  bool port_refuses = false;
  bool close_refuses = false;  // links stay as they are
  vlp::XdltLink* unclosed = nullptr;
  std::optional<Bytes> fax_data = {};  // what the command layer reads there, once
  std::vector<vlp::XdltParameters> parameters = {};
  std::vector<vlp::XdltPortHandle> opened = {};
  std::vector<vlp::XdltPortOps> tables = {};      // as they were at each open
  unsigned handles_closed_before_engine_end = 0;  // while calls are watched
  std::vector<std::string> order = {};            // "open", "parameters", "close"
};
Spy& spy();
// Closes the link that stayed.
void close_unclosed();

class VendorDevice : public ::testing::Test {
 protected:
  VendorDevice();
  ~VendorDevice() override;

  static platform::UsbDeviceDescription description(const std::string& path = kFirst,
                                                    D4Options d4 = {});
  static void plug(const std::string& path = kFirst, D4Options d4 = {});
  static Access make(vlp::DbgLog* log = nullptr, const vlp::GenVlSettings* settings = &kSettings,
                     const char* serial = kSerialNumber);

  static void with(const std::string& path,
                   platform::FunctionRef<void(UsbPrinter&, std::uint64_t now_ms)> work);
  // From now on the device answers so to this message of the socket.
  static void answer(const std::string& path, D4Answer how);
  // Everything that isn't the status request comes back.
  static void echo_all(const std::string& path, std::uint8_t socket = kCommandSocket);
  // The device ends the link in place of its word on the host's next packet, or a later one. The
  // host's own ending of it that follows is no breach then.
  static void lose_link(const std::string& path, std::uint64_t packet = 1);
  static std::vector<Bytes> messages(const std::string& path, std::uint8_t socket);
  static bool channel_is_open(const std::string& path, std::uint8_t socket);

  // A log that has lines of the mask only.
  vlp::DbgLog& log(uint32_t mask);
  // Its lines since the last call, without times and addresses.
  std::vector<std::string> lines();
  // Those that begin with it.
  std::vector<std::string> lines(const std::string& begin);

  // The bytes behind all lines that begin with it.
  std::vector<std::string> dumps(const std::string& begin) const;

  // No link, no handle on the device, no mutex and no lock is left of an exchange.
  static void expect_closed(vlp::GenVlAccess& access);
  static std::vector<std::string> take_breaches();

 private:
  std::string directory_;
  std::unique_ptr<vlp::DbgLog> log_;
  std::size_t told_ = 0;
};

}  // namespace device_test
