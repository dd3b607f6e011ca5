// The input is a whole profile file of a printer that the machine describes.

#include <string>

#include "fuzz/targets.h"
#include "profile/model_profile.h"
#include "tests/support/far_side.h"

namespace fuzz {
namespace {

constexpr const char* kFile = "fuzzed.LMD";

// Once: the spooler's side of it doesn't change.
const std::string& ProfilePath() {
  static const std::string path = [] {
    far_side::reset();
    far_side::add_model("fuzzed", "");
    far_side::add_printer({.name = "fuzzed", .driver = "fuzzed"});
    return far_side::driver_directory() + kFile;
  }();
  return path;
}

}  // namespace

void profile(Input input) {
  far_side::write_file(ProfilePath(), std::string(input.begin(), input.end()));
  const vlp::ModelProfile read = vlp::LoadModelProfile("fuzzed");
  claim(read.loaded == 1, "a profile that isn't loaded");
  claim(read.channelKind.back() == 0, "a channel list without its end");
  bool ended = false;
  for (std::size_t slot = 0; slot < read.channelKind.size(); ++slot) {
    ended = ended || read.channelKind[slot] == 0;
    claim(!ended || (read.channelKind[slot] == 0 && read.channelMode[slot] == 0 &&
                     read.channelStatusCmd[slot].empty()),
          "a channel behind the end of the list");
    claim(read.channelStatusCmd[slot].size() <= 2048, "a status command longer than its text");
  }
  claim(read.d4RetryMode != 0 || read.d4RetryMax == 0, "a retry limit without a retry mode");
  claim(read.universalDriver == 0 || (read.statusLength == 2048 && read.dltEnable == 1),
        "settings that a universal driver forces");
}

}  // namespace fuzz
