// A command and its answer through the command layer, over a device on a thread of its own,
// against two threads that only hand a signal to and fro as often.

#include <benchmark/benchmark.h>

#include <atomic>

#include "benchmarks/memory_port.h"
#include "d4/c_d4_cmd_io.h"
#include "platform/faults.h"
#include "support/waits.h"

namespace {

// Takes one packet at a time from the engine's thread to its own, and gives the answer to
// whoever reads. An empty read comes back at once.
class DeviceOnAThread {
 public:
  DeviceOnAThread() {
    ops_.keepPriority = 1;
    ops_.write = [](vlp::XdltPortHandle port, const std::uint8_t* bytes, std::uint32_t count,
                    std::uint32_t* written) {
      reinterpret_cast<DeviceOnAThread*>(port)->Write({bytes, count});
      *written = count;
      return std::uint32_t{1};
    };
    ops_.read = [](vlp::XdltPortHandle port, std::uint8_t* buffer, std::uint32_t capacity,
                   std::uint32_t* got) {
      *got = reinterpret_cast<DeviceOnAThread*>(port)->Read(buffer, capacity);
      return std::uint32_t{1};
    };
    thread_.Reset(CreateThread(
        nullptr, 0,
        [](void* self) -> DWORD {
          static_cast<DeviceOnAThread*>(self)->Run();
          return 0;
        },
        this, 0, nullptr));
  }
  ~DeviceOnAThread() {
    stop_.store(true);
    vlp::Signal(came_.Get());
    vlp::WaitToTheEnd(thread_.Get());
  }
  DeviceOnAThread(const DeviceOnAThread&) = delete;
  DeviceOnAThread& operator=(const DeviceOnAThread&) = delete;

  vlp::XdltPortHandle Handle() { return reinterpret_cast<std::uintptr_t>(this); }
  vlp::XdltPortOps* Ops() { return &ops_; }

  std::atomic<std::uint64_t> hand_overs{0};

 private:
  void Write(vlp::Bytes packet) {
    {
      const vlp::LockGuard guard(lock_);
      packets_.emplace_back(packet.begin(), packet.end());
    }
    ++hand_overs;
    vlp::Signal(came_.Get());
  }

  // Waits for a while for bytes, as a device does that has something coming.
  std::uint32_t Read(std::uint8_t* buffer, std::uint32_t capacity) {
    std::uint32_t count = Take(buffer, capacity);
    if (count == 0 && vlp::IsSignalled(answered_.Get(), 1)) count = Take(buffer, capacity);
    return count;
  }

  std::uint32_t Take(std::uint8_t* buffer, std::uint32_t capacity) {
    const vlp::LockGuard guard(lock_);
    const auto count = static_cast<std::uint32_t>(std::min<std::size_t>(capacity, out_.size()));
    std::copy_n(out_.begin(), count, buffer);
    out_.erase(out_.begin(), out_.begin() + count);
    return count;
  }

  // A reply comes behind the credit for it.
  void Handle(const std::vector<std::uint8_t>& packet) {
    const std::vector<std::uint8_t> answer = bench::AnswerTo(packet, 512);
    out_.insert(out_.end(), answer.begin(), answer.end());
    if (packet[0] != 0) waiting_reply_ = true;
    if (!waiting_reply_ || packet[0] != 0 || packet[6] != vlp::kCredit) return;
    const std::vector<std::uint8_t> reply = bench::DataPacket(0x02, 38);
    out_.insert(out_.end(), reply.begin(), reply.end());
    waiting_reply_ = false;
  }

  void Run() {
    while (vlp::IsSignalled(came_.Get(), INFINITE) && !stop_.load()) {
      {
        const vlp::LockGuard guard(lock_);
        for (const std::vector<std::uint8_t>& packet : std::exchange(packets_, {})) Handle(packet);
      }
      ++hand_overs;
      vlp::Signal(answered_.Get());
    }
  }

  vlp::CriticalSection lock_;
  vlp::XdltPortOps ops_;
  std::vector<std::vector<std::uint8_t>> packets_;
  std::vector<std::uint8_t> out_;
  bool waiting_reply_ = false;
  vlp::KernelHandle came_ = vlp::CreateAutoResetEvent();
  vlp::KernelHandle answered_ = vlp::CreateAutoResetEvent();
  std::atomic<bool> stop_{false};
  vlp::KernelHandle thread_;
};

void CommandAndReply(benchmark::State& state) {
  DeviceOnAThread device;
  vlp::CD4CmdIO commands(nullptr, device.Handle(), device.Ops(), nullptr);
  const std::uint8_t command[] = {0x1B, 0x40, 0x53};
  std::uint8_t answer[512];
  std::uint32_t count = 0;
  if (!commands.D4Open()) state.SkipWithError("no link");
  commands.D4CmdProc(vlp::kD4CommandChannel, command, sizeof(command), answer, sizeof(answer),
                     &count);
  device.hand_overs = 0;
  for (auto _ : state) {
    if (!commands.D4CmdProc(vlp::kD4CommandChannel, command, sizeof(command), answer,
                            sizeof(answer), &count)) {
      state.SkipWithError("no answer");
      break;
    }
  }
  state.counters["hand_overs"] =
      static_cast<double>(device.hand_overs.load()) / static_cast<double>(state.iterations());
  commands.D4Close();
}
BENCHMARK(CommandAndReply)->UseRealTime();

// Sleeps of more than a yield would show in the time; this counts them in one command.
void SleepsInACommand(benchmark::State& state) {
  DeviceOnAThread device;
  vlp::CD4CmdIO commands(nullptr, device.Handle(), device.Ops(), nullptr);
  const std::uint8_t command[] = {0x1B, 0x40, 0x53};
  std::uint8_t answer[512];
  std::uint32_t count = 0;
  commands.D4Open();
  commands.D4CmdProc(vlp::kD4CommandChannel, command, sizeof(command), answer, sizeof(answer),
                     &count);
  platform::clear_faults();
  platform::watch_calls();
  for (auto _ : state) {
    commands.D4CmdProc(vlp::kD4CommandChannel, command, sizeof(command), answer, sizeof(answer),
                       &count);
  }
  const auto iterations = static_cast<double>(state.iterations());
  // The read thread yields twice a pass, by Sleep(0).
  state.counters["yields"] = platform::calls_of("Sleep") / iterations;
  state.counters["timers"] = platform::calls_of("timeSetEvent") / iterations;
  platform::clear_faults();
  commands.D4Close();
}
BENCHMARK(SleepsInACommand)->Iterations(100)->UseRealTime();

// As many hand-overs as a command and its reply take: the command, the Credit and its
// answer, each over to the device and back, and the read thread woken for both.
void PingPong(benchmark::State& state) {
  struct Table {
    vlp::KernelHandle there = vlp::CreateAutoResetEvent();
    vlp::KernelHandle back = vlp::CreateAutoResetEvent();
    std::atomic<bool> stop{false};
  } table;
  const vlp::KernelHandle other(CreateThread(
      nullptr, 0,
      [](void* argument) -> DWORD {
        Table& shared = *static_cast<Table*>(argument);
        while (vlp::IsSignalled(shared.there.Get(), INFINITE) && !shared.stop.load()) {
          vlp::Signal(shared.back.Get());
        }
        return 0;
      },
      &table, 0, nullptr));
  for (auto _ : state) {
    for (int round = 0; round < 4; ++round) {
      vlp::Signal(table.there.Get());
      static_cast<void>(vlp::IsSignalled(table.back.Get(), INFINITE));
    }
  }
  table.stop.store(true);
  vlp::Signal(table.there.Get());
  vlp::WaitToTheEnd(other.Get());
}
BENCHMARK(PingPong)->UseRealTime();

}  // namespace
