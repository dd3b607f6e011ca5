// The first byte chooses the printer, the second the room for the reply; the rest is
// what came back.

#include <algorithm>
#include <cstring>
#include <vector>

#include "fuzz/channels.h"
#include "fuzz/targets.h"
#include "language/c_separete_data.h"
#include "language/status_item.h"

namespace fuzz {
namespace {

using Buffer = std::vector<std::uint8_t>;

// Takes out the first item as slowly and plainly as it can be said; the new length.
std::size_t RemoveOne(const vlp::ItemForm& form, Buffer& data) {
  const auto head = std::search(data.begin(), data.end(), form.head.begin(), form.head.end());
  if (head == data.end()) return data.size();
  const auto at = static_cast<std::size_t>(head - data.begin());
  const std::size_t behind = at + form.head.size();
  if (!form.counted) {
    const auto end = std::find(head + static_cast<std::ptrdiff_t>(form.head.size()), data.end(),
                               form.terminator);
    if (end == data.end()) return at;
    return static_cast<std::size_t>(std::copy(end + 1, data.end(), head) - data.begin());
  }
  if (data.size() - behind < 2) return at;
  const std::size_t length = data[behind] + 256U * data[behind + 1];
  if (length == 0) return data.size();
  const std::size_t end = behind + 2 + length;
  if (end >= data.size()) return at;
  std::memmove(data.data() + at, data.data() + end, data.size() - end);
  return data.size() - (end - at);
}

// One item after the other until none is found.
Buffer StrippedPlainly(const vlp::ItemForm& form, Input received) {
  Buffer data(received.begin(), received.end());
  while (!form.head.empty() && !data.empty()) {
    const std::size_t left = RemoveOne(form, data);
    if (left == data.size()) break;
    data.resize(left);
  }
  return data;
}

void Strip(const vlp::ConnectRecords& channels, ChannelKind kind, Input received) {
  const vlp::ItemForm form = vlp::StatusForm(channels, kind);
  Buffer data(received.begin(), received.end());
  data.resize(vlp::StripStatusItems(form, data));
  claim(data == StrippedPlainly(form, received), "one pass strips otherwise than item by item");
}

void Separate(const vlp::ConnectInfo& info, ChannelKind kind, Input received, std::size_t room) {
  const auto length = static_cast<std::uint32_t>(received.size());
  const auto data = std::make_unique<std::uint8_t[]>(received.size());
  std::copy(received.begin(), received.end(), data.get());
  const auto output = std::make_unique<std::uint8_t[]>(room);
  auto size = static_cast<std::uint32_t>(room);
  vlp::CSepareteData splitter(&info, nullptr);
  const std::int32_t rc = splitter.SepareteRecvData(kind, data.get(), length, output.get(), &size);
  claim(rc == 0 || rc == VLPER_PARAM || rc == VLPER_SEND, "no such code");
  claim(rc != 0 || (size <= length && size <= room), "a reply larger than what came or fits");
  claim((rc == VLPER_PARAM) == (kind == 0 || (length == 0 && kind != ChnlKindLabel)),
        "a wrong argument is one without kind or data");
}

}  // namespace

void separation(Input input) {
  if (input.size() < 2) return;
  const auto channels = MakeChannels(input[0]);
  vlp::ConnectInfo info;
  info.Publish(channels);
  const Input received = input.subspan(2);
  const std::size_t room = (input[1] & 1) != 0 ? received.size() : input[1];
  for (const ChannelKind kind : kKinds) {
    Strip(*channels, kind, received);
    Separate(info, kind, received, room);
  }
}

}  // namespace fuzz
