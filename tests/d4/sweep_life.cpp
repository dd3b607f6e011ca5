#include "tests/d4/sweep_life.h"

#include <algorithm>
#include <set>

#include "platform/faults.h"
#include "platform/kernel/scenario.h"

namespace d4_test {
namespace {

using platform::UnderTest;
using simulator::D4Options;
using simulator::D4Rule;

constexpr std::uint8_t kCommand[] = {0x1b, 0x40, 0x53, 0x54, 0x0a};

// 70 bytes and the flag behind them: three packets of the fax channel.
constexpr std::size_t kFaxBytes = 70;

std::array<std::uint8_t, kFaxBytes + 1> fax_message() {
  std::array<std::uint8_t, kFaxBytes + 1> bytes{};
  for (std::size_t at = 0; at < kFaxBytes; ++at) bytes[at] = static_cast<std::uint8_t>(at + 3);
  bytes[kFaxBytes] = 1;
  return bytes;
}

D4Options device() {
  D4Options options;
  options.latency_ms = 1;
  options.empty_after_ms = 3;
  options.sockets[0x21] = {.write_size = 36, .read_size = 36, .open_credit = 1, .grant = 1};
  options.sockets[0x50] = {.write_size = 36, .read_size = 36, .open_credit = 1, .piggyback = 1};
  for (const std::uint8_t socket : {vlp::kSocketCommand, vlp::kSocketEomA, vlp::kSocketPrint}) {
    options.answers.push_back({.socket = socket, .echo = true});
  }
  return options;
}

}  // namespace

SweepLife::SweepLife(const SweepFault& fault, vlp::DbgLog* log)
    : fault_(fault), log_(log), port_(device()) {}

void SweepLife::arm() {
  test::settle();
  fault_.arm();
  armed_ = true;
}

void SweepLife::disarm() {
  test::settle();
  met_ = platform::faults_met();
  failed_ = platform::failed_calls();
  std::set<std::string> names;
  for (const std::string& line : platform::call_trace()) {
    names.insert(line.substr(line.rfind(' ') + 1));
  }
  made_.assign(names.begin(), names.end());
  platform::clear_faults();
  armed_ = false;
  // The read thread may be in the port for the last time, with the lock of it.
  test::sleep_ms(10);
  EXPECT_FALSE(platform::any_lock_held());
}

void SweepLife::expect(bool good, const char* what) const {
  EXPECT_TRUE(good || platform::faults_met() != 0) << what;
}

std::int32_t SweepLife::engine(std::int32_t result) const {
  const platform::Exempt exempt;
  listed(result);
  expect(result >= 0, "a call of the engine");
  return result;
}

// --- Steps ------------------------------------------------------------------------------------

void SweepLife::make() {
  const UnderTest tested;
  io_.emplace(log_, port_.handle(), port_.ops(), &kTalkSettings);
}

void SweepLife::open() {
  const UnderTest tested;
  const bool done = io_->D4Open();
  expect(done, "the link's opening");
}

void SweepLife::open_channels() {
  const UnderTest tested;
  for (const std::uint32_t channel : {vlp::kD4CommandChannel, vlp::kD4FaxChannel}) {
    const vlp::D4ChannelEntry* const entry = io_->D4OpenChnl(channel);
    expect(entry != nullptr, "a channel's opening");
    std::uint32_t sizes = 0;
    const bool told = io_->D4GetPacketSize(channel, &sizes);
    expect(told, "a channel's sizes");
    const std::uint32_t payload = channel == vlp::kD4FaxChannel ? 30 : 4096;
    EXPECT_TRUE(!told || sizes == (payload << 16 | payload)) << sizes;
  }
}

bool SweepLife::exchange() {
  const UnderTest tested;
  std::uint32_t count = 0;
  const bool done =
      io_->D4CmdProc(vlp::kD4CommandChannel, kCommand, sizeof kCommand, buffer_.data(),
                     static_cast<std::uint32_t>(buffer_.size()), &count);
  if (!done) return false;
  // A write that is made again leaves its answers twice.
  EXPECT_GE(count, sizeof kCommand);
  EXPECT_EQ(0u, count % sizeof kCommand);
  EXPECT_TRUE(std::equal(std::begin(kCommand), std::end(kCommand), buffer_.begin()));
  return true;
}

void SweepLife::command() { expect(exchange(), "a command"); }

void SweepLife::write_fax() {
  const UnderTest tested;
  vlp::D4ChannelEntry* const entry = io_->D4OpenChnl(vlp::kD4FaxChannel);
  const auto message = fax_message();
  const bool done =
      entry != nullptr && io_->D4WriteCmd(entry, message.data(), kFaxBytes + 1, GetTickCount());
  expect(done, "a fax write");
}

void SweepLife::read_fax() {
  const UnderTest tested;
  vlp::D4ChannelEntry* const entry = io_->D4OpenChnl(vlp::kD4FaxChannel);
  const auto message = fax_message();
  std::uint32_t got = 0;
  while (got < kFaxBytes) {
    std::uint32_t count = 0;
    const bool done =
        entry != nullptr &&
        io_->D4ReadCmd(entry, buffer_.data() + got,
                       static_cast<std::uint32_t>(buffer_.size()) - got, &count, GetTickCount());
    expect(done, "a fax read");
    if (!done) return;
    EXPECT_GT(count, 1u);
    got += count - 1;  // the next one comes over the flag
  }
  expect(std::equal(message.begin(), message.end() - 1, buffer_.begin()), "the fax as it was");
  expect_fax_or_more(got);
}

// A write of which a part went out was made again from its first byte.
void SweepLife::expect_fax_or_more(std::uint32_t count) const {
  const auto message = fax_message();
  std::size_t next = 0;
  for (std::uint32_t at = 0; at < count; ++at) {
    if (next == kFaxBytes || buffer_[at] != message[next]) next = 0;
    ASSERT_EQ(message[next], buffer_[at]) << "at " << at;
    ++next;
  }
}

void SweepLife::close() {
  const UnderTest tested;
  const bool done = io_->D4Close();
  expect(done, "the link's closing");
}

void SweepLife::end() {
  const UnderTest tested;
  io_.reset();
}

void SweepLife::engine_calls() {
  const UnderTest tested;
  EXPECT_EQ(1, vlp::XdltInitialize(log_));
  vlp::XdltLink* link = nullptr;
  if (engine(vlp::XDLT_Open(port_.handle(), port_.ops(), &link)) == 0) {
    EXPECT_NE(nullptr, link);
    engine(vlp::XDLT_OpenChannel(link, vlp::kSocketPrint));
    vlp::XdltParameters parameters{.kind = vlp::kSetRetryTiming, .timing = 2, .mode = 1};
    vlp::XDLT_SetParameters(link, &parameters);
    std::uint32_t count = sizeof kCommand;
    engine(vlp::XDLT_Write(link, vlp::kSocketPrint, kCommand, &count));
    EXPECT_LE(count, sizeof kCommand);
    for (int round = 0; round < 2; ++round)
      engine(vlp::XDLT_Read(link, vlp::kSocketPrint, nullptr, &count));
    count = static_cast<std::uint32_t>(buffer_.size());
    const std::int32_t got =
        engine(vlp::XDLT_Read(link, vlp::kSocketPrint, buffer_.data(), &count));
    expect(got == sizeof kCommand, "as much as was written");
    if (got > 0) {
      EXPECT_EQ(static_cast<std::uint32_t>(got), count);
      EXPECT_TRUE(std::equal(std::begin(kCommand), std::end(kCommand), buffer_.begin()));
    }
    engine(vlp::XDLT_CloseChannel(link, vlp::kSocketPrint));
    engine(vlp::XDLT_Close(link));
  } else {
    EXPECT_EQ(nullptr, link);
  }
  vlp::XdltUninitialize();
}

// --- Behind the fault -------------------------------------------------------------------------

void SweepLife::expect_recovery() {
  SCOPED_TRACE("behind the fault");
  if (io_) {
    io_->D4Close();
    // An engine that lacks memory or events lacks them to its end, and a link whose gate didn't
    // come in time wasn't closed.
    if (!io_->D4Open()) {
      EXPECT_NE(0u, met_);
      io_.reset();
    }
  }
  EXPECT_TRUE(io_ || !vlp::XdltPortIsInUse(port_.handle()));
  if (!io_) {
    make();
    open();
  }
  command();
  write_fax();
  read_fax();
  close();
  end();
  expect_no_breach();
}

// The host keeps to the rules whatever fails, with two exceptions.
void SweepLife::expect_no_breach() {
  std::set<D4Rule> excused;
  for (const std::string& call : failed_) {
    if (call.starts_with("WaitFor")) {
      // The wait counts as one that ran out: the host goes on before the reply is there, and
      // that is one then that nobody awaits.
      excused.insert({D4Rule::one_at_a_time, D4Rule::error_deserved});
    } else {
      // The device has agreed to a channel that the host can't build.
      excused.insert(D4Rule::open_once);
    }
  }
  for (const std::string& breach : port_.forgive()) {
    EXPECT_TRUE(std::ranges::any_of(
        excused, [&breach](D4Rule rule) { return breach.starts_with(simulator::name_of(rule)); }))
        << breach << "\n"
        << port_.report();
  }
}

const std::vector<SweepPart>& sweep_parts() {
  static const std::vector<SweepPart> all = {
      {"TheEnginesOwnCalls", [](SweepLife&) {}, [](SweepLife& life) { life.engine_calls(); }, 60},
      {"Open", [](SweepLife&) {},
       [](SweepLife& life) {
         life.make();
         life.open();
       },
       40},
      {"OpenOfAnEngineInUse", [](SweepLife& life) { life.make(); },
       [](SweepLife& life) { life.open(); }, 20},
      {"OpenChannels",
       [](SweepLife& life) {
         life.make();
         life.open();
       },
       [](SweepLife& life) { life.open_channels(); }, 20},
      {"Command",
       [](SweepLife& life) {
         life.make();
         life.open();
         life.open_channels();
       },
       [](SweepLife& life) { life.command(); }, 20},
      {"FaxWrite",
       [](SweepLife& life) {
         life.make();
         life.open();
         life.open_channels();
       },
       [](SweepLife& life) {
         life.write_fax();
         life.read_fax();
       },
       20},
      {"Close",
       [](SweepLife& life) {
         life.make();
         life.open();
         life.open_channels();
       },
       [](SweepLife& life) { life.close(); }, 10},
      {"End",
       [](SweepLife& life) {
         life.make();
         life.open();
         life.open_channels();
         life.command();
       },
       [](SweepLife& life) { life.end(); }, 10},
  };
  return all;
}

}  // namespace d4_test
