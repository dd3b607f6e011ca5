// Every committed input of every target, as an ordinary test.

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>

#include "fuzz/targets.h"

namespace fuzz {
namespace {

struct Target {
  const char* name;
  void (*run)(Input input);
};

void PrintTo(const Target& target, std::ostream* out) { *out << target.name; }

class Seeds : public ::testing::TestWithParam<Target> {};

TEST_P(Seeds, AreBorne) {
  const std::filesystem::path folder = std::filesystem::path(FUZZ_CORPUS) / GetParam().name;
  int count = 0;
  for (const auto& entry : std::filesystem::directory_iterator(folder)) {
    SCOPED_TRACE(entry.path().filename().string());
    std::ifstream file(entry.path(), std::ios::binary);
    const std::string bytes{std::istreambuf_iterator<char>(file), {}};
    const auto block = std::make_unique<std::uint8_t[]>(bytes.size());
    std::copy(bytes.begin(), bytes.end(), block.get());
    GetParam().run({block.get(), bytes.size()});
    ++count;
  }
  EXPECT_GT(count, 0) << "no inputs in " << folder;
}

INSTANTIATE_TEST_SUITE_P(
    Of, Seeds,
    ::testing::Values(Target{"separation", &separation}, Target{"status", &status},
                      Target{"serial", &serial}, Target{"device_id", &device_id},
                      Target{"hex_list", &hex_list}, Target{"profile", &profile},
                      Target{"registry", &registry}, Target{"d4_bytes", &d4_bytes},
                      Target{"d4_actions", &d4_actions}, Target{"device_path", &device_path},
                      Target{"device_search", &device_search}),
    [](const auto& named) { return std::string(named.param.name); });

}  // namespace
}  // namespace fuzz
