// Devices that go while they are in use.

#include <windows.h>

#include <setupapi.h>

#include "tests/platform/usb_fixture.h"

namespace usb_test {
namespace {

using test::run_virtual_parallel;
using test::run_virtual_schedules;
using test::spawn;
using test::TestThread;

constexpr GUID serial_guid = {
    0xB1CEB704, 0xC9BA, 0x4369, {0x82, 0xB7, 0xAF, 0x7E, 0xE7, 0x54, 0x09, 0x9F}};

DWORD present_devices() {
  const HDEVINFO set = SetupDiGetClassDevsA(&serial_guid, nullptr, nullptr, 18);
  SP_DEVICE_INTERFACE_DATA data = {};
  data.cbSize = sizeof data;
  DWORD count = 0;
  while (SetupDiEnumDeviceInterfaces(set, nullptr, &serial_guid, count, &data)) ++count;
  EXPECT_TRUE(SetupDiDestroyDeviceInfoList(set));
  return count;
}

void expect_gone(const Opened& device, DWORD error = ERROR_GEN_FAILURE) {
  EXPECT_FALSE(device.read().success);
  EXPECT_EQ(error, device.read().error);
  const Outcome written = device.write(host::entry);
  EXPECT_FALSE(written.success);
  EXPECT_EQ(error, written.error);
  EXPECT_EQ(0U, written.count);
  USB_INTERFACE_DESCRIPTOR told = {};
  WINUSB_PIPE_INFORMATION pipe = {};
  EXPECT_FALSE(WinUsb_QueryInterfaceSettings(device.get(), 0, &told));
  EXPECT_EQ(error, GetLastError());
  EXPECT_FALSE(WinUsb_QueryPipe(device.get(), 0, 0, &pipe));
  EXPECT_EQ(error, GetLastError());
}

class UsbRemoval : public UsbTest {};

TEST_F(UsbRemoval, UnpluggingEndsAReadAndAWriteThatWait) {
  platform::add_usb_device(
      device_at(first, {.silent_when_idle = true, .silence_stops_writes = true}));
  run_virtual_schedules(8, [] {
    EXPECT_TRUE(platform::replug_usb_device(first));
    const Opened device;
    with_device(first, [](simulator::UsbPrinter& printer, uint64_t now_ms) {
      printer.device().silence(now_ms);
    });
    Outcome got;
    Outcome written;
    TestThread reader = spawn("reader", [&] { got = device.read(); });
    TestThread writer = spawn("writer", [&] { written = device.write(host::entry); });
    test::settle();
    EXPECT_FALSE(reader.ended() || writer.ended());
    EXPECT_TRUE(platform::unplug_usb_device(first));
    reader.join();
    writer.join();
    for (const Outcome& outcome : {got, written}) {
      EXPECT_FALSE(outcome.success);
      EXPECT_EQ(0U, outcome.count);
      EXPECT_EQ(DWORD{ERROR_GEN_FAILURE}, outcome.error);
    }
    EXPECT_EQ(0U, test::elapsed_ms());
    expect_gone(device);
  });
}

TEST_F(UsbRemoval, ErrorIsTheOneThatTheDeviceIsDescribedWith) {
  for (const DWORD error : {DWORD{ERROR_BAD_COMMAND}, DWORD{433}, DWORD{995}, DWORD{1167}}) {
    UsbDeviceDescription description = device_at(first);
    description.removal_error = error;
    platform::add_usb_device(description);
    const Opened device;
    platform::unplug_usb_device(first);
    expect_gone(device, error);
  }
}

TEST_F(UsbRemoval, RemovalAtAByteForTheHostIsExact) {
  platform::add_usb_device(device_at(first, {.remove_after_read = 3}));
  run_virtual_parallel([] {
    const Opened device;
    EXPECT_TRUE(device.write(host::entry).success);
    const Outcome outcome = device.read();
    EXPECT_TRUE(outcome.success);
    EXPECT_EQ(Bytes(wire::entry_reply.begin(), wire::entry_reply.begin() + 3), outcome.bytes);
    expect_gone(device);
    EXPECT_EQ(0U, present_devices());
  });
}

TEST_F(UsbRemoval, RemovalAtAByteOfTheHostIsExact) {
  platform::add_usb_device(device_at(first, {.remove_after_written = host::entry.size() + 2}));
  run_virtual_parallel([] {
    const Opened device;
    EXPECT_EQ(wire::entry_reply, device.say(host::entry));
    const Outcome outcome = device.write(host::init);
    EXPECT_FALSE(outcome.success);
    EXPECT_EQ(DWORD{ERROR_GEN_FAILURE}, outcome.error);
    EXPECT_EQ(2U, outcome.count);
    expect_gone(device);
    EXPECT_EQ(0U, present_devices());
  });
}

TEST_F(UsbRemoval, RemovalByAWriteEndsTheReadInside) {
  platform::add_usb_device(device_at(first, {.silent_when_idle = true}));
  run_virtual_schedules(4, [] {
    EXPECT_TRUE(platform::replug_usb_device(first));
    with_device(first, [](simulator::UsbPrinter& printer, uint64_t) {
      printer.device().options().remove_after_written = printer.device().bytes_written() + 1;
    });
    const Opened device;
    Outcome outcome;
    TestThread reader = spawn("reader", [&] { outcome = device.read(); });
    test::settle();
    EXPECT_FALSE(device.write(host::entry).success);
    reader.join();
    EXPECT_EQ(DWORD{ERROR_GEN_FAILURE}, outcome.error);
  });
}

TEST_F(UsbRemoval, PlannedRemovalEndsTheReadAtItsMoment) {
  platform::add_usb_device(device_at(
      first,
      {.silent_when_idle = true, .acts = {D4Act{.kind = D4Act::Kind::removal, .at_ms = 4321}}}));
  run_virtual_parallel([] {
    const Opened device;
    EXPECT_EQ(DWORD{ERROR_GEN_FAILURE}, device.read().error);
    EXPECT_EQ(4321U, test::elapsed_ms());
  });
}

TEST_F(UsbRemoval, PlannedRemovalShowsInTheListWithoutATransfer) {
  platform::add_usb_device(
      device_at(first, {.acts = {D4Act{.kind = D4Act::Kind::removal, .at_ms = 500}}}));
  run_virtual_parallel([] {
    test::sleep_ms(499);
    EXPECT_EQ(1U, present_devices());
    test::sleep_ms(1);
    EXPECT_EQ(0U, present_devices());
    EXPECT_EQ(INVALID_HANDLE_VALUE, open_file(first));
    EXPECT_EQ(DWORD{ERROR_FILE_NOT_FOUND}, GetLastError());
  });
}

TEST_F(UsbRemoval, DeviceThatWentBeforeItsInterfaceWasMadeHasNone) {
  platform::add_usb_device(device_at(first));
  const test::Handle file(open_file(first));
  platform::unplug_usb_device(first);
  WINUSB_INTERFACE_HANDLE made = nullptr;
  SetLastError(untouched);
  EXPECT_FALSE(WinUsb_Initialize(file, &made));
  EXPECT_EQ(DWORD{ERROR_GEN_FAILURE}, GetLastError());
  EXPECT_EQ(nullptr, made);
}

TEST_F(UsbRemoval, OldHandlesStayDeadWhenTheDeviceIsBack) {
  platform::add_usb_device(device_at(first));
  run_virtual_parallel([] {
    const Opened old;
    old.enter();
    EXPECT_TRUE(platform::unplug_usb_device(first));
    EXPECT_EQ(0U, present_devices());
    EXPECT_TRUE(platform::replug_usb_device(first));
    EXPECT_EQ(1U, present_devices());
    expect_gone(old);
    const Opened fresh;
    fresh.enter();
    EXPECT_EQ(status_answer, fresh.say(status_request));
    expect_gone(old);
  });
}

TEST_F(UsbRemoval, ReadInsideEndsThoughTheDeviceIsBackAtOnce) {
  platform::add_usb_device(device_at(first, {.silent_when_idle = true}));
  run_virtual_schedules(4, [] {
    const Opened device;
    Outcome outcome;
    TestThread reader = spawn("reader", [&] { outcome = device.read(); });
    test::settle();
    EXPECT_TRUE(platform::replug_usb_device(first));
    reader.join();
    EXPECT_EQ(DWORD{ERROR_GEN_FAILURE}, outcome.error);
  });
}

TEST_F(UsbRemoval, ReplacedMachineTakesItsDevicesAlong) {
  platform::add_usb_device(device_at(first, {.silent_when_idle = true}));
  run_virtual_parallel([] {
    const Opened device;
    Outcome outcome;
    TestThread reader = spawn("reader", [&] { outcome = device.read(); });
    test::settle();
    platform::reset_machine();
    reader.join();
    EXPECT_EQ(DWORD{ERROR_GEN_FAILURE}, outcome.error);
    expect_gone(device);
    EXPECT_EQ(0U, present_devices());
    EXPECT_FALSE(platform::unplug_usb_device(first));
  });
}

TEST_F(UsbRemoval, FreeingTheInterfaceEndsTheReadInside) {
  platform::add_usb_device(device_at(first, {.silent_when_idle = true}));
  run_virtual_schedules(4, [] {
    Opened device;
    const WINUSB_INTERFACE_HANDLE interface_handle = device.get();
    Outcome outcome;
    TestThread reader = spawn("reader", [&] { outcome = read_from(interface_handle); });
    test::settle();
    device.close();
    reader.join();
    EXPECT_FALSE(outcome.success);
    EXPECT_EQ(DWORD{ERROR_OPERATION_ABORTED}, outcome.error);
    EXPECT_EQ(DWORD{ERROR_INVALID_HANDLE}, read_from(interface_handle).error);
  });
}

TEST_F(UsbRemoval, ClosingTheFileFirstEndsTheReadInsideAndIsABreach) {
  platform::add_usb_device(device_at(first, {.silent_when_idle = true}));
  run_virtual_parallel([] {
    const HANDLE file = open_file(first);
    WINUSB_INTERFACE_HANDLE interface_handle = nullptr;
    ASSERT_TRUE(WinUsb_Initialize(file, &interface_handle));
    Outcome outcome;
    TestThread reader = spawn("reader", [&] { outcome = read_from(interface_handle); });
    test::settle();
    EXPECT_TRUE(CloseHandle(file));
    reader.join();
    EXPECT_EQ(DWORD{ERROR_OPERATION_ABORTED}, outcome.error);
    EXPECT_EQ(DWORD{ERROR_INVALID_HANDLE}, read_from(interface_handle).error);
    EXPECT_EQ(first + ": its file was closed before its WinUSB interface was freed", only_breach());
    EXPECT_TRUE(WinUsb_Free(interface_handle));
  });
}

// Nothing of the threads' own needs freeing: nobody would.
TEST_F(UsbRemoval, ThreadsThatAreTerminatedInsideTransfersLeaveNothingBehind) {
  platform::add_usb_device(
      device_at(first, {.silent_when_idle = true, .silence_stops_writes = true}));
  run_virtual_parallel([] {
    const Opened device;
    const auto with_printer = [](void (simulator::D4Device::*change)(uint64_t)) {
      with_device(first, [&](simulator::UsbPrinter& printer, uint64_t now_ms) {
        (printer.device().*change)(now_ms);
      });
    };
    with_printer(&simulator::D4Device::silence);
    UCHAR bytes[64] = {};
    ULONG got = 0;
    ULONG written = 0;
    test::Work reading = [&] {
      WinUsb_ReadPipe(device.get(), in_pipe, bytes, sizeof bytes, &got, nullptr);
      return DWORD{0};
    };
    test::Work writing = [&] {
      UCHAR sent[4] = {};
      WinUsb_WritePipe(device.get(), out_pipe, sent, sizeof sent, &written, nullptr);
      return DWORD{0};
    };
    for (test::Work* work : {&reading, &writing}) {
      const test::Handle inside(test::start_thread(*work));
      test::settle();
      EXPECT_TRUE(TerminateThread(inside, 5));
      EXPECT_EQ(WAIT_OBJECT_0, WaitForSingleObject(inside, INFINITE));
      test::settle();
    }
    with_printer(&simulator::D4Device::speak);
    EXPECT_EQ(wire::entry_reply, device.say(host::entry));
    EXPECT_EQ(0U, got);
    EXPECT_EQ(0U, written);
  });
}

TEST_F(UsbRemoval, DeviceServesOneScenarioAfterAnother) {
  platform::add_usb_device(device_at(first, {.empty_after_ms = 50}));
  for (int times = 0; times < 3; ++times) {
    run_virtual_parallel([] {
      const Opened device;
      device.enter();
      EXPECT_EQ(Bytes{}, device.read().bytes);
      EXPECT_EQ(50U, test::elapsed_ms());
    });
  }
}

TEST_F(UsbRemoval, DevicesClockGoesOnFromOneScenarioToTheNext) {
  platform::add_usb_device(device_at(first));
  run_virtual_parallel([] {
    test::sleep_ms(1000);
    with_device(first, [](simulator::UsbPrinter& printer, uint64_t now_ms) {
      EXPECT_EQ(1000U, now_ms);
      printer.device().plan({.kind = D4Act::Kind::removal, .at_ms = now_ms + 50});
    });
  });
  run_virtual_parallel([] {
    EXPECT_EQ(1U, present_devices());
    test::sleep_ms(49);
    EXPECT_EQ(1U, present_devices());
    test::sleep_ms(1);
    EXPECT_EQ(0U, present_devices());
  });
}

TEST_F(UsbRemoval, InRealTimeAReadWaitsAndARemovalEndsIt) {
  platform::add_usb_device(device_at(first, {.latency_ms = 5, .silent_when_idle = true}));
  const Opened device;
  EXPECT_EQ(wire::entry_reply, device.say(host::entry));
  Outcome outcome;
  const test::Handle inside(test::new_event(true, false));
  test::Work work = [&] {
    SetEvent(inside);
    outcome = device.read();
    return DWORD{0};
  };
  const test::Handle reader(test::start_thread(work));
  EXPECT_EQ(WAIT_OBJECT_0, WaitForSingleObject(inside, INFINITE));
  EXPECT_TRUE(platform::unplug_usb_device(first));
  EXPECT_EQ(WAIT_OBJECT_0, WaitForSingleObject(reader, INFINITE));
  EXPECT_EQ(DWORD{ERROR_GEN_FAILURE}, outcome.error);
}

}  // namespace
}  // namespace usb_test
