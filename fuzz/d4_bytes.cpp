// The engine against a device that says anything at all: a stream of bytes, behind as
// many right answers as the input wants.

#include <windows.h>

#include <algorithm>
#include <cstring>
#include <deque>

#include "d4/wire.h"
#include "fuzz/d4_calls.h"
#include "simulator/d4_wire.h"

namespace fuzz {
namespace {

constexpr DWORD kPortError = ERROR_GEN_FAILURE;

struct Opening {
  std::uint16_t writeSize = 0;
  std::uint16_t readSize = 0;
  std::uint16_t credit = 0;
};

Opening MakeOpening(Choices& choices) {
  constexpr std::array<std::uint16_t, 8> kSizes{4102, 65535, 0, 5, 6, 7, 512, 20};
  Opening opening;
  const std::uint8_t sizes = choices.Byte();
  opening.writeSize = kSizes[sizes & 7];
  opening.readSize = kSizes[sizes >> 3 & 7];
  opening.credit = (sizes & 0x80) != 0 ? choices.Word() : sizes >> 6 & 1;
  return opening;
}

// Takes all that is written. What it delivers: first the answers that are due, then the
// rest of the input, in pieces.
class BytePort {
 public:
  explicit BytePort(Choices& choices) {
    const std::uint8_t flags = choices.Byte();
    answers_ = flags & 7;
    obliging_ = (flags & 0x08) != 0;
    storesZero_ = (flags & 0x10) != 0;
    latency_ = kEmptyReadMs + choices.Byte();
    piece_ = choices.Byte();
    empties_ = choices.Byte();
    failures_ = choices.Byte();
    for (Opening& opening : openings_) opening = MakeOpening(choices);
    ops_.keepPriority = flags >> 5 & 1;
    ops_.skipDummyRead = flags >> 6 & 1;
    ops_.write = [](vlp::XdltPortHandle port, const std::uint8_t* bytes, std::uint32_t count,
                    std::uint32_t* written) { return Of(port).Write(bytes, count, written); };
    ops_.read = [](vlp::XdltPortHandle port, std::uint8_t* buffer, std::uint32_t capacity,
                   std::uint32_t* got) { return Of(port).Read(buffer, capacity, got); };
  }

  // What the device says.
  void Load(Input bytes) { bytes_.assign(bytes.begin(), bytes.end()); }

  vlp::XdltPortHandle Handle() const { return reinterpret_cast<std::uintptr_t>(this); }
  vlp::XdltPortOps& Ops() { return ops_; }

 private:
  static BytePort& Of(vlp::XdltPortHandle port) {
    return *reinterpret_cast<BytePort*>(static_cast<std::uintptr_t>(port));
  }

  std::uint32_t Write(const std::uint8_t* bytes, std::uint32_t count, std::uint32_t* written) {
    const Transfer transfer(*this);
    claim(bytes != nullptr && written != nullptr, "a write with a null pointer");
    claim(count >= vlp::kHeaderSize, "a write of less than a packet");
    claim(vlp::LoadHeader(bytes).length == count, "a write that isn't one packet");
    claim(bytes[0] == bytes[1], "a packet of two sockets");
    *written = count;
    if (bytes[0] == vlp::kControlSocket) AnswerTo(bytes, count);
    return 1;
  }

  void AnswerTo(const std::uint8_t* command, std::uint32_t count) {
    claim(count >= vlp::kMinControlSize, "a control packet without a command");
    const std::uint8_t socket = count > 7 ? command[7] : std::uint8_t{0};
    switch (command[6]) {
      case vlp::kEntryCommand:
        entered_ = true;
        return Answer(1, simulator::d4::entry_reply(0));
      case vlp::kInit:
        return Answer(2, simulator::d4::init_reply(0, simulator::d4::revision));
      case vlp::kOpenChannel: {
        const bool fax = socket != 0x02;
        const Opening& opening = openings_[fax ? 1 : 0];
        return Answer(fax ? 4 : 3,
                      simulator::d4::open_channel_reply(0, socket, opening.writeSize,
                                                        opening.readSize, opening.credit));
      }
      case vlp::kCloseChannel:
        return Oblige(simulator::d4::close_channel_reply(0, socket));
      case vlp::kCredit:
        return Oblige(simulator::d4::credit_reply(0, socket));
      case vlp::kCreditRequest:
        return Oblige(simulator::d4::credit_request_reply(0, socket, 1));
      case vlp::kExit:
        return Oblige(simulator::d4::exit_reply(0));
      default:
        return;
    }
  }

  void Answer(unsigned step, const simulator::Bytes& reply) {
    if (answers_ >= step) bytes_.insert(bytes_.begin(), reply.begin(), reply.end());
  }
  void Oblige(const simulator::Bytes& reply) {
    if (obliging_) bytes_.insert(bytes_.begin(), reply.begin(), reply.end());
  }

  std::uint32_t Read(std::uint8_t* buffer, std::uint32_t capacity, std::uint32_t* got) {
    const Transfer transfer(*this);
    claim(buffer != nullptr && got != nullptr && capacity != 0, "a read of nothing");
    // What is to follow answers mustn't be thrown away ahead of them.
    const bool waits = answers_ != 0 && !entered_;
    if (waits || bytes_.empty() || Turn(empties_)) return ReadNothing(got);
    if (Turn(failures_)) {
      Sleep(latency_);
      SetLastError(kPortError);
      return 0;
    }
    const std::size_t piece = piece_ == 0 ? bytes_.size() : piece_;
    const std::size_t count = std::min({piece, bytes_.size(), std::size_t{capacity}});
    std::copy_n(bytes_.begin(), count, buffer);
    bytes_.erase(bytes_.begin(), bytes_.begin() + static_cast<std::ptrdiff_t>(count));
    *got = static_cast<std::uint32_t>(count);
    return 1;
  }

  std::uint32_t ReadNothing(std::uint32_t* got) {
    Sleep(latency_);
    if (storesZero_) *got = 0;
    return 1;
  }

  // Whether the bit of this read is set, going round.
  bool Turn(std::uint8_t bits) const { return (bits >> (calls_ & 7) & 1) != 0; }

  // One at a time, and not for ever.
  class Transfer {
   public:
    explicit Transfer(BytePort& port) : port_(port) {
      claim(++port_.calls_ <= kMostPortCalls, "a loop of port calls");
      claim(!port_.inside_, "two transfers at once");
      port_.inside_ = true;
    }
    ~Transfer() { port_.inside_ = false; }
    Transfer(const Transfer&) = delete;
    Transfer& operator=(const Transfer&) = delete;

   private:
    BytePort& port_;
  };

  vlp::XdltPortOps ops_;
  unsigned answers_ = 0;  // how many of entry string, Init and two openings are answered
  bool obliging_ = false;
  bool storesZero_ = false;
  std::uint32_t latency_ = 0;  // ms; of reads without bytes
  std::size_t piece_ = 0;      // the most in one read; 0: as much as is asked for
  std::uint8_t empties_ = 0;   // reads that bring nothing though there is something
  std::uint8_t failures_ = 0;  // reads that fail instead
  std::array<Opening, 2> openings_;
  std::deque<std::uint8_t> bytes_;
  bool entered_ = false;
  bool inside_ = false;
  unsigned calls_ = 0;
};

}  // namespace

void d4_bytes(Input input) {
  RunScenario(input.empty() ? std::uint8_t{0} : input[0], [input] {
    Choices choices(input);
    const std::uint8_t drive = choices.Byte();
    const CallPlan plan = MakeCallPlan(choices);
    BytePort port(choices);
    port.Load(choices.Rest());
    if ((drive & 0x80) != 0) {
      CallCommandLayer(port.Handle(), port.Ops(), plan);
    } else {
      CallEngine(port.Handle(), port.Ops(), plan);
    }
  });
}

}  // namespace fuzz
