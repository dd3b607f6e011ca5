// Commands to the device, and what becomes of the object when one fails.

#include "tests/device/vendor_device.h"

namespace device_test {
namespace {

class GenVlCommand : public VendorDevice {
 protected:
  static std::string too_long(uint32_t length, uint32_t most) {
    return "*** GenVlAccess::ExecGenVlCmd - send_CmdLen(" + std::to_string(length) +
           ") > CmdMaxLen(" + std::to_string(most) + ") ***";
  }
};

TEST_F(GenVlCommand, GoesOutBareAndItsReplyWaits) {
  plug();
  run_virtual_serial(1, [] {
    const Access access = make();
    const Bytes command = echo_command("hello");
    EXPECT_EQ(static_cast<std::int32_t>(command.size()), send(*access, command));
    EXPECT_THAT(messages(kFirst, kCommandSocket), ElementsAre(status_request(), command));
    expect_closed(*access);
    EXPECT_EQ(text("hello"), get_reply(*access).bytes);
  });
}

TEST_F(GenVlCommand, OfTheMostBytesGoesOutAndOneMoreDoesNot) {
  plug();
  run_virtual_serial(1, [this] {
    const Access access = make(&log(vlp::kLogDevice));
    echo_all(kFirst);
    EXPECT_EQ(filled(kDefaultPayload), ask(*access, filled(kDefaultPayload)));
    lines();
    EXPECT_EQ(vlp::GENVL_E_DEVICE, send(*access, filled(kDefaultPayload + 1)));
    EXPECT_THAT(lines(), ElementsAre(too_long(kDefaultPayload + 1, kDefaultPayload)));
    EXPECT_EQ(2u, messages(kFirst, kCommandSocket).size());
    EXPECT_EQ(0u, Private(*access).Fatal());
    expect_closed(*access);
    EXPECT_EQ(text("x"), ask(*access, text("x")));
  });
}

TEST_F(GenVlCommand, TooLongIsToldUnderItsMaskOnly) {
  plug();
  run_virtual_serial(1, [this] {
    const Access access = make(&log(0xFFFFFFFF & ~vlp::kLogDevice));
    lines();
    EXPECT_EQ(vlp::GENVL_E_DEVICE, send(*access, filled(kDefaultPayload + 1)));
    EXPECT_THAT(lines("*** GenVlAccess::ExecGenVlCmd"), IsEmpty());
  });
}

// The command layer may have seen the link lost by then.
TEST_F(GenVlCommand, TooLongDoesNotLookAtTheLink) {
  plug();
  run_virtual_serial(1, [] {
    const Access access = make();
    Private inside(*access);
    EXPECT_EQ(0, inside.Open());
    lose_link(kFirst);
    EXPECT_EQ(nullptr, inside.CommandLayer()->D4OpenChnl(GENVL_CHANNEL_STATUS));
    EXPECT_EQ(1u, inside.CommandLayer()->FatalError());
    EXPECT_FALSE(inside.Exec(&inside.StatusSlot(), filled(kDefaultPayload + 1)));
    EXPECT_EQ(0u, inside.Fatal());
    EXPECT_FALSE(inside.Exec(&inside.StatusSlot(), filled(kDefaultPayload)));
    EXPECT_EQ(1u, inside.Fatal());
    inside.Close();
  });
}

TEST_F(GenVlCommand, NeedsAnOpenDeviceAndEachOfItsArguments) {
  plug();
  run_virtual_serial(1, [] {
    const Access access = make();
    Private inside(*access);
    const Bytes command = status_request();
    EXPECT_FALSE(inside.Exec(&inside.StatusSlot(), command));  // closed
    EXPECT_EQ(0, inside.Open());
    EXPECT_FALSE(inside.ExecRaw(nullptr, command.data(), 5));
    EXPECT_FALSE(inside.ExecRaw(&inside.StatusSlot(), nullptr, 5));
    EXPECT_FALSE(inside.ExecRaw(&inside.StatusSlot(), command.data(), 0));
    EXPECT_EQ(1u, messages(kFirst, kCommandSocket).size());
    EXPECT_TRUE(inside.ExecRaw(&inside.StatusSlot(), command.data(), 5));
    inside.Close();
  });
}

TEST_F(GenVlCommand, ArgumentsAreJudgedAfterTheObjectAndBeforeTheDevice) {
  plug();
  run_virtual_serial(1, [] {
    const Access access = make();
    const Bytes command = status_request();
    platform::watch_calls();
    for (const uint32_t channel : {kNoChannel, 0u, 2u, 0x10000006u}) {
      EXPECT_EQ(vlp::GENVL_E_PARAM, send(*access, command, channel));
    }
    EXPECT_EQ(vlp::GENVL_E_PARAM, access->GenVlSendRecv(GENVL_CHANNEL_STATUS, nullptr, 5));
    EXPECT_EQ(vlp::GENVL_E_PARAM, access->GenVlSendRecv(GENVL_CHANNEL_STATUS, command.data(), 0));
    EXPECT_EQ(0u, device_calls());
    Private(*access).SetInitialized(0);
    EXPECT_EQ(vlp::GENVL_E_FAILED, access->GenVlSendRecv(kNoChannel, nullptr, 0));
    EXPECT_EQ(vlp::GENVL_E_FAILED, send(*access, command));
    EXPECT_EQ(0u, device_calls());
  });
}

TEST_F(GenVlCommand, ChannelsHaveTheirOwnSockets) {
  plug();
  run_virtual_serial(1, [] {
    const Access access = make();
    Private inside(*access);
    EXPECT_EQ(0, inside.Open());
    EXPECT_NE(nullptr, inside.CommandLayer()->D4OpenChnl(0x10000005));
    EXPECT_TRUE(channel_is_open(kFirst, 2));
    EXPECT_FALSE(channel_is_open(kFirst, 33));
    EXPECT_NE(nullptr, inside.CommandLayer()->D4OpenChnl(33));
    EXPECT_TRUE(channel_is_open(kFirst, 33));
    platform::watch_calls();
    for (const uint32_t channel : {0u, 1u, 2u, 34u, 0x10000004u, 0x10000006u, 0x20u}) {
      EXPECT_EQ(nullptr, inside.CommandLayer()->D4OpenChnl(channel));
    }
    EXPECT_EQ(0u, device_calls());
    platform::clear_faults();
    inside.Close();
  });
}

// The last byte of a message on that channel is its flag.
TEST_F(GenVlCommand, OnTheFaxChannelGoesToTheFaxSocket) {
  plug();
  run_virtual_serial(1, [] {
    const Access access = make();
    echo_all(kFirst, kFaxSocket);
    EXPECT_EQ(4, send(*access, text(std::string("fax\x01", 4)), GENVL_CHANNEL_FAX));
    EXPECT_THAT(messages(kFirst, kFaxSocket), ElementsAre(text("fax")));
    EXPECT_EQ(text(std::string("fax\x01", 4)), get_reply(*access, 100, GENVL_CHANNEL_FAX).bytes);
    // The other channel's own is still there.
    EXPECT_EQ(status_item(), get_reply(*access).bytes);
    expect_closed(*access);
  });
}

TEST_F(GenVlCommand, WithoutAnAnswerFailsWhenItsTimeIsOverAndLeavesTheObjectUsable) {
  plug();
  run_virtual_serial(1, [] {
    const Access access = make();
    Private inside(*access);
    answer(kFirst, {.message = text("none"), .reply = {}});
    const std::uint64_t began = elapsed_ms();
    EXPECT_EQ(vlp::GENVL_E_DEVICE, send(*access, text("none")));
    EXPECT_EQ(10'000u, elapsed_ms() - began);
    EXPECT_EQ(0u, inside.Fatal());
    EXPECT_EQ(vlp::GENVL_E_NO_REPLY, get_reply(*access).code);
    expect_closed(*access);
    // Also within one hold of the device.
    EXPECT_EQ(0, inside.Open());
    EXPECT_FALSE(inside.Exec(&inside.StatusSlot(), text("none")));
    EXPECT_EQ(0u, inside.Fatal());
    EXPECT_TRUE(inside.Exec(&inside.StatusSlot(), status_request()));
    inside.Close();
    EXPECT_EQ(status_item(), get_reply(*access).bytes);
  });
}

TEST_F(GenVlCommand, LostLinkIsFatalUntilTheNextOpen) {
  plug();
  run_virtual_serial(1, [] {
    const Access access = make();
    lose_link(kFirst, 4);  // behind the entry string, Init and the channel comes the command
    EXPECT_EQ(vlp::GENVL_E_DEVICE, send(*access, status_request()));
    EXPECT_EQ(1u, Private(*access).Fatal());
    EXPECT_EQ(vlp::GENVL_E_NO_REPLY, get_reply(*access).code);
    expect_closed(*access);
    EXPECT_EQ(status_item(), ask(*access, status_request()));
    EXPECT_EQ(0u, Private(*access).Fatal());
  });
}

TEST_F(GenVlCommand, AnswerLongerThanItsBufferIsAFailure) {
  D4Options options;
  options.any_socket = {.read_size = 206};
  plug(kFirst, options);
  run_virtual_serial(1, [] {
    const Access access = make();
    Private inside(*access);
    EXPECT_EQ(200u, inside.StatusSlot().dwReplyCapacity);
    answer(kFirst, {.message = text("long"), .reply = filled(200)});
    EXPECT_EQ(filled(200), ask(*access, text("long")));
    // A device that is plugged in at the same place may say more at once.
    with(kFirst, [](UsbPrinter& printer, std::uint64_t) {
      printer.device().options().any_socket = {};
      printer.device().options().answers = {{.message = text("long"), .reply = filled(201)}};
    });
    const std::int32_t sent = send(*access, text("long"));
    EXPECT_EQ(vlp::GENVL_E_DEVICE, sent);
    EXPECT_EQ(0u, inside.Fatal());
    expect_closed(*access);
  });
}

}  // namespace
}  // namespace device_test
