// Taking results that are there already, and the order of the refusals.

#include "provider/result_queue.h"

#include "include/vlpbidi.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

namespace vlp {
namespace {

class Queue : public ::testing::Test {
 protected:
  void Add(std::uint32_t requestId, const std::string& text) {
    ASSERT_NE(nullptr, list_.Add(requestId, reinterpret_cast<const std::uint8_t*>(text.data()),
                                 static_cast<std::uint32_t>(text.size())));
  }

  std::int32_t Take(std::uint32_t capacity) {
    id_ = kUntouched;
    size_ = capacity;
    buffer_.assign(capacity + 1, 0xA5);
    const std::int32_t rc = queue_.Take(&id_, buffer_.data(), &size_);
    EXPECT_EQ(0xA5, buffer_[capacity]);
    return rc;
  }

  std::string Text(std::int32_t rc) const { return {buffer_.begin(), buffer_.begin() + rc}; }

  static constexpr std::uint32_t kUntouched = 0xA5A5A5A5;
  ResultList list_;
  ResultQueue queue_{&list_};
  std::uint32_t id_ = 0;
  std::uint32_t size_ = 0;
  std::vector<std::uint8_t> buffer_;
};

TEST_F(Queue, HandsOutARecordThatIsThere) {
  Add(42, "result");
  const std::int32_t rc = Take(6);
  ASSERT_EQ(6, rc);
  EXPECT_EQ("result", Text(rc));
  EXPECT_EQ(42u, id_);
  EXPECT_EQ(6u, size_);
  EXPECT_EQ(0u, list_.Count());
}

TEST_F(Queue, TellsTheLengthForALargerBuffer) {
  Add(42, "result");
  EXPECT_EQ(6, Take(100));
  EXPECT_EQ(6u, size_);
}

TEST_F(Queue, KeepsARecordThatDoesntFitForTheNextCall) {
  const std::string data(100, 'd');
  Add(42, data);
  EXPECT_EQ(VLPER_BUFFERSIZE, Take(0));
  EXPECT_EQ(100u, size_);
  EXPECT_EQ(kUntouched, id_);
  EXPECT_EQ(VLPER_BUFFERSIZE, Take(99));
  EXPECT_EQ(100u, size_);
  EXPECT_EQ(kUntouched, id_);
  EXPECT_EQ(std::vector<std::uint8_t>(100, 0xA5), buffer_);
  EXPECT_EQ(1u, list_.Count());
  const std::int32_t rc = Take(100);
  ASSERT_EQ(100, rc);
  EXPECT_EQ(data, Text(rc));
  EXPECT_EQ(42u, id_);
}

TEST_F(Queue, LargeFirstRecordHoldsUpTheSmallOnesBehindIt) {
  Add(1, "large");
  Add(2, "s");
  EXPECT_EQ(VLPER_BUFFERSIZE, Take(1));
  EXPECT_EQ(5, Take(5));
  EXPECT_EQ(1, Take(1));
  EXPECT_EQ(2u, id_);
}

TEST_F(Queue, HandsOutInTheOrderOfArrivalWhateverTheNumber) {
  const std::uint32_t ids[] = {3, 1, 0xFFFFFFFF, 2, 1};
  for (const std::uint32_t id : ids) Add(id, std::to_string(id));
  for (const std::uint32_t id : ids) {
    const std::int32_t rc = Take(16);
    ASSERT_GT(rc, 0);
    EXPECT_EQ(id, id_);
    EXPECT_EQ(std::to_string(id), Text(rc));
  }
}

TEST_F(Queue, HandsOutARecordOfNoBytes) {
  Add(42, "");
  EXPECT_EQ(0, Take(0));
  EXPECT_EQ(42u, id_);
  EXPECT_EQ(0u, size_);
  Add(43, "");
  EXPECT_EQ(0, Take(10));
  EXPECT_EQ(43u, id_);
  EXPECT_EQ(0u, size_);
}

TEST_F(Queue, RecordOfNoBytesNeedsNoBuffer) {
  Add(42, "");
  std::uint32_t size = 0;
  EXPECT_EQ(0, queue_.Take(&id_, nullptr, &size));
  EXPECT_EQ(42u, id_);
}

TEST_F(Queue, WithoutABufferTellsTheSizeButHandsNothingOut) {
  Add(42, "abc");
  std::uint32_t size = 0;
  EXPECT_EQ(VLPER_BUFFERSIZE, queue_.Take(&id_, nullptr, &size));
  EXPECT_EQ(3u, size);
  EXPECT_EQ(VLPER_PARAM, queue_.Take(&id_, nullptr, &size));
  EXPECT_EQ(1u, list_.Count());
  EXPECT_EQ(3, Take(3));
  EXPECT_EQ(42u, id_);
}

TEST_F(Queue, OnceStoppedHandsNothingOut) {
  Add(42, "abc");
  queue_.Stop();
  EXPECT_EQ(VLPER_TERMINATE, Take(16));
  EXPECT_EQ(kUntouched, id_);
  EXPECT_EQ(16u, size_);
  EXPECT_EQ(VLPER_TERMINATE, Take(0));
  EXPECT_EQ(0u, size_);
  EXPECT_EQ(1u, list_.Count());
  queue_.Stop();
  EXPECT_EQ(VLPER_TERMINATE, Take(16));
}

TEST_F(Queue, OnceStoppedStillTakesRecordsIn) {
  queue_.Stop();
  Add(42, "abc");
  EXPECT_EQ(1u, list_.Count());
  EXPECT_EQ(VLPER_TERMINATE, Take(16));
  EXPECT_EQ(1u, list_.Count());
}

TEST_F(Queue, RefusesNullNumberAndNullSizeEvenWhenStopped) {
  Add(42, "abc");
  std::uint8_t buffer[8] = {};
  std::uint32_t size = 8;
  std::uint32_t id = 0;
  for (int turn = 0; turn < 2; ++turn) {
    EXPECT_EQ(VLPER_PARAM, queue_.Take(nullptr, buffer, &size));
    EXPECT_EQ(VLPER_PARAM, queue_.Take(&id, buffer, nullptr));
    EXPECT_EQ(VLPER_PARAM, queue_.Take(nullptr, nullptr, nullptr));
    EXPECT_EQ(8u, size);
    EXPECT_EQ(1u, list_.Count());
    queue_.Stop();
  }
}

TEST_F(Queue, HandsOutTenThousandRecords) {
  for (std::uint32_t id = 1; id <= 10000; ++id) Add(id, std::to_string(id));
  for (std::uint32_t id = 1; id <= 10000; ++id) {
    const std::int32_t rc = Take(8);
    ASSERT_GT(rc, 0);
    ASSERT_EQ(id, id_);
    ASSERT_EQ(std::to_string(id), Text(rc));
  }
}

}  // namespace
}  // namespace vlp
