// What each reply's result byte means, and what is taken out of a good reply.

#include <gmock/gmock.h>

#include <functional>
#include <map>

#include "tests/d4/control_forms.h"

namespace d4_test {
namespace {

using test::run_virtual_parallel;
using ::testing::Each;

constexpr std::int32_t kUnknown = -85;

// The result byte's meaning: a negated byte, or kUnknown for what isn't listed.
using Meanings = std::map<unsigned, std::int32_t>;

std::int32_t meaning(const Meanings& known, std::uint8_t result) {
  const auto found = known.find(result);
  return found == known.end() ? kUnknown : found->second;
}

// Every result byte in turn on one link, which none of them may harm.
void expect_meanings(const Meanings& known, const Bytes& request,
                     const std::function<Bytes(std::uint8_t)>& reply,
                     const std::function<std::int32_t(OpenLink&)>& call) {
  run_virtual_parallel([&] {
    OpenLink up;
    up.channel(0x02);
    for (const std::uint8_t result : every_byte()) {
      up.port.expect(request).answer(reply(result));
      const Called called = timed([&] { return call(up); });
      EXPECT_EQ(meaning(known, result), called.result) << "result byte " << int{result};
      EXPECT_EQ(0u, called.ms);
      EXPECT_EQ(0, up.awaited());
      EXPECT_EQ(0, up.status());
    }
    EXPECT_EQ(1u, up.link->state.load());
  });
}

TEST(ControlResults, OfInit) {
  expect_meanings(
      {{0, 0}, {1, -1}, {2, -2}, {11, -11}}, init(),
      [](std::uint8_t result) { return init_reply(result); },
      [](OpenLink& up) { return XdltSendInit(*up.link); });
}

TEST(ControlResults, OfOpenChannel) {
  expect_meanings(
      {{0, 9}, {6, 9}, {4, -4}, {5, -5}, {9, -9}, {12, -12}, {13, -13}},
      open_channel(0x50, 1000, 2000),
      [](std::uint8_t result) { return open_channel_reply(0x50, 900, 1900, 9, result); },
      [](OpenLink& up) {
        std::uint16_t write = 1000;
        std::uint16_t read = 2000;
        const std::int32_t result = XdltSendOpenChannel(*up.link, 0x50, &write, &read);
        EXPECT_EQ(result == 9 ? 900 : 1000, write);
        EXPECT_EQ(result == 9 ? 1900 : 2000, read);
        return result;
      });
}

TEST(ControlResults, OfCloseChannel) {
  expect_meanings(
      {{0, 0}, {3, -3}, {8, -8}}, close_channel(0x02),
      [](std::uint8_t result) { return close_channel_reply(0x02, result); },
      [](OpenLink& up) { return XdltSendCloseChannel(*up.link, 0x02); });
}

TEST(ControlResults, OfCreditWhichIsGivenWhateverTheAnswer) {
  expect_meanings(
      {{0, 0}, {7, -7}, {8, -8}}, credit(0x02),
      [](std::uint8_t result) { return credit_reply(0x02, result); },
      [](OpenLink& up) {
        const std::int32_t before = up.given(0x02);
        const std::int32_t result = XdltSendCredit(*up.link, *up.record(0x02));
        EXPECT_EQ(before + 1, up.given(0x02));
        return result;
      });
}

TEST(ControlResults, OfCreditRequest) {
  expect_meanings(
      {{0, 0x1234}, {8, -8}}, credit_request(0x02),
      [](std::uint8_t result) { return credit_request_reply(0x02, 0x1234, result); },
      [](OpenLink& up) { return XdltSendCreditRequest(*up.link, 0x02); });
}

TEST(ControlResults, OfGetSocketId) {
  expect_meanings(
      {{0, 0}, {10, -10}}, get_socket_id("PRINT"),
      [](std::uint8_t result) { return get_socket_id_reply(0x50, result); },
      [](OpenLink& up) {
        std::uint8_t socket = 0xA5;
        const std::int32_t result = XdltSendGetSocketId(*up.link, "PRINT", 5, &socket);
        EXPECT_EQ(result == 0 ? 0x50 : 0xA5, socket);
        return result;
      });
}

TEST(ControlResults, OfGetServiceName) {
  expect_meanings(
      {{0, 5}, {9, -9}}, get_service_name(0x50),
      [](std::uint8_t result) { return get_service_name_reply("PRINT", result); },
      [](OpenLink& up) {
        std::uint8_t name[5] = {0xA5, 0xA5, 0xA5, 0xA5, 0xA5};
        const std::int32_t result = XdltSendGetServiceName(*up.link, 0x50, name, 5);
        if (result != 5) {
          EXPECT_THAT(name, Each(0xA5));
        }
        return result;
      });
}

TEST(ControlResults, OfExitAreAllTheSame) {
  run_virtual_parallel([] {
    OpenLink up;
    for (const std::uint8_t result : every_byte()) {
      up.port.expect(exit_link()).answer(exit_reply(result));
      EXPECT_EQ(0, XdltSendExit(*up.link)) << int{result};
    }
  });
}

// --- Seen from outside: a refusal leaves the link as it is, an unknown result ends it ---

TEST(ControlResults, OfOpenChannelDecideOnTheLink) {
  const Meanings known = {{0, 0}, {6, 0}, {4, -4}, {5, -5}, {9, -9}, {12, -12}, {13, -13}};
  run_virtual_parallel([&] {
    for (const std::uint8_t result : every_byte()) {
      OpenLink up;
      const std::int32_t expected = meaning(known, result);
      up.port.expect(open_channel(0x50, 65535, 65535))
          .answer(open_channel_reply(0x50, 512, 512, 1, result));
      if (expected == kUnknown) up.port.expect(error_packet(0x85));
      EXPECT_EQ(expected, open_channel_on(up.link, 0x50).result) << int{result};
      if (expected == kUnknown) {
        EXPECT_EQ(-22, open_channel_on(up.link, 0x50).result) << int{result};
      } else {
        EXPECT_EQ(expected == 0 ? 512 : 0, packet_sizes(up.link, 0x50).writePacketSize);
        EXPECT_EQ(1u, up.link->state.load());
      }
    }
  });
}

TEST(ControlResults, OfCloseChannelDecideOnTheLink) {
  const Meanings known = {{0, 0}, {3, -3}, {8, -8}};
  run_virtual_parallel([&] {
    for (const std::uint8_t result : every_byte()) {
      OpenLink up;
      up.channel(0x02);
      const std::int32_t expected = meaning(known, result);
      up.port.expect(close_channel(0x02)).answer(close_channel_reply(0x02, result));
      if (expected == kUnknown) up.port.expect(error_packet(0x85));
      EXPECT_EQ(expected, close_channel_on(up.link, 0x02).result) << int{result};
      EXPECT_EQ(expected == kUnknown ? -22 : -24, close_channel_on(up.link, 0x02).result);
      if (expected != kUnknown) up.channel(0x02);
    }
  });
}

TEST(ControlResults, OfCreditRequestDecideOnTheWrite) {
  run_virtual_parallel([] {
    for (const auto& [result, expected] : Meanings{{0, 3}, {8, -8}, {7, -85}, {255, -85}}) {
      OpenLink up;
      up.channel(0x02, {.credit = 0});
      up.port.expect(credit_request(0x02))
          .answer(credit_request_reply(0x02, 5, static_cast<std::uint8_t>(result)));
      if (expected > 0) up.port.expect(data(0x02, text("abc")));
      const Called written = write(up.link, 0x02, text("abc"));
      EXPECT_EQ(expected, written.result) << result;
      EXPECT_EQ(expected > 0 ? 3u : 0u, written.count);
      EXPECT_EQ(expected > 0 ? 4 : 0, up.held(0x02));
      // A write ends no link, whatever it learns.
      EXPECT_EQ(1u, up.link->state.load());
    }
  });
}

// --- Fields ---

TEST(ControlFields, AGrantOfNothingIsNoFailure) {
  run_virtual_parallel([] {
    OpenLink up;
    up.port.grants(0x02, 0);
    EXPECT_EQ(0, XdltSendCreditRequest(*up.link, 0x02));
    up.port.grants(0x02, 0xFFFF);
    EXPECT_EQ(0xFFFF, XdltSendCreditRequest(*up.link, 0x02));
  });
}

TEST(ControlFields, AReplyIsKnownByItsCommandAlone) {
  run_virtual_parallel([] {
    OpenLink up;
    up.channel(0x02).channel(0x50);
    up.port.expect(credit_request(0x02)).answer(credit_request_reply(0x77, 6));
    EXPECT_EQ(6, XdltSendCreditRequest(*up.link, 0x02));
    up.port.expect(close_channel(0x50)).answer(close_channel_reply(0x02));
    EXPECT_EQ(0, close_channel_on(up.link, 0x50).result);
    EXPECT_EQ(-24, close_channel_on(up.link, 0x50).result);
    EXPECT_EQ(512, packet_sizes(up.link, 0x02).writePacketSize);
  });
}

TEST(ControlFields, TheCreditInAControlPacketsHeaderMeansNothing) {
  run_virtual_parallel([] {
    OpenLink up;
    up.channel(0x02, {.credit = 2}).credit_given(0x02);
    for (const std::uint8_t credit_byte : every_byte()) {
      up.port.expect(credit_request(0x02))
          .answer(with_byte(credit_request_reply(0x02, 9), 4, credit_byte));
      EXPECT_EQ(9, XdltSendCreditRequest(*up.link, 0x02)) << int{credit_byte};
    }
    test::settle();
    up.port.expect(credit_reply(0x02));
    up.port.say(with_byte(credit(0x02, 3), 4, 0xFF));
    EXPECT_EQ(0, size_query(up.link, 0x02).result);
    EXPECT_EQ(5, up.held(0x02));
    EXPECT_EQ(1, up.given(0x02));
  });
}

TEST(ControlFields, TheControlByteOfAControlPacketMeansNothing) {
  run_virtual_parallel([] {
    OpenLink up;
    up.port.expect(credit_request(0x02)).answer(with_byte(credit_request_reply(0x02, 9), 5, 0xFF));
    EXPECT_EQ(9, XdltSendCreditRequest(*up.link, 0x02));
  });
}

TEST(ControlFields, SizesOfAnOpenedChannelAreOnlyLowered) {
  struct Case {
    std::uint16_t write;
    std::uint16_t read;
    std::uint16_t write_taken;
    std::uint16_t read_taken;
  };
  const Case cases[] = {{999, 1999, 999, 1999}, {1000, 2000, 1000, 2000}, {1001, 2001, 1000, 2000},
                        {65535, 0, 1000, 0},    {0, 65535, 0, 2000},      {1001, 1999, 1000, 1999}};
  run_virtual_parallel([&] {
    OpenLink up;
    for (const Case& one : cases) {
      up.port.expect(open_channel(0x50, 1000, 2000))
          .answer(open_channel_reply(0x50, one.write, one.read, 0xFFFF));
      std::uint16_t write = 1000;
      std::uint16_t read = 2000;
      EXPECT_EQ(0xFFFF, XdltSendOpenChannel(*up.link, 0x50, &write, &read));
      EXPECT_EQ(one.write_taken, write);
      EXPECT_EQ(one.read_taken, read);
    }
  });
}

TEST(ControlFields, AServiceNameIsCopiedAsFarAsItGoes) {
  struct Case {
    std::size_t name;
    std::uint32_t capacity;
    std::int32_t copied;
  };
  const Case cases[] = {{0, 10, 0}, {5, 10, 5}, {5, 5, 5}, {5, 4, 4}, {5, 0, 0}, {55, 64, 55}};
  run_virtual_parallel([&] {
    OpenLink up;
    for (const Case& one : cases) {
      const std::string name(one.name, 'n');
      up.port.expect(get_service_name(0x50)).answer(get_service_name_reply(name, 0, 0x77));
      Bytes buffer(one.capacity + std::size_t{1}, 0xA5);
      EXPECT_EQ(one.copied, XdltSendGetServiceName(*up.link, 0x50, buffer.data(), one.capacity));
      Bytes expected(buffer.size(), 0xA5);
      std::fill_n(expected.begin(), one.copied, std::uint8_t{'n'});
      EXPECT_EQ(expected, buffer) << one.name << " into " << one.capacity;
    }
  });
}

TEST(ControlFields, ASocketIsAskedForByNamesThatFitAPacket) {
  run_virtual_parallel([] {
    OpenLink up;
    const std::string longest(57, 'n');
    for (const std::string& name : {std::string(), std::string("P"), longest}) {
      up.port.expect(get_socket_id(name)).answer(get_socket_id_reply(0x50));
      std::uint8_t socket = 0;
      EXPECT_EQ(0, XdltSendGetSocketId(*up.link, name.data(),
                                       static_cast<std::uint32_t>(name.size()), &socket));
      EXPECT_EQ(0x50, socket);
    }
    EXPECT_EQ(hex("00 00 00 40 01 00 09"), cut(up.port.last_write(), 7));
  });
}

TEST(ControlFields, BadArgumentsAreRefusedWithoutAWrite) {
  run_virtual_parallel([] {
    OpenLink up;
    const std::string longer(58, 'n');
    std::uint8_t socket = 0xA5;
    EXPECT_EQ(-20, XdltSendGetSocketId(*up.link, longer.data(), 58, &socket));
    EXPECT_EQ(-20, XdltSendGetSocketId(*up.link, longer.data(), 0xFFFFFFFF, &socket));
    EXPECT_EQ(-20, XdltSendGetSocketId(*up.link, nullptr, 5, &socket));
    EXPECT_EQ(-20, XdltSendGetSocketId(*up.link, "PRINT", 5, nullptr));
    EXPECT_EQ(-20, XdltSendGetServiceName(*up.link, 0x50, nullptr, 5));
    EXPECT_EQ(0xA5, socket);
  });
}

}  // namespace
}  // namespace d4_test
