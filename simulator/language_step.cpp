#include "simulator/language_step.h"

#include <charconv>
#include <utility>

namespace simulator {
namespace {

constexpr size_t largest_reply = size_t{16} * 1024 * 1024;

}  // namespace

Step wait_for_more(LanguageState state) { return {.next = state}; }

Step silent(size_t used, LanguageState next) { return {.used = used, .next = next}; }

Step replied(size_t used, LanguageState next, Bytes reply) {
  return {.used = used, .next = next, .kind = ReplyKind::command, .reply = std::move(reply)};
}

Step probed(size_t used, LanguageState next, Bytes reply) {
  return {.used = used, .next = next, .kind = ReplyKind::probe, .reply = std::move(reply)};
}

Step status(size_t used, LanguageState next, StatusForm form) {
  return {.used = used, .next = next, .kind = ReplyKind::status, .form = form};
}

Step refused(std::string breach) {
  return {.next = {.mode = Mode::lost}, .breach = std::move(breach)};
}

std::optional<size_t> wanted_length(const std::string& text, const std::string& prefix) {
  if (text.rfind(prefix, 0) != 0) {
    return std::nullopt;
  }
  size_t length = 0;
  const char* begin = text.data() + prefix.size();
  const char* end = text.data() + text.size();
  const auto [last, failure] = std::from_chars(begin, end, length);
  if (failure != std::errc() || last != end || length > largest_reply) {
    return std::nullopt;
  }
  return length;
}

}  // namespace simulator
