// The fax channel's opening and closing, and its sizes.

#include "tests/device/vendor_device.h"

namespace device_test {
namespace {

class FaxOpen : public VendorDevice {
 protected:
  static void refuse_channel(std::optional<std::uint8_t> result) {
    with(kFirst, [&](UsbPrinter& printer, std::uint64_t) {
      printer.device().options().replies.clear();
      if (result) {
        printer.device().options().replies = {{.command = simulator::D4Command::open_channel,
                                               .socket = kFaxSocket,
                                               .result = *result}};
      }
    });
  }
};

TEST_F(FaxOpen, HoldsDeviceAndMutexUntilItIsClosed) {
  plug();
  run_virtual_serial(1, [this] {
    const Access access = make(&log(vlp::kLogVendor));
    Private inside(*access);
    lines();
    EXPECT_EQ(0, access->GenVlFaxChnlOpen(GENVL_CHANNEL_FAX));
    EXPECT_THAT(lines(),
                ElementsAre("GenVlAccess::GenVlFaxChnlOpen  - End.  nRC=0 dwChannel=0x21"));
    sleep_ms(100'000);
    EXPECT_TRUE(channel_is_open(kFirst, kFaxSocket));
    EXPECT_NE(nullptr, inside.FaxChannel());
    EXPECT_EQ(1u, inside.OpenCount());
    EXPECT_TRUE(inside.Usb()->IsOpened());
    EXPECT_FALSE(mutex_is_free(inside.MutexName()));
    EXPECT_EQ(kDefaultPayload, inside.FaxSlot().dwWriteMax);
    EXPECT_EQ(0, access->GenVlFaxChnlClose(GENVL_CHANNEL_FAX));
    EXPECT_FALSE(channel_is_open(kFirst, kFaxSocket));
    expect_closed(*access);
  });
}

TEST_F(FaxOpen, AgainChangesNothing) {
  plug();
  run_virtual_serial(1, [] {
    const Access access = make();
    EXPECT_EQ(0, access->GenVlFaxChnlOpen(GENVL_CHANNEL_FAX));
    const vlp::D4ChannelEntry* const channel = Private(*access).FaxChannel();
    platform::watch_calls();
    EXPECT_EQ(0, access->GenVlFaxChnlOpen(GENVL_CHANNEL_FAX));
    EXPECT_EQ(0u, device_calls());
    EXPECT_EQ(1u, Private(*access).OpenCount());
    EXPECT_EQ(channel, Private(*access).FaxChannel());
    // So one close is enough.
    EXPECT_EQ(0, access->GenVlFaxChnlClose(GENVL_CHANNEL_FAX));
    expect_closed(*access);
  });
}

TEST_F(FaxOpen, CommandsGoThroughTheDeviceThatIsOpen) {
  plug();
  run_virtual_serial(1, [] {
    const Access access = make();
    EXPECT_EQ(0, access->GenVlFaxChnlOpen(GENVL_CHANNEL_FAX));
    spy() = {};
    EXPECT_EQ(text("hi"), ask(*access, echo_command("hi")));
    EXPECT_THAT(spy().order, ::testing::Not(::testing::Contains("open")));
    EXPECT_TRUE(channel_is_open(kFirst, kFaxSocket));
    EXPECT_EQ(0, access->GenVlFaxChnlClose(GENVL_CHANNEL_FAX));
    expect_closed(*access);
  });
}

TEST_F(FaxOpen, ArgumentsAreJudgedInTheirOrder) {
  plug();
  run_virtual_serial(1, [] {
    const Access access = make();
    Private inside(*access);
    platform::watch_calls();
    for (const uint32_t channel : {GENVL_CHANNEL_STATUS, kNoChannel, 0u, 2u}) {
      EXPECT_EQ(vlp::GENVL_E_PARAM, access->GenVlFaxChnlOpen(channel));
    }
    inside.SetFatal(1);
    EXPECT_EQ(vlp::GENVL_E_FATAL, access->GenVlFaxChnlOpen(kNoChannel));
    EXPECT_EQ(vlp::GENVL_E_FATAL, access->GenVlFaxChnlOpen(GENVL_CHANNEL_FAX));
    inside.SetInitialized(0);
    EXPECT_EQ(vlp::GENVL_E_FAILED, access->GenVlFaxChnlOpen(GENVL_CHANNEL_FAX));
    inside.SetInitialized(1);
    auto layer = std::move(inside.CommandLayer());
    EXPECT_EQ(vlp::GENVL_E_FAILED, access->GenVlFaxChnlOpen(GENVL_CHANNEL_FAX));
    inside.CommandLayer() = std::move(layer);
    EXPECT_EQ(0u, device_calls());
  });
}

TEST_F(FaxOpen, CodeOfTheDevicesOpeningIsHandedOn) {
  plug();
  run_virtual_serial(1, [] {
    const Access access = make();
    {
      const Holder holder(Private(*access).MutexName());
      EXPECT_EQ(vlp::GENVL_E_MUTEX_TIMEOUT, access->GenVlFaxChnlOpen(GENVL_CHANNEL_FAX));
      EXPECT_EQ(20'000u, elapsed_ms());
    }
    expect_closed(*access);
    platform::unplug_usb_device(kFirst);
    EXPECT_EQ(vlp::GENVL_E_DEVICE, access->GenVlFaxChnlOpen(GENVL_CHANNEL_FAX));
    expect_closed(*access);
    platform::replug_usb_device(kFirst);
    EXPECT_EQ(0, access->GenVlFaxChnlOpen(GENVL_CHANNEL_FAX));
    EXPECT_EQ(0, access->GenVlFaxChnlClose(GENVL_CHANNEL_FAX));
  });
}

TEST_F(FaxOpen, RefusedChannelClosesTheDevice) {
  plug();
  run_virtual_serial(1, [this] {
    const Access access = make(&log(vlp::kLogVendor));
    lines();
    refuse_channel(std::uint8_t{4});
    EXPECT_EQ(vlp::GENVL_E_DEVICE, access->GenVlFaxChnlOpen(GENVL_CHANNEL_FAX));
    EXPECT_EQ(0u, Private(*access).Fatal());
    EXPECT_THAT(lines(), IsEmpty());
    expect_closed(*access);
    refuse_channel({});
    EXPECT_EQ(0, access->GenVlFaxChnlOpen(GENVL_CHANNEL_FAX));
    EXPECT_EQ(0, access->GenVlFaxChnlClose(GENVL_CHANNEL_FAX));
  });
}

TEST_F(FaxOpen, LinkThatIsLostMeanwhileIsFatal) {
  plug();
  run_virtual_serial(1, [] {
    const Access access = make();
    lose_link(kFirst, 3);  // the entry string, Init, the channel
    EXPECT_EQ(vlp::GENVL_E_FATAL, access->GenVlFaxChnlOpen(GENVL_CHANNEL_FAX));
    EXPECT_EQ(1u, Private(*access).Fatal());
    expect_closed(*access);
    // No fax until a command has gone well.
    EXPECT_EQ(vlp::GENVL_E_FATAL, access->GenVlFaxChnlOpen(GENVL_CHANNEL_FAX));
    EXPECT_EQ(status_item(), ask(*access, status_request()));
    EXPECT_EQ(0, access->GenVlFaxChnlOpen(GENVL_CHANNEL_FAX));
    EXPECT_EQ(0, access->GenVlFaxChnlClose(GENVL_CHANNEL_FAX));
  });
}

// The channel came, but its sizes can't be had: another caller saw the link lost.
TEST_F(FaxOpen, WithoutItsSizesTheChannelIsClosedAgain) {
  plug();
  run_virtual_serial(1, [] {
    const Access access = make();
    Private inside(*access);
    EXPECT_EQ(0, inside.Open());
    with(kFirst,
         [](UsbPrinter& printer, std::uint64_t) { printer.device().options().latency_ms = 50; });
    TestThread other = spawn("other", [&] {
      sleep_ms(25);
      inside.SetFatal(1);
    });
    EXPECT_EQ(vlp::GENVL_E_DEVICE, access->GenVlFaxChnlOpen(GENVL_CHANNEL_FAX));
    other.join();
    EXPECT_EQ(nullptr, inside.FaxChannel());
    EXPECT_FALSE(channel_is_open(kFirst, kFaxSocket));
    EXPECT_EQ(0u, inside.Fatal());
    EXPECT_EQ(1u, inside.OpenCount());
    inside.Close();
    expect_closed(*access);
  });
}

// --- Close ------------------------------------------------------------------------------------

TEST_F(FaxOpen, CloseJudgesItsArguments) {
  plug();
  run_virtual_serial(1, [] {
    const Access access = make();
    Private inside(*access);
    EXPECT_EQ(vlp::GENVL_E_PARAM, access->GenVlFaxChnlClose(GENVL_CHANNEL_FAX));  // not open
    EXPECT_EQ(0, access->GenVlFaxChnlOpen(GENVL_CHANNEL_FAX));
    for (const uint32_t channel : {GENVL_CHANNEL_STATUS, kNoChannel, 0u}) {
      EXPECT_EQ(vlp::GENVL_E_PARAM, access->GenVlFaxChnlClose(channel));
    }
    inside.SetInitialized(0);
    EXPECT_EQ(vlp::GENVL_E_FAILED, access->GenVlFaxChnlClose(GENVL_CHANNEL_FAX));
    inside.SetInitialized(1);
    auto layer = std::move(inside.CommandLayer());
    EXPECT_EQ(vlp::GENVL_E_FAILED, access->GenVlFaxChnlClose(GENVL_CHANNEL_FAX));
    inside.CommandLayer() = std::move(layer);
    EXPECT_TRUE(channel_is_open(kFirst, kFaxSocket));
    EXPECT_EQ(0, access->GenVlFaxChnlClose(GENVL_CHANNEL_FAX));
    EXPECT_EQ(vlp::GENVL_E_PARAM, access->GenVlFaxChnlClose(GENVL_CHANNEL_FAX));
    expect_closed(*access);
  });
}

TEST_F(FaxOpen, FailedCloseClosesTheDeviceToo) {
  plug();
  run_virtual_serial(1, [] {
    const Access access = make();
    EXPECT_EQ(0, access->GenVlFaxChnlOpen(GENVL_CHANNEL_FAX));
    lose_link(kFirst);
    EXPECT_EQ(vlp::GENVL_E_DEVICE, access->GenVlFaxChnlClose(GENVL_CHANNEL_FAX));
    expect_closed(*access);
    EXPECT_EQ(0, access->GenVlFaxChnlOpen(GENVL_CHANNEL_FAX));
    platform::unplug_usb_device(kFirst);
    EXPECT_EQ(vlp::GENVL_E_DEVICE, access->GenVlFaxChnlClose(GENVL_CHANNEL_FAX));
    expect_closed(*access);
  });
}

// --- Sizes ------------------------------------------------------------------------------------

TEST_F(FaxOpen, SizesAreAskedForOnceAndTheDeviceIsClosedBehind) {
  D4Options options;
  options.sockets[kFaxSocket] = {.write_size = 100, .read_size = 36};
  plug(kFirst, options);
  run_virtual_serial(1, [] {
    const Access access = make();
    uint32_t write = 1;
    uint32_t read = 1;
    EXPECT_EQ(0, access->GenVlGetPacketSize(GENVL_CHANNEL_FAX, &write, &read));
    EXPECT_EQ(94u, write);
    EXPECT_EQ(30u, read);
    expect_closed(*access);
    platform::watch_calls();
    const Holder holder(Private(*access).MutexName());
    EXPECT_EQ(0, access->GenVlGetPacketSize(GENVL_CHANNEL_FAX, &read, &write));
    EXPECT_EQ(94u, read);
    EXPECT_EQ(30u, write);
    EXPECT_EQ(0u, device_calls());
    EXPECT_EQ(0u, elapsed_ms());
  });
}

TEST_F(FaxOpen, SizesOfADeviceThatIsHeldElsewhereAreNoneAndNoFailure) {
  plug();
  run_virtual_serial(1, [] {
    const Access access = make();
    uint32_t write = 1;
    uint32_t read = 1;
    {
      const Holder holder(Private(*access).MutexName());
      EXPECT_EQ(0, access->GenVlGetPacketSize(GENVL_CHANNEL_FAX, &write, &read));
      EXPECT_EQ(20'000u, elapsed_ms());
      EXPECT_EQ(0u, write);
      EXPECT_EQ(0u, read);
    }
    expect_closed(*access);
    platform::unplug_usb_device(kFirst);
    write = read = 1;
    EXPECT_EQ(0, access->GenVlGetPacketSize(GENVL_CHANNEL_FAX, &write, &read));
    EXPECT_EQ(0u, write);
    EXPECT_EQ(0u, read);
    expect_closed(*access);
    platform::replug_usb_device(kFirst);
    EXPECT_EQ(0, access->GenVlGetPacketSize(GENVL_CHANNEL_FAX, &write, &read));
    EXPECT_EQ(kDefaultPayload, write);
    EXPECT_EQ(kDefaultPayload, read);
  });
}

TEST_F(FaxOpen, SizesThatTheDeviceDoesNotTellAreAFailure) {
  plug();
  run_virtual_serial(1, [] {
    const Access access = make();
    refuse_channel(std::uint8_t{4});
    uint32_t write = 1;
    uint32_t read = 2;
    EXPECT_EQ(vlp::GENVL_E_DEVICE, access->GenVlGetPacketSize(GENVL_CHANNEL_FAX, &write, &read));
    EXPECT_EQ(1u, write);
    EXPECT_EQ(2u, read);
    expect_closed(*access);
  });
}

TEST_F(FaxOpen, SizesJudgeTheirArguments) {
  plug();
  run_virtual_serial(1, [] {
    const Access access = make();
    uint32_t size = 1;
    platform::watch_calls();
    for (const uint32_t channel : {GENVL_CHANNEL_STATUS, kNoChannel, 0u}) {
      EXPECT_EQ(vlp::GENVL_E_PARAM, access->GenVlGetPacketSize(channel, &size, &size));
    }
    EXPECT_EQ(vlp::GENVL_E_PARAM, access->GenVlGetPacketSize(GENVL_CHANNEL_FAX, nullptr, &size));
    EXPECT_EQ(vlp::GENVL_E_PARAM, access->GenVlGetPacketSize(GENVL_CHANNEL_FAX, &size, nullptr));
    Private(*access).SetInitialized(0);
    EXPECT_EQ(vlp::GENVL_E_FAILED, access->GenVlGetPacketSize(kNoChannel, nullptr, nullptr));
    EXPECT_EQ(vlp::GENVL_E_FAILED, access->GenVlGetPacketSize(GENVL_CHANNEL_FAX, &size, &size));
    EXPECT_EQ(0u, device_calls());
    EXPECT_EQ(1u, size);
  });
}

}  // namespace
}  // namespace device_test
