// That the doubles are what this program really has.

#include "tests/platform/bidi_fixture.h"
#include "tests/support/far_side.h"

#include <gtest/gtest.h>

#include <windows.h>

#include <winnetwk.h>
#include <winspool.h>

#include <vector>

namespace {

using far_side::Feature;

TEST(Doubles, StandBehindThisProgram) {
  EXPECT_TRUE(far_side::serves(Feature::csr_names));
  EXPECT_TRUE(far_side::serves(Feature::bare_dependent_files));
  EXPECT_TRUE(far_side::serves(Feature::portless_printers));
  EXPECT_TRUE(far_side::serves(Feature::redirected_ports));
  EXPECT_FALSE(far_side::serves(Feature::usb_devices)) << "it lies there, but isn't asked for";
  EXPECT_FALSE(far_side::serves(Feature::task_memory_count));
  EXPECT_FALSE(far_side::serves(Feature::both_code_pages));
}

TEST(Doubles, SpoolerListsPrintersByTheirNames) {
  far_side::reset();
  far_side::add_printer({.name = "\\\\CSR|srv\\alias", .port = "USB001"});
  far_side::add_printer({.name = "Plain", .port = "USB002"});
  DWORD needed = 0;
  DWORD count = 0;
  EXPECT_EQ(FALSE, EnumPrintersA(PRINTER_ENUM_LOCAL, nullptr, 2, nullptr, 0, &needed, &count));
  EXPECT_EQ(static_cast<DWORD>(ERROR_INSUFFICIENT_BUFFER), GetLastError());
  std::vector<BYTE> buffer(needed);
  ASSERT_NE(FALSE,
            EnumPrintersA(PRINTER_ENUM_LOCAL, nullptr, 2, buffer.data(), needed, &needed, &count));
  ASSERT_EQ(2U, count);
  std::vector<PRINTER_INFO_2A> printers(count);
  memcpy(printers.data(), buffer.data(), count * sizeof(PRINTER_INFO_2A));
  EXPECT_STREQ("\\\\CSR|srv\\alias", printers[0].pPrinterName);
  EXPECT_STREQ("USB001", printers[0].pPortName);
  EXPECT_STREQ("Plain", printers[1].pPrinterName);
}

TEST(Doubles, RedirectorReportsTheSizeThatItNeeds) {
  far_side::reset();
  far_side::redirect("LPT1", "\\\\s\\q");
  char remote[6] = "";
  DWORD length = 5;
  EXPECT_EQ(static_cast<DWORD>(ERROR_MORE_DATA), WNetGetConnectionA("lpt1:", remote, &length));
  EXPECT_EQ(6U, length);
  EXPECT_EQ(static_cast<DWORD>(NO_ERROR), WNetGetConnectionA("LPT1", remote, &length));
  EXPECT_STREQ("\\\\s\\q", remote);
}

TEST(Doubles, ClosedAndForeignHandlesAreRefused) {
  HANDLE handle = nullptr;
  ASSERT_NE(FALSE, OpenPrinterA(nullptr, &handle, nullptr));
  EXPECT_NE(FALSE, ClosePrinter(handle));
  EXPECT_EQ(FALSE, ClosePrinter(handle));
  EXPECT_EQ(static_cast<DWORD>(ERROR_INVALID_HANDLE), GetLastError());
  DWORD needed = 0;
  EXPECT_EQ(FALSE, GetPrinterA(nullptr, 2, nullptr, 0, &needed));
  EXPECT_EQ(static_cast<DWORD>(ERROR_INVALID_HANDLE), GetLastError());
}

// Asks the printer for its device ID on the multithreaded apartment.
std::string device_id_of(const std::basic_string<WCHAR>& printer) {
  EXPECT_EQ(S_OK, CoInitializeEx(nullptr, COINIT_MULTITHREADED));
  std::string id;
  {
    const bidi_test::Ref<IBidiSpl> spl = bidi_test::make_spl();
    EXPECT_EQ(S_OK, spl->BindDevice(printer.c_str(), BIDI_ACCESS_USER));
    const auto name = bidi_test::make_request(TEXT("\\Printer.VELNO_SCHEMA:SetPrinterName"),
                                              bidi_test::wide_bytes(printer));
    const auto query = bidi_test::make_request(TEXT("\\Printer.VELNO_SCHEMA:GetDeviceID"));
    const auto container = bidi_test::make_container();
    EXPECT_EQ(S_OK, container->AddRequest(name.get()));
    EXPECT_EQ(S_OK, container->AddRequest(query.get()));
    EXPECT_EQ(S_OK, spl->MultiSendRecv(TEXT("Get"), container.get()));
    EXPECT_EQ(S_OK, spl->UnbindDevice());
    id = bidi_test::output_of(query.get()).data;
  }
  CoUninitialize();
  return id;
}

TEST(Doubles, PrintersOfTheHardwareFolderAnswerAndBrokenDescriptionsAreReported) {
  far_side::reset();
  const std::string folder = far_side::fresh_log_directory();
  far_side::write_file(folder + "good.ini", "[Printer]\r\nPort=usb005\r\nDeviceID=MFG:\\x41;\r\n");
  far_side::write_file(folder + "bad.ini", "[Printer]\r\nPort=USB006\r\nMute=maybe\r\n");
  ASSERT_NE(FALSE, SetEnvironmentVariableA("VLPBIDI_HARDWARE", folder.c_str()));
  far_side::add_printer({.name = "Described", .port = "USB005"});
  EXPECT_EQ("MFG:A;", device_id_of(TEXT("Described")));
  EXPECT_EQ((std::vector<std::string>{"bad.ini: Mute isn't a number up to 1"}),
            far_side::breaches());
  EXPECT_NE(FALSE, SetEnvironmentVariableA("VLPBIDI_HARDWARE", nullptr));
}

TEST(Doubles, CsrPrinterAnswersUnderItsRealName) {
  far_side::reset();
  far_side::add_printer({.name = "\\\\srv\\queue", .port = "USB001"});
  far_side::set_device_id("USB001", far_side::bytes_of("MFG:Real;"));
  EXPECT_EQ("MFG:Real;", device_id_of(TEXT("\\\\srv\\queue")));
}

}  // namespace
