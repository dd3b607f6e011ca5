// The shape of transfers: split, joined, empty, missing, and the device's removal.

#include "tests/simulator/d4_fixture.h"

namespace {

using namespace simulator_test;

TEST(D4Transfers, HaveOnePacketEachUnlessTheyAreJoined) {
  for (const bool joined_packets : {false, true}) {
    Wire wire = opened(0x02, {.coalesce = joined_packets});
    wire.device.send_credit(0x02, 1, 0);
    wire.device.send_credit(0x02, 2, 0);
    const Bytes first = wire::credit(0x02, 1);
    const Bytes second = wire::credit(0x02, 2);
    EXPECT_EQ(joined_packets ? joined({first, second}) : first, wire.read());
    EXPECT_EQ(joined_packets ? Bytes{} : second, wire.read());
  }
}

TEST(D4Transfers, HoldOnlyWhatIsDue) {
  Wire wire = opened(0x02, {.coalesce = true});
  wire.device.send_credit(0x02, 1, 0);
  wire.device.plan({.kind = D4Act::Kind::credit, .at_ms = 7, .socket = 0x02, .amount = 2});
  EXPECT_EQ(wire::credit(0x02, 1), wire.read());
  EXPECT_EQ(7U, wire.device.next_due());
  wire.now_ms = 7;
  EXPECT_EQ(wire::credit(0x02, 2), wire.read());
}

TEST(D4Transfers, AreNoLargerThanTheHostAsksForNorThanTheOptionsAllow) {
  Wire wire({.transfer_bytes = 3});
  wire.write(host::entry);
  EXPECT_EQ((Bytes{0, 0, 0}), wire.read());
  EXPECT_EQ((Bytes{8, 1}), wire.read(2));
  EXPECT_EQ((Bytes{0, 0xC5, 0}), wire.read());
  EXPECT_EQ(Bytes{}, wire.read());
  EXPECT_EQ(D4Link::Stage::entered, wire.device.link().stage());
  const D4Line& line = wire.device.conversation().lines()[1];
  EXPECT_EQ(3U, line.transfers);
  EXPECT_EQ(wire::entry_reply, line.bytes);
}

TEST(D4Transfers, CanGoByteByByte) {
  Wire wire = opened(0x02, {.transfer_bytes = 1, .coalesce = true});
  wire.device.reply(0x02, bytes_of("a longer answer"), 0);
  EXPECT_EQ(joined({wire::credit_reply(0, 0x02), host::data(0x02, "a longer answer")}),
            wire.say(host::credit(0x02)));
  const auto& lines = wire.device.conversation().lines();
  ASSERT_EQ(D4Line::Kind::empty, lines.back().kind);
  EXPECT_EQ(21U, lines[lines.size() - 2].transfers);
  expect_clean(wire);
}

TEST(D4Transfers, CanCompleteWithoutBytesAheadOfEachPacket) {
  Wire wire({.empty_before_packet = 2});
  wire.write(host::entry);
  EXPECT_EQ(Bytes{}, wire.read());
  EXPECT_EQ(Bytes{}, wire.read());
  EXPECT_EQ(wire::entry_reply, wire.read());
  wire.write(host::init);
  EXPECT_EQ(Bytes{}, wire.read());
  EXPECT_EQ(Bytes{}, wire.read());
  EXPECT_EQ(wire::init_reply, wire.read());
  EXPECT_EQ(4U, wire.device.empty_transfers());
  EXPECT_EQ(6U, wire.device.in_transfers());
}

TEST(D4Transfers, CompleteWithoutBytesAtOnceWhenThereIsNothing) {
  Wire wire;
  const auto taken = wire.device.take(0, buffer_size);
  EXPECT_EQ(D4Transfer::done, taken.how);
  EXPECT_EQ(Bytes{}, taken.bytes);
  EXPECT_EQ(std::nullopt, wire.device.next_due());
}

TEST(D4Transfers, CanWaitBeforeTheyCompleteWithoutBytes) {
  Wire wire({.empty_after_ms = 30});
  EXPECT_EQ(D4Transfer::pending, wire.device.take(100, buffer_size).how);
  EXPECT_EQ(130U, wire.device.next_due());
  EXPECT_EQ(D4Transfer::pending, wire.device.take(129, buffer_size).how);
  EXPECT_EQ(D4Transfer::done, wire.device.take(130, buffer_size).how);
  EXPECT_EQ(D4Transfer::pending, wire.device.take(131, buffer_size).how);
  wire.device.write(host::entry, 140);
  EXPECT_EQ(140U, wire.device.next_due());
  EXPECT_EQ(wire::entry_reply, wire.device.take(140, buffer_size).bytes);
  EXPECT_EQ(D4Transfer::pending, wire.device.take(141, buffer_size).how);
  EXPECT_EQ(171U, wire.device.next_due());
}

TEST(D4Transfers, DoNotCompleteWithoutBytesInSilentMode) {
  Wire wire({.silent_when_idle = true});
  EXPECT_EQ(D4Transfer::pending, wire.device.take(0, buffer_size).how);
  EXPECT_EQ(std::nullopt, wire.device.next_due());
  EXPECT_EQ(D4Transfer::pending, wire.device.take(1000000, buffer_size).how);
  wire.now_ms = 1000000;
  wire.write(host::entry);
  EXPECT_EQ(wire::entry_reply, wire.read());
  EXPECT_EQ(0U, wire.device.empty_transfers());
}

TEST(D4Transfers, StopWhenTheDeviceKeepsSilent) {
  Wire wire;
  wire.write(host::entry);
  wire.device.silence(0);
  EXPECT_TRUE(wire.device.silent());
  EXPECT_EQ(D4Transfer::pending, wire.device.take(5000, buffer_size).how);
  EXPECT_EQ(std::nullopt, wire.device.next_due());
  const auto written = wire.device.write(host::init, 5000);
  EXPECT_EQ(D4Transfer::done, written.how);
  EXPECT_EQ(8U, written.count);
  wire.device.speak(6000);
  wire.now_ms = 6000;
  EXPECT_EQ(wire::entry_reply, wire.read_all());
  EXPECT_EQ(1U, wire.device.breaches(D4Rule::one_at_a_time));
}

TEST(D4Transfers, OfTheHostStopTooWhenTheOptionsSaySo) {
  Wire wire({.silence_stops_writes = true});
  wire.device.silence(0);
  const auto written = wire.device.write(host::entry, 0);
  EXPECT_EQ(D4Transfer::pending, written.how);
  EXPECT_EQ(0U, written.count);
  wire.device.speak(1);
  EXPECT_EQ(D4Transfer::done, wire.device.write(host::entry, 1).how);
  EXPECT_EQ(1U, wire.device.out_transfers());
}

TEST(D4Transfers, CanBeTakenShort) {
  Wire wire({.short_writes = {{2, 5}}});
  EXPECT_EQ(27U, wire.write(host::entry).count);
  wire.read_all();
  const auto written = wire.write(host::init);
  EXPECT_EQ(D4Transfer::done, written.how);
  EXPECT_EQ(5U, written.count);
  EXPECT_EQ(Bytes{}, wire.read_all());
  expect_clean(wire);
}

TEST(D4Removal, CutsWhatTheHostReadsAtTheByte) {
  for (const size_t at : {size_t{0}, size_t{1}, size_t{7}, size_t{8}, size_t{9}}) {
    Wire wire({.remove_after_read = at});
    wire.write(host::entry);
    const auto first = wire.device.take(0, buffer_size);
    EXPECT_EQ(at == 0 ? D4Transfer::gone : D4Transfer::done, first.how) << at;
    EXPECT_EQ(std::min<size_t>(at, 8), first.bytes.size());
    EXPECT_EQ(at <= 8, wire.device.gone()) << at;
    EXPECT_EQ(at <= 8 ? D4Transfer::gone : D4Transfer::done, wire.device.take(0, buffer_size).how);
    EXPECT_EQ(at <= 8 ? D4Transfer::gone : D4Transfer::done, wire.device.write(host::init, 0).how);
  }
}

TEST(D4Removal, CutsWhatTheHostWritesAtTheByte) {
  for (const size_t at : {size_t{0}, size_t{1}, size_t{26}, size_t{27}, size_t{28}}) {
    Wire wire({.remove_after_written = at});
    const auto written = wire.device.write(host::entry, 0);
    EXPECT_EQ(at < 27 ? D4Transfer::gone : D4Transfer::done, written.how) << at;
    EXPECT_EQ(std::min<size_t>(at, 27), written.count);
    EXPECT_EQ(at <= 27, wire.device.gone()) << at;
    EXPECT_EQ(at <= 27 ? D4Transfer::gone : D4Transfer::done, wire.device.take(0, buffer_size).how);
    expect_clean(wire);
  }
}

TEST(D4Removal, AnswersThePacketThatWasWholeBeforeIt) {
  Wire wire({.remove_after_written = 30});
  wire.say(host::entry);
  const auto written = wire.device.write(host::init, 0);
  EXPECT_EQ(D4Transfer::gone, written.how);
  EXPECT_EQ(3U, written.count);
  EXPECT_EQ(30U, wire.device.bytes_written());
  EXPECT_EQ(1U, wire.device.host_packets());
}

TEST(D4Removal, EndsEverythingAndAPlugBeginsAnew) {
  Wire wire = entered({.remove_after_read = 33});
  wire.write(host::open(0x02));
  EXPECT_EQ(wire::open_reply(0x02), wire.read());
  EXPECT_TRUE(wire.device.gone());
  EXPECT_EQ(D4Transfer::gone, wire.device.write(host::close(0x02), 0).how);
  EXPECT_EQ(std::nullopt, wire.device.next_due());
  wire.device.replug(10);
  wire.now_ms = 10;
  EXPECT_FALSE(wire.device.gone());
  EXPECT_EQ(D4Link::Stage::raw, wire.device.link().stage());
  wire.enter().open(0x02);
  wire.device.unplug(20);
  EXPECT_TRUE(wire.device.gone());
  EXPECT_EQ(D4Transfer::gone, wire.device.take(20, buffer_size).how);
  expect_clean(wire);
}

TEST(D4Transfers, AreCountedPerPacketOfTheHost) {
  Wire wire({.one_packet_a_transfer = false});
  wire.write({0x00, 0x00, 0x00});
  wire.write(Bytes(host::entry.begin() + 3, host::entry.end()));
  EXPECT_EQ(wire::entry_reply, wire.read_all());
  EXPECT_EQ(wire::init_reply, wire.say(host::init));
  wire.write(joined({host::open(0x02), Bytes{0, 0}}));
  wire.read_all();
  Bytes rest = host::close(0x02);
  rest.erase(rest.begin(), rest.begin() + 2);
  EXPECT_EQ(wire::close_reply(0, 0x02), wire.say(rest));
  std::vector<uint32_t> transfers;
  for (const D4Line& line : wire.device.conversation().lines()) {
    if (line.kind == D4Line::Kind::packet && line.side == D4Side::host) {
      transfers.push_back(line.transfers);
    }
  }
  EXPECT_EQ((std::vector<uint32_t>{2, 1, 1, 2}), transfers);
  expect_clean(wire);
}

TEST(D4Conversation, ShowsBothSidesWithTimesBytesAndMeaning) {
  Wire wire;
  wire.now_ms = 12;
  wire.say(host::entry);
  wire.now_ms = 34;
  wire.write(host::open(0x02));
  const std::string report = wire.device.report();
  EXPECT_NE(std::string::npos, report.find("      12 ms  host   > 00 00 00 1B 01 40 51")) << report;
  EXPECT_NE(std::string::npos, report.find("[27] entry string\n")) << report;
  EXPECT_NE(std::string::npos,
            report.find("      12 ms  device < 00 00 00 08 01 00 C5 00  [8] entry reply result 0"))
      << report;
  EXPECT_NE(std::string::npos, report.find("nothing, 1 times")) << report;
  EXPECT_NE(std::string::npos,
            report.find("OpenChannel socket 02, 65535 towards the device, 65535 from it"))
      << report;
  EXPECT_NE(std::string::npos, report.find("BREACH: Init first")) << report;
  EXPECT_NE(std::string::npos, report.find("\nbreach: Init first: ")) << report;
  EXPECT_NE(std::string::npos, report.find("(at 34 ms)")) << report;
}

TEST(D4Conversation, KeepsThePacketsOfEachSideInOrder) {
  Wire wire = opened(0x02);
  EXPECT_EQ((std::vector<Bytes>{host::entry, host::init, host::open(0x02)}),
            wire.device.conversation().packets(D4Side::host));
  EXPECT_EQ((std::vector<Bytes>{wire::entry_reply, wire::init_reply, wire::open_reply(0x02)}),
            wire.device.conversation().packets(D4Side::device));
}

}  // namespace
