// What the engine reads comes out of a buffer that whole transfers fill.

#include "tests/device/pipes_port.h"

namespace pipes_test {
namespace {

class PumpRead : public PortTest {};

TEST_F(PumpRead, TakesPartOfTheBufferAndLeavesTheRestForReadsWithoutTransfer) {
  vlp::CIOAccess port(nullptr);
  connect(port);
  const Bytes sent = counted(10);
  spy().read_answers = {{.bytes = sent}};
  expect_read(port, 4, part(sent, 0, 4));
  EXPECT_EQ(1u, spy().reads.size());
  expect_read(port, 1, part(sent, 4, 1));
  expect_read(port, 4, part(sent, 5, 4));
  EXPECT_EQ(1u, spy().reads.size());
}

TEST_F(PumpRead, LastBufferedBytesEmptyTheBufferAndTheNextReadIsATransferIntoZeroes) {
  vlp::CIOAccess port(nullptr);
  connect(port);
  const Bytes sent = counted(10);
  spy().read_answers = {{.bytes = sent}, {.bytes = {7}}};
  expect_read(port, 6, part(sent, 0, 6));
  expect_read(port, 4, part(sent, 6, 4));
  EXPECT_EQ(1u, spy().reads.size());
  expect_read(port, 4, {7});
  ASSERT_EQ(2u, spy().reads.size());
  EXPECT_TRUE(spy().reads[0].clean);
  EXPECT_TRUE(spy().reads[1].clean);
}

TEST_F(PumpRead, OneByteLeftMakesNoTransfer) {
  vlp::CIOAccess port(nullptr);
  connect(port);
  spy().read_answers = {{.bytes = {1, 2, 3}}, {.bytes = {4}}};
  expect_read(port, 2, {1, 2});
  expect_read(port, 100, {3});
  EXPECT_EQ(1u, spy().reads.size());
  expect_read(port, 100, {4});
}

TEST_F(PumpRead, MoreThanTheBufferHoldsGivesWhatIsBuffered) {
  vlp::CIOAccess port(nullptr);
  connect(port);
  const Bytes sent = counted(2048);
  spy().read_answers = {{.bytes = sent}, {.bytes = {9}}};
  expect_read(port, 5000, sent);
  EXPECT_EQ(1u, spy().reads.size());
  expect_read(port, 5000, {9});
  EXPECT_TRUE(spy().reads[1].clean);
}

TEST_F(PumpRead, AsksForAWholeBufferOnTheBulkInPipeWhateverIsWanted) {
  vlp::CIOAccess port(nullptr);
  connect(port);
  for (const std::uint32_t size : {1u, 6u, 2047u, 2048u, 2049u, 65536u}) {
    spy().read_answers = {{.bytes = {1}}};
    expect_read(port, size, {1});
    const PipeCall& call = spy().reads.back();
    EXPECT_EQ(2048u, call.size) << size;
    EXPECT_EQ(0x81, call.pipe);
    EXPECT_FALSE(call.overlapped);
    EXPECT_EQ(0u, call.count_before);
  }
  EXPECT_EQ(6u, spy().reads.size());
}

TEST_F(PumpRead, OneTransferOfManyPacketsServesManyReads) {
  vlp::CIOAccess port(nullptr);
  connect(port);
  const Bytes sent = counted(2048);
  spy().read_answers = {{.bytes = sent}};
  for (std::size_t at = 0; at < sent.size(); at += 512) expect_read(port, 512, part(sent, at, 512));
  EXPECT_EQ(1u, spy().reads.size());
}

TEST_F(PumpRead, TransferOfNoBytesIsASuccessThatLeavesTheCountAlone) {
  vlp::CIOAccess port(nullptr);
  connect(port);
  spy().read_answers = {{}, {.bytes = {5}}};
  const Outcome outcome = read(port, 8);
  EXPECT_EQ(1u, outcome.result);
  EXPECT_EQ(77u, outcome.count);
  EXPECT_EQ(Bytes(8, 0xEE), outcome.bytes);
  expect_read(port, 8, {5});
  EXPECT_EQ(2u, spy().reads.size());
}

TEST_F(PumpRead, FailedTransferFailsWithTheSystemsErrorAndTheCountAlone) {
  vlp::CIOAccess port(nullptr);
  connect(port);
  spy().read_answers = {{.success = false, .bytes = {1, 2}, .error = ERROR_GEN_FAILURE},
                        {.bytes = {5}}};
  const Outcome outcome = read(port, 8);
  EXPECT_EQ(0u, outcome.result);
  EXPECT_EQ(77u, outcome.count);
  EXPECT_EQ(DWORD{ERROR_GEN_FAILURE}, outcome.error);
  EXPECT_EQ(1u, spy().reads.size());
  expect_read(port, 8, {5});
}

TEST_F(PumpRead, TransferThatTellsMoreThanItsRoomIsCutToIt) {
  vlp::CIOAccess port(nullptr);
  connect(port);
  const Bytes sent = counted(2048);
  spy().read_answers = {{.bytes = sent, .told_count = 0xFFFFFFFF}, {.bytes = {5}}};
  expect_read(port, 65536, sent);
  expect_read(port, 1, {5});
}

TEST_F(PumpRead, DeviceThatIsNotOpenFailsWithoutTransferAndWithNoError) {
  vlp::CIOAccess port(nullptr);
  ASSERT_TRUE(port.SetWinUSBIO(&device_));
  const Outcome outcome = read(port, 8);
  EXPECT_EQ(0u, outcome.result);
  EXPECT_EQ(77u, outcome.count);
  EXPECT_EQ(0u, outcome.error);
  EXPECT_TRUE(spy().calls.empty());
}

TEST_F(PumpRead, WrongArgumentsFailAtOnceWithoutLineAndWithTheErrorAlone) {
  LogFile log(0xFFFFFFFF);
  vlp::CIOAccess port(log);
  vlp::CIOAccess none(nullptr);
  connect(port);
  spy().read_answers = {{.bytes = {1}}};
  const std::size_t lines = log.shown().size();
  std::uint8_t byte = 0xEE;
  std::uint32_t got = 77;
  const auto entry = port.PortOps()->read;
  SetLastError(kUntouched);
  EXPECT_EQ(0u, entry(0, &byte, 1, &got));
  EXPECT_EQ(0u, entry(port.Handle(), nullptr, 1, &got));
  EXPECT_EQ(0u, entry(port.Handle(), &byte, 0, &got));
  EXPECT_EQ(0u, entry(port.Handle(), &byte, 1, nullptr));
  EXPECT_EQ(0u, entry(none.Handle(), &byte, 1, &got));
  EXPECT_EQ(kUntouched, GetLastError());
  EXPECT_EQ(77u, got);
  EXPECT_EQ(0xEE, byte);
  EXPECT_EQ(lines, log.shown().size());
  EXPECT_TRUE(spy().calls.empty());
}

TEST_F(PumpRead, WrongArgumentsFailEvenWithBytesInTheBuffer) {
  vlp::CIOAccess port(nullptr);
  connect(port);
  spy().read_answers = {{.bytes = {1, 2}}};
  expect_read(port, 1, {1});
  std::uint32_t got = 77;
  EXPECT_EQ(0u, port.PortOps()->read(port.Handle(), nullptr, 1, &got));
  EXPECT_EQ(77u, got);
  expect_read(port, 1, {2});
}

TEST_F(PumpRead, WhatOneLinkLeavesIsServedToTheNextOne) {
  vlp::CIOAccess port(nullptr);
  connect(port);
  spy().read_answers = {{.bytes = {1, 2, 3}}, {.bytes = {4}}};
  expect_read(port, 1, {1});
  device_.CloseWinUSBDevice();
  ASSERT_TRUE(device_.OpenWinUSBDevice(kFirst.c_str()));
  expect_read(port, 10, {2, 3});
  EXPECT_EQ(1u, spy().reads.size());
  expect_read(port, 10, {4});
}

TEST_F(PumpRead, BufferedBytesAreServedWithTheDeviceClosed) {
  vlp::CIOAccess port(nullptr);
  connect(port);
  spy().read_answers = {{.bytes = {1, 2}}};
  expect_read(port, 1, {1});
  device_.CloseWinUSBDevice();
  expect_read(port, 1, {2});
  EXPECT_EQ(0u, read(port, 1).result);
}

TEST_F(PumpRead, WaitsForTheDeviceWithoutLimit) {
  platform::add_usb_device(described(kFirst, kSerialNumber, {.silent_when_idle = true}));
  run_virtual_serial(0, [this] {
    vlp::CIOAccess port(nullptr);
    connect(port);
    auto reader = spawn("reader", [&] {
      const Outcome outcome = read(port, 8);
      EXPECT_EQ(0u, outcome.result);
      EXPECT_EQ(DWORD{ERROR_GEN_FAILURE}, outcome.error);
      EXPECT_EQ(3'600'000u, elapsed_ms());
    });
    sleep_ms(3'600'000);
    EXPECT_FALSE(reader.ended());
    platform::unplug_usb_device(kFirst);
    reader.join();
    EXPECT_THAT(spy().calls, ElementsAre("WinUsb_ReadPipe interface"));
    device_.CloseWinUSBDevice();
  });
}

}  // namespace
}  // namespace pipes_test
