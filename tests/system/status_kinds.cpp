// How each kind of channel is asked for its status: the batch, the bytes at the printer, the
// item that comes of it.

#include <ostream>

#include "tests/system/talk.h"

namespace system_test {
namespace {

struct Asking {
  const char* name;  // of the test
  std::vector<Channel> channels;
  const char* listed;
  ChannelKind asked;
  std::string request;  // what goes to the printer
  std::string end;      // how the reply ends; empty: nothing is said of it
  std::string item;
  std::string trailer = {};  // what goes to the printer behind the reply
};

void PrintTo(const Asking& asking, std::ostream* out) { *out << asking.listed; }

std::vector<Asking> Askings() {
  const std::string text = StatusRequestOf(TextBdc());
  const std::string binary = StatusRequestOf(BinaryBdc());
  const std::string page = StatusRequestOf(ZrdPage());
  const std::string d4 = StatusRequestOf(D4());
  return {
      {"BdcAsText", {TextBdc()}, "BDC", ChnlKindBdc, text, BdcEnd(), kTextItem},
      {"BdcInBinary", {BinaryBdc()}, "BDC", ChnlKindBdc, binary, BinaryBdcEnd(), kBinaryItem},
      {"TheJobLanguage", {Qpl()}, "QPL", ChnlKindQpl, StatusRequestOf(Qpl()), QplEnd(), kJobItem},
      {"ThePageLanguage",
       {ZrdPage()},
       "QPL",
       ChnlKindZrdPage,
       page,
       PageEnd(),
       kJobItem,
       "\x1B\x01"},
      {"ThePageLanguageBesideBdc",
       {TextBdc(), ZrdPage()},
       "QPL,BDC",
       ChnlKindZrdPage,
       page,
       PageEnd(),
       kJobItem,
       "\x1B\x01"},
      {"PagesWithTheirWholeReply",
       {ZrdPages()},
       "ZRDPAGES-01",
       ChnlKindZrdPages,
       StatusRequestOf(ZrdPages()),
       "",
       "ZRD/PAGE iS MEMORY=64;SERIAL=QN42000017\n"},
      {"D4WithItsWholeReply", {D4()}, "D4", ChnlKindD4, d4, "", kTextItem},
      {"BdcByWayOfD4", {TextBdc(), D4()}, "BDC,D4", ChnlKindBdc, d4, "", kTextItem},
      {"BdcByWayOfD4WhereverItIsListed",
       {D4(), Qpl(), BinaryBdc()},
       "QPL,BDC,D4",
       ChnlKindBdc,
       d4,
       "",
       kTextItem},
      {"FaxByWayOfBdc", {TextBdc(), End4()}, "BDC,END4", ChnlKindEnd4, text, BdcEnd(), kTextItem},
      {"LabelsWithTheirWholeReply",
       {Label()},
       "ZRDLABEL",
       ChnlKindLabel,
       StatusRequestOf(Label()),
       "",
       "~HS,0400,QN42000017\r\n"},
      {"TheVendorClassByBdc",
       {TextBdc(), D4()},
       "GENVL,BDC",
       ChnlKindBdc,
       text,
       BdcEnd(),
       kTextItem},
      {"TheVendorClassByBdcForD4",
       {TextBdc(), D4()},
       "GENVL,BDC",
       ChnlKindD4,
       text,
       BdcEnd(),
       kTextItem},
      {"TheVendorClassByBdcForAnUnknownKind",
       {BinaryBdc()},
       "GENVL,BDC",
       kOwnKind,
       binary,
       BinaryBdcEnd(),
       kBinaryItem},
      {"AnUnknownKindWithItsWholeReply",
       {{kOwnKind, 4, bytes_of("own?")}},
       "BDC",
       kOwnKind,
       "own?",
       "",
       "any\0thing"s},
  };
}

class StatusOf : public TalkTest, public ::testing::WithParamInterface<Asking> {};

TEST_P(StatusOf, IsAskedForAndCutOut) {
  const Asking& asking = GetParam();
  Open(asking.channels, asking.listed, "",
       {.scripts = {{bytes_of("own?"), bytes_of("any\0thing"s)}}});
  EXPECT_EQ(Status(asking.asked), asking.item);
  Texts wire = {asking.request};
  if (!asking.trailer.empty()) wire.push_back(asking.trailer);
  EXPECT_EQ(Wire(), wire);
  Rows rows = {NameRow(), {"GetStatus", asking.request}};
  if (!asking.end.empty()) rows.emplace_back("SetTerminateInf", asking.end);
  EXPECT_EQ(LastRows(), rows);
  EXPECT_TRUE(far_side::batches().back().container);
  EXPECT_EQ(Counts().status_queries, 1U) << "the length protocol's second call asks nobody";
}

INSTANTIATE_TEST_SUITE_P(Kinds, StatusOf, ::testing::ValuesIn(Askings()),
                         [](const auto& each) { return std::string(each.param.name); });

}  // namespace
}  // namespace system_test
