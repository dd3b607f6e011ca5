#include "operations/answer.h"

#include <algorithm>

#include "include/vlpbidi.h"

namespace vlp {

std::int32_t AnswerFrom(DbgLog* log, const char* text, std::span<const std::uint8_t> data,
                        std::uint8_t* buffer, std::uint32_t* length) {
  const std::uint32_t capacity = *length;
  *length = static_cast<std::uint32_t>(data.size());
  if (capacity < data.size() || (buffer == nullptr && !data.empty())) {
    DbgLogPut(log, kLogPrinter, kLogError, text, "rc", VLPER_BUFFERSIZE);
    return VLPER_BUFFERSIZE;
  }
  std::copy(data.begin(), data.end(), buffer);
  DbgLogData(log, kLogPrinter, kLogData, data.data(), *length, text);
  return 0;
}

}  // namespace vlp
