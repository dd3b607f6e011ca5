#include "tests/language/literal_loop.h"

#include <gtest/gtest.h>

namespace language_test {
namespace {

std::size_t CountAt(const std::string& data, std::size_t at) {
  return static_cast<std::size_t>(static_cast<std::uint8_t>(data[at])) +
         static_cast<std::size_t>(static_cast<std::uint8_t>(data[at + 1])) * 256;
}

// What is left when the item that begins at `begin` is taken out.
std::string WithoutItemAt(const PlainForm& form, const std::string& data, std::size_t begin) {
  const std::size_t behind = begin + form.head.size();
  if (!form.counted) {
    const std::size_t end = data.find(form.terminator, behind);
    if (end == std::string::npos) return data.substr(0, begin);
    return data.substr(0, begin) + data.substr(end + 1);
  }
  if (data.size() - behind < 2) return data.substr(0, begin);
  const std::size_t count = CountAt(data, behind);
  if (count == 0) return data;
  const std::size_t end = behind + 2 + count;
  if (end >= data.size()) return data.substr(0, begin);
  return data.substr(0, begin) + data.substr(end);
}

}  // namespace

vlp::ItemForm PlainForm::form() const {
  return {{reinterpret_cast<const std::uint8_t*>(head.data()), head.size()},
          static_cast<std::uint8_t>(terminator),
          counted};
}

std::string WithoutFirstItem(const PlainForm& form, const std::string& data) {
  const std::size_t begin = data.find(form.head);
  if (form.head.empty() || begin == std::string::npos) return data;
  return WithoutItemAt(form, data, begin);
}

std::string WithoutItems(const PlainForm& form, std::string data) {
  while (!data.empty()) {
    std::string shorter = WithoutFirstItem(form, data);
    if (shorter.size() == data.size()) break;
    data = std::move(shorter);
  }
  return data;
}

PlainReply PlainSeparation(const PlainForm& status, const PlainForm& probe,
                           const std::string& received) {
  std::string data = WithoutItems(status, received);
  int count = 0;
  std::size_t last = 0;
  if (!probe.head.empty()) {
    for (std::size_t at = data.find(probe.head); at != std::string::npos;
         at = data.find(probe.head, at + probe.head.size())) {
      ++count;
      last = at;
    }
  }
  if (count > 0) data = WithoutItemAt(probe, data, last);
  if (!data.empty()) return {true, data};
  return {count == 1, ""};
}

// The yardstick itself, by hand.
TEST(LiteralLoop, TakesOutItemAfterItem) {
  const PlainForm text{"ab", ';', false};
  EXPECT_EQ("xy", WithoutItems(text, "xab1;yab2;"));
  EXPECT_EQ("x", WithoutItems(text, "xab1"));
  EXPECT_EQ("xa", WithoutFirstItem(text, "xaab;"));
  EXPECT_EQ("x2", WithoutItems(text, "xaab;b;2"));
  const PlainForm counted{"h", 0, true};
  EXPECT_EQ(std::string("xy"), WithoutItems(counted, std::string("xh\1\0_y", 6)));
  EXPECT_EQ(std::string("xh\0\0y", 5), WithoutItems(counted, std::string("xh\0\0y", 5)));
  EXPECT_EQ("x", WithoutItems(counted, std::string("xh\1\0_", 5)));
  EXPECT_EQ("x", WithoutItems(counted, "xh\1"));
}

}  // namespace language_test
