#include "provider/operations.h"

#include <cstring>
#include <memory>
#include <string_view>

#include "provider/provider_context.h"
#include "support/text.h"

namespace vlp {
namespace {

constexpr std::string_view kNamePrefix = "UFName:";

// A length that couldn't be returned as a positive result is no length.
bool IsLength(std::uint32_t length) {
  return length != 0 && length <= static_cast<std::uint32_t>(INT32_MAX);
}

// Runs one operation. Whatever is thrown in it has released its locks on the way here.
template <typename Work>
std::int32_t Guarded(Work work) noexcept {
  try {
    return work();
  } catch (...) {
    return VLPER_MEMORY;
  }
}

// The common start behind the argument check: finds the printer and checks its port,
// then runs `work(context, printer)`.
template <typename Work>
std::int32_t WithPrinter(const char* name, Work work) noexcept {
  return Guarded([&]() -> std::int32_t {
    const ContextUse use;
    ProviderContext* const context = use.Get();
    if (context == nullptr) return VLPER_NOTSUPPORT;
    CPrinterInf* const printer = context->registry->FindOrCreate(name);
    if (printer == nullptr) return VLPER_NOTSUPPORT;
    const std::int32_t rc = printer->CheckSupportPort();
    if (rc != 0) return rc;
    return work(*context, *printer);
  });
}

// An answer on its way from the printer object to the queue.
struct Answer {
  std::unique_ptr<std::uint8_t[]> data;
  std::uint32_t length = 0;
};

// The length protocol: asks without a buffer, then with one of the size needed. The
// first call does the work, the second is as a rule answered from what it read.
template <typename FrontEnd>
std::int32_t AskTwice(FrontEnd front_end, Answer* answer) {
  std::int32_t rc = front_end(nullptr, &answer->length);
  if (rc != VLPER_BUFFERSIZE || answer->length == 0) return rc;
  const std::uint32_t needed = answer->length;
  answer->data = std::make_unique_for_overwrite<std::uint8_t[]>(needed);
  return front_end(answer->data.get(), &answer->length);
}

std::int32_t Queue(ProviderContext& context, std::uint32_t requestId, const Answer& answer) {
  if (context.results->Add(requestId, answer.data.get(), answer.length) == nullptr) {
    return VLPER_MEMORY;
  }
  context.queue->Signal();
  return 0;
}

// The printer's name behind the prefix, or null.
const char* NameBehindPrefix(const char* prefixedName) {
  const std::string_view text = LimitedText(prefixedName);
  if (text.size() <= kNamePrefix.size() || !text.starts_with(kNamePrefix)) return nullptr;
  return prefixedName + kNamePrefix.size();
}

std::int32_t GetConnectInf(const char* prefixedName, char* nameOut,
                           std::uint64_t* entries) noexcept {
  if (prefixedName == nullptr || nameOut == nullptr || entries == nullptr) return VLPER_PARAM;
  const char* const name = NameBehindPrefix(prefixedName);
  if (name == nullptr) return VLPER_NOTSUPPORT;
  const std::size_t size = MeasureText(name) + 1;
  return WithPrinter(name, [&](ProviderContext& context, CPrinterInf& printer) {
    const std::int32_t rc = printer.GetConnectInf(entries);
    if (rc < 1 && rc != VLPER_NOENTRY) return rc;
    if (size > context.table.maxNameSize) return VLPER_NOTSUPPORT;
    std::memmove(nameOut, name, size);  // the two may be one buffer
    return rc;
  });
}

std::int32_t GetDeviceID(std::uint32_t requestId, const char* name) noexcept {
  if (requestId == 0 || name == nullptr) return VLPER_PARAM;
  return WithPrinter(name, [&](ProviderContext& context, CPrinterInf& printer) {
    Answer answer;
    const std::int32_t rc =
        AskTwice([&](std::uint8_t* buffer,
                     std::uint32_t* length) { return printer.GetDeviceID(buffer, length); },
                 &answer);
    return rc == 0 ? Queue(context, requestId, answer) : rc;
  });
}

std::int32_t GetStatus(std::uint32_t requestId, const char* name, ChannelKind kind) noexcept {
  if (requestId == 0 || name == nullptr || kind == 0) return VLPER_PARAM;
  return WithPrinter(name, [&](ProviderContext& context, CPrinterInf& printer) {
    Answer answer;
    std::int32_t rc = 0;
    {
      const LockGuard guard(printer.statusLock);
      rc = AskTwice([&](std::uint8_t* buffer,
                        std::uint32_t* length) { return printer.GetStatus(kind, buffer, length); },
                    &answer);
    }
    return rc == 0 ? Queue(context, requestId, answer) : rc;
  });
}

std::int32_t SendCommand(std::uint32_t requestId, const char* name, ChannelKind kind,
                         const std::uint8_t* command, std::uint32_t length) noexcept {
  if (requestId == 0 || name == nullptr || kind == 0 || command == nullptr || !IsLength(length)) {
    return VLPER_PARAM;
  }
  return WithPrinter(name, [&](ProviderContext& context, CPrinterInf& printer) -> std::int32_t {
    Answer answer;
    std::int32_t rc = 0;
    {
      const LockGuard guard(printer.sendLock);
      rc = AskTwice(
          [&](std::uint8_t* buffer, std::uint32_t* reply_length) {
            return printer.SendCommand(kind, command, length, buffer, reply_length);
          },
          &answer);
    }
    if (rc == 0 && answer.length != 0) rc = Queue(context, requestId, answer);
    return rc == 0 ? static_cast<std::int32_t>(length) : rc;
  });
}

std::int32_t SendThroughCommand(std::uint32_t requestId, const char* name, ChannelKind kind,
                                const std::uint8_t* command, std::uint32_t length) noexcept {
  if (requestId == 0 || name == nullptr || kind == 0 || command == nullptr || !IsLength(length)) {
    return VLPER_PARAM;
  }
  return WithPrinter(name, [&](ProviderContext&, CPrinterInf& printer) {
    const std::int32_t rc = printer.SendThroughCommand(kind, command, length);
    return rc == 0 ? static_cast<std::int32_t>(length) : rc;
  });
}

std::int32_t GetResult(std::uint32_t* requestId, std::uint8_t* buffer,
                       std::uint32_t* size) noexcept {
  if (requestId == nullptr || size == nullptr) return VLPER_PARAM;
  return Guarded([&] {
    const ContextUse use;
    ProviderContext* const context = use.Get();
    if (context == nullptr) return VLPER_NOTSUPPORT;
    return context->queue->Take(requestId, buffer, size);
  });
}

std::int32_t Terminate() noexcept {
  Guarded([] {
    const ContextUse use;
    ProviderContext* const context = use.Get();
    if (context == nullptr) return 0;
    context->queue->Stop();
    context->registry->StopAllWorkers();
    return 0;
  });
  return 0;
}

}  // namespace

ProviderTable MakeProviderTable() noexcept {
  ProviderTable table{};
  table.maxNameSize = kMaxNameSize;
  table.maxConnectEntries = kMaxConnectEntries;
  table.operationCount = kOperationCount;
  table.GetConnectInf = &GetConnectInf;
  table.GetDeviceID = &GetDeviceID;
  table.SendCommand = &SendCommand;
  table.GetStatus = &GetStatus;
  table.GetResult = &GetResult;
  table.Terminate = &Terminate;
  table.SendThroughCommand = &SendThroughCommand;
  return table;
}

}  // namespace vlp
