#pragma once

// Vendor-class printers: a printer at a port, whose device ID lists "GENVL", and the same
// printer's own device on the USB, which knows itself by the same serial number.

#include <cstdint>
#include <map>
#include <string>

#include "tests/support/far_side_usb.h"
#include "tests/system/talk.h"

namespace system_test {

using far_side::D4Act;
using far_side::D4Options;
using far_side::D4Side;

inline constexpr const char* kVendorId = "GENVL,BDC,D4";
inline constexpr const char* kVendorSerial = "QN42000017";  // of the talker
inline constexpr const char* kOtherSerial = "QN42000018";   // differs in its last byte
inline constexpr std::uint32_t kLogVendor = 0x100;
inline constexpr std::uint32_t kLogDevice = 0x1000;
// The status request, on any road to a D4 channel.
inline const std::string kDeviceStatus = "st\x01\x00\x01"s;

// How a device behaves that has nothing to say: it lets a read wait a little.
D4Options Patient();

// Packets of a link with one command, in order.
enum VendorPacket : std::uint64_t {
  kEntryPacket = 1,
  kInitPacket,
  kOpenPacket,
  kDataPacket,
  kCreditPacket
};

class VendorTest : public TalkTest {
 protected:
  void SetUp() override;

  // The talker as a vendor-class printer with a BDC and a D4 channel. No device yet.
  void OpenVendor(const std::string& profile_lines = {}, const PrinterOptions& behaviour = {});
  // The same at a device of its own, path_, that was found for a first command.
  void OpenFound(const std::string& place, const std::string& profile_lines = {});
  // Gives its path.
  static std::string Plug(const std::string& place, const std::string& serial = kVendorSerial,
                          const D4Options& d4 = Patient());
  // Another vendor-class printer of that name and serial number, at a port of its own.
  void AddSecond(const std::string& name, const std::string& port, const std::string& serial);

  // The device does this with that packet of the next link.
  static void Plan(const std::string& path, D4Act::Kind kind, VendorPacket packet);

  // The device's packets since the last call, as text: "host 00 00 00 08 ...".
  Texts Packets(const std::string& path);
  // Links to the device since the last call.
  std::uint64_t Links(const std::string& path);
  // Batches to the port's printer since the last call, whatever was in them.
  std::uint32_t Batches();
  // Lines of the talker's log that begin so.
  std::size_t CountLines(const std::string& begin) const;
  std::size_t Searches() const { return CountLines("GenVlAccess::SearchSNumDevPath - Enter"); }
  std::size_t FailedSends(const std::string& code) const {
    return CountLines("*** GenVlAccess::GenVlSendRecv - End.  nRC=" + code + " ***");
  }

  std::string path_;

 private:
  std::map<std::string, std::size_t> packets_seen_;  // by path
  std::map<std::string, std::uint64_t> links_seen_;
  std::uint32_t batches_seen_ = 0;
};

}  // namespace system_test
