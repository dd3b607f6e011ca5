// What the engine writes goes out in one transfer.

#include "tests/device/pipes_port.h"

namespace pipes_test {
namespace {

class PumpWrite : public PortTest {};

TEST_F(PumpWrite, IsOneTransferOfTheWholeSizeOnTheBulkOutPipe) {
  vlp::CIOAccess port(nullptr);
  connect(port);
  const Bytes bytes = counted(100'000);
  spy().write_answers = {{.count = 100'000}};
  const Outcome outcome = write(port, bytes);
  EXPECT_EQ(1u, outcome.result);
  EXPECT_EQ(100'000u, outcome.count);
  ASSERT_EQ(1u, spy().writes.size());
  EXPECT_EQ(bytes, spy().writes[0].bytes);
  EXPECT_EQ(0x02, spy().writes[0].pipe);
  EXPECT_FALSE(spy().writes[0].overlapped);
  EXPECT_EQ(0u, spy().writes[0].count_before);
  EXPECT_THAT(spy().calls, ElementsAre("WinUsb_WritePipe interface"));
}

TEST_F(PumpWrite, ShortTransferIsASuccessWithItsCountAndIsNotContinued) {
  vlp::CIOAccess port(nullptr);
  connect(port);
  for (const ULONG count : {ULONG{0}, ULONG{1}, ULONG{9}}) {
    spy().writes.clear();
    spy().write_answers = {{.count = count}};
    const Outcome outcome = write(port, counted(10));
    EXPECT_EQ(1u, outcome.result);
    EXPECT_EQ(count, outcome.count);
    EXPECT_EQ(1u, spy().writes.size());
  }
}

TEST_F(PumpWrite, FailedTransferFailsWithTheSystemsErrorAndIsNotRepeated) {
  vlp::CIOAccess port(nullptr);
  connect(port);
  spy().write_answers = {{.success = false, .count = 3, .error = ERROR_GEN_FAILURE}};
  const Outcome outcome = write(port, counted(10));
  EXPECT_EQ(0u, outcome.result);
  EXPECT_EQ(3u, outcome.count);
  EXPECT_EQ(DWORD{ERROR_GEN_FAILURE}, outcome.error);
  EXPECT_EQ(1u, spy().writes.size());
}

TEST_F(PumpWrite, DeviceThatIsNotOpenFailsWithoutTransferWithACountAndAnErrorOfZero) {
  vlp::CIOAccess port(nullptr);
  ASSERT_TRUE(port.SetWinUSBIO(&device_));
  const Outcome outcome = write(port, {1});
  EXPECT_EQ(0u, outcome.result);
  EXPECT_EQ(0u, outcome.count);
  EXPECT_EQ(0u, outcome.error);
  EXPECT_TRUE(spy().calls.empty());
}

TEST_F(PumpWrite, WrongArgumentsFailAtOnceWithoutLineAndWithTheErrorAlone) {
  LogFile log(0xFFFFFFFF);
  vlp::CIOAccess port(log);
  vlp::CIOAccess none(log);
  connect(port);
  const std::size_t lines = log.shown().size();
  const std::uint8_t byte = 1;
  std::uint32_t written = 77;
  const auto entry = port.PortOps()->write;
  SetLastError(kUntouched);
  EXPECT_EQ(0u, entry(0, &byte, 1, &written));
  EXPECT_EQ(0u, entry(port.Handle(), nullptr, 1, &written));
  EXPECT_EQ(0u, entry(port.Handle(), &byte, 0, &written));
  EXPECT_EQ(0u, entry(port.Handle(), &byte, 1, nullptr));
  EXPECT_EQ(0u, entry(none.Handle(), &byte, 1, &written));
  EXPECT_EQ(kUntouched, GetLastError());
  EXPECT_EQ(77u, written);
  EXPECT_EQ(lines, log.shown().size());
  EXPECT_TRUE(spy().calls.empty());
}

TEST_F(PumpWrite, LeavesWhatIsBufferedForReads) {
  vlp::CIOAccess port(nullptr);
  connect(port);
  spy().read_answers = {{.bytes = {1, 2}}};
  spy().write_answers = {{.count = 1}};
  expect_read(port, 1, {1});
  EXPECT_EQ(1u, write(port, {9}).result);
  expect_read(port, 9, {2});
}

TEST_F(PumpWrite, WaitsForTheDeviceWithoutLimitAndBesideARead) {
  platform::add_usb_device(
      described(kFirst, kSerialNumber, {.silent_when_idle = true, .silence_stops_writes = true}));
  with(kFirst,
       [](simulator::UsbPrinter& printer, std::uint64_t now) { printer.device().silence(now); });
  LogFile log(vlp::kLogPortOutput);
  run_virtual_serial(0, [this, &log] {
    vlp::CIOAccess port(log);
    connect(port);
    auto reader = spawn("reader", [&] { EXPECT_EQ(0u, read(port, 8).result); });
    auto writer = spawn("writer", [&] {
      const Outcome outcome = write(port, {0});
      EXPECT_EQ(0u, outcome.result);
      EXPECT_EQ(0u, outcome.count);
      EXPECT_EQ(DWORD{ERROR_GEN_FAILURE}, outcome.error);
      EXPECT_EQ(3'600'000u, elapsed_ms());
    });
    sleep_ms(3'600'000);
    EXPECT_FALSE(writer.ended());
    EXPECT_FALSE(reader.ended());
    // What is written is logged ahead of the transfer.
    EXPECT_THAT(log.shown(), ElementsAre("CIOAccess::IOThroughWrite"));
    platform::unplug_usb_device(kFirst);
    writer.join();
    reader.join();
    device_.CloseWinUSBDevice();
  });
}

}  // namespace
}  // namespace pipes_test
