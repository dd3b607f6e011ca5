// The reply to a command, from its arrival until it is taken.

#include "tests/device/vendor_device.h"

namespace device_test {
namespace {

class GenVlReply : public VendorDevice {
 protected:
  static bool all_zero_behind(vlp::GenVlChannelSlot& slot, uint32_t from) {
    for (uint32_t at = from; at < slot.dwReplyCapacity; ++at) {
      if (slot.pReply[at] != 0) return false;
    }
    return true;
  }
};

TEST_F(GenVlReply, IsHandedOutOnce) {
  plug();
  run_virtual_serial(1, [] {
    const Access access = make();
    EXPECT_EQ(8, send(*access, echo_command("four")));
    const Result taken = get_reply(*access);
    EXPECT_EQ(4, taken.code);
    EXPECT_EQ(4u, taken.length);
    EXPECT_EQ(text("four"), taken.bytes);
    EXPECT_EQ(0u, Private(*access).StatusSlot().dwReplyLen);
    const Result again = get_reply(*access);
    EXPECT_EQ(vlp::GENVL_E_NO_REPLY, again.code);
    EXPECT_EQ(0u, again.length);
  });
}

TEST_F(GenVlReply, IsKeptForACallerWithTooLittleRoom) {
  plug();
  run_virtual_serial(1, [] {
    const Access access = make();
    EXPECT_EQ(8, send(*access, echo_command("four")));
    platform::watch_calls();
    const Result small = get_reply(*access, 3);
    EXPECT_EQ(vlp::GENVL_E_BUFFER, small.code);
    EXPECT_EQ(4u, small.length);
    uint32_t length = 0;
    EXPECT_EQ(vlp::GENVL_E_BUFFER,
              access->GenVlGetReply(GENVL_CHANNEL_STATUS, nullptr, 100, &length));
    EXPECT_EQ(4u, length);
    EXPECT_EQ(text("four"), get_reply(*access, 4).bytes);
    EXPECT_EQ(0u, device_calls());
  });
}

TEST_F(GenVlReply, ArgumentsAreJudgedAfterTheObject) {
  plug();
  run_virtual_serial(1, [] {
    const Access access = make();
    EXPECT_EQ(8, send(*access, echo_command("four")));
    std::uint8_t buffer[8];
    for (const uint32_t channel : {kNoChannel, 0u, 2u}) {
      uint32_t length = 9;
      EXPECT_EQ(vlp::GENVL_E_PARAM, access->GenVlGetReply(channel, buffer, 8, &length));
      EXPECT_EQ(0u, length);
    }
    EXPECT_EQ(vlp::GENVL_E_PARAM, access->GenVlGetReply(GENVL_CHANNEL_STATUS, buffer, 8, nullptr));
    // The other channel has a reply of its own.
    EXPECT_EQ(vlp::GENVL_E_NO_REPLY, get_reply(*access, 8, GENVL_CHANNEL_FAX).code);
    Private(*access).SetInitialized(0);
    uint32_t length = 9;
    EXPECT_EQ(vlp::GENVL_E_FAILED, access->GenVlGetReply(kNoChannel, buffer, 8, &length));
    EXPECT_EQ(0u, length);
    EXPECT_EQ(vlp::GENVL_E_FAILED, access->GenVlGetReply(GENVL_CHANNEL_STATUS, buffer, 8, nullptr));
    Private(*access).SetInitialized(1);
    EXPECT_EQ(text("four"), get_reply(*access).bytes);
  });
}

TEST_F(GenVlReply, UntakenOneGivesWayToTheNext) {
  plug();
  run_virtual_serial(1, [] {
    const Access access = make();
    EXPECT_EQ(11, send(*access, echo_command("earlier")));
    EXPECT_EQ(6, send(*access, echo_command("it")));
    EXPECT_EQ(text("it"), get_reply(*access).bytes);
    EXPECT_EQ(vlp::GENVL_E_NO_REPLY, get_reply(*access).code);
  });
}

TEST_F(GenVlReply, UntakenOneIsGoneThoughTheNextCommandFails) {
  plug();
  run_virtual_serial(1, [] {
    const Access access = make();
    EXPECT_EQ(11, send(*access, echo_command("earlier")));
    answer(kFirst, {.message = text("none"), .reply = {}});
    EXPECT_EQ(vlp::GENVL_E_DEVICE, send(*access, text("none")));
    EXPECT_EQ(vlp::GENVL_E_NO_REPLY, get_reply(*access).code);
  });
}

TEST_F(GenVlReply, UntakenOneStaysWhenNoCommandBegan) {
  plug();
  run_virtual_serial(1, [] {
    const Access access = make();
    EXPECT_EQ(11, send(*access, echo_command("earlier")));
    platform::unplug_usb_device(kFirst);
    EXPECT_EQ(vlp::GENVL_E_DEVICE, send(*access, text("lost")));
    EXPECT_EQ(text("earlier"), get_reply(*access).bytes);
  });
}

TEST_F(GenVlReply, HasABufferOfTheLongestReplyFromTheFirstCommandOn) {
  D4Options options;
  options.sockets[kFaxSocket] = {.read_size = 106};
  plug(kFirst, options);
  run_virtual_serial(1, [] {
    const Access access = make();
    vlp::GenVlChannelSlot& slot = Private(*access).FaxSlot();
    EXPECT_EQ(nullptr, slot.pReply);
    EXPECT_EQ(0u, slot.dwReplyCapacity);
    echo_all(kFirst, kFaxSocket);
    EXPECT_EQ(4, send(*access, text(std::string("fax\x01", 4)), GENVL_CHANNEL_FAX));
    const std::uint8_t* const made = slot.pReply.get();
    EXPECT_NE(nullptr, made);
    EXPECT_EQ(100u, slot.dwReplyCapacity);
    EXPECT_EQ(4, send(*access, text(std::string("fax\x01", 4)), GENVL_CHANNEL_FAX));
    EXPECT_EQ(made, slot.pReply.get());
  });
}

TEST_F(GenVlReply, BufferIsZeroBehindIt) {
  plug();
  run_virtual_serial(1, [] {
    const Access access = make();
    vlp::GenVlChannelSlot& slot = Private(*access).StatusSlot();
    EXPECT_EQ(11, send(*access, echo_command("earlier")));
    EXPECT_EQ(6, send(*access, echo_command("it")));
    EXPECT_EQ(2u, slot.dwReplyLen);
    EXPECT_TRUE(all_zero_behind(slot, 2));
    answer(kFirst, {.message = text("none"), .reply = {}});
    EXPECT_EQ(vlp::GENVL_E_DEVICE, send(*access, text("none")));
    EXPECT_TRUE(all_zero_behind(slot, 0));
  });
}

}  // namespace
}  // namespace device_test
