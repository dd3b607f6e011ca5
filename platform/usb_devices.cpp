// The devices on the USB: coming, going, and their keys in the registry.

#include "platform/usb_devices.h"

#include "platform/kernel/clock.h"
#include "platform/machine_state.h"
#include "platform/usb_state.h"
#include "platform/waiting.h"

#include <algorithm>

namespace platform {
namespace {

constexpr std::u16string_view classes_path = u"SYSTEM\\CurrentControlSet\\Control\\DeviceClasses\\";
constexpr std::u16string_view enum_path = u"SYSTEM\\CurrentControlSet\\Enum\\";
constexpr std::u16string_view winusb_class = u"{88bae032-5a81-49f0-bc3d-a4ff138216d6}";
constexpr std::u16string_view path_head = u"\\\\?\\";
constexpr std::u16string_view key_head = u"##?#";
constexpr size_t class_length = 38;
constexpr size_t longest_key = 255;

using Devices = std::vector<std::shared_ptr<UsbDevice>>;

// Never destroyed: a thread may still be in a transfer while the process ends.
Devices& devices() {
  static auto* all = new Devices;
  return *all;
}

// Of devices that are no longer there.
std::vector<std::string>& left_breaches() {
  static auto* all = new std::vector<std::string>;
  return *all;
}

bool has_path(const UsbDevice& device, const std::u16string& path) {
  const std::u16string wanted = upper(path);
  return std::any_of(device.paths.begin(), device.paths.end(),
                     [&](const UsbPath& own) { return upper(own.text) == wanted; });
}

std::shared_ptr<UsbDevice> find(const std::string& path) {
  const std::u16string wide = widen_utf8(path);
  const auto found =
      std::find_if(devices().begin(), devices().end(),
                   [&](const std::shared_ptr<UsbDevice>& one) { return has_path(*one, wide); });
  return found == devices().end() ? nullptr : *found;
}

// A path may be longer than a key's name can be; then the name breaks off and gets a number.
std::u16string key_name(const std::u16string& path, const std::u16string& class_key) {
  static unsigned last_number = 0;
  std::u16string name = std::u16string(key_head) + path.substr(path_head.size());
  if (name.size() <= longest_key) {
    return name;
  }
  const std::u16string tail = widen_utf8("~" + std::to_string(++last_number)) + u"#" + class_key;
  return name.substr(0, longest_key - tail.size()) + tail;
}

std::vector<UsbPath> described_paths(const std::vector<std::string>& texts) {
  std::vector<UsbPath> paths;
  for (const std::string& text : texts) {
    if (!simulator::is_usb_path(text)) {
      stop(("this isn't the path of a USB device: " + text).c_str());
    }
    const std::u16string wide = widen_utf8(text);
    const std::u16string class_key = wide.substr(wide.size() - class_length);
    paths.push_back({wide, class_key, key_name(wide, class_key)});
  }
  if (paths.empty()) {
    stop("a USB device without a path");
  }
  return paths;
}

// "USB\VID_0FF7&PID_0001\SERIAL" of the key "##?#usb#vid_0ff7&pid_0001#serial#{...}".
std::u16string instance_of(const UsbPath& path) {
  std::u16string name =
      upper(path.key.substr(key_head.size(), path.key.size() - key_head.size() - class_length - 1));
  std::replace(name.begin(), name.end(), u'#', u'\\');
  return name;
}

void put_text(std::u16string_view path, std::u16string_view name, std::u16string_view text) {
  RegistryTree& tree = machine().registry;
  bool made = false;
  const KeyRef key = tree.create(tree.local_machine(), path, false, made);
  if (key != nullptr) {
    tree.set(key, name, REG_SZ, registry_text(std::u16string(text) + u'\0'));
  }
}

std::u16string interface_path(const UsbPath& path) {
  return std::u16string(classes_path) + path.class_key + u"\\" + path.key;
}

void write_keys(const UsbDevice& device) {
  const std::u16string instance = instance_of(device.paths.front());
  const std::u16string instance_path = std::u16string(enum_path) + instance;
  put_text(instance_path, u"ClassGUID", winusb_class);
  if (!device.container_id.empty()) {
    put_text(instance_path, u"ContainerID", widen_utf8(device.container_id));
  }
  for (const UsbPath& path : device.paths) {
    put_text(interface_path(path), u"DeviceInstance", instance);
    put_text(interface_path(path) + u"\\#", u"SymbolicLink", path.text);
  }
}

void set_linked(const UsbDevice& device, bool linked) {
  RegistryTree& tree = machine().registry;
  for (const UsbPath& path : device.paths) {
    bool made = false;
    const KeyRef key =
        tree.create(tree.local_machine(), interface_path(path) + u"\\#\\Control", false, made);
    if (key != nullptr) {
      tree.set(key, u"Linked", REG_DWORD, {linked ? uint8_t{1} : uint8_t{0}, 0, 0, 0});
    }
  }
}

void tell_breaches(UsbDevice& device, std::vector<std::string>& told) {
  for (const std::string& text : device.printer.take_breaches()) {
    told.push_back(narrow_utf8(device.paths.front().text) + ": " + text);
  }
}

void disconnect(UsbDevice& device) {
  device.present = false;
  if (device.connection != nullptr) {
    device.connection->removed = true;
    device.connection.reset();
  }
  stir(device);
}

void unplug(UsbDevice& device) {
  if (device.present) {
    device.printer.unplug(device.now());
    disconnect(device);
    set_linked(device, false);
  }
}

// Takes those devices away for good.
void drop(FunctionRef<bool(const std::shared_ptr<UsbDevice>&)> chosen) {
  std::erase_if(devices(), [&](const std::shared_ptr<UsbDevice>& device) {
    if (!chosen(device)) {
      return false;
    }
    unplug(*device);
    tell_breaches(*device, left_breaches());
    return true;
  });
}

void plug(std::shared_ptr<UsbDevice> device) {
  for (const UsbPath& path : device->paths) {
    drop([&](const std::shared_ptr<UsbDevice>& other) {
      return other != device && has_path(*other, path.text);
    });
  }
  write_keys(*device);
  set_linked(*device, true);
  device->present = true;
  if (std::find(devices().begin(), devices().end(), device) == devices().end()) {
    devices().push_back(std::move(device));
  }
}

std::u16string listed_text(const RegistryKey& key) {
  const auto link = key.keys.find(u"#");
  const std::u16string text =
      link == key.keys.end() ? std::u16string() : text_of(link->second->value(u"SymbolicLink"));
  if (!text.empty() || !key.name.starts_with(key_head)) {
    return text;
  }
  return std::u16string(path_head) + key.name.substr(key_head.size());
}

bool is_linked(const RegistryKey& key) {
  const auto link = key.keys.find(u"#");
  if (link == key.keys.end()) {
    return false;
  }
  const auto control = link->second->keys.find(u"CONTROL");
  return control != link->second->keys.end() &&
         number_of(control->second->value(u"Linked"), 0) != 0;
}

// Under the lock, for a device that may be used now.
UsbDevice* settled(const std::string& path, std::shared_ptr<UsbDevice>& holder) {
  holder = find(path);
  if (holder != nullptr) {
    notice_removal(*holder);
  }
  return holder.get();
}

}  // namespace

uint64_t UsbDevice::now() {
  const uint64_t line = now_ms();
  if (line + shift_ms_ < last_ms_) {
    shift_ms_ = last_ms_ - line;
  }
  last_ms_ = line + shift_ms_;
  return last_ms_;
}

void stir(UsbDevice& device) {
  for (Object* event : device.waiting) {
    set_event_by_clock(*event);
  }
}

void notice_removal(UsbDevice& device) {
  if (!device.present) {
    return;
  }
  device.printer.look(device.now());
  if (device.printer.gone()) {
    disconnect(device);
    set_linked(device, false);
  }
}

std::vector<std::u16string> present_usb_paths(const std::u16string& class_key) {
  std::vector<std::u16string> paths;
  const RegistryTree& tree = machine().registry;
  for (const std::shared_ptr<UsbDevice>& device : devices()) {
    notice_removal(*device);
  }
  const KeyRef folder = tree.find(tree.local_machine(), std::u16string(classes_path) + class_key);
  if (folder == nullptr) {
    return paths;
  }
  for (const auto& [name, key] : folder->keys) {
    std::u16string text = listed_text(*key);
    if (is_linked(*key) && find_present_usb_device(text) != nullptr) {
      paths.push_back(std::move(text));
    }
  }
  return paths;
}

std::shared_ptr<UsbDevice> find_present_usb_device(const std::u16string& path) {
  for (const std::shared_ptr<UsbDevice>& device : devices()) {
    if (has_path(*device, path)) {
      notice_removal(*device);
      return device->present ? device : nullptr;
    }
  }
  return nullptr;
}

void plug_described_usb() {
  // Their keys went with the old machine.
  for (const std::shared_ptr<UsbDevice>& device : devices()) {
    device->printer.unplug(device->now());
    disconnect(*device);
  }
  devices().clear();
  left_breaches().clear();
  for (const HardwareRecord& record : machine().hardware) {
    plug_described_usb(record);
  }
}

void plug_described_usb(const HardwareRecord& record) {
  const std::string port = narrow_utf8(upper(widen_utf8(record.printer.port)));
  drop([&](const std::shared_ptr<UsbDevice>& other) { return other->port == port; });
  // What is switched off isn't on the bus.
  if (record.usb.paths.empty() || record.printer.reach == simulator::Reach::device_offline) {
    return;
  }
  auto device = std::make_shared<UsbDevice>(record.printer, record.usb.d4);
  device->paths = described_paths(record.usb.paths);
  device->container_id = record.usb.container_id;
  device->port = port;
  plug(std::move(device));
}

std::vector<std::string> take_usb_breaches() {
  std::vector<std::string> breaches;
  breaches.swap(left_breaches());
  for (const std::shared_ptr<UsbDevice>& device : devices()) {
    tell_breaches(*device, breaches);
  }
  return breaches;
}

void add_usb_device(const UsbDeviceDescription& device) {
  const Call call("plugging of a USB device", Fails::never);
  ensure_machine();
  const StateGuard guard;
  auto added = std::make_shared<UsbDevice>(device.printer, device.d4);
  added->paths = described_paths(device.paths);
  added->container_id = device.container_id;
  added->descriptor = device.descriptor;
  added->removal_error = device.removal_error;
  plug(std::move(added));
}

bool unplug_usb_device(const std::string& path) {
  const Call call("unplugging of a USB device", Fails::never);
  ensure_machine();
  const StateGuard guard;
  std::shared_ptr<UsbDevice> device;
  if (settled(path, device) == nullptr) {
    return false;
  }
  unplug(*device);
  return true;
}

bool replug_usb_device(const std::string& path, const std::vector<std::string>& new_paths) {
  const Call call("plugging of a USB device", Fails::never);
  ensure_machine();
  const StateGuard guard;
  std::shared_ptr<UsbDevice> device;
  if (settled(path, device) == nullptr) {
    return false;
  }
  unplug(*device);
  if (!new_paths.empty()) {
    device->paths = described_paths(new_paths);
  }
  device->printer.replug(device->now());
  plug(std::move(device));
  return true;
}

bool set_usb_descriptor(const std::string& path, const UsbDescriptor& descriptor) {
  const Call call("description of a USB device", Fails::never);
  ensure_machine();
  const StateGuard guard;
  std::shared_ptr<UsbDevice> device;
  if (settled(path, device) == nullptr) {
    return false;
  }
  device->descriptor = descriptor;
  return true;
}

bool with_usb_device(const std::string& path,
                     FunctionRef<void(simulator::UsbPrinter&, uint64_t now_ms)> work) {
  const Call call("control of a USB device", Fails::never);
  ensure_machine();
  const StateGuard guard;
  std::shared_ptr<UsbDevice> device;
  if (settled(path, device) == nullptr) {
    return false;
  }
  work(device->printer, device->now());
  notice_removal(*device);
  stir(*device);
  return true;
}

}  // namespace platform
