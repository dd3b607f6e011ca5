#include "tests/windows/usb_calls.h"

#include "tests/windows/usb_bus.h"

#include <algorithm>
#include <cstring>
#include <string>

namespace doubles {
namespace {

using simulator::Bytes;

enum class Call : uint32_t { open, state, read, write, close };

// In front of each message; behind it the bytes of a transfer.
struct Head {
  Call call = Call::state;
  DWORD error = ERROR_SUCCESS;
  uint64_t interface_number = 0;
  uint64_t count = 0;  // bytes, or the number of the device to be opened
};

struct Message {
  Head head = {};
  Bytes bytes = {};
};

constexpr size_t most_bytes = 0x10000;  // in one transfer
constexpr size_t most_in_message = sizeof(Head) + most_bytes;
constexpr DWORD longest_connect_ms = 20000;

std::string calls_pipe(DWORD process) { return "\\\\.\\pipe\\vlp_usb_" + std::to_string(process); }

Bytes packed(const Message& message) {
  Bytes all(sizeof(Head) + message.bytes.size());
  std::memcpy(all.data(), &message.head, sizeof(Head));
  std::copy(message.bytes.begin(), message.bytes.end(), all.begin() + sizeof(Head));
  return all;
}

bool unpack(const Bytes& all, size_t size, Message& message) {
  if (size < sizeof(Head)) {
    return false;
  }
  std::memcpy(&message.head, all.data(), sizeof(Head));
  message.bytes.assign(all.begin() + sizeof(Head), all.begin() + static_cast<ptrdiff_t>(size));
  return true;
}

// --- The side that has the devices --------------------------------------------------------

// `opened` is the interface that this connection keeps open; 0 for none.
Message answer(const Message& request, uint64_t& opened) {
  Message reply{.head = request.head};
  const uint64_t number = request.head.interface_number;
  size_t count = 0;
  switch (request.head.call) {
    case Call::open:
      reply.head.error = opened != 0 ? ERROR_INVALID_PARAMETER
                                     : open_usb(static_cast<uint32_t>(request.head.count),
                                                UsbHost::elsewhere, opened);
      reply.head.interface_number = opened;
      break;
    case Call::state:
      reply.head.error = usb_state(number);
      break;
    case Call::read:
      reply.head.error =
          read_usb(number, std::min<size_t>(request.head.count, most_bytes), reply.bytes);
      break;
    case Call::write:
      reply.head.error = write_usb(number, request.bytes, count);
      reply.head.count = count;
      break;
    case Call::close:
      reply.head.error = close_usb(number, UsbEnd::closed);
      opened = 0;
      break;
  }
  return reply;
}

DWORD WINAPI serve_one(void* argument) {
  const HANDLE pipe = argument;
  uint64_t opened = 0;
  Bytes in(most_in_message);
  Message request;
  DWORD size = 0;
  while (ReadFile(pipe, in.data(), static_cast<DWORD>(in.size()), &size, nullptr) != FALSE &&
         unpack(in, size, request)) {
    const Bytes out = packed(answer(request, opened));
    if (WriteFile(pipe, out.data(), static_cast<DWORD>(out.size()), &size, nullptr) == FALSE) {
      break;
    }
  }
  if (opened != 0) {
    close_usb(opened, UsbEnd::host_died);
  }
  CloseHandle(pipe);
  return 0;
}

HANDLE next_end() {
  const HANDLE pipe = CreateNamedPipeA(
      calls_pipe(GetCurrentProcessId()).c_str(), PIPE_ACCESS_DUPLEX,
      PIPE_TYPE_MESSAGE | PIPE_READMODE_MESSAGE, PIPE_UNLIMITED_INSTANCES,
      static_cast<DWORD>(most_in_message), static_cast<DWORD>(most_in_message), 0, nullptr);
  return pipe == INVALID_HANDLE_VALUE ? nullptr : pipe;
}

bool start(LPTHREAD_START_ROUTINE run, HANDLE pipe) {
  const HANDLE thread = CreateThread(nullptr, 0, run, pipe, 0, nullptr);
  if (thread != nullptr) {
    CloseHandle(thread);
  }
  return thread != nullptr;
}

// As long as the process lives. There is always an end to connect to.
DWORD WINAPI accept_all(void* argument) {
  for (HANDLE pipe = argument; pipe != nullptr;) {
    const bool connected =
        ConnectNamedPipe(pipe, nullptr) != FALSE || GetLastError() == ERROR_PIPE_CONNECTED;
    const HANDLE next = next_end();
    if (!connected || !start(&serve_one, pipe)) {
      CloseHandle(pipe);
    }
    pipe = next;
  }
  return 0;
}

// --- The side that calls ------------------------------------------------------------------

HANDLE connect(DWORD process) {
  const std::string name = calls_pipe(process);
  for (;;) {
    const HANDLE pipe = CreateFileA(name.c_str(), GENERIC_READ | GENERIC_WRITE, 0, nullptr,
                                    OPEN_EXISTING, 0, nullptr);
    if (pipe != INVALID_HANDLE_VALUE) {
      DWORD mode = PIPE_READMODE_MESSAGE;
      SetNamedPipeHandleState(pipe, &mode, nullptr, nullptr);
      return pipe;
    }
    if (GetLastError() != ERROR_PIPE_BUSY ||
        WaitNamedPipeA(name.c_str(), longest_connect_ms) == FALSE) {
      return nullptr;
    }
  }
}

// The reply takes the request's place.
DWORD exchange(HANDLE pipe, Message& message) {
  Bytes out = packed(message);
  Bytes in(most_in_message);
  DWORD size = 0;
  const bool done = pipe != nullptr && out.size() <= most_in_message &&
                    TransactNamedPipe(pipe, out.data(), static_cast<DWORD>(out.size()), in.data(),
                                      static_cast<DWORD>(in.size()), &size, nullptr) != FALSE &&
                    unpack(in, size, message);
  return done ? message.head.error : usb_removal_error;
}

DWORD transfer(DWORD process, Message& message) {
  const HANDLE pipe = connect(process);
  const DWORD error = exchange(pipe, message);
  if (pipe != nullptr) {
    CloseHandle(pipe);
  }
  return error;
}

}  // namespace

bool serve_usb_calls() {
  static const bool serves = [] {
    const HANDLE first = next_end();
    return first != nullptr && start(&accept_all, first);
  }();
  return serves;
}

FarUsb::~FarUsb() {
  if (session_ != nullptr) {
    CloseHandle(session_);
  }
}

DWORD FarUsb::open(uint32_t device_number) {
  session_ = connect(process_);
  Message message{.head = {.call = Call::open, .count = device_number}};
  const DWORD error = exchange(session_, message);
  number_ = message.head.interface_number;
  return error;
}

DWORD FarUsb::state() {
  Message message{.head = {.call = Call::state, .interface_number = number_}};
  return transfer(process_, message);
}

DWORD FarUsb::read(size_t most, Bytes& bytes) {
  Message message{.head = {.call = Call::read, .interface_number = number_, .count = most}};
  const DWORD error = transfer(process_, message);
  bytes = std::move(message.bytes);
  return error;
}

DWORD FarUsb::write(const Bytes& bytes, size_t& count) {
  Message message{.head = {.call = Call::write, .interface_number = number_}, .bytes = bytes};
  const DWORD error = transfer(process_, message);
  count = error == ERROR_SUCCESS ? static_cast<size_t>(message.head.count) : 0;
  return error;
}

DWORD FarUsb::close() {
  Message message{.head = {.call = Call::close, .interface_number = number_}};
  return exchange(session_, message);
}

}  // namespace doubles
