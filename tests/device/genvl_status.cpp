// The device's status and how long it serves.

#include "tests/device/vendor_device.h"

namespace device_test {
namespace {

class GenVlStatus : public VendorDevice {
 protected:
  // What the device answers to a request for its status, now.
  static void answer_status(const Bytes& reply) {
    answer(kFirst, {.message = status_request(), .reply = reply});
  }
  // The item, filled up to so many bytes.
  static Bytes status_of(std::size_t size) {
    Bytes bytes = status_item();
    bytes.resize(size, ' ');
    return bytes;
  }
  static std::size_t requests() { return messages(kFirst, kCommandSocket).size(); }
};

TEST_F(GenVlStatus, IsServedUntilItsLifeTimeIsOverToTheMillisecond) {
  plug();
  run_virtual_serial(1, [] {
    const Access access = make();
    ASSERT_TRUE(access->IsInitialized());
    platform::watch_calls();
    sleep_ms(2500);
    EXPECT_EQ(status_item(), get_status(*access).bytes);
    EXPECT_EQ(0u, device_calls());
    EXPECT_EQ(1u, requests());
    sleep_ms(1);
    EXPECT_EQ(status_item(), get_status(*access).bytes);
    EXPECT_NE(0u, device_calls());
    EXPECT_EQ(2u, requests());
    // The new one has a life of its own.
    sleep_ms(2500);
    EXPECT_EQ(0, get_status(*access).code);
    EXPECT_EQ(2u, requests());
    expect_closed(*access);
  });
}

TEST_F(GenVlStatus, WithoutSettingsLivesHalfASecond) {
  plug();
  run_virtual_serial(1, [] {
    const Access access = make(nullptr, nullptr);
    sleep_ms(500);
    EXPECT_EQ(0, get_status(*access).code);
    EXPECT_EQ(1u, requests());
    sleep_ms(1);
    EXPECT_EQ(0, get_status(*access).code);
    EXPECT_EQ(2u, requests());
  });
}

TEST_F(GenVlStatus, LivesHalfTheSettingRoundedDown) {
  plug();
  vlp::GenVlSettings settings = kSettings;
  settings.statusNoChkTime = 7;
  run_virtual_serial(1, [&] {
    const Access access = make(nullptr, &settings);
    sleep_ms(3);
    EXPECT_EQ(0, get_status(*access).code);
    EXPECT_EQ(1u, requests());
    sleep_ms(1);
    EXPECT_EQ(0, get_status(*access).code);
    EXPECT_EQ(2u, requests());
  });
}

TEST_F(GenVlStatus, AgesAcrossTheWrapOfTheTickCount) {
  plug();
  // Made a second before the wrap, and at the very last tick.
  for (const std::uint64_t before : {1000u, 1u}) {
    test::run_virtual_serial(1,
                             [] {
                               const Access access = make();
                               const std::size_t made = requests();
                               sleep_ms(2500);
                               EXPECT_EQ(0, get_status(*access).code);
                               EXPECT_EQ(made, requests());
                               sleep_ms(1);
                               EXPECT_EQ(0, get_status(*access).code);
                               EXPECT_EQ(made + 1, requests());
                             },
                             {.tick_start_ms = (std::uint64_t{1} << 32) - before});
  }
}

TEST_F(GenVlStatus, ShortBufferIsToldTheSizeThatIsNeeded) {
  plug();
  run_virtual_serial(1, [] {
    const Access access = make();
    const auto size = static_cast<uint32_t>(status_item().size());
    const Result result = get_status(*access, size - 1);
    EXPECT_EQ(vlp::GENVL_E_BUFFER, result.code);
    EXPECT_EQ(size, result.length);
    uint32_t length = 0;
    EXPECT_EQ(vlp::GENVL_E_BUFFER,
              access->GenVlGetStatus(GENVL_CHANNEL_STATUS, nullptr, size, &length));
    EXPECT_EQ(size, length);
    const Result fits = get_status(*access, size);
    EXPECT_EQ(0, fits.code);
    EXPECT_EQ(status_item(), fits.bytes);
    EXPECT_EQ(1u, requests());
  });
}

TEST_F(GenVlStatus, ShortBufferIsLeftAlone) {
  plug();
  run_virtual_serial(1, [] {
    const Access access = make();
    std::uint8_t buffer[8] = {7, 7, 7, 7, 7, 7, 7, 7};
    uint32_t length = 0;
    EXPECT_EQ(vlp::GENVL_E_BUFFER,
              access->GenVlGetStatus(GENVL_CHANNEL_STATUS, buffer, 8, &length));
    EXPECT_THAT(buffer, ::testing::Each(7));
  });
}

TEST_F(GenVlStatus, ArgumentsAreJudgedAfterTheObject) {
  plug();
  run_virtual_serial(1, [] {
    const Access access = make();
    std::uint8_t buffer[512];
    for (const uint32_t channel : {GENVL_CHANNEL_FAX, kNoChannel, 0u, 2u}) {
      uint32_t length = 5;
      EXPECT_EQ(vlp::GENVL_E_PARAM, access->GenVlGetStatus(channel, buffer, 512, &length));
      EXPECT_EQ(0u, length);
    }
    EXPECT_EQ(vlp::GENVL_E_PARAM,
              access->GenVlGetStatus(GENVL_CHANNEL_STATUS, buffer, 512, nullptr));
    Private(*access).SetInitialized(0);
    uint32_t length = 5;
    EXPECT_EQ(vlp::GENVL_E_FAILED, access->GenVlGetStatus(kNoChannel, buffer, 512, &length));
    EXPECT_EQ(0u, length);
    EXPECT_EQ(vlp::GENVL_E_FAILED,
              access->GenVlGetStatus(GENVL_CHANNEL_STATUS, buffer, 512, nullptr));
    EXPECT_EQ(1u, requests());
  });
}

TEST_F(GenVlStatus, FailedAskingLeavesNoneAndTheNextCallAsksAgain) {
  plug();
  run_virtual_serial(1, [] {
    const Access access = make();
    sleep_ms(2501);
    platform::unplug_usb_device(kFirst);
    const Result result = get_status(*access);
    EXPECT_EQ(vlp::GENVL_E_DEVICE, result.code);
    EXPECT_EQ(0u, result.length);
    EXPECT_EQ(0u, Private(*access).StatusLength());
    expect_closed(*access);
    platform::replug_usb_device(kFirst);
    EXPECT_EQ(status_item(), get_status(*access).bytes);
    expect_closed(*access);
  });
}

// Also for one that is still young.
TEST_F(GenVlStatus, AskingBeginsByForgettingTheOldOne) {
  plug();
  run_virtual_serial(1, [] {
    const Access access = make();
    platform::unplug_usb_device(kFirst);
    EXPECT_FALSE(Private(*access).AskStatus());
    EXPECT_EQ(0u, Private(*access).StatusLength());
    EXPECT_EQ(vlp::GENVL_E_DEVICE, get_status(*access).code);
  });
}

TEST_F(GenVlStatus, OfTheMostBytesIsKeptWholeAndOneMoreIsNone) {
  plug();
  run_virtual_serial(1, [] {
    const Access access = make();
    answer_status(status_of(512));
    EXPECT_TRUE(Private(*access).AskStatus());
    EXPECT_EQ(status_of(512), get_status(*access, 512).bytes);
    answer_status(status_of(513));
    EXPECT_FALSE(Private(*access).AskStatus());
    EXPECT_EQ(0u, Private(*access).StatusLength());
    EXPECT_EQ(vlp::GENVL_E_DEVICE, get_status(*access).code);
    EXPECT_EQ(0u, Private(*access).Fatal());
    expect_closed(*access);
  });
}

TEST_F(GenVlStatus, IsAskedForWithItsFiveBytesOnTheCommandSocket) {
  plug();
  run_virtual_serial(1, [] {
    const Access access = make();
    EXPECT_THAT(messages(kFirst, kCommandSocket), ElementsAre(status_request()));
    EXPECT_EQ((Bytes{0x73, 0x74, 0x01, 0x00, 0x01}), status_request());
  });
}

}  // namespace
}  // namespace device_test
