// The scripted port by itself: calls made by hand, as the engine would.

#include <gmock/gmock.h>

#include "tests/d4/scripted_port.h"
#include "tests/support/virtual_time.h"

namespace d4_test {
namespace {

using test::elapsed_ms;
using test::run_virtual_parallel;
using test::run_virtual_schedules;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

constexpr std::uint32_t kUntouched = 0xA5A5A5A5;

struct Moved {
  bool success = false;
  std::uint32_t count = kUntouched;  // as the port left it
  Bytes bytes = {};
  DWORD error = 0;
  std::uint64_t ms = 0;
};

Moved write(ScriptedPort& port, const Bytes& bytes) {
  Moved moved;
  const std::uint64_t began = elapsed_ms();
  SetLastError(ERROR_SUCCESS);
  moved.success = port.ops()->write(port.handle(), bytes.data(),
                                    static_cast<std::uint32_t>(bytes.size()), &moved.count) != 0;
  moved.error = GetLastError();
  moved.ms = elapsed_ms() - began;
  return moved;
}

Moved read(ScriptedPort& port, std::uint32_t capacity) {
  Moved moved;
  const std::uint64_t began = elapsed_ms();
  Bytes buffer(capacity + std::size_t{1}, 0xA5);
  SetLastError(ERROR_SUCCESS);
  moved.success = port.ops()->read(port.handle(), buffer.data(), capacity, &moved.count) != 0;
  moved.error = GetLastError();
  moved.ms = elapsed_ms() - began;
  EXPECT_EQ(0xA5, buffer.back());
  if (moved.count != kUntouched) buffer.resize(std::min(moved.count, capacity));
  if (moved.count == kUntouched) buffer.clear();
  moved.bytes = buffer;
  return moved;
}

// Reads until a read brings nothing; what each one brought.
std::vector<std::uint32_t> read_counts(ScriptedPort& port, std::uint32_t capacity,
                                       std::size_t reads) {
  std::vector<std::uint32_t> counts;
  for (std::size_t at = 0; at < reads; ++at) {
    const Moved moved = read(port, capacity);
    counts.push_back(moved.count == kUntouched ? 0 : moved.count);
  }
  return counts;
}

TEST(ScriptedPort, AnswersComeWithTheirDelayToTheMillisecond) {
  run_virtual_parallel([] {
    ScriptedPort port;
    port.expect(init(), "Init").answer(init_reply(), after_ms(20));
    const Moved written = write(port, hex("00 00 00 08 01 00 00 10"));
    EXPECT_TRUE(written.success);
    EXPECT_EQ(8u, written.count);
    test::sleep_ms(19);
    EXPECT_EQ(kUntouched, read(port, 9).count);
    test::sleep_ms(1);
    const Moved answer = read(port, 9);
    EXPECT_TRUE(answer.success);
    EXPECT_EQ(hex("00 00 00 09 01 00 80 00 10"), answer.bytes);
    EXPECT_EQ(0u, port.unread());
  });
}

TEST(ScriptedPort, ReadWithNothingDueLeavesTheCountAlone) {
  run_virtual_parallel([] {
    ScriptedPort port;
    const Moved nothing = read(port, 6);
    EXPECT_TRUE(nothing.success);
    EXPECT_EQ(kUntouched, nothing.count);
    EXPECT_EQ(0u, nothing.ms);
    port.empty_reads_store_zero(true);
    EXPECT_EQ(0u, read(port, 6).count);
    EXPECT_EQ(2u, port.empty_read_count());
  });
}

TEST(ScriptedPort, HeldReadEndsWithItsTimeOrWithBytes) {
  run_virtual_schedules(5, [] {
    ScriptedPort port;
    port.reads_wait(100);
    Moved moved = read(port, 6);
    EXPECT_TRUE(moved.success);
    EXPECT_EQ(100u, moved.ms);
    EXPECT_EQ(kUntouched, moved.count);
    port.say(text("abc"), after_ms(99));
    moved = read(port, 6);
    EXPECT_EQ(99u, moved.ms);
    EXPECT_EQ(text("abc"), moved.bytes);
    port.say(text("d"), after_ms(100));  // both at one moment: the bytes win
    EXPECT_EQ(text("d"), read(port, 6).bytes);
  });
}

TEST(ScriptedPort, BytesThatAreSaidMeanwhileEndAHeldRead) {
  run_virtual_schedules(5, [] {
    ScriptedPort port;
    port.reads_block();
    Moved moved;
    auto reader = test::spawn("reader", [&] { moved = read(port, 6); });
    test::sleep_ms(86'400'000);
    EXPECT_TRUE(port.read_is_inside());
    port.say(text("abc"), after_ms(5));
    reader.join();
    EXPECT_EQ(86'400'005u, moved.ms);
    EXPECT_EQ(text("abc"), moved.bytes);
    EXPECT_FALSE(port.read_is_inside());
  });
}

TEST(ScriptedPort, RemovalEndsABlockedReadAndAllLaterTransfers) {
  run_virtual_schedules(5, [] {
    ScriptedPort port;
    port.reads_block();
    port.remove(at_ms(700));
    const Moved moved = read(port, 6);
    EXPECT_FALSE(moved.success);
    EXPECT_EQ(700u, moved.ms);
    EXPECT_EQ(kRemovedError, moved.error);
    EXPECT_FALSE(read(port, 6).success);
    const Moved written = write(port, init());
    EXPECT_FALSE(written.success);
    EXPECT_EQ(0u, written.count);
    EXPECT_THAT(port.breaches(), IsEmpty());
  });
}

TEST(ScriptedPort, RemovalFromAnotherThreadEndsABlockedRead) {
  run_virtual_schedules(5, [] {
    ScriptedPort port;
    port.reads_block();
    Moved moved;
    auto reader = test::spawn("reader", [&] { moved = read(port, 6); });
    test::sleep_ms(30);
    port.remove();
    reader.join();
    EXPECT_FALSE(moved.success);
    EXPECT_EQ(30u, moved.ms);
  });
}

TEST(ScriptedPort, RemovalEndsASlowWrite) {
  run_virtual_parallel([] {
    ScriptedPort port;
    port.expect(init()).takes_ms(50).answer(init_reply());
    port.remove(at_ms(49));
    const Moved written = write(port, init());
    EXPECT_FALSE(written.success);
    EXPECT_EQ(49u, written.ms);
    EXPECT_EQ(0u, port.unread());
  });
}

TEST(ScriptedPort, StepCanTakeTheDeviceAway) {
  run_virtual_parallel([] {
    ScriptedPort port;
    port.expect(exit_link()).answer(exit_reply()).removes(after_ms(10));
    EXPECT_TRUE(write(port, exit_link()).success);
    test::sleep_ms(9);
    EXPECT_EQ(exit_reply(), read(port, 8).bytes);
    test::sleep_ms(1);
    EXPECT_FALSE(read(port, 8).success);
  });
}

TEST(ScriptedPort, SlowWriteDelaysItsAnswer) {
  run_virtual_parallel([] {
    ScriptedPort port;
    port.writes_take(30);
    port.reads_wait(1000);
    port.opens(after_ms(5));
    EXPECT_EQ(30u, write(port, entry_string()).ms);
    EXPECT_EQ(5u, read(port, 8).ms);
    port.writes_take(0);
    EXPECT_EQ(0u, write(port, init()).ms);
    EXPECT_EQ(init_reply(), read(port, 9).bytes);
    EXPECT_THAT(port.writes(), ::testing::SizeIs(2));
    EXPECT_EQ(30u, port.writes()[0].ended_ms);
    EXPECT_EQ(1u, port.writes_between(0, 35));
    EXPECT_EQ(1u, port.writes_between(35, 36));
    EXPECT_EQ(2u, port.reads_between(0, 36));
    EXPECT_EQ(joined({entry_string(), init()}), port.written());
  });
}

// --- How the bytes of reads are cut ----------------------------------------------------------

TEST(ScriptedPort, ReadEndsWithTheAnswer) {
  run_virtual_parallel([] {
    ScriptedPort port;
    port.say(text("abcdef"));
    port.say(text("gh"));
    EXPECT_THAT(read_counts(port, 4, 4), ElementsAre(4, 2, 2, 0));
  });
}

TEST(ScriptedPort, ReadMayGoOnIntoTheNextAnswerThatIsDue) {
  run_virtual_parallel([] {
    ScriptedPort port;
    port.reads_span_answers(true);
    port.say(text("abc"));
    port.say(text("de"));
    port.say(text("f"), after_ms(1));
    EXPECT_EQ(text("abcde"), read(port, 64).bytes);
    test::sleep_ms(1);
    EXPECT_EQ(text("f"), read(port, 64).bytes);
  });
}

TEST(ScriptedPort, PiecesCutOneAnswerAndCanHoldItBack) {
  run_virtual_parallel([] {
    ScriptedPort port;
    port.expect(init()).answer(filled(9), at_once(), {0, 0, 4, 0, 1});
    write(port, init());
    EXPECT_THAT(read_counts(port, 9, 7), ElementsAre(0, 0, 4, 0, 1, 4, 0));
    port.say(filled(3), at_once(), one_byte_reads(3));
    EXPECT_THAT(read_counts(port, 9, 4), ElementsAre(1, 1, 1, 0));
    port.say(filled(3), at_once(), after_empty_reads(2));
    EXPECT_THAT(read_counts(port, 9, 3), ElementsAre(0, 0, 3));
  });
}

TEST(ScriptedPort, EmptyPieceOfAHeldReadLastsItsTime) {
  run_virtual_parallel([] {
    ScriptedPort port;
    port.reads_wait(10);
    port.say(text("a"), at_once(), after_empty_reads(1));
    EXPECT_EQ(10u, read(port, 9).ms);
    EXPECT_EQ(0u, read(port, 9).ms);
  });
}

TEST(ScriptedPort, EveryReadCanBeKeptSmall) {
  run_virtual_parallel([] {
    ScriptedPort port;
    port.read_at_most(4);
    port.say(filled(9));
    EXPECT_THAT(read_counts(port, 9, 4), ElementsAre(4, 4, 1, 0));
  });
}

TEST(ScriptedPort, AnswersComeInOrderOfTheirMoments) {
  run_virtual_parallel([] {
    ScriptedPort port;
    port.reads_wait(1000);
    port.expect(init()).answer(text("late"), after_ms(20)).answer(text("soon"), after_ms(10));
    port.say(text("first"), at_ms(10));
    write(port, init());
    EXPECT_EQ(text("first"), read(port, 64).bytes);
    EXPECT_EQ(text("soon"), read(port, 64).bytes);
    EXPECT_EQ(10u, elapsed_ms());
    EXPECT_EQ(text("late"), read(port, 64).bytes);
    EXPECT_EQ(20u, elapsed_ms());
  });
}

TEST(ScriptedPort, AnswerWithoutBytesEndsAHeldRead) {
  run_virtual_parallel([] {
    ScriptedPort port;
    port.reads_block();
    port.say({}, after_ms(7));
    const Moved moved = read(port, 6);
    EXPECT_TRUE(moved.success);
    EXPECT_EQ(7u, moved.ms);
    EXPECT_EQ(0u, moved.count);
  });
}

// --- Failures --------------------------------------------------------------------------------

TEST(ScriptedPort, NthReadFails) {
  run_virtual_parallel([] {
    ScriptedPort port;
    port.say(text("abcdef"));
    port.fail_read(2, {.error = 121, .after_ms = 40});
    EXPECT_EQ(text("ab"), read(port, 2).bytes);
    const Moved failed = read(port, 2);
    EXPECT_FALSE(failed.success);
    EXPECT_EQ(121u, failed.error);
    EXPECT_EQ(40u, failed.ms);
    EXPECT_EQ(text("cd"), read(port, 2).bytes);
    port.fail_read(1, {.bytes = 1});
    const Moved part = read(port, 2);
    EXPECT_FALSE(part.success);
    EXPECT_EQ(text("e"), part.bytes);
    EXPECT_EQ(kPortError, part.error);
  });
}

TEST(ScriptedPort, ReadsFailFromTheNthOn) {
  run_virtual_parallel([] {
    ScriptedPort port;
    port.fail_reads_from(2);
    EXPECT_TRUE(read(port, 2).success);
    for (int again = 0; again < 3; ++again) EXPECT_FALSE(read(port, 2).success);
  });
}

TEST(ScriptedPort, FailedAndShortWritesGetNoAnswer) {
  run_virtual_parallel([] {
    ScriptedPort port;
    port.expect(init()).times(3).answer(init_reply());
    port.expect(exit_link()).fails({.error = 22, .bytes = 3}).answer(exit_reply());
    port.expect(exit_link()).is_short_by(2).answer(exit_reply());
    port.fail_write(2);
    port.shorten_write(3);
    EXPECT_TRUE(write(port, init()).success);
    const Moved failed = write(port, init());
    EXPECT_FALSE(failed.success);
    EXPECT_EQ(0u, failed.count);
    EXPECT_EQ(kPortError, failed.error);
    const Moved shorter = write(port, init());
    EXPECT_TRUE(shorter.success);
    EXPECT_EQ(7u, shorter.count);
    const Moved step = write(port, exit_link());
    EXPECT_FALSE(step.success);
    EXPECT_EQ(3u, step.count);
    EXPECT_EQ(22u, step.error);
    EXPECT_EQ(5u, write(port, exit_link()).count);
    EXPECT_EQ(9u, port.unread());  // the first one's
  });
}

TEST(ScriptedPort, SuccessKeepsTheLastError) {
  run_virtual_parallel([] {
    ScriptedPort port;
    port.reads_wait(5);
    port.expect(init()).takes_ms(5).answer(init_reply());
    SetLastError(4711);
    std::uint32_t count = 0;
    const Bytes bytes = init();
    EXPECT_NE(0u, port.ops()->write(port.handle(), bytes.data(), 8, &count));
    EXPECT_EQ(4711u, GetLastError());
    Bytes buffer(9);
    EXPECT_NE(0u, port.ops()->read(port.handle(), buffer.data(), 9, &count));
    EXPECT_NE(0u, port.ops()->read(port.handle(), buffer.data(), 9, &count));
    EXPECT_EQ(4711u, GetLastError());
  });
}

}  // namespace
}  // namespace d4_test
