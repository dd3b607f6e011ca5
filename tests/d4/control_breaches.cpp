// Control packets of every command and every length, awaited or not.

#include <gmock/gmock.h>

#include <set>

#include "tests/d4/control_forms.h"

namespace d4_test {
namespace {

using test::run_virtual_parallel;

const std::set<unsigned> kReplies = {0x80, 0x81, 0x82, 0x83, 0x84, 0x88, 0x89, 0x8A, 0xC5};

// A packet of this command with a length that it may have.
Bytes good_packet(std::uint8_t command) {
  switch (command) {
    case 0x00:
      return init();
    case 0x01:
      return open_channel(0x02, 512, 512);
    case 0x02:
      return close_channel(0x50);
    case 0x03:
      return credit(0x02, 2);
    case 0x04:
      return credit_request(0x02, 2);
    case 0x08:
      return exit_link();
    case 0x09:
      return get_socket_id("PRINT");
    case 0x0A:
      return get_service_name(0x02);
    case 0x51:
      return entry_string();
    case 0x7F:
      return error_packet(0x80);
    case 0x80:
      return init_reply();
    case 0x81:
      return open_channel_reply(0x02, 512, 512, 1);
    case 0x82:
      return close_channel_reply(0x02);
    case 0x83:
      return credit_reply(0x02);
    case 0x84:
      return credit_request_reply(0x02, 3);
    case 0x88:
      return exit_reply();
    case 0x89:
      return get_socket_id_reply(0x02);
    case 0x8A:
      return get_service_name_reply("PRINT");
    case 0xC5:
      return entry_reply();
    default:
      return control_packet(command, {});
  }
}

// What the engine writes to that, if anything.
Bytes answer_to(std::uint8_t command) {
  switch (command) {
    case 0x02:
      return close_channel_reply(0x50, 8);
    case 0x03:
      return credit_reply(0x02);
    case 0x04:
      return credit_request_reply(0x02, 2);
    case 0x08:
      return exit_reply();
    default:
      return {};
  }
}

// At which result reading ends; 0 if it goes on.
std::int32_t end_by(std::uint8_t command, std::uint8_t awaited) {
  if (command == 0x08) return -53;
  if (!answer_to(command).empty()) return 0;
  if (command == 0x7F) return -51;
  if (command < 0x80) return -80;
  if (awaited == 0) return -82;
  if (kReplies.count(command) == 0) return -87;
  return command == awaited ? 0 : -82;
}

TEST(ControlBreaches, EveryCommandByteWithoutARequest) {
  run_virtual_parallel([] {
    for (const std::uint8_t command : every_byte()) {
      OpenLink up;
      up.channel(0x02).credit_given(0x02);
      if (!answer_to(command).empty()) up.port.expect(answer_to(command));
      up.port.say(good_packet(command));
      const Called query = size_query(up.link, 0x02);
      EXPECT_EQ(end_by(command, 0), query.result) << "command " << int{command};
      EXPECT_EQ(0u, query.ms);
      EXPECT_EQ(end_by(command, 0), up.status());
    }
  });
}

TEST(ControlBreaches, EveryCommandByteWhileAReplyIsAwaited) {
  run_virtual_parallel([] {
    for (const std::uint8_t command : every_byte()) {
      OpenLink up;
      up.channel(0x02);
      auto request = up.port.expect(credit_request(0x02)).answer(good_packet(command));
      // Behind an Exit nothing is read, not even the rest of what the fetch brought a part of.
      if (command != 0x08) request.answer(credit_request_reply(0x02, 9));
      if (!answer_to(command).empty()) up.port.expect(answer_to(command));
      const std::int32_t end = end_by(command, 0x84);
      const Called called = timed([&] { return XdltSendCreditRequest(*up.link, 0x02); });
      EXPECT_EQ(end != 0          ? end
                : command == 0x84 ? 3
                                  : 9,
                called.result)
          << "command " << int{command};
      EXPECT_EQ(0u, called.ms);
      EXPECT_EQ(0, up.awaited());
    }
  });
}

TEST(ControlBreaches, EveryKnownReplyIsTakenByItsOwnRequestOnly) {
  run_virtual_parallel([] {
    for (const unsigned awaited : {0x80u, 0x82u, 0x88u, 0x89u}) {
      for (const unsigned came : kReplies) {
        OpenLink up;
        const std::uint8_t command = static_cast<std::uint8_t>(awaited & 0x7F);
        up.port.expect(good_packet(command)).answer(good_packet(static_cast<std::uint8_t>(came)));
        vlp::ControlPacket reply;
        const std::int32_t status =
            Transact(*up.link, vlp::ControlPacket(vlp::Bytes(good_packet(command))), &reply);
        EXPECT_EQ(awaited == came ? 0 : -82, status) << awaited << " and " << came;
        EXPECT_EQ(awaited == came ? came : 0, reply.Command());
      }
    }
  });
}

// --- Lengths ---

// The packet with this length field and as many bytes as it says, but at least a whole header and
// at most 70 bytes.
Bytes of_length(const Bytes& packet, std::uint32_t length) {
  Bytes bytes = packet;
  bytes.resize(std::min<std::size_t>(std::max(length, 7u), 70));
  return with_length(bytes, static_cast<std::uint16_t>(length));
}

std::vector<std::uint32_t> lengths() {
  std::vector<std::uint32_t> all;
  for (std::uint32_t length = 0; length <= 70; ++length) all.push_back(length);
  // Right in the low byte alone, and the longest.
  for (const std::uint32_t length : {0x010Au, 0x010Cu, 0xFF0Cu, 65535u}) all.push_back(length);
  return all;
}

TEST(ControlBreaches, EveryLengthOfACommand) {
  run_virtual_parallel([] {
    for (const std::uint32_t length : lengths()) {
      OpenLink up;
      up.channel(0x02).credit_given(0x02);
      if (length == 10) up.port.expect(close_channel_reply(0x50, 8));
      up.port.say(of_length(close_channel(0x50), length));
      const Called query = size_query(up.link, 0x02);
      EXPECT_EQ(length == 10 ? 0 : -80, query.result) << length;
      EXPECT_EQ(0u, query.ms);
    }
  });
}

TEST(ControlBreaches, EveryLengthOfAnAwaitedReply) {
  run_virtual_parallel([] {
    for (const std::uint32_t length : lengths()) {
      OpenLink up;
      up.port.expect(credit_request(0x02)).answer(of_length(credit_request_reply(0x02, 7), length));
      const Called called = timed([&] { return XdltSendCreditRequest(*up.link, 0x02); });
      EXPECT_EQ(length == 12 ? 7 : -80, called.result) << length;
      EXPECT_EQ(0u, called.ms);
      EXPECT_EQ(0, up.awaited());
    }
  });
}

TEST(ControlBreaches, EveryLengthOfAnAwaitedReplyThatMayBeLonger) {
  run_virtual_parallel([] {
    for (const std::uint32_t length : lengths()) {
      OpenLink up;
      up.port.expect(get_service_name(0x02))
          .answer(of_length(get_service_name_reply(std::string(61, 'n')), length));
      Bytes name(64);
      const std::int32_t copied = XdltSendGetServiceName(*up.link, 0x02, name.data(), 64);
      if (length < 9 || length > 64) {
        EXPECT_EQ(-80, copied) << length;
      } else {
        EXPECT_EQ(static_cast<std::int32_t>(length) - 9, copied);
      }
    }
  });
}

TEST(ControlBreaches, EveryLengthOfACommandThatIsNotKnown) {
  run_virtual_parallel([] {
    for (const std::uint32_t length : lengths()) {
      OpenLink up;
      up.port.expect(credit_request(0x02)).answer(of_length(control_packet(0x85, {}), length));
      EXPECT_EQ(length < 7 || length > 64 ? -80 : -87, XdltSendCreditRequest(*up.link, 0x02))
          << length;
    }
  });
}

// What lies beyond the limits isn't even read.
TEST(ControlBreaches, ALengthOutOfRangeIsFoundInTheHeader) {
  run_virtual_parallel([] {
    for (const unsigned length : {0u, 6u, 65u, 256u, 65535u}) {
      OpenLink up;
      up.channel(0x02).credit_given(0x02);
      up.port.say(with_length(joined({credit_reply(0x02), filled(60)}),
                              static_cast<std::uint16_t>(length)));
      EXPECT_EQ(-80, size_query(up.link, 0x02).result) << length;
      EXPECT_EQ(64u, up.port.unread());
    }
  });
}

TEST(ControlBreaches, AnOpenChannelReplyOneByteShortIsMalformedThoughAwaited) {
  run_virtual_parallel([] {
    OpenLink up;
    up.port.expect(open_channel(0x50, 65535, 65535))
        .answer(with_length(cut(open_channel_reply(0x50, 512, 512, 1), 15), 15));
    up.port.expect(error_packet(0x80));
    const Called called = open_channel_on(up.link, 0x50);
    EXPECT_EQ(-80, called.result);
    EXPECT_LE(called.ms, 100u) << "the read thread may sleep once more before it ends";
    EXPECT_EQ(-22, open_channel_on(up.link, 0x50).result);
  });
}

TEST(ControlBreaches, EachIsToldToTheDeviceByItsCode) {
  struct Case {
    Bytes came;
    std::int32_t result;
  };
  const Case cases[] = {{init(), -80},
                        {data(0x77, text("abc")), -84},
                        {data(0x02, text("abc")), -81},
                        {credit_reply(0x02), -82},
                        {open_channel_reply(0x50, 512, 512, 1, 99), -85},
                        {control_packet(0x86, {}), -87}};
  run_virtual_parallel([&] {
    for (const Case& one : cases) {
      OpenLink up;
      up.channel(0x02);
      up.port.expect(open_channel(0x50, 65535, 65535)).answer(one.came);
      up.port.expect(error_packet(static_cast<std::uint8_t>(48 - one.result)));
      EXPECT_EQ(one.result, open_channel_on(up.link, 0x50).result);
    }
  });
}

TEST(ControlBreaches, AnErrorPacketOfTheDeviceIsNotAnswered) {
  run_virtual_parallel([] {
    for (const std::uint8_t code : every_byte()) {
      OpenLink up;
      up.port.expect(open_channel(0x50, 65535, 65535)).answer(error_packet(code));
      EXPECT_EQ(-51, open_channel_on(up.link, 0x50).result) << int{code};
      EXPECT_EQ(-22, open_channel_on(up.link, 0x50).result);
    }
  });
}

}  // namespace
}  // namespace d4_test
