#include "monitor/arguments.h"

#include <gtest/gtest.h>

namespace {

using monitor::Arguments;
using monitor::Command;
using monitor::ReadArguments;
using monitor::Source;

using Words = std::vector<std::string>;

TEST(Arguments, TakesOptionsBeforeAndBehindTheCommand) {
  Arguments arguments;
  EXPECT_EQ(
      ReadArguments({"--json", "info", "A b", "--provider", "x.dll", "--machine", "m"}, &arguments),
      "");
  EXPECT_EQ(arguments.command, Command::kInfo);
  EXPECT_EQ(arguments.printer, "A b");
  EXPECT_EQ(arguments.provider, "x.dll");
  EXPECT_EQ(arguments.machine, "m");
  EXPECT_TRUE(arguments.json);
}

TEST(Arguments, TakesTheEmptyNameAndASingleDashAsNames) {
  Arguments arguments;
  EXPECT_EQ(ReadArguments({"id", ""}, &arguments), "");
  EXPECT_EQ(arguments.printer, "");
  EXPECT_EQ(ReadArguments({"id", "-"}, &arguments), "");
  EXPECT_EQ(arguments.printer, "-");
  EXPECT_EQ(arguments.command, Command::kId);
}

TEST(Arguments, TakesNoOptionBehindTwoDashes) {
  Arguments arguments;
  EXPECT_EQ(ReadArguments({"info", "--", "--help"}, &arguments), "");
  EXPECT_EQ(arguments.printer, "--help");
  EXPECT_NE(ReadArguments({"info", "--"}, &arguments), "");
}

TEST(Arguments, AsksForStatusOnceUnlessAWatchIsWanted) {
  Arguments arguments;
  EXPECT_EQ(ReadArguments({"status", "A"}, &arguments), "");
  EXPECT_EQ(arguments.command, Command::kStatus);
  EXPECT_FALSE(arguments.kind);
  EXPECT_FALSE(arguments.watch);
  EXPECT_EQ(arguments.every_ms, 1000u);
  EXPECT_FALSE(arguments.count);
}

TEST(Arguments, TakesAllOfAWatch) {
  Arguments arguments;
  EXPECT_EQ(
      ReadArguments({"status", "--watch", "A", "--every", "100", "--count", "3", "--kind", "label"},
                    &arguments),
      "");
  EXPECT_TRUE(arguments.watch);
  EXPECT_EQ(arguments.every_ms, 100u);
  EXPECT_EQ(arguments.count, 3u);
  EXPECT_EQ(arguments.kind, ChnlKindLabel);
}

TEST(Arguments, TakesACommandFromTextDigitsOrAFile) {
  const struct {
    const char* option;
    Source source;
  } table[] = {{"--text", Source::kText}, {"--hex", Source::kHex}, {"--file", Source::kFile}};
  for (const auto& row : table) {
    Arguments arguments;
    EXPECT_EQ(ReadArguments({"send", "A", "--kind", "qpl", row.option, "--x"}, &arguments), "");
    EXPECT_EQ(arguments.command, Command::kSend);
    EXPECT_EQ(arguments.source, row.source) << row.option;
    EXPECT_EQ(arguments.payload, "--x");
  }
  Arguments arguments;
  EXPECT_EQ(ReadArguments({"through", "A", "--kind", "bdc", "--text", ""}, &arguments), "");
  EXPECT_EQ(arguments.command, Command::kThrough);
  EXPECT_EQ(arguments.source, Source::kText);
}

TEST(Arguments, TakesKindsByNameAndByNumber) {
  const struct {
    const char* word;
    ChannelKind kind;
  } table[] = {{"qpl", ChnlKindQpl},
               {"bdc", ChnlKindBdc},
               {"zrdpage", ChnlKindZrdPage},
               {"zrdpages", ChnlKindZrdPages},
               {"d4", ChnlKindD4},
               {"end4", ChnlKindEnd4},
               {"label", ChnlKindLabel},
               {"0x10010002", ChnlKindQpl},
               {"0XFFFFFFFF", 0xFFFFFFFF},
               {"268500995", ChnlKindBdc},
               {"1", 1},
               {"010", 10}};
  for (const auto& row : table) {
    Arguments arguments;
    EXPECT_EQ(ReadArguments({"status", "A", "--kind", row.word}, &arguments), "") << row.word;
    EXPECT_EQ(arguments.kind, row.kind) << row.word;
  }
}

TEST(Arguments, RefusesWhatIsNoKind) {
  for (const char* const word : {"", "0", "0x", "0x0", "bdc ", "BDC!", "-1", "1x", "0x100000000",
                                 "4294967296", "0x-1", "+1", " 1"}) {
    Arguments arguments;
    EXPECT_EQ(ReadArguments({"status", "A", "--kind", word}, &arguments),
              std::string("\"") + word +
                  "\" is no kind of channel: qpl, bdc, zrdpage, zrdpages, d4, end4, label or a "
                  "number");
  }
}

TEST(Arguments, TakesNoTimeBelowATenthOfASecondOrAboveADay) {
  const struct {
    const char* word;
    bool good;
  } table[] = {{"100", true},  {"99", false},        {"86400000", true}, {"86400001", false},
               {"", false},    {"1000ms", false},    {"-1000", false},   {"0", false},
               {"1e3", false}, {"4294967396", false}};
  for (const auto& row : table) {
    Arguments arguments;
    EXPECT_EQ(ReadArguments({"status", "A", "--watch", "--every", row.word}, &arguments),
              row.good ? "" : "--every wants milliseconds, from 100 to 86400000")
        << row.word;
  }
}

TEST(Arguments, TakesNoCountBelowOne) {
  for (const char* const word : {"0", "-1", "", "x", "1000000001"}) {
    Arguments arguments;
    EXPECT_EQ(ReadArguments({"status", "A", "--watch", "--count", word}, &arguments),
              "--count wants a number of readings");
  }
}

TEST(Arguments, SaysWhatIsWrong) {
  const std::string kinds = "qpl, bdc, zrdpage, zrdpages, d4, end4, label or a number";
  const struct {
    Words words;
    std::string wrong;
  } table[] = {
      {{}, "a command is missing: list, info, id, status, send or through"},
      {{"--json"}, "a command is missing: list, info, id, status, send or through"},
      {{"frob"}, "unknown command \"frob\": list, info, id, status, send or through"},
      {{"list", "x"}, "\"x\" is one word too many; quote a name with blanks"},
      {{"info"}, "info wants the name of a printer"},
      {{"status"}, "status wants the name of a printer"},
      {{"send", "--kind", "qpl", "--text", "a"}, "send wants the name of a printer"},
      {{"through"}, "through wants the name of a printer"},
      {{"id", "a", "b"}, "\"b\" is one word too many; quote a name with blanks"},
      {{"-x", "list"}, "unknown option \"-x\""},
      {{"--watch=1", "list"}, "unknown option \"--watch=1\""},
      {{"list", "--machine"}, "--machine wants a path"},
      {{"list", "--machine", ""}, "--machine wants a path"},
      {{"--provider"}, "--provider wants a path"},
      {{"status", "a", "--kind"}, "--kind wants a kind of channel"},
      {{"status", "a", "--watch", "--every"}, "--every wants milliseconds"},
      {{"status", "a", "--watch", "--count"}, "--count wants a number of readings"},
      {{"send", "a", "--kind", "qpl", "--text"}, "--text wants a text"},
      {{"send", "a", "--kind", "qpl", "--hex"}, "--hex wants hexadecimal digits"},
      {{"send", "a", "--kind", "qpl", "--file"}, "--file wants a path"},
      {{"send", "a", "--kind", "qpl", "--file", ""}, "--file wants a path"},
      {{"list", "--kind", "qpl"}, "--kind doesn't go with list"},
      {{"info", "a", "--watch"}, "--watch doesn't go with info"},
      {{"send", "a", "--watch", "--kind", "qpl", "--hex", "00"}, "--watch doesn't go with send"},
      {{"status", "a", "--every", "1000"}, "--every goes with status --watch only"},
      {{"status", "a", "--count", "1"}, "--count goes with status --watch only"},
      {{"id", "a", "--hex", "00"}, "--text, --hex and --file don't go with id"},
      {{"status", "a", "--text", ""}, "--text, --hex and --file don't go with status"},
      {{"send", "a", "--text", "b"}, "send wants --kind: " + kinds},
      {{"through", "a"}, "through wants --kind: " + kinds},
      {{"send", "a", "--kind", "qpl"}, "send wants one of --text, --hex and --file"},
      {{"through", "a", "--kind", "bdc"}, "through wants one of --text, --hex and --file"},
      {{"send", "a", "--kind", "qpl", "--text", "b", "--hex", "00"},
       "one of --text, --hex and --file is enough"},
      {{"send", "a", "--kind", "qpl", "--hex", "00", "--hex", "01"},
       "one of --text, --hex and --file is enough"},
  };
  for (const auto& row : table) {
    Arguments arguments;
    EXPECT_EQ(ReadArguments(row.words, &arguments), row.wrong);
  }
}

TEST(Arguments, UsageNamesEveryOption) {
  const std::string usage = monitor::UsageText();
  for (const char* const word :
       {"list", "info", "id", "status", "send", "through", "--kind", "--watch", "--every",
        "--count", "--text", "--hex", "--file", "--provider", "--machine", "--json"}) {
    EXPECT_NE(usage.find(word), std::string::npos) << word;
  }
}

}  // namespace
