// A machine that is read from a folder, and what is said of a broken one.

#include "tests/platform/own_machine.h"

#include "platform/machine.h"

#include <winspool.h>

#include <stdlib.h>

#include <filesystem>
#include <fstream>

namespace {

namespace fs = std::filesystem;

const std::string header = "Windows Registry Editor Version 5.00\r\n";

class MachineFolder : public ::testing::Test {
 protected:
  MachineFolder() {
    std::string name = (fs::temp_directory_path() / "vlpbidi-test-XXXXXX").string();
    EXPECT_NE(nullptr, mkdtemp(name.data()));
    folder_ = name;
  }
  ~MachineFolder() override {
    platform::reset_machine();
    fs::remove_all(folder_);
  }

  void put(const std::string& name, const std::string& bytes) const {
    fs::create_directories((folder_ / name).parent_path());
    std::ofstream(folder_ / name, std::ios::binary) << bytes;
  }
  void put_sound() const {
    put("machine.reg",
        header +
            "[HKEY_LOCAL_MACHINE\\SYSTEM\\CurrentControlSet\\Control\\Print\\Printers\\Office]\r\n"
            "\"Name\"=\"Office\"\r\n\"Port\"=\"USB001\"\r\n"
            "[HKEY_LOCAL_MACHINE\\SYSTEM\\CurrentControlSet\\Control\\Nls\\CodePage]\r\n"
            "\"ACP\"=\"932\"\r\n");
    fs::create_directories(folder_ / "drive_c");
  }
  // What loading says; empty for nothing.
  std::string complaint() const {
    return platform::load_machine(folder_.string()).value_or(std::string());
  }
  static bool says(const std::string& text, const std::string& part) {
    return text.find(part) != std::string::npos;
  }

  fs::path folder_;
};

TEST_F(MachineFolder, SoundFolderGivesPrintersFilesAndCodePage) {
  put_sound();
  put("drive_c/Drivers/Model.lmd", "[ProfileInf]\r\nv=12\r\n");
  EXPECT_EQ("", complaint());
  std::string name = "office";
  HANDLE printer = nullptr;
  EXPECT_TRUE(OpenPrinterA(name.data(), &printer, nullptr));
  EXPECT_TRUE(ClosePrinter(printer));
  EXPECT_EQ(12U, GetPrivateProfileIntA("ProfileInf", "v", 0, "C:\\DRIVERS\\model.LMD"));
  EXPECT_EQ(932U, GetACP());
  EXPECT_EQ((folder_ / "drive_c").string(), platform::machine_drive());
}

TEST_F(MachineFolder, MissingPartsAreNamed) {
  const std::string missing = (folder_ / "none").string();
  EXPECT_TRUE(says(platform::load_machine(missing).value_or(""), missing));
  EXPECT_TRUE(says(complaint(), "machine.reg"));
  put("machine.reg", header);
  EXPECT_TRUE(says(complaint(), "drive_c"));
}

TEST_F(MachineFolder, MalformedRegistryNamesTheLine) {
  put_sound();
  put("machine.reg", header + "\r\n[HKEY_LOCAL_MACHINE\\X]\r\nnonsense\r\n");
  EXPECT_TRUE(says(complaint(), "machine.reg, line 4: ")) << complaint();
}

TEST_F(MachineFolder, BrokenMachineIsAComputerWithoutPrinters) {
  put_sound();
  put("machine.reg", "nonsense");
  EXPECT_NE("", complaint());
  EXPECT_TRUE(platform::machine_error().has_value());
  EXPECT_NE(nullptr, VlpPlatformMachineError());
  DWORD needed = 99;
  DWORD count = 99;
  EXPECT_TRUE(EnumPrintersA(PRINTER_ENUM_LOCAL, nullptr, 4, nullptr, 0, &needed, &count));
  EXPECT_EQ(0U, count);
  std::string name = "Office";
  HANDLE printer = nullptr;
  EXPECT_FALSE(OpenPrinterA(name.data(), &printer, nullptr));
  EXPECT_EQ(DWORD{ERROR_INVALID_PRINTER_NAME}, GetLastError());
  SetLastError(0);
  EXPECT_EQ(INVALID_HANDLE_VALUE,
            CreateFileA("C:\\x", GENERIC_WRITE, 0, nullptr, OPEN_ALWAYS, 0, nullptr));
  EXPECT_EQ(DWORD{ERROR_PATH_NOT_FOUND}, GetLastError());
}

TEST_F(MachineFolder, SoundMachineHasNoError) {
  put_sound();
  EXPECT_EQ(nullptr, VlpPlatformSetMachine(folder_.c_str()));
  EXPECT_EQ(nullptr, VlpPlatformMachineError());
  EXPECT_NE(nullptr, VlpPlatformSetMachine(nullptr));
}

TEST_F(MachineFolder, HardwareIsReadByPort) {
  put_sound();
  put("hardware/office.ini", "[Printer]\nPort=USB001\nDeviceID=MFG:X;\n[Mechanism]\nPages=3\n");
  put("hardware/notes.txt", "not hardware");
  EXPECT_EQ("", complaint());
  ASSERT_EQ(1U, platform::machine_hardware().size());
  const auto record = platform::hardware_at("usb001");
  ASSERT_TRUE(record.has_value());
  EXPECT_EQ("office.ini", record->file);
  EXPECT_EQ(simulator::bytes_of("MFG:X;"), record->printer.device_id);
  EXPECT_FALSE(platform::hardware_at("USB002").has_value());
}

TEST_F(MachineFolder, MalformedHardwareNamesItsFile) {
  put_sound();
  put("hardware/bad.ini", "[Printer]\nnonsense\n");
  EXPECT_TRUE(says(complaint(), "hardware/bad.ini: ")) << complaint();
  put("hardware/bad.ini", "[Printer]\nDeviceID=x\n");
  EXPECT_TRUE(says(complaint(), "Port")) << complaint();
}

TEST_F(MachineFolder, TwoPrintersAtOnePortAreRefused) {
  put_sound();
  put("hardware/a.ini", "[Printer]\nPort=USB001\n");
  put("hardware/b.ini", "[Printer]\nPort=usb001\n");
  EXPECT_TRUE(says(complaint(), "hardware/b.ini")) << complaint();
}

TEST_F(MachineFolder, TwoPrintersAtOneUsbPathAreRefused) {
  put_sound();
  const std::string path = R"(\\?\usb#a#b#{b1ceb704-c9ba-4369-82b7-af7ee754099f})";
  put("hardware/a.ini", "[Printer]\nPort=USB001\nUsbPath=" + path + "\n");
  put("hardware/b.ini", "[Printer]\nPort=USB002\nUsbPath=" + path + "\n");
  EXPECT_TRUE(says(complaint(), "hardware/b.ini: " + path)) << complaint();
}

TEST_F(MachineFolder, EachLoadIsANewGeneration) {
  put_sound();
  complaint();
  const uint64_t first = platform::machine_generation();
  complaint();
  EXPECT_LT(first, platform::machine_generation());
}

}  // namespace
