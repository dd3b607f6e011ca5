// Nothing looks or writes beside the bytes that it was given.

#include <random>

#include "language/byte_search.h"
#include "language/status_item.h"
#include "tests/language/language_fixture.h"
#include "tests/language/literal_loop.h"

namespace {

using language_test::BinaryBdc;
using language_test::Block;
using language_test::Channel;
using language_test::Channels;
using language_test::Counted;
using language_test::PlainForm;
using namespace std::string_literals;

constexpr std::size_t kMargin = 64;
constexpr std::uint32_t kSeeds = 20;

// Bytes in the middle of others.
class Fenced {
 public:
  Fenced(const std::string& before, const std::string& text, const std::string& behind)
      : before_(before), behind_(behind), size_(text.size()), block_(before + text + behind) {}

  std::span<std::uint8_t> inside() { return block_.all().subspan(before_.size(), size_); }
  std::string first(std::size_t count) { return language_test::TextOf(inside().first(count)); }
  bool IsIntact() const {
    const std::string all = block_.text();
    return all.substr(0, before_.size()) == before_ &&
           all.substr(before_.size() + size_) == behind_;
  }

 private:
  std::string before_;
  std::string behind_;
  std::size_t size_;
  Block block_;
};

const std::vector<PlainForm>& Forms() {
  static const std::vector<PlainForm> forms = {{"@QPL STATUS CODE=", '\n', false},
                                               {"@BDC ST\r\nST:", '\f', false},
                                               {"@BDC ST2\r\n", 0, true}};
  return forms;
}

// Received data that is likely to end within something.
class Received {
 public:
  explicit Received(std::uint32_t seed) : random_(seed) {}

  std::string Next() {
    static const std::vector<std::string> pieces = {"@QPL STATUS CODE=",
                                                    "@BDC ST\r\nST:",
                                                    "@BDC ST2\r\n",
                                                    "@QPL ID\r\n",
                                                    "@BDC PS\r\nST:",
                                                    "ZRD/PAGE mlS ",
                                                    "MC:",
                                                    "0123456789",
                                                    "0123456789abcdefABCD",
                                                    "\n",
                                                    "\f",
                                                    "\1\0"s,
                                                    "\0\0"s,
                                                    "\xFF\xFF",
                                                    "@\x0A",
                                                    "@\x09",
                                                    Counted("@\x0A"
                                                            "0123456789"),
                                                    "@BDC ",
                                                    "@"};
    std::string text;
    for (std::size_t count = random_() % 10; count > 0; --count) {
      text += pieces[random_() % pieces.size()];
    }
    return text.substr(0, text.size() - (text.empty() ? 0 : random_() % 3 % text.size()));
  }

 private:
  std::mt19937 random_;
};

// What would go on with anything that the data breaks off in.
const std::vector<std::string>& Continuations() {
  static const std::vector<std::string> all = {
      std::string(kMargin, '\n'), std::string(kMargin, '\f'),
      std::string(kMargin, '\0'), std::string(kMargin, '\1'),
      std::string(kMargin, '0'),  "@BDC ST2\r\n\1\0xx\f\n"s,
      "\n\f\1\0xx\f\n"s,          "ST:\f\n",
      "T2\r\n\1\0x\f\n"s,         "C:0123456789abcdefABCD..\f\n"};
  return all;
}

// The same in a block of its own and in front of each continuation. `work` gives what it
// found as a text.
template <typename Work>
void ExpectTheSameWhateverStandsBehind(Work work) {
  for (std::uint32_t seed = 1; seed <= kSeeds && !::testing::Test::HasFailure(); ++seed) {
    Received received(seed);
    for (int text = 0; text < 50; ++text) {
      const std::string data = received.Next();
      Block alone(data);
      const std::string expected = work(alone.all());
      for (const std::string& behind : Continuations()) {
        Fenced fenced(std::string(kMargin, '@'), data, behind);
        EXPECT_EQ(expected, work(fenced.inside())) << ::testing::PrintToString(data);
        EXPECT_TRUE(fenced.IsIntact()) << ::testing::PrintToString(data);
      }
    }
  }
}

std::string Shown(std::optional<std::size_t> number) {
  return number ? std::to_string(*number) : "none";
}

TEST(Bounds, OfASearchAreThoseOfItsData) {
  for (const std::string& needle : {"@BDC ST2\r\n"s, "\f"s, "\0\0"s, "MC:"s}) {
    Block block(needle);
    ExpectTheSameWhateverStandsBehind([&](std::span<std::uint8_t> data) {
      return Shown(vlp::MemFindAfter(block.all(), data)) + " " +
             std::to_string(vlp::CountMatches(block.all(), data));
    });
  }
}

TEST(Bounds, OfARemovalAreThoseOfItsData) {
  for (const PlainForm& form : Forms()) {
    const auto end = static_cast<std::uint8_t>(form.terminator);
    ExpectTheSameWhateverStandsBehind([&](std::span<std::uint8_t> data) {
      const std::size_t length = vlp::RemoveField(form.form().head, end, data);
      return language_test::TextOf(data.first(length));
    });
    ExpectTheSameWhateverStandsBehind([&](std::span<std::uint8_t> data) {
      const std::size_t length = vlp::RemoveLastField(form.form().head, end, data);
      return language_test::TextOf(data.first(length));
    });
  }
}

TEST(Bounds, OfStrippingAreThoseOfItsData) {
  for (const PlainForm& form : Forms()) {
    ExpectTheSameWhateverStandsBehind([&](std::span<std::uint8_t> data) {
      return language_test::TextOf(data.first(vlp::StripStatusItems(form.form(), data)));
    });
  }
}

TEST(Bounds, OfAStatusItemAreThoseOfItsData) {
  for (const PlainForm& form : Forms()) {
    ExpectTheSameWhateverStandsBehind([&](std::span<std::uint8_t> data) {
      const std::optional<vlp::Bytes> item = vlp::FindStatusItem(form.form(), data);
      if (!item) return "none"s;
      EXPECT_GE(item->data(), data.data());
      EXPECT_LE(item->data() + item->size(), data.data() + data.size());
      return language_test::TextOf(*item);
    });
  }
}

TEST(Bounds, OfASerialNumberAreThoseOfItsStatus) {
  ExpectTheSameWhateverStandsBehind([](std::span<std::uint8_t> data) {
    const std::optional<vlp::SerialNumber> serial = vlp::GetSerialFromStatus(data);
    return serial ? language_test::TextOf(*serial) : "none"s;
  });
}

// Runs one of the two calls with output and input between fences.
template <typename Call>
void ExpectWritesInsideOnly(Call call) {
  vlp::ConnectInfo info;
  info.Publish(std::make_shared<const vlp::ConnectRecords>(
      Channels({BinaryBdc(), Channel(ChnlKindQpl), Channel(ChnlKindZrdPage), Channel(ChnlKindD4),
                Channel(ChnlKindLabel)})));
  vlp::CSepareteData splitter(&info, nullptr);
  const std::string fence(kMargin, '\xA5');
  int good = 0;
  for (std::uint32_t seed = 1; seed <= kSeeds && !::testing::Test::HasFailure(); ++seed) {
    Received received(seed);
    for (int text = 0; text < 20; ++text) {
      const std::string data = received.Next();
      for (const ChannelKind kind :
           {ChnlKindQpl, ChnlKindBdc, ChnlKindZrdPage, ChnlKindD4, ChnlKindLabel, ChnlKindEnd4}) {
        for (const std::size_t room :
             {std::size_t{0}, std::size_t{1}, data.size() / 2, data.size()}) {
          Fenced input(fence, data, fence);
          Fenced output(fence, std::string(room, '_'), fence);
          auto length = static_cast<std::uint32_t>(room);
          good += call(splitter, kind, input.inside(), output.inside().data(), &length) == 0;
          EXPECT_LE(length, room);
          EXPECT_TRUE(input.IsIntact()) << ::testing::PrintToString(data);
          EXPECT_TRUE(output.IsIntact()) << ::testing::PrintToString(data);
        }
      }
    }
  }
  EXPECT_GT(good, 500);
}

TEST(Bounds, OfASeparationAreThoseOfItsBuffers) {
  ExpectWritesInsideOnly([](vlp::CSepareteData& splitter, ChannelKind kind,
                            std::span<std::uint8_t> data, std::uint8_t* output,
                            std::uint32_t* length) {
    return splitter.SepareteRecvData(kind, data.data(), static_cast<std::uint32_t>(data.size()),
                                     output, length);
  });
}

TEST(Bounds, OfAStatusCutAreThoseOfItsBuffers) {
  ExpectWritesInsideOnly([](vlp::CSepareteData& splitter, ChannelKind kind,
                            std::span<std::uint8_t> data, std::uint8_t* output,
                            std::uint32_t* length) {
    return splitter.CutStatus(kind, data.data(), static_cast<std::uint32_t>(data.size()), output,
                              length);
  });
}

}  // namespace
