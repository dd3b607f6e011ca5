#include <gtest/gtest.h>

#include "monitor/json.h"

namespace {

using monitor::JsonArray;
using monitor::JsonObject;
using monitor::JsonText;

TEST(JsonText, EscapesWhatAStringMayNotHold) {
  EXPECT_EQ(JsonText("a\"b\\c"), "\"a\\\"b\\\\c\"");
  EXPECT_EQ(JsonText("\n\r\t"), "\"\\n\\r\\t\"");
  EXPECT_EQ(JsonText(std::string_view("\0\x1b\x1f\x7f", 4)), "\"\\u0000\\u001b\\u001f\\u007f\"");
}

TEST(JsonText, LeavesOtherCharactersAsTheyAre) {
  EXPECT_EQ(JsonText(""), "\"\"");
  EXPECT_EQ(JsonText("\xC3\xA9 \xE8\xA1\xA8/"), "\"\xC3\xA9 \xE8\xA1\xA8/\"");
}

TEST(JsonObject, SeparatesMembersByCommas) {
  EXPECT_EQ(JsonObject().Text(), "{}");
  EXPECT_EQ(JsonObject().AddText("a", "x").AddNumber("b", -19).Add("c", "null").Text(),
            "{\"a\":\"x\",\"b\":-19,\"c\":null}");
}

TEST(JsonArray, SeparatesValuesByCommas) {
  EXPECT_EQ(JsonArray({}), "[]");
  EXPECT_EQ(JsonArray({"1"}), "[1]");
  EXPECT_EQ(JsonArray({"1", "\"x\""}), "[1,\"x\"]");
}

}  // namespace
