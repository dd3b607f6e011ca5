#include "tests/system/fault_life.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <set>

#include "platform/bidi_monitor.h"
#include "platform/faults.h"
#include "platform/kernel/scenario.h"
#include "tests/system/library.h"

namespace system_test {
namespace {

using far_side::Bytes;
using far_side::bytes_of;
using namespace std::string_literals;

constexpr const char* kProfile =
    "LPT_Channel00=0x10010002\nLPT_ChnlMode00=7\n"
    "LPT_Channel01=0x10010003\nLPT_ChnlMode01=7\n"
    "LPT_ChnlStsCmd01=1B,40,1B,40,1B,28,52,08,00,00,52,45,4D,4F,54,45,31,"
    "53,54,02,00,00,01,53,54,01,00,01,1B,00,00,00\n"
    "LPT_Channel02=0x10010008\nLPT_ChnlMode02=3\n";
constexpr const char* kStatusItem =
    "@BDC ST\r\nST:0400;ER:00;PA:A4;MC:514E3432303030303137;SE:01;\f";

// Small enough that a life's lines make more than one file of it.
constexpr std::uint32_t kLogSize = 4096;
// What is known of a printer is too old then.
constexpr DWORD kAgeMs = 31'000;

void AddPrinter(const std::string& name, const std::string& port,
                const std::optional<std::string>& published = {}) {
  far_side::add_printer(
      {.name = name, .port = port, .driver = "Model", .published_name = published});
}

}  // namespace

std::string Fault::Text() const {
  if (call.empty()) return "undisturbed";
  return call + (from_then_on ? ", from time " : ", time ") + std::to_string(nth) + ", error " +
         std::to_string(error);
}

FaultLife::FaultLife(const Scenario& scenario, const Fault& fault, const Made& undisturbed,
                     std::uint32_t log)
    : scenario_(scenario), fault_(fault), undisturbed_(undisturbed), log_(log) {}

bool FaultLife::Live() {
  SCOPED_TRACE(fault_.Text());
  platform::begin_scenario({});
  if (fault_.call.empty()) Describe();
  BringBack();
  scenario_.prepare(*this);
  // Nobody is on the way out of a call when the fault comes, or when it goes.
  platform::settle();
  Arm();
  scenario_.act(*this);
  platform::settle();
  Disarm();
  ExpectRecovery();
  EndQueue();
  Unload();
  ExpectNothingLeft();
  return met_ != 0;
}

// The world that all lives of a scenario are lived in. To make it takes longer than a life.
void FaultLife::Describe() const {
  far_side::reset();
  // High up, since the file is looked for at each key.
  far_side::write_file("C:\\m.LMD", std::string("[ProfileInf]\n") + kProfile);
  far_side::add_driver({.name = "Model", .dependent_files = {"C:\\m.LMD"}});
  AddPrinter(kPrinter, "USB001");
  AddPrinter(kSecond, "USB002");
  // The same port both ways, so that it serves without its real name too.
  AddPrinter(kAlias, "USB003", "queue");
  AddPrinter("\\\\server\\queue", "USB003");
  if (log_ != 0) far_side::set_log({.flag = log_, .path = "C:\\", .max_size = kLogSize});
}

// What a life leaves of its own is taken away again.
void FaultLife::BringBack() const {
  platform::control_port_monitor([](simulator::PortMonitor& monitor) {
    monitor.reset();
    for (const char* const port : {"USB001", "USB002", "USB003"}) {
      monitor.plug({.port = port,
                    .device_id = bytes_of(FaultLife::kDeviceId),
                    .serial_number = "QN42000017",
                    .languages = {"QPL", "BDC", "END4"}});
    }
  });
  if (log_ == 0) return;
  for (const char* const file : {"Printer", "Second", "  CSR server alias"}) {
    for (const char* const ending : {".dat", "_0.dat"}) {
      far_side::remove_file("C:\\" + std::string(file) + ending);
    }
  }
}

void FaultLife::Arm() {
  platform::clear_faults();
  // A trace of every life would take longer than the lives.
  if (fault_.call.empty()) platform::watch_calls();
  if (fault_.from_then_on) {
    platform::fail_call_from(fault_.call, fault_.nth, fault_.error);
  } else if (!fault_.call.empty()) {
    platform::fail_call(fault_.call, fault_.nth, fault_.error);
  }
  armed_ = true;
}

void FaultLife::Disarm() {
  armed_ = false;
  met_ = platform::faults_met();
  // The trace has a call a line, behind the name of its thread.
  for (const std::string& line : platform::call_trace()) {
    const std::string call = line.substr(line.rfind(' ') + 1);
    ++made_.calls[call];
    if (call == "GetPrinterDriverA" && made_.profile_opening == 0) {
      made_.profile_opening = made_.calls["OpenPrinterA"];
    }
  }
  platform::clear_faults();
}

// --- Behind the fault ------------------------------------------------------------------------

// Three things are done once in a printer's life, and not again: its name is made wide, its
// worker is started, and what its model's profile says is read.
FaultLife::Aftermath FaultLife::Expected() const {
  static const std::set<std::string> kWorkerCalls = {"CreateEventA", "GetModuleHandleExA",
                                                     "CreateThread", "CoInitializeEx"};
  static const std::set<std::string> kFirstOfWorker = {"CoCreateInstance", "SetEvent"};
  static const std::set<std::string> kProfileCalls = {"GetPrinterDriverA", "GetPrivateProfileIntA",
                                                      "GetPrivateProfileStringA"};
  const std::string& call = fault_.call;
  if (met_ == 0) return Aftermath::works;
  if (scenario_.first_use &&
      (kWorkerCalls.count(call) != 0 || (kFirstOfWorker.count(call) != 0 && fault_.nth == 1))) {
    return Aftermath::worker_is_missing;
  }
  const bool opening = call == "OpenPrinterA" && fault_.nth == undisturbed_.profile_opening;
  if (scenario_.reads_profile && (kProfileCalls.count(call) != 0 || opening)) {
    return Aftermath::profile_is_hurt;
  }
  return Aftermath::works;
}

void FaultLife::ExpectRecovery() {
  if (terminated_) {
    EndQueue();
    ExpectUnloaded();
  } else if (table_ == nullptr) {
    EXPECT_GT(met_, 0U) << "there is no table";
    Unload();
  }
  if (library_ == nullptr) Load();
  ASSERT_NE(table_, nullptr);
  Sleep(kAgeMs);
  const Aftermath aftermath = Expected();
  if (aftermath != Aftermath::works) {
    std::uint64_t entries[11];
    char name[260];
    const std::string prefixed = "UFName:" + printer_;
    const std::int32_t code = table_->GetConnectInf(prefixed.c_str(), name, entries);
    if (aftermath == Aftermath::profile_is_hurt) {
      EXPECT_TRUE(code == VLPER_NOENTRY || code > 0) << code;
    } else {
      EXPECT_EQ(code, VLPER_NOTSUPPORT) << "it has all that it needs";
    }
    printer_ = kSecond;
  }
  ExpectService();
}

void FaultLife::ExpectService() {
  SCOPED_TRACE("the same printer afterwards, or another where its start has failed");
  Connect();
  DeviceId();
  Status(ChnlKindBdc, kStatusItem);
  Command(ChnlKindBdc, bytes_of("ec\x05\0after"s), "after");
  Through(bytes_of("ti\0\0"s));
}

// Lets the queue run empty and ends it, and looks at what came.
void FaultLife::EndQueue() {
  if (table_ == nullptr && taker_ == nullptr) return;
  if (!terminated_) {
    if (taker_ == nullptr) StartTaker();
    Sleep(kTakerLooksMs);
    Terminate();
  }
  if (taker_ != nullptr) taker_->join();
  taker_.reset();
  ExpectResults();
}

// Each success has one result, that of its own request, and nothing else has any.
void FaultLife::ExpectResults() {
  for (const Asked& asked : asked_) {
    const auto [first, last] = taken_.equal_range(asked.id);
    const auto count = std::distance(first, last);
    const bool due = asked.code >= 0 && !asked.data.empty();
    if (due && asked.may_be_empty) {
      EXPECT_LE(count, 1) << "request " << asked.id;
    } else {
      EXPECT_EQ(count, due ? 1 : 0) << "request " << asked.id << " of code " << asked.code;
    }
    for (auto at = first; at != last; ++at) EXPECT_EQ(at->second, asked.data);
    taken_.erase(first, last);
  }
  EXPECT_TRUE(taken_.empty()) << "results that nobody asked for";
  taken_.clear();
  asked_.clear();
}

void FaultLife::ExpectUnloaded() const {
  // A wait for the worker's end that failed may have been too short.
  platform::settle();
  HMODULE found = nullptr;
  EXPECT_EQ(GetModuleHandleExA(GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT, LibraryFile(), &found),
            FALSE)
      << "it stays in memory";
}

void FaultLife::ExpectNothingLeft() const {
  EXPECT_THAT(far_side::breaches(), ::testing::IsEmpty());
  EXPECT_EQ(far_side::live_objects(), far_side::LiveObjects{});
  EXPECT_EQ(far_side::task_blocks(), 0U);
  EXPECT_EQ(platform::end_scenario(), "");
}

}  // namespace system_test
