// Printers under an alias: which name the spooler gets, and which one stays the caller's.

#include "printer/real_name.h"
#include "tests/printer/printer_fixture.h"

namespace vlp {
namespace {

using printer_test::PrinterTest;

constexpr const char* kAlias = "\\\\CSR|srv\\alias";
constexpr const char* kAliasLog = "  CSR srv alias";

class AliasedPrinter : public PrinterTest {
 protected:
  void SetUp() override {
    PrinterTest::SetUp();
    ASSERT_TRUE(far_side::serves(far_side::Feature::csr_names));
  }

  // What the spooler's schemas are told to be the printer's name.
  std::u16string NameInBatch() {
    std::uint64_t entries[kMaxConnectEntries] = {};
    printer_->GetConnectInf(entries);
    const auto batches = far_side::batches();
    return batches.empty() ? u"no batch" : batches.back().printer;
  }

  std::string Resolve(const std::string& alias, std::uint32_t capacity = 260) {
    char out[300] = {};
    std::uint32_t size = capacity;
    found_ = GetRealNameFromCsrName(alias.c_str(), static_cast<std::uint32_t>(alias.size()) + 1,
                                    out, &size);
    size_ = size;
    return out;
  }

  std::int32_t found_ = -1;
  std::uint32_t size_ = 0;
};

TEST_F(AliasedPrinter, IsResolvedByItsServerAndPublishedName) {
  far_side::add_printer({.name = kAlias, .published_name = "queue"});
  EXPECT_EQ("\\\\srv\\queue", Resolve(kAlias));
  EXPECT_EQ(1, found_);
  EXPECT_EQ(11u, size_);
}

TEST_F(AliasedPrinter, IsResolvedWhenTheObjectIsMade) {
  far_side::add_printer({.name = kAlias, .port = "COM1:", .published_name = "queue"});
  far_side::add_printer({.name = "\\\\srv\\queue", .port = "USB001"});
  far_side::set_device_id("USB001", far_side::bytes_of("CMD:BDC;"));
  Make(kAlias, kLogPrinter);
  EXPECT_EQ((std::vector<std::string>{
                "CPrinterInf::SetRealPrinterName: PrinterName(\\\\CSR|srv\\alias)",
                "CPrinterInf::SetRealPrinterName: RealPrinterNameW(\\\\srv\\queue)",
                "CPrinterInf::SetRealPrinterName: RealPrinterNameA(\\\\srv\\queue)"}),
            Lines(kAliasLog));
  // The alias stays the name; the real one goes to the spooler.
  EXPECT_EQ(kAlias, printer_->Name());
  EXPECT_EQ("USB001", printer_->GetPortName(kAlias));
  EXPECT_EQ(0, printer_->CheckSupportPort());
  EXPECT_EQ(u"\\\\srv\\queue", NameInBatch());
}

TEST_F(AliasedPrinter, IsResolvedOnceOnly) {
  far_side::add_printer({.name = kAlias, .port = "USB001"});
  far_side::set_device_id("USB001", far_side::bytes_of("CMD:BDC;"));
  Make(kAlias, kLogPrinter);
  far_side::add_printer({.name = kAlias, .port = "USB001", .published_name = "queue"});
  EXPECT_EQ(0, printer_->CheckSupportPort());
  EXPECT_EQ(u"\\\\CSR|srv\\alias", NameInBatch());
  EXPECT_EQ((std::vector<std::string>{
                "CPrinterInf::SetRealPrinterName: PrinterName(\\\\CSR|srv\\alias)"}),
            LinesOf("SetRealPrinterName", kAliasLog));
}

TEST_F(AliasedPrinter, ThatIsntOneKeepsItsName) {
  for (const char* name : {"Printer", "\\\\csr|srv\\alias", "\\\\CSR", "\\\\CSR|", "\\\\CSR|server",
                           "\\\\CSR|\\queue"}) {
    SCOPED_TRACE(name);
    far_side::add_printer({.name = name, .port = "USB001", .published_name = "queue"});
    far_side::set_device_id("USB001", far_side::bytes_of("CMD:BDC;"));
    Make(name, kLogPrinter);
    EXPECT_EQ(0, printer_->CheckSupportPort());
    std::u16string wide;
    for (const char* at = name; *at != '\0'; ++at) wide.push_back(static_cast<char16_t>(*at));
    EXPECT_EQ(wide, NameInBatch());
  }
}

TEST_F(AliasedPrinter, UnknownToTheSpoolerKeepsItsName) {
  EXPECT_EQ("", Resolve(kAlias));
  EXPECT_EQ(0, found_);
  Make(kAlias, kLogPrinter);
  EXPECT_EQ(1u, Lines(kAliasLog).size());
}

TEST_F(AliasedPrinter, ResolutionOfBadNamesFails) {
  for (const std::string name : {"\\\\CSR|", "\\\\CSR|server", "\\\\CSR|\\queue", "Printer"}) {
    far_side::add_printer({.name = name, .published_name = "queue"});
    EXPECT_EQ("", Resolve(name)) << name;
    EXPECT_EQ(0, found_) << name;
    EXPECT_EQ(260u, size_) << name;
  }
}

TEST_F(AliasedPrinter, RealNameOfTheLongestLengthFits) {
  const std::string queue(253, 'q');
  far_side::add_printer({.name = kAlias, .published_name = queue});
  EXPECT_EQ("\\\\srv\\" + queue, Resolve(kAlias));
  EXPECT_EQ(1, found_);
  EXPECT_EQ(259u, size_);
}

TEST_F(AliasedPrinter, LongerRealNameFailsAsAWhole) {
  far_side::add_printer(
      {.name = kAlias, .port = "USB001", .published_name = std::string(254, 'q')});
  far_side::set_device_id("USB001", far_side::bytes_of("CMD:BDC;"));
  Resolve(kAlias);
  EXPECT_EQ(0, found_);
  EXPECT_EQ(260u, size_);
  Make(kAlias, kLogPrinter);
  EXPECT_EQ(1u, Lines(kAliasLog).size());
  EXPECT_EQ(u"\\\\CSR|srv\\alias", NameInBatch());
}

TEST_F(AliasedPrinter, SizeIsToldAlsoWhenNothingIsCopied) {
  far_side::add_printer({.name = kAlias, .published_name = "queue"});
  EXPECT_EQ("", Resolve(kAlias, 10));
  EXPECT_EQ(0, found_);
  EXPECT_EQ(11u, size_);
  std::uint32_t size = 260;
  EXPECT_EQ(0, GetRealNameFromCsrName(kAlias, 16, nullptr, &size));
  EXPECT_EQ(11u, size);
}

TEST_F(AliasedPrinter, EmptyArgumentsGiveNothing) {
  far_side::add_printer({.name = kAlias, .published_name = "queue"});
  char out[260] = {};
  std::uint32_t size = sizeof(out);
  EXPECT_EQ(0, GetRealNameFromCsrName(nullptr, 16, out, &size));
  EXPECT_EQ(0, GetRealNameFromCsrName(kAlias, 0, out, &size));
  EXPECT_EQ(0, GetRealNameFromCsrName(kAlias, 16, out, nullptr));
  EXPECT_EQ(sizeof(out), size);
  size = 0;
  EXPECT_EQ(0, GetRealNameFromCsrName(kAlias, 16, out, &size));
  EXPECT_STREQ("", out);
}

TEST_F(AliasedPrinter, CheckedResolutionLooksAtThePrefixFirst) {
  far_side::add_printer({.name = kAlias, .published_name = "queue"});
  char out[260] = {};
  std::uint32_t size = sizeof(out);
  EXPECT_EQ(1, GetRealNameChecked(kAlias, 16, out, &size));
  EXPECT_STREQ("\\\\srv\\queue", out);
  size = sizeof(out);
  EXPECT_EQ(0, GetRealNameChecked(kAlias, 6, out, &size));
  EXPECT_EQ(0, GetRealNameChecked("Printer", 8, out, &size));
  EXPECT_EQ(0, GetRealNameChecked(nullptr, 8, out, &size));
  EXPECT_EQ(sizeof(out), size);
}

}  // namespace
}  // namespace vlp
