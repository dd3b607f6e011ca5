#include <gtest/gtest.h>

#include "monitor/exchange.h"
#include "monitor/report_exchange.h"

namespace {

using monitor::Channel;
using monitor::ReportReading;
using monitor::ReportSend;
using monitor::ReportStatus;
using monitor::ReportThrough;
using monitor::SendOutcome;
using monitor::StatusChannel;
using monitor::StatusReading;
using monitor::Step;
using monitor::Style;

using Bytes = std::vector<std::uint8_t>;

constexpr Style kText{};
constexpr Style kColours{false, true};
constexpr Style kJson{true, false};
constexpr SYSTEMTIME kTime{2024, 3, 5, 15, 9, 5, 7, 42};

Bytes BytesOf(std::string_view text) { return {text.begin(), text.end()}; }

StatusReading Answered(std::string_view text) {
  return {"GetStatus", ChnlKindBdc, {0, BytesOf(text)}};
}

StatusReading Refused(std::int32_t result) { return {"GetStatus", ChnlKindQpl, {result, {}}}; }

TEST(StatusChannelChoice, PrefersBdcAndThenTheFirstThatAnswers) {
  const struct {
    std::vector<Channel> channels;
    ChannelKind kind;
  } table[] = {
      {{{ChnlKindQpl, 7}, {ChnlKindBdc, 7}}, ChnlKindBdc},
      {{{ChnlKindQpl, 7}, {ChnlKindBdc, 3}}, ChnlKindQpl},
      {{{ChnlKindD4, 3}, {ChnlKindQpl, 4}, {ChnlKindLabel, 4}}, ChnlKindQpl},
      {{{ChnlKindD4, 3}}, ChnlKindBdc},
      {{}, ChnlKindBdc},
  };
  for (const auto& row : table) EXPECT_EQ(StatusChannel(row.channels), row.kind);
}

TEST(StatusReport, ShowsSizeChannelAndFields) {
  EXPECT_EQ(ReportStatus("P", Answered("@BDC ST\r\nST:04;\f"), kText),
            "P: status of 16 bytes over bdc\n  @BDC ST\n  ST  04\n");
  EXPECT_EQ(ReportStatus("P", Answered("A"), kColours),
            "P: status of \x1b[32m1\x1b[0m byte over bdc\n  A\n");
  const StatusReading unnamed{"GetStatus", 0x12, {0, {0}}};
  EXPECT_EQ(ReportStatus("P", unnamed, kText),
            "P: status of 1 byte over 0x00000012\n"
            "  0000  00                                                .\n");
}

TEST(StatusReport, ShowsWhyThereIsNone) {
  EXPECT_EQ(ReportStatus("P\x1b", Refused(VLPER_SEND), kText),
            "P\\x1b: -9 VLPER_SEND: communication with the printer failed\n");
  EXPECT_EQ(ReportStatus("P", Refused(VLPER_SEND), kColours),
            "P: \x1b[31m-9 VLPER_SEND\x1b[0m: communication with the printer failed\n");
}

TEST(StatusReport, IsOneObjectInJson) {
  EXPECT_EQ(ReportStatus("P", Answered("A\xE9"), kJson),
            "{\"printer\":\"P\",\"operation\":\"GetStatus\",\"kind\":\"bdc\",\"result\":0,"
            "\"code\":null,\"data\":{\"hex\":\"41e9\",\"text\":\"A\xC3\xA9\"}}\n");
  const StatusReading unconnected{"GetConnectInf", std::nullopt, {VLPER_NOTCONNECT, {}}};
  EXPECT_EQ(ReportStatus("P", unconnected, kJson),
            "{\"printer\":\"P\",\"operation\":\"GetConnectInf\",\"kind\":null,\"result\":-2,"
            "\"code\":\"VLPER_NOTCONNECT\",\"data\":null}\n");
}

TEST(SendReport, ShowsTheReplyAsTextAndBytes) {
  const SendOutcome outcome{"SendCommand", ChnlKindQpl, {9, BytesOf("ok\n")}};
  EXPECT_EQ(ReportSend("P", outcome, kText),
            "P: 9 bytes sent over qpl, reply of 3 bytes\n"
            "  ok\n"
            "  0000  6f 6b 0a                                          ok.\n");
  EXPECT_EQ(ReportSend("P", outcome, kJson),
            "{\"printer\":\"P\",\"operation\":\"SendCommand\",\"kind\":\"qpl\",\"result\":9,"
            "\"code\":null,\"data\":{\"hex\":\"6f6b0a\",\"text\":\"ok\\n\"}}\n");
}

TEST(SendReport, TellsAnEmptyReplyFromAnUnknownOne) {
  const SendOutcome empty{"SendCommand", ChnlKindQpl, {1, Bytes()}};
  EXPECT_EQ(ReportSend("P", empty, kText), "P: 1 byte sent over qpl, empty reply\n");
  EXPECT_EQ(ReportSend("P", empty, kJson),
            "{\"printer\":\"P\",\"operation\":\"SendCommand\",\"kind\":\"qpl\",\"result\":1,"
            "\"code\":null,\"data\":{\"hex\":\"\",\"text\":\"\"}}\n");
  const SendOutcome unknown{"SendCommand", ChnlKindQpl, {1, std::nullopt}};
  EXPECT_EQ(ReportSend("P", unknown, kText),
            "P: 1 byte sent over qpl, whether a reply came can't be told\n");
  EXPECT_EQ(ReportSend("P", unknown, kJson),
            "{\"printer\":\"P\",\"operation\":\"SendCommand\",\"kind\":\"qpl\",\"result\":1,"
            "\"code\":null,\"data\":null}\n");
}

TEST(SendReport, ShowsWhyNothingWasSent) {
  const SendOutcome refused{"SendCommand", ChnlKindD4, {VLPER_NOCHANNEL, std::nullopt}};
  EXPECT_EQ(ReportSend("P", refused, kText),
            "P: -3 VLPER_NOCHANNEL: the printer has no such channel, or not for this use\n");
  EXPECT_EQ(ReportSend("P", refused, kJson),
            "{\"printer\":\"P\",\"operation\":\"SendCommand\",\"kind\":\"d4\",\"result\":-3,"
            "\"code\":\"VLPER_NOCHANNEL\",\"data\":null}\n");
}

TEST(ThroughReport, ShowsTheResultOnly) {
  const SendOutcome sent{"SendThroughCommand", ChnlKindBdc, {4, std::nullopt}};
  EXPECT_EQ(ReportThrough("P", sent, kText), "P: 4 bytes sent over bdc as they stand\n");
  EXPECT_EQ(ReportThrough("P", sent, kJson),
            "{\"printer\":\"P\",\"operation\":\"SendThroughCommand\",\"kind\":\"bdc\","
            "\"result\":4,\"code\":null}\n");
  const SendOutcome refused{"SendThroughCommand", ChnlKindQpl, {VLPER_PARAM, std::nullopt}};
  EXPECT_EQ(ReportThrough("P", refused, kText),
            "P: -7 VLPER_PARAM: an argument is missing or unusable\n");
}

TEST(ReadingReport, IsOneLineWithItsTime) {
  EXPECT_EQ(ReportReading("P", Answered("ST:04;\n"), Step::kFirst, kTime, kText),
            "2024-03-15 09:05:07.042  bdc  first      7 bytes  ST:04;\\x0a\n");
  EXPECT_EQ(ReportReading("P", Answered("a"), Step::kUnchanged, kTime, kText),
            "2024-03-15 09:05:07.042  bdc  unchanged  1 byte  a\n");
  EXPECT_EQ(ReportReading("P", Answered("b"), Step::kChanged, kTime, kText),
            "2024-03-15 09:05:07.042  bdc  changed    1 byte  b\n");
  EXPECT_EQ(ReportReading("P", Refused(VLPER_BUSY), Step::kFailed, kTime, kText),
            "2024-03-15 09:05:07.042  qpl  failed     -12 VLPER_BUSY: "
            "the device is in use by somebody else\n");
}

TEST(ReadingReport, IsOneObjectInJson) {
  EXPECT_EQ(ReportReading("P", Answered("a"), Step::kChanged, kTime, kJson),
            "{\"printer\":\"P\",\"operation\":\"GetStatus\",\"kind\":\"bdc\",\"result\":0,"
            "\"code\":null,\"data\":{\"hex\":\"61\",\"text\":\"a\"},"
            "\"time\":\"2024-03-15T09:05:07.042\",\"changed\":true}\n");
  EXPECT_EQ(ReportReading("P", Refused(VLPER_SEND), Step::kFailed, kTime, kJson),
            "{\"printer\":\"P\",\"operation\":\"GetStatus\",\"kind\":\"qpl\",\"result\":-9,"
            "\"code\":\"VLPER_SEND\",\"data\":null,\"time\":\"2024-03-15T09:05:07.042\","
            "\"changed\":false}\n");
}

}  // namespace
