// Binding: with which rights, when a second try is made, and what follows.

#include "tests/bidi/bidi_fixture.h"

namespace vlp {
namespace {

using bidi_test::BidiFormTest;
using bidi_test::Form;
using far_side::bytes_of;

constexpr std::uint32_t kFail = 0x80004005;          // says nothing about rights
constexpr std::uint32_t kAccessDenied = 0x80070005;  // says so by its own bits

class Bind : public BidiFormTest {
 protected:
  void SetUp() override {
    BidiFormTest::SetUp();
    trouble_.rows[kSchema] = {.data = bytes_of("answer")};
  }

  std::int32_t CallWithTrouble(std::uint32_t log_mask = 0) {
    Start(log_mask);
    far_side::set_trouble(trouble_);
    return Ask(16, GetParam());
  }

  void ExpectBinds(std::uint32_t administrator, std::uint32_t user, std::uint32_t bound) {
    const far_side::Counts counts = Counts();
    EXPECT_EQ(administrator, counts.binds_administrator);
    EXPECT_EQ(user, counts.binds_user);
    EXPECT_EQ(bound, counts.bound);
    EXPECT_EQ(bound, counts.unbinds);
    EXPECT_EQ(bound, counts.sends);
  }

  far_side::Trouble trouble_;
};
INSTANTIATE_TEST_SUITE_P(Both, Bind, ::testing::Values(Form::kSingle, Form::kContainer),
                         bidi_test::FormName);

TEST_P(Bind, AccessDeniedLastErrorLeadsToASecondTryAsUser) {
  trouble_.bind_administrator = {.result = kAccessDenied};
  EXPECT_EQ(0, CallWithTrouble());
  ExpectBinds(1, 1, 1);
}

TEST_P(Bind, OnlyTheLastErrorDecidesNotTheResult) {
  trouble_.bind_administrator = {.result = kFail, .last_error = ERROR_ACCESS_DENIED};
  EXPECT_EQ(0, CallWithTrouble());
  ExpectBinds(1, 1, 1);
}

TEST_P(Bind, AccessDeniedResultWithAnotherLastErrorIsFinal) {
  trouble_.bind_administrator = {.result = kAccessDenied, .last_error = 1801};
  EXPECT_EQ(VLPER_NOTSUPPORT, CallWithTrouble());
  ExpectBinds(1, 0, 0);
}

TEST_P(Bind, AnyOtherFailureIsFinal) {
  trouble_.bind_administrator = {.result = kFail, .last_error = ERROR_SUCCESS};
  EXPECT_EQ(VLPER_NOTSUPPORT, CallWithTrouble());
  ExpectBinds(1, 0, 0);
}

TEST_P(Bind, NameUnknownToTheSpoolerIsFinal) {
  Start();
  bidi_test::Batch batch;
  batch.Ask(kSchema, 16);
  EXPECT_EQ(VLPER_NOTSUPPORT, GetParam() == Form::kSingle
                                  ? bidi_->SendRecvBidi(TEXT("Nobody"), batch.Row(0))
                                  : bidi_->SendRecvBidiContainer(TEXT("Nobody"), batch.Get()));
  const far_side::Counts counts = far_side::counts("Nobody");
  EXPECT_EQ(1u, counts.binds_administrator);
  EXPECT_EQ(0u, counts.binds_user);
  EXPECT_EQ(0u, counts.unbinds);
}

TEST_P(Bind, FailureOfTheSecondTryIsFinal) {
  trouble_.bind_administrator = {.result = kAccessDenied};
  trouble_.bind_user = {.result = kAccessDenied};
  EXPECT_EQ(VLPER_NOTSUPPORT, CallWithTrouble());
  ExpectBinds(1, 1, 0);
}

TEST_P(Bind, SuccessOfAnyKindIsABind) {
  trouble_.bind_administrator = {.result = 1, .last_error = ERROR_ACCESS_DENIED};
  EXPECT_EQ(0, CallWithTrouble());
  ExpectBinds(1, 0, 1);
}

TEST_P(Bind, LineTellsTheCode) {
  EXPECT_EQ(0, CallWithTrouble(kLogBidi));
  trouble_.bind_administrator = {.result = kFail, .last_error = 1801};
  far_side::set_trouble(trouble_);
  EXPECT_EQ(VLPER_NOTSUPPORT, Ask(16, GetParam()));

  const auto lines = LinesOf("CBidiIF::CallBindDevice Return");
  ASSERT_EQ(2u, lines.size());
  EXPECT_EQ("CBidiIF::CallBindDevice Return : rc = 0", lines[0].shown());
  EXPECT_EQ("### CBidiIF::CallBindDevice Return : rc = -1", lines[1].shown());
  EXPECT_EQ(1801u, lines[1].last_error);
}

TEST_P(Bind, UnbindFailureIsLoggedAndLeavesTheResultAlone) {
  trouble_.unbind = {.result = kFail};
  EXPECT_EQ(0, CallWithTrouble(kLogBidi));
  EXPECT_EQ(1u, Counts().unbinds);
  const auto lines = LinesOf("CBidiIF::CallUnbindDevice Return");
  ASSERT_EQ(1u, lines.size());
  EXPECT_EQ("### CBidiIF::CallUnbindDevice Return : rc = -1", lines[0].shown());
}

TEST_P(Bind, UnbindSuccessIsLoggedToo) {
  EXPECT_EQ(0, CallWithTrouble(kLogBidi));
  const auto lines = LinesOf("CBidiIF::CallUnbindDevice Return");
  ASSERT_EQ(1u, lines.size());
  EXPECT_EQ("CBidiIF::CallUnbindDevice Return : rc = 0", lines[0].shown());
}

}  // namespace
}  // namespace vlp
