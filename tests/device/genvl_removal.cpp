// The device goes: at each byte of either direction, of a command and of a fax, and back again
// with another path.

#include "tests/device/vendor_device.h"
#include "tests/support/sanitized.h"

namespace device_test {
namespace {

using test::kStep;
using test::live;

const std::string kElsewhere = path_of("elsewhere");

struct Moved {
  std::uint64_t written = 0;
  std::uint64_t read = 0;
};

class GenVlRemoval : public VendorDevice {
 protected:
  static D4Options small_device() {
    D4Options options;
    options.latency_ms = 1;
    options.sockets[kFaxSocket] = {.write_size = 36, .read_size = 36};
    return options;
  }
  static Moved moved() {
    Moved all;
    with(kFirst, [&](UsbPrinter& printer, std::uint64_t) {
      all = {printer.device().bytes_written(), printer.device().bytes_read()};
    });
    return all;
  }
  static bool is_listed(std::int32_t code) {
    return code == 0 || (code <= vlp::GENVL_E_FAILED && code >= vlp::GENVL_E_NO_REPLY) ||
           code == vlp::GENVL_E_MUTEX_TIMEOUT || code == vlp::GENVL_E_FATAL;
  }

  // A life of an object in which the device may go; true if it saw nothing of it.
  static bool command_life() {
    const Access access = make();
    bool whole = access->IsInitialized();
    const std::int32_t sent = send(*access, echo_command("hello"));
    whole = whole && sent == 9;
    EXPECT_TRUE(sent == 9 || is_listed(sent)) << sent;
    const Result reply = get_reply(*access);
    EXPECT_TRUE(reply.code == 5 || is_listed(reply.code) ||
                reply.bytes == status_item())  // of the search, if the device went behind it
        << reply.code;
    if (sent == 9) {
      EXPECT_EQ(text("hello"), reply.bytes);
    }
    expect_nothing_held(*access);
    return whole;
  }

  static bool fax_life() {
    const Access access = make();
    if (!access->IsInitialized()) {
      expect_nothing_held(*access);
      return false;
    }
    const Bytes page = filled(30);
    const std::int32_t opened = access->GenVlFaxChnlOpen(GENVL_CHANNEL_FAX);
    EXPECT_TRUE(is_listed(opened)) << opened;
    const std::int32_t wrote = access->GenVlFaxWrite(GENVL_CHANNEL_FAX, page.data(), 30, 1);
    EXPECT_TRUE(wrote == 30 || is_listed(wrote)) << wrote;
    // It would wait for its whole time if the channel weren't there.
    platform::with_usb_device(kFirst, [&](UsbPrinter& printer, std::uint64_t now) {
      if (!printer.device().gone()) printer.device().reply(kFaxSocket, text("received"), now);
    });
    std::uint8_t buffer[40];
    uint32_t length = 0;
    std::uint8_t control = 0;
    const std::int32_t got =
        access->GenVlFaxRead(GENVL_CHANNEL_FAX, buffer, sizeof buffer, &length, &control);
    EXPECT_TRUE(got == 8 || is_listed(got)) << got;
    const std::int32_t closed = access->GenVlFaxChnlClose(GENVL_CHANNEL_FAX);
    EXPECT_TRUE(is_listed(closed)) << closed;
    expect_nothing_held(*access);
    return opened == 0 && wrote == 30 && got == 8 && closed == 0;
  }

  static void expect_nothing_held(vlp::GenVlAccess& access) { expect_closed(access); }

  // The next command, once it is back.
  static void expect_recovery() {
    ASSERT_TRUE(platform::replug_usb_device(kFirst, {kElsewhere}));
    const Access access = make();
    ASSERT_TRUE(access->IsInitialized());
    EXPECT_EQ(kElsewhere, Private(*access).Path());
    EXPECT_EQ(text("again"), ask(*access, echo_command("again")));
    expect_closed(*access);
  }

  // What a life moves while nothing happens.
  Moved undisturbed(bool (*one_life)()) {
    Moved all;
    plug(kFirst, small_device());
    live(1, [&] { EXPECT_TRUE(one_life()); });
    all = moved();
    EXPECT_TRUE(platform::unplug_usb_device(kFirst));
    return all;
  }

  void at_each_byte(bool (*one_life)()) {
    const Moved all = undisturbed(one_life);
    EXPECT_GT(all.written, 100u);
    EXPECT_GT(all.read, 100u);
    unsigned disturbed = 0;
    for (const bool read : {false, true}) {
      for (std::uint64_t at = 0; at < (read ? all.read : all.written) && !HasFailure();
           at += kStep) {
        SCOPED_TRACE((read ? "for the host " : "for the device ") + std::to_string(at));
        D4Options options = small_device();
        (read ? options.remove_after_read : options.remove_after_written) = at;
        far_side::reset();
        plug(kFirst, options);
        live(1, [&] {
          if (!one_life()) ++disturbed;
          expect_recovery();
        });
      }
    }
    // All but the end of the last link.
    EXPECT_GT(disturbed * kStep, all.written + all.read - 60);
  }
};

TEST_F(GenVlRemoval, AtEachByteOfSearchAndCommand) { at_each_byte(&GenVlRemoval::command_life); }

TEST_F(GenVlRemoval, AtEachByteOfAFax) { at_each_byte(&GenVlRemoval::fax_life); }

TEST_F(GenVlRemoval, UnderACommandEndsItAndClosesEverything) {
  plug();
  run_virtual_serial(1, [] {
    const Access access = make();
    // With the fourth packet of the exchange, and with the fifth: the command.
    for (const std::uint64_t packet : {4u, 5u}) {
      SCOPED_TRACE(packet);
      with(kFirst, [&](UsbPrinter& printer, std::uint64_t) {
        printer.device().plan(
            {.kind = D4Act::Kind::removal, .host_packet = packet, .before_reply = true});
      });
      EXPECT_EQ(vlp::GENVL_E_DEVICE, send(*access, status_request()));
      EXPECT_EQ(vlp::GENVL_E_NO_REPLY, get_reply(*access).code);
      expect_closed(*access);
      // While it is away.
      EXPECT_EQ(vlp::GENVL_E_DEVICE, send(*access, status_request()));
      expect_closed(*access);
      platform::replug_usb_device(kFirst);
      EXPECT_EQ(status_item(), ask(*access, status_request()));
    }
  });
}

TEST_F(GenVlRemoval, OldObjectStaysWithItsPathAndANewOneFindsTheNewOne) {
  plug();
  run_virtual_serial(1, [] {
    Access access = make();
    with(kFirst, [](UsbPrinter& printer, std::uint64_t) {
      printer.device().options().remove_after_written = printer.device().bytes_written() + 40;
    });
    EXPECT_EQ(vlp::GENVL_E_DEVICE, send(*access, status_request()));
    platform::replug_usb_device(kFirst, {kElsewhere});
    EXPECT_EQ(vlp::GENVL_E_DEVICE, send(*access, status_request()));
    expect_closed(*access);
    access = make();
    ASSERT_TRUE(access->IsInitialized());
    EXPECT_EQ(kElsewhere, Private(*access).Path());
    EXPECT_EQ(status_item(), ask(*access, status_request()));
  });
}

// A read that nothing completes lasts until the device goes.
TEST_F(GenVlRemoval, EndsTheWaitForASilentDevice) {
  plug();
  run_virtual_serial(1, [] {
    const Access access = make();
    ASSERT_TRUE(access->IsInitialized());
    with(kFirst, [](UsbPrinter& printer, std::uint64_t) {
      printer.device().options().answers = {{.message = text("none"), .reply = {}}};
      printer.device().plan({.kind = D4Act::Kind::silence, .host_packet = 4});
    });
    std::int32_t sent = 0;
    TestThread sender = spawn("sender", [&] { sent = send(*access, text("none")); });
    sleep_ms(90'000);
    EXPECT_TRUE(platform::unplug_usb_device(kFirst));
    sender.join();
    EXPECT_EQ(vlp::GENVL_E_DEVICE, sent);
    sleep_ms(20);
    expect_closed(*access);
    platform::replug_usb_device(kFirst);
    EXPECT_EQ(status_item(), ask(*access, status_request()));
  });
}

}  // namespace
}  // namespace device_test
