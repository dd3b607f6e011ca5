// Every step of an exchange that can fail: the code, and that nothing stays behind.

#include "tests/bidi/bidi_fixture.h"

namespace vlp {
namespace {

using bidi_test::Batch;
using bidi_test::BidiFormTest;
using bidi_test::BidiTest;
using bidi_test::Form;
using far_side::bytes_of;

constexpr std::uint32_t kFail = 0x80004005;

class Failure : public BidiTest {
 protected:
  void SetUp() override {
    BidiTest::SetUp();
    trouble_.rows[u"\\A:One"] = {.data = bytes_of("1")};
    trouble_.rows[u"\\A:Two"] = {.data = bytes_of("2")};
    trouble_.rows[u"\\A:Three"] = {.data = bytes_of("3")};
    trouble_.rows[u"\\A:Four"] = {.data = bytes_of("4")};
  }

  // A container of four rows; gives the result and leaves the batch for the test to see.
  std::int32_t CallFour() {
    if (bidi_ == nullptr) Start(log_mask_);
    far_side::set_trouble(trouble_);
    batch_ = std::make_unique<Batch>();
    batch_->Ask(u"\\A:One", 8).Ask(u"\\A:Two", 8).Ask(u"\\A:Three", 8).Ask(u"\\A:Four", 8);
    return Call(*batch_);
  }

  // Bound and unbound, and no object but the worker's is left.
  void ExpectClean(std::uint32_t sends) {
    EXPECT_EQ(1u, Counts().bound);
    EXPECT_EQ(1u, Counts().unbinds);
    EXPECT_EQ(sends, Counts().sends);
    EXPECT_EQ((far_side::LiveObjects{1, 0, 0}), far_side::live_objects());
  }

  std::uint32_t log_mask_ = 0;
  far_side::Trouble trouble_;
  std::unique_ptr<Batch> batch_;
};

class FailureForm : public BidiFormTest {
 protected:
  std::int32_t CallWith(const far_side::Trouble& trouble, std::uint32_t log_mask = 0) {
    Start(log_mask);
    far_side::set_trouble(trouble);
    return Ask(8, GetParam());
  }

  void ExpectClean(std::uint32_t sends) {
    EXPECT_EQ(1u, Counts().bound);
    EXPECT_EQ(1u, Counts().unbinds);
    EXPECT_EQ(sends, Counts().sends);
    EXPECT_EQ((far_side::LiveObjects{1, 0, 0}), far_side::live_objects());
  }

  std::size_t DeletedRequests() const { return LinesOf("CBidiIF::DeleteRequest: Enter").size(); }
};
INSTANTIATE_TEST_SUITE_P(Both, FailureForm, ::testing::Values(Form::kSingle, Form::kContainer),
                         bidi_test::FormName);

TEST_P(FailureForm, RequestThatCantBeCreatedIsUnbound) {
  EXPECT_EQ(VLPER_NOTSUPPORT, CallWith({.create_request = {.result = kFail}}, kLogObjects));
  ExpectClean(0);
  EXPECT_EQ(0u, DeletedRequests());
}

TEST_P(FailureForm, SchemaThatIsRefusedEndsTheCallBeforeTheSend) {
  EXPECT_EQ(VLPER_NOTSUPPORT, CallWith({.set_schema = {.result = kFail}}, kLogObjects));
  ExpectClean(0);
  EXPECT_EQ(1u, DeletedRequests());
}

TEST_P(FailureForm, InputThatIsRefusedEndsTheCallBeforeTheSend) {
  EXPECT_EQ(VLPER_NOTSUPPORT,
            CallWith({.set_input_data = {.result = kFail, .at = 1}}, kLogObjects));
  ExpectClean(0);
  EXPECT_EQ(1u, DeletedRequests());
}

TEST_P(FailureForm, EachSendFailureHasItsCode) {
  Start();
  constexpr struct {
    std::uint32_t hr;
    std::int32_t code;
  } kFailures[] = {
      {0x800732CB, VLPER_NOTCONNECT}, {0x800732CC, VLPER_NOTCONNECT},
      {0x80070006, VLPER_NOTSUPPORT}, {0x80070032, VLPER_NOTSUPPORT},
      {0x800732CD, VLPER_NOTSUPPORT}, {0x80004005, VLPER_SEND},
  };
  for (const auto& failure : kFailures) {
    far_side::set_trouble({.send = {.result = failure.hr}});
    Batch batch;
    batch.Name(u"Printer").Ask(kSchema, 64);
    if (GetParam() == Form::kSingle) {
      EXPECT_EQ(failure.code, bidi_->SendRecvBidi(TEXT("Printer"), batch.Row(0))) << failure.hr;
    } else {
      EXPECT_EQ(failure.code, Call(batch)) << failure.hr;
      EXPECT_EQ(64u, batch.Length(1)) << failure.hr;
    }
  }
  EXPECT_EQ(Counts().bound, Counts().unbinds);
}

TEST_P(FailureForm, PrinterThatIsOfflineIsNotConnected) {
  Start();
  for (const auto reach : {far_side::Reach::server_offline, far_side::Reach::device_offline}) {
    far_side::plug({.port = "USB001", .reach = reach});
    Batch batch;
    batch.Name(u"Printer");
    EXPECT_EQ(VLPER_NOTCONNECT, Call(batch, GetParam()));
  }
}

TEST_P(FailureForm, SchemaNotSupportedAtTheAnswerIsRecognisedAsAWholeNumberOnly) {
  Start();
  constexpr struct {
    std::uint32_t result;
    std::int32_t code;
  } kResults[] = {
      {13005, VLPER_NOTSUPPORT}, {0x800732CD, 0},  // the same number with its failure bits
      {0x000132CD, 0},           {13004, 0},      {0x80004005, 0},
  };
  for (const auto& each : kResults) {
    SetAnswer({.result = each.result, .data = bytes_of("data")});
    Batch batch;
    batch.Ask(kSchema, 8);
    EXPECT_EQ(each.code, Call(batch, GetParam())) << each.result;
    EXPECT_EQ(each.code == 0, batch.Length(0) == 4) << each.result;
  }
}

TEST_P(FailureForm, FailureOfTheResultQueryItselfIsIgnored) {
  far_side::Trouble trouble;
  trouble.get_result = {.result = kFail};
  trouble.get_enum_count = {.result = kFail};
  trouble.rows[kSchema] = {.data = bytes_of("data")};
  EXPECT_EQ(0, CallWith(trouble));
  ExpectClean(1);
}

TEST_P(FailureForm, OutputThatCantBeReadIsASendFailure) {
  far_side::Trouble trouble;
  trouble.get_output_data = {.result = kFail};
  trouble.rows[kSchema] = {.data = bytes_of("data")};
  Start();
  far_side::set_trouble(trouble);
  Batch batch;
  batch.Ask(kSchema, 8);
  EXPECT_EQ(VLPER_SEND, Call(batch, GetParam()));
  EXPECT_TRUE(batch.IsUntouched(0));
  ExpectClean(1);
}

// The second call of SetInputData is the one that lets the request drop its input.
TEST_P(FailureForm, RequestThatKeepsItsInputIsReleasedAllTheSame) {
  far_side::Trouble trouble;
  trouble.set_input_data = {.result = kFail, .at = 2};
  trouble.rows[kSchema] = {.data = bytes_of("data")};
  EXPECT_EQ(0, CallWith(trouble, kLogBidi));
  ExpectClean(1);
  const auto lines = LinesOf("CBidiIF::DeleteRequest: IBidiRequest::SetInputData(BIDI_NULL,0,0)");
  ASSERT_EQ(1u, lines.size());
  EXPECT_EQ(
      "### CBidiIF::DeleteRequest: IBidiRequest::SetInputData(BIDI_NULL,0,0) : hr = -2147467259",
      lines[0].shown());
}

TEST_F(Failure, ContainerThatCantBeCreatedMakesNoRequest) {
  trouble_.create_container = {.result = kFail};
  log_mask_ = kLogObjects;
  EXPECT_EQ(VLPER_NOTSUPPORT, CallFour());
  ExpectClean(0);
  EXPECT_EQ(std::vector<std::string>{}, Lines());
}

TEST_F(Failure, LaterRequestThatCantBeCreatedReleasesTheEarlierOnes) {
  trouble_.create_request = {.result = kFail, .at = 3};
  log_mask_ = kLogObjects;
  EXPECT_EQ(VLPER_NOTSUPPORT, CallFour());
  ExpectClean(0);
  EXPECT_EQ(2u, Lines().size());
}

TEST_F(Failure, LaterRowWhoseSchemaIsRefusedReleasesItselfAndTheEarlierOnes) {
  trouble_.set_schema = {.result = kFail, .at = 3};
  log_mask_ = kLogObjects;
  EXPECT_EQ(VLPER_NOTSUPPORT, CallFour());
  ExpectClean(0);
  EXPECT_EQ(3u, Lines().size());
}

TEST_F(Failure, ThirdRowThatCantBeAddedReleasesItselfAndTheTwoBefore) {
  trouble_.add_request = {.result = kFail, .at = 3};
  log_mask_ = kLogObjects;
  EXPECT_EQ(VLPER_NOTSUPPORT, CallFour());
  ExpectClean(0);
  EXPECT_EQ(3u, Lines().size());
}

TEST_F(Failure, CallAfterAFailedOneStartsWithAnEmptyList) {
  trouble_.add_request = {.result = kFail, .at = 3};
  EXPECT_EQ(VLPER_NOTSUPPORT, CallFour());
  trouble_.add_request = {};
  EXPECT_EQ(0, CallFour());
  EXPECT_EQ("1", batch_->Text(0));
  EXPECT_EQ("4", batch_->Text(3));
}

TEST_F(Failure, RequestCountThatDiffersFromTheRowsIsASendFailure) {
  for (const std::uint32_t count : {0u, 3u, 5u, 0xFFFFFFFFu}) {
    trouble_.request_count = count;
    EXPECT_EQ(VLPER_SEND, CallFour()) << count;
    EXPECT_EQ(8u, batch_->Length(0)) << count;
    EXPECT_EQ((far_side::LiveObjects{1, 0, 0}), far_side::live_objects()) << count;
  }
  EXPECT_EQ(4u, Counts().unbinds);
}

TEST_F(Failure, RequestCountThatCantBeReadIsASendFailure) {
  trouble_.get_request_count = {.result = kFail};
  EXPECT_EQ(VLPER_SEND, CallFour());
  ExpectClean(1);
}

TEST_F(Failure, FailedSendReadsNoAnswer) {
  trouble_.send = {.result = kFail};
  EXPECT_EQ(VLPER_SEND, CallFour());
  for (std::uint32_t row = 0; row < 4; ++row) {
    EXPECT_EQ(8u, batch_->Length(row)) << row;
    EXPECT_TRUE(batch_->IsUntouched(row)) << row;
  }
  ExpectClean(1);
}

TEST_F(Failure, CleanUpKeepsTheResultOfTheExchange) {
  trouble_.rows[u"\\A:Two"] = {.data = bytes_of("123456789")};
  trouble_.unbind = {.result = kFail};
  // The fifth call is the first request's clean-up.
  trouble_.set_input_data = {.result = kFail, .at = 5};
  EXPECT_EQ(VLPER_BUFFERSIZE, CallFour());
  ExpectClean(1);
}

class NullArgument : public BidiFormTest {
 protected:
  std::int32_t WithoutName() {
    Batch batch;
    batch.Ask(kSchema, 8);
    return GetParam() == Form::kSingle ? bidi_->SendRecvBidi(nullptr, batch.Row(0))
                                       : bidi_->SendRecvBidiContainer(nullptr, batch.Get());
  }
  std::int32_t WithoutRows() {
    return GetParam() == Form::kSingle ? bidi_->SendRecvBidi(TEXT("Printer"), nullptr)
                                       : bidi_->SendRecvBidiContainer(TEXT("Printer"), nullptr);
  }
};
INSTANTIATE_TEST_SUITE_P(Both, NullArgument, ::testing::Values(Form::kSingle, Form::kContainer),
                         bidi_test::FormName);

TEST_P(NullArgument, IsRefusedWithoutABindAndLogged) {
  Start(kLogBidi);
  EXPECT_EQ(VLPER_PARAM, WithoutName());
  EXPECT_EQ(VLPER_PARAM, WithoutRows());
  EXPECT_EQ(far_side::Counts{}, Counts());
  const std::string returned = std::string("### ") + ReturnText() + " : rc = -7";
  std::string entered = ReturnText();
  entered.replace(entered.find("Return"), 6, "Enter");
  EXPECT_EQ((std::vector<std::string>{entered, returned, entered, returned}), Lines());
}

TEST_P(NullArgument, IsRefusedBeforeTheStateIsLookedAt) {
  Start();
  bidi_->StopBidiWorker();
  EXPECT_EQ(VLPER_PARAM, WithoutName());
  EXPECT_EQ(VLPER_PARAM, WithoutRows());

  far_side::set_trouble({.create_spl = {.result = kFail}});
  Start();
  EXPECT_EQ(VLPER_PARAM, WithoutName());
  EXPECT_EQ(VLPER_PARAM, WithoutRows());
}

}  // namespace
}  // namespace vlp
