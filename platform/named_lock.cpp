#include "platform/named_lock.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>

namespace platform {
namespace {

// A directory of this user alone, or nothing: its place in /tmp can be prepared by others.
std::string shared_directory() {
  const char* chosen = std::getenv("VLPBIDI_SHARED_DIR");
  std::string path = chosen != nullptr && *chosen != '\0'
                         ? std::string(chosen)
                         : "/tmp/vlpbidi-" + std::to_string(getuid());
  mkdir(path.c_str(), 0700);
  struct stat status {};
  if (lstat(path.c_str(), &status) != 0 || !S_ISDIR(status.st_mode)) return "";
  if (status.st_uid != getuid() || (status.st_mode & (S_IWGRP | S_IWOTH)) != 0) return "";
  return path;
}

uint64_t hash(const std::string& text, uint64_t seed) {
  uint64_t value = 0xcbf29ce484222325 ^ seed;
  for (const char byte : text) {
    value ^= static_cast<unsigned char>(byte);
    value *= 0x100000001b3;
  }
  return value;
}

// Names may be longer than file names and hold any byte: a digest stands for them.
std::string file_name(const std::string& name) {
  char text[64];
  std::snprintf(text, sizeof text, "mutex-%016llx%016llx",
                static_cast<unsigned long long>(hash(name, 0)),
                static_cast<unsigned long long>(hash(name, 0x5bd1e995)));
  return text;
}

int open_file(const std::string& path) {
  return ::open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, 0600);
}

bool write_word(int file, uint32_t word) {
  return pwrite(file, &word, sizeof word, 0) == static_cast<ssize_t>(sizeof word);
}

}  // namespace

NamedLock::~NamedLock() {
  if (lock_ >= 0) close(lock_);
  if (presence_ >= 0) close(presence_);
}

NamedLock::Opening NamedLock::open(const std::string& name) {
  const std::string directory = shared_directory();
  if (directory.empty()) return Opening::failed;
  const std::string path = directory + "/" + file_name(name);
  presence_ = open_file(path + ".open");
  lock_ = open_file(path + ".lock");
  if (presence_ < 0 || lock_ < 0) return Opening::failed;
  if (flock(presence_, LOCK_EX | LOCK_NB) == 0) {
    // Nobody has it: what an earlier holder left in the file has gone with its mutex.
    write_word(lock_, 0);
    flock(presence_, LOCK_SH);
    return Opening::created;
  }
  return flock(presence_, LOCK_SH) == 0 ? Opening::existed : Opening::failed;
}

NamedLock::Try NamedLock::try_take() {
  if (flock(lock_, LOCK_EX | LOCK_NB) != 0) return Try::busy;
  uint32_t word = 0;
  const bool left_held = pread(lock_, &word, sizeof word, 0) == ssize_t{sizeof word} && word != 0;
  write_word(lock_, static_cast<uint32_t>(getpid()));
  return left_held ? Try::taken_abandoned : Try::taken;
}

void NamedLock::leave_abandoned() { flock(lock_, LOCK_UN); }

void NamedLock::give_back() {
  write_word(lock_, 0);
  flock(lock_, LOCK_UN);
}

}  // namespace platform
