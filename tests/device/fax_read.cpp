// What is read from the fax channel.

#include "tests/device/vendor_device.h"

namespace device_test {
namespace {

struct Read {
  std::int32_t code = 0;
  uint32_t length = 0xABCD;
  Bytes bytes = {};
  std::uint8_t control = 0xEE;
};

class FaxRead : public VendorDevice {
 protected:
  static Read read(vlp::GenVlAccess& access, uint32_t capacity = 5000) {
    Read result;
    std::vector<std::uint8_t> buffer(capacity + 1, 0xEE);
    result.code = access.GenVlFaxRead(GENVL_CHANNEL_FAX, buffer.data(), capacity, &result.length,
                                      &result.control);
    EXPECT_EQ(0xEE, buffer[capacity]);
    if (result.code >= 0) result.bytes.assign(buffer.begin(), buffer.begin() + result.length);
    return result;
  }
  static Access opened() {
    Access access = make();
    EXPECT_EQ(0, access->GenVlFaxChnlOpen(GENVL_CHANNEL_FAX));
    return access;
  }
  static void close(vlp::GenVlAccess& access) {
    EXPECT_EQ(0, access.GenVlFaxChnlClose(GENVL_CHANNEL_FAX));
    expect_closed(access);
  }
  static void say(const Bytes& bytes, bool end_of_message = true) {
    with(kFirst, [&](UsbPrinter& printer, std::uint64_t now) {
      EXPECT_TRUE(printer.device().reply(kFaxSocket, bytes, now, end_of_message));
    });
  }
};

TEST_F(FaxRead, BringsTheDataAndTheFlagBehindThemOnce) {
  plug();
  run_virtual_serial(1, [] {
    const Access access = opened();
    say(text("hello"));
    const Read got = read(*access);
    EXPECT_EQ(5, got.code);
    EXPECT_EQ(5u, got.length);
    EXPECT_EQ(text("hello"), got.bytes);
    EXPECT_EQ(1, got.control);
    EXPECT_EQ(0u, Private(*access).FaxSlot().dwReplyLen);
    say(text("more"), false);
    const Read next = read(*access);
    EXPECT_EQ(text("more"), next.bytes);
    EXPECT_EQ(0, next.control);
    close(*access);
  });
}

TEST_F(FaxRead, ShortBufferKeepsTheDataForALargerOneWithoutReadingAgain) {
  plug();
  run_virtual_serial(1, [] {
    const Access access = opened();
    say(text("hello"));
    const Read small = read(*access, 4);
    EXPECT_EQ(vlp::GENVL_E_BUFFER, small.code);
    EXPECT_EQ(5u, small.length);
    EXPECT_EQ(0xEE, small.control);
    platform::watch_calls();
    const Read got = read(*access, 5);
    EXPECT_EQ(5, got.code);
    EXPECT_EQ(text("hello"), got.bytes);
    EXPECT_EQ(1, got.control);
    EXPECT_EQ(0u, device_calls());
    close(*access);
  });
}

TEST_F(FaxRead, WithoutABufferTellsTheSizeAndKeepsTheData) {
  plug();
  run_virtual_serial(1, [] {
    const Access access = opened();
    say(text("hello"));
    uint32_t length = 0;
    std::uint8_t control = 0xEE;
    EXPECT_EQ(vlp::GENVL_E_BUFFER,
              access->GenVlFaxRead(GENVL_CHANNEL_FAX, nullptr, 5000, &length, &control));
    EXPECT_EQ(5u, length);
    EXPECT_EQ(0xEE, control);
    platform::watch_calls();
    EXPECT_EQ(text("hello"), read(*access).bytes);
    EXPECT_EQ(0u, device_calls());
    close(*access);
  });
}

TEST_F(FaxRead, ArgumentsAreJudgedInTheirOrder) {
  plug();
  run_virtual_serial(1, [] {
    const Access access = opened();
    Private inside(*access);
    std::uint8_t buffer[8];
    uint32_t length = 9;
    std::uint8_t control = 0;
    const auto code = [&](uint32_t channel) {
      length = 9;
      const std::int32_t result = access->GenVlFaxRead(channel, buffer, 8, &length, &control);
      EXPECT_EQ(0u, length);
      return result;
    };
    for (const uint32_t channel : {GENVL_CHANNEL_STATUS, kNoChannel, 0u}) {
      EXPECT_EQ(vlp::GENVL_E_PARAM, code(channel));
    }
    length = 9;
    EXPECT_EQ(vlp::GENVL_E_PARAM,
              access->GenVlFaxRead(GENVL_CHANNEL_FAX, buffer, 8, &length, nullptr));
    EXPECT_EQ(0u, length);
    EXPECT_EQ(vlp::GENVL_E_PARAM,
              access->GenVlFaxRead(GENVL_CHANNEL_FAX, buffer, 8, nullptr, &control));
    inside.SetFatal(1);
    EXPECT_EQ(vlp::GENVL_E_FATAL, code(kNoChannel));
    EXPECT_EQ(vlp::GENVL_E_FATAL, code(GENVL_CHANNEL_FAX));
    inside.SetInitialized(0);
    EXPECT_EQ(vlp::GENVL_E_FAILED, code(GENVL_CHANNEL_FAX));
    inside.SetInitialized(1);
    auto layer = std::move(inside.CommandLayer());
    EXPECT_EQ(vlp::GENVL_E_FAILED, code(GENVL_CHANNEL_FAX));
    inside.CommandLayer() = std::move(layer);
    inside.SetFatal(0);
    close(*access);
    EXPECT_EQ(vlp::GENVL_E_PARAM, code(GENVL_CHANNEL_FAX));  // no open channel
  });
}

TEST_F(FaxRead, BufferHasRoomForTheFlagBehindTheLongestData) {
  D4Options options;
  options.sockets[kFaxSocket] = {.read_size = 36};
  plug(kFirst, options);
  run_virtual_serial(1, [] {
    const Access access = opened();
    vlp::GenVlChannelSlot& slot = Private(*access).FaxSlot();
    EXPECT_EQ(nullptr, slot.pReply);
    say(filled(30));
    const Read got = read(*access, 30);
    EXPECT_EQ(filled(30), got.bytes);
    EXPECT_EQ(1, got.control);
    EXPECT_EQ(31u, slot.dwReplyCapacity);
    const std::uint8_t* const made = slot.pReply.get();
    say(text("x"));
    EXPECT_EQ(text("x"), read(*access).bytes);
    EXPECT_EQ(made, slot.pReply.get());
    EXPECT_EQ(0, slot.pReply[29]);  // what was there before is gone
    close(*access);
  });
}

// A command on the channel made it, without room for the flag of the longest data.
TEST_F(FaxRead, BufferOfACommandIsUsedAsItIs) {
  D4Options options;
  options.sockets[kFaxSocket] = {.read_size = 36};
  plug(kFirst, options);
  run_virtual_serial(1, [] {
    const Access access = make();
    answer(kFirst, {.socket = kFaxSocket, .message = text("ask"), .reply = text("told")});
    EXPECT_EQ(4, send(*access, text(std::string("ask\x01", 4)), GENVL_CHANNEL_FAX));
    EXPECT_EQ(30u, Private(*access).FaxSlot().dwReplyCapacity);
    EXPECT_EQ(5, get_reply(*access, 100, GENVL_CHANNEL_FAX).code);
    EXPECT_EQ(0, access->GenVlFaxChnlOpen(GENVL_CHANNEL_FAX));
    say(filled(29));
    EXPECT_EQ(filled(29), read(*access).bytes);
    say(filled(30));
    EXPECT_EQ(vlp::GENVL_E_DEVICE, read(*access).code);
    EXPECT_EQ(0u, Private(*access).Fatal());
    close(*access);
  });
}

// The device has no means to make the command layer say so.
TEST_F(FaxRead, ControlByteAloneIsDataOfNoBytes) {
  plug();
  run_virtual_serial(1, [] {
    const Access access = opened();
    spy().fax_data = Bytes{1};
    const Read got = read(*access, 0);
    EXPECT_EQ(0, got.code);
    EXPECT_EQ(0u, got.length);
    EXPECT_EQ(1, got.control);
    EXPECT_EQ(0u, Private(*access).FaxSlot().dwReplyLen);
    close(*access);
  });
}

TEST_F(FaxRead, NothingReadIsNoReply) {
  plug();
  run_virtual_serial(1, [] {
    const Access access = opened();
    spy().fax_data = Bytes{};
    const Read got = read(*access);
    EXPECT_EQ(vlp::GENVL_E_NO_REPLY, got.code);
    EXPECT_EQ(0u, got.length);
    EXPECT_EQ(0xEE, got.control);
    close(*access);
  });
}

TEST_F(FaxRead, OfADeviceThatSaysNothingFailsWhenItsTimeIsOver) {
  plug();
  run_virtual_serial(1, [] {
    const Access access = opened();
    const std::uint64_t began = elapsed_ms();
    const Read got = read(*access);
    EXPECT_EQ(vlp::GENVL_E_DEVICE, got.code);
    EXPECT_EQ(0u, got.length);
    EXPECT_EQ(10'000u, elapsed_ms() - began);
    EXPECT_EQ(0u, Private(*access).Fatal());
    say(text("late"));
    EXPECT_EQ(text("late"), read(*access).bytes);
    close(*access);
  });
}

TEST_F(FaxRead, LostLinkIsFatal) {
  plug();
  run_virtual_serial(1, [] {
    const Access access = opened();
    with(kFirst, [](UsbPrinter& printer, std::uint64_t now) {
      printer.device().tolerate(simulator::D4Rule::nothing_after_error);
      printer.device().send_error(0x80, now);
    });
    EXPECT_EQ(vlp::GENVL_E_FATAL, read(*access).code);
    EXPECT_EQ(1u, Private(*access).Fatal());
    EXPECT_EQ(vlp::GENVL_E_FATAL, read(*access).code);
    EXPECT_EQ(vlp::GENVL_E_DEVICE, access->GenVlFaxChnlClose(GENVL_CHANNEL_FAX));
    expect_closed(*access);
    EXPECT_EQ(status_item(), ask(*access, status_request()));
  });
}

}  // namespace
}  // namespace device_test
