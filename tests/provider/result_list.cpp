// The list of finished answers.

#include "provider/result_list.h"

#include "include/vlpbidi.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

namespace vlp {
namespace {

const std::uint8_t* BytesOf(const char* text) {
  return reinterpret_cast<const std::uint8_t*>(text);
}

const ResultRecord* Add(ResultList& list, std::uint32_t requestId, const std::string& text) {
  return list.Add(requestId, BytesOf(text.data()), static_cast<std::uint32_t>(text.size()));
}

// The request numbers in the order in which they are taken.
std::vector<std::uint32_t> TakeAll(ResultList& list) {
  std::vector<std::uint32_t> ids;
  std::unique_ptr<ResultRecord> record;
  std::uint32_t needed = 0;
  while (list.TakeFirst(0xFFFFFFFF, true, &record, &needed) == ResultList::Front::kTaken) {
    ids.push_back(record->requestId);
  }
  return ids;
}

TEST(ResultList, StartsEmpty) {
  ResultList list;
  EXPECT_EQ(0u, list.Count());
  EXPECT_TRUE(TakeAll(list).empty());
}

TEST(ResultList, KeepsACopyOfTheData) {
  ResultList list;
  char data[] = "abc";
  const ResultRecord* const record = list.Add(7, BytesOf(data), 3);
  ASSERT_NE(nullptr, record);
  std::memset(data, 'x', 3);
  EXPECT_EQ(7u, record->requestId);
  EXPECT_EQ(3u, record->length);
  EXPECT_NE(BytesOf(data), record->data.get());
  EXPECT_EQ(0, std::memcmp("abc", record->data.get(), 3));
  EXPECT_EQ(1u, list.Count());
}

TEST(ResultList, HasDataAlsoOfNoLength) {
  ResultList list;
  for (const std::uint8_t* data : {static_cast<const std::uint8_t*>(nullptr), BytesOf("abc")}) {
    const ResultRecord* const record = list.Add(1, data, 0);
    ASSERT_NE(nullptr, record);
    EXPECT_EQ(0u, record->length);
    EXPECT_NE(nullptr, record->data);
  }
}

TEST(ResultList, RefusesALengthThatIsNoPositiveResult) {
  ResultList list;
  EXPECT_EQ(nullptr, list.Add(1, BytesOf("abc"), 0x80000000));
  EXPECT_EQ(nullptr, list.Add(1, BytesOf("abc"), 0xFFFFFFFF));
  EXPECT_EQ(0u, list.Count());
}

TEST(ResultList, GivesBackInTheOrderOfAdding) {
  ResultList list;
  std::vector<std::uint32_t> added;
  for (std::uint32_t id = 1; id <= 10000; ++id) {
    ASSERT_NE(nullptr, Add(list, id, "data"));
    added.push_back(id);
  }
  EXPECT_EQ(10000u, list.Count());
  EXPECT_EQ(added, TakeAll(list));
  EXPECT_EQ(0u, list.Count());
}

TEST(ResultList, TakesEqualRequestNumbersForDifferentRecords) {
  ResultList list;
  EXPECT_NE(Add(list, 5, "a"), Add(list, 5, "b"));
  EXPECT_EQ(2u, list.Count());
}

TEST(ResultList, RemovesARecordByItsAddress) {
  ResultList list;
  Add(list, 1, "a");
  const ResultRecord* const middle = Add(list, 2, "b");
  Add(list, 3, "c");
  EXPECT_TRUE(list.Remove(middle));
  EXPECT_EQ(2u, list.Count());
  EXPECT_EQ((std::vector<std::uint32_t>{1, 3}), TakeAll(list));
}

TEST(ResultList, RemovesTheFirstAndTheLast) {
  ResultList list;
  const ResultRecord* const first = Add(list, 1, "a");
  Add(list, 2, "b");
  const ResultRecord* const last = Add(list, 3, "c");
  EXPECT_TRUE(list.Remove(first));
  EXPECT_TRUE(list.Remove(last));
  EXPECT_EQ((std::vector<std::uint32_t>{2}), TakeAll(list));
}

TEST(ResultList, ReportsTheRemovalOfAStrangerAsSuccess) {
  ResultList list;
  Add(list, 1, "a");
  const ResultRecord stranger;
  EXPECT_TRUE(list.Remove(&stranger));
  EXPECT_TRUE(list.Remove(nullptr));
  EXPECT_EQ(1u, list.Count());
  ResultList empty;
  EXPECT_TRUE(empty.Remove(&stranger));
}

TEST(ResultList, IsUsableAfterClearing) {
  ResultList list;
  Add(list, 1, "a");
  Add(list, 2, "b");
  list.Clear();
  EXPECT_EQ(0u, list.Count());
  EXPECT_TRUE(TakeAll(list).empty());
  list.Clear();
  Add(list, 3, "c");
  EXPECT_EQ(1u, list.Count());
  EXPECT_EQ((std::vector<std::uint32_t>{3}), TakeAll(list));
}

// What is still in it goes with it: the leak check of the sanitizers looks on.
TEST(ResultList, TakesItsRecordsWithIt) {
  ResultList list;
  for (std::uint32_t id = 1; id <= 100; ++id) Add(list, id, std::string(id, 'x'));
  EXPECT_EQ(100u, list.Count());
}

TEST(ResultListFront, IsTakenIfItFits) {
  ResultList list;
  Add(list, 9, "abc");
  std::unique_ptr<ResultRecord> record;
  std::uint32_t needed = 77;
  EXPECT_EQ(ResultList::Front::kTooSmall, list.TakeFirst(2, true, &record, &needed));
  EXPECT_EQ(3u, needed);
  EXPECT_EQ(nullptr, record);
  EXPECT_EQ(1u, list.Count());
  EXPECT_EQ(ResultList::Front::kTaken, list.TakeFirst(3, true, &record, &needed));
  ASSERT_NE(nullptr, record);
  EXPECT_EQ(9u, record->requestId);
  EXPECT_EQ(0u, list.Count());
  EXPECT_EQ(ResultList::Front::kNone, list.TakeFirst(3, true, &record, &needed));
}

TEST(ResultListFront, NeedsABufferForItsBytes) {
  ResultList list;
  Add(list, 9, "abc");
  Add(list, 10, "");
  std::unique_ptr<ResultRecord> record;
  std::uint32_t needed = 0;
  EXPECT_EQ(ResultList::Front::kTooSmall, list.TakeFirst(0, false, &record, &needed));
  EXPECT_EQ(ResultList::Front::kNoBuffer, list.TakeFirst(3, false, &record, &needed));
  EXPECT_EQ(2u, list.Count());
  EXPECT_EQ(ResultList::Front::kTaken, list.TakeFirst(3, true, &record, &needed));
  EXPECT_EQ(ResultList::Front::kTaken, list.TakeFirst(0, false, &record, &needed));
  EXPECT_EQ(10u, record->requestId);
}

ResultRecord RecordOf(const std::string& text) {
  ResultRecord record;
  record.requestId = 0xFFFFFFFF;
  record.data = std::make_unique<std::uint8_t[]>(text.size());
  std::memcpy(record.data.get(), text.data(), text.size());
  record.length = static_cast<std::uint32_t>(text.size());
  return record;
}

TEST(CopyOut, GivesNumberAndBytes) {
  const ResultRecord record = RecordOf("abcd");
  std::uint32_t id = 0;
  std::uint8_t buffer[6] = {1, 1, 1, 1, 1, 1};
  std::uint32_t size = 4;
  EXPECT_EQ(4, CopyOut(record, &id, buffer, &size));
  EXPECT_EQ(0xFFFFFFFFu, id);
  EXPECT_EQ(4u, size);
  EXPECT_EQ(0, std::memcmp("abcd\1\1", buffer, 6));
  size = 6;
  EXPECT_EQ(4, CopyOut(record, &id, buffer, &size));
  EXPECT_EQ(4u, size);
}

TEST(CopyOut, WithoutARequestNumberTouchesNothing) {
  const ResultRecord record = RecordOf("abcd");
  std::uint8_t buffer[4] = {1, 1, 1, 1};
  std::uint32_t size = 99;
  EXPECT_EQ(VLPER_PARAM, CopyOut(record, nullptr, buffer, &size));
  EXPECT_EQ(99u, size);
  EXPECT_EQ(1, buffer[0]);
}

TEST(CopyOut, IntoTooSmallABufferTellsTheSizeOnly) {
  const ResultRecord record = RecordOf("abcd");
  std::uint32_t id = 5;
  std::uint8_t buffer[4] = {1, 1, 1, 1};
  std::uint32_t size = 3;
  EXPECT_EQ(VLPER_BUFFERSIZE, CopyOut(record, &id, buffer, &size));
  EXPECT_EQ(4u, size);
  EXPECT_EQ(5u, id);
  EXPECT_EQ(1, buffer[0]);
}

TEST(CopyOut, OfNoBytesNeedsNoBuffer) {
  const ResultRecord record = RecordOf("");
  std::uint32_t id = 0;
  std::uint32_t size = 0;
  EXPECT_EQ(0, CopyOut(record, &id, nullptr, &size));
  EXPECT_EQ(0xFFFFFFFFu, id);
  EXPECT_EQ(0u, size);
}

TEST(CopyOut, WithoutABufferForItsBytesTellsTheSizeOnly) {
  const ResultRecord record = RecordOf("abcd");
  std::uint32_t id = 5;
  std::uint32_t size = 9;
  EXPECT_EQ(VLPER_PARAM, CopyOut(record, &id, nullptr, &size));
  EXPECT_EQ(4u, size);
  EXPECT_EQ(5u, id);
}

TEST(CopyOut, OfARecordWithoutDataCopiesNothing) {
  ResultRecord record;
  record.requestId = 3;
  record.length = 2;
  std::uint32_t id = 0;
  std::uint8_t buffer[2] = {1, 1};
  std::uint32_t size = 2;
  EXPECT_EQ(2, CopyOut(record, &id, buffer, &size));
  EXPECT_EQ(3u, id);
  EXPECT_EQ(1, buffer[0]);
}

}  // namespace
}  // namespace vlp
