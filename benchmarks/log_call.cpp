// A line of the log whose category is off, which every operation passes many times, and one
// that is written.

#include <benchmark/benchmark.h>

#include "diag/dbg_log.h"
#include "platform/machine.h"

namespace {

constexpr const char* kFolder = "C:\\log\\";

void MakeFolder() {
  platform::reset_machine();
  CreateDirectoryA("C:\\log", nullptr);
}

void LogLineThatIsOff(benchmark::State& state) {
  MakeFolder();
  vlp::DbgLog log("Printer", kFolder, vlp::kLogBidi, 0);
  std::int32_t value = 0;
  for (auto _ : state) {
    vlp::DbgLog* target = &log;
    benchmark::DoNotOptimize(target);
    benchmark::DoNotOptimize(
        vlp::DbgLogPut(target, vlp::kLogPrinter, 0, "CPrinterInf::GetDeviceID", "rc", ++value));
  }
}
BENCHMARK(LogLineThatIsOff);

void LogLineThatIsWritten(benchmark::State& state) {
  MakeFolder();
  vlp::DbgLog log("Printer", kFolder, vlp::kLogPrinter, 0);
  std::int32_t value = 0;
  for (auto _ : state) {
    if (vlp::DbgLogPut(&log, vlp::kLogPrinter, 0, "CPrinterInf::GetDeviceID", "rc", ++value) != 1) {
      state.SkipWithError("the line wasn't written");
      break;
    }
  }
}
BENCHMARK(LogLineThatIsWritten);

}  // namespace
