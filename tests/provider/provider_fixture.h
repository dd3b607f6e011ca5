#pragma once

// The attached library over a described printer, with a look into its context.

#include "include/vlpbidi.h"
#include "tests/provider/current_context.h"
#include "tests/support/far_side.h"

#include <gtest/gtest.h>

#include <array>
#include <string>
#include <vector>

namespace provider_test {

inline constexpr const char* kDeviceId = "MFG:X;CMD:QPL,BDC;";
inline constexpr const char* kProfile =
    "LPT_Channel00=0x10010002\nLPT_ChnlMode00=0x0007\n"
    "LPT_Channel01=0x10010003\nLPT_ChnlMode01=0x0007\n";

struct Result {
  std::int32_t rc = 0;
  std::uint32_t id = 0;
  std::string data;
};

class ProviderTest : public ::testing::Test {
 protected:
  void SetUp() override {
    far_side::reset();
    far_side::add_model("Model", kProfile);
    far_side::add_printer({.name = "Printer", .driver = "Model"});
    far_side::set_device_id("USB001", far_side::bytes_of(kDeviceId));
  }
  void TearDown() override {
    vlp::ProviderDetach(false);
    EXPECT_EQ(far_side::LiveObjects{}, far_side::live_objects());
    EXPECT_EQ(std::vector<std::string>{}, far_side::breaches());
  }

  static const ProviderTable& Table() {
    if (Context() == nullptr) vlp::ProviderAttach();
    return Context()->table;
  }

  std::int32_t GetConnectInf(const std::string& prefixed) {
    name_.fill('#');
    entries_.fill(0);
    return Table().GetConnectInf(prefixed.c_str(), name_.data(), entries_.data());
  }
  bool NameIsUntouched() const {
    for (const char character : name_) {
      if (character != '#') return false;
    }
    return true;
  }

  static Result Take() {
    Result result;
    std::array<std::uint8_t, 2048> buffer{};
    std::uint32_t size = static_cast<std::uint32_t>(buffer.size());
    result.rc = Table().GetResult(&result.id, buffer.data(), &size);
    if (result.rc >= 0) result.data.assign(buffer.begin(), buffer.begin() + result.rc);
    return result;
  }

  static std::uint32_t Queued() { return Context()->results->Count(); }
  static std::uint32_t Queries() { return far_side::counts("Printer").device_id_queries; }

  std::array<char, 300> name_{};
  std::array<std::uint64_t, 11> entries_{};
};

}  // namespace provider_test
