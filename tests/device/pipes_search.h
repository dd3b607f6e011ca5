#pragma once

// Objects that search for their device among those on the layer's USB. The linker puts a spy
// before the listing of paths and the making of mutexes.

#include "device/gen_vl_access.h"
#include "tests/device/mutex_holder.h"
#include "tests/device/pipes_fixture.h"

namespace vlp {

// The private steps of the search.
class GenVlAccessTest {
 public:
  using Object = std::unique_ptr<GenVlAccess>;

  // With its parts, before any search.
  static Object Prepared(const GenVlSettings* settings, DbgLog* log, std::uint32_t mode) {
    Object access(new GenVlAccess(settings, log));
    access->m_dwSearchMode = mode;
    EXPECT_TRUE(access->MakeParts(settings));
    return access;
  }

  explicit GenVlAccessTest(GenVlAccess& access) : access_(access) {}

  bool Search(const char* serial) {
    return access_.Search(reinterpret_cast<const std::uint8_t*>(serial));
  }
  bool SearchSerial(const char* serial) {
    return access_.SearchSNumDevPath(reinterpret_cast<const std::uint8_t*>(serial));
  }
  bool SearchProduct(std::uint32_t product, std::uint32_t pass_over = 0) {
    access_.m_dwPID = product;
    access_.m_dwPIDIndex = pass_over;
    return access_.SearchPIDDevPath();
  }
  bool SearchContainer() { return access_.SearchContainerIDDevPath(); }
  bool SearchParent() { return access_.SearchParentIDPrefixDevPath(); }

  bool GetPath(std::uint32_t index) { return access_.GetGenVlDevPath(index); }
  bool VendorText(char* buffer, std::uint32_t capacity, std::uint32_t* length) {
    return access_.GetVelnoVendorStr(buffer, capacity, length);
  }
  bool NameMutex() { return access_.SetGenVlMutexName(); }
  bool MakeMutex() { return access_.CreateGenVlMutex(); }
  bool IsSameContainer(const std::string& container) {
    access_.m_szContainerID.fill('\0');
    std::copy(container.begin(), container.end(), access_.m_szContainerID.begin());
    return access_.IsSameContainerID();
  }
  static std::uint32_t ParentPrefix(const char* path, char* out) {
    return GenVlAccess::GetParentIDPrefix(path, out);
  }

  // The bytes as they are, and the length with the terminator.
  void SetPath(const std::string& path, std::uint32_t length) {
    access_.m_szDevicePath.fill('\0');
    std::copy_n(path.begin(), std::min(path.size(), access_.m_szDevicePath.size()),
                access_.m_szDevicePath.begin());
    access_.m_dwDevicePathLen = length;
  }
  void SetPath(const std::string& path) {
    SetPath(path, static_cast<std::uint32_t>(path.size() + 1));
  }

  std::string Path() const {
    return {access_.m_szDevicePath.data(), MeasureText(access_.m_szDevicePath.data())};
  }
  std::uint32_t PathLength() const { return access_.m_dwDevicePathLen; }
  // All of its bytes.
  std::string MutexName() const {
    return {access_.m_szMutexName.data(), access_.m_szMutexName.size()};
  }
  HANDLE Mutex() const { return access_.m_hWinUSBMutex.Get(); }
  std::uint32_t StatusLength() const { return access_.m_dwStatusLen; }
  bool IsClosed() const {
    return access_.m_nOpenCount.load() == 0 && !access_.m_pWinUSBIO->IsOpened() &&
           !XdltPortIsInUse(access_.m_pIOAccess->Handle());
  }

 private:
  GenVlAccess& access_;
};

}  // namespace vlp

namespace search_test {

using namespace pipes_test;  // NOLINT(google-build-using-namespace)
using Access = std::unique_ptr<vlp::GenVlAccess>;
using Private = vlp::GenVlAccessTest;
using device_test::Holder;
using device_test::mutex_is_free;
using ::testing::StartsWith;

inline constexpr vlp::GenVlSettings kSettings = {1, 1, 50, 20000, 5000};
inline constexpr char kPrefix[] = "Global\\VELNO_Printer_VendorClassVL_";
inline constexpr char kEnter[] = "GenVlAccess::SearchSNumDevPath - Enter";
inline constexpr char kFound[] = "GenVlAccess::SearchSNumDevPath  - End.  bRC=1";
inline constexpr char kNotFound[] = "GenVlAccess::SearchSNumDevPath  - End.  bRC=0";
inline constexpr char kNoStatus[] = "*** GenVlAccess::SearchSNumDevPath - GetD4Status failed. ***";
inline constexpr char kNoMutex[] =
    "*** GenVlAccess::SearchSNumDevPath - CreateGenVlMutex failed. ***";
inline constexpr char kNoName[] =
    "*** GenVlAccess::CreateGenVlMutex - SetGenVlMutexName() failed. ***";
inline constexpr char kNewMutex[] =
    "GenVlAccess::CreateGenVlMutex - success. hWinUSBMutex=0x<address> LastError=0";
inline constexpr char kNotSubject[] =
    "*** GenVlAccess::GetVelnoVendorStr - DevicePath is not subject. ***";
inline std::string no_path(unsigned index, unsigned error = ERROR_NO_MORE_ITEMS) {
  return "*** GenVlAccess::GetGenVlDevPath - GetDevicePath failed. dwIndex=" +
         std::to_string(index) + " LastError=" + std::to_string(error) + " ***";
}
inline std::string unmatched(const std::string& path) {
  return "    Serial No. is unmatched. DevicePath=(" + path + ")";
}

struct MadeMutex {
  std::string name = {};
  BOOL owner = FALSE;
  BOOL inheritable = FALSE;
  DWORD length = 0;
  SECURITY_DESCRIPTOR descriptor = {};
};

struct SearchSpy {
  std::vector<MadeMutex> mutexes = {};
  // What the listing gives instead of the system's paths; 260 bytes have no terminator.
  std::vector<std::string> paths = {};
};
SearchSpy& search_spy();

// The name of the mutex of a device at that path.
inline std::string mutex_of(const std::string& path) {
  std::string tail = path.substr(path.find("vid_0ff7"));
  for (char& character : tail) {
    character = static_cast<char>(std::toupper(static_cast<unsigned char>(character)));
  }
  return kPrefix + tail;
}

class SearchTest : public DeviceTest {
 protected:
  SearchTest() { search_spy() = {}; }
  ~SearchTest() override { search_spy() = {}; }

  static Access make(vlp::DbgLog* log = nullptr, const char* serial = kSerialNumber) {
    return std::make_unique<vlp::GenVlAccess>(reinterpret_cast<const std::uint8_t*>(serial), 0, 0,
                                              nullptr, &kSettings, log);
  }
  static Access prepared(vlp::DbgLog* log = nullptr,
                         std::uint32_t mode = vlp::kSearchSerialNumber) {
    return Private::Prepared(&kSettings, log, mode);
  }

  // What the host has sent to the device.
  static std::uint64_t transfers_to(const std::string& path) {
    std::uint64_t count = 0;
    with(path, [&](simulator::UsbPrinter& printer, std::uint64_t) {
      count = printer.device().out_transfers();
    });
    return count;
  }
  // The messages that came to the command channel.
  static std::vector<simulator::Bytes> commands_of(const std::string& path) {
    std::vector<simulator::Bytes> found;
    with(path, [&](simulator::UsbPrinter& printer, std::uint64_t) {
      for (const simulator::D4Message& message : printer.device().messages()) {
        EXPECT_EQ(simulator::UsbPrinter::command_socket, message.socket);
        found.push_back(message.bytes);
      }
    });
    return found;
  }
  // From now on the device says this to whatever comes.
  static void answer(const std::string& path, const std::string& reply) {
    with(path, [&](simulator::UsbPrinter& printer, std::uint64_t) {
      printer.device().options().answers = {{.reply = simulator::bytes_of(reply)}};
    });
  }
  static simulator::Bytes status_request() {
    return simulator::bytes_of(std::string("st\x01\x00\x01", 5));
  }

  // The lines that the object itself wrote.
  static std::vector<std::string> lines_of_search(const LogFile& log) {
    std::vector<std::string> found;
    for (const std::string& line : log.shown()) {
      if (line.find("GenVlAccess::") != std::string::npos ||
          (line.starts_with("  ") && !line.starts_with("  [D4]"))) {
        found.push_back(line);
      }
    }
    return found;
  }

  static void expect_closed(vlp::GenVlAccess& access, const std::string& mutex) {
    EXPECT_TRUE(Private(access).IsClosed());
    EXPECT_TRUE(mutex_is_free(mutex)) << mutex;
    EXPECT_FALSE(platform::any_lock_held());
  }
};

}  // namespace search_test
