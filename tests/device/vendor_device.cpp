#include "tests/device/vendor_device.h"

#include <algorithm>
#include <regex>
#include <utility>

#include "platform/bidi_monitor.h"
#include "platform/kernel/object.h"
#include "platform/kernel/scenario.h"

namespace vlp {

std::unique_ptr<GenVlAccess> GenVlAccessTest::Bare(const GenVlSettings* settings) {
  return std::unique_ptr<GenVlAccess>(new GenVlAccess(settings, nullptr));
}

}  // namespace vlp

// The linker puts these before the product's own; the names are those of the compiler.
extern "C" {
std::int32_t __real__ZN3vlp14XdltInitializeEPNS_6DbgLogE(vlp::DbgLog* log);
std::int32_t __wrap__ZN3vlp14XdltInitializeEPNS_6DbgLogE(vlp::DbgLog* log);
std::int32_t __real__ZN3vlp9XDLT_OpenEmPNS_11XdltPortOpsEPPNS_8XdltLinkE(vlp::XdltPortHandle,
                                                                         vlp::XdltPortOps*,
                                                                         vlp::XdltLink**);
std::int32_t __wrap__ZN3vlp9XDLT_OpenEmPNS_11XdltPortOpsEPPNS_8XdltLinkE(vlp::XdltPortHandle,
                                                                         vlp::XdltPortOps*,
                                                                         vlp::XdltLink**);
void __real__ZN3vlp18XDLT_SetParametersEPNS_8XdltLinkEPNS_14XdltParametersE(vlp::XdltLink*,
                                                                            vlp::XdltParameters*);
void __wrap__ZN3vlp18XDLT_SetParametersEPNS_8XdltLinkEPNS_14XdltParametersE(vlp::XdltLink*,
                                                                            vlp::XdltParameters*);
std::int32_t __real__ZN3vlp10XDLT_CloseEPNS_8XdltLinkE(vlp::XdltLink*);
std::int32_t __wrap__ZN3vlp10XDLT_CloseEPNS_8XdltLinkE(vlp::XdltLink*);
void __real__ZN3vlp16XdltUninitializeEv();
void __wrap__ZN3vlp16XdltUninitializeEv();
bool __real__ZN3vlp9CIOAccess11SetWinUSBIOEPNS_10CWinUSB_IOE(vlp::CIOAccess*, vlp::CWinUSB_IO*);
bool __wrap__ZN3vlp9CIOAccess11SetWinUSBIOEPNS_10CWinUSB_IOE(vlp::CIOAccess*, vlp::CWinUSB_IO*);
bool __real__ZN3vlp8CD4CmdIO9D4ReadCmdEPNS_14D4ChannelEntryEPhjPjj(vlp::CD4CmdIO*,
                                                                   vlp::D4ChannelEntry*,
                                                                   std::uint8_t*, std::uint32_t,
                                                                   std::uint32_t*, std::uint32_t);
bool __wrap__ZN3vlp8CD4CmdIO9D4ReadCmdEPNS_14D4ChannelEntryEPhjPjj(vlp::CD4CmdIO*,
                                                                   vlp::D4ChannelEntry*,
                                                                   std::uint8_t*, std::uint32_t,
                                                                   std::uint32_t*, std::uint32_t);

std::int32_t __wrap__ZN3vlp14XdltInitializeEPNS_6DbgLogE(vlp::DbgLog* log) {
  if (device_test::spy().engine_refuses) return 0;
  return __real__ZN3vlp14XdltInitializeEPNS_6DbgLogE(log);
}

std::int32_t __wrap__ZN3vlp9XDLT_OpenEmPNS_11XdltPortOpsEPPNS_8XdltLinkE(vlp::XdltPortHandle port,
                                                                         vlp::XdltPortOps* ops,
                                                                         vlp::XdltLink** link) {
  {
    const platform::Exempt exempt;
    device_test::spy().opened.push_back(port);
    device_test::spy().tables.push_back(*ops);
    device_test::spy().order.emplace_back("open");
  }
  return __real__ZN3vlp9XDLT_OpenEmPNS_11XdltPortOpsEPPNS_8XdltLinkE(port, ops, link);
}

void __wrap__ZN3vlp18XDLT_SetParametersEPNS_8XdltLinkEPNS_14XdltParametersE(
    vlp::XdltLink* link, vlp::XdltParameters* parameters) {
  {
    const platform::Exempt exempt;
    device_test::spy().parameters.push_back(*parameters);
    device_test::spy().order.emplace_back("parameters");
  }
  __real__ZN3vlp18XDLT_SetParametersEPNS_8XdltLinkEPNS_14XdltParametersE(link, parameters);
}

std::int32_t __wrap__ZN3vlp10XDLT_CloseEPNS_8XdltLinkE(vlp::XdltLink* link) {
  {
    const platform::Exempt exempt;
    device_test::spy().order.emplace_back("close");
  }
  if (device_test::spy().close_refuses) {
    device_test::spy().unclosed = link;
    return vlp::XDLT_ERR_GATE_TIMEOUT;
  }
  return __real__ZN3vlp10XDLT_CloseEPNS_8XdltLinkE(link);
}

void __wrap__ZN3vlp16XdltUninitializeEv() {
  device_test::spy().handles_closed_before_engine_end = platform::calls_of("CloseHandle");
  __real__ZN3vlp16XdltUninitializeEv();
}

bool __wrap__ZN3vlp9CIOAccess11SetWinUSBIOEPNS_10CWinUSB_IOE(vlp::CIOAccess* port,
                                                             vlp::CWinUSB_IO* device) {
  if (device_test::spy().port_refuses) device = nullptr;
  return __real__ZN3vlp9CIOAccess11SetWinUSBIOEPNS_10CWinUSB_IOE(port, device);
}

bool __wrap__ZN3vlp8CD4CmdIO9D4ReadCmdEPNS_14D4ChannelEntryEPhjPjj(
    vlp::CD4CmdIO* layer, vlp::D4ChannelEntry* entry, std::uint8_t* buffer, std::uint32_t capacity,
    std::uint32_t* count, std::uint32_t start) {
  if (!device_test::spy().fax_data) {
    return __real__ZN3vlp8CD4CmdIO9D4ReadCmdEPNS_14D4ChannelEntryEPhjPjj(layer, entry, buffer,
                                                                         capacity, count, start);
  }
  const device_test::Bytes data = *std::exchange(device_test::spy().fax_data, std::nullopt);
  EXPECT_LE(data.size(), capacity);
  std::copy(data.begin(), data.end(), buffer);
  *count = static_cast<std::uint32_t>(data.size());
  return true;
}
}

namespace device_test {
namespace {

std::vector<std::string> all_breaches() {
  std::vector<std::string> all;
  platform::control_port_monitor(
      [&](simulator::PortMonitor& monitor) { all = monitor.breaches(); });
  return all;
}

}  // namespace

Spy& spy() {
  static Spy the_spy;
  return the_spy;
}

void close_unclosed() { EXPECT_EQ(0, __real__ZN3vlp10XDLT_CloseEPNS_8XdltLinkE(spy().unclosed)); }

std::string path_of(const std::string& name) {
  return R"(\\?\usb#vid_0ff7&pid_0900#)" + name + "#{b1ceb704-c9ba-4369-82b7-af7ee754099f}";
}

Bytes text(const std::string& characters) { return simulator::bytes_of(characters); }

Bytes filled(std::size_t count) {
  Bytes bytes(count, 0);
  for (std::size_t at = 0; at < count; ++at) bytes[at] = static_cast<std::uint8_t>(at % 251 + 1);
  return bytes;
}

Bytes status_item() {
  return text("@BDC ST\r\nST:0400;ER:00;PA:A4;MC:514E3930303030323033;SE:01;\x0C");
}

Bytes status_request() { return text(std::string("st\x01\x00\x01", 5)); }

Bytes echo_command(const std::string& characters) {
  std::string command("ec\0\0", 4);
  command[2] = static_cast<char>(characters.size());
  return text(command + characters);
}

// --- Calls ------------------------------------------------------------------------------------

Result get_status(vlp::GenVlAccess& access, uint32_t capacity) {
  Result result;
  std::vector<std::uint8_t> buffer(capacity, 0xEE);
  result.code =
      access.GenVlGetStatus(GENVL_CHANNEL_STATUS, buffer.data(), capacity, &result.length);
  if (result.code >= 0) result.bytes.assign(buffer.begin(), buffer.begin() + result.length);
  return result;
}

std::int32_t send(vlp::GenVlAccess& access, const Bytes& command, uint32_t channel) {
  const std::vector<std::uint8_t> bytes(command.begin(), command.end());
  return access.GenVlSendRecv(channel, bytes.data(), static_cast<uint32_t>(bytes.size()));
}

Result get_reply(vlp::GenVlAccess& access, uint32_t capacity, uint32_t channel) {
  Result result;
  std::vector<std::uint8_t> buffer(capacity, 0xEE);
  result.code = access.GenVlGetReply(channel, buffer.data(), capacity, &result.length);
  if (result.code >= 0) result.bytes.assign(buffer.begin(), buffer.begin() + result.length);
  return result;
}

Bytes ask(vlp::GenVlAccess& access, const Bytes& command, uint32_t channel) {
  EXPECT_EQ(static_cast<std::int32_t>(command.size()), send(access, command, channel));
  return get_reply(access, 5000, channel).bytes;
}

unsigned device_calls() {
  unsigned count = 0;
  for (const char* name :
       {"CreateFileA", "WinUsb_Initialize", "WinUsb_QueryInterfaceSettings", "WinUsb_QueryPipe",
        "WinUsb_ReadPipe", "WinUsb_WritePipe", "WinUsb_Free", "SetupDiGetClassDevsA"}) {
    count += platform::calls_of(name);
  }
  return count;
}

// --- The fixture ------------------------------------------------------------------------------

VendorDevice::VendorDevice() {
  far_side::reset();
  spy() = {};
}

VendorDevice::~VendorDevice() {
  platform::clear_faults();
  EXPECT_EQ(std::vector<std::string>{}, take_breaches());
  log_.reset();
  EXPECT_EQ("", platform::handle_report());
  spy() = {};
}

std::vector<std::string> VendorDevice::take_breaches() {
  const std::vector<std::string> all = all_breaches();
  platform::control_port_monitor([](simulator::PortMonitor& monitor) { monitor.reset(); });
  return all;
}

platform::UsbDeviceDescription VendorDevice::description(const std::string& path, D4Options d4) {
  return {.paths = {path}, .printer = {.serial_number = kSerialNumber}, .d4 = std::move(d4)};
}

void VendorDevice::plug(const std::string& path, D4Options d4) {
  platform::add_usb_device(description(path, std::move(d4)));
}

Access VendorDevice::make(vlp::DbgLog* log, const vlp::GenVlSettings* settings,
                          const char* serial) {
  return std::make_unique<vlp::GenVlAccess>(reinterpret_cast<const std::uint8_t*>(serial), 0, 0,
                                            nullptr, settings, log);
}

void VendorDevice::with(const std::string& path,
                        platform::FunctionRef<void(UsbPrinter&, std::uint64_t)> work) {
  EXPECT_TRUE(platform::with_usb_device(path, work)) << path;
}

void VendorDevice::answer(const std::string& path, D4Answer how) {
  with(path, [&](UsbPrinter& printer, std::uint64_t) {
    printer.device().options().answers = {std::move(how)};
  });
}

void VendorDevice::echo_all(const std::string& path, std::uint8_t socket) {
  answer(path, {.socket = socket, .echo = true});
}

void VendorDevice::lose_link(const std::string& path, std::uint64_t packet) {
  with(path, [&](UsbPrinter& printer, std::uint64_t) {
    printer.device().tolerate(simulator::D4Rule::nothing_after_error);
    printer.device().plan(
        {.kind = D4Act::Kind::error, .host_packet = packet, .before_reply = true, .code = 0x80});
  });
}

std::vector<Bytes> VendorDevice::messages(const std::string& path, std::uint8_t socket) {
  std::vector<Bytes> found;
  with(path, [&](UsbPrinter& printer, std::uint64_t) {
    for (const simulator::D4Message& message : printer.device().messages()) {
      if (message.socket == socket) found.push_back(message.bytes);
    }
  });
  return found;
}

bool VendorDevice::channel_is_open(const std::string& path, std::uint8_t socket) {
  bool open = false;
  with(path, [&](UsbPrinter& printer, std::uint64_t) {
    open = printer.device().link().channel(socket) != nullptr;
  });
  return open;
}

vlp::DbgLog& VendorDevice::log(uint32_t mask) {
  if (directory_.empty()) directory_ = far_side::fresh_log_directory();
  log_ = std::make_unique<vlp::DbgLog>("device", directory_.c_str(), mask, 0);
  return *log_;
}

std::vector<std::string> VendorDevice::lines() {
  const std::vector<log_lines::Line> all = log_lines::read(directory_ + "device.dat");
  std::vector<std::string> fresh;
  for (; told_ < all.size(); ++told_) {
    // The engine traces under any mask.
    if (all[told_].text.starts_with("  [D4]")) continue;
    fresh.push_back(std::regex_replace(
        all[told_].shown(), std::regex("(Mutex|Pointer)=0x[0-9A-F]{2,}"), "$1=0x<address>"));
  }
  return fresh;
}

std::vector<std::string> VendorDevice::lines(const std::string& begin) {
  std::vector<std::string> found = lines();
  std::erase_if(found, [&](const std::string& line) { return !line.starts_with(begin); });
  return found;
}

std::vector<std::string> VendorDevice::dumps(const std::string& begin) const {
  std::vector<std::string> found;
  for (const log_lines::Line& line : log_lines::starting(directory_ + "device.dat", begin)) {
    found.insert(found.end(), line.bytes.begin(), line.bytes.end());
  }
  return found;
}

void VendorDevice::expect_closed(vlp::GenVlAccess& access) {
  Private inside(access);
  EXPECT_EQ(0u, inside.OpenCount());
  EXPECT_FALSE(inside.Usb() != nullptr && inside.Usb()->IsOpened());
  EXPECT_FALSE(inside.Port() != nullptr && vlp::XdltPortIsInUse(inside.Port()->Handle()));
  EXPECT_EQ(nullptr, inside.FaxChannel());
  EXPECT_TRUE(mutex_is_free(inside.MutexName()));
  EXPECT_FALSE(platform::any_lock_held());
}

}  // namespace device_test
