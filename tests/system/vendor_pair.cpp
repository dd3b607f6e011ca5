// Two vendor-class printers of one model, and two names for one device, at the same time.

#include <memory>

#include "tests/system/vendor.h"

namespace system_test {
namespace {

constexpr const char* kSecond = "Second";

class VendorPair : public VendorTest {
 protected:
  void AddSecondOf(const std::string& serial) { AddSecond(kSecond, "USB002", serial); }

  // A command to each printer, by a thread each; gives the replies, by printer.
  Texts CommandBoth(const std::string& text) {
    const auto command = [&](std::uint32_t id, const char* name) {
      const std::string bytes = Echo(text + name);
      EXPECT_EQ(provider().Command(id, name, ChnlKindD4, bytes_of(bytes)),
                static_cast<std::int32_t>(bytes.size()));
    };
    Thread first([&] { command(1, kTalker); });
    Thread second([&] { command(2, kSecond); });
    first.Join();
    second.Join();
    Texts replies(2);
    if (HasFailure()) return replies;
    for (int n = 0; n < 2; ++n) {
      const Result result = provider().Take();
      replies.at(result.request_id - 1) = TextOf(result.data);
    }
    return replies;
  }
};

TEST_F(VendorPair, EachIsTalkedToByItsOwnDevice) {
  const std::string second = Plug("b1", kOtherSerial);
  const std::string first = Plug("b2", kVendorSerial);
  AddSecondOf(kOtherSerial);
  OpenVendor();
  ASSERT_GE(provider().Connect(kSecond).code, 1);
  for (const char* text : {"a ", "b ", "c "}) {
    EXPECT_EQ(CommandBoth(text), (Texts{text + std::string(kTalker), text + std::string(kSecond)}));
  }
  EXPECT_EQ(Links(first), 4U) << "a search and three commands";
  EXPECT_EQ(Links(second), 5U) << "one more search, for the other";
}

TEST_F(VendorPair, OneThatIsAwayLeavesTheOther) {
  const std::string second = Plug("b1", kOtherSerial);
  Plug("b2", kVendorSerial);
  AddSecondOf(kOtherSerial);
  OpenVendor();
  ASSERT_GE(provider().Connect(kSecond).code, 1);
  CommandBoth("find them ");
  far_side::unplug_usb(second);
  EXPECT_EQ(provider().Command(1, kSecond, ChnlKindD4, bytes_of(Echo("x"))), VLPER_SEND);
  EXPECT_EQ(provider().Command(1, kSecond, ChnlKindD4, bytes_of(Echo("x"))), VLPER_NOTCONNECT);
  EXPECT_EQ(Reply(ChnlKindD4, Echo("x")), "x");
}

// Two names in the spooler, one printer behind them: the mutex keeps their links apart.
TEST_F(VendorPair, TwoNamesOfOneDeviceTakeTurns) {
  const std::string path = Plug("b1");
  AddSecondOf(kVendorSerial);
  OpenVendor();
  ASSERT_GE(provider().Connect(kSecond).code, 1);
  for (const char* text : {"a ", "b ", "c "}) {
    EXPECT_EQ(CommandBoth(text), (Texts{text + std::string(kTalker), text + std::string(kSecond)}));
  }
  EXPECT_EQ(Links(path), 8U);
}

// Commands of several threads to one printer.
TEST_F(VendorPair, CommandsToOnePrinterComeOneAfterTheOther) {
  const std::string path = Plug("b1");
  OpenVendor();
  std::vector<std::unique_ptr<Thread>> threads;
  for (std::uint32_t id = 1; id <= 4; ++id) {
    threads.push_back(std::make_unique<Thread>(
        [this, id] { EXPECT_EQ(Send(ChnlKindD4, Echo(std::to_string(id)), id), 5); }));
  }
  for (const auto& thread : threads) thread->Join();
  ASSERT_FALSE(HasFailure());
  for (int n = 0; n < 4; ++n) {
    const Result result = provider().Take();
    EXPECT_EQ(TextOf(result.data), std::to_string(result.request_id));
  }
  EXPECT_EQ(Links(path), 5U);
}

}  // namespace
}  // namespace system_test
