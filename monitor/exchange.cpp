#include "monitor/exchange.h"

#include <algorithm>
#include <utility>

namespace monitor {
namespace {

constexpr const char* kGetConnectInf = "GetConnectInf";

bool AnswersStatus(const Channel& channel) { return (channel.mode & VLP_MODE_STATUS) != 0; }

}  // namespace

ChannelKind StatusChannel(const std::vector<Channel>& channels) {
  const auto bdc = std::find_if(channels.begin(), channels.end(), [](const Channel& channel) {
    return channel.kind == ChnlKindBdc && AnswersStatus(channel);
  });
  if (bdc != channels.end()) return ChnlKindBdc;
  const auto first = std::find_if(channels.begin(), channels.end(), AnswersStatus);
  return first == channels.end() ? ChnlKindBdc : first->kind;
}

StatusReader::StatusReader(ProviderLibrary& library, std::string name,
                           std::optional<ChannelKind> kind)
    : library_(library), name_(std::move(name)), wanted_(kind) {}

StatusReading StatusReader::Read() {
  if (!chosen_) {
    const ConnectAnswer channels = library_.GetConnectInf(name_);
    if (channels.result < 0) return {kGetConnectInf, wanted_, {channels.result, {}}};
    chosen_ = wanted_ ? *wanted_ : StatusChannel(channels.channels);
  }
  StatusReading reading{"GetStatus", chosen_, library_.GetStatus(name_, *chosen_)};
  if (reading.answer.result < 0) chosen_.reset();
  return reading;
}

SendOutcome SendTo(ProviderLibrary& library, const std::string& name, ChannelKind kind,
                   std::span<const std::uint8_t> command) {
  const std::int32_t connected = library.GetConnectInf(name).result;
  if (connected < 0) return {kGetConnectInf, kind, {connected, std::nullopt}};
  return {"SendCommand", kind, library.SendCommand(name, kind, command)};
}

SendOutcome SendThroughTo(ProviderLibrary& library, const std::string& name, ChannelKind kind,
                          std::span<const std::uint8_t> command) {
  const std::int32_t connected = library.GetConnectInf(name).result;
  if (connected < 0) return {kGetConnectInf, kind, {connected, std::nullopt}};
  return {
      "SendThroughCommand", kind, {library.SendThroughCommand(name, kind, command), std::nullopt}};
}

}  // namespace monitor
