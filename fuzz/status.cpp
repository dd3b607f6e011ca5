// The first byte chooses the printer, the rest is its answer to a status request.

#include <algorithm>
#include <memory>

#include "fuzz/channels.h"
#include "fuzz/targets.h"
#include "language/c_separete_data.h"
#include "language/status_item.h"

namespace fuzz {
namespace {

void Cut(const vlp::ConnectRecords& channels, ChannelKind kind, Input received) {
  const vlp::ItemForm form = vlp::StatusForm(channels, kind);
  const auto item = vlp::FindStatusItem(form, received);
  if (!item) return;
  claim(item->size() >= form.head.size(), "an item without its head");
  claim(std::ranges::equal(item->first(form.head.size()), form.head), "an item with another head");
  claim(item->data() >= received.data() &&
            item->data() + item->size() <= received.data() + received.size(),
        "an item outside of the data");
  claim(form.head.empty() || form.counted || item->back() == form.terminator,
        "an item without its end");
}

void CutOnto(const vlp::ConnectInfo& info, ChannelKind kind, Input received) {
  const auto output = std::make_unique<std::uint8_t[]>(received.size());
  auto size = static_cast<std::uint32_t>(received.size());
  vlp::CSepareteData splitter(&info, nullptr);
  const std::int32_t rc = splitter.CutStatus(
      kind, received.data(), static_cast<std::uint32_t>(received.size()), output.get(), &size);
  claim(rc == 0 || rc == VLPER_PARAM || rc == VLPER_SEND, "no such code");
  claim(size <= received.size(), "an item larger than what came");
}

}  // namespace

void status(Input input) {
  if (input.empty()) return;
  const auto channels = MakeChannels(input[0]);
  vlp::ConnectInfo info;
  info.Publish(channels);
  const Input received = input.subspan(1);
  for (const ChannelKind kind : kKinds) {
    Cut(*channels, kind, received);
    CutOnto(info, kind, received);
  }
}

}  // namespace fuzz
