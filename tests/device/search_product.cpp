// The searches that nobody selects yet: by product, container and parent.

#include "tests/device/pipes_search.h"

namespace search_test {
namespace {

constexpr char kProductEnter[] = "GenVlAccess::SearchPIDDevPath - Enter";
constexpr char kProductFound[] = "GenVlAccess::SearchPIDDevPath  - End.  bRC=1";
constexpr char kProductNotFound[] = "GenVlAccess::SearchPIDDevPath  - End.  bRC=0";

class SearchProduct : public SearchTest {
 protected:
  SearchProduct() : log_(vlp::kLogDevice), access_(prepared(log_, vlp::kSearchProduct)) {}
  ~SearchProduct() override { access_.reset(); }

  static std::string product_path(const std::string& product, const std::string& name = "x") {
    return path_of(name, kProductClass, "vid_0ff7&pid_" + product);
  }
  static void plug(const std::string& product, const std::string& name = "x") {
    platform::add_usb_device(described(product_path(product, name)));
  }
  // The path that is found, or nothing.
  std::string found(std::uint32_t product, std::uint32_t pass_over = 0) {
    Private inside(*access_);
    return inside.SearchProduct(product, pass_over) ? inside.Path() : std::string();
  }

  LogFile log_;
  Access access_;
};

TEST_F(SearchProduct, TakesTheFirstDeviceOfTheProduct) {
  plug("0901");
  plug("0902", "b");
  plug("0902", "a");
  EXPECT_EQ(product_path("0902", "a"), found(0x0902));
  EXPECT_THAT(lines_of_search(log_), ElementsAre(kProductEnter, kNewMutex, kProductFound));
  EXPECT_EQ(mutex_of(product_path("0902", "a")), Private(*access_).MutexName().c_str());
  EXPECT_NE(nullptr, Private(*access_).Mutex());
}

TEST_F(SearchProduct, PassesOverAsManyMatchesAsItIsTold) {
  plug("0902", "a");
  plug("0903", "b");
  plug("0902", "c");
  EXPECT_EQ(product_path("0902", "a"), found(0x0902, 0));
  EXPECT_EQ(product_path("0902", "c"), found(0x0902, 1));
  EXPECT_EQ("", found(0x0902, 2));
  EXPECT_EQ("", found(0x0902, 0xFFFFFFFF));
}

TEST_F(SearchProduct, WithoutAMatchThereIsNone) {
  plug("0902");
  EXPECT_EQ("", found(0x0903));
  EXPECT_EQ("", found(0x90902));
  const std::vector<std::string> search = {kProductEnter, no_path(1), kProductNotFound};
  std::vector<std::string> both = search;
  both.insert(both.end(), search.begin(), search.end());
  EXPECT_EQ(both, lines_of_search(log_));
  EXPECT_EQ(nullptr, Private(*access_).Mutex());
}

TEST_F(SearchProduct, ProductZeroIsNoProduct) {
  plug("0000");
  EXPECT_EQ("", found(0));
  EXPECT_THAT(lines_of_search(log_), ElementsAre(kProductEnter));
}

TEST_F(SearchProduct, DigitsAreHexadecimalInEitherCase) {
  plug("09af");
  EXPECT_EQ(product_path("09af"), found(0x09AF));
  search_spy().paths = {"vid_0ff7&pid_ABCD#", "vid_0ff7&pid_ef01#", "vid_0ff7&pid_FFFF0#"};
  EXPECT_EQ("vid_0ff7&pid_ABCD#", found(0xABCD));
  EXPECT_EQ("vid_0ff7&pid_ef01#", found(0xEF01));
  EXPECT_EQ("vid_0ff7&pid_FFFF0#", found(0xFFFF));
}

TEST_F(SearchProduct, AnythingElseThanFourDigitsMatchesNothing) {
  search_spy().paths = {"vid_0ff7&pid_000",  "vid_0ff7&pid_9",    "vid_0ff7&pid_",
                        "vid_0ff7&pid_9#",   "vid_0ff7&pid_00g9", "vid_0ff7&pid_00@9",
                        "vid_0ff7&pid_00:9", "vid_0ff7&pid_00/9", "vid_0001&pid_0009"};
  for (const std::uint32_t product : {0x9u, 0x90u, 0x99u, 0x109u, 0xA9u, 0x169u, 0xFFFFFFFFu}) {
    EXPECT_EQ("", found(product)) << product;
  }
  search_spy().paths.emplace_back("vid_0ff7&pid_0009");
  EXPECT_EQ("vid_0ff7&pid_0009", found(9));
}

TEST_F(SearchProduct, OpensNoDevice) {
  plug("0902", "a");
  plug("0902", "b");
  access_ = prepared(nullptr, vlp::kSearchProduct);
  platform::watch_calls();
  EXPECT_EQ(product_path("0902", "b"), found(0x0902, 1));
  EXPECT_EQ(0u, platform::calls_of("CreateFileA"));
  EXPECT_EQ(0u, platform::calls_of("WinUsb_Initialize"));
  EXPECT_EQ(0u, platform::calls_of("WaitForSingleObject"));
  EXPECT_EQ(1u, platform::calls_of("CreateMutexA"));
}

TEST_F(SearchProduct, MutexThatCannotBeMadeIsTheResult) {
  plug("0902", "a");
  plug("0902", "b");
  platform::fail_call("CreateMutexA", 1, ERROR_ACCESS_DENIED);
  EXPECT_EQ("", found(0x0902));
  EXPECT_THAT(
      lines_of_search(log_),
      ElementsAre(kProductEnter, "*** GenVlAccess::CreateGenVlMutex - failed. LastError=5 ***",
                  "*** GenVlAccess::SearchPIDDevPath - CreateGenVlMutex failed. ***",
                  kProductNotFound));
}

TEST_F(SearchProduct, LooksInTheClassOfProducts) {
  platform::add_usb_device(described(path_of("x")));
  EXPECT_EQ("", found(0x0900));
  plug("0900");
  EXPECT_EQ(product_path("0900"), found(0x0900));
}

TEST_F(SearchProduct, ContainerAndParentFindNothing) {
  plug("0902");
  EXPECT_FALSE(Private(*access_).SearchContainer());
  EXPECT_FALSE(Private(*access_).SearchParent());
  EXPECT_THAT(lines_of_search(log_),
              ElementsAre("GenVlAccess::SearchContainerIDDevPath - Enter",
                          "GenVlAccess::SearchParentIDPrefixDevPath - Enter"));
}

TEST_F(SearchProduct, ModeSelectsTheSearch) {
  Private(*access_).Search(kSerialNumber);
  access_ = prepared(log_, vlp::kSearchContainer);
  Private(*access_).Search(kSerialNumber);
  EXPECT_THAT(lines_of_search(log_),
              ElementsAre(kProductEnter, "GenVlAccess::SearchContainerIDDevPath - Enter"));
}

}  // namespace
}  // namespace search_test
