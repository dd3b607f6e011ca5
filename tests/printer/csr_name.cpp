// Which names are aliases. No spooler is asked here.

#include "printer/real_name.h"

#include <gtest/gtest.h>

namespace vlp {
namespace {

struct NameCase {
  const char* name;
  std::uint32_t size;
  std::int32_t is_alias;
};

TEST(AliasName, BeginsWithThePrefixAndHasOneCharacterMore) {
  constexpr NameCase kCases[] = {
      {nullptr, 0, 0},
      {nullptr, 20, 0},
      {"\\\\CSR|srv\\alias", 0, 0},
      {"\\\\CSR|srv\\alias", 1, 0},
      {"\\\\CSR|srv\\alias", 6, 0},
      {"\\\\CSR|srv\\alias", 7, 1},
      {"\\\\CSR|srv\\alias", 16, 1},
      {"\\\\CSR|", 7, 1},
      {"\\\\CSR|", 6, 0},
      {"\\\\csr|srv\\alias", 16, 0},
      {"\\\\CSR:srv\\alias", 16, 0},
      {"\\CSR|srv\\alias", 15, 0},
      {" \\\\CSR|srv\\alias", 17, 0},
      {"Printer", 8, 0},
      {"", 1, 0},
  };
  for (const NameCase& each : kCases) {
    EXPECT_EQ(each.is_alias, IsCsrName(each.name, each.size))
        << (each.name != nullptr ? each.name : "null") << " " << each.size;
  }
}

struct WideCase {
  const WCHAR* name;
  std::uint32_t size;
  std::int32_t is_alias;
};

TEST(AliasName, InWideTextIsToldTheSameWay) {
  constexpr WideCase kCases[] = {
      {nullptr, 0, 0},
      {nullptr, 20, 0},
      {TEXT("\\\\CSR|srv\\alias"), 0, 0},
      {TEXT("\\\\CSR|srv\\alias"), 6, 0},
      {TEXT("\\\\CSR|srv\\alias"), 7, 1},
      {TEXT("\\\\CSR|srv\\alias"), 16, 1},
      {TEXT("\\\\CSR|"), 7, 1},
      {TEXT("\\\\csr|srv\\alias"), 16, 0},
      {TEXT("Printer"), 8, 0},
  };
  for (const WideCase& each : kCases) {
    EXPECT_EQ(each.is_alias, IsCsrNameW(each.name, each.size)) << each.size;
  }
}

TEST(AliasName, OfASizeThatEndsEarlierIsntReadFurther) {
  const char name[] = {'\\', '\\', 'C', 'S', 'R', '|', 'x'};
  EXPECT_EQ(1, IsCsrName(name, sizeof(name)));
  EXPECT_EQ(0, IsCsrName(name, sizeof(name) - 1));
}

}  // namespace
}  // namespace vlp
