#pragma once

// What the far side of the schema road has seen.

#include "simulator/printer.h"

#include <cstdint>
#include <string>
#include <vector>

namespace simulator {

// One row of a batch as it arrived.
struct SeenRow {
  std::u16string schema = {};
  uint32_t input_type = 0;
  Bytes input = {};

  bool operator==(const SeenRow&) const = default;
};

// One send, with the printer that was bound.
struct SeenBatch {
  std::u16string printer = {};
  std::u16string action = {};
  bool container = false;  // MultiSendRecv
  std::vector<SeenRow> rows = {};
};

// Bytes that were handed to a printer at once.
struct WireMessage {
  Way way = Way::data;
  Bytes bytes = {};

  bool operator==(const WireMessage&) const = default;
};

// Attempts, whether they succeeded or not. All of one printer name.
struct Counts {
  uint32_t binds_administrator = 0;
  uint32_t binds_user = 0;
  uint32_t bound = 0;  // successful binds
  uint32_t unbinds = 0;
  uint32_t sends = 0;
  uint32_t rows = 0;
  uint32_t device_id_queries = 0;
  uint32_t status_queries = 0;
  uint32_t commands = 0;
  uint32_t through = 0;
  uint32_t fax = 0;

  bool operator==(const Counts&) const = default;
};

// COM objects alive now.
struct LiveObjects {
  uint32_t spls = 0;
  uint32_t requests = 0;
  uint32_t containers = 0;

  bool operator==(const LiveObjects&) const = default;
};

}  // namespace simulator
