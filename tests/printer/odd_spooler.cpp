// A spooler that answers as the test says: which sizes and handles are believed.

#include "printer/real_name.h"
#include "support/spooler.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <string>

namespace {

constexpr const char* kAlias = "\\\\CSR|srv\\alias";
constexpr std::uint32_t kAliasSize = 16;
constexpr DWORD kOtherResults[] = {ERROR_SUCCESS, ERROR_INSUFFICIENT_BUFFER, ERROR_FILE_NOT_FOUND};
constexpr DWORD kAround = 3 + 4;  // what a real name has beside its value here

// How it opens printers and what it has published.
struct Spooler {
  HANDLE handle = nullptr;
  BOOL opens = TRUE;
  DWORD size_result = ERROR_MORE_DATA;
  DWORD size_told = 6;
  std::string value = std::string("queue\0", 6);

  unsigned closed = 0;
  DWORD last_capacity = 0xFFFFFFFF;  // of the call that reads the value
};

Spooler spooler;
int some_printer = 0;

}  // namespace

BOOL WINAPI OpenPrinterA(LPSTR, LPHANDLE handle, LPPRINTER_DEFAULTSA) {
  *handle = spooler.handle;
  return spooler.opens;
}

BOOL WINAPI ClosePrinter(HANDLE handle) {
  EXPECT_EQ(&some_printer, handle);
  ++spooler.closed;
  return TRUE;
}

DWORD WINAPI GetPrinterDataExA(HANDLE, LPCSTR, LPCSTR, LPDWORD, LPBYTE data, DWORD size,
                               LPDWORD needed) {
  if (data == nullptr) {
    *needed = spooler.size_told;
    return spooler.size_result;
  }
  spooler.last_capacity = size;
  *needed = static_cast<DWORD>(spooler.value.size());
  if (size < spooler.value.size()) return ERROR_MORE_DATA;
  std::memcpy(data, spooler.value.data(), spooler.value.size());
  return ERROR_SUCCESS;
}

namespace vlp {
namespace {

class OddSpooler : public ::testing::Test {
 protected:
  void SetUp() override {
    spooler = Spooler{};
    spooler.handle = &some_printer;
  }

  // The real name of the alias; "none" if there is none.
  std::string Resolve() {
    char out[260] = {};
    size_ = sizeof(out);
    return GetRealNameFromCsrName(kAlias, kAliasSize, out, &size_) == 1 ? out : "none";
  }

  DWORD Build(char* out, std::uint32_t size) {
    size_ = size;
    return BuildCsrRealName(&some_printer, kAlias, out, &size_);
  }

  DWORD Ports(std::uint32_t size) {
    std::fill_n(out_, sizeof(out_), '#');
    size_ = size;
    return GetCsrPortNames(&some_printer, out_, &size_);
  }

  std::uint32_t size_ = 0;
  char out_[64] = {};
};

TEST_F(OddSpooler, IsBelievedInGoodAnswers) {
  EXPECT_EQ("\\\\srv\\queue", Resolve());
  EXPECT_EQ(11u, size_);
  EXPECT_EQ(1u, spooler.closed);
  EXPECT_TRUE(OpenPrinterByName("Printer"));
  EXPECT_EQ(2u, spooler.closed);
}

TEST_F(OddSpooler, HandleOfAllOnesIsNoPrinter) {
  spooler.handle = INVALID_HANDLE_VALUE;
  EXPECT_FALSE(OpenPrinterByName("Printer"));
  EXPECT_EQ("none", Resolve());
  EXPECT_EQ(260u, size_);
  EXPECT_EQ(0u, spooler.closed);
}

TEST_F(OddSpooler, NullHandleIsNoPrinter) {
  spooler.handle = nullptr;
  EXPECT_FALSE(OpenPrinterByName("Printer"));
  EXPECT_EQ("none", Resolve());
  EXPECT_EQ(0u, spooler.closed);
}

TEST_F(OddSpooler, HandleOfAFailedCallIsLeftAlone) {
  spooler.opens = FALSE;
  EXPECT_FALSE(OpenPrinterByName("Printer"));
  EXPECT_EQ("none", Resolve());
  EXPECT_EQ(0u, spooler.closed);
}

// More data than none: the value is there and says nothing.
TEST_F(OddSpooler, MoreDataWithoutASizeIsAnEmptyValue) {
  spooler.size_told = 0;
  spooler.value = std::string(1, '\0');
  EXPECT_EQ("\\\\srv\\", Resolve());
  EXPECT_EQ(1u, spooler.last_capacity);
  EXPECT_EQ(DWORD{ERROR_MORE_DATA}, Build(nullptr, 0));
  EXPECT_EQ(kAround, size_);
  spooler.value.clear();
  EXPECT_EQ(0u, Ports(sizeof(out_)));
  EXPECT_EQ(0u, size_);
  EXPECT_EQ('#', out_[0]);
}

TEST_F(OddSpooler, SizeCountsBesideAnyResult) {
  for (const DWORD result : kOtherResults) {
    SCOPED_TRACE(result);
    spooler.size_result = result;
    EXPECT_EQ("\\\\srv\\queue", Resolve());
    EXPECT_EQ(0u, Ports(sizeof(out_)));
    EXPECT_STREQ("queue", out_);
    EXPECT_EQ(6u, size_);
  }
}

TEST_F(OddSpooler, NeitherSizeNorMoreDataIsNoValue) {
  spooler.size_told = 0;
  for (const DWORD result : kOtherResults) {
    SCOPED_TRACE(result);
    spooler.size_result = result;
    EXPECT_EQ("none", Resolve());
    EXPECT_EQ(DWORD{ERROR_INVALID_DATA}, Build(out_, sizeof(out_)));
    EXPECT_EQ(sizeof(out_), size_);
    EXPECT_EQ(DWORD{ERROR_INVALID_DATA}, Ports(sizeof(out_)));
  }
}

TEST_F(OddSpooler, SizesUpTo64KbAreAllocated) {
  spooler.size_told = 0x10000u - kAround;
  EXPECT_EQ("\\\\srv\\queue", Resolve());
  EXPECT_EQ(0x10000u - 6, spooler.last_capacity);
  for (const DWORD told : {0x10000u - kAround + 1, 0x10000u, 0x7FFFFFFFu, 0x80000000u,
                           0xFFFFFFFFu - kAround, 0xFFFFFFFFu - kAround + 2, 0xFFFFFFFFu}) {
    SCOPED_TRACE(told);
    spooler.size_told = told;
    spooler.last_capacity = 0xFFFFFFFF;
    EXPECT_EQ("none", Resolve());
    EXPECT_EQ(260u, size_);
    EXPECT_EQ(0xFFFFFFFFu, spooler.last_capacity);
  }
}

TEST_F(OddSpooler, SizesOfAPositiveNumberAreToldToTheCaller) {
  for (const DWORD told : {0x10000u, 0x7FFFFFFFu - kAround}) {
    SCOPED_TRACE(told);
    spooler.size_told = told;
    EXPECT_EQ(DWORD{ERROR_MORE_DATA}, Build(nullptr, 0xFFFFFFFF));
    EXPECT_EQ(told + kAround, size_);
    EXPECT_EQ(DWORD{ERROR_MORE_DATA}, Build(out_, sizeof(out_)));
    EXPECT_EQ(told + kAround, size_);
    EXPECT_EQ('\0', out_[0]);
  }
}

// The last two would be small ones behind a wrap.
TEST_F(OddSpooler, LargerSizesAreDamage) {
  for (const DWORD told :
       {0x7FFFFFFFu - kAround + 1, 0x80000000u, 0xFFFFFFFFu - kAround + 1, 0xFFFFFFFFu}) {
    SCOPED_TRACE(told);
    spooler.size_told = told;
    EXPECT_EQ(DWORD{ERROR_INVALID_DATA}, Build(out_, sizeof(out_)));
    EXPECT_EQ(sizeof(out_), size_);
    EXPECT_EQ('\0', out_[0]);
    EXPECT_EQ(DWORD{ERROR_INVALID_DATA}, Build(nullptr, 0xFFFFFFFF));
    EXPECT_EQ(0u, size_);
  }
}

TEST_F(OddSpooler, AnySizeOfPortNamesIsToldToTheCaller) {
  for (const DWORD told : {65u, 0x10001u, 0x80000000u, 0xFFFFFFFFu}) {
    SCOPED_TRACE(told);
    spooler.size_told = told;
    EXPECT_EQ(DWORD{ERROR_MORE_DATA}, Ports(sizeof(out_)));
    EXPECT_EQ(told, size_);
    EXPECT_EQ('#', out_[0]);
  }
}

// A spooler may count wide characters and hand out narrow ones.
TEST_F(OddSpooler, SizeMayBeTwiceWhatIsThere) {
  spooler.size_told = 12;
  EXPECT_EQ("\\\\srv\\queue", Resolve());
  spooler.value = std::string("A\0BC\0\0", 6);
  EXPECT_EQ(0u, Ports(sizeof(out_)));
  EXPECT_EQ(std::string("A,BC") + std::string(8, '\0') + '#', std::string(out_, 13));
  EXPECT_EQ(12u, size_);
}

TEST_F(OddSpooler, ValueThatHasGrownIsNotRead) {
  spooler.value = std::string("another queue\0", 14);
  EXPECT_EQ("none", Resolve());
  EXPECT_EQ(DWORD{ERROR_MORE_DATA}, Build(out_, sizeof(out_)));
  EXPECT_EQ(6u + kAround, size_);
}

}  // namespace
}  // namespace vlp
