// Whole exchanges: what reaches the far side, and what comes back into the rows.

#include "tests/bidi/bidi_fixture.h"

namespace vlp {
namespace {

using bidi_test::Batch;
using bidi_test::BidiFormTest;
using bidi_test::BidiTest;
using bidi_test::Form;
using far_side::bytes_of;

class Exchange : public BidiTest {};
class ExchangeForm : public BidiFormTest {};
INSTANTIATE_TEST_SUITE_P(Both, ExchangeForm, ::testing::Values(Form::kSingle, Form::kContainer),
                         bidi_test::FormName);

TEST_F(Exchange, ContainerBindsAsAdministratorSendsOnceAndUnbinds) {
  Start();
  Batch batch;
  batch.Name(u"Printer").Ask(kSchema, 1024);
  EXPECT_EQ(0, Call(batch));
  EXPECT_EQ("MFG:X;CMD:BDC;", batch.Text(1));

  far_side::Counts expected;
  expected.binds_administrator = 1;
  expected.bound = 1;
  expected.unbinds = 1;
  expected.sends = 1;
  expected.rows = 2;
  expected.device_id_queries = 1;
  EXPECT_EQ(expected, Counts());
}

TEST_F(Exchange, EveryCallBindsAnew) {
  Start();
  SetAnswer({.data = bytes_of("x")});
  EXPECT_EQ(0, Ask(8));
  EXPECT_EQ(0, Ask(8));
  EXPECT_EQ(2u, Counts().bound);
  EXPECT_EQ(2u, Counts().unbinds);
  EXPECT_EQ(2u, Counts().sends);
}

TEST_F(Exchange, RowsArriveInOrderWithTheirInputs) {
  Start();
  far_side::Trouble trouble;
  trouble.rows[u"\\A:One"] = {};
  trouble.rows[u"\\A:Two"] = {};
  trouble.rows[u"\\A:Three"] = {};
  far_side::set_trouble(trouble);
  Batch batch;
  batch.Tell(u"\\A:One", std::string("a\0b", 3)).Tell(u"\\A:Two").Ask(u"\\A:Three", 4, "c");
  EXPECT_EQ(0, Call(batch));

  ASSERT_EQ(1u, far_side::batches().size());
  const far_side::SeenBatch seen = far_side::batches()[0];
  EXPECT_EQ(u"Printer", seen.printer);
  EXPECT_EQ(u"Get", seen.action);
  EXPECT_TRUE(seen.container);
  const std::vector<far_side::SeenRow> rows = {
      {u"\\A:One", 7, {'a', 0, 'b'}}, {u"\\A:Two", 0, {}}, {u"\\A:Three", 7, {'c'}}};
  EXPECT_EQ(rows, seen.rows);
}

TEST_F(Exchange, SingleRowGoesByThePlainSendWithTheSameAction) {
  Start();
  SetAnswer({.data = bytes_of("id")});
  Batch batch;
  batch.Ask(kSchema, 8, "in");
  EXPECT_EQ(0, Call(batch, Form::kSingle));
  EXPECT_EQ("id", batch.Text(0));

  ASSERT_EQ(1u, far_side::batches().size());
  const far_side::SeenBatch seen = far_side::batches()[0];
  EXPECT_EQ(u"Get", seen.action);
  EXPECT_FALSE(seen.container);
  EXPECT_EQ((std::vector<far_side::SeenRow>{{kSchema, 7, {'i', 'n'}}}), seen.rows);
  EXPECT_EQ(1u, Counts().unbinds);
}

TEST_F(Exchange, InputPointerWithSizeZeroCarriesNoInput) {
  Start();
  SetAnswer({});
  Batch batch;
  batch.Ask(kSchema, 8, "in");
  batch.Row(0)->inputSize = 0;
  EXPECT_EQ(0, Call(batch));
  ASSERT_EQ(1u, far_side::batches().size());
  EXPECT_EQ((std::vector<far_side::SeenRow>{{kSchema, 0, {}}}), far_side::batches()[0].rows);
}

TEST_F(Exchange, ContainerOfNoRowsBindsSendsAndSucceeds) {
  Start();
  Batch batch;
  EXPECT_EQ(0, Call(batch));
  EXPECT_EQ(1u, Counts().bound);
  EXPECT_EQ(1u, Counts().sends);
  EXPECT_EQ(0u, Counts().rows);
  EXPECT_EQ(1u, Counts().unbinds);
}

TEST_F(Exchange, RowsBeyondTheCountArentSent) {
  Start();
  SetAnswer({.data = bytes_of("x")});
  Batch batch;
  batch.Ask(kSchema, 8).Ask(kSchema, 8);
  batch.Get()->count = 1;
  EXPECT_EQ(0, Call(batch));
  EXPECT_EQ(1u, Counts().rows);
  EXPECT_TRUE(batch.IsUntouched(1));
}

TEST_P(ExchangeForm, RowWithoutOutputIsSentAndGetsNoAnswer) {
  Start();
  SetAnswer({.data = bytes_of("ignored")});
  Batch batch;
  batch.Tell(kSchema, "in");
  EXPECT_EQ(0, Call(batch, GetParam()));
  EXPECT_EQ(1u, Counts().rows);
}

TEST_P(ExchangeForm, RowWithOutputAndNoLengthIsLeftAlone) {
  Start();
  SetAnswer({.data = bytes_of("ignored")});
  Batch batch;
  batch.Ask(kSchema, 16);
  batch.Row(0)->length = nullptr;
  EXPECT_EQ(0, Call(batch, GetParam()));
  EXPECT_TRUE(batch.IsUntouched(0));
}

TEST_P(ExchangeForm, RowWithLengthAndNoOutputKeepsItsLength) {
  Start();
  SetAnswer({.data = bytes_of("ignored")});
  Batch batch;
  batch.Ask(kSchema, 16);
  batch.Row(0)->output = nullptr;
  EXPECT_EQ(0, Call(batch, GetParam()));
  EXPECT_EQ(16u, batch.Length(0));
}

TEST_P(ExchangeForm, UnsupportedSchemaOfARowWithoutOutputIsntLookedAt) {
  Start();
  SetAnswer({.result = 13005});
  Batch batch;
  batch.Tell(kSchema);
  EXPECT_EQ(0, Call(batch, GetParam()));
}

TEST_P(ExchangeForm, AnswerAsLargeAsItsRoomIsCopiedWhole) {
  Start();
  SetAnswer({.data = bytes_of("12345678")});
  Batch batch;
  batch.Ask(kSchema, 8);
  EXPECT_EQ(0, Call(batch, GetParam()));
  EXPECT_EQ("12345678", batch.Text(0));
}

TEST_P(ExchangeForm, AnswerOneByteLargerThanItsRoomLeavesNothing) {
  Start();
  SetAnswer({.data = bytes_of("123456789")});
  Batch batch;
  batch.Ask(kSchema, 8);
  EXPECT_EQ(VLPER_BUFFERSIZE, Call(batch, GetParam()));
  EXPECT_EQ(0u, batch.Length(0));
  EXPECT_TRUE(batch.IsUntouched(0));
  EXPECT_EQ(1u, Counts().unbinds);
}

TEST_P(ExchangeForm, ShorterAnswerSetsItsLengthAndKeepsNuls) {
  Start();
  SetAnswer({.data = far_side::Bytes{'a', 0, 0, 'b'}});
  Batch batch;
  batch.Ask(kSchema, 8);
  EXPECT_EQ(0, Call(batch, GetParam()));
  EXPECT_EQ(std::string("a\0\0b", 4), batch.Text(0));
}

TEST_P(ExchangeForm, RoomOfNoBytesTakesAnEmptyAnswerOnly) {
  Start();
  SetAnswer({.data = far_side::Bytes{}});
  EXPECT_EQ(0, Ask(0, GetParam()));
  SetAnswer({.data = bytes_of("x")});
  EXPECT_EQ(VLPER_BUFFERSIZE, Ask(0, GetParam()));
}

TEST_P(ExchangeForm, AnswerOfTheNullTypeIsEmpty) {
  Start();
  SetAnswer({.data = bytes_of("left over"), .type = 0});
  Batch batch;
  batch.Ask(kSchema, 4);
  EXPECT_EQ(0, Call(batch, GetParam()));
  EXPECT_EQ(0u, batch.Length(0));
  EXPECT_TRUE(batch.IsUntouched(0));
}

TEST_P(ExchangeForm, AnswerOfAnyOtherTypeIsTakenAsBytes) {
  Start();
  for (const std::uint32_t type : {1u, 3u, 4u, 5u, 6u, 7u, 8u, 0xFFFFFFFFu}) {
    SetAnswer({.data = bytes_of("raw"), .type = type});
    Batch batch;
    batch.Ask(kSchema, 8);
    EXPECT_EQ(0, Call(batch, GetParam())) << type;
    EXPECT_EQ("raw", batch.Text(0)) << type;
  }
}

TEST_P(ExchangeForm, OnlyTheFirstOfSeveralOutputsIsRead) {
  Start();
  SetAnswer({.data = bytes_of("first"), .outputs = 3});
  Batch batch;
  batch.Ask(kSchema, 8);
  EXPECT_EQ(0, Call(batch, GetParam()));
  EXPECT_EQ("first", batch.Text(0));
}

TEST_P(ExchangeForm, NoOutputIsAnEmptySuccess) {
  Start();
  SetAnswer({});
  Batch batch;
  batch.Ask(kSchema, 8);
  EXPECT_EQ(0, Call(batch, GetParam()));
  EXPECT_EQ(0u, batch.Length(0));
}

TEST_P(ExchangeForm, NullDataWithASizeCantBeRead) {
  Start();
  SetAnswer({.data = bytes_of("12345678"), .null_data = true});
  Batch batch;
  batch.Ask(kSchema, 8);
  EXPECT_EQ(VLPER_SEND, Call(batch, GetParam()));
  EXPECT_EQ(0u, batch.Length(0));
  EXPECT_TRUE(batch.IsUntouched(0));
}

TEST_P(ExchangeForm, NullDataLargerThanTheRoomIsTooLargeFirst) {
  Start();
  SetAnswer({.data = bytes_of("123456789"), .null_data = true});
  EXPECT_EQ(VLPER_BUFFERSIZE, Ask(8, GetParam()));
}

TEST_P(ExchangeForm, NullDataOfNoBytesIsAnEmptySuccess) {
  Start();
  SetAnswer({.data = far_side::Bytes{}, .null_data = true});
  Batch batch;
  batch.Ask(kSchema, 8);
  EXPECT_EQ(0, Call(batch, GetParam()));
  EXPECT_EQ(0u, batch.Length(0));
}

TEST_P(ExchangeForm, SendThatSucceedsOtherwiseHasItsAnswersRead) {
  Start();
  far_side::Trouble trouble;
  trouble.send_result = 1;
  trouble.rows[kSchema] = {.data = bytes_of("read")};
  far_side::set_trouble(trouble);
  Batch batch;
  batch.Ask(kSchema, 8);
  EXPECT_EQ(0, Call(batch, GetParam()));
  EXPECT_EQ("read", batch.Text(0));
}

TEST_F(Exchange, AnswersAreReadByPosition) {
  Start();
  far_side::Trouble trouble;
  trouble.rows[u"\\A:One"] = {.data = bytes_of("1")};
  trouble.rows[u"\\A:Two"] = {.data = bytes_of("22")};
  trouble.rows[u"\\A:Three"] = {.data = bytes_of("333")};
  far_side::set_trouble(trouble);
  Batch batch;
  batch.Ask(u"\\A:One", 8).Tell(u"\\A:Two").Ask(u"\\A:Three", 8).Ask(u"\\A:One", 8);
  EXPECT_EQ(0, Call(batch));
  EXPECT_EQ("1", batch.Text(0));
  EXPECT_EQ("333", batch.Text(2));
  EXPECT_EQ("1", batch.Text(3));
}

TEST_F(Exchange, FirstBadAnswerEndsTheReading) {
  Start();
  far_side::Trouble trouble;
  trouble.rows[u"\\A:Good"] = {.data = bytes_of("good")};
  trouble.rows[u"\\A:Large"] = {.data = bytes_of("too large")};
  trouble.rows[u"\\A:Unknown"] = {.result = 13005};
  far_side::set_trouble(trouble);
  Batch batch;
  batch.Ask(u"\\A:Good", 8).Ask(u"\\A:Large", 8).Ask(u"\\A:Unknown", 8).Ask(u"\\A:Good", 8);
  EXPECT_EQ(VLPER_BUFFERSIZE, Call(batch));
  EXPECT_EQ("good", batch.Text(0));
  EXPECT_EQ(0u, batch.Length(1));
  EXPECT_EQ(8u, batch.Length(2));
  EXPECT_EQ(8u, batch.Length(3));
  EXPECT_TRUE(batch.IsUntouched(3));
}

}  // namespace
}  // namespace vlp
