// The simulated device behind the port's calls, made by hand.

#include <gmock/gmock.h>
#include <gtest/gtest-spi.h>

#include "tests/d4/device_port.h"
#include "tests/support/virtual_time.h"

namespace d4_test {
namespace {

using simulator::D4Device;
using test::elapsed_ms;
using test::run_virtual_parallel;
using test::run_virtual_schedules;
using ::testing::ElementsAre;
using ::testing::HasSubstr;

constexpr std::uint32_t kUntouched = 0xA5A5A5A5;

bool write(DevicePort& port, const Bytes& bytes) {
  std::uint32_t count = 0;
  const auto size = static_cast<std::uint32_t>(bytes.size());
  return port.ops()->write(port.handle(), bytes.data(), size, &count) != 0 && count == size;
}

struct Read {
  bool success = false;
  std::uint32_t count = kUntouched;
  Bytes bytes = {};
  std::uint64_t ms = 0;
};

Read read(DevicePort& port, std::uint32_t capacity) {
  Read read;
  Bytes buffer(capacity);
  const std::uint64_t began = elapsed_ms();
  read.success = port.ops()->read(port.handle(), buffer.data(), capacity, &read.count) != 0;
  read.ms = elapsed_ms() - began;
  buffer.resize(read.count == kUntouched ? 0 : read.count);
  read.bytes = buffer;
  return read;
}

TEST(DevicePort, DeviceAnswersWithItsLatency) {
  run_virtual_parallel([] {
    DevicePort port({.latency_ms = 20});
    EXPECT_TRUE(write(port, entry_string()));
    test::sleep_ms(19);
    const Read nothing = read(port, 8);
    EXPECT_TRUE(nothing.success);
    EXPECT_EQ(kUntouched, nothing.count);
    test::sleep_ms(1);
    EXPECT_EQ(entry_reply(), read(port, 8).bytes);
    EXPECT_TRUE(write(port, init()));
    port.empty_reads_store_zero(true);
    EXPECT_EQ(0u, read(port, 9).count);
    test::sleep_ms(20);
    EXPECT_EQ(init_reply(), read(port, 9).bytes);
    EXPECT_EQ(2u, port.writes().size());
    EXPECT_EQ(4u, port.reads().size());
    EXPECT_EQ(6u, port.call_count());
  });
}

TEST(DevicePort, HeldReadEndsWithTheReplyOrWithItsTime) {
  run_virtual_schedules(5, [] {
    DevicePort port({.latency_ms = 20, .empty_after_ms = 100});
    write(port, entry_string());
    const Read reply = read(port, 8);
    EXPECT_EQ(20u, reply.ms);
    EXPECT_EQ(entry_reply(), reply.bytes);
    const Read nothing = read(port, 8);
    EXPECT_TRUE(nothing.success);
    EXPECT_EQ(100u, nothing.ms);
    EXPECT_EQ(kUntouched, nothing.count);
  });
}

TEST(DevicePort, WhatTheDeviceDoesMeanwhileEndsAHeldRead) {
  run_virtual_schedules(5, [] {
    DevicePort port({.silent_when_idle = true});
    Read seen;
    auto reader = test::spawn("reader", [&] { seen = read(port, 64); });
    test::sleep_ms(3'600'000);
    EXPECT_FALSE(reader.ended());
    port.with([](D4Device& device, std::uint64_t now) { device.push_raw(text("abc"), now); });
    reader.join();
    EXPECT_EQ(3'600'000u, seen.ms);
    EXPECT_EQ(text("abc"), seen.bytes);
  });
}

TEST(DevicePort, RemovalEndsAHeldRead) {
  run_virtual_schedules(5, [] {
    DevicePort port({.silent_when_idle = true});
    port.remove_at_ms(70);
    const Read failed = read(port, 64);
    EXPECT_FALSE(failed.success);
    EXPECT_EQ(kRemovedError, GetLastError());
    EXPECT_EQ(70u, failed.ms);
    EXPECT_FALSE(write(port, entry_string()));
  });
}

TEST(DevicePort, RemovalFromAnotherThreadEndsAHeldWrite) {
  run_virtual_schedules(5, [] {
    DevicePort port({.silence_stops_writes = true});
    port.with([](D4Device& device, std::uint64_t now) { device.silence(now); });
    bool written = true;
    auto writer = test::spawn("writer", [&] { written = write(port, entry_string()); });
    test::sleep_ms(500);
    EXPECT_FALSE(writer.ended());
    port.remove();
    writer.join();
    EXPECT_FALSE(written);
    EXPECT_EQ(500u, port.writes()[0].ended_ms);
  });
}

TEST(DevicePort, HeldWriteGoesOutWhenTheDeviceSpeaksAgain) {
  run_virtual_schedules(5, [] {
    DevicePort port({.silence_stops_writes = true});
    port.with([](D4Device& device, std::uint64_t now) { device.silence(now); });
    bool written = false;
    auto writer = test::spawn("writer", [&] { written = write(port, entry_string()); });
    test::sleep_ms(500);
    port.with([](D4Device& device, std::uint64_t now) { device.speak(now); });
    writer.join();
    EXPECT_TRUE(written);
    EXPECT_EQ(entry_reply(), read(port, 8).bytes);
  });
}

TEST(DevicePort, ShortWriteIsTold) {
  run_virtual_parallel([] {
    DevicePort port({.short_writes = {{1, 20}}});
    std::uint32_t count = 0;
    const Bytes bytes = entry_string();
    EXPECT_NE(0u, port.ops()->write(port.handle(), bytes.data(), 27, &count));
    EXPECT_EQ(20u, count);
    port.forgive();  // the entry string broke off
  });
}

TEST(DevicePort, WrongHostFailsTheTestWithTheConversation) {
  ::testing::TestPartResultArray results;
  {
    const ::testing::ScopedFakeTestPartResultReporter catcher(
        ::testing::ScopedFakeTestPartResultReporter::INTERCEPT_ALL_THREADS, &results);
    run_virtual_parallel([] {
      DevicePort port({}, "bulk pipes");
      write(port, entry_string());
      write(port, init(0x20));
    });
  }
  ASSERT_EQ(1, results.size());
  EXPECT_THAT(results.GetTestPartResult(0).message(), HasSubstr("bulk pipes"));
  EXPECT_THAT(results.GetTestPartResult(0).message(), HasSubstr("00 00 00 08 01 00 00 20"));
}

TEST(DevicePort, TwoTransfersAtOnceAreABreach) {
  run_virtual_schedules(5, [] {
    DevicePort port({.empty_after_ms = 100});
    auto reader = test::spawn("reader", [&] { read(port, 8); });
    test::sleep_ms(50);
    write(port, entry_string());
    reader.join();
    EXPECT_THAT(port.forgive(), ElementsAre("50 ms: a transfer began while another was inside"));
  });
}

TEST(DevicePort, ReadsThatPassNoTimeAreABreach) {
  run_virtual_parallel([] {
    DevicePort port;
    while (elapsed_ms() < 3) read(port, 8);  // wouldn't end by itself
    EXPECT_THAT(port.forgive(), ElementsAre("0 ms: 1000 empty reads at one moment"));
  });
}

}  // namespace
}  // namespace d4_test
