// What a scripted port complains of, and how it tells it.

#include <gmock/gmock.h>
#include <gtest/gtest-spi.h>

#include "tests/d4/scripted_port.h"
#include "tests/support/virtual_time.h"

namespace d4_test {
namespace {

using test::run_virtual_parallel;
using test::run_virtual_schedules;
using ::testing::AllOf;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

bool write(ScriptedPort& port, const Bytes& bytes) {
  std::uint32_t count = 0;
  return port.ops()->write(port.handle(), bytes.data(), static_cast<std::uint32_t>(bytes.size()),
                           &count) != 0;
}

Bytes read(ScriptedPort& port, std::uint32_t capacity) {
  Bytes buffer(capacity);
  std::uint32_t count = 0;
  port.ops()->read(port.handle(), buffer.data(), capacity, &count);
  buffer.resize(count);
  return buffer;
}

TEST(ScriptedPortBreaches, NoneInAWholeConversation) {
  run_virtual_parallel([] {
    ScriptedPort port;
    port.opens();
    port.opens_channel(0x40);
    port.opens_channel(0x02, {.write_size = 0x1234, .read_size = 64, .credit = 0});
    port.grants(0x02, 3);
    port.takes_credit(0x02);
    port.closes_channel(0x02);
    port.exits();
    EXPECT_EQ(8u, port.steps_left());
    for (const Bytes& bytes :
         {entry_string(), init(), open_channel(0x40, 4102, 512), open_channel(0x02, 65535, 65535),
          credit_request(0x02), credit(0x02), close_channel(0x02), exit_link()}) {
      EXPECT_TRUE(write(port, bytes));
    }
    EXPECT_EQ(hex("00 00 00 08 01 00 C5 00"), read(port, 64));
    EXPECT_EQ(hex("00 00 00 09 01 00 80 00 10"), read(port, 64));
    EXPECT_EQ(hex("00 00 00 10 01 00 81 00 40 40 02 00 02 00 00 01"), read(port, 64));
    EXPECT_EQ(hex("00 00 00 10 01 00 81 00 02 02 12 34 00 40 00 00"), read(port, 64));
    EXPECT_EQ(hex("00 00 00 0C 01 00 84 00 02 02 00 03"), read(port, 64));
    EXPECT_EQ(hex("00 00 00 0A 01 00 83 00 02 02"), read(port, 64));
    EXPECT_EQ(hex("00 00 00 0A 01 00 82 00 02 02"), read(port, 64));
    EXPECT_EQ(hex("00 00 00 08 01 00 88 00"), read(port, 64));
    EXPECT_EQ(0u, port.steps_left());
    EXPECT_THAT(port.breaches(), IsEmpty());
  });
}

TEST(ScriptedPortBreaches, OtherBytesThanExpected) {
  run_virtual_parallel([] {
    ScriptedPort port;
    port.expect(init(0x10)).answer(init_reply());
    test::sleep_ms(12);
    EXPECT_TRUE(write(port, init(0x20)));
    EXPECT_EQ(init_reply(), read(port, 9));  // the conversation goes on
    EXPECT_THAT(port.forgive(),
                ElementsAre("12 ms: came: 00 00 00 08 01 00 00 20  Init: revision 0x20\n"
                            "      instead of: 00 00 00 08 01 00 00 10  Init: revision 0x10"));
  });
}

TEST(ScriptedPortBreaches, WriteThatNobodyExpects) {
  run_virtual_parallel([] {
    ScriptedPort port;
    write(port, exit_link());
    EXPECT_THAT(port.forgive(), ElementsAre("0 ms: unexpected: 00 00 00 07 01 00 08  Exit"));
  });
}

TEST(ScriptedPortBreaches, WritesBeyondTheScriptCanBeLetPass) {
  run_virtual_parallel([] {
    ScriptedPort port;
    port.expect(init());
    port.ignores_the_rest();
    write(port, init());
    write(port, exit_link());
    EXPECT_EQ(2u, port.write_count());
  });
}

TEST(ScriptedPortBreaches, StepThatNeverCame) {
  run_virtual_parallel([] {
    ScriptedPort port;
    port.expect(credit(0x21)).times(3);
    port.expect(exit_link(), "the end");
    write(port, credit(0x21));
    EXPECT_THAT(port.forgive(), ElementsAre("never came: 00 00 00 0B 01 00 03 21 21 00 01  "
                                            "Credit: socket 0x21, credit 1  2 times",
                                            "never came: 00 00 00 07 01 00 08  Exit  (the end)"));
  });
}

TEST(ScriptedPortBreaches, StepsAtAnyTimeComeBetweenTheOthers) {
  run_virtual_parallel([] {
    ScriptedPort port;
    port.expect(close_channel_reply(0x50)).at_any_time();
    port.expect(init()).answer(init_reply());
    port.expect(exit_link()).answer(exit_reply());
    write(port, init());
    write(port, close_channel_reply(0x50));
    write(port, exit_link());
    EXPECT_EQ(init_reply(), read(port, 9));
    EXPECT_EQ(exit_reply(), read(port, 9));
  });
}

TEST(ScriptedPortBreaches, TwoTransfersAtOnce) {
  run_virtual_schedules(5, [] {
    ScriptedPort port;
    port.reads_wait(100);
    port.expect(init());
    auto reader = test::spawn("reader", [&] { read(port, 6); });
    test::sleep_ms(50);
    write(port, init());
    reader.join();
    EXPECT_THAT(port.forgive(), ElementsAre("50 ms: a transfer began while another was inside"));
  });
}

TEST(ScriptedPortBreaches, TransfersOfNothing) {
  run_virtual_parallel([] {
    ScriptedPort port;
    std::uint8_t byte = 0;
    std::uint32_t count = 0;
    EXPECT_EQ(0u, port.ops()->read(port.handle(), &byte, 0, &count));
    EXPECT_EQ(0u, port.ops()->read(port.handle(), nullptr, 1, &count));
    EXPECT_EQ(0u, port.ops()->read(port.handle(), &byte, 1, nullptr));
    EXPECT_EQ(0u, port.ops()->write(port.handle(), &byte, 0, &count));
    EXPECT_EQ(0u, port.ops()->write(port.handle(), nullptr, 1, &count));
    EXPECT_EQ(0u, port.ops()->write(port.handle(), &byte, 1, nullptr));
    EXPECT_EQ(6u, port.forgive().size());
  });
}

TEST(ScriptedPortBreaches, ReadsThatPassNoTime) {
  run_virtual_parallel([] {
    ScriptedPort port;
    while (test::elapsed_ms() < 3) read(port, 6);  // wouldn't end by itself
    EXPECT_THAT(port.forgive(), ElementsAre("0 ms: 1000 empty reads at one moment"));
  });
}

TEST(ScriptedPortBreaches, EndOfThePortFailsTheTestWithTheConversation) {
  ::testing::TestPartResultArray results;
  {
    const ::testing::ScopedFakeTestPartResultReporter catcher(
        ::testing::ScopedFakeTestPartResultReporter::INTERCEPT_ALL_THREADS, &results);
    run_virtual_parallel([] {
      ScriptedPort port("bulk pipes");
      port.expect(init()).answer(init_reply(), after_ms(20));
      port.say(data(0x50, text("x")), after_ms(30));
      write(port, init());
      for (int again = 0; again < 3; ++again) read(port, 9);
      test::sleep_ms(20);
      read(port, 9);
      write(port, exit_link());
    });
  }
  ASSERT_EQ(1, results.size());
  EXPECT_STREQ(
      "Failed\nbulk pipes:\n"
      "  20 ms: unexpected: 00 00 00 07 01 00 08  Exit\n"
      "in all:\n"
      "       0 ms  engine  ->  00 00 00 08 01 00 00 10\n"
      "                         Init: revision 0x10\n"
      "       0 ms              read for 9: 0  (3 times until 0 ms)\n"
      "      20 ms  answer  <-  00 00 00 09 01 00 80 00 10\n"
      "                         Init reply: result 0, revision 0x10\n"
      "      20 ms              read for 9: 9  00 00 00 09 01 00 80 00 10\n"
      "      20 ms  engine  ->  00 00 00 07 01 00 08\n"
      "                         Exit\n"
      "      20 ms  now\n"
      "      30 ms  unasked <-  50 50 00 07 00 01 78\n"
      "                         data: socket 0x50, 1 bytes, end of message\n",
      results.GetTestPartResult(0).message());
}

TEST(ScriptedPortBreaches, ScriptLeftOverFailsTheTest) {
  ::testing::TestPartResultArray results;
  {
    const ::testing::ScopedFakeTestPartResultReporter catcher(
        ::testing::ScopedFakeTestPartResultReporter::INTERCEPT_ALL_THREADS, &results);
    run_virtual_parallel([] {
      ScriptedPort port;
      port.expect(init());
      port.finish();
      port.finish();  // told once
    });
  }
  ASSERT_EQ(1, results.size());
  EXPECT_THAT(results.GetTestPartResult(0).message(), HasSubstr("never came: 00 00 00 08"));
}

TEST(ScriptedPortBreaches, ConversationTellsFailuresAndRemoval) {
  run_virtual_parallel([] {
    ScriptedPort port;
    port.expect(init()).fails({.after_ms = 5});
    port.expect(init()).is_short_by(3);
    port.remove(at_ms(6));
    write(port, init());
    write(port, init());
    test::sleep_ms(1);
    read(port, 9);
    const std::string all = port.conversation();
    EXPECT_THAT(all, AllOf(HasSubstr("(failed, 0 bytes, took 5 ms)"), HasSubstr("(5 of 8 taken)"),
                           HasSubstr("6 ms  removed"), HasSubstr("read for 9: failed, 0")));
  });
}

}  // namespace
}  // namespace d4_test
