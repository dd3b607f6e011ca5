// The path of a candidate and what is cut out of it.

#include "tests/device/pipes_search.h"

namespace search_test {
namespace {

class SearchPath : public SearchTest {
 protected:
  SearchPath() : access_(prepared()), inside_(*access_) {}

  struct Text {
    bool result = false;
    std::uint32_t length = 77;
    std::string bytes = {};  // all of the buffer
  };
  Text vendor_text(std::uint32_t capacity) {
    Text text{.bytes = std::string(capacity + 1, '\x7E')};
    text.result = inside_.VendorText(text.bytes.data(), capacity, &text.length);
    EXPECT_EQ('\x7E', text.bytes.back());
    text.bytes.pop_back();
    return text;
  }

  Access access_;
  Private inside_;
};

TEST_F(SearchPath, LengthCountsTheTerminator) {
  search_spy().paths = {"x", std::string(259, 'x')};
  EXPECT_TRUE(inside_.GetPath(0));
  EXPECT_EQ("x", inside_.Path());
  EXPECT_EQ(2u, inside_.PathLength());
  EXPECT_TRUE(inside_.GetPath(1));
  EXPECT_EQ(std::string(259, 'x'), inside_.Path());
  EXPECT_EQ(260u, inside_.PathLength());
}

TEST_F(SearchPath, PathThatFillsItsRoomHasNoLengthAndIsStillGiven) {
  search_spy().paths = {"vid_0ff7&pid_0900" + std::string(243, 'x')};
  EXPECT_TRUE(inside_.GetPath(0));
  EXPECT_EQ(0u, inside_.PathLength());
  EXPECT_FALSE(inside_.MakeMutex());
}

TEST_F(SearchPath, FailureClearsWhatWasThere) {
  platform::add_usb_device(described(kFirst));
  LogFile log(vlp::kLogDevice);
  access_ = prepared(log);
  Private inside(*access_);
  EXPECT_TRUE(inside.GetPath(0));
  EXPECT_EQ(kFirst, inside.Path());
  EXPECT_FALSE(inside.GetPath(1));
  EXPECT_EQ("", inside.Path());
  EXPECT_EQ(0u, inside.PathLength());
  platform::fail_call("SetupDiGetClassDevsA", 1, ERROR_ACCESS_DENIED);
  EXPECT_FALSE(inside.GetPath(0));
  EXPECT_THAT(lines_of_search(log), ElementsAre(no_path(1), no_path(0, ERROR_ACCESS_DENIED)));
  access_.reset();
}

TEST_F(SearchPath, VendorTextIsTheTailFromTheFirstMarkInUpperCase) {
  inside_.SetPath("\\\\?\\usb#vid_0ff7&pid_00ab#x&1#VID_0FF7&PID_0002#{a-z}\xE4");
  const Text text = vendor_text(260);
  const std::string expected = "VID_0FF7&PID_00AB#X&1#VID_0FF7&PID_0002#{A-Z}\xE4";
  EXPECT_TRUE(text.result);
  EXPECT_EQ(expected.size() + 1, text.length);
  EXPECT_EQ(expected + std::string(260 - expected.size(), '\0'), text.bytes);
}

TEST_F(SearchPath, MarkMayStandAnywhereButHasToBeWhole) {
  inside_.SetPath("vid_0ff7&pid_");
  EXPECT_EQ("VID_0FF7&PID_", std::string(vendor_text(260).bytes.c_str()));
  for (const char* path : {"vid_0ff7&pid", "vid_0ff8&pid_0900", "vid_0ff7pid_0900", "x"}) {
    inside_.SetPath(path);
    const Text text = vendor_text(30);
    EXPECT_FALSE(text.result) << path;
    EXPECT_EQ(0u, text.length);
    EXPECT_EQ(std::string(30, '\0'), text.bytes);
  }
}

TEST_F(SearchPath, VendorTextIsCutAtItsRoom) {
  inside_.SetPath("vid_0ff7&pid_0900");  // 17 characters
  const std::string whole = "VID_0FF7&PID_0900";
  Text text = vendor_text(18);
  EXPECT_EQ(18u, text.length);
  EXPECT_EQ(whole + std::string(1, '\0'), text.bytes);
  text = vendor_text(17);
  EXPECT_EQ(17u, text.length);
  EXPECT_EQ(whole.substr(0, 16) + std::string(1, '\0'), text.bytes);
  text = vendor_text(1);
  EXPECT_TRUE(text.result);
  EXPECT_EQ(1u, text.length);
  EXPECT_EQ(std::string(1, '\0'), text.bytes);
  text = vendor_text(0);
  EXPECT_TRUE(text.result);
  EXPECT_EQ(0u, text.length);
}

TEST_F(SearchPath, WithoutAPathThereIsNoVendorText) {
  for (const bool with_text : {false, true}) {
    inside_.SetPath(with_text ? "vid_0ff7&pid_0900" : "", with_text ? 0 : 5);
    const Text text = vendor_text(40);
    EXPECT_FALSE(text.result);
    EXPECT_EQ(0u, text.length);
    EXPECT_EQ(std::string(40, '\0'), text.bytes);
  }
}

TEST_F(SearchPath, WithoutRoomThereIsNoVendorText) {
  inside_.SetPath("vid_0ff7&pid_0900");
  std::uint32_t length = 77;
  char buffer[4] = "abc";
  EXPECT_FALSE(inside_.VendorText(nullptr, 4, &length));
  EXPECT_EQ(77u, length);
  EXPECT_FALSE(inside_.VendorText(buffer, 4, nullptr));
  EXPECT_STREQ("abc", buffer);
}

TEST_F(SearchPath, ForeignPathIsToldInUpperCase) {
  LogFile log(vlp::kLogDevice);
  access_ = prepared(log);
  Private inside(*access_);
  inside.SetPath("\\\\?\\usb#vid_1&pid_2%s#x");
  char buffer[40];
  std::uint32_t length = 0;
  EXPECT_FALSE(inside.VendorText(buffer, sizeof buffer, &length));
  EXPECT_THAT(lines_of_search(log), ElementsAre(kNotSubject, "  \\\\?\\USB#VID_1&PID_2%S#X"));
  access_.reset();
  LogFile other(0xFFFFFFFF & ~vlp::kLogDevice);
  access_ = prepared(other);
  Private(*access_).SetPath("x");
  EXPECT_FALSE(Private(*access_).VendorText(buffer, sizeof buffer, &length));
  EXPECT_THAT(lines_of_search(other), IsEmpty());
  access_.reset();
}

}  // namespace
}  // namespace search_test
