// Devices that are pulled out, break or go quiet in the middle: at every byte of a
// conversation, and with every write taken in part.

#include <gmock/gmock.h>

#include <set>

#include "tests/d4/engine_fixture.h"
#include "tests/d4/lying_port.h"

namespace d4_test {
namespace {

using test::elapsed_ms;
using test::run_virtual_parallel;
using test::run_virtual_serial;
using ::testing::ElementsAre;

// Bytes of the whole conversation.
std::uint64_t conversation_bytes() {
  std::uint64_t bytes = 0;
  run_virtual_parallel([&] {
    ScriptedPort port;
    Engine engine;
    script_conversation(port);
    EXPECT_THAT(converse(port.handle(), port.ops()).results(), ElementsAre(0, 0, 7, 6, 6, 0, 0));
    for (const Transfer& write : port.writes()) bytes += write.moved;
    for (const Transfer& read : port.reads()) bytes += read.moved;
  });
  return bytes;
}

// What a transfer that doesn't come about may lead to, here and in the calls behind it.
const std::set<std::int32_t> kEndings = {
    vlp::XDLT_ERR_NOLINK,      vlp::XDLT_ERR_NOCHANNEL,  vlp::XDLT_ERR_PORT_WRITE,
    vlp::XDLT_ERR_ENTRY_WRITE, vlp::XDLT_ERR_LINK_DOWN,  vlp::XDLT_ERR_REPLY_TIMEOUT,
    vlp::XDLT_ERR_SHORT_WRITE, vlp::XDLT_ERR_SHORT_READ, vlp::XDLT_ERR_MALFORMED};

// The conversation's end at this byte. Exit is the last thing said, and what becomes of it is
// nobody's business.
void ended_at(std::uint64_t byte, std::uint64_t total, Ending ending) {
  ScriptedPort port;
  LyingPort lying(port);
  Engine engine;
  script_conversation(port);
  port.ignores_the_rest();
  lying.end_after(byte, ending);
  const Conversation all = converse(lying.handle(), lying.ops());
  bool failed = false;
  for (const std::int32_t result : all.results()) {
    failed = failed || result < 0;
    EXPECT_TRUE(result >= 0 || kEndings.contains(result)) << result;
  }
  constexpr std::uint64_t kExit = 7 + 8;
  const std::uint64_t needed = total - kExit;
  EXPECT_FALSE(failed && byte >= needed);
  // The answer may be there although the channel isn't closed well any more.
  const std::uint64_t heard = needed - 2 * 10;
  const bool answered = all.answer == text("answer");
  EXPECT_EQ(byte >= heard, answered);
  EXPECT_TRUE(failed || byte >= needed);
  EXPECT_EQ(0, all.closed == vlp::XDLT_ERR_NOLINK ? 0 : all.closed);
  // Each of the seven calls waits for two things at most.
  EXPECT_GE(14 * 11'200u, elapsed_ms());
  port.forgive();
}

void ended_at_every_byte(Ending ending) {
  const std::uint64_t total = conversation_bytes();
  ASSERT_EQ(27u + 8 + 8 + 9 + 17 + 16 + 13 + 11 + 10 + 12 + 10 + 10 + 7 + 8, total);
  for (std::uint64_t byte = 0; byte <= total && !::testing::Test::HasFailure(); ++byte) {
    SCOPED_TRACE("behind byte " + std::to_string(byte));
    run_virtual_parallel([&] { ended_at(byte, total, ending); });
    run_virtual_serial(byte, [&] { ended_at(byte, total, ending); });
  }
}

TEST(HostileDevice, RemovedAtEveryByte) { ended_at_every_byte(Ending::fails); }

TEST(HostileDevice, RemovedAtEveryByteWithTheLastTransferShort) {
  ended_at_every_byte(Ending::short_);
}

TEST(HostileDevice, SilentFromEveryByteOn) { ended_at_every_byte(Ending::silent); }

// The transfers inside end with the removal, at whatever moment.
TEST(HostileDevice, RemovedWhileAReadIsInside) {
  for (const std::uint32_t at : {1u, 5'000u, 10'999u, 11'001u, 60'000u}) {
    run_virtual_parallel([&] {
      ScriptedPort port;
      Engine engine;
      vlp::XdltLink* const link = opened_link(port);
      opened_channel(port, link, 0x02);
      test::settle();
      port.reads_block();
      port.expect(credit(0x02));
      port.remove(after_ms(at));
      // Nobody is told of a port that fails: the limits end the wait.
      const Called asked = size_query(link, 0x02);
      EXPECT_EQ(0, asked.result);
      EXPECT_GE(22'000u, asked.ms);
      EXPECT_LE(11'000u, asked.ms);
      if (elapsed_ms() < at) test::sleep_ms(at);
      EXPECT_EQ(vlp::XDLT_ERR_PORT_WRITE, close_channel_on(link, 0x02).result);
      EXPECT_EQ(0, close_link(link).result);
      EXPECT_FALSE(vlp::XdltPortIsInUse(port.handle()));
      port.forgive();
    });
  }
}

// --- Writes taken in part ----------------------------------------------------------------------

struct ShortWrite {
  unsigned nth;
  std::vector<std::int32_t> results;
};

TEST(HostileDevice, EveryWriteTakenInPart) {
  const ShortWrite cases[] = {
      {1, {-50, 0, 0, 0, 0, 0, 0}},            // entry string
      {2, {-61, 0, 0, 0, 0, 0, 0}},            // Init
      {3, {0, -61, -22, -22, -22, -22, -22}},  // OpenChannel: the link ends with it
      {4, {0, 0, -61, 6, 6, 0, 0}},            // data: the link is as good as before
      {5, {0, 0, 7, 0, 0, 0, 0}},              // Credit: no answer may come
      {6, {0, 0, 7, 6, 6, -61, -22}},          // CloseChannel
      {7, {0, 0, 7, 6, 6, 0, 0}},              // Exit
  };
  for (const ShortWrite& one : cases) {
    for (const std::uint32_t less : {1u, 6u, 1'000u}) {
      SCOPED_TRACE(std::to_string(one.nth) + " short by " + std::to_string(less));
      run_virtual_parallel([&] {
        ScriptedPort port;
        Engine engine;
        script_conversation(port);
        port.ignores_the_rest();
        port.shorten_write(one.nth, less);
        EXPECT_EQ(one.results, converse(port.handle(), port.ops()).results());
        port.forgive();
      });
    }
  }
}

TEST(HostileDevice, WriteThatTellsOfMoreThanWasGiven) {
  for (const std::uint32_t more : {1u, 1'000u, 0x7FFFFFFFu, 0xFFFFFF00u}) {
    run_virtual_parallel([&] {
      ScriptedPort port;
      LyingPort lying(port);
      Engine engine;
      port.opens();
      vlp::XdltLink* link = nullptr;
      EXPECT_EQ(0, vlp::XDLT_Open(lying.handle(), lying.ops(), &link));
      port.opens_channel(0x02, {.credit = 3});
      EXPECT_EQ(0, vlp::XDLT_OpenChannel(link, 0x02));
      lying.tell_of_writes([&](std::uint32_t asked, std::uint32_t) { return asked + more; });
      port.expect(data(0x02, text("abc")));
      const Called written = write(link, 0x02, text("abc"));
      EXPECT_EQ(vlp::XDLT_ERR_SHORT_WRITE, written.result);
      EXPECT_EQ(0u, written.count);
      port.expect(open_channel(0x40, 4102, 512));
      EXPECT_EQ(vlp::XDLT_ERR_SHORT_WRITE, vlp::XDLT_OpenChannel(link, 0x40));
      EXPECT_EQ(vlp::XDLT_ERR_NOLINK, vlp::XDLT_Close(link));
      // From the first byte on.
      port.expect(entry_string());
      EXPECT_EQ(vlp::XDLT_ERR_ENTRY_WRITE, vlp::XDLT_Open(lying.handle(), lying.ops(), &link));
    });
  }
}

}  // namespace
}  // namespace d4_test
