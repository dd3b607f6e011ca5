// What the read thread takes as a packet, byte by byte, and what it makes of the rest.

#include <gmock/gmock.h>

#include <set>

#include "tests/d4/data_link.h"

namespace d4_test {
namespace {

using test::run_virtual_parallel;
using test::run_virtual_schedules;
using ::testing::ElementsAre;

constexpr std::uint8_t kEntryCommand = 0x51;  // the entry string read as a packet

// Least length of a command, and whether it may be longer.
struct Length {
  std::uint32_t least;
  bool or_more;
};

Length length_of(unsigned command) {
  switch (command) {
    case 0x00:
    case 0x0A:
    case 0x88:
    case 0xC5:
      return {8, false};
    case 0x01:
      return {17, false};
    case 0x02:
    case 0x7F:
    case 0x82:
    case 0x83:
      return {10, false};
    case 0x03:
      return {11, false};
    case 0x04:
      return {13, false};
    case 0x08:
      return {7, false};
    case 0x09:
      return {7, true};
    case 0x80:
      return {9, false};
    case 0x81:
      return {16, false};
    case 0x84:
      return {12, false};
    case 0x89:
    case 0x8A:
      return {9, true};
    case kEntryCommand:
      return {27, false};
    default:
      return {6, true};
  }
}

TEST(ReadThreadWire, EachReplyIsOneRead) {
  run_virtual_schedules(5, [] {
    DataLink d(0x02, {.credit = 0});
    d.port.takes_credit(0x02);
    d.query();
    test::settle();
    d.port.grants(0x02, 1);
    d.port.expect(data(0x02, text("x")));
    d.write(text("x"));
    test::settle();
    d.close();
    std::vector<std::uint32_t> asked;
    for (const Transfer& read : d.port.reads()) {
      if (read.moved == 0) continue;
      EXPECT_EQ(read.asked, read.moved);
      asked.push_back(read.asked);
    }
    EXPECT_THAT(asked, ElementsAre(8, 9, 16, 10, 12, 10, 8));
  });
}

// --- Packets against each rule -----------------------------------------------------------------

Bytes zeros(std::size_t count) { return Bytes(count); }

// A control packet of this command with this length.
Bytes of_length(unsigned command, std::uint32_t length) {
  return control_packet(static_cast<std::uint8_t>(command), zeros(length - 7));
}

// While the reply to a CreditRequest is awaited, the device says this.
std::int32_t said_while_awaited(const Bytes& bytes) {
  std::int32_t result = 0;
  run_virtual_parallel([&] {
    DataLink d(0x02, {.credit = 0});
    d.port.expect(credit_request(0x02)).answer(bytes);
    const Called written = d.write(text("x"));
    EXPECT_EQ(0u, written.ms);
    EXPECT_EQ(0, d.link->awaitedReply.load());
    result = written.result;
  });
  return result;
}

// While only data is awaited, the device says this.
std::int32_t said_meanwhile(const Bytes& bytes) {
  std::int32_t result = 0;
  run_virtual_parallel([&] {
    DataLink d;
    d.let_device_send(1);
    d.port.say(bytes);
    const Called asked = d.query();
    EXPECT_EQ(0u, asked.ms);
    EXPECT_EQ(0, d.link->waitSocket.load());
    result = asked.result;
  });
  return result;
}

TEST(ReadThreadWire, LengthsThatNoControlPacketHasLoseTheLink) {
  for (const int length : {0, 1, 3, 5, 6, 65, 66, 255, 256, 0x0107, 0x0A00, 0xFFFF}) {
    SCOPED_TRACE(length);
    const Bytes packet =
        with_length(credit_request_reply(0x02, 1), static_cast<std::uint16_t>(length));
    EXPECT_EQ(vlp::XDLT_ERR_MALFORMED, said_while_awaited(packet));
    EXPECT_EQ(vlp::XDLT_ERR_MALFORMED, said_meanwhile(packet));
  }
}

TEST(ReadThreadWire, SocketBytesThatDifferLoseTheLink) {
  EXPECT_EQ(vlp::XDLT_ERR_MALFORMED,
            said_while_awaited(hex("00 01 00 0C 01 00 84 00 02 02 00 01")));
  EXPECT_EQ(vlp::XDLT_ERR_MALFORMED,
            said_while_awaited(hex("02 00 00 0C 01 00 84 00 02 02 00 01")));
  EXPECT_EQ(vlp::XDLT_ERR_MALFORMED, said_meanwhile(hex("02 03 00 07 00 01 61")));
}

TEST(ReadThreadWire, WrongLengthForItsCommandLosesTheLink) {
  for (unsigned command = 0; command < 256; ++command) {
    const Length right = length_of(command);
    std::vector<std::uint32_t> wrong;
    if (right.least > 7) wrong.push_back(right.least - 1);
    if (!right.or_more) wrong.push_back(right.least + 1);
    for (const std::uint32_t length : wrong) {
      SCOPED_TRACE(std::to_string(command) + " with " + std::to_string(length));
      EXPECT_EQ(vlp::XDLT_ERR_MALFORMED, said_while_awaited(of_length(command, length)));
    }
  }
}

TEST(ReadThreadWire, CommandsThatTheDeviceMayNotSendLoseTheLink) {
  for (unsigned command = 0; command < 0x7F; ++command) {
    if (std::set<unsigned>{0x02, 0x03, 0x04, 0x08}.contains(command)) continue;
    SCOPED_TRACE(command);
    const Bytes packet = of_length(command, std::max(length_of(command).least, 7u));
    EXPECT_EQ(vlp::XDLT_ERR_MALFORMED, said_while_awaited(packet));
    EXPECT_EQ(vlp::XDLT_ERR_MALFORMED, said_meanwhile(packet));
  }
}

TEST(ReadThreadWire, ErrorPacketOfTheDeviceLosesTheLink) {
  EXPECT_EQ(vlp::XDLT_ERR_PEER_ERROR, said_while_awaited(error_packet(0x80)));
  EXPECT_EQ(vlp::XDLT_ERR_PEER_ERROR, said_meanwhile(error_packet(0x87)));
}

TEST(ReadThreadWire, AnotherReplyThanTheAwaitedOneLosesTheLink) {
  for (const unsigned reply : {0x80u, 0x81u, 0x82u, 0x83u, 0x88u, 0x89u, 0x8Au, 0xC5u}) {
    SCOPED_TRACE(reply);
    EXPECT_EQ(vlp::XDLT_ERR_UNEXPECTED_REPLY,
              said_while_awaited(of_length(reply, length_of(reply).least)));
  }
}

TEST(ReadThreadWire, RepliesThatDoNotExistLoseTheLink) {
  for (unsigned reply = 0x85; reply < 0x100; ++reply) {
    if (std::set<unsigned>{0x88, 0x89, 0x8A, 0xC5}.contains(reply)) continue;
    SCOPED_TRACE(reply);
    EXPECT_EQ(vlp::XDLT_ERR_BAD_COMMAND, said_while_awaited(of_length(reply, 7)));
  }
}

TEST(ReadThreadWire, AnyReplyThatNobodyAwaitsLosesTheLink) {
  for (unsigned reply = 0x80; reply < 0x100; ++reply) {
    SCOPED_TRACE(reply);
    EXPECT_EQ(vlp::XDLT_ERR_UNEXPECTED_REPLY,
              said_meanwhile(of_length(reply, std::max(length_of(reply).least, 7u))));
  }
}

// Only the socket bytes, the length and what the command needs are looked at.
TEST(ReadThreadWire, CreditAndControlOfAControlPacketSayNothing) {
  run_virtual_parallel([] {
    DataLink d(0x02, {.credit = 0});
    const Bytes odd = hex("00 00 00 0C FF FF 84 00 02 02 00 01");
    d.port.expect(credit_request(0x02)).answer(odd);
    d.port.expect(data(0x02, text("x")));
    EXPECT_EQ(1, d.write(text("x")).result);
    EXPECT_EQ(0, d.held());
    d.close();
  });
}

TEST(ReadThreadWire, ValidPacketBehindABrokenOneIsNeverRead) {
  run_virtual_schedules(5, [] {
    DataLink d(0x02, {.credit = 0});
    d.port.expect(credit_request(0x02))
        .answer(control_packet(0x05, {}))
        .answer(credit_request_reply(0x02, 1));
    d.port.reads_span_answers(false);
    EXPECT_EQ(vlp::XDLT_ERR_MALFORMED, d.write(text("x")).result);
    const std::size_t reads = d.port.read_count();
    const std::size_t unread = d.port.unread();
    EXPECT_LE(7u, unread);  // but for what the first fetch had taken along
    for (int i = 0; i < 2; ++i) {
      d.port.expect(credit_request(0x02)).answer(credit_request_reply(0x02, 1));
      const Called again = d.write(text("x"));
      EXPECT_EQ(vlp::XDLT_ERR_MALFORMED, again.result);
      EXPECT_EQ(11'000u, again.ms);
    }
    EXPECT_EQ(reads, d.port.read_count());
    EXPECT_EQ(unread + 24, d.port.unread());
  });
}

}  // namespace
}  // namespace d4_test
