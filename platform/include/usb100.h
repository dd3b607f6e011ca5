#pragma once

#include <usbspec.h>
