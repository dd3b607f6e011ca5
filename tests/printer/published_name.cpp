// What is put together from the data that an open printer has published.

#include "printer/real_name.h"
#include "support/spooler.h"
#include "tests/support/far_side.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

namespace vlp {
namespace {

constexpr const char* kAlias = "\\\\CSR|srv\\alias";
const HANDLE kAllOnes = INVALID_HANDLE_VALUE;

class Published : public ::testing::Test {
 protected:
  void SetUp() override {
    far_side::reset();
    far_side::add_printer(
        {.name = "Full", .published_name = "queue", .published_ports = {"A", "BC"}});
    far_side::add_printer({.name = "Bare"});
    full_ = OpenPrinterByName("Full");
    bare_ = OpenPrinterByName("Bare");
    ASSERT_TRUE(full_);
    ASSERT_TRUE(bare_);
  }

  PrinterHandle full_;
  PrinterHandle bare_;
};

using RealName = Published;

TEST_F(RealName, IsServerAndPublishedName) {
  char out[64] = {};
  std::uint32_t size = sizeof(out);
  EXPECT_EQ(0u, BuildCsrRealName(full_.Get(), kAlias, out, &size));
  EXPECT_STREQ("\\\\srv\\queue", out);
  EXPECT_EQ(6u + 3u + 4u, size);  // the value with its terminator, the server, three backslashes
}

TEST_F(RealName, TellsItsSizeWithoutABuffer) {
  std::uint32_t size = 1000;
  EXPECT_EQ(DWORD{ERROR_MORE_DATA}, BuildCsrRealName(full_.Get(), kAlias, nullptr, &size));
  EXPECT_EQ(13u, size);
}

TEST_F(RealName, TellsItsSizeForASmallerBufferAndLeavesThatAlone) {
  char out[64] = "left alone";
  std::uint32_t size = 12;
  EXPECT_EQ(DWORD{ERROR_MORE_DATA}, BuildCsrRealName(full_.Get(), kAlias, out, &size));
  EXPECT_EQ(13u, size);
  EXPECT_STREQ("left alone", out);
  EXPECT_EQ(0u, BuildCsrRealName(full_.Get(), kAlias, out, &size));
  EXPECT_STREQ("\\\\srv\\queue", out);
}

TEST_F(RealName, WritesNothingBeyondItsSize) {
  char out[16];
  std::fill_n(out, sizeof(out), '#');
  std::uint32_t size = 13;
  EXPECT_EQ(0u, BuildCsrRealName(full_.Get(), kAlias, out, &size));
  EXPECT_EQ(std::string(3, '#'), std::string(out + 13, 3));
}

TEST_F(RealName, WithoutASizeIsRefused) {
  char out[64] = {};
  EXPECT_EQ(DWORD{ERROR_INVALID_PARAMETER}, BuildCsrRealName(full_.Get(), kAlias, out, nullptr));
}

struct RefusedCase {
  bool has_handle;
  const char* name;
  DWORD error;
};

TEST_F(RealName, RefusesBadArgumentsAndClearsTheSizeWithoutABufferOnly) {
  constexpr RefusedCase kCases[] = {
      {false, "\\\\CSR|srv\\alias", ERROR_INVALID_PARAMETER},
      {true, nullptr, ERROR_INVALID_PARAMETER},
      {true, "Printer", ERROR_INVALID_DATA},
      {true, "\\\\csr|srv\\alias", ERROR_INVALID_DATA},
      {true, "", ERROR_INVALID_DATA},
      {true, "\\\\CSR", ERROR_INVALID_DATA},
      {true, "\\\\CSR|", ERROR_INVALID_PARAMETER},
      {true, "\\\\CSR|server", ERROR_INVALID_PARAMETER},
      {true, "\\\\CSR|\\queue", ERROR_INVALID_PARAMETER},
      {true, "\\\\CSR|\\", ERROR_INVALID_PARAMETER},
  };
  for (const RefusedCase& each : kCases) {
    SCOPED_TRACE(each.name != nullptr ? each.name : "null");
    const HANDLE handle = each.has_handle ? full_.Get() : nullptr;
    char out[64] = {};
    std::uint32_t size = sizeof(out);
    EXPECT_EQ(each.error, BuildCsrRealName(handle, each.name, out, &size));
    EXPECT_EQ(sizeof(out), size);
    EXPECT_EQ(each.error, BuildCsrRealName(handle, each.name, nullptr, &size));
    EXPECT_EQ(0u, size);
  }
}

TEST_F(RealName, RefusesAHandleOfAllOnes) {
  std::uint32_t size = 5;
  EXPECT_EQ(DWORD{ERROR_INVALID_PARAMETER}, BuildCsrRealName(kAllOnes, kAlias, nullptr, &size));
  EXPECT_EQ(0u, size);
}

TEST_F(RealName, NeedsAPublishedName) {
  char out[64] = {};
  std::uint32_t size = sizeof(out);
  EXPECT_EQ(DWORD{ERROR_INVALID_DATA}, BuildCsrRealName(bare_.Get(), kAlias, out, &size));
  EXPECT_EQ(sizeof(out), size);
  EXPECT_EQ(DWORD{ERROR_INVALID_DATA}, BuildCsrRealName(bare_.Get(), kAlias, nullptr, &size));
  EXPECT_EQ(0u, size);
}

TEST_F(RealName, MayBePublishedEmpty) {
  far_side::add_printer({.name = "Empty", .published_name = ""});
  const PrinterHandle empty = OpenPrinterByName("Empty");
  char out[64] = {};
  std::uint32_t size = sizeof(out);
  EXPECT_EQ(0u, BuildCsrRealName(empty.Get(), kAlias, out, &size));
  EXPECT_STREQ("\\\\srv\\", out);
}

TEST_F(RealName, MayHaveAServerOfOneByte) {
  char out[64] = {};
  std::uint32_t size = sizeof(out);
  EXPECT_EQ(0u, BuildCsrRealName(full_.Get(), "\\\\CSR|s\\", out, &size));
  EXPECT_STREQ("\\\\s\\queue", out);
}

TEST_F(RealName, MayBeLong) {
  const std::string name(2000, 'q');
  far_side::add_printer({.name = "Long", .published_name = name});
  const PrinterHandle printer = OpenPrinterByName("Long");
  std::uint32_t size = 0;
  EXPECT_EQ(DWORD{ERROR_MORE_DATA}, BuildCsrRealName(printer.Get(), kAlias, nullptr, &size));
  ASSERT_EQ(2001u + 3 + 4, size);
  std::vector<char> out(size);
  EXPECT_EQ(0u, BuildCsrRealName(printer.Get(), kAlias, out.data(), &size));
  EXPECT_EQ("\\\\srv\\" + name, std::string(out.data()));
}

using PortNames = Published;

TEST_F(PortNames, AreJoinedByCommas) {
  char out[64];
  std::fill_n(out, sizeof(out), '#');
  std::uint32_t size = sizeof(out);
  EXPECT_EQ(0u, GetCsrPortNames(full_.Get(), out, &size));
  EXPECT_STREQ("A,BC", out);
  EXPECT_EQ(6u, size);
  EXPECT_EQ(std::string("A,BC\0\0#", 7), std::string(out, 7));
}

TEST_F(PortNames, OfOnePortHaveNoComma) {
  far_side::add_printer({.name = "One", .published_ports = {"USB001"}});
  const PrinterHandle printer = OpenPrinterByName("One");
  char out[64] = {};
  std::uint32_t size = sizeof(out);
  EXPECT_EQ(0u, GetCsrPortNames(printer.Get(), out, &size));
  EXPECT_EQ(std::string("USB001\0\0", 8), std::string(out, 8));
  EXPECT_EQ(8u, size);
}

TEST_F(PortNames, NeedABufferOfTheirSize) {
  char out[64] = "left alone";
  std::uint32_t size = 5;
  EXPECT_EQ(DWORD{ERROR_MORE_DATA}, GetCsrPortNames(full_.Get(), out, &size));
  EXPECT_EQ(6u, size);
  EXPECT_STREQ("left alone", out);
  EXPECT_EQ(0u, GetCsrPortNames(full_.Get(), out, &size));
  EXPECT_STREQ("A,BC", out);
}

TEST_F(PortNames, RefuseBadArguments) {
  char out[64] = {};
  std::uint32_t size = sizeof(out);
  EXPECT_EQ(DWORD{ERROR_INVALID_PARAMETER}, GetCsrPortNames(full_.Get(), out, nullptr));
  EXPECT_EQ(DWORD{ERROR_INVALID_PARAMETER}, GetCsrPortNames(full_.Get(), nullptr, &size));
  EXPECT_EQ(DWORD{ERROR_INVALID_PARAMETER}, GetCsrPortNames(nullptr, out, &size));
  EXPECT_EQ(DWORD{ERROR_INVALID_PARAMETER}, GetCsrPortNames(kAllOnes, out, &size));
  EXPECT_EQ(sizeof(out), size);
}

TEST_F(PortNames, ThatArentPublishedAreInvalidData) {
  char out[64] = {};
  std::uint32_t size = sizeof(out);
  EXPECT_EQ(DWORD{ERROR_INVALID_DATA}, GetCsrPortNames(bare_.Get(), out, &size));
}

}  // namespace
}  // namespace vlp
