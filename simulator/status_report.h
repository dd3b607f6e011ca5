#pragma once

// The status items of a printer, and its answers to the probes that end a reply.

#include "simulator/printer_options.h"

namespace simulator {

// A whole item, head and end included. `form` is not `own`.
Bytes status_item(const PrinterOptions& options, StatusForm form);

// Twenty hexadecimal digits.
std::string serial_digits(const PrinterOptions& options);

Bytes job_identity(const PrinterOptions& options);     // the job language's answer to its probe
Bytes remote_identity(const PrinterOptions& options);  // that of REMOTE1
Bytes page_identity(const PrinterOptions& options);    // that of the page language

}  // namespace simulator
