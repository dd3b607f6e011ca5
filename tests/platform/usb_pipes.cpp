// WinUSB on a device that stays: what it tells of itself, and its transfers.

#include "tests/platform/usb_fixture.h"

namespace usb_test {
namespace {

using test::run_virtual_parallel;
using test::run_virtual_schedules;
using test::spawn;
using test::TestThread;

class UsbPipes : public UsbTest {};

TEST_F(UsbPipes, DescriptorTellsTheInterfaceAndItsPipes) {
  platform::add_usb_device(device_at(first));
  const Opened device;
  USB_INTERFACE_DESCRIPTOR told = {};
  ASSERT_TRUE(WinUsb_QueryInterfaceSettings(device.get(), 0, &told));
  EXPECT_EQ(9, told.bLength);
  EXPECT_EQ(4, told.bDescriptorType);
  EXPECT_EQ(0, told.bInterfaceNumber);
  EXPECT_EQ(0, told.bAlternateSetting);
  EXPECT_EQ(3, told.bNumEndpoints);
  EXPECT_EQ(0xFF, told.bInterfaceClass);
  WINUSB_PIPE_INFORMATION pipe = {};
  ASSERT_TRUE(WinUsb_QueryPipe(device.get(), 0, 0, &pipe));
  EXPECT_EQ(UsbdPipeTypeBulk, pipe.PipeType);
  EXPECT_EQ(out_pipe, pipe.PipeId);
  EXPECT_EQ(512, pipe.MaximumPacketSize);
  ASSERT_TRUE(WinUsb_QueryPipe(device.get(), 0, 1, &pipe));
  EXPECT_EQ(UsbdPipeTypeBulk, pipe.PipeType);
  EXPECT_EQ(in_pipe, pipe.PipeId);
  ASSERT_TRUE(WinUsb_QueryPipe(device.get(), 0, 2, &pipe));
  EXPECT_EQ(UsbdPipeTypeInterrupt, pipe.PipeType);
  EXPECT_EQ(0x83, pipe.PipeId);
  EXPECT_EQ(8, pipe.MaximumPacketSize);
  EXPECT_EQ(4, pipe.Interval);
}

TEST_F(UsbPipes, BehindTheLastPipeAndTheLastSettingThereAreNoMoreItems) {
  platform::add_usb_device(device_at(first));
  const Opened device;
  USB_INTERFACE_DESCRIPTOR told = {};
  WINUSB_PIPE_INFORMATION pipe = {};
  for (const auto& ask : std::vector<std::function<BOOL()>>{
           [&] { return WinUsb_QueryPipe(device.get(), 0, 3, &pipe); },
           [&] { return WinUsb_QueryPipe(device.get(), 0, 255, &pipe); },
           [&] { return WinUsb_QueryPipe(device.get(), 1, 0, &pipe); },
           [&] { return WinUsb_QueryInterfaceSettings(device.get(), 1, &told); }}) {
    SetLastError(untouched);
    EXPECT_FALSE(ask());
    EXPECT_EQ(DWORD{ERROR_NO_MORE_ITEMS}, GetLastError());
  }
}

TEST_F(UsbPipes, DescriptorMayLieOrBeRefused) {
  platform::add_usb_device(device_at(first));
  const Opened device;
  USB_INTERFACE_DESCRIPTOR told = {};
  WINUSB_PIPE_INFORMATION pipe = {};
  ASSERT_TRUE(platform::set_usb_descriptor(
      first, {.endpoints = {{.address = 0x05, .type = 1}}, .told_endpoints = uint8_t{200}}));
  ASSERT_TRUE(WinUsb_QueryInterfaceSettings(device.get(), 0, &told));
  EXPECT_EQ(200, told.bNumEndpoints);
  ASSERT_TRUE(WinUsb_QueryPipe(device.get(), 0, 0, &pipe));
  EXPECT_EQ(UsbdPipeTypeIsochronous, pipe.PipeType);
  EXPECT_EQ(0x05, pipe.PipeId);
  EXPECT_FALSE(WinUsb_QueryPipe(device.get(), 0, 1, &pipe));
  ASSERT_TRUE(platform::set_usb_descriptor(first, {.settings_error = DWORD{ERROR_IO_DEVICE}}));
  told.bNumEndpoints = 9;
  SetLastError(untouched);
  EXPECT_FALSE(WinUsb_QueryInterfaceSettings(device.get(), 0, &told));
  EXPECT_EQ(DWORD{ERROR_IO_DEVICE}, GetLastError());
  EXPECT_EQ(9, told.bNumEndpoints);
  EXPECT_TRUE(WinUsb_QueryPipe(device.get(), 0, 0, &pipe));
}

TEST_F(UsbPipes, LastBulkPipeOfEachDirectionIsThePrinters) {
  UsbDeviceDescription description = device_at(first);
  description.descriptor.endpoints = {{.address = 0x81},
                                      {.address = 0x01},
                                      {.address = 0x82},
                                      {.address = 0x02},
                                      {.address = 0x84, .type = 3}};
  platform::add_usb_device(description);
  const Opened device;
  EXPECT_TRUE(write_to(device.get(), host::entry, 0x02).success);
  EXPECT_EQ(wire::entry_reply, read_from(device.get(), 2048, 0x82).bytes);
  EXPECT_EQ(DWORD{ERROR_GEN_FAILURE}, write_to(device.get(), host::init, 0x01).error);
  EXPECT_EQ(first + ": a write on pipe 1, which isn't the printer's", only_breach());
  EXPECT_EQ(DWORD{ERROR_GEN_FAILURE}, read_from(device.get(), 2048, 0x81).error);
  EXPECT_EQ(first + ": a read on pipe 129, which isn't the printer's", only_breach());
}

TEST_F(UsbPipes, TransfersOnPipesThatAreNotThereOrOfTheOtherDirectionAreRefused) {
  platform::add_usb_device(device_at(first));
  const Opened device;
  for (const UCHAR pipe : {UCHAR{0x00}, UCHAR{0x03}, UCHAR{0x81}, UCHAR{0xFF}}) {
    const Outcome outcome = write_to(device.get(), host::entry, pipe);
    EXPECT_FALSE(outcome.success);
    EXPECT_EQ(DWORD{ERROR_INVALID_PARAMETER}, outcome.error);
    EXPECT_EQ(0U, outcome.count);
    EXPECT_NE("", only_breach());
  }
  EXPECT_EQ(DWORD{ERROR_INVALID_PARAMETER}, read_from(device.get(), 2048, 0x02).error);
  EXPECT_NE("", only_breach());
}

TEST_F(UsbPipes, ArgumentsThatAreNotSuppliedAreRefused) {
  platform::add_usb_device(device_at(first));
  const Opened device;
  UCHAR bytes[4] = {};
  ULONG count = 77;
  const auto overlapped = reinterpret_cast<LPOVERLAPPED>(bytes);
  const HANDLE handle = device.get();
  for (const auto& call : std::vector<std::function<BOOL()>>{
           [&] { return WinUsb_ReadPipe(handle, in_pipe, nullptr, 4, &count, nullptr); },
           [&] { return WinUsb_ReadPipe(handle, in_pipe, bytes, 0, &count, nullptr); },
           [&] { return WinUsb_ReadPipe(handle, in_pipe, bytes, 4, nullptr, nullptr); },
           [&] { return WinUsb_ReadPipe(handle, in_pipe, bytes, 4, &count, overlapped); },
           [&] { return WinUsb_WritePipe(handle, out_pipe, nullptr, 4, &count, nullptr); },
           [&] { return WinUsb_WritePipe(handle, out_pipe, bytes, 0, &count, nullptr); },
           [&] { return WinUsb_WritePipe(handle, out_pipe, bytes, 4, nullptr, nullptr); },
           [&] { return WinUsb_WritePipe(handle, out_pipe, bytes, 4, &count, overlapped); },
           [&] { return WinUsb_QueryInterfaceSettings(handle, 0, nullptr); },
           [&] { return WinUsb_QueryPipe(handle, 0, 0, nullptr); },
           [&] { return WinUsb_Initialize(device.file(), nullptr); }}) {
    SetLastError(untouched);
    EXPECT_FALSE(call());
    EXPECT_EQ(DWORD{ERROR_INVALID_PARAMETER}, GetLastError());
  }
  EXPECT_EQ(77U, count);
}

TEST_F(UsbPipes, WhatIsNoInterfaceIsRefused) {
  platform::add_usb_device(device_at(first));
  const Opened device;
  USB_INTERFACE_DESCRIPTOR told = {};
  WINUSB_PIPE_INFORMATION pipe = {};
  for (const HANDLE wrong : {HANDLE{nullptr}, HANDLE{INVALID_HANDLE_VALUE}, device.file()}) {
    EXPECT_EQ(DWORD{ERROR_INVALID_HANDLE}, read_from(wrong).error);
    EXPECT_EQ(DWORD{ERROR_INVALID_HANDLE}, write_to(wrong, host::entry).error);
    for (const auto& call : std::vector<std::function<BOOL()>>{
             [&] { return WinUsb_QueryInterfaceSettings(wrong, 0, &told); },
             [&] { return WinUsb_QueryPipe(wrong, 0, 0, &pipe); },
             [&] { return WinUsb_Free(wrong); }}) {
      SetLastError(untouched);
      EXPECT_FALSE(call());
      EXPECT_EQ(DWORD{ERROR_INVALID_HANDLE}, GetLastError());
    }
  }
  DWORD count = 0;
  EXPECT_FALSE(ReadFile(device.file(), &told, 1, &count, nullptr));
}

TEST_F(UsbPipes, PrinterAnswersOverThePipes) {
  platform::add_usb_device(device_at(first));
  run_virtual_schedules(4, [] {
    const Opened device;
    device.enter();
    EXPECT_EQ(status_answer, device.say(status_request));
    EXPECT_EQ(wire::close_reply(0, command_socket), device.say(host::close(command_socket)));
    EXPECT_EQ(wire::exit_reply, device.say(host::exit));
    EXPECT_EQ(0U, test::elapsed_ms());
  });
}

TEST_F(UsbPipes, ReadWithNothingToSayCompletesWithoutBytesAtOnce) {
  platform::add_usb_device(device_at(first));
  run_virtual_parallel([] {
    const Opened device;
    const Outcome outcome = device.read();
    EXPECT_TRUE(outcome.success);
    EXPECT_EQ(0U, outcome.count);
    EXPECT_EQ(untouched, outcome.error);
    EXPECT_EQ(0U, test::elapsed_ms());
  });
}

TEST_F(UsbPipes, ReadWithNothingToSayCompletesAfterTheDevicesTime) {
  platform::add_usb_device(device_at(first, {.empty_after_ms = 20}));
  run_virtual_schedules(4, [] {
    const Opened device;
    for (const uint64_t end : {20U, 40U}) {
      EXPECT_TRUE(device.read().success);
      EXPECT_EQ(end, test::elapsed_ms());
    }
  });
}

TEST_F(UsbPipes, AnswerOfALateDeviceEndsTheReadWhenItIsDue) {
  platform::add_usb_device(device_at(first, {.latency_ms = 30, .silent_when_idle = true}));
  run_virtual_schedules(4, [] {
    const Opened device;
    EXPECT_EQ(wire::entry_reply, device.say(host::entry));
    EXPECT_EQ(30U, test::elapsed_ms());
  });
}

TEST_F(UsbPipes, AnswerOfALatePrinterEndsTheReadWhenItIsDue) {
  UsbDeviceDescription description = device_at(first, {.silent_when_idle = true});
  description.printer.latency_ms = 60;
  platform::add_usb_device(description);
  run_virtual_schedules(4, [] {
    const Opened device;
    device.enter();
    EXPECT_EQ(status_answer, device.say(status_request));
    EXPECT_EQ(60U, test::elapsed_ms());
  });
}

TEST_F(UsbPipes, ReadInsideIsServedByAWriteOfAnotherThread) {
  platform::add_usb_device(device_at(first, {.silent_when_idle = true}));
  run_virtual_schedules(8, [] {
    const Opened device;
    Outcome outcome;
    TestThread reader = spawn("reader", [&] { outcome = device.read(); });
    test::sleep_ms(100'000);
    EXPECT_FALSE(reader.ended());
    EXPECT_TRUE(device.write(host::entry).success);
    reader.join();
    EXPECT_EQ(wire::entry_reply, outcome.bytes);
    EXPECT_EQ(100'000U, test::elapsed_ms());
  });
}

TEST_F(UsbPipes, ReadInsideIsServedByWhatATestMakesTheDeviceSay) {
  platform::add_usb_device(device_at(first, {.silent_when_idle = true}));
  run_virtual_parallel([] {
    const Opened device;
    Outcome outcome;
    TestThread reader = spawn("reader", [&] { outcome = device.read(); });
    test::settle();
    with_device(first, [](simulator::UsbPrinter& printer, uint64_t now_ms) {
      printer.device().push_raw(bytes_of("raw"), now_ms);
    });
    reader.join();
    EXPECT_EQ(bytes_of("raw"), outcome.bytes);
  });
}

TEST_F(UsbPipes, RestOfATransferIsLeftForTheNextRead) {
  platform::add_usb_device(device_at(first));
  run_virtual_parallel([] {
    const Opened device;
    EXPECT_TRUE(device.write(host::entry).success);
    EXPECT_EQ(Bytes(wire::entry_reply.begin(), wire::entry_reply.begin() + 3),
              device.read(3).bytes);
    EXPECT_EQ(Bytes(wire::entry_reply.begin() + 3, wire::entry_reply.end()),
              device.read(2048).bytes);
  });
}

TEST_F(UsbPipes, WriteWaitsWhileTheDeviceTakesNothing) {
  platform::add_usb_device(device_at(first, {.silence_stops_writes = true}));
  run_virtual_schedules(4, [] {
    const Opened device;
    with_device(first, [](simulator::UsbPrinter& printer, uint64_t now_ms) {
      printer.device().silence(now_ms);
    });
    Outcome outcome;
    TestThread writer = spawn("writer", [&] { outcome = device.write(host::entry); });
    test::sleep_ms(5000);
    EXPECT_FALSE(writer.ended());
    with_device(first, [](simulator::UsbPrinter& printer, uint64_t now_ms) {
      printer.device().speak(now_ms);
    });
    writer.join();
    EXPECT_TRUE(outcome.success);
    EXPECT_EQ(host::entry.size(), outcome.count);
    EXPECT_EQ(wire::entry_reply, device.read().bytes);
  });
}

TEST_F(UsbPipes, ShortWriteTellsWhatTheDeviceTook) {
  platform::add_usb_device(device_at(first, {.short_writes = {{1, 5}}}));
  run_virtual_parallel([] {
    const Opened device;
    const Outcome outcome = device.write(host::entry);
    EXPECT_TRUE(outcome.success);
    EXPECT_EQ(5U, outcome.count);
  });
  // A packet that broke off is the host's to mend; this one doesn't.
  platform::unplug_usb_device(first);
  forget_breaches();
}

TEST_F(UsbPipes, TwoReadsAtOnceAreABreachAndOneReadBesideAWriteIsNone) {
  platform::add_usb_device(device_at(first, {.silent_when_idle = true}));
  run_virtual_parallel([] {
    const Opened device;
    TestThread reader = spawn("reader", [&] { device.read(); });
    test::settle();
    EXPECT_TRUE(device.write(host::entry).success);
    reader.join();
    EXPECT_EQ(std::vector<std::string>{}, all_breaches());
    TestThread again = spawn("again", [&] { device.read(); });
    TestThread other = spawn("other", [&] { device.read(); });
    test::settle();
    EXPECT_EQ(first + ": two transfers at once in WinUsb_ReadPipe", only_breach());
    platform::unplug_usb_device(first);
  });
}

TEST_F(UsbPipes, BreachOfTheTransportComesToLightBehindTheDevicesPath) {
  platform::add_usb_device(device_at(first));
  run_virtual_parallel([] {
    const Opened device;
    EXPECT_TRUE(device.write(host::init).success);
    const std::string breach = only_breach();
    EXPECT_EQ(0U, breach.find(first + ": ")) << breach;
  });
}

TEST_F(UsbPipes, HostThatClosesWithoutAnAnswerToTheDeviceIsToldSo) {
  platform::add_usb_device(device_at(first));
  run_virtual_parallel([] {
    Opened device;
    device.enter();
    with_device(first, [](simulator::UsbPrinter& printer, uint64_t now_ms) {
      printer.device().send_credit_request(command_socket, 1, now_ms);
    });
    EXPECT_FALSE(device.read().bytes.empty());
    EXPECT_EQ(std::vector<std::string>{}, all_breaches());
    device.close();
    EXPECT_NE(std::string::npos, only_breach().find("never came"));
  });
}

class UsbStops : public UsbTest {
 protected:
  void SetUp() override {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    platform::add_usb_device(device_at(first, {.silent_when_idle = true}));
    platform::add_usb_device(device_at(second));
  }
};

TEST_F(UsbStops, ReadThatNothingEndsIsReportedByItsCall) {
  EXPECT_DEATH(run_virtual_parallel([] { Opened(first).read(); }),
               "deadlock.*\n.*body.*WinUsb_ReadPipe");
}

TEST_F(UsbStops, HostThatOnlyReadsNothingIsFoundOut) {
  EXPECT_DEATH(run_virtual_parallel([] {
                 const Opened device(second);
                 for (;;) device.read();
               }),
               "no progress");
}

}  // namespace
}  // namespace usb_test
