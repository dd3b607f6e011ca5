#include "fuzz/d4_calls.h"

#include <algorithm>
#include <cstdio>
#include <initializer_list>
#include <memory>
#include <vector>

#include "d4/c_d4_cmd_io.h"
#include "platform/kernel/scenario.h"

namespace fuzz {
namespace {

using vlp::XdltLink;
using vlp::XdltParameters;

constexpr std::uint8_t kCommandSocket = 0x02;
constexpr std::uint8_t kFaxSocket = 0x21;
constexpr std::uint32_t kLargestBuffer = 0x20000;
constexpr std::uint8_t kUntouched = 0xA5;
constexpr std::size_t kBehind = 4;
constexpr std::uint32_t kSmallMessage = 16;

// One transaction: the control gate, the port as long as a packet's body and the transfers
// beside it may hold it, the reply, the receive buffer.
constexpr std::uint64_t kTransactionMs = std::uint64_t{vlp::kControlLimitMs} + vlp::kBodyLimitMs +
                                         vlp::kReplyLimitMs + vlp::kBufferLimitMs +
                                         16 * kLongestTransferMs;

// What any call may end with besides what the device refuses it with.
bool IsEngineResult(std::int32_t result) {
  return (result <= vlp::XDLT_ERR_PARAM && result >= vlp::XDLT_ERR_GATE_TIMEOUT) ||
         (result <= vlp::XDLT_ERR_ENTRY_WRITE && result >= vlp::XDLT_ERR_BUFFER_TIMEOUT) ||
         result == vlp::XDLT_ERR_SHORT_WRITE || result == vlp::XDLT_ERR_SHORT_READ ||
         (result <= vlp::XDLT_ERR_MALFORMED && result >= vlp::XDLT_ERR_BAD_COMMAND);
}

void ClaimResult(std::int32_t result, std::initializer_list<std::int32_t> refusals) {
  if (result >= 0 || IsEngineResult(result) || result == vlp::XDLT_ERR_BAD_RESULT) return;
  claim(std::ranges::find(refusals, result) != refusals.end(), "a result that isn't listed");
}

// Runs the call and looks at how long it took.
template <typename Call>
auto Within(std::uint64_t limit_ms, Call call) {
  const std::uint64_t began = platform::elapsed_ms();
  const auto result = call();
  claim(platform::elapsed_ms() - began <= limit_ms, "a call that took too long");
  return result;
}

constexpr std::uint64_t TimeOf(std::uint64_t transactions) {
  return vlp::kGateLimitMs + transactions * kTransactionMs;
}

// A block of exactly this size, so that a step over its end is seen, or with a few bytes
// behind it, which must stay.
class Buffer {
 public:
  Buffer(std::uint32_t capacity, bool guarded)
      : capacity_(capacity),
        size_(capacity + (guarded ? kBehind : 0)),
        bytes_(std::make_unique<std::uint8_t[]>(size_)) {
    std::fill_n(bytes_.get(), size_, kUntouched);
  }

  std::uint8_t* Get() { return bytes_.get(); }
  bool IsUntouchedFrom(std::size_t at) const {
    return std::all_of(bytes_.get() + at, bytes_.get() + size_,
                       [](std::uint8_t byte) { return byte == kUntouched; });
  }
  std::uint32_t Capacity() const { return capacity_; }

 private:
  std::uint32_t capacity_;
  std::size_t size_;
  std::unique_ptr<std::uint8_t[]> bytes_;
};

std::vector<std::uint8_t> Message(std::uint32_t size) {
  std::vector<std::uint8_t> bytes(size);
  for (std::uint32_t i = 0; i < size; ++i) bytes[i] = static_cast<std::uint8_t>(i);
  return bytes;
}

// One link from its opening to its close.
class LinkCalls {
 public:
  LinkCalls(vlp::XdltPortHandle port, vlp::XdltPortOps& ops, const CallPlan& plan)
      : port_(port), ops_(ops), plan_(plan) {}

  void Run() {
    if (!Open()) return;
    SetWaits();
    Use(kCommandSocket);
    Use(kFaxSocket);
    Converse(kCommandSocket);
    CloseChannel(kFaxSocket);
    CloseChannel(kCommandSocket);
    Close();
  }

 private:
  bool Open() {
    XdltLink* link = nullptr;
    const std::int32_t result = Within(TimeOf(4), [&] {
      // An old conversation of any length may have to be thrown away first.
      return vlp::XDLT_Open(port_, &ops_, &link);
    });
    ClaimResult(result, {-1, -2, -11});
    claim((result == 0) == (link != nullptr), "a link without success, or success without a link");
    claim(vlp::XdltPortIsInUse(port_) == (result == 0), "a port in use behind a failed open");
    link_ = link;
    return result == 0;
  }

  void SetWaits() {
    XdltParameters waits{.kind = vlp::kSetRetryTiming,
                         .timing = plan_.settings.d4RetryTiming,
                         .mode = plan_.settings.d4RetryMode,
                         .maximum = plan_.settings.d4RetryMax};
    vlp::XDLT_SetParameters(link_, &waits);
  }

  void Use(std::uint8_t socket) {
    if (Stops()) return;
    const std::int32_t result =
        Within(TimeOf(2), [&] { return vlp::XDLT_OpenChannel(link_, socket); });
    ClaimResult(result, {-4, -5, -9, -12, -13});
    claim(result <= 0, "a channel opened with a count");
    Note(result);
    XdltParameters sizes{.kind = vlp::kAskPacketSizes, .socket = socket};
    vlp::XDLT_SetParameters(link_, &sizes);
    claim(result == 0 || sizes.writePacketSize == 0, "sizes of a channel that isn't open");
    claim(result != 0 || sizes.writePacketSize != 0 || sizes.readPacketSize != 0,
          "a channel open without any size");
    Converse(socket);
    XdltParameters wait{.kind = vlp::kSetPlainWait, .timing = plan_.settings.d4RetryTiming};
    vlp::XDLT_SetParameters(link_, &wait);
  }

  void Converse(std::uint8_t socket) {
    Write(socket);
    for (unsigned asked = 0; asked < plan_.polls; ++asked) {
      const std::uint32_t waiting = AskSize(socket);
      if (waiting == 0) continue;
      Fetch(socket, plan_.capacity == 0 ? waiting : plan_.capacity, asked % 2 != 0);
      break;
    }
  }

  // A long message in packets of a byte each would take long too.
  std::uint32_t MessageFor(std::uint8_t socket) {
    XdltParameters sizes{.kind = vlp::kAskPacketSizes, .socket = socket};
    vlp::XDLT_SetParameters(link_, &sizes);
    return sizes.writePacketSize < 512 ? std::min(plan_.message, kSmallMessage) : plan_.message;
  }

  void Write(std::uint8_t socket) {
    if (Stops()) return;
    const std::vector<std::uint8_t> message = Message(MessageFor(socket));
    const auto size = static_cast<std::uint32_t>(message.size());
    std::uint32_t count = size;
    const std::uint64_t packets = size <= kSmallMessage ? size : size / 500 + 1;
    const std::int32_t result = Within(TimeOf(packets + 1), [&] {
      return vlp::XDLT_Write(link_, socket, message.data(), &count);
    });
    ClaimResult(result, {-8});
    claim(count <= size, "more written than there was");
    claim(result < 0 || (static_cast<std::uint32_t>(result) == count && count == size),
          "a write without failure that isn't whole");
    Note(result);
  }

  std::uint32_t AskSize(std::uint8_t socket) {
    if (Stops()) return 0;
    std::uint32_t count = 0;
    const std::int32_t result =
        Within(TimeOf(2), [&] { return vlp::XDLT_Read(link_, socket, nullptr, &count); });
    ClaimResult(result, {});
    claim(count <= kLargestBuffer + 1, "more waits than a buffer holds");
    claim(result < 0 || static_cast<std::uint32_t>(result) == count, "two sizes at once");
    Note(result);
    return result < 0 ? 0 : count;
  }

  void Fetch(std::uint8_t socket, std::uint32_t capacity, bool guarded) {
    if (Stops()) return;
    Buffer buffer(capacity, guarded);
    std::uint32_t count = capacity;
    const std::int32_t result =
        Within(TimeOf(1), [&] { return vlp::XDLT_Read(link_, socket, buffer.Get(), &count); });
    ClaimResult(result, {});
    claim(count <= capacity, "more fetched than there was room for");
    claim(result < 0 || static_cast<std::uint32_t>(result) == count, "two counts at once");
    claim(buffer.IsUntouchedFrom(result < 0 ? 0 : count), "written behind what was fetched");
    if (result > 0 && socket == kFaxSocket) {
      claim(buffer.Get()[count - 1] <= 1, "a flag that is neither 0 nor 1");
    }
    Note(result);
  }

  void CloseChannel(std::uint8_t socket) {
    const std::int32_t result =
        Within(TimeOf(2), [&] { return vlp::XDLT_CloseChannel(link_, socket); });
    ClaimResult(result, {-3, -8});
    claim(result <= 0, "a channel closed with a count");
  }

  void Close() {
    // Two channels that the device closed may be left, each of which costs the gate's limit.
    const std::int32_t result =
        Within(TimeOf(2) + 2 * TimeOf(1), [&] { return vlp::XDLT_Close(link_); });
    claim(result == 0 || result == vlp::XDLT_ERR_NOLINK, "a link that doesn't close");
    claim(!vlp::XdltPortIsInUse(port_), "a port in use behind the close");
    claim(vlp::XDLT_Close(link_) == vlp::XDLT_ERR_NOLINK, "a link closed twice");
  }

  void Note(std::int32_t result) { lost_ = lost_ || vlp::IsLinkLost(result); }
  bool Stops() const { return lost_ && plan_.stopsWhenLost; }

  vlp::XdltPortHandle port_;
  vlp::XdltPortOps& ops_;
  const CallPlan& plan_;
  XdltLink* link_ = nullptr;
  bool lost_ = false;
};

// Each part of a command ends at the command's limit or with the engine call under way.
void Command(vlp::CD4CmdIO& io, std::uint32_t channel, const CallPlan& plan) {
  const std::vector<std::uint8_t> message = Message(std::min(plan.message, kSmallMessage));
  Buffer answer(plan.capacity == 0 ? 4096 : plan.capacity, plan.capacity % 2 != 0);
  std::uint32_t count = 1;
  const std::uint64_t limit = plan.settings.packetRcvMaxTime + TimeOf(2) + TimeOf(1) +
                              TimeOf(message.size() + 1) + kLongestTransferMs;
  const bool done = Within(limit, [&] {
    return io.D4CmdProc(channel, message.data(), static_cast<std::uint32_t>(message.size()),
                        answer.Get(), answer.Capacity(), &count);
  });
  claim(done ? count > 0 && count <= answer.Capacity() : count == 0, "a command's count");
  claim(answer.IsUntouchedFrom(count), "written behind an answer");
  std::uint32_t sizes = 0;
  const bool told = Within(TimeOf(3), [&] { return io.D4GetPacketSize(channel, &sizes); });
  claim(told || sizes == 0, "sizes of a channel that isn't open");
  claim(!done || io.FatalError() == 0, "an answer over a lost link");
}

}  // namespace

CallPlan MakeCallPlan(Choices& choices) {
  constexpr std::array<std::uint32_t, 8> kMessages{16, 1, 2, 5, 300, 4096, 4097, 9000};
  constexpr std::array<std::uint32_t, 8> kCapacities{0, 1, 2, 3, 7, 20, 4096, 0x20001};
  constexpr std::array<std::uint32_t, 8> kTimes{4, 0, 1, 15, 50, 999, 1000, 0xFFFFFFFF};
  constexpr std::array<std::uint32_t, 8> kPatience{2000, 0, 1, 2, 1000, 4000, 8000, 20000};
  const std::uint8_t flags = choices.Byte();
  CallPlan plan;
  plan.rounds = static_cast<std::uint8_t>(1 + (flags & 1));
  plan.polls = static_cast<std::uint8_t>(1 + (flags >> 1 & 3));
  plan.message = choices.OneOf(kMessages);
  plan.capacity = choices.OneOf(kCapacities);
  plan.settings.d4RetryMode = flags >> 3 & 3U;
  plan.settings.d4RetryTiming = choices.OneOf(kTimes);
  plan.settings.d4RetryMax = kTimes[flags >> 5];
  plan.settings.packetRcvMaxTime = choices.OneOf(kPatience);
  return plan;
}

void RunScenario(std::uint8_t seed, const std::function<void()>& body) {
  // The seed's remainder says how often a call is a turn for another thread: few turns are quick.
  constexpr std::array<std::uint64_t, 8> kTurns{0, 0, 0, 1, 1, 1, 2, 3};
  platform::begin_scenario(
      {platform::Mode::serial, std::uint64_t{seed} / 8 * 4 + kTurns[seed % 8]});
  body();
  const std::string left = platform::end_scenario();
  if (!left.empty()) std::fprintf(stderr, "left behind:\n%s", left.c_str());
  claim(left.empty(), "something left behind");
}

void CallEngine(vlp::XdltPortHandle port, vlp::XdltPortOps& ops, const CallPlan& plan) {
  claim(vlp::XdltInitialize(nullptr) == 1, "an engine that doesn't begin");
  for (unsigned round = 0; round < plan.rounds; ++round) LinkCalls(port, ops, plan).Run();
  vlp::XdltUninitialize();
  claim(!vlp::XdltPortIsInUse(port), "a port in use behind the engine's end");
}

void CallCommandLayer(vlp::XdltPortHandle port, vlp::XdltPortOps& ops, const CallPlan& plan) {
  {
    vlp::CD4CmdIO io(nullptr, port, &ops, &plan.settings);
    claim(io.IsInitialized(), "an engine that doesn't begin");
    for (unsigned round = 0; round < plan.rounds; ++round) {
      if (!Within(TimeOf(4), [&] { return io.D4Open(); })) continue;
      Command(io, vlp::kD4CommandChannel, plan);
      Command(io, vlp::kD4FaxChannel, plan);
      Command(io, vlp::kD4CommandChannel, plan);
      Within(TimeOf(2) * 5, [&] { return io.D4Close(); });
      claim(!vlp::XdltPortIsInUse(port), "a port in use behind the close");
    }
  }
  claim(!vlp::XdltPortIsInUse(port), "a port in use behind the engine's end");
}

}  // namespace fuzz
