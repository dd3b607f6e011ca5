#include "tests/support/far_side_usb.h"

#include "tests/support/far_side_system.h"

#include <algorithm>

namespace far_side {
namespace {

constexpr const char* device_kind = "vid_0ff7&pid_0900";

}  // namespace

std::string usb_path(const std::string& place, const std::string& interface_class) {
  return std::string("\\\\?\\usb#") + device_kind + "#" + place + "#" + interface_class;
}

std::string plug_usb(const UsbDevice& device) {
  const std::string path = usb_path(device.place, device.interface_class);
  plug_usb_path(path, device.printer, device.d4);
  return path;
}

void unplug_usb(const std::string& path) {
  if (!unplug_usb_path(path)) {
    give_up("to be unplugged, but not there: " + path);
  }
}

std::string replug_usb(const std::string& path, const std::string& new_place) {
  const std::string new_path = usb_path(new_place, path.substr(path.rfind('#') + 1));
  if (!replug_usb_path(path, new_path)) {
    give_up("to be plugged in elsewhere, but not there: " + path);
  }
  return new_path;
}

void with_usb(const std::string& path,
              platform::FunctionRef<void(UsbPrinter& printer, uint64_t now_ms)> work) {
  if (!with_usb_path(path, work)) {
    give_up("to be looked at, but not there: " + path);
  }
}

UsbTraffic usb_traffic(const std::string& path) {
  UsbTraffic traffic;
  for (const UsbPacket& packet : usb_packets(path)) {
    const simulator::View entry = simulator::d4::entry_string();
    if (std::equal(packet.bytes.begin(), packet.bytes.end(), entry.begin(), entry.end())) {
      ++traffic.links;
    }
  }
  with_usb(path, [&](UsbPrinter& printer, uint64_t) {
    traffic.out_transfers = printer.device().out_transfers();
    traffic.in_transfers = printer.device().in_transfers();
  });
  return traffic;
}

std::vector<UsbPacket> usb_packets(const std::string& path) {
  std::vector<UsbPacket> packets;
  with_usb(path, [&](UsbPrinter& printer, uint64_t) {
    for (const simulator::D4Line& line : printer.device().conversation().lines()) {
      if (line.kind == simulator::D4Line::Kind::packet) {
        packets.push_back({line.side, line.bytes, line.meaning});
      }
    }
  });
  return packets;
}

std::string usb_conversation(const std::string& path) {
  std::string text;
  with_usb(path,
           [&](UsbPrinter& printer, uint64_t) { text = printer.device().conversation().text(); });
  return text;
}

std::string usb_mutex_name(const std::string& path) {
  std::string name = "Global\\VELNO_Printer_VendorClassVL_";
  for (const char c : path.substr(path.find("vid_"))) {
    name += c >= 'a' && c <= 'z' ? static_cast<char>(c - 0x20) : c;
  }
  return name;
}

UsbHolder::UsbHolder(const std::string& path)
    : name_(usb_mutex_name(path)),
      taken_(CreateEventA(nullptr, TRUE, FALSE, nullptr)),
      may_end_(CreateEventA(nullptr, TRUE, FALSE, nullptr)),
      thread_(CreateThread(nullptr, 0, &UsbHolder::run, this, 0, nullptr)) {
  if (taken_ == nullptr || may_end_ == nullptr || thread_ == nullptr) {
    give_up("nobody can hold " + name_);
  }
  WaitForSingleObject(taken_, INFINITE);
}

DWORD WINAPI UsbHolder::run(void* argument) {
  auto* self = static_cast<UsbHolder*>(argument);
  const HANDLE mutex = CreateMutexA(nullptr, FALSE, self->name_.c_str());
  if (mutex == nullptr || WaitForSingleObject(mutex, INFINITE) == WAIT_FAILED) {
    give_up("the mutex isn't to be had: " + self->name_);
  }
  SetEvent(self->taken_);
  WaitForSingleObject(self->may_end_, INFINITE);
  if (self->releases_) {
    ReleaseMutex(mutex);
  }
  CloseHandle(mutex);
  return 0;
}

void UsbHolder::release() { end(); }

void UsbHolder::die_holding() {
  releases_ = false;
  end();
}

void UsbHolder::end() {
  if (thread_ == nullptr) {
    return;
  }
  SetEvent(may_end_);
  WaitForSingleObject(thread_, INFINITE);
  for (const HANDLE handle : {thread_, may_end_, taken_}) {
    CloseHandle(handle);
  }
  thread_ = nullptr;
}

}  // namespace far_side
