// Each part of an object's life again and again, with the first, second, third ... call of the
// system or allocation failing, once or from then on, until a life meets no failure. Whatever
// comes of it, nothing is held behind it, and the next command works.

#include <algorithm>
#include <cstdio>
#include <new>
#include <set>

#include "platform/kernel/scenario.h"
#include "tests/device/vendor_device.h"
#include "tests/support/sanitized.h"
#include "tests/support/sweep_fault.h"

namespace device_test {
namespace {

using platform::UnderTest;
using simulator::D4Rule;
using test::kTimesLonger;
using test::SweepFault;

constexpr unsigned kStride = kTimesLonger == 1 ? 1 : 5;

class Life {
 public:
  void make() {
    run([&] {
      access_ = std::make_unique<vlp::GenVlAccess>(
          reinterpret_cast<const std::uint8_t*>(kSerialNumber), 0, 0, nullptr, &kSettings, nullptr);
    });
    expect(access_ != nullptr && access_->IsInitialized(), "the making");
  }
  void command() {
    const Bytes command = echo_command("hello");
    std::int32_t code = -1;
    if (access_) {
      run([&] {
        code = access_->GenVlSendRecv(GENVL_CHANNEL_STATUS, command.data(),
                                      static_cast<uint32_t>(command.size()));
      });
    }
    expect_code(code, static_cast<std::int32_t>(command.size()), "a command");
    if (code < 0) return;
    // A write that is made again leaves its answers twice.
    const Bytes got = get_reply(*access_).bytes;
    EXPECT_EQ(text("hello"),
              Bytes(got.begin(), got.begin() + std::min<std::ptrdiff_t>(5, std::ssize(got))));
  }
  void open_fax() {
    std::int32_t code = -1;
    run([&] { code = access_->GenVlFaxChnlOpen(GENVL_CHANNEL_FAX); });
    expect_code(code, 0, "the fax channel's opening");
  }
  // The second one needs credit.
  void write_fax() {
    const Bytes page = filled(25);
    for (int round = 0; round < 2; ++round) {
      std::int32_t code = -1;
      run([&] { code = access_->GenVlFaxWrite(GENVL_CHANNEL_FAX, page.data(), 25, 1); });
      expect_code(code, 25, "a fax write");
    }
  }
  void say_fax() {
    platform::with_usb_device(kFirst, [](UsbPrinter& printer, std::uint64_t now) {
      printer.device().reply(kFaxSocket, text("received"), now);
    });
  }
  void read_fax() {
    std::uint8_t buffer[40];
    uint32_t length = 0;
    std::uint8_t control = 0;
    std::int32_t code = -1;
    run([&] {
      code = access_->GenVlFaxRead(GENVL_CHANNEL_FAX, buffer, sizeof buffer, &length, &control);
    });
    expect_code(code, 8, "a fax read");
    if (code == 8) {
      EXPECT_EQ(text("received"), Bytes(buffer, buffer + 8));
    }
  }
  void close_fax() {
    std::int32_t code = -1;
    run([&] { code = access_->GenVlFaxChnlClose(GENVL_CHANNEL_FAX); });
    expect_code(code, 0, "the fax channel's closing");
  }
  void end() {
    run([&] { access_.reset(); });
  }

  bool disarm() {
    settle();
    failed_ = platform::failed_calls();
    for (const std::string& line : platform::call_trace()) {
      made_.insert(line.substr(line.rfind(' ') + 1));
    }
    platform::clear_faults();
    return !failed_.empty();
  }
  const std::set<std::string>& made() const { return made_; }

  // The object serves again, or one that takes its place does.
  void expect_recovery() {
    SCOPED_TRACE("behind the fault");
    if (access_ && access_->IsInitialized()) {
      const std::int32_t closed = access_->GenVlFaxChnlClose(GENVL_CHANNEL_FAX);
      if (failed_.empty()) {
        EXPECT_GE(closed, vlp::GENVL_E_PARAM);
      }
      const bool same = serves();
      EXPECT_TRUE(same || !failed_.empty());
    }
    if (access_) expect_nothing_held();
    access_.reset();
    EXPECT_FALSE(platform::any_lock_held() && !release_failed());
    make();
    EXPECT_TRUE(access_ && access_->IsInitialized());
    EXPECT_TRUE(serves());
    access_.reset();
  }

 private:
  template <typename Work>
  void run(Work work) {
    const UnderTest tested;
    try {
      work();
    } catch (const std::bad_alloc&) {
      const platform::Exempt exempt;
      ++refused_;
    }
  }
  bool serves() {
    return send(*access_, echo_command("again")) == 9 && get_reply(*access_).bytes == text("again");
  }
  // A mutex that can't be given back stays with this thread, which may take it again.
  bool release_failed() const { return std::ranges::count(failed_, "ReleaseMutex") != 0; }
  void expect_nothing_held() {
    Private inside(*access_);
    EXPECT_EQ(0u, inside.OpenCount());
    EXPECT_FALSE(inside.Usb() && inside.Usb()->IsOpened());
    if (release_failed()) return;
    EXPECT_TRUE(inside.MutexName().empty() || mutex_is_free(inside.MutexName()));
    EXPECT_FALSE(platform::any_lock_held());
  }
  void expect(bool good, const char* what) const {
    EXPECT_TRUE(good || platform::faults_met() != 0 || !failed_.empty()) << what;
  }
  void expect_code(std::int32_t code, std::int32_t good, const char* what) const {
    expect(code == good, what);
    EXPECT_TRUE(code == good || (code <= -1 && code >= -5) || code == -7 || code == -8)
        << what << ": " << code;
  }

  Access access_;
  std::vector<std::string> failed_;
  std::set<std::string> made_;
  unsigned refused_ = 0;
};

struct Part {
  const char* name;
  void (*prepare)(Life&);
  void (*act)(Life&);
  unsigned least;
};

void make(Life& life) { life.make(); }
void make_and_open(Life& life) {
  life.make();
  life.open_fax();
}

const Part kParts[] = {
    {"Making", [](Life&) {}, make, 60},
    {"Command", make, [](Life& life) { life.command(); }, 30},
    {"FaxOpen", make, [](Life& life) { life.open_fax(); }, 30},
    {"FaxWrite", make_and_open, [](Life& life) { life.write_fax(); }, 20},
    {"FaxRead",
     [](Life& life) {
       make_and_open(life);
       life.say_fax();
     },
     [](Life& life) { life.read_fax(); }, 5},
    {"FaxClose", make_and_open, [](Life& life) { life.close_fax(); }, 5},
    {"End", make, [](Life& life) { life.end(); }, 1},
    {"EndWithTheFaxOpen", make_and_open, [](Life& life) { life.end(); }, 5},
};

class GenVlSweep : public VendorDevice, public ::testing::WithParamInterface<std::size_t> {
 protected:
  const Part& part() const { return kParts[GetParam()]; }

  // True if the fault was met.
  bool lives(const SweepFault& fault) {
    SCOPED_TRACE(fault.text());
    far_side::reset();
    D4Options options;
    options.latency_ms = 1;
    options.any_socket = {.write_size = 206, .read_size = 206};
    options.sockets[kFaxSocket] = {.write_size = 36, .read_size = 36};
    plug(kFirst, options);
    bool met = false;
    test::live(fault.nth, [&] {
      Life life;
      part().prepare(life);
      settle();
      fault.arm();
      part().act(life);
      met = life.disarm();
      if (fault.nth == 0) made_ = life.made();
      // The read thread may be in the port for the last time.
      sleep_ms(20);
      life.expect_recovery();
    });
    excuse();
    return met;
  }

  // As for the engine alone: a wait that fails counts as one that ran out, and what the host
  // can't build the device has agreed to.
  static void excuse() {
    for (const std::string& breach : take_breaches()) {
      bool excused = false;
      for (const D4Rule rule : {D4Rule::one_at_a_time, D4Rule::error_deserved, D4Rule::open_once}) {
        excused = excused || breach.find(simulator::name_of(rule)) != std::string::npos;
      }
      EXPECT_TRUE(excused) << breach;
    }
  }

  unsigned sweep(SweepFault fault) {
    unsigned failed = 0;
    for (fault.nth = 1; !HasFailure() && lives(fault); fault.nth += kStride) ++failed;
    return failed;
  }

  std::set<std::string> made_;
};

TEST_P(GenVlSweep, OneCallFailsAndTheNextCommandWorks) {
  const unsigned failed = sweep({});
  std::printf("%s: %u faults\n", part().name, failed);
  EXPECT_GE(failed, part().least / kStride) << "too few to be a sweep";
}

TEST_P(GenVlSweep, CallsFailFromOneOnAndTheNextCommandWorks) {
  ASSERT_FALSE(lives({}));
  unsigned failed = 0;
  for (const std::string& call : std::set<std::string>(made_)) {
    failed += sweep({.call = call, .from_then_on = true});
  }
  std::printf("%s: %u faults from then on\n", part().name, failed);
  EXPECT_GE(failed, part().least / 2 / kStride) << "too few to be a sweep";
}

TEST_P(GenVlSweep, MemoryFailsFromOneAllocationOnAndTheNextCommandWorks) {
  SKIP_UNLESS_MEMORY_CAN_FAIL();
  sweep({.call = "operator new", .from_then_on = true});
}

INSTANTIATE_TEST_SUITE_P(Of, GenVlSweep, ::testing::Range(std::size_t{0}, std::size(kParts)),
                         [](const auto& of) { return std::string(kParts[of.param].name); });

}  // namespace
}  // namespace device_test
