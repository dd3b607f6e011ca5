#include "printer/real_name.h"

#include <winspool.h>

#include <algorithm>
#include <cstring>
#include <limits>
#include <optional>
#include <string_view>
#include <vector>

#include "support/spooler.h"
#include "support/text.h"

namespace vlp {
namespace {

constexpr std::string_view kPrefix = "\\\\CSR|";
constexpr std::basic_string_view<WCHAR> kPrefixW = TEXT("\\\\CSR|");
constexpr const char* kKey = "DsSpooler";
constexpr const char* kPrinterNameValue = "printerName";
constexpr const char* kPortNameValue = "portName";

// No name of a printer is longer; nothing larger is allocated on the spooler's word.
constexpr std::uint32_t kRealNameLimit = 0x10000;

bool IsNoHandle(HANDLE handle) { return handle == nullptr || handle == INVALID_HANDLE_VALUE; }

std::string_view TextOf(const char* name, std::uint32_t size) {
  return {name, static_cast<std::size_t>(std::find(name, name + size, '\0') - name)};
}

// What stands between the prefix and the next backslash, if anything does.
std::optional<std::string_view> ServerOf(std::string_view name) {
  const std::string_view rest = name.substr(kPrefix.size());
  const std::size_t backslash = FindCharacter(rest, '\\');
  if (backslash == std::string_view::npos || backslash == 0) return std::nullopt;
  return rest.substr(0, backslash);
}

// Bytes of a published value. The spooler may give the size with any result, and may
// count wide characters.
std::optional<std::uint32_t> PublishedSize(HANDLE printer, const char* value) {
  DWORD needed = 0;
  const DWORD rc = GetPrinterDataExA(printer, kKey, value, nullptr, nullptr, 0, &needed);
  if (rc != ERROR_MORE_DATA && needed == 0) return std::nullopt;
  return needed;
}

// Bytes of a whole real name, or none where the published size is beyond any sense.
std::optional<std::uint32_t> RealNameSize(HANDLE printer, std::string_view server) {
  const std::optional<std::uint32_t> published = PublishedSize(printer, kPrinterNameValue);
  if (!published) return std::nullopt;
  const std::uint64_t size = std::uint64_t{*published} + server.size() + 4;
  if (size > std::numeric_limits<std::int32_t>::max()) return std::nullopt;
  return static_cast<std::uint32_t>(size);
}

DWORD ReadPublished(HANDLE printer, const char* value, char* out, DWORD capacity, DWORD* got) {
  *got = 0;
  return GetPrinterDataExA(printer, kKey, value, nullptr, reinterpret_cast<BYTE*>(out), capacity,
                           got);
}

DWORD FailBuild(DWORD error, const char* out, std::uint32_t* size) {
  if (out == nullptr) *size = 0;
  return error;
}

}  // namespace

std::int32_t IsCsrName(const char* name, std::uint32_t size) {
  if (name == nullptr || size <= kPrefix.size()) return 0;
  return std::string_view(name, kPrefix.size()) == kPrefix ? 1 : 0;
}

std::int32_t IsCsrNameW(const WCHAR* name, std::uint32_t size) {
  if (name == nullptr || size <= kPrefixW.size()) return 0;
  return std::basic_string_view<WCHAR>(name, kPrefixW.size()) == kPrefixW ? 1 : 0;
}

std::int32_t GetRealNameFromCsrName(const char* name, std::uint32_t size, char* out,
                                    std::uint32_t* outSize) {
  if (name == nullptr || size == 0 || outSize == nullptr || *outSize == 0) return 0;
  const std::string_view alias = TextOf(name, size);
  const PrinterHandle printer = OpenPrinterByName(std::string(alias).c_str());
  if (!printer) return 0;
  if (!alias.starts_with(kPrefix) || alias.size() == kPrefix.size()) return 0;
  const std::optional<std::string_view> server = ServerOf(alias);
  if (!server) return 0;
  const std::optional<std::uint32_t> size_needed = RealNameSize(printer.Get(), *server);
  if (!size_needed || *size_needed > kRealNameLimit) return 0;

  std::uint32_t needed = *size_needed;
  std::vector<char> real(needed);
  if (BuildCsrRealName(printer.Get(), std::string(alias).c_str(), real.data(), &needed) !=
      ERROR_SUCCESS) {
    return 0;
  }
  const std::size_t length = MeasureText(real.data(), std::min<std::size_t>(needed, real.size()));
  const std::uint32_t capacity = *outSize;
  *outSize = static_cast<std::uint32_t>(length);
  if (length == 0 || capacity < length || out == nullptr) return 0;
  return CopyText(out, capacity, {real.data(), length}) ? 1 : 0;
}

std::int32_t GetRealNameChecked(const char* name, std::uint32_t size, char* out,
                                std::uint32_t* outSize) {
  if (IsCsrName(name, size) == 0) return 0;
  return GetRealNameFromCsrName(name, size, out, outSize);
}

DWORD BuildCsrRealName(HANDLE printer, const char* name, char* out, std::uint32_t* size) {
  if (size == nullptr) return ERROR_INVALID_PARAMETER;
  if (IsNoHandle(printer) || name == nullptr) {
    return FailBuild(ERROR_INVALID_PARAMETER, out, size);
  }
  const std::string_view alias(name);
  if (!alias.starts_with(kPrefix)) return FailBuild(ERROR_INVALID_DATA, out, size);
  const std::optional<std::string_view> server = ServerOf(alias);
  if (!server) return FailBuild(ERROR_INVALID_PARAMETER, out, size);
  const std::optional<std::uint32_t> size_needed = RealNameSize(printer, *server);
  if (!size_needed) return FailBuild(ERROR_INVALID_DATA, out, size);

  const std::uint32_t needed = *size_needed;
  const std::uint32_t capacity = *size;
  *size = needed;
  if (out == nullptr || capacity < needed) return ERROR_MORE_DATA;
  if (!CopyText(out, needed, "\\\\") || !AppendText(out, needed, *server) ||
      !AppendText(out, needed, "\\")) {
    return ERROR_INVALID_DATA;
  }
  const std::size_t used = server->size() + 3;
  std::memset(out + used, 0, needed - used);
  DWORD got = 0;
  return ReadPublished(printer, kPrinterNameValue, out + used, static_cast<DWORD>(needed - used),
                       &got);
}

DWORD GetCsrPortNames(HANDLE printer, char* out, std::uint32_t* size) {
  if (size == nullptr || IsNoHandle(printer) || out == nullptr) return ERROR_INVALID_PARAMETER;
  const std::optional<std::uint32_t> needed = PublishedSize(printer, kPortNameValue);
  if (!needed) return ERROR_INVALID_DATA;
  const std::uint32_t capacity = *size;
  *size = *needed;
  if (capacity < *needed) return ERROR_MORE_DATA;
  // The size told may be twice what is written then.
  std::memset(out, 0, *needed);
  DWORD got = 0;
  const DWORD rc = ReadPublished(printer, kPortNameValue, out, *needed, &got);
  if (rc != ERROR_SUCCESS) return rc;
  // Terminators between the names become commas; those behind the last one stay.
  std::size_t end = std::min<std::size_t>(got, *needed);
  while (end > 0 && out[end - 1] == '\0') --end;
  std::replace(out, out + end, '\0', ',');
  return rc;
}

}  // namespace vlp
