// How long a status is good, to the millisecond.

#include "tests/operations/exchange_fixture.h"
#include "tests/support/virtual_time.h"

namespace vlp {
namespace {

using operations_test::ExchangeTest;
using operations_test::kSendFails;
using operations_test::TextItem;

class StatusAge : public ExchangeTest {
 protected:
  static void Timed(const std::function<void()>& body, const test::VirtualOptions& options = {}) {
    test::run_virtual_parallel(body, options);
  }

  // In two halves, as a sleep of the largest number has no end.
  static void Pass(std::uint32_t milliseconds) {
    test::sleep_ms(milliseconds / 2);
    test::sleep_ms(milliseconds - milliseconds / 2);
  }

  void OpenAnswering(const std::string& setting) {
    Open({{ChnlKindBdc}}, setting);
    Answer("GetStatus", TextItem("1"));
  }

  // One reading, and then one more look after `age` milliseconds; gives the queries.
  std::size_t QueriesAfter(const std::string& setting, std::uint32_t age,
                           const test::VirtualOptions& options = {}) {
    std::size_t queries = 0;
    Timed(
        [&] {
          OpenAnswering(setting);
          EXPECT_EQ(0, Ask(ChnlKindBdc));
          Pass(age);
          EXPECT_EQ(0, Ask(ChnlKindBdc));
          EXPECT_EQ(TextItem("1"), got_);
          queries = Batches();
          printer_.reset();
        },
        options);
    return queries;
  }

  void ExpectLimit(const std::string& setting, std::uint32_t limit,
                   const test::VirtualOptions& options = {}) {
    EXPECT_EQ(1u, QueriesAfter(setting, limit - 1, options));
    EXPECT_EQ(2u, QueriesAfter(setting, limit, options));
    EXPECT_EQ(2u, QueriesAfter(setting, limit + 1, options));
  }
};

TEST_F(StatusAge, IsFiveSecondsByDefault) { ExpectLimit("", 5000); }

TEST_F(StatusAge, IsWhatTheProfileSays) {
  ExpectLimit("LPT_StatusNoChkTime=1234", 1234);
  ExpectLimit("LPT_StatusNoChkTime=1", 1);
  EXPECT_EQ(2u, QueriesAfter("LPT_StatusNoChkTime=0", 0));
}

TEST_F(StatusAge, IsThatOfAUniversalDriverToo) { ExpectLimit("LPT_UniversalDriver=1", 5000); }

TEST_F(StatusAge, IsntThatOfTheDeviceId) {
  ExpectLimit("LPT_DevIDNoChkTime=0", 5000);
  ExpectLimit("LPT_DevIDNoChkTime=99999", 5000);
}

TEST_F(StatusAge, BearsTheWrapOfTheTickCount) {
  for (const std::uint64_t before_wrap : {1ULL, 100ULL, 4999ULL, 5000ULL}) {
    test::VirtualOptions options;
    options.tick_start_ms = (1ULL << 32) - before_wrap;
    ExpectLimit("", 5000, options);
  }
}

// The largest limit spans the whole count but its last millisecond.
TEST_F(StatusAge, CanBeAsLongAsTheTickCount) {
  EXPECT_EQ(1u, QueriesAfter("LPT_StatusNoChkTime=-1", 0xFFFFFFFE));
  EXPECT_EQ(2u, QueriesAfter("LPT_StatusNoChkTime=-1", 0xFFFFFFFF));
}

TEST_F(StatusAge, CountsFromTheEndOfTheReading) {
  Timed([&] {
    OpenAnswering("");
    far_side::plug(
        {.port = "USB001", .device_id = far_side::bytes_of("CMD:BDC;"), .latency_ms = 3000});
    EXPECT_EQ(0, Ask(ChnlKindBdc));
    EXPECT_EQ(3000u, test::elapsed_ms());
    test::sleep_ms(4999);
    EXPECT_EQ(0, Ask(ChnlKindBdc));
    EXPECT_EQ(7999u, test::elapsed_ms());
    test::sleep_ms(1);
    EXPECT_EQ(0, Ask(ChnlKindBdc));
    EXPECT_EQ(11000u, test::elapsed_ms());
    printer_.reset();
  });
}

TEST_F(StatusAge, DoesntGrowByLooking) {
  Timed([&] {
    OpenAnswering("");
    for (int look = 0; look < 10; ++look) {
      EXPECT_EQ(0, Ask(look % 2 == 0 ? ChnlKindBdc : ChnlKindQpl));
      test::sleep_ms(500);
    }
    EXPECT_EQ(1u, Batches());
    EXPECT_EQ(0, Ask(ChnlKindBdc));
    EXPECT_EQ(2u, Batches());
    printer_.reset();
  });
}

// Then both calls of the length protocol ask, and each answer is what it is.
TEST_F(StatusAge, MayPassBetweenTheTwoCalls) {
  Timed([&] {
    OpenAnswering("LPT_StatusNoChkTime=1000");
    EXPECT_EQ(VLPER_BUFFERSIZE, Ask(ChnlKindBdc, 0));
    const std::uint32_t size = length_;
    test::sleep_ms(1000);
    Answer("GetStatus", TextItem("longer"));
    EXPECT_EQ(VLPER_BUFFERSIZE, Ask(ChnlKindBdc, size));
    EXPECT_EQ(TextItem("longer").size(), length_);
    test::sleep_ms(1000);
    Answer("GetStatus", TextItem(""));
    EXPECT_EQ(0, Ask(ChnlKindBdc, size));
    EXPECT_EQ(TextItem(""), got_);
    EXPECT_EQ(3u, Batches());
    printer_.reset();
  });
}

TEST_F(StatusAge, OfAnotherKindIsTheSame) {
  Timed([&] {
    OpenAnswering("");
    EXPECT_EQ(0, Ask(ChnlKindBdc));
    test::sleep_ms(4999);
    EXPECT_EQ(0, Ask(0xFFFFFFFF));
    EXPECT_EQ(TextItem("1"), got_);
    test::sleep_ms(1);
    EXPECT_EQ(VLPER_NOCHANNEL, Ask(0xFFFFFFFF));
    EXPECT_EQ(1u, Batches());
    printer_.reset();
  });
}

// --- What is left of an old reading -----------------------------------------------------------

// An old reading would be young again once the count has come round, were it still held.
class StatusLeft : public StatusAge {
 protected:
  // A reading, and once that is old a call that fails; then the count comes round.
  void ExpectNothingLeftAfter(const std::function<void()>& fail) {
    Timed([&] {
      OpenAnswering("LPT_StatusNoChkTime=-1");
      EXPECT_EQ(0, Ask(ChnlKindBdc));
      Pass(0xFFFFFFFF);
      fail();
      test::sleep_ms(1);
      FailSends(0);
      Answer("GetStatus", TextItem("new"));
      EXPECT_EQ(0, Ask(ChnlKindBdc));
      EXPECT_EQ(TextItem("new"), got_);
      printer_.reset();
    });
  }
};

TEST_F(StatusLeft, AfterTheFullCountIsYoungAgain) {
  Timed([&] {
    OpenAnswering("LPT_StatusNoChkTime=-1");
    EXPECT_EQ(0, Ask(ChnlKindBdc));
    Pass(0xFFFFFFFF);
    test::sleep_ms(1);
    EXPECT_EQ(0, Ask(ChnlKindBdc));
    EXPECT_EQ(1u, Batches());
    printer_.reset();
  });
}

TEST_F(StatusLeft, AfterAFailedSendIsNone) {
  ExpectNothingLeftAfter([&] {
    FailSends(kSendFails);
    EXPECT_EQ(VLPER_SEND, Ask(ChnlKindBdc));
  });
}

TEST_F(StatusLeft, AfterAReplyWithoutAnItemIsNone) {
  ExpectNothingLeftAfter([&] {
    Answer("GetStatus", "@BDC ST\r\nST:no end");
    EXPECT_EQ(VLPER_SEND, Ask(ChnlKindBdc));
  });
}

TEST_F(StatusLeft, AfterAnEmptyReplyIsNone) {
  ExpectNothingLeftAfter([&] {
    Answer("GetStatus", far_side::RowAnswer{});
    EXPECT_EQ(VLPER_SEND, Ask(ChnlKindBdc));
  });
}

TEST_F(StatusLeft, AfterAReplyThatIsTooLargeIsNone) {
  ExpectNothingLeftAfter([&] {
    Answer("GetStatus", std::string(2049, 'x'));
    EXPECT_EQ(VLPER_BUFFERSIZE, Ask(ChnlKindBdc));
  });
}

// Even what never reaches the printer drops it.
TEST_F(StatusLeft, AfterAKindWithoutAChannelIsNone) {
  ExpectNothingLeftAfter([&] { EXPECT_EQ(VLPER_NOCHANNEL, Ask(ChnlKindQpl)); });
}

TEST_F(StatusLeft, AfterAFailureHasNoAge) {
  Timed([&] {
    OpenAnswering("");
    FailSends(kSendFails);
    EXPECT_EQ(VLPER_SEND, Ask(ChnlKindBdc));
    EXPECT_EQ(VLPER_SEND, Ask(ChnlKindBdc));
    EXPECT_EQ(2u, Batches());
    EXPECT_EQ(0u, test::elapsed_ms()) << "there is no wait and no second try";
    printer_.reset();
  });
}

}  // namespace
}  // namespace vlp
