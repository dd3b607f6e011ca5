// Channels that change while a status is on its way: what is cut out of the answer goes by
// those that hold then.

#include "platform/machine.h"
#include "tests/operations/exchange_fixture.h"
#include "tests/support/virtual_time.h"

namespace vlp {
namespace {

using operations_test::BdcEnd;
using operations_test::ExchangeTest;
using operations_test::kNamed;
using operations_test::kSendFails;
using operations_test::Row;
using operations_test::Rows;
using operations_test::RowsOf;
using operations_test::TextItem;

class RefreshedChannels : public ExchangeTest {
 protected:
  void TearDown() override {
    platform::set_spooler_latency(0);
    ExchangeTest::TearDown();
  }

  // A status of BDC that is asked for while the printer's channels are still those of
  // `before`, and answered when they are those of `after`.
  void AskAcross(const std::string& before, const std::string& after, const std::string& answer) {
    test::run_virtual_parallel([&] {
      Open({{ChnlKindBdc, 0x0007, "bdc?"}, {ChnlKindD4, 0x0007, "d4?"}, {0x100, 0x0003}},
           "LPT_UniversalDriver=1", before);
      Answer("GetStatus", answer);
      const std::string device_id = "CMD:" + after + ";";
      far_side::plug(
          {.port = "USB001", .device_id = far_side::bytes_of(device_id), .latency_ms = 400});
      platform::set_spooler_latency(100);
      // Answered at 400 ms; three calls of the spooler later, at 700 ms, the channels change.
      auto refresh = test::spawn("refresh", [&] { EXPECT_LE(1, GetConnectInf()); });
      test::settle();
      // Waits for that exchange to end, and is answered at 800 ms.
      rc_ = Ask(ChnlKindBdc);
      EXPECT_EQ(800u, test::elapsed_ms());
      EXPECT_TRUE(refresh.ended());
      refresh.join();
      seen_ = RowsOf(far_side::batches().back());
      FailSends(kSendFails);
      kept_ = Ask(ChnlKindBdc) == 0;
      printer_.reset();
    });
  }

  std::int32_t rc_ = 0;
  Rows seen_;
  bool kept_ = false;
};

TEST_F(RefreshedChannels, WithoutTheOneThatWasAskedFailTheStatus) {
  AskAcross("BDC", "QPL", TextItem("1"));
  EXPECT_EQ((Rows{kNamed, {"GetStatus", "bdc?"}, {"SetTerminateInf", BdcEnd()}}), seen_);
  EXPECT_EQ(VLPER_SEND, rc_);
  EXPECT_FALSE(kept_);
}

TEST_F(RefreshedChannels, WithD4TakeTheWholeAnswer) {
  AskAcross("BDC", "BDC,D4", "a" + TextItem("1") + "b");
  EXPECT_EQ((Rows{kNamed, {"GetStatus", "bdc?"}, {"SetTerminateInf", BdcEnd()}}), seen_);
  EXPECT_EQ(0, rc_);
  EXPECT_EQ("a" + TextItem("1") + "b", got_);
  EXPECT_TRUE(kept_);
}

TEST_F(RefreshedChannels, WithoutD4TakeTheItem) {
  AskAcross("BDC,D4", "BDC", "a" + TextItem("1") + "b");
  EXPECT_EQ((Rows{kNamed, {"GetStatus", "d4?"}}), seen_);
  EXPECT_EQ(0, rc_);
  EXPECT_EQ(TextItem("1"), got_);
  EXPECT_TRUE(kept_);
}

TEST_F(RefreshedChannels, OfAVendorClassPrinterTakeTheItem) {
  AskAcross("BDC,D4", "GENVL,BDC,D4", "a" + TextItem("1") + "b");
  EXPECT_EQ(0, rc_);
  EXPECT_EQ(TextItem("1"), got_);
}

// The same between a command and its reply: the channel must still be there.
TEST_F(RefreshedChannels, WithoutTheOneThatACommandTookFailIt) {
  test::run_virtual_parallel([&] {
    Open({{ChnlKindBdc}, {ChnlKindD4}, {0x100}}, "LPT_UniversalDriver=1", "BDC,D4");
    Answer("SendCommand", "reply");
    far_side::plug(
        {.port = "USB001", .device_id = far_side::bytes_of("CMD:QPL;"), .latency_ms = 400});
    platform::set_spooler_latency(100);
    auto refresh = test::spawn("refresh", [&] { EXPECT_EQ(1, GetConnectInf()); });
    test::settle();
    EXPECT_EQ(VLPER_SEND, Send(ChnlKindD4, "cmd"));
    EXPECT_EQ(800u, test::elapsed_ms());
    refresh.join();
    const std::vector<Row> rows = RowsOf(far_side::batches().back());
    EXPECT_EQ((Rows{kNamed, {"SendCommand", "cmd"}}), rows);
    printer_.reset();
  });
}

}  // namespace
}  // namespace vlp
