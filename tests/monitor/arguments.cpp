#include "monitor/arguments.h"

#include <gtest/gtest.h>

namespace {

using monitor::Arguments;
using monitor::Command;
using monitor::ReadArguments;

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

TEST(Arguments, WantsAValueBehindAnOptionThatHasOne) {
  Arguments arguments;
  EXPECT_EQ(ReadArguments({"list", "--machine"}, &arguments), "--machine wants a path");
  EXPECT_EQ(ReadArguments({"--provider"}, &arguments), "--provider wants a path");
}

}  // namespace
