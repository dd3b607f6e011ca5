// Bulk data over a link whose port is memory, against the same packets handed to the bare
// port; and what an open link costs that nobody uses.

#include <benchmark/benchmark.h>

#include "benchmarks/memory_port.h"

namespace {

using bench::MemoryPort;

constexpr std::uint8_t kSocket = 0x02;
constexpr std::uint32_t kMessage = 1 << 20;

// A link with one open channel.
class OpenLink {
 public:
  explicit OpenLink(MemoryPort& port) {
    vlp::XdltInitialize(nullptr);
    opened_ = vlp::XDLT_Open(port.Handle(), port.Ops(), &link_) == 0 &&
              vlp::XDLT_OpenChannel(link_, kSocket) == 0;
  }
  ~OpenLink() {
    if (link_ != nullptr) {
      vlp::XDLT_CloseChannel(link_, kSocket);
      vlp::XDLT_Close(link_);
    }
    vlp::XdltUninitialize();
  }
  OpenLink(const OpenLink&) = delete;
  OpenLink& operator=(const OpenLink&) = delete;

  bool Opened() const { return opened_; }
  vlp::XdltLink* Get() const { return link_; }

 private:
  vlp::XdltLink* link_ = nullptr;
  bool opened_ = false;
};

std::uint32_t Payload(const benchmark::State& state) {
  return static_cast<std::uint32_t>(state.range(0)) - vlp::kHeaderSize;
}

double PerPacket(std::uint64_t calls, const benchmark::State& state, std::uint64_t packets) {
  return static_cast<double>(calls) /
         (static_cast<double>(packets) * static_cast<double>(state.iterations()));
}

void BulkWrite(benchmark::State& state) {
  MemoryPort port(static_cast<std::uint16_t>(state.range(0)));
  const OpenLink link(port);
  const std::vector<std::uint8_t> message(kMessage, 0xAA);
  const std::uint64_t packets = (kMessage + Payload(state) - 1) / Payload(state);
  if (!link.Opened()) state.SkipWithError("no link");
  port.writes = 0;
  for (auto _ : state) {
    std::uint32_t count = kMessage;
    if (vlp::XDLT_Write(link.Get(), kSocket, message.data(), &count) !=
        static_cast<std::int32_t>(kMessage)) {
      state.SkipWithError("short write");
      break;
    }
  }
  state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations()) * kMessage);
  // A little above 1: credit has to be asked for now and then.
  state.counters["writes_per_packet"] = PerPacket(port.writes, state, packets);
}
BENCHMARK(BulkWrite)->Arg(512)->Arg(4102)->Arg(65535);

void BulkWriteToTheBarePort(benchmark::State& state) {
  MemoryPort port(static_cast<std::uint16_t>(state.range(0)));
  const std::vector<std::uint8_t> packet =
      bench::DataPacket(kSocket, static_cast<std::uint32_t>(state.range(0)));
  const std::uint32_t payload = Payload(state);
  for (auto _ : state) {
    for (std::uint32_t left = kMessage; left != 0; left -= std::min(left, payload)) {
      std::uint32_t written = 0;
      const std::uint32_t size = std::min(left, payload) + vlp::kHeaderSize;
      port.Ops()->write(port.Handle(), packet.data(), size, &written);
    }
  }
  state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations()) * kMessage);
}
BENCHMARK(BulkWriteToTheBarePort)->Arg(512)->Arg(4102)->Arg(65535);

// One packet an iteration: credit, size query, fetch.
void BulkRead(benchmark::State& state) {
  const auto size = static_cast<std::uint16_t>(state.range(0));
  MemoryPort port(size);
  const OpenLink link(port);
  port.SendOnCredit(bench::DataPacket(kSocket, size));
  if (!link.Opened()) state.SkipWithError("no link");
  std::vector<std::uint8_t> buffer(size);
  port.reads = 0;
  port.writes = 0;
  for (auto _ : state) {
    std::uint32_t count = 0;
    vlp::XDLT_Read(link.Get(), kSocket, nullptr, &count);
    count = size;
    if (vlp::XDLT_Read(link.Get(), kSocket, buffer.data(), &count) !=
        static_cast<std::int32_t>(Payload(state))) {
      state.SkipWithError("short read");
      break;
    }
  }
  state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations()) * Payload(state));
  state.counters["reads_per_packet"] = PerPacket(port.reads, state, 1);
  state.counters["writes_per_packet"] = PerPacket(port.writes, state, 1);
}
BENCHMARK(BulkRead)->Arg(512)->Arg(4102)->Arg(65535)->UseRealTime();

void BulkReadFromTheBarePort(benchmark::State& state) {
  const auto size = static_cast<std::uint16_t>(state.range(0));
  MemoryPort port(size);
  port.SendOnCredit(bench::DataPacket(kSocket, size));
  const vlp::ControlPacket credit = vlp::CreditPacket(kSocket);
  std::vector<std::uint8_t> buffer(size);
  for (auto _ : state) {
    std::uint32_t count = 0;
    port.Ops()->write(port.Handle(), credit.View().data(), credit.Size(), &count);
    port.Ops()->read(port.Handle(), buffer.data(), 10, &count);
    port.Ops()->read(port.Handle(), buffer.data(), size, &count);
    benchmark::DoNotOptimize(buffer.data());
  }
  state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations()) * Payload(state));
}
BENCHMARK(BulkReadFromTheBarePort)->Arg(512)->Arg(4102)->Arg(65535)->UseRealTime();

// A control command and its reply: one write and one read of the port.
void ControlTransaction(benchmark::State& state) {
  MemoryPort port(512);
  const OpenLink link(port);
  if (!link.Opened()) state.SkipWithError("no link");
  constexpr std::uint8_t kOther = 0x10;
  port.reads = 0;
  port.writes = 0;
  for (auto _ : state) {
    vlp::XDLT_OpenChannel(link.Get(), kOther);
    vlp::XDLT_CloseChannel(link.Get(), kOther);
  }
  state.counters["reads_per_reply"] = PerPacket(port.reads, state, 2);
  state.counters["writes_per_reply"] = PerPacket(port.writes, state, 2);
}
BENCHMARK(ControlTransaction)->UseRealTime();

void IdleLink(benchmark::State& state) {
  MemoryPort port(512);
  const OpenLink link(port);
  if (!link.Opened()) state.SkipWithError("no link");
  // What the last reply's late wake-up still reads.
  Sleep(50);
  port.reads = 0;
  port.writes = 0;
  for (auto _ : state) Sleep(100);
  state.counters["port_calls"] = static_cast<double>(port.reads + port.writes);
}
BENCHMARK(IdleLink)->Iterations(3)->UseRealTime();

}  // namespace
