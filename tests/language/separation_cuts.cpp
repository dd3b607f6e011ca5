// Replies cut off at every byte and replies put together at random: the separation gives
// what taking items out one by one gives.

#include <random>

#include "tests/language/language_fixture.h"
#include "tests/language/literal_loop.h"

namespace {

using language_test::Answer;
using language_test::BinaryBdc;
using language_test::Channel;
using language_test::Channels;
using language_test::Counted;
using language_test::PlainForm;
using language_test::PlainReply;
using language_test::PlainSeparation;
using language_test::Reply;
using language_test::Splitter;
using namespace std::string_literals;

// One channel with its forms, and the printer it belongs to.
struct Case {
  const char* name;
  ChannelKind kind;
  vlp::ConnectRecords channels;
  PlainForm status;
  PlainForm probe;
  std::string item;
};

std::vector<Case> Cases() {
  const PlainForm job{"@QPL STATUS CODE=", '\n', false};
  const PlainForm text{"@BDC ST\r\nST:", '\f', false};
  const PlainForm binary{"@BDC ST2\r\n", 0, true};
  const PlainForm qpl_probe{"@QPL ID\r\n", '\f', false};
  const PlainForm bdc_probe{"@BDC PS\r\nST:", '\f', false};
  const PlainForm page_probe{"ZRD/PAGE mlS ", '\n', false};
  const std::string job_item = "@QPL STATUS CODE=01;\n";
  const std::string text_item = "@BDC ST\r\nST:01;\f";
  return {
      {"job", ChnlKindQpl, Channels({Channel(ChnlKindQpl)}), job, qpl_probe, job_item},
      {"job with bdc", ChnlKindQpl, Channels({Channel(ChnlKindQpl), Channel(ChnlKindBdc)}), text,
       qpl_probe, text_item},
      {"bdc text", ChnlKindBdc, Channels({Channel(ChnlKindBdc)}), text, bdc_probe, text_item},
      {"bdc binary", ChnlKindBdc, Channels({BinaryBdc()}), binary, bdc_probe, Counted("\1\2xy")},
      {"page", ChnlKindZrdPage, Channels({Channel(ChnlKindZrdPage)}), job, page_probe, job_item},
      {"packet", ChnlKindD4, Channels({Channel(ChnlKindD4)}), {}, {}, text_item},
  };
}

void Compare(const Case& one, Splitter& splitter, const std::string& received) {
  const PlainReply expected = PlainSeparation(one.status, one.probe, received);
  const Answer answer = splitter.Separate(one.kind, received);
  const std::string place = one.name + " "s + ::testing::PrintToString(received);
  if (expected.good) {
    EXPECT_EQ(Reply(expected.bytes), answer) << place;
  } else {
    EXPECT_EQ(VLPER_SEND, answer.code) << place;
  }
}

TEST(SeparationCuts, OfAJobReplyByHand) {
  Splitter splitter(Channels({Channel(ChnlKindQpl)}));
  const std::string received = "A@QPL STATUS CODE=01\n@QPL ID\r\nxx\f";
  const std::size_t status_head = 1 + 17;
  const std::size_t status_end = status_head + 3;
  const std::size_t probe_head = status_end + 9;
  ASSERT_EQ(probe_head + 3, received.size());
  EXPECT_EQ(VLPER_PARAM, splitter.Separate(ChnlKindQpl, "").code);
  for (std::size_t length = 1; length <= received.size(); ++length) {
    std::string expected = "A";
    if (length < status_head) expected = received.substr(0, length);
    if (length >= status_end && length < probe_head) {
      expected += received.substr(status_end, length - status_end);
    }
    EXPECT_EQ(Reply(expected), splitter.Separate(ChnlKindQpl, received.substr(0, length)))
        << length;
  }
}

TEST(SeparationCuts, AtEveryByteOfEveryForm) {
  for (const Case& one : Cases()) {
    Splitter splitter(one.channels);
    const std::string probe = one.probe.head + "1;" + one.probe.terminator;
    for (const std::string& received :
         {one.item + "reply" + probe, "re" + one.item + one.item + "ply" + probe + one.item,
          probe + one.item + probe + "x", one.item + probe, one.item + one.item,
          one.status.head.substr(0, 5) + one.item + one.item + probe}) {
      for (std::size_t length = 1; length <= received.size(); ++length) {
        Compare(one, splitter, received.substr(0, length));
      }
    }
  }
}

TEST(SeparationCuts, LeaveNoReplyWithoutBytes) {
  for (const Case& one : Cases()) {
    Splitter splitter(one.channels);
    EXPECT_EQ(VLPER_PARAM, splitter.Separate(one.kind, "").code) << one.name;
  }
}

TEST(SeparationCuts, AndJoinsAtRandom) {
  for (const Case& one : Cases()) {
    Splitter splitter(one.channels);
    const std::string status_end(1, one.status.terminator);
    const std::string probe_end(1, one.probe.terminator);
    const std::string& head = one.status.head;
    const std::string& probe = one.probe.head;
    const std::vector<std::string> pieces = {
        one.item,
        one.item,
        head,
        probe,
        probe + probe_end,
        status_end,
        probe_end,
        head.substr(0, 6),
        head.empty() ? "" : head.substr(6),
        "\1\0"s,
        probe.substr(0, 5),
        probe.empty() ? "" : probe.substr(5),
        "\0\0"s,
        "reply",
        "@",
    };
    for (std::uint32_t seed = 1; seed <= 20 && !HasFailure(); ++seed) {
      std::mt19937 random(seed);
      for (int text = 0; text < 200; ++text) {
        std::string received = "";
        for (std::size_t count = 1 + random() % 12; count > 0; --count) {
          received += pieces[random() % pieces.size()];
        }
        if (!received.empty()) Compare(one, splitter, received);
      }
    }
  }
}

}  // namespace
