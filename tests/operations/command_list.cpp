// Whether a device ID lists a command language.

#include "operations/command_list.h"

#include <gtest/gtest.h>

#include <cstring>
#include <memory>
#include <string>

namespace vlp {
namespace {

// The data stands at the very end of its memory, so that reading beyond is found out.
bool Lists(const std::string& device_id, std::string_view keyword) {
  const auto exact = std::make_unique<std::uint8_t[]>(device_id.size());
  if (!device_id.empty()) std::memcpy(exact.get(), device_id.data(), device_id.size());
  return CmdListHas({exact.get(), device_id.size()}, keyword);
}

struct Case {
  const char* device_id;
  const char* keyword;
  bool listed;
};

void ExpectAll(std::initializer_list<Case> cases) {
  for (const Case& each : cases) {
    EXPECT_EQ(each.listed, Lists(each.device_id, each.keyword))
        << each.device_id << " " << each.keyword;
  }
}

TEST(CommandList, ListsItsEntries) {
  ExpectAll({{"MFG:X;CMD:QPL,BDC,D4;", "QPL", true},
             {"MFG:X;CMD:QPL,BDC,D4;", "BDC", true},
             {"MFG:X;CMD:QPL,BDC,D4;", "D4", true},
             {"MFG:X;CMD:QPL,BDC,D4;", "END4", false},
             {"MFG:X;CMD:QPL,BDC,D4", "D4", true},
             {"CMD:BDC", "BDC", true}});
}

TEST(CommandList, NeedsTheField) {
  ExpectAll({{"", "BDC", false},
             {"BDC", "BDC", false},
             {"MFG:BDC;", "BDC", false},
             {"cmd:BDC;", "BDC", false},
             {"Cmd:BDC;", "BDC", false},
             {"CMD BDC;", "BDC", false},
             {"COMMAND SET:BDC;", "BDC", false},
             {"CMD", "BDC", false},
             {"CMD:", "BDC", false},
             {"CMD:;BDC;", "BDC", false}});
}

TEST(CommandList, TakesTheFirstFieldWhereverItStands) {
  ExpectAll({{"CMD:QPL;CMD:BDC;", "QPL", true},
             {"CMD:QPL;CMD:BDC;", "BDC", false},
             {"XCMD:BDC;", "BDC", true},
             {"MFG:CMD:BDC;", "BDC", true},
             {"CMD:CMD:BDC;", "BDC", false}});
}

TEST(CommandList, EndsAtTheSemicolon) {
  ExpectAll({{"CMD:QPL;BDC,D4;", "D4", false},
             {"CMD:QPL;,BDC,", "BDC", false},
             {"CMD:BD;C", "BDC", false},
             {"CMD:BDC;", "BDC", true}});
}

TEST(CommandList, CountsCase) {
  ExpectAll({{"CMD:bdc;", "BDC", false}, {"CMD:Bdc;", "BDC", false}, {"CMD:bdc;", "bdc", true}});
}

TEST(CommandList, EntryEndsAtACommaADashOrTheFieldsEnd) {
  ExpectAll({{"CMD:D4,QPL;", "D4", true},
             {"CMD:D4-1;", "D4", true},
             {"CMD:D4-;", "D4", true},
             {"CMD:D4;", "D4", true},
             {"CMD:D4", "D4", true},
             {"CMD:D45;", "D4", false},
             {"CMD:D4 ;", "D4", false},
             {"CMD:D4 ,QPL;", "D4", false},
             {"CMD:D4_1;", "D4", false},
             {"CMD:GENVL-2;", "GENVL", true},
             {"CMD:GENVL2;", "GENVL", false}});
}

TEST(CommandList, EntryBeginsBehindACommaOrAtTheFirstTwoBytes) {
  ExpectAll({{"CMD:BDC;", "BDC", true},
             {"CMD:DBDC;", "BDC", true},
             {"CMD: BDC;", "BDC", true},
             {"CMD:XD4;", "D4", true},
             {"CMD:XXBDC;", "BDC", false},
             {"CMD:XXD4;", "D4", false},
             {"CMD:QPL, BDC;", "BDC", false},
             {"CMD:QPL,XBDC;", "BDC", false},
             {"CMD:QPL-BDC;", "BDC", false},
             {"CMD:END4;", "D4", false},
             {"CMD:QPL,END4;", "D4", false},
             {"CMD:QPL,BDC;", "BDC", true},
             {"CMD:,BDC;", "BDC", true},
             {"CMD:,,BDC;", "BDC", true}});
}

TEST(CommandList, GoesOnBehindAMatchThatDoesntCount) {
  ExpectAll({{"CMD:XXBDC,BDC;", "BDC", true},
             {"CMD:BDCX,BDC;", "BDC", true},
             {"CMD:BDCX,XBDC,YBDC,BDC-3;", "BDC", true},
             {"CMD:END4,D4;", "D4", true},
             {"CMD:BDCX,XBDC;", "BDC", false}});
}

// The search resumes behind a rejected match, so an overlapping one isn't seen.
TEST(CommandList, DoesntLookIntoARejectedMatch) {
  ExpectAll({{"CMD:xxAAA,;", "AA", false}, {"CMD:A,A,A,;", "A,A", true}});
}

TEST(CommandList, VersionsAreKeywordsOfTheirOwn) {
  ExpectAll({{"CMD:ZRDPAGES;", "ZRDPAGES-01", false},
             {"CMD:ZRDPAGES-01;", "ZRDPAGES-01", true},
             {"CMD:ZRDPAGES-011;", "ZRDPAGES-01", false},
             {"CMD:ZRDPAGES-01-2;", "ZRDPAGES-01", true},
             {"CMD:ZRDPAGES-03;", "ZRDPAGES-01", false}});
}

TEST(CommandList, HoldsAnyBytes) {
  EXPECT_TRUE(Lists(std::string("MFG\0CMD:\0\xFF,BDC;", 16), "BDC"));
  EXPECT_FALSE(Lists(std::string("CMD:BDC\0;", 9), "BDC"));
  EXPECT_FALSE(Lists(std::string("CMD\0:BDC;", 9), "BDC"));
}

TEST(CommandList, EndsAfterOneThousandAndTwentyThreeBytes) {
  const auto field = [](std::size_t before) { return "CMD:" + std::string(before, ',') + "BDC"; };
  EXPECT_TRUE(Lists(field(1020), "BDC"));
  EXPECT_FALSE(Lists(field(1021), "BDC"));
  // What stands behind the limit is no part of the entry either.
  EXPECT_TRUE(Lists(field(1020) + "X", "BDC"));
  EXPECT_FALSE(Lists(field(1019) + "X", "BDC"));
}

TEST(CommandList, EmptyKeywordIsntListed) { ExpectAll({{"CMD:BDC,;", "", false}}); }

TEST(CommandList, EveryCutOfADeviceIdIsRead) {
  const std::string device_id = "MFG:X;CMD:QPL,XXBDC,BDC-1,END4;MDL:Y;";
  for (std::size_t size = 0; size <= device_id.size(); ++size) {
    const bool listed = size >= std::strlen("MFG:X;CMD:QPL,XXBDC,BDC");
    EXPECT_EQ(listed, Lists(device_id.substr(0, size), "BDC")) << size;
  }
}

}  // namespace
}  // namespace vlp
