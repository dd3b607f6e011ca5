// Owners of handles, the lock, the last error, the spooler's size protocol, wide text.

#include <gtest/gtest.h>

#include <windows.h>

#include <winspool.h>

#include <cstring>
#include <string>
#include <utility>

#include "support/critical_section.h"
#include "support/handles.h"
#include "support/last_error.h"
#include "support/spooler.h"
#include "support/tick_age.h"
#include "support/wide_text.h"

namespace {

// --- Owners --------------------------------------------------------------------------------

struct CountingTraits {
  using Handle = int;
  static void Close(int handle) { closed = closed * 10 + handle; }
  static inline int closed = 0;
};
using Counting = vlp::Owned<CountingTraits>;

class OwnedTest : public ::testing::Test {
 protected:
  OwnedTest() { CountingTraits::closed = 0; }
};

TEST_F(OwnedTest, ClosesItsHandleOnceAndNothingIfEmpty) {
  {
    const Counting empty;
    EXPECT_FALSE(static_cast<bool>(empty));
  }
  EXPECT_EQ(0, CountingTraits::closed);
  {
    const Counting owner(1);
    EXPECT_TRUE(static_cast<bool>(owner));
    EXPECT_EQ(1, owner.Get());
  }
  EXPECT_EQ(1, CountingTraits::closed);
}

TEST_F(OwnedTest, AMoveLeavesOneOwner) {
  {
    Counting from(1);
    Counting to(2);
    to = std::move(from);
    EXPECT_EQ(2, CountingTraits::closed);
    EXPECT_EQ(1, to.Get());
    const Counting last(std::move(to));
    EXPECT_EQ(2, CountingTraits::closed);
  }
  EXPECT_EQ(21, CountingTraits::closed);
}

TEST_F(OwnedTest, ResetForgetAndReceiveDoWhatTheySay) {
  Counting owner(1);
  owner.Reset(2);
  EXPECT_EQ(1, CountingTraits::closed);
  owner.Forget();
  owner.Reset();
  EXPECT_EQ(1, CountingTraits::closed);
  *owner.Receive() = 3;
  EXPECT_EQ(3, owner.Get());
  *owner.Receive() = 4;
  EXPECT_EQ(13, CountingTraits::closed);
}

TEST(KernelHandle, ClosesTheSystemsHandle) {
  HANDLE raw = nullptr;
  {
    const vlp::KernelHandle event(CreateEventA(nullptr, FALSE, FALSE, nullptr));
    raw = event.Get();
    EXPECT_NE(FALSE, SetEvent(raw));
  }
  EXPECT_EQ(FALSE, SetEvent(raw));
  EXPECT_EQ(static_cast<DWORD>(ERROR_INVALID_HANDLE), GetLastError());
}

TEST(FileHandle, TheValueOfAFailedOpeningCountsAsEmpty) {
  EXPECT_FALSE(static_cast<bool>(vlp::FileHandle(INVALID_HANDLE_VALUE)));
  EXPECT_FALSE(static_cast<bool>(vlp::FileHandle(nullptr)));
}

// --- Lock, last error ----------------------------------------------------------------------

TEST(CriticalSection, IsRecursiveAndKeepsOthersOut) {
  vlp::CriticalSection section;
  struct Shared {
    vlp::CriticalSection& section;
    int value = 0;
  } shared{section};
  const auto add = [](void* argument) -> DWORD {
    auto& both = *static_cast<Shared*>(argument);
    for (int i = 0; i < 1000; ++i) {
      const vlp::LockGuard guard(both.section);
      ++both.value;
    }
    return 0;
  };
  const vlp::KernelHandle thread(
      CreateThread(nullptr, 0, static_cast<DWORD(WINAPI*)(void*)>(add), &shared, 0, nullptr));
  ASSERT_TRUE(static_cast<bool>(thread));
  add(&shared);
  EXPECT_EQ(WAIT_OBJECT_0, WaitForSingleObject(thread.Get(), INFINITE));
  EXPECT_EQ(2000, shared.value);
}

TEST(LastErrorKeeper, PutsBackWhatItFound) {
  SetLastError(5);
  {
    const vlp::LastErrorKeeper keeper;
    SetLastError(6);
    EXPECT_EQ(5U, keeper.Kept());
    EXPECT_EQ(6U, GetLastError());
  }
  EXPECT_EQ(5U, GetLastError());
}

// --- Tick ages -----------------------------------------------------------------------------

TEST(TickAge, IsTheUnsignedDifferenceToNow) {
  const DWORD before = GetTickCount();
  const std::uint32_t age = vlp::TickAge(before - 32);
  const DWORD after = GetTickCount();
  EXPECT_LE(32U, age);
  EXPECT_LE(age, after - before + 32);
  // A stamp from before the counter's wrap is still as old as it is.
  const DWORD now = GetTickCount();
  EXPECT_LE(0xFFFFFFF0U, vlp::TickAge(now + 16));
}

// --- Spooler -------------------------------------------------------------------------------

struct Record {
  DWORD first = 0;
  DWORD second = 0;
};

TEST(ReadSpoolerRecord, AsksForTheSizeFirstAndThenForTheRecord) {
  int calls = 0;
  const auto record =
      vlp::ReadSpoolerRecord<Record>([&](BYTE* buffer, DWORD size, DWORD* needed) -> BOOL {
        if (++calls == 1) {
          EXPECT_EQ(nullptr, buffer);
          EXPECT_EQ(0U, size);
          EXPECT_EQ(0U, *needed) << "a call may leave it as it is";
          *needed = 21;
          return FALSE;
        }
        EXPECT_EQ(21U, size);
        std::memset(buffer, 1, 21);
        return TRUE;
      });
  ASSERT_NE(nullptr, record);
  EXPECT_EQ(2, calls);
  EXPECT_EQ(0x01010101U, record[0].second);
}

TEST(ReadSpoolerRecord, WithoutASizeThereIsNoSecondCall) {
  int calls = 0;
  EXPECT_EQ(nullptr, vlp::ReadSpoolerRecord<Record>([&](BYTE*, DWORD, DWORD*) -> BOOL {
              ++calls;
              return FALSE;
            }));
  EXPECT_EQ(1, calls);
}

TEST(ReadSpoolerRecord, AFailedSecondCallGivesNothing) {
  int calls = 0;
  EXPECT_EQ(nullptr, vlp::ReadSpoolerRecord<Record>([&](BYTE*, DWORD, DWORD* needed) -> BOOL {
              ++calls;
              *needed = 8;
              return FALSE;
            }));
  EXPECT_EQ(2, calls);
}

TEST(ReadSpoolerRecord, ASizeBelowOneRecordStillHoldsOne) {
  const auto record = vlp::ReadSpoolerRecord<Record>([](BYTE*, DWORD, DWORD* needed) -> BOOL {
    *needed = 1;
    return TRUE;
  });
  ASSERT_NE(nullptr, record);
  EXPECT_EQ(0U, record[0].first | record[0].second);
}

TEST(OpenPrinterByName, GivesNoHandleForANullOrUnknownName) {
  EXPECT_FALSE(static_cast<bool>(vlp::OpenPrinterByName(nullptr)));
  EXPECT_FALSE(static_cast<bool>(vlp::OpenPrinterByName("a printer that nobody has")));
}

// --- Wide text -----------------------------------------------------------------------------

TEST(ToWide, ConvertsByTheAnsiCodePage) {
  EXPECT_TRUE(vlp::ToWide("") == std::basic_string<WCHAR>());
  EXPECT_TRUE(vlp::ToWide({}) == std::basic_string<WCHAR>());
  EXPECT_TRUE(vlp::ToWide("abc") == TEXT("abc"));
  EXPECT_TRUE(vlp::ToWide("\xE4\x80") == (std::basic_string<WCHAR>{WCHAR{0xE4}, WCHAR{0x20AC}}));
}

TEST(ToWide, ZeroBytesAndLongTextsAreText) {
  const std::string text("a\0b", 3);
  EXPECT_TRUE(vlp::ToWide(text) == (std::basic_string<WCHAR>{WCHAR{'a'}, WCHAR{0}, WCHAR{'b'}}));
  EXPECT_EQ(100000U, vlp::ToWide(std::string(100000, 'x')).size());
}

}  // namespace
