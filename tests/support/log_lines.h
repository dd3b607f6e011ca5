#pragma once

// Reads back what a printer's log says, line by line, without the times and numbers that
// differ from run to run.

#include "tests/support/far_side.h"

#include <cstdint>
#include <cstdlib>
#include <optional>
#include <string>
#include <vector>

namespace log_lines {

struct Line {
  bool error = false;                  // marked as a failure
  std::string text;                    // behind the head, without the last error
  std::optional<uint32_t> last_error;  // of a failure
  std::vector<std::string> bytes;      // "Data(3): abc" or "Dump(3): 61 62 63 "
  std::string times = {};              // of a failure: what stands behind the last error

  // As a test wants it: the mark in front, the bytes left out.
  std::string shown() const { return (error ? "### " : "") + text; }
};

namespace detail {

inline bool begins_line(const std::string& piece) {
  const size_t digits = piece.rfind("### ", 0) == 0 ? 4 : 0;
  const size_t process = piece.find(" [PID:");
  return process != std::string::npos && process <= digits + 20 &&
         piece.find("] : ") != std::string::npos;
}

inline Line line_of(const std::string& piece) {
  Line line;
  line.error = piece.rfind("### ", 0) == 0;
  line.text = piece.substr(piece.find("] : ") + 4);
  const std::string key = " : LastError = ";
  const size_t at = line.text.rfind(key);
  if (line.error && at != std::string::npos) {
    char* behind = nullptr;
    line.last_error =
        static_cast<uint32_t>(std::strtoll(line.text.c_str() + at + key.size(), &behind, 10));
    line.times = behind;
    line.text.resize(at);
  }
  return line;
}

}  // namespace detail

// Every line of the file; none if there is no file.
inline std::vector<Line> read(const std::string& path) {
  const std::string content = far_side::read_file(path).value_or("");
  std::vector<Line> lines;
  size_t at = 0;
  while (at < content.size()) {
    const size_t begin = content.compare(at, 2, "\r\n") == 0 ? at + 2 : at;
    size_t end = content.find("\r\n", begin);
    end = end == std::string::npos ? content.size() : end;
    const std::string piece = content.substr(begin, end - begin);
    at = end;
    if (detail::begins_line(piece)) {
      lines.push_back(detail::line_of(piece));
    } else if (!lines.empty() && (piece.rfind(" Data(", 0) == 0 || piece.rfind(" Dump(", 0) == 0)) {
      lines.back().bytes.push_back(piece.substr(1));
    } else if (!lines.empty() && !lines.back().bytes.empty()) {
      lines.back().bytes.back() += "\r\n" + piece;  // bytes that hold a line's end
    } else {
      lines.push_back({false, "?" + piece, std::nullopt, {}, {}});
    }
  }
  return lines;
}

inline std::vector<std::string> shown(const std::string& path) {
  std::vector<std::string> texts;
  for (const Line& line : read(path)) {
    texts.push_back(line.shown());
  }
  return texts;
}

// The lines that begin with the text, marks left out of the comparison.
inline std::vector<Line> starting(const std::string& path, const std::string& text) {
  std::vector<Line> found;
  for (const Line& line : read(path)) {
    if (line.text.rfind(text, 0) == 0) {
      found.push_back(line);
    }
  }
  return found;
}

}  // namespace log_lines
