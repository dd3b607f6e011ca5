// Loading and unloading, over and over.

#include "tests/system/fixture.h"
#include "tests/system/session.h"

namespace system_test {
namespace {

using ::testing::Contains;

class Loading : public SystemTest {
 protected:
  void SetUp() override {
    SystemTest::SetUp();
    AddLaser();
  }

  // One life of the library with a printer, a result that nobody takes, and a clean end.
  void Live() {
    Load();
    EXPECT_EQ(provider().Connect(kLaser).code, 1);
    ASSERT_EQ(provider().DeviceId(1, kLaser), 0);
    EXPECT_EQ(provider().Terminate(), 0);
    EXPECT_TRUE(provider().Unload());
    DropProvider();
  }
};

TEST_F(Loading, TwoHundredTimesLeavesNoHandle) {
  // The system opens some for itself the first times.
  for (int life = 0; life < 10; ++life) Live();
  const std::uint32_t before = OpenHandles();
  for (int life = 0; life < 190; ++life) Live();
  EXPECT_EQ(OpenHandles(), before);
  EXPECT_EQ(far_side::live_objects(), far_side::LiveObjects{});
  EXPECT_EQ(far_side::counts(kLaser).sends, 200U);
}

TEST_F(Loading, WithoutUseLeavesMemoryWithoutTerminate) {
  for (int life = 0; life < 20; ++life) {
    Load();
    EXPECT_TRUE(provider().Unload());
    DropProvider();
  }
}

TEST_F(Loading, ARefusedPrinterNeedsTerminateToo) {
  Load();
  EXPECT_EQ(provider().DeviceId(1, "Nobody"), VLPER_NOTSUPPORT);
  EXPECT_EQ(provider().Terminate(), 0);
  EXPECT_TRUE(provider().Unload());
}

TEST_F(Loading, TwiceGivesOneLibrary) {
  Load();
  ASSERT_EQ(provider().DeviceId(1, kLaser), 0);
  {
    const HMODULE second = LoadLibraryA(LibraryFile());
    ASSERT_NE(second, nullptr);
    EXPECT_NE(FreeLibrary(second), FALSE);
  }
  EXPECT_TRUE(provider().IsInMemory());
  EXPECT_EQ(provider().Take().request_id, 1U);
}

TEST_F(Loading, BeginsAnew) {
  LogTo(kLogLife);
  Live();
  EXPECT_THAT(LogLines(kLaser), Contains("delete CPrinterInf : Laser = 0").Times(1));
  Load();
  // Terminated no more, nothing cached, and the result of the life before is gone.
  ASSERT_EQ(provider().DeviceId(2, kLaser), 0);
  EXPECT_EQ(provider().Take().request_id, 2U);
  EXPECT_EQ(far_side::counts(kLaser).device_id_queries, 2U);
  EXPECT_THAT(LogLines(kLaser), Contains("new CPrinterInf : Laser = 0").Times(2));
}

TEST_F(Loading, GivesTheTableAgain) {
  for (int life = 0; life < 3; ++life) {
    Load();
    const ProviderTable* table = nullptr;
    EXPECT_EQ(provider().Info(nullptr), VLPER_PARAM);
    EXPECT_EQ(provider().Info(&table), 0);
    EXPECT_EQ(table, &provider().table());
    EXPECT_EQ(table->operationCount, 7U);
    DropProvider();
  }
}

TEST_F(Loading, ManyPrintersGoWithTheLibrary) {
  Load();
  for (int n = 0; n < 30; ++n) {
    far_side::add_printer({.name = "Printer " + std::to_string(n), .port = "USB001"});
    ASSERT_EQ(provider().DeviceId(1, "Printer " + std::to_string(n)), 0);
  }
  EXPECT_EQ(far_side::live_objects().spls, 30U);
  EXPECT_EQ(provider().Terminate(), 0);
  EXPECT_EQ(far_side::live_objects().spls, 0U);
  EXPECT_TRUE(provider().Unload());
}

}  // namespace
}  // namespace system_test
