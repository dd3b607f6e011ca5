// Openings that fail: the result, what is written, and that everything is given back.

#include <gmock/gmock.h>

#include "tests/d4/link_look.h"

namespace d4_test {
namespace {

using test::run_virtual_parallel;
using test::run_virtual_schedules;

struct Failing {
  std::string name;
  std::function<void(ScriptedPort&)> script;
  std::int32_t result;
  std::size_t writes;  // of the engine
};

void enters(ScriptedPort& port) { port.expect(entry_string()).answer(entry_reply()); }

std::vector<Failing> failings() {
  const auto entry = [](const Bytes& answer) {
    return [answer](ScriptedPort& port) { port.expect(entry_string()).answer(answer); };
  };
  const auto initial = [](const Bytes& answer) {
    return [answer](ScriptedPort& port) {
      enters(port);
      port.expect(init()).answer(answer);
    };
  };
  return {
      {"entry write fails", [](ScriptedPort& port) { port.expect(entry_string()).fails(); },
       vlp::XDLT_ERR_ENTRY_WRITE, 1},
      {"entry write is short",
       [](ScriptedPort& port) { port.expect(entry_string()).is_short_by(1); },
       vlp::XDLT_ERR_ENTRY_WRITE, 1},
      {"entry is refused", entry(entry_reply(1)), vlp::XDLT_ERR_ENTRY_REFUSED, 1},
      {"entry is refused with all bits", entry(entry_reply(255)), vlp::XDLT_ERR_ENTRY_REFUSED, 1},
      {"entry is never answered", [](ScriptedPort& port) { port.expect(entry_string()); },
       vlp::XDLT_ERR_REPLY_TIMEOUT, 1},
      {"entry is answered as an Init", entry(init_reply()), vlp::XDLT_ERR_UNEXPECTED_REPLY, 1},
      {"entry is answered by an Error packet", entry(error_packet(0x80)), vlp::XDLT_ERR_PEER_ERROR,
       1},
      {"entry is answered by half a header", entry(hex("00 00 00")), vlp::XDLT_ERR_SHORT_READ, 1},
      {"entry is answered by noise", entry(text("@QPL ENTER")), vlp::XDLT_ERR_MALFORMED, 1},
      {"entry is answered by data", entry(data(0x02, text("abc"))), vlp::XDLT_ERR_UNKNOWN_CHANNEL,
       1},
      {"entry is answered by an unknown reply", entry(control_packet(0x85, {0})),
       vlp::XDLT_ERR_BAD_COMMAND, 1},
      {"Init is never answered",
       [](ScriptedPort& port) {
         enters(port);
         port.expect(init());
       },
       vlp::XDLT_ERR_REPLY_TIMEOUT, 2},
      {"Init write fails",
       [](ScriptedPort& port) {
         enters(port);
         port.expect(init()).fails();
       },
       vlp::XDLT_ERR_PORT_WRITE, 2},
      {"Init write is short",
       [](ScriptedPort& port) {
         enters(port);
         port.expect(init()).is_short_by(3);
       },
       vlp::XDLT_ERR_SHORT_WRITE, 2},
      {"Init is answered by an entry reply", initial(entry_reply()), vlp::XDLT_ERR_UNEXPECTED_REPLY,
       2},
      {"Init is answered by a malformed packet", initial(with_length(init_reply(), 8)),
       vlp::XDLT_ERR_MALFORMED, 2},
      {"Init is answered by an Error packet", initial(error_packet(0x81)), vlp::XDLT_ERR_PEER_ERROR,
       2},
      {"Init's result isn't known", initial(init_reply(3)), vlp::XDLT_ERR_BAD_RESULT, 2},
      {"device leaves during Init",
       [](ScriptedPort& port) {
         enters(port);
         port.expect(init()).answer(exit_link());
         port.expect(exit_reply());
       },
       vlp::XDLT_ERR_LINK_DOWN, 3},
      {"device leaves during the entry",
       [](ScriptedPort& port) {
         port.expect(entry_string()).answer(exit_link());
         port.expect(exit_reply());
       },
       vlp::XDLT_ERR_LINK_DOWN, 2},
  };
}

// The script ends with the last write told: an Error packet behind a breach would be a breach
// of the script.
TEST(LinkOpenFailures, GiveTheirResultAndLeaveNothing) {
  for (const Failing& failing : failings()) {
    SCOPED_TRACE(failing.name);
    run_virtual_schedules(4, [&] {
      ScriptedPort port;
      Engine engine;
      failing.script(port);
      auto* const untouched = reinterpret_cast<vlp::XdltLink*>(0x1234);
      vlp::XdltLink* link = untouched;
      EXPECT_EQ(failing.result, vlp::XDLT_Open(port.handle(), port.ops(), &link));
      EXPECT_EQ(untouched, link);
      EXPECT_EQ(failing.writes, port.write_count());
      EXPECT_FALSE(vlp::XdltPortIsInUse(port.handle()));
      expect_free(record(0));
    });
  }
}

TEST(LinkOpenFailures, SamePortOpensAfterEach) {
  for (const Failing& failing : failings()) {
    SCOPED_TRACE(failing.name);
    run_virtual_parallel([&] {
      ScriptedPort port;
      Engine engine;
      for (int round = 0; round < 3; ++round) {
        failing.script(port);
        EXPECT_EQ(failing.result, open_link(port).result);
        vlp::XdltLink* const link = opened_link(port);
        EXPECT_EQ(&record(0), link);
        closed_link(port, link);
      }
    });
  }
}

TEST(LinkOpenFailures, NoReadThreadIsMadeBeforeTheEntryStringIsOut) {
  run_virtual_parallel([] {
    ScriptedPort port;
    Engine engine;
    port.ops()->skipDummyRead = 1;
    port.expect(entry_string()).fails();
    const Opened opened = open_link(port);
    EXPECT_EQ(vlp::XDLT_ERR_ENTRY_WRITE, opened.result);
    EXPECT_EQ(0u, opened.ms);
    EXPECT_EQ(0u, port.read_count());
  });
}

TEST(LinkOpenFailures, RefusedEntryIsNotFollowedByAnInit) {
  run_virtual_schedules(10, [] {
    ScriptedPort port;
    Engine engine;
    port.reads_wait(kLongReadMs);
    port.ops()->skipDummyRead = 1;
    port.expect(entry_string()).answer(entry_reply(1), after_ms(250));
    const Opened opened = open_link(port);
    EXPECT_EQ(vlp::XDLT_ERR_ENTRY_REFUSED, opened.result);
    EXPECT_GE(opened.ms, 250u);
    EXPECT_LE(opened.ms, 250u + kLongReadMs);
    EXPECT_EQ(entry_string(), port.written());
  });
}

TEST(LinkOpenFailures, EachReplyIsWaitedForElevenSeconds) {
  struct Late {
    std::uint64_t entry_ms;
    std::uint64_t init_ms;
    std::int32_t result;
  };
  for (const Late& late : {Late{10'999, 10'999, 0}, Late{11'001, 0, vlp::XDLT_ERR_REPLY_TIMEOUT},
                           Late{1, 10'999, 0}, Late{1, 11'001, vlp::XDLT_ERR_REPLY_TIMEOUT}}) {
    run_virtual_parallel([&] {
      ScriptedPort port;
      Engine engine;
      port.reads_wait(kLongReadMs);
      port.ops()->skipDummyRead = 1;
      port.expect(entry_string()).answer(entry_reply(), after_ms(late.entry_ms));
      const bool enters = late.entry_ms < 11'000;
      if (enters) port.expect(init()).answer(init_reply(), after_ms(late.init_ms));
      const Opened opened = open_link(port);
      EXPECT_EQ(late.result, opened.result);
      const std::uint64_t asked = port.writes().back().ended_ms;
      if (opened.result == 0) {
        EXPECT_EQ(asked + late.init_ms, opened.ms);
        closed_link(port, opened.link);
      } else {
        // The read under way ends with the reply that is too late.
        EXPECT_EQ(asked + 11'001, opened.ms);
      }
      expect_free(record(0));
    });
  }
}

TEST(LinkOpenFailures, SilentDeviceCostsElevenSecondsAndOneLook) {
  run_virtual_parallel([] {
    ScriptedPort port;
    Engine engine;
    port.reads_wait(1'000);
    port.ops()->skipDummyRead = 1;
    port.expect(entry_string());
    const Opened opened = open_link(port);
    EXPECT_EQ(vlp::XDLT_ERR_REPLY_TIMEOUT, opened.result);
    EXPECT_GE(opened.ms, 11'000u);
    EXPECT_LE(opened.ms, 12'000u);
  });
}

TEST(LinkOpenFailures, FatalPacketEndsTheWaitAtOnce) {
  run_virtual_parallel([] {
    ScriptedPort port;
    Engine engine;
    port.reads_wait(kLongReadMs);
    port.ops()->skipDummyRead = 1;
    port.expect(entry_string()).answer(hex("00 01 00 08 01 00 C5 00"), after_ms(40));
    const Opened opened = open_link(port);
    EXPECT_EQ(vlp::XDLT_ERR_MALFORMED, opened.result);
    EXPECT_GE(opened.ms, 40u);
    EXPECT_LE(opened.ms, 140u);  // the thread may be in its pause of a lost link
  });
}

TEST(LinkOpenFailures, ControlGateThatDoesNotComeIsWaitedForElevenSeconds) {
  run_virtual_parallel([] {
    ScriptedPort port;
    Engine engine;
    port.reads_wait(kLongReadMs);
    port.ops()->skipDummyRead = 1;
    port.expect(entry_string()).answer(entry_reply(), after_ms(10));
    auto opening = transact("opening", [&] { return static_cast<Called>(open_link(port)); });
    test::sleep_ms(5);
    // Takes the control gate as soon as it is first opened.
    auto thief =
        test::spawn("thief", [gate = control_gate_of(0)] { WaitForSingleObject(gate, INFINITE); });
    test::sleep_ms(10);
    EXPECT_TRUE(thief.ended());
    EXPECT_FALSE(opening.ended());
    // The thread that reads the port is asleep: nothing else holds the end up.
    EXPECT_EQ(vlp::XDLT_ERR_CTRL_BUSY, opening.get().result);
    EXPECT_EQ(11'010u, opening.get().ms);
    EXPECT_EQ(entry_string(), port.written());
    expect_free(record(0));
    closed_link(port, opened_link(port));
  });
}

TEST(LinkOpenFailures, EveryResultByteOfInitIsMapped) {
  run_virtual_parallel([] {
    ScriptedPort port;
    Engine engine;
    for (unsigned byte = 0; byte < 256; ++byte) {
      SCOPED_TRACE(byte);
      enters(port);
      port.expect(init()).answer(init_reply(static_cast<std::uint8_t>(byte)));
      const Opened opened = open_link(port);
      const bool known = byte == 1 || byte == 2 || byte == 11;
      const int refused = known ? -static_cast<int>(byte) : -85;
      EXPECT_EQ(byte == 0 ? 0 : refused, opened.result);
      EXPECT_EQ(byte == 0, opened.link != nullptr);
      if (opened.link != nullptr) closed_link(port, opened.link);
      expect_free(record(0));
    }
  });
}

TEST(LinkOpenFailures, RevisionOfTheReplyIsNotLookedAt) {
  run_virtual_parallel([] {
    ScriptedPort port;
    Engine engine;
    enters(port);
    port.expect(init()).answer(init_reply(0, 0x20));
    const Opened opened = open_link(port);
    EXPECT_EQ(0, opened.result);
    closed_link(port, opened.link);
  });
}

TEST(LinkOpenFailures, ExitRightBehindTheInitReplyDoesNotUndoTheOpening) {
  run_virtual_schedules(40, [] {
    ScriptedPort port;
    Engine engine;
    port.ignores_the_rest();
    enters(port);
    port.expect(init()).answer(init_reply()).answer(exit_link());
    const Opened opened = open_link(port);
    EXPECT_EQ(0, opened.result);
    ASSERT_NE(nullptr, opened.link);
    EXPECT_TRUE(vlp::XdltPortIsInUse(port.handle()));
    EXPECT_EQ(0, close_link(opened.link).result);
    expect_free(*opened.link);
  });
}

}  // namespace
}  // namespace d4_test
