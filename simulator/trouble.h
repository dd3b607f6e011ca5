#pragma once

// What a test wants to go wrong, or to go otherwise, on the schema road.

#include "simulator/printer.h"

#include <cstdint>
#include <map>
#include <optional>
#include <string>

namespace simulator {

// Makes a call fail. Calls are counted from the moment when the trouble is set.
struct Refusal {
  uint32_t result = 0;  // HRESULT that the call gives; 0: the call isn't disturbed
  uint32_t at = 0;      // which call fails, from 1; 0: each of them
  // Last error that the call leaves. Without one, a bind leaves the Windows error that
  // stands in `result`, and the other calls leave it alone.
  std::optional<uint32_t> last_error = {};
};

// The answer to all rows of one schema, instead of the printer's own.
struct RowAnswer {
  uint32_t result = 0;             // plain number that GetResult hands out
  std::optional<Bytes> data = {};  // none: no output at all
  uint32_t type = 7;               // BIDI_BLOB
  uint32_t outputs = 1;            // how many outputs are reported when there are data
  bool null_data = false;          // a null pointer with the size of `data`
};

struct Trouble {
  Refusal create_spl = {};
  Refusal create_request = {};
  Refusal create_container = {};
  Refusal bind_administrator = {};  // BindDevice with access 1
  Refusal bind_user = {};           // BindDevice with access 2
  Refusal unbind = {};
  Refusal set_schema = {};
  Refusal set_input_data = {};  // both with bytes and with none
  Refusal add_request = {};
  Refusal send = {};  // SendRecv and MultiSendRecv; the batch arrives, its answer is lost
  Refusal get_request_count = {};
  Refusal get_result = {};      // the call's own return; the number is handed out all the same
  Refusal get_enum_count = {};  // the same
  Refusal get_output_data = {};

  std::optional<uint32_t> request_count = {};  // what GetRequestCount hands out
  std::optional<uint32_t> send_result =
      {};  // HRESULT of a send that does answer its rows, such as 1
  std::map<std::u16string, RowAnswer> rows = {};
};

}  // namespace simulator
