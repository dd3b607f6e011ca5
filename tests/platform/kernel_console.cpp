// Ctrl-C: a signal natively, so this is not shared with Windows.

#include <windows.h>
#include <gtest/gtest.h>

#include <csignal>

#include "tests/platform/call_helpers.h"

namespace {

using test::Handle;
using test::new_event;

HANDLE told = nullptr;
DWORD told_event = 0xffff;
DWORD told_thread = 0;

BOOL WINAPI handle_event(DWORD event) {
  told_event = event;
  told_thread = GetCurrentThreadId();
  SetEvent(told);
  return TRUE;
}

BOOL WINAPI leave_to_others(DWORD) { return FALSE; }

TEST(Console, CtrlCReachesTheHandlerOnAThreadOfItsOwn) {
  const Handle event(new_event(false, false));
  told = event;
  ASSERT_TRUE(SetConsoleCtrlHandler(handle_event, TRUE));
  raise(SIGINT);
  EXPECT_EQ(WaitForSingleObject(event, 20'000), WAIT_OBJECT_0);
  EXPECT_EQ(told_event, DWORD{CTRL_C_EVENT});
  EXPECT_NE(told_thread, GetCurrentThreadId());
  EXPECT_TRUE(SetConsoleCtrlHandler(handle_event, FALSE));
  EXPECT_FALSE(SetConsoleCtrlHandler(handle_event, FALSE));
  EXPECT_EQ(GetLastError(), DWORD{ERROR_INVALID_PARAMETER});
}

TEST(Console, AHandlerThatDeclinesLeavesItToTheOneBefore) {
  const Handle event(new_event(false, false));
  told = event;
  ASSERT_TRUE(SetConsoleCtrlHandler(handle_event, TRUE));
  ASSERT_TRUE(SetConsoleCtrlHandler(leave_to_others, TRUE));
  raise(SIGINT);
  EXPECT_EQ(WaitForSingleObject(event, 20'000), WAIT_OBJECT_0);
  EXPECT_TRUE(SetConsoleCtrlHandler(leave_to_others, FALSE));
  EXPECT_TRUE(SetConsoleCtrlHandler(handle_event, FALSE));
}

TEST(ConsoleDeathTest, WithoutAHandlerThatTakesItTheProcessEnds) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  EXPECT_EXIT(
      {
        SetConsoleCtrlHandler(leave_to_others, TRUE);
        raise(SIGINT);
        Sleep(20'000);
      },
      testing::ExitedWithCode(130), "");
}

}  // namespace
