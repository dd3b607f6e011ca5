#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace vlp {

// What the registry says of the log, and what system this is. Read once when the
// library is loaded and shared, unchanged, by all printers.
struct LogSettings {
  std::uint32_t logFlag = 0;           // category mask of every log; 0: no logging
  std::optional<std::string> logPath;  // directory as stored, closing backslash included
  std::uint32_t maxLogSize = 0;        // bytes of a printer's two files together; 0: no limit
  std::uint32_t osMajorVersion = 0;    // recorded only
  std::uint32_t osMinorVersion = 0;
  std::uint32_t servicePackMajor = 0;
};

}  // namespace vlp
