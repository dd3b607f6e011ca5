// How long a command and a reply may be, as the device tells when a channel is opened.

#include "tests/device/vendor_device.h"

namespace device_test {
namespace {

class GenVlSizes : public VendorDevice {
 protected:
  static constexpr char failed[] =
      "*** GenVlAccess::GetSndRcvMaxSize - D4GetPacketSize failed. ***";
};

TEST_F(GenVlSizes, AreThePacketsWithoutTheirHeader) {
  D4Options options;
  options.sockets[kFaxSocket] = {.write_size = 100, .read_size = 36};
  plug(kFirst, options);
  run_virtual_serial(1, [this] {
    const Access access = make(&log(vlp::kLogD4));
    Private inside(*access);
    EXPECT_EQ(kDefaultPayload, inside.StatusSlot().dwWriteMax);
    EXPECT_EQ(kDefaultPayload, inside.StatusSlot().dwReadMax);
    EXPECT_EQ(0, inside.Open());
    lines();
    EXPECT_TRUE(inside.Sizes(&inside.FaxSlot()));
    EXPECT_EQ(94u, inside.FaxSlot().dwWriteMax);
    EXPECT_EQ(30u, inside.FaxSlot().dwReadMax);
    EXPECT_THAT(lines("    w"), ElementsAre("    wWritePacketSize=94 wReadPacketSize=30"));
    inside.Close();
  });
}

TEST_F(GenVlSizes, AreAskedForOnceInTheObjectsLife) {
  plug();
  run_virtual_serial(1, [] {
    const Access access = make();
    Private inside(*access);
    with(kFirst, [](UsbPrinter& printer, std::uint64_t) {
      printer.device().options().any_socket = {.write_size = 50, .read_size = 60};
    });
    for (int round = 0; round < 2; ++round) {
      EXPECT_EQ(0, inside.Open());
      platform::watch_calls();
      EXPECT_TRUE(inside.Sizes(&inside.StatusSlot()));
      EXPECT_EQ(0u, device_calls());
      platform::clear_faults();
      EXPECT_EQ(kDefaultPayload, inside.StatusSlot().dwWriteMax);
      EXPECT_FALSE(channel_is_open(kFirst, kCommandSocket));
      inside.Close();
    }
  });
}

TEST_F(GenVlSizes, NeedAnOpenDeviceASlotAndASoundLink) {
  plug();
  run_virtual_serial(1, [] {
    const Access access = make();
    Private inside(*access);
    platform::watch_calls();
    EXPECT_FALSE(inside.Sizes(&inside.StatusSlot()));  // closed, though known
    EXPECT_EQ(0, inside.Open());
    EXPECT_TRUE(inside.Sizes(&inside.StatusSlot()));
    EXPECT_FALSE(inside.Sizes(nullptr));
    inside.SetFatal(1);
    EXPECT_FALSE(inside.Sizes(&inside.StatusSlot()));
    inside.SetFatal(0);
    auto layer = std::move(inside.CommandLayer());
    EXPECT_FALSE(inside.Sizes(&inside.StatusSlot()));
    EXPECT_FALSE(inside.Exec(&inside.StatusSlot(), status_request()));
    inside.CommandLayer() = std::move(layer);
    inside.Close();
    platform::clear_faults();
  });
}

TEST_F(GenVlSizes, OfAChannelThatIsRefusedAreNotKnown) {
  plug();
  run_virtual_serial(1, [this] {
    const Access access = make(&log(vlp::kLogDevice));
    Private inside(*access);
    with(kFirst, [](UsbPrinter& printer, std::uint64_t) {
      printer.device().options().replies = {{.command = simulator::D4Command::open_channel,
                                             .socket = kFaxSocket,
                                             .result = std::uint8_t{4}}};
    });
    EXPECT_EQ(0, inside.Open());
    lines();
    EXPECT_FALSE(inside.Sizes(&inside.FaxSlot()));
    EXPECT_THAT(lines(), ElementsAre(failed));
    EXPECT_EQ(0u, inside.Fatal());
    EXPECT_EQ(0u, inside.FaxSlot().dwWriteMax);
    with(kFirst,
         [](UsbPrinter& printer, std::uint64_t) { printer.device().options().replies = {}; });
    EXPECT_TRUE(inside.Sizes(&inside.FaxSlot()));
    inside.Close();
    expect_closed(*access);
  });
}

TEST_F(GenVlSizes, LostLinkIsFatal) {
  plug();
  run_virtual_serial(1, [this] {
    const Access access = make(&log(vlp::kLogDevice));
    Private inside(*access);
    EXPECT_EQ(0, inside.Open());
    // The next packet brings it to light.
    lose_link(kFirst);
    lines();
    EXPECT_FALSE(inside.Sizes(&inside.FaxSlot()));
    EXPECT_EQ(1u, inside.Fatal());
    EXPECT_THAT(lines(), ElementsAre(failed));
    EXPECT_FALSE(inside.Sizes(&inside.FaxSlot()));
    EXPECT_THAT(lines(), IsEmpty());
    inside.Close();
    expect_closed(*access);
    EXPECT_EQ(status_item(), ask(*access, status_request()));
  });
}

// A device may agree to packets that hold nothing but a header.
TEST_F(GenVlSizes, PacketsThatHoldNothingMakeNoCommandPossible) {
  plug();
  run_virtual_serial(1, [] {
    for (const std::uint16_t size : std::initializer_list<std::uint16_t>{0, 1, 5, 6}) {
      SCOPED_TRACE(size);
      const Access access = make();
      Private inside(*access);
      with(kFirst, [&](UsbPrinter& printer, std::uint64_t) {
        printer.device().options().sockets[kFaxSocket] = {.write_size = size, .read_size = size};
      });
      EXPECT_EQ(vlp::GENVL_E_DEVICE, send(*access, text("abc"), GENVL_CHANNEL_FAX));
      expect_closed(*access);
      EXPECT_EQ(status_item(), ask(*access, status_request()));
    }
  });
}

}  // namespace
}  // namespace device_test
