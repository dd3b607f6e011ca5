// Which of the profile's channels a device ID bears out: each kind by itself.

#include "operations/channel_choice.h"

#include "include/vlpbidi.h"

#include <gtest/gtest.h>

#include <string>

namespace vlp {
namespace {

struct Case {
  const char* commands;
  const char* port;
  bool kept;
};

class OneChannel : public ::testing::Test {
 protected:
  static std::shared_ptr<const ConnectRecords> Choose(ChannelKind kind, const std::string& commands,
                                                      const std::string& port) {
    ModelProfile profile;
    profile.channelKind[0] = kind;
    profile.channelMode[0] = 0x0003;
    const std::string device_id = "MFG:X;" + commands;
    PrinterFacts facts;
    facts.device_id = {reinterpret_cast<const std::uint8_t*>(device_id.data()), device_id.size()};
    facts.port = port;
    return ChooseChannels(profile, facts);
  }

  static void ExpectAll(ChannelKind kind, std::initializer_list<Case> cases) {
    for (const Case& each : cases) {
      const auto channels = Choose(kind, each.commands, each.port);
      EXPECT_EQ(each.kept ? 1u : 0u, channels->count) << each.commands << " " << each.port;
      if (channels->count == 1) {
        EXPECT_EQ(kind, channels->records[0].kind);
        EXPECT_EQ(0x0003u, channels->records[0].mode);
      }
    }
  }
};

TEST_F(OneChannel, D4IsKeptOnAVendorClassPrinterWhateverElseIsListed) {
  ExpectAll(ChnlKindD4, {{"CMD:GENVL;", "USB001", true},
                         {"CMD:GENVL,BDC;", "USB001", true},
                         {"CMD:GENVL-2;", "USB001", true},
                         {"CMD:GENVL,END4;", "USB001", true},
                         {"CMD:GENVL,D4;", "USB001", true},
                         {"CMD:GENVLX;", "USB001", false}});
}

TEST_F(OneChannel, D4IsKeptOnAFireWirePortOfAnyCaseWhateverIsListed) {
  ExpectAll(ChnlKindD4, {{"CMD:END4;", "VL1394D3_1", true},
                         {"CMD:END4;", "vl1394d3_1", true},
                         {"CMD:END4;", "Vl1394D3_", true},
                         {"CMD:;", "VL1394D3_1", true},
                         {"", "VL1394D3_1", true},
                         {"CMD:END4;", "VL1394_D3_1", false},
                         {"CMD:END4;", "VL1394D3", false},
                         {"CMD:END4;", "XVL1394D3_1", false},
                         {"CMD:END4;", "VL1394_1", false}});
}

TEST_F(OneChannel, D4IsDroppedWhereEnd4IsListed) {
  ExpectAll(ChnlKindD4, {{"CMD:END4;", "USB001", false},
                         {"CMD:D4,END4;", "USB001", false},
                         {"CMD:END4-1,D4;", "", false},
                         {"CMD:D4,XXEND4;", "USB001", true}});
}

TEST_F(OneChannel, D4NeedsItsKeywordOtherwise) {
  ExpectAll(ChnlKindD4, {{"CMD:D4;", "USB001", true},
                         {"CMD:BDC,D4-1;", "USB001", true},
                         {"CMD:D4;", "", true},
                         {"CMD:BDC;", "USB001", false},
                         {"CMD:;", "USB001", false},
                         {"", "USB001", false},
                         {"", "", false}});
}

TEST_F(OneChannel, PagesNeedVersionOneOrTwo) {
  ExpectAll(ChnlKindZrdPages, {{"CMD:ZRDPAGES-01;", "USB001", true},
                               {"CMD:ZRDPAGES-02;", "USB001", true},
                               {"CMD:QPL,ZRDPAGES-02,BDC;", "USB001", true},
                               {"CMD:ZRDPAGES-01-3;", "USB001", true},
                               {"CMD:ZRDPAGES;", "USB001", false},
                               {"CMD:ZRDPAGES-03;", "USB001", false},
                               {"CMD:ZRDPAGES-00;", "USB001", false},
                               {"CMD:ZRDPAGE-01;", "USB001", false},
                               {"CMD:GENVL;", "VL1394D3_1", false},
                               {"", "USB001", false}});
}

TEST_F(OneChannel, JobLanguageNeedsItsKeyword) {
  ExpectAll(ChnlKindQpl, {{"CMD:QPL;", "USB001", true},
                          {"CMD:BDC,QPL-5;", "USB001", true},
                          {"CMD:BDC;", "USB001", false},
                          {"CMD:GENVL;", "USB001", false},
                          {"", "USB001", false}});
}

TEST_F(OneChannel, BdcNeedsItsKeyword) {
  ExpectAll(ChnlKindBdc, {{"CMD:BDC;", "USB001", true},
                          {"CMD:DBDC;", "USB001", true},
                          {"CMD:XXBDC;", "USB001", false},
                          {"CMD:QPL;", "USB001", false},
                          {"CMD:GENVL;", "USB001", false},
                          {"", "USB001", false}});
}

TEST_F(OneChannel, End4NeedsItsKeywordAndNoVendorClass) {
  ExpectAll(ChnlKindEnd4, {{"CMD:END4;", "USB001", true},
                           {"CMD:D4,END4-1;", "USB001", true},
                           {"CMD:END4;", "VL1394D3_1", true},
                           {"CMD:GENVL,END4;", "USB001", false},
                           {"CMD:GENVL;", "USB001", false},
                           {"CMD:D4;", "USB001", false},
                           {"", "USB001", false}});
}

TEST_F(OneChannel, LabelNeedsItsKeyword) {
  ExpectAll(ChnlKindLabel, {{"CMD:ZRDLABEL;", "USB001", true},
                            {"CMD:ZRDLABEL-1;", "USB001", true},
                            {"CMD:ZRDLABELS;", "USB001", false},
                            {"CMD:LABEL;", "USB001", false},
                            {"", "USB001", false}});
}

TEST_F(OneChannel, AnyOtherKindIsKeptWithoutATest) {
  for (const ChannelKind kind :
       {ChnlKindZrdPage, ChannelKind{1}, ChannelKind{0x10000004}, ChannelKind{0x10010001},
        ChannelKind{0x7FFFFFFF}, ChannelKind{0x80000000}, ChannelKind{0xFFFFFFFF}}) {
    ExpectAll(kind, {{"", "", true}, {"CMD:;", "USB001", true}, {"CMD:GENVL;", "USB001", true}});
  }
}

TEST_F(OneChannel, VendorClassIsToldByItsKeywordAlone) {
  EXPECT_EQ(1u, Choose(ChnlKindBdc, "CMD:GENVL;", "USB001")->vendorClass);
  EXPECT_EQ(1u, Choose(ChnlKindBdc, "CMD:QPL,GENVL-2,BDC;", "USB001")->vendorClass);
  EXPECT_EQ(0u, Choose(ChnlKindBdc, "CMD:GENVL2;", "USB001")->vendorClass);
  EXPECT_EQ(0u, Choose(ChnlKindBdc, "CMD:genvl;", "USB001")->vendorClass);
  EXPECT_EQ(0u, Choose(ChnlKindBdc, "GENVL", "USB001")->vendorClass);
  EXPECT_EQ(0u, Choose(ChnlKindBdc, "", "VL1394D3_1")->vendorClass);
}

}  // namespace
}  // namespace vlp
