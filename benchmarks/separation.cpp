// Taking the reply out of 64 KiB of received data, against a plain search of the same bytes,
// which is the least that has to be done.

#include <benchmark/benchmark.h>

#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "language/byte_search.h"
#include "language/byte_strings.h"
#include "language/c_separete_data.h"

namespace {

constexpr std::size_t kReceived = 64 * 1024;

// What stands in the received data, in front of the probe reply.
enum Contents { kItems, kNoItems, kNestedItems, kAlmostHeads };

struct Language {
  ChannelKind kind;
  vlp::Bytes head;
  std::string item;
  std::string probe;
};

// The binary form where it says so, else text; the job language with its own items.
Language LanguageOf(ChannelKind kind, bool binary) {
  if (kind == ChnlKindQpl) {
    return {kind, vlp::kQplStatusHead, "@QPL STATUS CODE=01;ER:00\n", "@QPL ID\r\n1\f"};
  }
  const std::string probe = "@BDC PS\r\nST:1\f";
  if (!binary) return {kind, vlp::kBdcStatusHead, "@BDC ST\r\nST:01;ER:00;\f", probe};
  const std::string item = "@BDC ST2\r\n" + std::string("\x0A\0", 2) +
                           "\x01\x08"
                           "12345678";
  return {kind, vlp::kBdcStatus2Head, item, probe};
}

std::string Filled(const std::string& piece, std::size_t room) {
  std::string data;
  while (data.size() + piece.size() <= room) data += piece;
  return data;
}

std::string ReceivedData(const Language& language, Contents contents) {
  const std::size_t room = kReceived - language.probe.size();
  const std::string& item = language.item;
  const std::string front = item.substr(0, 6);
  const std::string rest = item.substr(6);
  std::string data;
  switch (contents) {
    case kItems:
      data = "reply" + Filled(item, room - 5);
      break;
    case kNoItems:
      data = Filled("a reply of plain words; ", room);
      break;
    case kNestedItems:
      data = Filled(front, room * front.size() / item.size());
      data += Filled(rest, data.size() / front.size() * rest.size());
      data.insert(0, "reply");
      break;
    case kAlmostHeads:
      data = Filled(std::string(1, static_cast<char>(language.head.back())), room);
      break;
  }
  return data + language.probe;
}

class Bench {
 public:
  Bench(ChannelKind kind, bool binary) : data_(&info_, nullptr) {
    auto channels = std::make_shared<vlp::ConnectRecords>();
    channels->records[0].kind = kind;
    channels->records[0].mode = VLP_MODE_COMMAND | VLP_MODE_STATUS;
    if (binary) {
      std::string command(vlp::kStatusFormMarker.begin(), vlp::kStatusFormMarker.end());
      command += static_cast<char>(vlp::kStatusFormBinary);
      channels->records[0].statusCmd.assign(command.begin(), command.end());
    }
    channels->count = 1;
    info_.Publish(channels);
  }

  vlp::CSepareteData& data() { return data_; }

 private:
  vlp::ConnectInfo info_;
  vlp::CSepareteData data_;
};

void CountBytes(benchmark::State& state, std::size_t bytes) {
  state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(bytes));
}

// The received bytes are changed in place, so each round begins with a copy, which the
// search and the bare copy below make too.
void Separate(benchmark::State& state, ChannelKind kind, bool binary, Contents contents) {
  Bench bench(kind, binary);
  const std::string received = ReceivedData(LanguageOf(kind, binary), contents);
  const bool keeps_all = contents == kNoItems || contents == kAlmostHeads;
  const std::size_t probe = LanguageOf(kind, binary).probe.size();
  const std::size_t expected = keeps_all ? received.size() - probe : 5;
  std::vector<std::uint8_t> work(received.size());
  std::vector<std::uint8_t> output(received.size());
  for (auto _ : state) {
    std::memcpy(work.data(), received.data(), received.size());
    auto length = static_cast<std::uint32_t>(output.size());
    const std::int32_t code = bench.data().SepareteRecvData(
        kind, work.data(), static_cast<std::uint32_t>(work.size()), output.data(), &length);
    if (code != 0 || length != expected) {
      state.SkipWithError("not the reply");
      break;
    }
  }
  CountBytes(state, received.size());
}

// Every head found, by the library's search.
void Search(benchmark::State& state, ChannelKind kind, bool binary, Contents contents) {
  const Language language = LanguageOf(kind, binary);
  const std::string received = ReceivedData(language, contents);
  std::vector<std::uint8_t> work(received.size());
  for (auto _ : state) {
    std::memcpy(work.data(), received.data(), received.size());
    benchmark::DoNotOptimize(vlp::CountMatches(language.head, work));
  }
  CountBytes(state, received.size());
}

// The same by the C library's.
void SearchByMemmem(benchmark::State& state, ChannelKind kind, bool binary, Contents contents) {
  const Language language = LanguageOf(kind, binary);
  const std::string received = ReceivedData(language, contents);
  std::vector<std::uint8_t> work(received.size());
  for (auto _ : state) {
    std::memcpy(work.data(), received.data(), received.size());
    std::size_t count = 0;
    vlp::Bytes rest = work;
    while (const void* const found =
               memmem(rest.data(), rest.size(), language.head.data(), language.head.size())) {
      const auto at = static_cast<const std::uint8_t*>(found) - rest.data();
      rest = rest.subspan(static_cast<std::size_t>(at) + language.head.size());
      ++count;
    }
    benchmark::DoNotOptimize(count);
  }
  CountBytes(state, received.size());
}

void Register(const std::string& name, ChannelKind kind, bool binary, Contents contents) {
  benchmark::RegisterBenchmark(("Separate/" + name).c_str(), Separate, kind, binary, contents);
  benchmark::RegisterBenchmark(("Search/" + name).c_str(), Search, kind, binary, contents);
  benchmark::RegisterBenchmark(("SearchByMemmem/" + name).c_str(), SearchByMemmem, kind, binary,
                               contents);
}

const bool registered = [] {
  Register("job/items", ChnlKindQpl, false, kItems);
  Register("text/items", ChnlKindBdc, false, kItems);
  Register("binary/items", ChnlKindBdc, true, kItems);
  Register("job/nested", ChnlKindQpl, false, kNestedItems);
  Register("job/none", ChnlKindQpl, false, kNoItems);
  Register("binary/none", ChnlKindBdc, true, kNoItems);
  Register("job/almost", ChnlKindQpl, false, kAlmostHeads);
  return true;
}();

}  // namespace
