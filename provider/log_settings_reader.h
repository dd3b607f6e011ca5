#pragma once

#include "support/log_settings.h"

namespace vlp {

// Reads the log's settings from the 32-bit view of the registry, and the system's
// version. What is missing, too long or unreadable stays 0 or absent.
LogSettings ReadLogSettings();

}  // namespace vlp
