// The device goes, at each byte of either direction and at each packet, also out of silence.

#include "tests/d4/device_exchange.h"

namespace d4_test {
namespace {

using simulator::D4Act;
using simulator::D4Device;
using simulator::D4Options;
using simulator::D4Rule;

struct Moved {
  std::uint64_t written = 0;
  std::uint64_t read = 0;
};

Moved moved(DevicePort& port) {
  return port.with([](D4Device& device, std::uint64_t) {
    return Moved{device.bytes_written(), device.bytes_read()};
  });
}

// A life with these options, in which something may go wrong, and one behind it.
void live_and_recover(const D4Options& options, bool may_be_whole = false) {
  live(1, [&] {
    DevicePort port(options);
    const Engine engine;
    const Exchange with = exchange(port);
    EXPECT_TRUE(!with.whole || may_be_whole);
    expect_recovery(port);
  });
}

void command_and_recover(const D4Options& options) {
  live(1, [&] {
    DevicePort port(options);
    vlp::CD4CmdIO io(nullptr, port.handle(), port.ops(), &kTalkSettings);
    command_exchange(port, io);
    port.with([](D4Device& device, std::uint64_t now) {
      if (device.gone()) device.replug(now);
      if (device.silent()) device.speak(now);
    });
    EXPECT_TRUE(command_exchange(port, io).whole) << port.report();
  });
}

Moved undisturbed(bool by_commands) {
  Moved all;
  live(1, [&] {
    DevicePort port(small_device());
    if (by_commands) {
      vlp::CD4CmdIO io(nullptr, port.handle(), port.ops(), &kTalkSettings);
      EXPECT_TRUE(command_exchange(port, io).whole);
    } else {
      const Engine engine;
      EXPECT_TRUE(exchange(port).whole);
    }
    all = moved(port);
  });
  return all;
}

TEST(DeviceRemoval, AtEachByteForTheDevice) {
  const std::uint64_t all = undisturbed(false).written;
  EXPECT_GT(all, 400u);
  for (std::uint64_t at = 0; at <= all && !HasFailure(); at += kStep) {
    SCOPED_TRACE(at);
    D4Options options = small_device();
    options.remove_after_written = at;
    // The Exit is the last; its reply makes no difference.
    live_and_recover(options, at + exit_link().size() > all);
  }
}

TEST(DeviceRemoval, AtEachByteForTheHost) {
  const std::uint64_t all = undisturbed(false).read;
  EXPECT_GT(all, 400u);
  for (std::uint64_t at = 0; at <= all && !HasFailure(); at += kStep) {
    SCOPED_TRACE(at);
    D4Options options = small_device();
    options.remove_after_read = at;
    live_and_recover(options, at + exit_reply().size() >= all);
  }
}

TEST(DeviceRemoval, AtEachByteOfACommandLink) {
  const Moved all = undisturbed(true);
  for (std::uint64_t at = 0; at <= all.written && !HasFailure(); at += kStep) {
    SCOPED_TRACE("for the device " + std::to_string(at));
    D4Options options = small_device();
    options.remove_after_written = at;
    command_and_recover(options);
  }
  for (std::uint64_t at = 0; at <= all.read && !HasFailure(); at += kStep) {
    SCOPED_TRACE("for the host " + std::to_string(at));
    D4Options options = small_device();
    options.remove_after_read = at;
    command_and_recover(options);
  }
}

// In one-byte transfers a removal comes between any two of them; at every third here.
TEST(DeviceRemoval, BetweenBytesForTheHostThatComeAlone) {
  D4Options options = small_device();
  options.transfer_bytes = 1;
  const std::uint64_t all = undisturbed(false).read;
  for (std::uint64_t at = 0; at <= all && !HasFailure(); at += 3 * kStep) {
    SCOPED_TRACE(at);
    options.remove_after_read = at;
    live_and_recover(options, at + exit_reply().size() >= all);
  }
}

// A read that nothing completes lasts until the device goes.
TEST(DeviceRemoval, EndsASilenceThatBeganAtAnyPacket) {
  for (const bool stops_writes : {false, true}) {
    for (std::uint64_t packet = 1; packet <= packets_of_exchange() && !HasFailure();
         packet += kStep) {
      for (const bool before : {true, false}) {
        SCOPED_TRACE(std::to_string(packet) + (before ? " ahead" : " behind"));
        D4Options options = small_device();
        options.silence_stops_writes = stops_writes;
        options.acts = {
            {.kind = D4Act::Kind::silence, .host_packet = packet, .before_reply = before},
            {.kind = D4Act::Kind::removal, .host_packet = packet, .delay_ms = 60'000}};
        live_and_recover(options, packet >= packets_of_exchange());
      }
    }
  }
}

TEST(DeviceRemoval, EndsASilenceThatBeganAtAnyPacketOfACommandLink) {
  for (std::uint64_t packet = 1; packet <= packets_of_command_exchange() && !HasFailure();
       packet += kStep) {
    SCOPED_TRACE(packet);
    D4Options options = small_device();
    options.acts = {{.kind = D4Act::Kind::silence, .host_packet = packet},
                    {.kind = D4Act::Kind::removal, .host_packet = packet, .delay_ms = 60'000}};
    command_and_recover(options);
  }
}

// The rest of a packet never comes, so that what follows it makes no sense to the device.
std::set<D4Rule> every_rule() {
  std::set<D4Rule> rules;
  for (int rule = 0; rule <= static_cast<int>(D4Rule::nothing_after_error); ++rule) {
    rules.insert(static_cast<D4Rule>(rule));
  }
  return rules;
}

TEST(DeviceRemoval, EachTransferIsTakenInPartOnce) {
  for (std::uint64_t transfer = 1; transfer <= packets_of_exchange() && !HasFailure();
       transfer += kStep) {
    for (const std::size_t taken : {std::size_t{0}, std::size_t{1}, std::size_t{6}}) {
      SCOPED_TRACE(std::to_string(transfer) + ": " + std::to_string(taken));
      D4Options options = small_device();
      options.short_writes = {{transfer, taken}};
      options.tolerated = every_rule();
      // A Credit that didn't go out is sent again.
      live_and_recover(options, true);
    }
  }
}

}  // namespace
}  // namespace d4_test
