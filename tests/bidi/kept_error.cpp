// The last error that decides on the second bind. Native only: under Wine the way into the
// double of the spooler changes it.

#include "tests/bidi/bidi_fixture.h"

namespace vlp {
namespace {

using bidi_test::Batch;
using bidi_test::BidiFormTest;
using bidi_test::Form;
using far_side::bytes_of;

class KeptError : public BidiFormTest {};
INSTANTIATE_TEST_SUITE_P(Both, KeptError, ::testing::Values(Form::kSingle, Form::kContainer),
                         bidi_test::FormName);

// It may stem from before the call: neither locks nor log lines on the way may change it.
TEST_P(KeptError, FromBeforeTheCallCounts) {
  far_side::Trouble trouble;
  trouble.bind_administrator = {.result = 0x80004005};
  trouble.rows[kSchema] = {.data = bytes_of("answer")};
  for (const std::uint32_t log_mask : {0u, 0xFFFFFFFFu}) {
    Start(log_mask);
    far_side::set_trouble(trouble);
    Batch batch;
    batch.Ask(kSchema, 16);
    SetLastError(ERROR_ACCESS_DENIED);
    EXPECT_EQ(0, Call(batch, GetParam()));
    EXPECT_EQ(1u, Counts().binds_user);
    SetLastError(ERROR_SUCCESS);
    EXPECT_EQ(VLPER_NOTSUPPORT, Call(batch, GetParam()));
    EXPECT_EQ(1u, Counts().binds_user);
    far_side::reset();
    far_side::add_printer({.name = "Printer"});
    far_side::set_device_id("USB001", bytes_of("id"));
  }
}

}  // namespace
}  // namespace vlp
