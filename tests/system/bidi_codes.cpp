// What the spooler's failures become in a status request, a command and a through command.

#include "tests/system/talk.h"

namespace system_test {
namespace {

using far_side::Reach;
using far_side::Trouble;

constexpr std::uint32_t kAccessDenied = 0x80070005;
constexpr std::uint32_t kFailure = 0x80004005;

class BidiCodes : public TalkTest {
 protected:
  void Begin() { Open({TextBdc(), ZrdPages()}, "BDC,ZRDPAGES-01"); }

  // All three under this trouble, and all three well behind it.
  void ExpectAll(const Trouble& trouble, std::int32_t code) {
    far_side::set_trouble(trouble);
    ExpectAll(code);
    far_side::set_trouble({});
    ExpectServed();
  }
  void ExpectAll(std::int32_t code) {
    const std::uint32_t sends = Counts().sends;
    EXPECT_EQ(Ask(ChnlKindBdc, 9), code);
    EXPECT_EQ(Send(ChnlKindBdc, Echo("x"), 9), code);
    EXPECT_EQ(Through(ChnlKindBdc, kSilent, 9), code);
    EXPECT_EQ(TakeIfAny(9), std::nullopt);
    EXPECT_LE(Counts().sends, sends + 3) << "something was tried again";
  }
  void ExpectServed() {
    EXPECT_EQ(Status(ChnlKindBdc), kTextItem);
    EXPECT_EQ(Reply(ChnlKindBdc, Echo("x")), "x");
    EXPECT_EQ(Through(ChnlKindBdc, kSilent), 4);
    Forget();
  }
  // A young status would be told whatever the spooler does.
  void Forget() {
    DropProvider();
    Load();
    EXPECT_EQ(provider().Connect(kTalker).code, 2);
  }
};

TEST_F(BidiCodes, OfASendThatFails) {
  constexpr struct {
    std::uint32_t result;
    std::int32_t code;
  } kSends[] = {{0x800732CB, VLPER_SEND},        // the server is offline
                {0x800732CC, VLPER_SEND},        // the device is offline
                {0x800732CD, VLPER_NOTSUPPORT},  // no such schema
                {0x80070006, VLPER_NOTSUPPORT},  // a bad handle
                {0x80070032, VLPER_NOTSUPPORT},  // not supported
                {0x800732CA, VLPER_SEND},       {0x800732CE, VLPER_SEND},
                {kAccessDenied, VLPER_SEND},    {kFailure, VLPER_SEND},
                {0x8007000E, VLPER_SEND},       {0x80000000, VLPER_SEND}};
  Begin();
  for (const auto& send : kSends) {
    SCOPED_TRACE(send.result);
    ExpectAll({.send = {.result = send.result}}, send.code);
  }
}

TEST_F(BidiCodes, OfPrintersThatAreOutOfReach) {
  Begin();
  for (const Reach reach : {Reach::server_offline, Reach::device_offline}) {
    Behave({.reach = reach});
    ExpectAll(VLPER_SEND);
    EXPECT_EQ(Wire(), Texts{});
  }
  Behave({});
  ExpectServed();
}

TEST_F(BidiCodes, OfABindThatIsRefusedToAnAdministratorAskOnce) {
  Begin();
  far_side::set_trouble({.bind_administrator = {.result = kAccessDenied}});
  EXPECT_EQ(Status(ChnlKindBdc), kTextItem);
  EXPECT_EQ(Reply(ChnlKindBdc, Echo("x")), "x");
  EXPECT_EQ(Through(ChnlKindBdc, kSilent), 4);
  EXPECT_EQ(Counts().binds_user, 3U);
  EXPECT_EQ(Counts().binds_administrator, 4U);
}

TEST_F(BidiCodes, OfBindsThatFail) {
  Begin();
  ExpectAll(
      {.bind_administrator = {.result = kAccessDenied}, .bind_user = {.result = kAccessDenied}},
      VLPER_NOTSUPPORT);
  const std::uint32_t user = Counts().binds_user;
  EXPECT_EQ(user, 3U);
  ExpectAll({.bind_administrator = {.result = 0x80070002}}, VLPER_NOTSUPPORT);
  ExpectAll({.bind_administrator = {.result = kAccessDenied, .last_error = 2}}, VLPER_NOTSUPPORT);
  EXPECT_EQ(Counts().binds_user, user) << "only the last error lets a user's bind be tried";
}

TEST_F(BidiCodes, OfRequestsThatCannotBeMade) {
  Begin();
  ExpectAll({.create_container = {.result = kFailure}}, VLPER_NOTSUPPORT);
  ExpectAll({.create_request = {.result = kFailure}}, VLPER_NOTSUPPORT);
  ExpectAll({.set_schema = {.result = kFailure}}, VLPER_NOTSUPPORT);
  ExpectAll({.set_input_data = {.result = kFailure}}, VLPER_NOTSUPPORT);
  ExpectAll({.add_request = {.result = kFailure}}, VLPER_NOTSUPPORT);
}

TEST_F(BidiCodes, OfAnswersThatCannotBeRead) {
  Begin();
  ExpectAll({.get_request_count = {.result = kFailure}}, VLPER_SEND);
  ExpectAll({.request_count = 7}, VLPER_SEND);
  ExpectAll({.request_count = 0}, VLPER_SEND);
  far_side::set_trouble({.get_output_data = {.result = kFailure}});
  EXPECT_EQ(Ask(ChnlKindBdc, 9), VLPER_SEND);
  EXPECT_EQ(Send(ChnlKindBdc, Echo("x"), 9), VLPER_SEND);
  EXPECT_EQ(TakeIfAny(9), std::nullopt);
  EXPECT_EQ(Through(ChnlKindBdc, kSilent), 4) << "it reads no answer";
}

TEST_F(BidiCodes, OfRowsThatTheSpoolerDoesNotKnow) {
  const auto unknown = [](const std::u16string& schema) {
    Trouble trouble;
    trouble.rows[u"\\Printer.VELNO_SCHEMA:" + schema] = {.result = 13005};
    return trouble;
  };
  Begin();
  far_side::set_trouble(unknown(u"GetStatus"));
  EXPECT_EQ(Ask(ChnlKindBdc, 9), VLPER_NOTSUPPORT);
  EXPECT_EQ(TakeIfAny(9), std::nullopt);
  far_side::set_trouble(unknown(u"SendCommand"));
  EXPECT_EQ(Send(ChnlKindBdc, Echo("x"), 9), VLPER_NOTSUPPORT);
  EXPECT_EQ(TakeIfAny(9), std::nullopt);
  // What rows without an answer come to isn't looked at.
  far_side::set_trouble(unknown(u"SendThroughREMOTE"));
  EXPECT_EQ(Through(ChnlKindBdc, kSilent), 4);
  far_side::set_trouble(unknown(u"SetPrinterName"));
  EXPECT_EQ(Status(ChnlKindBdc), kTextItem);
}

TEST_F(BidiCodes, OfAnUnbindThatFailsDoNotMatter) {
  Begin();
  far_side::set_trouble({.unbind = {.result = kFailure}});
  EXPECT_EQ(Reply(ChnlKindBdc, Echo("x")), "x");
  EXPECT_EQ(Status(ChnlKindBdc), kTextItem);
  EXPECT_EQ(Through(ChnlKindBdc, kSilent), 4);
}

TEST_F(BidiCodes, OfSuccessesBesideZeroAreSuccesses) {
  Begin();
  far_side::set_trouble({.send_result = 1});
  EXPECT_EQ(Reply(ChnlKindBdc, Echo("x")), "x");
  EXPECT_EQ(Status(ChnlKindBdc), kTextItem);
  EXPECT_EQ(Through(ChnlKindBdc, kSilent), 4);
}

}  // namespace
}  // namespace system_test
