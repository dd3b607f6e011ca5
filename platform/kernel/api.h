#pragma once

// What the library exports beside the calls themselves: the kernel's, the faults'
// and the machine's controls, which tests and the layer's own sources use.
#define VLP_PLATFORM_API __attribute__((visibility("default")))
