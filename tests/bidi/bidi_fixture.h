#pragma once

// A printer behind the spooler, and batches with the memory that their rows point to.

#include "bidi/c_bidi_if.h"
#include "include/vlpbidi.h"
#include "tests/support/far_side.h"
#include "tests/support/log_lines.h"

#include <gtest/gtest.h>

#include <windows.h>

#include <cstdint>
#include <deque>
#include <memory>
#include <string>
#include <vector>

namespace bidi_test {

using WideName = std::basic_string<WCHAR>;

inline WideName wide(const std::u16string& text) {
  WideName result;
  for (const char16_t unit : text) result.push_back(static_cast<WCHAR>(unit));
  return result;
}

// What memory holds that nothing was written to.
inline constexpr std::uint8_t kUntouched = 0xA5;

class Batch {
 public:
  explicit Batch(std::uint32_t capacity = 8) : container_(capacity) {}
  Batch(const Batch&) = delete;
  Batch& operator=(const Batch&) = delete;

  // A row that wants no answer.
  Batch& Tell(const std::u16string& schema, const std::string& input = "") {
    return Append(schema, input, false, 0);
  }

  // A row with room for an answer of `capacity` bytes.
  Batch& Ask(const std::u16string& schema, std::uint32_t capacity, const std::string& input = "") {
    return Append(schema, input, true, capacity);
  }

  // Like every batch begins: with the printer's wide name and its terminator.
  Batch& Name(const std::u16string& printer) {
    std::string bytes;
    for (const char16_t unit : printer + u'\0') {
      bytes.push_back(static_cast<char>(unit & 0xFF));
      bytes.push_back(static_cast<char>(unit >> 8));
    }
    return Tell(u"\\Printer.VELNO_SCHEMA:SetPrinterName", bytes);
  }

  vlp::BidiContainer* Get() { return &container_; }
  vlp::BidiRequestEntry* Row(std::uint32_t row) { return &container_.rows[row]; }
  std::uint32_t Length(std::uint32_t row) const { return rows_[row].length; }

  // The bytes that the row's length says.
  std::string Text(std::uint32_t row) const {
    return {rows_[row].output.begin(), rows_[row].output.begin() + rows_[row].length};
  }

  bool IsUntouched(std::uint32_t row) const {
    for (const std::uint8_t byte : rows_[row].output) {
      if (byte != kUntouched) return false;
    }
    return true;
  }

 private:
  struct Memory {
    WideName schema;
    std::string input;
    std::vector<std::uint8_t> output;
    std::uint32_t length = 0;
  };

  Batch& Append(const std::u16string& schema, const std::string& input, bool asks,
                std::uint32_t capacity) {
    // One byte more than told, so that a write beyond the room is seen.
    rows_.push_back(
        {wide(schema), input, std::vector<std::uint8_t>(capacity + 1, kUntouched), capacity});
    Memory& memory = rows_.back();
    vlp::BidiRequestEntry entry;
    entry.schema = memory.schema.c_str();
    entry.input =
        input.empty() ? nullptr : reinterpret_cast<const std::uint8_t*>(memory.input.data());
    entry.inputSize = static_cast<std::uint32_t>(input.size());
    if (asks) {
      entry.output = memory.output.data();
      entry.length = &memory.length;
    }
    EXPECT_TRUE(container_.Add(entry));
    return *this;
  }

  std::deque<Memory> rows_;  // addresses stay
  vlp::BidiContainer container_;
};

// The two forms of a call; what holds for both is tested with both.
enum class Form { kSingle, kContainer };

class BidiTest : public ::testing::Test {
 protected:
  static constexpr const char16_t* kSchema = u"\\Printer.VELNO_SCHEMA:GetDeviceID";

  void SetUp() override {
    far_side::reset();
    far_side::add_printer({.name = "Printer"});
    far_side::set_device_id("USB001", far_side::bytes_of("MFG:X;CMD:BDC;"));
    directory_ = far_side::fresh_log_directory();
  }

  void TearDown() override {
    bidi_.reset();
    EXPECT_EQ(far_side::LiveObjects{}, far_side::live_objects());
    if (far_side::serves(far_side::Feature::task_memory_count)) {
      EXPECT_EQ(0u, far_side::task_blocks());
    }
    EXPECT_EQ(std::vector<std::string>{}, far_side::breaches());
  }

  vlp::CBidiIF& Start(std::uint32_t log_mask = 0) {
    log_ = std::make_unique<vlp::DbgLog>("Printer", directory_.c_str(), log_mask, 0);
    bidi_ = std::make_unique<vlp::CBidiIF>(log_.get());
    return *bidi_;
  }

  std::int32_t Call(Batch& batch, Form form = Form::kContainer) {
    return form == Form::kContainer ? bidi_->SendRecvBidiContainer(TEXT("Printer"), batch.Get())
                                    : bidi_->SendRecvBidi(TEXT("Printer"), batch.Row(0));
  }

  // One row for a schema whose answer the test has set.
  std::int32_t Ask(std::uint32_t capacity, Form form = Form::kContainer) {
    Batch batch;
    batch.Ask(kSchema, capacity);
    return Call(batch, form);
  }

  static void SetAnswer(const far_side::RowAnswer& answer) {
    far_side::Trouble trouble;
    trouble.rows[kSchema] = answer;
    far_side::set_trouble(trouble);
  }

  static far_side::Counts Counts() { return far_side::counts("Printer"); }

  std::string LogPath() const { return directory_ + "Printer.dat"; }
  std::vector<std::string> Lines() const { return log_lines::shown(LogPath()); }
  std::vector<log_lines::Line> LinesOf(const std::string& text) const {
    return log_lines::starting(LogPath(), text);
  }

  std::string directory_;
  std::unique_ptr<vlp::DbgLog> log_;
  std::unique_ptr<vlp::CBidiIF> bidi_;
};

// Runs each test with both forms of a call.
class BidiFormTest : public BidiTest, public ::testing::WithParamInterface<Form> {
 protected:
  const char* ReturnText() const {
    return GetParam() == Form::kSingle ? "CBidiIF::SendRecvBidi Return"
                                       : "CBidiIF::SendRecvBidiContainer Return";
  }
};

inline std::string FormName(const ::testing::TestParamInfo<Form>& form) {
  return form.param == Form::kSingle ? "Single" : "Container";
}

}  // namespace bidi_test
