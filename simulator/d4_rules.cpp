#include "simulator/d4_rules.h"

namespace simulator {

const char* name_of(D4Rule rule) {
  switch (rule) {
    case D4Rule::entry_first:
      return "entry first";
    case D4Rule::init_first:
      return "Init first";
    case D4Rule::init_revision:
      return "Init revision";
    case D4Rule::length:
      return "length";
    case D4Rule::transfer_shape:
      return "one packet a transfer";
    case D4Rule::sockets_equal:
      return "equal sockets";
    case D4Rule::credit_byte:
      return "credit byte";
    case D4Rule::control_byte:
      return "control byte";
    case D4Rule::known_command:
      return "known command";
    case D4Rule::one_at_a_time:
      return "one command at a time";
    case D4Rule::socket_range:
      return "socket range";
    case D4Rule::open_once:
      return "open once";
    case D4Rule::open_sizes:
      return "offered sizes";
    case D4Rule::open_padding:
      return "OpenChannel padding";
    case D4Rule::channel_open:
      return "command for an open channel";
    case D4Rule::close_padding:
      return "CloseChannel padding";
    case D4Rule::data_channel:
      return "data for an open channel";
    case D4Rule::data_credit:
      return "data with credit";
    case D4Rule::data_size:
      return "data of the negotiated size";
    case D4Rule::data_empty:
      return "data with payload";
    case D4Rule::message_size:
      return "message size";
    case D4Rule::credit_of_one:
      return "Credit of one";
    case D4Rule::credit_needed:
      return "Credit when needed";
    case D4Rule::request_form:
      return "CreditRequest form";
    case D4Rule::request_needed:
      return "CreditRequest when needed";
    case D4Rule::answer_asked:
      return "answer to a command";
    case D4Rule::answer_socket:
      return "answer's socket";
    case D4Rule::answer_result:
      return "answer's result";
    case D4Rule::answer_credit:
      return "answer's credit";
    case D4Rule::answer_missing:
      return "answer given";
    case D4Rule::error_form:
      return "Error form";
    case D4Rule::error_deserved:
      return "Error deserved";
    case D4Rule::nothing_after_refusal:
      return "nothing after a refusal";
    case D4Rule::nothing_after_exit:
      return "nothing after Exit";
    case D4Rule::nothing_after_error:
      return "nothing after Error";
  }
  return "unknown rule";
}

}  // namespace simulator
