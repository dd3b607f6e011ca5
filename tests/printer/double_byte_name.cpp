// Names in a double-byte code page, whose second bytes may look like a backslash.

#include "platform/machine.h"
#include "printer/real_name.h"
#include "support/spooler.h"
#include "tests/printer/printer_fixture.h"

namespace vlp {
namespace {

using printer_test::PrinterTest;

// One character of two bytes, the second of which is 0x5C.
#define SO "\x83\x5C"

class DoubleByteName : public PrinterTest {
 protected:
  void SetUp() override {
    PrinterTest::SetUp();
    ASSERT_TRUE(far_side::set_code_page(932));
    far_side::add_printer({.name = "Full", .published_name = "queue"});
  }
  void TearDown() override {
    PrinterTest::TearDown();
    far_side::set_code_page(1252);
  }

  static DWORD Build(const char* alias, std::string* real) {
    const PrinterHandle printer = OpenPrinterByName("Full");
    char out[64] = {};
    std::uint32_t size = sizeof(out);
    const DWORD rc = BuildCsrRealName(printer.Get(), alias, out, &size);
    *real = out;
    return rc;
  }
};

TEST_F(DoubleByteName, OfAServerIsntCutAtASecondByte) {
  std::string real;
  EXPECT_EQ(0u, Build("\\\\CSR|" SO "x\\alias", &real));
  EXPECT_EQ("\\\\" SO "x\\queue", real);
  EXPECT_EQ(0u, Build("\\\\CSR|s" SO SO "\\alias", &real));
  EXPECT_EQ("\\\\s" SO SO "\\queue", real);
}

TEST_F(DoubleByteName, WithABackslashInASecondByteOnlyHasNoServer) {
  std::string real;
  EXPECT_EQ(DWORD{ERROR_INVALID_PARAMETER}, Build("\\\\CSR|srv" SO, &real));
}

TEST_F(DoubleByteName, IsntReadBeyondALoneFirstByte) {
  std::string real;
  EXPECT_EQ(DWORD{ERROR_INVALID_PARAMETER}, Build("\\\\CSR|srv\x83", &real));
  EXPECT_EQ(DWORD{ERROR_INVALID_PARAMETER}, Build("\\\\CSR|\x83", &real));
}

TEST_F(DoubleByteName, IsCutAtTheSameByteInASingleByteCodePage) {
  far_side::set_code_page(1252);
  std::string real;
  EXPECT_EQ(0u, Build("\\\\CSR|" SO "x\\alias", &real));
  EXPECT_EQ("\\\\\x83\\queue", real);
}

TEST_F(DoubleByteName, IsResolvedWhenTheObjectIsMade) {
  // As the system keeps the name of such a printer: backslashes as commas in the key.
  platform::add_printer({.name = "\\\\CSR|ソx\\alias"});
  platform::set_registry_text(
      "HKEY_LOCAL_MACHINE\\SYSTEM\\CurrentControlSet\\Control\\Print\\Printers\\"
      ",,CSR|ソx,alias\\DsSpooler",
      "printerName", "ソ");
  platform::add_printer({.name = "\\\\ソx\\ソ", .port = "USB001"});
  far_side::set_device_id("USB001", far_side::bytes_of("CMD:BDC;"));
  const std::string alias = "\\\\CSR|" SO "x\\alias";
  Make(alias.c_str(), 0);
  EXPECT_EQ("USB001", printer_->GetPortName(alias.c_str()));
  std::uint64_t entries[kMaxConnectEntries] = {};
  printer_->GetConnectInf(entries);
  ASSERT_EQ(1u, far_side::batches().size());
  EXPECT_EQ(u"\\\\ソx\\ソ", far_side::batches()[0].printer);
}

TEST_F(DoubleByteName, GoesToTheSpoolerAsOneWideCharacterEach) {
  platform::add_printer({.name = "ソ表", .port = "USB001"});
  far_side::set_device_id("USB001", far_side::bytes_of("CMD:BDC;"));
  Make("\x83\x5C\x95\x5C", 0);
  EXPECT_EQ(0, printer_->CheckSupportPort());
  std::uint64_t entries[kMaxConnectEntries] = {};
  printer_->GetConnectInf(entries);
  ASSERT_EQ(1u, far_side::batches().size());
  EXPECT_EQ(u"ソ表", far_side::batches()[0].printer);
  // Both characters and the terminator, in bytes.
  EXPECT_EQ(6u, far_side::batches()[0].rows[0].input.size());
}

}  // namespace
}  // namespace vlp
