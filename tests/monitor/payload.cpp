#include "monitor/payload.h"

#include <gtest/gtest.h>

namespace {

using monitor::Arguments;
using monitor::BytesFromHex;
using monitor::BytesFromText;
using monitor::ReadPayloadBytes;
using monitor::Source;

using Bytes = std::vector<std::uint8_t>;

Bytes BytesOf(std::string_view text) { return {text.begin(), text.end()}; }

TEST(CommandText, ReadsEscapesAndLeavesTheRest) {
  const struct {
    std::string_view text;
    std::string_view bytes;
  } table[] = {
      {"", ""},
      {"@QPL ID\\r\\n", "@QPL ID\r\n"},
      {"\\t\\\\", "\t\\"},
      {"\\\\n", "\\n"},
      {"\\x00\\xfF\\x1b", std::string_view("\0\xFF\x1B", 3)},
      {"\\x414", "A4"},
      {"\xC3\xA9", "\xE9"},  // a letter of the code page
  };
  for (const auto& row : table) {
    Bytes bytes = {1, 2, 3};
    EXPECT_EQ(BytesFromText(row.text, &bytes), "") << row.text;
    EXPECT_EQ(bytes, BytesOf(row.bytes)) << row.text;
  }
}

TEST(CommandText, RefusesEscapesThatMeanNothing) {
  for (const char* const text : {"a\\", "\\x", "\\x1", "\\xg0", "\\x0g", "\\q", "\\N", "\\X00"}) {
    Bytes bytes;
    EXPECT_NE(BytesFromText(text, &bytes).find("is no escape"), std::string::npos) << text;
  }
}

TEST(CommandText, RefusesLettersThatTheCodePageLacks) {
  Bytes bytes;
  EXPECT_NE(BytesFromText("\xE8\xA1\xA8", &bytes).find("lacks"), std::string::npos);
  EXPECT_NE(BytesFromText("\xC3", &bytes).find("isn't UTF-8"), std::string::npos);
}

TEST(CommandDigits, PassOverBlanksAndCase) {
  Bytes bytes = {9};
  EXPECT_EQ(BytesFromHex(" 1b 4 0\t0aFF\r\n", &bytes), "");
  EXPECT_EQ(bytes, (Bytes{0x1B, 0x40, 0x0A, 0xFF}));
  EXPECT_EQ(BytesFromHex("", &bytes), "");
  EXPECT_TRUE(bytes.empty());
}

TEST(CommandDigits, WantTwoForEachByteAndNothingElse) {
  Bytes bytes;
  EXPECT_EQ(BytesFromHex("1b4", &bytes), "--hex has 3 digits; each byte wants two");
  EXPECT_EQ(BytesFromHex("1b 0x40", &bytes), "character 5 of --hex is no hexadecimal digit");
  EXPECT_EQ(BytesFromHex("g0", &bytes), "character 1 of --hex is no hexadecimal digit");
}

TEST(CommandBytes, AreNeverNone) {
  Bytes bytes;
  Arguments arguments;
  arguments.source = Source::kText;
  EXPECT_EQ(ReadPayloadBytes(arguments, &bytes), "the command is empty");
  arguments.source = Source::kHex;
  arguments.payload = "  ";
  EXPECT_EQ(ReadPayloadBytes(arguments, &bytes), "the command is empty");
}

TEST(CommandBytes, NameTheFileThatCanNotBeRead) {
  Bytes bytes;
  Arguments arguments;
  arguments.source = Source::kFile;
  arguments.payload = "there is no such file \x1b[2J";
  const std::string wrong = ReadPayloadBytes(arguments, &bytes);
  EXPECT_TRUE(wrong.starts_with("can't read there is no such file \\x1b[2J")) << wrong;
}

}  // namespace
