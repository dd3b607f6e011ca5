// Memory that runs out and calls that fail in a status, a command and a through command, and
// settings that ask for more memory than there is.

#include "platform/faults.h"
#include "platform/machine.h"
#include "tests/operations/exchange_fixture.h"
#include "tests/support/fault_memory.h"
#include "tests/support/virtual_time.h"

namespace vlp {
namespace {

using operations_test::BdcProbe;
using operations_test::ExchangeTest;
using operations_test::TextItem;

enum class Work { status, command, through };

const char* NameOf(Work work) {
  constexpr const char* kNames[] = {"GetStatus", "SendCommand", "SendThroughCommand"};
  return kNames[static_cast<int>(work)];
}

class ExchangeFaults : public ExchangeTest, public ::testing::WithParamInterface<Work> {
 protected:
  void TearDown() override {
    platform::clear_faults();
    ExchangeTest::TearDown();
  }

  void OpenAnswering(const std::string& setting = "") {
    Open({{ChnlKindBdc}}, setting);
    Answer("GetStatus", TextItem("1"));
    Answer("SendCommand", "reply" + BdcProbe());
  }

  std::int32_t Perform() {
    const platform::UnderTest tested;
    length_ = sizeof(room_);
    switch (GetParam()) {
      case Work::status:
        return printer_->GetStatus(ChnlKindBdc, room_, &length_);
      case Work::command:
        return printer_->SendCommand(ChnlKindBdc, kCommand, sizeof(kCommand), room_, &length_);
      case Work::through:
        return printer_->SendThroughCommand(ChnlKindBdc, kCommand, sizeof(kCommand));
    }
    return 1;
  }

  // Asks the printer, as nothing is left of what failed, and gives what it should.
  void ExpectGoodAfterwards() {
    EXPECT_FALSE(platform::any_lock_held());
    EXPECT_EQ((far_side::LiveObjects{1, 0, 0}), far_side::live_objects());
    const far_side::Counts counts = far_side::counts("Printer");
    EXPECT_EQ(counts.bound, counts.unbinds);
    const std::size_t before = far_side::batches().size();
    EXPECT_EQ(0, Perform());
    EXPECT_EQ(before + 1, far_side::batches().size());
    if (GetParam() == Work::through) return;
    EXPECT_EQ(GetParam() == Work::status ? TextItem("1") : "reply",
              std::string(room_, room_ + length_));
  }

  static constexpr std::uint8_t kCommand[] = {'c', 'm', 'd'};
  std::uint8_t room_[64] = {};
};

INSTANTIATE_TEST_SUITE_P(Of, ExchangeFaults,
                         ::testing::Values(Work::status, Work::command, Work::through),
                         [](const auto& of) { return std::string(NameOf(of.param)); });

TEST_P(ExchangeFaults, OutOfMemoryIsToldAndLeavesNothing) {
  SKIP_UNLESS_MEMORY_CAN_FAIL();
  for (unsigned nth = 1;; ++nth) {
    SCOPED_TRACE(nth);
    bool met = false;
    test::run_virtual_parallel([&] {
      OpenAnswering();
      platform::fail_call("operator new", nth, ERROR_NOT_ENOUGH_MEMORY);
      const std::int32_t rc = Perform();
      met = platform::faults_met() != 0;
      platform::clear_faults();
      if (met) {
        EXPECT_EQ(VLPER_MEMORY, rc);
        EXPECT_EQ(sizeof(room_), length_);
        const std::vector<std::string> lines = Log();
        ASSERT_FALSE(lines.empty());
        EXPECT_EQ(std::string("### CPrinterInf::") +
                      (GetParam() == Work::status ? "GetStatus" : "SendCommand") +
                      " Return : rc = " + std::to_string(rc),
                  lines.back());
        ExpectGoodAfterwards();
      } else {
        EXPECT_EQ(0, rc);
      }
      printer_.reset();
    });
    if (!met) {
      EXPECT_GT(nth, 2u);
      break;
    }
  }
}

// The memory of the operation itself, as opposed to that of the spooler's objects.
TEST_P(ExchangeFaults, OutOfMemoryBeforeTheExchangeIsMemory) {
  SKIP_UNLESS_MEMORY_CAN_FAIL();
  test::run_virtual_parallel([&] {
    OpenAnswering();
    platform::fail_call("operator new", 1, ERROR_NOT_ENOUGH_MEMORY);
    EXPECT_EQ(VLPER_MEMORY, Perform());
    EXPECT_EQ(1u, platform::faults_met());
    EXPECT_EQ(0u, Batches());
    platform::clear_faults();
    ExpectGoodAfterwards();
    printer_.reset();
  });
}

// The profile's word is taken as it is: four gigabytes are asked for, and if the system has
// them, they serve.
TEST_P(ExchangeFaults, TheLargestReceiveBufferIsServedOrRefused) {
  test::run_virtual_parallel([&] {
    OpenAnswering("LPT_RcvDatBuffSize=-1");
    const std::int32_t rc = Perform();
    EXPECT_TRUE(rc == 0 || (rc == VLPER_MEMORY && GetParam() != Work::through)) << rc;
    EXPECT_EQ(rc == 0 ? 1u : 0u, Batches());
    printer_.reset();
  });
}

TEST_P(ExchangeFaults, FailureOfEachCallGivesAListedCodeAndLeavesNothing) {
  for (unsigned nth = 1;; ++nth) {
    std::vector<std::string> failed;
    test::run_virtual_parallel([&] {
      OpenAnswering();
      platform::fail_nth_system_call(nth, ERROR_GEN_FAILURE);
      const std::int32_t rc = Perform();
      failed = platform::failed_calls();
      platform::clear_faults();
      SCOPED_TRACE(failed.empty() ? "none" : failed[0]);
      EXPECT_TRUE(rc == 0 || rc == VLPER_NOTSUPPORT || rc == VLPER_SEND || rc == VLPER_PARAM) << rc;
      EXPECT_TRUE(rc == 0 || length_ == sizeof(room_)) << length_;
      EXPECT_LE(Batches(), 1u);
      if (rc != 0) ExpectGoodAfterwards();
      EXPECT_FALSE(platform::any_lock_held());
      printer_.reset();
    });
    if (failed.empty()) {
      EXPECT_GT(nth, 10u);
      break;
    }
  }
}

}  // namespace
}  // namespace vlp
