#include "tests/d4/device_exchange.h"

#include <algorithm>

#include "tests/support/virtual_time.h"

namespace d4_test {
namespace {

using simulator::D4Device;
using simulator::D4Options;

// Whatever a device does, no call lasts longer than its limits allow, and no exchange has many.
constexpr std::uint64_t kLongestMs = 1'800'000;

class Talker {
 public:
  Talker(DevicePort& port, const ExchangeOptions& options, Exchange& exchange)
      : port_(port), options_(options), exchange_(exchange) {}

  void run() {
    const Opened opened = open_link(port_);
    link_ = opened.link;
    exchange_.opened = note(opened.result);
    EXPECT_EQ(opened.result == 0, link_ != nullptr);
    if (link_ == nullptr) return;
    set_retry_timing(link_, 1, 1, 4);
    for (const std::uint8_t socket : kSockets) {
      if (!over_) talk(socket);
    }
    for (const std::uint8_t socket : kSockets) {
      if (!over_) note(close_channel_on(link_, socket).result);
    }
    const std::int32_t closed = close_link(link_).result;
    EXPECT_TRUE(closed == 0 || closed == vlp::XDLT_ERR_NOLINK) << closed;
  }

 private:
  std::int32_t note(std::int32_t result) {
    listed(result);
    if (result < 0) {
      if (exchange_.first_failure == 0) exchange_.first_failure = result;
      exchange_.whole = false;
    }
    over_ = over_ || is_over(result);
    return result;
  }

  void talk(std::uint8_t socket) {
    if (note(open_channel_on(link_, socket).result) != 0) return;
    const Bytes message = message_for(socket);
    if (note(write_message(link_, socket, as_written(socket, message), options_.patience)) != 0) {
      return;
    }
    Received received = receive(link_, socket, message.size(), 100'000, options_.patience);
    if (note(received.result) < 0) return;
    // What else there is.
    while (const std::int32_t more = note(size_query(link_, socket).result)) {
      if (more < 0) return;
      const Received rest = receive(
          link_, socket, static_cast<std::size_t>(more) - (vlp::IsFlagSocket(socket) ? 1 : 0));
      if (note(rest.result) < 0) return;
      received.bytes.insert(received.bytes.end(), rest.bytes.begin(), rest.bytes.end());
    }
    if (received.bytes.size() < message.size()) {
      exchange_.whole = false;
      EXPECT_TRUE(std::equal(received.bytes.begin(), received.bytes.end(), message.begin()));
    } else {
      EXPECT_TRUE(options_.fits(socket, received.bytes)) << "socket " << int{socket};
    }
    if (options_.credits_agree) {
      test::settle();
      expect_credits_agree(port_, link_, socket);
    }
  }

  DevicePort& port_;
  const ExchangeOptions& options_;
  Exchange& exchange_;
  vlp::XdltLink* link_ = nullptr;
  bool over_ = false;
};

std::uint64_t packets_of(void (*life)(DevicePort&)) {
  std::uint64_t packets = 0;
  test::run_virtual_serial(0, [&] {
    DevicePort port(small_device());
    life(port);
    packets = port.with([](D4Device& device, std::uint64_t) { return device.host_packets(); });
  });
  return packets;
}

}  // namespace

D4Options small_device() {
  D4Options options;
  options.latency_ms = 1;
  options.empty_after_ms = 2;
  options.any_socket = {.write_size = 26, .read_size = 24, .open_credit = 1, .grant = 2};
  options.sockets[0x50] = {.write_size = 26,
                           .read_size = 24,
                           .credit = simulator::D4CreditPolicy::on_request,
                           .grant = 1,
                           .piggyback = 1};
  for (const std::uint8_t socket : kSockets) {
    options.answers.push_back({.socket = socket, .echo = true});
  }
  return options;
}

Bytes message_for(std::uint8_t socket) { return filled(std::size_t{36} + socket % 5, socket); }

bool is_echo(std::uint8_t socket, const Bytes& got) { return got == message_for(socket); }

Bytes own_words() { return {0xF0, 0xF1, 0xF2, 0xF3}; }

bool is_echo_with_own_words(std::uint8_t socket, const Bytes& got) {
  const Bytes own = own_words();
  Bytes rest = got;
  const auto at = std::search(rest.begin(), rest.end(), own.begin(), own.end());
  if (at != rest.end()) rest.erase(at, at + std::ssize(own));
  return is_echo(socket, rest);
}

Exchange exchange(DevicePort& port, const ExchangeOptions& options) {
  const std::uint64_t began = test::elapsed_ms();
  Exchange result;
  Talker(port, options, result).run();
  EXPECT_FALSE(vlp::XdltPortIsInUse(port.handle()));
  result.ms = test::elapsed_ms() - began;
  EXPECT_LE(result.ms, kLongestMs);
  return result;
}

Exchange command_exchange(DevicePort& port, vlp::CD4CmdIO& io) {
  const std::uint64_t began = test::elapsed_ms();
  Exchange result;
  const auto note = [&](bool done) { result.whole = result.whole && done; };
  note(io.D4Open());
  for (std::uint8_t round = 0; round < 2; ++round) {
    const Answered answered = command(io, filled(9));
    note(answered.done);
    // What was sent more than once is answered as often.
    for (std::size_t at = 0; at < answered.bytes.size(); ++at) {
      EXPECT_EQ(at % 9, answered.bytes[at]);
    }
  }
  vlp::D4ChannelEntry* const fax = io.D4OpenChnl(vlp::kD4FaxChannel);
  note(fax != nullptr);
  const Bytes page = as_written(0x21, filled(50));
  note(fax != nullptr &&
       io.D4WriteCmd(fax, page.data(), static_cast<std::uint32_t>(page.size()), GetTickCount()));
  note(io.D4Close());
  EXPECT_FALSE(vlp::XdltPortIsInUse(port.handle()));
  result.ms = test::elapsed_ms() - began;
  EXPECT_LE(result.ms, kLongestMs);
  return result;
}

void expect_recovery(DevicePort& port) {
  SCOPED_TRACE("the same port and device afterwards");
  port.with([](D4Device& device, std::uint64_t now) {
    device.options().replies.clear();
    device.options().short_writes.clear();
    if (device.gone()) device.replug(now);
    if (device.silent()) device.speak(now);
  });
  const Exchange again = exchange(port, {.patience = 50, .credits_agree = true});
  EXPECT_TRUE(again.whole) << again.first_failure << "\n" << port.report();
}

std::uint64_t packets_of_exchange() {
  static const std::uint64_t packets = packets_of([](DevicePort& port) {
    const Engine engine;
    EXPECT_TRUE(exchange(port, {.credits_agree = true}).whole);
  });
  return packets;
}

std::uint64_t packets_of_command_exchange() {
  static const std::uint64_t packets = packets_of([](DevicePort& port) {
    vlp::CD4CmdIO io(nullptr, port.handle(), port.ops(), &kTalkSettings);
    EXPECT_TRUE(command_exchange(port, io).whole);
  });
  return packets;
}

}  // namespace d4_test
