// The end of a printer whose device was in use: what it says last, and who still talks into
// its log.

#include <memory>

#include "tests/operations/vendor_fixture.h"

namespace vlp {
namespace {

using operations_test::kDevicePath;
using operations_test::kOtherSerial;
using operations_test::kSecondPath;
using operations_test::VendorTest;

class VendorEnd : public VendorTest {
 protected:
  // Both have their devices, and the engine traces into the log of the first.
  void OpenTwo() {
    OpenVendor("", printer_test::kAllLines);
    Plug();
    Plug(kOtherSerial, kSecondPath);
    ExpectReply();
    Answer("GetStatus", StatusOf(kOtherSerial));
    second_ = std::make_unique<CPrinterInf>("Printer", Settings(0));
    std::uint64_t entries[kMaxConnectEntries];
    EXPECT_EQ(2, second_->GetConnectInf(entries));
    UseSecond();
  }

  void UseSecond() {
    const std::uint8_t command[] = {'c', 'm', 'd'};
    std::uint8_t room[16];
    std::uint32_t length = sizeof room;
    EXPECT_EQ(0, second_->SendCommand(ChnlKindD4, command, sizeof command, room, &length));
    EXPECT_EQ("reply", std::string(room, room + length));
  }

  std::size_t TracedLines() const {
    const std::vector<std::string> lines = Lines();
    return static_cast<std::size_t>(
        std::count_if(lines.begin(), lines.end(),
                      [](const std::string& line) { return line.rfind("  [D4] ", 0) == 0; }));
  }

  std::unique_ptr<CPrinterInf> second_;
};

TEST_F(VendorEnd, StopsTheTraceOfOthersIntoItsLog) {
  Timed([&] {
    OpenTwo();
    const std::size_t before = TracedLines();
    UseSecond();
    EXPECT_LT(before, TracedLines()) << "the engine is one for all";
    printer_.reset();
    const std::vector<std::string> last = Lines();
    UseSecond();
    EXPECT_EQ(last, Lines());
    second_.reset();
    EXPECT_EQ(last, Lines());
  });
}

TEST_F(VendorEnd, OfAnotherLeavesTheTraceAlone) {
  Timed([&] {
    OpenTwo();
    second_.reset();
    const std::size_t before = TracedLines();
    ExpectReply();
    EXPECT_LT(before, TracedLines());
  });
}

TEST_F(VendorEnd, EndsTheDeviceWhileTheresStillALog) {
  Timed([&] {
    OpenVendor("", 0x80001000);
    Plug();
    ExpectReply();
    Forget();
    printer_.reset();
    const std::vector<std::string> lines = Log();
    ASSERT_FALSE(lines.empty());
    EXPECT_EQ("delete CPrinterInf : Printer = 0", lines.front());
    EXPECT_EQ(1, std::count(lines.begin(), lines.end(), "delete CIOAccess"));
  });
}

}  // namespace
}  // namespace vlp
