#pragma once

// One printer object over a described spooler, with its log.

#include "diag/dbg_log.h"
#include "include/vlpbidi.h"
#include "printer/c_printer_inf.h"
#include "support/log_settings.h"
#include "tests/support/far_side.h"
#include "tests/support/log_lines.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

namespace printer_test {

inline constexpr std::uint32_t kAllLines = 0xFFFFFFFF;

class PrinterTest : public ::testing::Test {
 protected:
  void SetUp() override {
    far_side::reset();
    directory_ = far_side::fresh_log_directory();
  }

  void TearDown() override {
    printer_.reset();
    EXPECT_EQ(far_side::LiveObjects{}, far_side::live_objects());
    EXPECT_EQ(std::vector<std::string>{}, far_side::breaches());
  }

  vlp::LogSettings Settings(std::uint32_t mask) const {
    vlp::LogSettings settings;
    settings.logFlag = mask;
    settings.logPath = directory_;
    return settings;
  }

  vlp::CPrinterInf& Make(const char* name = "Printer", std::uint32_t mask = kAllLines) {
    printer_.reset();
    printer_ = std::make_unique<vlp::CPrinterInf>(name, Settings(mask));
    return *printer_;
  }

  std::string LogPath(const std::string& name = "Printer") const {
    return directory_ + name + ".dat";
  }
  std::vector<std::string> Lines(const std::string& name = "Printer") const {
    return log_lines::shown(LogPath(name));
  }

  // The lines that begin with this method's name, failures marked.
  std::vector<std::string> LinesOf(const std::string& method,
                                   const std::string& name = "Printer") const {
    std::vector<std::string> texts;
    for (const auto& line : log_lines::starting(LogPath(name), "CPrinterInf::" + method)) {
      texts.push_back(line.shown());
    }
    return texts;
  }

  std::string directory_;
  std::unique_ptr<vlp::CPrinterInf> printer_;
};

}  // namespace printer_test
