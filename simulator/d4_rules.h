#pragma once

// What the device end expects of the host, by name.

namespace simulator {

enum class D4Rule {
  entry_first,            // the entry string, byte for byte, ahead of everything
  init_first,             // then Init, once, ahead of everything else
  init_revision,          // of revision 0x10
  length,                 // each packet as long as its kind is
  transfer_shape,         // each OUT transfer exactly one packet
  sockets_equal,          // both socket bytes of a header, and of a command, the same
  credit_byte,            // of a control packet 1, of Error 0; of data only on socket 0x50
  control_byte,           // of a control packet 0, of data bit 0 only
  known_command,          // nothing but what a host sends
  one_at_a_time,          // no command while the reply to another one is awaited
  socket_range,           // channels are 1 to 254
  open_once,              // no OpenChannel for an open channel
  open_sizes,             // what is offered: 65535 both ways; on socket 0x40 4102 and 512
  open_padding,           // the last four bytes zero
  channel_open,           // no command for a channel that isn't open
  close_padding,          // the last byte zero
  data_channel,           // no data for a channel that isn't open
  data_credit,            // no data without credit
  data_size,              // no packet above the negotiated size
  data_empty,             // no packet without payload
  message_size,           // no message without end
  credit_of_one,          // Credit grants one
  credit_needed,          // and only when the device has none left
  request_form,           // CreditRequest asks for 0x0080, with 0xFFFF behind
  request_needed,         // and only when the host has none left
  answer_asked,           // an answer only to a command of the device, once and in order
  answer_socket,          // for the same socket
  answer_result,          // with the result that fits
  answer_credit,          // and the credit that was asked for
  answer_missing,         // each command gets one
  error_form,             // zero, zero, and a code from 0x80 to 0x87
  error_deserved,         // only to a device that broke the rules
  nothing_after_refusal,  // of the entry string or of Init
  nothing_after_exit,
  nothing_after_error,
};

const char* name_of(D4Rule rule);

}  // namespace simulator
