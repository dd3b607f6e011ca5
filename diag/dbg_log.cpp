#include "diag/dbg_log.h"

#include "diag/log_path.h"

namespace vlp {
namespace {

// Lets any user of the machine open the mutex, since processes of several users may
// log for the same printer.
KernelHandle CreateOpenMutex(const std::string& name) {
  SECURITY_DESCRIPTOR descriptor{};
  if (InitializeSecurityDescriptor(&descriptor, SECURITY_DESCRIPTOR_REVISION) == FALSE ||
      SetSecurityDescriptorDacl(&descriptor, TRUE, nullptr, FALSE) == FALSE) {
    return {};
  }
  SECURITY_ATTRIBUTES attributes{};
  attributes.nLength = sizeof(attributes);
  attributes.lpSecurityDescriptor = &descriptor;
  attributes.bInheritHandle = TRUE;
  return KernelHandle(CreateMutexA(&attributes, FALSE, name.c_str()));
}

void DbgInitLimit(DbgLog& log, std::uint32_t limit) {
  if (log.mask == 0 || log.fileName.empty() || limit == 0) return;
  std::string rotated = RotatedPath(log.fileName);
  if (rotated.empty()) return;
  const std::string mutex_name = LogMutexName(log.fileName);
  if (mutex_name.empty()) return;
  log.mutex = CreateOpenMutex(mutex_name);
  if (!log.mutex) return;
  log.rotatedName = std::move(rotated);
  log.limitSize = limit;
  log.limitEnabled = 1;
}

}  // namespace

DbgLog::DbgLog(const char* name, const char* directory, std::uint32_t category_mask,
               std::uint32_t limit)
    : fileName(DbgBuildPath(directory, name)), mask(category_mask) {
  DbgInitLimit(*this, limit);
}

}  // namespace vlp
