// The device's packets, byte by byte, the cutting of a stream, and what packets say in words.

#include "tests/simulator/d4_fixture.h"

namespace {

using namespace simulator_test;
namespace d4 = simulator::d4;

TEST(D4Wire, PacketsOfTheDeviceAreBuiltAsTheyStandOnTheWire) {
  EXPECT_EQ((Bytes{0, 0, 0, 8, 1, 0, 0xC5, 3}), d4::entry_reply(3));
  EXPECT_EQ((Bytes{0, 0, 0, 9, 1, 0, 0x80, 2, 0x10}), d4::init_reply(2, 0x10));
  EXPECT_EQ((Bytes{0, 0, 0, 16, 1, 0, 0x81, 6, 2, 2, 0x12, 0x34, 0x56, 0x78, 0x9A, 0xBC}),
            d4::open_channel_reply(6, 2, 0x1234, 0x5678, 0x9ABC));
  EXPECT_EQ((Bytes{0, 0, 0, 10, 1, 0, 0x82, 8, 2, 2}), d4::close_channel_reply(8, 2));
  EXPECT_EQ((Bytes{0, 0, 0, 10, 1, 0, 0x83, 7, 2, 2}), d4::credit_reply(7, 2));
  EXPECT_EQ((Bytes{0, 0, 0, 12, 1, 0, 0x84, 0, 2, 2, 0x12, 0x34}),
            d4::credit_request_reply(0, 2, 0x1234));
  EXPECT_EQ((Bytes{0, 0, 0, 8, 1, 0, 0x88, 0}), d4::exit_reply(0));
  EXPECT_EQ((Bytes{0, 0, 0, 9, 1, 0, 0x89, 0, 7}), d4::get_socket_id_reply(0, 7));
  EXPECT_EQ((Bytes{0, 0, 0, 11, 1, 0, 0x8A, 0, 7, 'A', 'B'}),
            d4::get_service_name_reply(0, 7, "AB"));
  EXPECT_EQ((Bytes{0, 0, 0, 10, 1, 0, 2, 5, 5, 0}), d4::close_channel(5));
  EXPECT_EQ((Bytes{0, 0, 0, 11, 1, 0, 3, 5, 5, 0x12, 0x34}), d4::credit(5, 0x1234));
  EXPECT_EQ((Bytes{0, 0, 0, 13, 1, 0, 4, 5, 5, 0x12, 0x34, 0xFF, 0xFF}),
            d4::credit_request(5, 0x1234));
  EXPECT_EQ((Bytes{0, 0, 0, 7, 1, 0, 8}), d4::exit());
  EXPECT_EQ((Bytes{0, 0, 0, 10, 0, 0, 0x7F, 0, 0, 0x83}), d4::error(0x83));
  EXPECT_EQ((Bytes{5, 5, 0, 8, 9, 1, 'h', 'i'}), d4::data(5, bytes_of("hi"), 9, 1));
}

TEST(D4Wire, DataFillAPacketAndNoMore) {
  const Bytes packet = d4::data(5, Bytes(70000), 0, 0);
  EXPECT_EQ(65535U, packet.size());
  EXPECT_EQ(0xFF, packet[2]);
  EXPECT_EQ(0xFF, packet[3]);
}

TEST(D4Wire, EveryPacketOfTheTableHasItsLength) {
  const std::vector<std::pair<uint8_t, size_t>> exact = {
      {0x00, 8},  {0x01, 17}, {0x02, 10}, {0x03, 11}, {0x04, 13}, {0x08, 7},  {0x0A, 8}, {0x51, 27},
      {0x7F, 10}, {0x80, 9},  {0x81, 16}, {0x82, 10}, {0x83, 10}, {0x84, 12}, {0x88, 8}, {0xC5, 8}};
  const std::vector<std::pair<uint8_t, size_t>> least = {{0x09, 7}, {0x89, 9}, {0x8A, 9}};
  const auto right = [](uint8_t command, size_t length) {
    Bytes packet(length);
    packet[6] = command;
    return d4::has_right_length(packet);
  };
  for (const auto& [command, length] : exact) {
    EXPECT_TRUE(right(command, length)) << int{command};
    EXPECT_TRUE(length == 7 || !right(command, length - 1)) << int{command};
    EXPECT_FALSE(right(command, length + 1)) << int{command};
  }
  for (const auto& [command, length] : least) {
    EXPECT_TRUE(right(command, length)) << int{command};
    EXPECT_TRUE(right(command, length + 1)) << int{command};
    EXPECT_TRUE(length == 7 || !right(command, length - 1)) << int{command};
  }
  size_t known = 0;
  for (int command = 0; command < 256; ++command) {
    known += d4::form_of(static_cast<uint8_t>(command)) != nullptr ? 1U : 0U;
  }
  EXPECT_EQ(exact.size() + least.size(), known);
  EXPECT_FALSE(d4::has_right_length(Bytes(6)));
}

TEST(D4Wire, AStreamIsCutTheSameWayWhereverItIsSplit) {
  const std::vector<Bytes> packets = {
      host::entry, host::init, host::data(2, "abc"), {2, 2, 0, 6, 0, 0}};
  const Bytes stream = joined(packets);
  for (size_t step = 1; step <= stream.size(); ++step) {
    simulator::D4Cutter cutter;
    std::vector<Bytes> found;
    for (size_t at = 0; at < stream.size(); at += step) {
      cutter.feed(View(stream).subspan(at, std::min(step, stream.size() - at)));
      while (auto packet = cutter.next()) {
        found.push_back(*packet);
      }
    }
    EXPECT_EQ(packets, found) << step;
    EXPECT_TRUE(cutter.pending().empty());
  }
}

TEST(D4Wire, ALengthBelowTheHeadersIsTheEndOfAStream) {
  simulator::D4Cutter cutter;
  cutter.feed(joined({host::init, {0, 0, 0, 5, 1}}));
  EXPECT_EQ(host::init, cutter.next());
  EXPECT_EQ(std::nullopt, cutter.next());
  EXPECT_FALSE(cutter.is_bad());
  cutter.feed(Bytes{0});
  EXPECT_EQ(std::nullopt, cutter.next());
  EXPECT_TRUE(cutter.is_bad());
  cutter.feed(host::init);
  EXPECT_EQ(std::nullopt, cutter.next());
  cutter.clear();
  cutter.feed(host::init);
  EXPECT_EQ(host::init, cutter.next());
}

TEST(D4Wire, PacketsAreToldInWords) {
  const std::vector<std::pair<Bytes, std::string>> cases = {
      {host::init, "Init revision 10"},
      {host::open(0x21), "OpenChannel socket 21, 65535 towards the device, 65535 from it"},
      {host::close(0x02), "CloseChannel socket 02"},
      {host::credit(0x02), "Credit socket 02, 1"},
      {host::credit_request(0x02), "CreditRequest socket 02, 128"},
      {host::exit, "Exit"},
      {host::entry, "entry string"},
      {host::error(0x87), "Error code 87"},
      {{0, 0, 0, 9, 1, 0, 9, 'A', 'B'}, "GetSocketID \"AB\""},
      {{0, 0, 0, 8, 1, 0, 10, 5}, "GetServiceName socket 05"},
      {wire::entry_reply, "entry reply result 0"},
      {wire::init_reply, "Init reply result 0, revision 10"},
      {wire::open_reply(0x02),
       "OpenChannel reply result 0, socket 02, 4102 towards the device, 4102 from it, credit 1"},
      {wire::close_reply(3, 0x02), "CloseChannel reply result 3, socket 02"},
      {wire::credit_reply(7, 0x02), "Credit reply result 7, socket 02"},
      {wire::request_reply(0, 0x02, 9), "CreditRequest reply result 0, socket 02, 9"},
      {wire::exit_reply, "Exit reply result 0"},
      {d4::get_socket_id_reply(0, 7), "GetSocketID reply result 0, socket 07"},
      {d4::get_service_name_reply(0, 7, "A"), "GetServiceName reply result 0, \"A\""},
      {host::data(0x50, "hi", 3), "data socket 50, credit 3, end of message: \"hi\""},
      {host::data(0x02, "hi", 0, 0), "data socket 02: \"hi\""},
      {{0, 0, 0, 7, 1, 0, 6}, "unknown command 06"},
      {{0, 0, 0, 7, 1, 0, 0}, "Init (wrong length)"},
      {{0, 0, 0, 6, 1, 0}, "a control packet without a command"},
      {{0, 0}, "less than a header"},
  };
  for (const auto& [packet, words] : cases) {
    EXPECT_EQ(words, d4::meaning(packet));
  }
}

}  // namespace
