// Memory, string lengths, environment.

#include <windows.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <string>

#include "tests/platform/call_helpers.h"

namespace {

using test::kUntouched;

bool all_zero(const void* memory, size_t size) {
  const auto* bytes = static_cast<const unsigned char*>(memory);
  return std::all_of(bytes, bytes + size, [](unsigned char byte) { return byte == 0; });
}

TEST(Memory, LocalBlocksAreZeroedWhenAskedFor) {
  HLOCAL block = LocalAlloc(LPTR, 100);
  ASSERT_NE(block, nullptr);
  EXPECT_TRUE(all_zero(block, 100));
  EXPECT_EQ(LocalFree(block), nullptr);
}

TEST(Memory, ALocalBlockOfNoSizeIsABlock) {
  HLOCAL block = LocalAlloc(LPTR, 0);
  EXPECT_NE(block, nullptr);
  EXPECT_EQ(LocalFree(block), nullptr);
  EXPECT_EQ(LocalFree(nullptr), nullptr);
}

TEST(Memory, GlobalBlocksAreZeroedWhenAskedFor) {
  HGLOBAL block = GlobalAlloc(GPTR, 64);
  ASSERT_NE(block, nullptr);
  EXPECT_TRUE(all_zero(block, 64));
  EXPECT_EQ(GlobalFree(block), nullptr);
}

TEST(Memory, PagesAreZeroedAndGivenBackWhole) {
  void* pages = VirtualAlloc(nullptr, 5000, MEM_COMMIT, PAGE_READWRITE);
  ASSERT_NE(pages, nullptr);
  EXPECT_EQ(reinterpret_cast<uintptr_t>(pages) % 4096, 0u);
  EXPECT_TRUE(all_zero(pages, 5000));
  std::memset(pages, 0xA5, 5000);
  SetLastError(kUntouched);
  EXPECT_FALSE(VirtualFree(pages, 5000, MEM_RELEASE));
  EXPECT_EQ(GetLastError(), DWORD{ERROR_INVALID_PARAMETER});
  EXPECT_TRUE(VirtualFree(pages, 0, MEM_RELEASE));
}

TEST(Memory, NoPagesAreRefused) {
  SetLastError(kUntouched);
  EXPECT_EQ(VirtualAlloc(nullptr, 0, MEM_COMMIT, PAGE_READWRITE), nullptr);
  EXPECT_EQ(GetLastError(), DWORD{ERROR_INVALID_PARAMETER});
}

TEST(Strings, LengthsStopAtTheNullAndANullStringHasNone) {
  EXPECT_EQ(lstrlenA("four"), 4);
  EXPECT_EQ(lstrlenA(""), 0);
  EXPECT_EQ(lstrlenA(nullptr), 0);
  EXPECT_EQ(lstrlenW(TEXT("wider")), 5);
  EXPECT_EQ(lstrlenW(nullptr), 0);
}

TEST(Environment, AVariableIsReadBackAndTakenAway) {
  ASSERT_TRUE(SetEnvironmentVariableA("VLP_TEST_VARIABLE", "value"));
  char text[32];
  EXPECT_EQ(GetEnvironmentVariableA("VLP_TEST_VARIABLE", text, sizeof text), 5u);
  EXPECT_STREQ(text, "value");
  EXPECT_EQ(GetEnvironmentVariableA("VLP_TEST_VARIABLE", text, 5), 6u) << "needed with its null";
  EXPECT_EQ(GetEnvironmentVariableA("VLP_TEST_VARIABLE", text, 6), 5u);
  ASSERT_TRUE(SetEnvironmentVariableA("VLP_TEST_VARIABLE", nullptr));
  SetLastError(kUntouched);
  EXPECT_EQ(GetEnvironmentVariableA("VLP_TEST_VARIABLE", text, sizeof text), 0u);
  EXPECT_EQ(GetLastError(), DWORD{ERROR_ENVVAR_NOT_FOUND});
}

TEST(Security, ADescriptorOfAnotherRevisionIsRefused) {
  SECURITY_DESCRIPTOR descriptor;
  SetLastError(kUntouched);
  EXPECT_FALSE(InitializeSecurityDescriptor(&descriptor, 2));
  EXPECT_EQ(GetLastError(), 1305u);
}

}  // namespace
