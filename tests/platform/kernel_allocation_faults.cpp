// Memory allocation as a fault point. Not with ThreadSanitizer, whose operator new can't be
// replaced.

#include <windows.h>
#include <gtest/gtest.h>

#include <memory>
#include <new>
#include <string>
#include <vector>

#include "platform/faults.h"

namespace {

class AllocationFaultTest : public testing::Test {
 protected:
  void SetUp() override { platform::clear_faults(); }
  void TearDown() override { platform::clear_faults(); }
};

// What is stored here can't be optimised away.
void* volatile sink = nullptr;

template <class Pointer>
void keep(const Pointer& pointer) {
  sink = pointer.get();
}

// A small subject: makes an event and a string on the heap, and copes with failure.
int subject() {
  const platform::UnderTest tested;
  HANDLE event = CreateEventA(nullptr, FALSE, FALSE, nullptr);
  if (event == nullptr) return 1;
  int result = 0;
  try {
    const std::string text(200, 'x');
    if (!SetEvent(event)) result = 2;
  } catch (const std::bad_alloc&) {
    result = 3;
  }
  CloseHandle(event);
  return result;
}

TEST_F(AllocationFaultTest, ASweepMeetsEveryFallibleCallInTurnAndThenNone) {
  std::vector<int> results;
  std::vector<std::string> names;
  for (unsigned nth = 1;; ++nth) {
    platform::clear_faults();
    platform::fail_nth_call(nth, ERROR_NOT_ENOUGH_MEMORY);
    const int result = subject();
    if (platform::faults_met() == 0) {
      EXPECT_EQ(result, 0);
      break;
    }
    results.push_back(result);
    names.push_back(platform::failed_calls().at(0));
    ASSERT_LT(nth, 100u);
  }
  EXPECT_EQ(names,
            (std::vector<std::string>{"CreateEventA", "operator new", "SetEvent", "CloseHandle"}));
  EXPECT_EQ(results, (std::vector<int>{1, 3, 2, 0}));
}

TEST_F(AllocationFaultTest, AllFormsOfNewAreFaultPointsUnderTest) {
  struct alignas(64) Wide {
    char bytes[64];
  };
  platform::fail_call_from("operator new", 1, ERROR_NOT_ENOUGH_MEMORY);
  unsigned refused = 0;
  const auto count = [&refused](auto make) {
    try {
      make();
    } catch (const std::bad_alloc&) {
      ++refused;
    }
  };
  bool null_given = false;
  {
    const platform::UnderTest tested;
    count([] { keep(std::make_unique<std::string>()); });
    count([] { keep(std::make_unique<int[]>(5)); });
    count([] { keep(std::make_unique<Wide>()); });
    count([] { keep(std::make_unique<Wide[]>(2)); });
    const std::unique_ptr<int> nothing(new (std::nothrow) int);
    null_given = nothing == nullptr;
  }
  EXPECT_EQ(refused, 4u);
  EXPECT_TRUE(null_given);
}

TEST_F(AllocationFaultTest, AllocationsOfTheTestAreSpared) {
  platform::fail_call_from("operator new", 1, ERROR_NOT_ENOUGH_MEMORY);
  EXPECT_NO_THROW(keep(std::make_unique<std::string>(100, 'x')));
  const platform::UnderTest tested;
  {
    const platform::Exempt exempt;
    EXPECT_NO_THROW(keep(std::make_unique<std::string>(100, 'x')));
  }
  bool thrown = false;
  try {
    keep(std::make_unique<std::string>());
  } catch (const std::bad_alloc&) {
    thrown = true;
  }
  const platform::Exempt exempt;
  EXPECT_TRUE(thrown);
}

DWORD WINAPI allocate(LPVOID) {
  try {
    keep(std::make_unique<std::string>("x"));
  } catch (const std::bad_alloc&) {
    return 1;
  }
  return 0;
}

DWORD run_allocator() {
  HANDLE thread = CreateThread(nullptr, 0, allocate, nullptr, 0, nullptr);
  WaitForSingleObject(thread, INFINITE);
  DWORD code = 9;
  GetExitCodeThread(thread, &code);
  CloseHandle(thread);
  return code;
}

TEST_F(AllocationFaultTest, ThreadsInheritWhetherTheyAreUnderTest) {
  platform::fail_call_from("operator new", 1, ERROR_NOT_ENOUGH_MEMORY);
  EXPECT_EQ(run_allocator(), 0u);
  DWORD code = 9;
  {
    const platform::UnderTest tested;
    code = run_allocator();
  }
  EXPECT_EQ(code, 1u);
}

}  // namespace
