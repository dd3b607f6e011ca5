// The container of a device, and the prefix of its parent.

#include "platform/machine.h"
#include "tests/device/pipes_search.h"

namespace search_test {
namespace {

constexpr char kContainer[] = "{11111111-2222-3333-4444-555555555555}";
constexpr char kOther[] = "{11111111-2222-3333-4444-555555555556}";
constexpr char kBegin[] = "GenVlAccess::IsSameContainerID - Enter";
constexpr char kSame[] = "GenVlAccess::IsSameContainerID - End bRC=1";
constexpr char kNotSame[] = "GenVlAccess::IsSameContainerID - End bRC=0";
const std::string kRoot = "HKEY_LOCAL_MACHINE\\SYSTEM\\CurrentControlSet\\";

class SearchContainer : public SearchTest {
 protected:
  SearchContainer() : log_(vlp::kLogDevice), access_(prepared(log_)), inside_(*access_) {}
  ~SearchContainer() override { access_.reset(); }

  // The device's entry, as if it stood at that key.
  static void tell_instance(const std::string& key, const std::string& instance) {
    platform::set_registry_text(
        kRoot + "Control\\DeviceClasses\\{d8965402-43cd-4410-8b2b-fcdaeb81b001}\\" + key,
        "DeviceInstance", instance);
  }
  static void tell_container(const std::string& instance, const std::string& container) {
    platform::set_registry_text(kRoot + "Enum\\" + instance, "ContainerID", container);
  }

  bool same(const std::string& path, const std::string& container = kContainer) {
    platform::clear_faults();
    platform::watch_calls();
    inside_.SetPath(path);
    const bool result = inside_.IsSameContainer(container);
    // Every key that was opened is closed.
    EXPECT_EQ(opened_, platform::calls_of("RegCloseKey"));
    return result;
  }

  LogFile log_;
  Access access_;
  Private inside_;
  unsigned opened_ = 2;
};

TEST_F(SearchContainer, DeviceIsComparedByItsKeys) {
  platform::UsbDeviceDescription device = described(path_of("x", kProductClass));
  device.container_id = kContainer;
  platform::add_usb_device(device);
  EXPECT_TRUE(same(path_of("x", kProductClass)));
  EXPECT_FALSE(same(path_of("x", kProductClass), kOther));
  EXPECT_THAT(lines_of_search(log_), ElementsAre(kBegin, kSame, kBegin, kNotSame));
}

TEST_F(SearchContainer, BackslashesOfThePathAreNumberSignsInTheKey) {
  tell_instance("##?#usb#a#b", "USB\\A\\B");
  tell_container("USB\\A\\B", kContainer);
  EXPECT_TRUE(same("\\\\?\\usb#a\\b"));
}

TEST_F(SearchContainer, PathWithoutAKeyIsNot) {
  opened_ = 0;
  EXPECT_FALSE(same(path_of("x", kProductClass)));
  EXPECT_THAT(lines_of_search(log_), ElementsAre(kBegin, kNotSame));
}

TEST_F(SearchContainer, KeyWithoutAnInstanceIsNot) {
  opened_ = 1;
  platform::set_registry_text(
      kRoot + "Control\\DeviceClasses\\{d8965402-43cd-4410-8b2b-fcdaeb81b001}\\x", "Else", "y");
  tell_container("", kContainer);
  EXPECT_FALSE(same("x"));
  tell_instance("x", "");
  EXPECT_FALSE(same("x"));
}

TEST_F(SearchContainer, InstanceWithoutAKeyOrContainerIsNot) {
  tell_instance("x", "USB\\A\\B");
  opened_ = 1;
  EXPECT_FALSE(same("x"));
  opened_ = 2;
  platform::set_registry_text(kRoot + "Enum\\USB\\A\\B", "Else", "y");
  EXPECT_FALSE(same("x"));
  EXPECT_FALSE(same("x", ""));
  tell_container("USB\\A\\B", "");
  EXPECT_FALSE(same("x"));
  EXPECT_FALSE(same("x", ""));
  tell_container("USB\\A\\B", kContainer);
  EXPECT_TRUE(same("x"));
}

TEST_F(SearchContainer, TerminatorBelongsToTheComparison) {
  tell_instance("x", "USB\\A\\B");
  tell_container("USB\\A\\B", "{1");
  EXPECT_TRUE(same("x", "{1"));
  EXPECT_FALSE(same("x", "{11"));
  EXPECT_FALSE(same("x", "{"));
}

TEST_F(SearchContainer, ContainerOf260BytesIsReadAndALongerOneIsNot) {
  tell_instance("x", "USB\\A\\B");
  tell_container("USB\\A\\B", std::string(259, 'c'));
  EXPECT_TRUE(same("x", std::string(259, 'c')));
  tell_container("USB\\A\\B", std::string(260, 'c'));
  EXPECT_FALSE(same("x", std::string(260, 'c')));
}

TEST_F(SearchContainer, KeyThatDoesNotFitIsNotCut) {
  // 46 characters, 40 of the class, 173 of the path: 259.
  const std::string longest(173, 'x');
  tell_instance(longest, "USB\\A\\B");
  tell_container("USB\\A\\B", kContainer);
  EXPECT_TRUE(same(longest));
  opened_ = 0;
  EXPECT_FALSE(same(longest + "x"));
}

TEST_F(SearchContainer, CallThatFailsIsNotAndClosesWhatIsOpen) {
  tell_instance("x", "USB\\A\\B");
  tell_container("USB\\A\\B", kContainer);
  inside_.SetPath("x");
  struct Failure {
    const char* call;
    unsigned nth;
    unsigned closed;
  };
  for (const Failure& failure :
       {Failure{"RegOpenKeyExA", 1, 0}, Failure{"RegOpenKeyExA", 2, 1},
        Failure{"RegQueryValueExA", 1, 1}, Failure{"RegQueryValueExA", 2, 2}}) {
    platform::clear_faults();
    platform::watch_calls();
    platform::fail_call(failure.call, failure.nth, ERROR_ACCESS_DENIED);
    EXPECT_FALSE(inside_.IsSameContainer(kContainer));
    EXPECT_EQ(1u, platform::faults_met());
    EXPECT_EQ(failure.closed, platform::calls_of("RegCloseKey")) << failure.call << failure.nth;
  }
}

class ParentPrefix : public SearchTest {
 protected:
  struct Prefix {
    std::uint32_t length = 0;
    std::string text = {};
  };
  static Prefix of(const std::string& path) {
    std::string room(vlp::kTextLimit + 1, '\x7E');
    Prefix prefix;
    prefix.length = Private::ParentPrefix(path.c_str(), room.data());
    EXPECT_EQ('\x7E', room.back());
    room.pop_back();
    prefix.text = room.c_str();
    EXPECT_EQ(std::string::npos, room.find_first_not_of('\0', prefix.text.size()));
    return prefix;
  }
};

TEST_F(ParentPrefix, IsTheInstanceUpToItsLastAmpersandInUpperCase) {
  const Prefix prefix = of("\\\\?\\usb#vid_0ff7&pid_0900&mi_00#6&2abc&0&0000#{b1&x}");
  EXPECT_EQ("6&2ABC&0&", prefix.text);
  EXPECT_EQ(10u, prefix.length);
  EXPECT_EQ("&", of("vid_0ff7&pid_#&x#").text);
  EXPECT_EQ(2u, of("vid_0ff7&pid_#&x#").length);
  EXPECT_EQ("A&", of("vid_0ff7&pid_0900#a&#").text);
}

TEST_F(ParentPrefix, NeedsItsMarkBothSignsAndAnAmpersandBetween) {
  for (const char* path :
       {"", "x", "\\\\?\\usb#vid_0ff8&pid_0900#6&2#{x}", "vid_0ff7&pid_0900", "vid_0ff7&pid_0900#",
        "vid_0ff7&pid_0900#6&2", "vid_0ff7&pid_0900#62#{x&y}", "vid_0ff7&pid_0900##6&2#"}) {
    const Prefix prefix = of(path);
    EXPECT_EQ(0u, prefix.length) << path;
    EXPECT_EQ("", prefix.text) << path;
  }
}

TEST_F(ParentPrefix, LongPathIsReadUpToItsLimit) {
  const std::string head = "vid_0ff7&pid_0900#";
  const std::string longest = head + std::string(259 - head.size() - 2, 'a') + "&#";
  EXPECT_EQ(259u - head.size(), of(longest).length);
  EXPECT_EQ(0u, of("x" + longest).length);
}

TEST_F(ParentPrefix, WithoutPathOrRoomThereIsNone) {
  char room[vlp::kTextLimit];
  EXPECT_EQ(0u, Private::ParentPrefix(nullptr, room));
  EXPECT_EQ(0u, Private::ParentPrefix("vid_0ff7&pid_0900#6&2#", nullptr));
}

}  // namespace
}  // namespace search_test
