#pragma once

// Requests to one printer. Before the first of them its channels are asked for, without
// which the library has none.

#include <optional>
#include <span>
#include <string>

#include "monitor/provider_library.h"

namespace monitor {

// Which of the library's operations gave the result: the one that was wanted, or GetConnectInf
// where that failed before it.
struct StatusReading {
  const char* operation = "";
  std::optional<ChannelKind> kind;  // nothing: no channel was chosen yet
  DataAnswer answer;
};

struct SendOutcome {
  const char* operation = "";
  ChannelKind kind = 0;
  SendAnswer answer;
};

// The channel to ask for status when the person names none: BDC if it answers status
// requests, else the first that does. BDC also where none does, so that the library is the
// one to refuse.
ChannelKind StatusChannel(const std::vector<Channel>& channels);

// Asks one printer for status. Blocks as long as the library does. For one thread.
class StatusReader {
 public:
  // `name` in the machine's ANSI code page. Without a kind the reader finds one.
  StatusReader(ProviderLibrary& library, std::string name, std::optional<ChannelKind> kind);

  // Asks for the channels first where that hasn't succeeded yet, and after a failure.
  StatusReading Read();

 private:
  ProviderLibrary& library_;
  const std::string name_;
  const std::optional<ChannelKind> wanted_;
  std::optional<ChannelKind> chosen_;
};

SendOutcome SendTo(ProviderLibrary& library, const std::string& name, ChannelKind kind,
                   std::span<const std::uint8_t> command);

// The answer has no reply.
SendOutcome SendThroughTo(ProviderLibrary& library, const std::string& name, ChannelKind kind,
                          std::span<const std::uint8_t> command);

}  // namespace monitor
