// One device ID from the cache, from the call to the taken result, with few and with many
// printers known to the library.

#include <benchmark/benchmark.h>

#include <cstring>
#include <string>
#include <vector>

#include "include/vlpbidi.h"
#include "platform/machine.h"

namespace {

constexpr const char* kDeviceId = "MFG:Quillon;CMD:QPL,BDC;MDL:Bench;CLS:PRINTER;SN:QN00000001;";

std::string PrinterName(int number) { return "Bench " + std::to_string(number); }

// A machine on which each device ID stays young for the whole run, and the library on it.
class Bench {
 public:
  explicit Bench(int printers) {
    platform::reset_machine();
    platform::DriverDescription driver;
    driver.name = "Bench";
    driver.dependent_files = std::vector<std::string>{"BENCH.LMD"};
    platform::add_driver(driver);
    WriteProfile();
    for (int number = 0; number < printers; ++number) {
      platform::PrinterDescription printer;
      printer.name = PrinterName(number);
      printer.port = "USB" + std::to_string(number);
      printer.driver = driver.name;
      platform::add_printer(printer);
      platform::add_hardware("bench.ini",
                             "[Printer]\nPort=" + *printer.port + "\nDeviceID=" + kDeviceId + "\n");
    }
    Load();
  }

  ~Bench() {
    if (table_ != nullptr) table_->Terminate();
    if (module_ != nullptr) FreeLibrary(module_);
  }
  Bench(const Bench&) = delete;
  Bench& operator=(const Bench&) = delete;

  bool Loaded() const { return table_ != nullptr; }

  // Whether the whole device ID came back for this number.
  bool AskAndTake(const std::string& name, std::uint32_t request) {
    if (table_->GetDeviceID(request, name.c_str()) != 0) return false;
    std::uint32_t got = 0;
    std::uint8_t buffer[1024];
    std::uint32_t size = sizeof(buffer);
    return table_->GetResult(&got, buffer, &size) ==
               static_cast<std::int32_t>(std::strlen(kDeviceId)) &&
           got == request;
  }

 private:
  static void WriteProfile() {
    const std::string text =
        "[ProfileInf]\r\nLPT_Channel00=0x10010002\r\nLPT_ChnlMode00=7\r\n"
        "LPT_DevIDNoChkTime=86400000\r\n";
    const HANDLE file = CreateFileA("C:\\windows\\system32\\spool\\drivers\\x64\\3\\BENCH.LMD",
                                    GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS, 0, nullptr);
    DWORD written = 0;
    WriteFile(file, text.data(), static_cast<DWORD>(text.size()), &written, nullptr);
    CloseHandle(file);
  }

  void Load() {
    module_ = LoadLibraryA(PROVIDER_FILE);
    if (module_ == nullptr) return;
    const FARPROC address = GetProcAddress(module_, "VLPGetProviderInfo");
    VlpGetProviderInfoCall get_info = nullptr;
    std::memcpy(&get_info, &address, sizeof(get_info));
    if (get_info != nullptr) get_info(&table_);
  }

  HMODULE module_ = nullptr;
  const ProviderTable* table_ = nullptr;
};

void DeviceIdFromTheCache(benchmark::State& state) {
  const int printers = static_cast<int>(state.range(0));
  Bench bench(printers);
  bool good = bench.Loaded();
  for (int number = 0; good && number < printers; ++number) {
    good = bench.AskAndTake(PrinterName(number), 1);
  }
  // The one that was named last, so that a search passes all others.
  const std::string name = PrinterName(printers - 1);
  std::uint32_t request = 0;
  for (auto _ : state) {
    if (!good || !bench.AskAndTake(name, ++request)) {
      state.SkipWithError("no device ID");
      break;
    }
  }
}
BENCHMARK(DeviceIdFromTheCache)->Arg(1)->Arg(1000);

}  // namespace
