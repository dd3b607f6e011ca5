#include "tests/system/vendor.h"

#include <utility>

#include "simulator/d4_wire.h"

namespace system_test {

D4Options Patient() { return {.empty_after_ms = 5}; }

void VendorTest::SetUp() {
  SystemTest::SetUp();
  ASSERT_TRUE(far_side::serves(far_side::Feature::usb_devices));
}

void VendorTest::OpenVendor(const std::string& profile_lines, const PrinterOptions& behaviour) {
  Open({TextBdc(), D4()}, kVendorId, profile_lines, behaviour);
}

void VendorTest::OpenFound(const std::string& place, const std::string& profile_lines) {
  path_ = Plug(place);
  LogTo(kLogOperations | kLogVendor | kLogDevice);
  OpenVendor(profile_lines);
  ASSERT_EQ(Reply(ChnlKindD4, Echo("first")), "first");
  Links(path_);
  Batches();
}

std::string VendorTest::Plug(const std::string& place, const std::string& serial,
                             const D4Options& d4) {
  return far_side::plug_usb({.place = place, .printer = {.serial_number = serial}, .d4 = d4});
}

void VendorTest::AddSecond(const std::string& name, const std::string& port,
                           const std::string& serial) {
  const std::string id = "MFG:V;CMD:"s + kVendorId + ";MDL:T;";
  AddPrinter(name, port, id, {TextBdc(), D4()});
  far_side::plug({.port = port,
                  .device_id = bytes_of(id),
                  .serial_number = serial,
                  .silence_ms = 15,
                  .first_byte_ms = 30,
                  .give_up_ms = 100});
}

void VendorTest::Plan(const std::string& path, D4Act::Kind kind, VendorPacket packet) {
  far_side::with_usb(path, [&](far_side::UsbPrinter& printer, std::uint64_t) {
    printer.device().plan({.kind = kind, .host_packet = packet});
  });
}

Texts VendorTest::Packets(const std::string& path) {
  const std::vector<far_side::UsbPacket> all = far_side::usb_packets(path);
  Texts texts;
  for (std::size_t& seen = packets_seen_[path]; seen < all.size(); ++seen) {
    const far_side::UsbPacket& packet = all[seen];
    texts.push_back((packet.side == D4Side::host ? "host   " : "device ") +
                    simulator::d4::hex(packet.bytes, packet.bytes.size()));
  }
  return texts;
}

std::uint64_t VendorTest::Links(const std::string& path) {
  const std::uint64_t links = far_side::usb_traffic(path).links;
  return links - std::exchange(links_seen_[path], links);
}

std::uint32_t VendorTest::Batches() {
  const std::uint32_t sends = Counts().sends;
  return sends - std::exchange(batches_seen_, sends);
}

std::size_t VendorTest::CountLines(const std::string& begin) const {
  return log_lines::starting(LogFile(kTalker), begin).size();
}

}  // namespace system_test
