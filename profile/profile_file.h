#pragma once

// Where a printer's profile lies.

#include <string>

namespace vlp {

// The path of the first dependent file of the printer's driver that ends in ".LMD", in
// any case of letters; empty if there is none. A bare name lies beside the driver.
std::string FindProfile(const char* printer_name);

// The rules behind it, on the spooler's answer: both may be null, dependent_files is a
// list of terminated names that ends in an empty one.
std::string ChooseProfile(const char* driver_path, const char* dependent_files);

}  // namespace vlp
