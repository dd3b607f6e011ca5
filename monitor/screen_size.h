#pragma once

namespace monitor {

struct ScreenSize {
  unsigned columns = 80;
  unsigned rows = 24;
};

}  // namespace monitor
