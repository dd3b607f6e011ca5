#include "tests/d4/engine_fixture.h"

#include <regex>

namespace d4_test {
namespace {

const std::string kMark = "  [D4] ";

}  // namespace

std::vector<std::string> EngineTest::trace_with_times() const {
  std::vector<std::string> lines;
  for (const log_lines::Line& line : log_lines::starting(log_path(), kMark)) {
    lines.push_back(line.shown().substr(kMark.size()));
  }
  return lines;
}

std::vector<std::string> EngineTest::trace() const {
  static const std::regex time("[0-9]{2}\\.[0-9]{3}\\.[0-9]{3}");
  std::vector<std::string> lines;
  for (const std::string& line : trace_with_times()) {
    lines.push_back(std::regex_replace(line, time, "<time>"));
  }
  return lines;
}

std::vector<std::string> EngineTest::trace_of(const std::string& beginning) const {
  std::vector<std::string> lines;
  for (const std::string& line : trace()) {
    if (line.rfind(beginning, 0) == 0) lines.push_back(line);
  }
  return lines;
}

std::string stamped(const std::string& text) {
  std::string field = text.substr(0, 26);
  field.resize(26, ' ');
  return field + " <time>";
}

}  // namespace d4_test
