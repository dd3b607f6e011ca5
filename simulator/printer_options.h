#pragma once

// What describes a simulated printer: one plain record.

#include "simulator/bytes.h"

#include <optional>
#include <string>
#include <vector>

namespace simulator {

// What is wrong with the way to a printer. A spooler that can't reach it says so at the send.
enum class Reach { online, server_offline, device_offline };

// The forms of a status item. `own` is the form that the printer uses where it stands.
enum class StatusForm { own, text, binary, job };

// Status items that nobody asked for. `before`: ahead of the next answer. `inside`: in the
// middle of the next reply to a command, one of at least two bytes. `behind`: behind the last
// answer to a message.
enum class PushPlace { before, inside, behind };
struct StatusPush {
  PushPlace place = PushPlace::before;
  StatusForm form = StatusForm::own;
  uint32_t count = 1;
};

// A command of the test's own: wherever these bytes stand as a command, in any language, the
// reply is this. An empty reply is none.
struct Script {
  Bytes command = {};
  Bytes reply = {};
};

// Everything that describes one printer and how it behaves.
struct PrinterOptions {
  std::string port = {};           // the port that it hangs on, such as "USB001"
  Bytes device_id = {};            // any bytes, any length; empty: the query stays unanswered
  std::string serial_number = {};  // up to ten characters, filled up with NUL to ten bytes
  // Such as QPL, BDC, ZRDPAGE, D4, ZRDPAGES, END4, ZRDLABEL. None: those that the device ID
  // lists, and with QPL the page language.
  std::vector<std::string> languages = {};
  uint32_t latency_ms = 0;  // from a command, or from the end of a batch, to the answer
  bool mute = false;        // takes everything and answers nothing
  Reach reach = Reach::online;

  StatusForm status_form = StatusForm::text;  // text or binary: where the request leaves it open
  std::string status_text = "0400";           // the code in the status items
  std::optional<Bytes> status_item = {};      // these bytes instead of each status item
  std::vector<StatusPush> pushes = {};        // with every message
  std::vector<Script> scripts = {};
  uint32_t piece_bytes = 0;                   // answers come in pieces of so many bytes; 0: whole
  uint32_t piece_ms = 0;                      // from one piece to the next
  std::optional<uint32_t> silent_after = {};  // bytes of answer to a message, then silence

  // How the port's monitor reads from this printer. Where it isn't told how a reply ends, the
  // reply has ended when nothing came for `silence_ms`, or at first for `first_byte_ms`.
  // Where it is told, it gives up `give_up_ms` after it has sent.
  uint32_t silence_ms = 200;
  uint32_t first_byte_ms = 2000;
  uint32_t give_up_ms = 30000;

  // Handles of the caller's events, null for none: `started` is set when a batch has
  // arrived, and the answer waits until `gate` is set. Use a manual-reset gate to let all through.
  void* started = nullptr;
  void* gate = nullptr;
};

// Whether the printer speaks the language; names count without case and without a version
// such as "-01".
bool speaks(const PrinterOptions& options, std::string_view language);

// The ten bytes by which the printer names itself in its status.
Bytes serial_bytes(const PrinterOptions& options);

}  // namespace simulator
