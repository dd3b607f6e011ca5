// Printers under an alias of the spooler's, "\\CSR|server\something", end to end.

#include "tests/system/fixture.h"

namespace system_test {
namespace {

using ::testing::Contains;
using ::testing::HasSubstr;
using ::testing::Not;
using ::testing::StartsWith;

const std::string kReal = "CPrinterInf::SetRealPrinterName: RealPrinterName";

class Aliases : public SystemTest {
 protected:
  void SetUp() override {
    SystemTest::SetUp();
    ASSERT_TRUE(far_side::serves(far_side::Feature::csr_names));
  }

  // An alias that the spooler knows, and the printer that it stands for.
  void AddAlias(const std::string& alias, const std::string& published, const std::string& real,
                const std::string& port = "USB001") {
    AddPrinter(real, port, kLaserId, {{ChnlKindBdc}});
    far_side::add_printer(
        {.name = alias, .port = "COM9:", .driver = "Driver " + port, .published_name = published});
  }

  std::string LogOf(const std::string& alias) {
    std::string cleaned = alias;
    for (char& c : cleaned) c = std::string("\\/:,;*?\"<>|").find(c) != std::string::npos ? ' ' : c;
    return cleaned;
  }
};

TEST_F(Aliases, AreAskedUnderTheirRealName) {
  const std::string alias = "\\\\CSR|srv\\alias";
  AddAlias(alias, "queue", "\\\\srv\\queue");
  LogTo(kLogOperations);
  Load();
  const Connection answer = provider().Connect(alias);
  EXPECT_EQ(answer.code, 1) << "the port is the real printer's";
  EXPECT_EQ(answer.name, alias) << "the monitor keeps its own name";
  const auto batches = far_side::batches();
  ASSERT_EQ(batches.size(), 1U);
  EXPECT_EQ(batches[0].printer, u"\\\\srv\\queue");
  const auto lines = LogLines(LogOf(alias));
  EXPECT_THAT(lines, Contains("CPrinterInf::SetRealPrinterName: PrinterName(" + alias + ")"));
  EXPECT_THAT(lines, Contains(kReal + "W(\\\\srv\\queue)"));
  EXPECT_THAT(lines, Contains(kReal + "A(\\\\srv\\queue)"));
  EXPECT_THAT(lines, Contains("CPrinterInf::CheckSupportPort Return : USB001 = 0"));
}

TEST_F(Aliases, TakeTheProfileOfTheirOwnName) {
  const std::string alias = "\\\\CSR|srv\\alias";
  AddPrinter("\\\\srv\\queue", "USB001", "CMD:QPL,BDC;", {{ChnlKindBdc}});
  far_side::add_model("Alias", ProfileLines({{ChnlKindQpl}}));
  far_side::add_printer(
      {.name = alias, .port = "COM9:", .driver = "Alias", .published_name = "queue"});
  Load();
  EXPECT_EQ(provider().Connect(alias).entries, (std::vector<Entry>{{ChnlKindQpl, 7}}));
  EXPECT_EQ(provider().Connect("\\\\srv\\queue").entries, (std::vector<Entry>{{ChnlKindBdc, 7}}));
  EXPECT_EQ(far_side::counts("\\\\srv\\queue").device_id_queries, 2U);
}

TEST_F(Aliases, AreOtherPrintersThanTheirRealOnes) {
  const std::string alias = "\\\\CSR|srv\\alias";
  AddAlias(alias, "queue", "\\\\srv\\queue");
  Load();
  ASSERT_EQ(provider().DeviceId(1, alias), 0);
  ASSERT_EQ(provider().DeviceId(2, "\\\\srv\\queue"), 0);
  EXPECT_EQ(provider().Take().data, bytes_of(kLaserId));
  EXPECT_EQ(provider().Take().data, bytes_of(kLaserId));
  EXPECT_EQ(far_side::counts("\\\\srv\\queue").device_id_queries, 2U);
}

TEST_F(Aliases, WithoutAServerOrAQueueAreLeftAlone) {
  for (const std::string alias : {"\\\\CSR|", "\\\\CSR|server", "\\\\CSR|\\queue"}) {
    far_side::add_printer({.name = alias, .port = "USB001", .published_name = "queue"});
    far_side::set_device_id("USB001", bytes_of(kLaserId));
    LogTo(kLogOperations);
    Load();
    ASSERT_EQ(provider().DeviceId(1, alias), 0) << alias;
    EXPECT_EQ(far_side::counts(alias).sends, 1U) << alias;
    EXPECT_THAT(LogLines(LogOf(alias)), Not(Contains(StartsWith(kReal))));
    DropProvider();
  }
}

TEST_F(Aliases, InOtherLettersAreNone) {
  const std::string alias = "\\\\csr|srv\\alias";
  far_side::add_printer({.name = alias, .port = "USB001", .published_name = "queue"});
  far_side::set_device_id("USB001", bytes_of(kLaserId));
  Load();
  ASSERT_EQ(provider().DeviceId(1, alias), 0);
  EXPECT_EQ(far_side::counts(alias).sends, 1U);
}

TEST_F(Aliases, WithoutAPublishedNameAreLeftAloneForGood) {
  const std::string alias = "\\\\CSR|srv\\alias";
  far_side::add_printer({.name = alias, .port = "USB001"});
  far_side::set_device_id("USB001", bytes_of(kLaserId));
  Load();
  ASSERT_EQ(provider().DeviceId(1, alias), 0);
  // Published too late for this life of the library.
  AddAlias(alias, "queue", "\\\\srv\\queue", "USB002");
  EXPECT_EQ(provider().DeviceId(2, alias), VLPER_NOTSUPPORT) << "the alias' own port counts";
  EXPECT_EQ(far_side::counts("\\\\srv\\queue").sends, 0U);
  DropProvider();
  Load();
  ASSERT_EQ(provider().DeviceId(3, alias), 0);
  EXPECT_EQ(far_side::counts("\\\\srv\\queue").sends, 1U);
}

TEST_F(Aliases, OfAPrinterThatIsNotThereAreRefused) {
  const std::string alias = "\\\\CSR|srv\\alias";
  far_side::add_printer({.name = alias, .port = "USB001", .published_name = "gone"});
  LogTo(kLogOperations);
  Load();
  EXPECT_EQ(provider().DeviceId(1, alias), VLPER_NOTSUPPORT);
  EXPECT_THAT(LogLines(LogOf(alias)), Contains(HasSubstr("(Failed to GetPortName)")));
}

TEST_F(Aliases, TakeRealNamesOfUpTo259Bytes) {
  const std::string alias = "\\\\CSR|srv\\alias";
  for (const std::size_t size : {259U, 260U}) {
    const std::string published(size - std::string("\\\\srv\\").size(), 'q');
    far_side::add_printer({.name = alias, .port = "USB001", .published_name = published});
    far_side::set_device_id("USB001", bytes_of(kLaserId));
    LogTo(kLogOperations);
    Load();
    // No spooler here holds so long a name, so the one that is resolved isn't found.
    EXPECT_EQ(provider().DeviceId(1, alias), size == 259 ? VLPER_NOTSUPPORT : 0) << size;
    const auto resolved = Contains(kReal + "A(\\\\srv\\" + published + ")");
    if (size == 259) {
      EXPECT_THAT(LogLines(LogOf(alias)), resolved);
    } else {
      EXPECT_THAT(LogLines(LogOf(alias)), Not(Contains(StartsWith(kReal))));
    }
    DropProvider();
  }
}

TEST_F(Aliases, OfAnEmptyPublishedNameStandForTheServersPath) {
  const std::string alias = "\\\\CSR|srv\\alias";
  far_side::add_printer({.name = alias, .port = "USB001", .published_name = ""});
  LogTo(kLogOperations);
  Load();
  EXPECT_EQ(provider().DeviceId(1, alias), VLPER_NOTSUPPORT);
  EXPECT_THAT(LogLines(LogOf(alias)), Contains(kReal + "A(\\\\srv\\)"));
}

TEST_F(Aliases, CutTheServerAtABackslashAndNotInsideALetter) {
  if (!far_side::set_code_page(932)) GTEST_SKIP() << "runs where the code page is 932";
  // The second byte of this letter has the value of a backslash.
  const std::string server = "s\x83\x5Cv";
  const std::string alias = "\\\\CSR|" + server + "\\alias";
  AddAlias(alias, "queue", "\\\\" + server + "\\queue");
  Load();
  ASSERT_EQ(provider().DeviceId(1, alias), 0);
  const auto batches = far_side::batches();
  ASSERT_EQ(batches.size(), 1U);
  EXPECT_EQ(batches[0].printer, u"\\\\s\u30BDv\\queue");
}

class Redirections : public SystemTest {
 protected:
  void SetUp() override {
    SystemTest::SetUp();
    ASSERT_TRUE(far_side::serves(far_side::Feature::redirected_ports));
  }

  std::vector<std::string> LinesFor(const std::string& port, std::int32_t expected) {
    AddPrinter(kLaser, port, kLaserId, {{ChnlKindBdc}});
    LogTo(kLogOperations);
    Load();
    EXPECT_EQ(provider().DeviceId(1, kLaser), expected) << port;
    DropProvider();
    return LogLines(kLaser);
  }
};

TEST_F(Redirections, ToANetworkPrinterAreRefused) {
  for (const char* remote : {"\\\\server\\queue", "\\\\Client\\QUE1", "\\\\client\\LPT1",
                             "\\\\Clien\\LPT1", "\\\\server\\Client\\LPT1", "\\\\Client\\lpt1"}) {
    far_side::redirect("LPT1:", remote);
    EXPECT_THAT(LinesFor("LPT1:", VLPER_NOTSUPPORT),
                Contains("CPrinterInf::CheckSupportPort Return (NetLPT port) : rc = -1"))
        << remote;
  }
}

TEST_F(Redirections, ToARemoteDesktopsPortAreServed) {
  for (const char* remote : {"\\\\Client\\LPT1", "\\\\Client\\LPT1:", "\\\\Clients\\x\\LPT9"}) {
    far_side::redirect("LPT1:", remote);
    EXPECT_THAT(LinesFor("LPT1:", 0), Contains("CPrinterInf::CheckSupportPort Return : LPT1: = 0"))
        << remote;
  }
}

TEST_F(Redirections, OfOtherPortsDoNotCount) {
  far_side::redirect("LPT2:", "\\\\server\\queue");
  EXPECT_THAT(LinesFor("LPT1:", 0), Contains("CPrinterInf::CheckSupportPort Return : LPT1: = 0"));
}

TEST_F(Redirections, OfPortsInSmallLettersAreNotFoundOut) {
  far_side::redirect("LPT1:", "\\\\server\\queue");
  EXPECT_THAT(LinesFor("lpt1:", 0), Contains("CPrinterInf::CheckSupportPort Return : lpt1: = 0"));
}

TEST_F(Redirections, TooLongToBeReadDoNotCount) {
  far_side::redirect("LPT1:", "\\\\server\\" + std::string(300, 'q'));
  EXPECT_THAT(LinesFor("LPT1:", 0), Contains("CPrinterInf::CheckSupportPort Return : LPT1: = 0"));
}

class BareFiles : public SystemTest {
 protected:
  void SetUp() override {
    SystemTest::SetUp();
    ASSERT_TRUE(far_side::serves(far_side::Feature::bare_dependent_files));
    far_side::set_device_id("USB001", bytes_of("CMD:BDC;"));
    far_side::add_printer({.name = kLaser, .port = "USB001", .driver = "Driver"});
    far_side::write_profile("Model.LMD", ProfileLines({{ChnlKindBdc}}));
    far_side::write_profile("Second.LMD", ProfileLines({{ChnlKindBdc}, {ChnlKindZrdPage}}));
  }

  std::int32_t ChannelsWith(const std::vector<std::string>& files) {
    far_side::add_driver({.name = "Driver", .dependent_files = files});
    Load();
    const std::int32_t code = provider().Connect(kLaser).code;
    DropProvider();
    return code;
  }
};

TEST_F(BareFiles, LieBesideTheDriver) {
  EXPECT_EQ(ChannelsWith({"Model.LMD"}), 1);
  EXPECT_EQ(ChannelsWith({"model.lmd"}), 1);
  EXPECT_EQ(ChannelsWith({"other.dll", "x.gpd", "Model.LMD"}), 1);
}

TEST_F(BareFiles, OfAProfilesEndingCountInTheirOrder) {
  EXPECT_EQ(ChannelsWith({"Second.LMD", "Model.LMD"}), 2);
  EXPECT_EQ(ChannelsWith({"Missing.LMD", "Model.LMD"}), VLPER_NOENTRY);
}

TEST_F(BareFiles, OfAnotherEndingDoNotCount) {
  EXPECT_EQ(ChannelsWith({"Model.LMDX", "LMD", "Model.dll"}), VLPER_NOENTRY);
  EXPECT_EQ(ChannelsWith({}), VLPER_NOENTRY);
}

TEST_F(BareFiles, WithAFolderLieThere) {
  const std::string elsewhere = far_side::fresh_log_directory() + "Else.LMD";
  far_side::write_file(elsewhere, "[ProfileInf]\r\n" + std::string("LPT_Channel00=0x10010004\r\n"));
  EXPECT_EQ(ChannelsWith({elsewhere}), 1);
}

}  // namespace
}  // namespace system_test
