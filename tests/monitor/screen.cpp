#include <gtest/gtest.h>

#include "monitor/screen_text.h"

namespace {

using monitor::Moment;
using monitor::NoteReading;
using monitor::NoteRequest;
using monitor::ScreenLines;
using monitor::ScreenSize;
using monitor::ScreenText;
using monitor::StatusReading;
using monitor::Style;
using monitor::WatchLog;
using monitor::WatchOrder;

using Lines = std::vector<std::string>;

constexpr Style kPlain{};
constexpr SYSTEMTIME kTime{2024, 3, 5, 15, 9, 5, 7, 42};

Moment At(ULONGLONG tick) { return {tick, kTime}; }

StatusReading Answered(std::string_view text) {
  return {"GetStatus", ChnlKindBdc, {0, {text.begin(), text.end()}}};
}

WatchLog SeenChange() {
  WatchLog log;
  NoteRequest(log, At(1000));
  NoteReading(log, Answered("@BDC ST\r\nST:04;\f"), At(1000));
  NoteRequest(log, At(2000));
  NoteReading(log, Answered("@BDC ST\r\nST:02;\f"), At(2000));
  return log;
}

const WatchOrder kOrder{"P\x1b", 1000, std::nullopt};

TEST(Screen, ShowsThatNothingIsKnownYet) {
  EXPECT_EQ(ScreenLines(kOrder, {}, At(0), {}, kPlain),
            (Lines{"P\\x1b   09:05:07", "channel   not known yet", "requests  0, one every 1000 ms",
                   "failures  0", "status    none yet", "", "", "Ctrl-C ends the watch."}));
}

TEST(Screen, ShowsStatusAgeAndWhatHasChanged) {
  EXPECT_EQ(
      ScreenLines(kOrder, SeenChange(), At(2450), {}, kPlain),
      (Lines{"P\\x1b   09:05:07", "channel   bdc 0x10010003", "requests  2, one every 1000 ms",
             "failures  0", "status    16 bytes, answered 0.4 s ago, the same for 0.4 s", "",
             "  @BDC ST", "  ST  02", "", "Changed at 09:05:07:", "  ST: 02, was 04", "",
             "Ctrl-C ends the watch."}));
}

TEST(Screen, ShowsFailuresAndKeepsTheStatusThatWas) {
  WatchLog log = SeenChange();
  for (int times = 0; times < 2; ++times) {
    NoteRequest(log, At(3000));
    NoteReading(log, {"GetStatus", ChnlKindBdc, {VLPER_SEND, {}}}, At(3000));
  }
  const Lines lines = ScreenLines(kOrder, log, At(63000), {}, kPlain);
  EXPECT_EQ(lines[3], "failures  2, the latest request too: -9 VLPER_SEND");
  EXPECT_EQ(lines[4], "status    16 bytes, answered 1 min 1 s ago, the same for 1 min 1 s");
  EXPECT_EQ(lines[12], "Failed:");
  EXPECT_EQ(lines[13], "  09:05:07  -9 VLPER_SEND: communication with the printer failed, 2 times");
}

TEST(Screen, ShowsHowLongARequestHasHung) {
  WatchLog log = SeenChange();
  NoteRequest(log, At(3000));
  const WatchOrder order{"P", 100, 7};
  EXPECT_EQ(ScreenLines(order, log, At(3499), {}, kPlain)[2], "requests  3 of 7, one every 100 ms");
  EXPECT_EQ(ScreenLines(order, log, At(3500), {}, kPlain)[2],
            "requests  3 of 7, one every 100 ms, no answer yet after 0.5 s");
  EXPECT_EQ(ScreenLines(order, log, At(3000 + 7'260'000), {}, kPlain)[2],
            "requests  3 of 7, one every 100 ms, no answer yet after 2 h 1 min");
}

TEST(Screen, TakesNoMoreThanTheTerminalHas) {
  WatchLog log;
  NoteReading(log, Answered("A:1;B:2;C:3;D:4;E:5;F:6;"), At(0));
  const Lines fitting = ScreenLines(kOrder, log, At(0), {12, 12}, kPlain);
  EXPECT_EQ(fitting,
            (Lines{"P\\x1b   09:0", "channel   bd", "requests  0,", "failures  0", "status    24",
                   "", "  A  1", "  B  2", "  C  3", "  and 3 line", "", "Ctrl-C ends "}));
  EXPECT_EQ(ScreenLines(kOrder, log, At(0), {80, 3}, kPlain).size(), 3u);
  EXPECT_EQ(ScreenLines(kOrder, log, At(0), {80, 8}, kPlain).back(), "Ctrl-C ends the watch.");
}

TEST(Screen, CutsBeforeItPaints) {
  const Lines lines = ScreenLines(kOrder, {}, At(0), {3, 24}, Style{false, true});
  EXPECT_EQ(lines[0], "\x1b[1mP\\x\x1b[0m");
}

TEST(Screen, IsWrittenOverTheOneBefore) {
  EXPECT_EQ(ScreenText({"a", "b"}), "\x1b[Ha\x1b[K\r\nb\x1b[K\x1b[J");
}

}  // namespace
