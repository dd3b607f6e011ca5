// Processes: starting one and waiting for its end (real mode only), leaving this one.

#include <processthreadsapi.h>

#include <consoleapi.h>
#include <pthread.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>
#include <winerror.h>

#include <cstdlib>
#include <string>
#include <vector>

#include "platform/kernel/thread_start.h"

extern char** environ;

namespace platform {
namespace {

struct Process final : Object {
  static constexpr char kKind[] = "process";

  explicit Process(pid_t process) : Object(kKind), id(process) {}
  bool waitable() const override { return true; }
  bool polls() const override { return !ended; }
  bool ready(const Thread&) override {
    int status = 0;
    if (!ended && waitpid(id, &status, WNOHANG) == id) {
      ended = true;
      exit_code =
          static_cast<DWORD>(WIFEXITED(status) ? WEXITSTATUS(status) : 0x80 + WTERMSIG(status));
    }
    return ended;
  }

  const pid_t id;
  bool ended = false;
  DWORD exit_code = STATUS_PENDING;
};

// Splits at blanks outside double quotes.
std::vector<std::string> arguments_of(const std::string& line) {
  std::vector<std::string> arguments;
  bool quoted = false;
  bool within = false;
  for (const char byte : line) {
    if (byte == '"') {
      quoted = !quoted;
      if (!within) arguments.emplace_back();
      within = true;
    } else if (byte == ' ' && !quoted) {
      within = false;
    } else {
      if (!within) arguments.emplace_back();
      within = true;
      arguments.back() += byte;
    }
  }
  return arguments;
}

DWORD start_process(const std::string& program, std::vector<std::string> arguments, pid_t& child) {
  std::vector<char*> pointers;
  for (std::string& argument : arguments) pointers.push_back(argument.data());
  pointers.push_back(nullptr);
  const int error =
      posix_spawn(&child, program.c_str(), nullptr, nullptr, pointers.data(), environ);
  if (error == 0) return ERROR_SUCCESS;
  return error == EACCES ? ERROR_ACCESS_DENIED : ERROR_FILE_NOT_FOUND;
}

Process* find_process(HANDLE handle) {
  Object* object = lookup(handle);
  return object != nullptr && object->kind() == Process::kKind ? static_cast<Process*>(object)
                                                               : nullptr;
}

// Handlers of the console's events, the newest last; with the state lock.
std::vector<PHANDLER_ROUTINE>& handlers() {
  static auto* const all = new std::vector<PHANDLER_ROUTINE>;
  return *all;
}

sigset_t console_signals() {
  sigset_t set;
  sigemptyset(&set);
  sigaddset(&set, SIGUSR2);
  return set;
}

void* serve_console(void*) {
  const sigset_t set = console_signals();
  for (;;) {
    int signal = 0;
    if (sigwait(&set, &signal) != 0) continue;
    std::vector<PHANDLER_ROUTINE> chain;
    {
      const StateGuard guard;
      chain.assign(handlers().rbegin(), handlers().rend());
      happens_after(&handlers());
    }
    bool handled = false;
    for (PHANDLER_ROUTINE handler : chain) {
      handled = handler(CTRL_C_EVENT) != FALSE;
      if (handled) break;
    }
    if (!handled) _exit(128 + SIGINT);
  }
}

pthread_t console_thread;

// The only thing that is safe in a signal: passing it on to the thread that waits for it.
void pass_on(int) { pthread_kill(console_thread, SIGUSR2); }

bool start_console_thread() {
  static bool started = false;
  if (started) return true;
  // Blocked here for the new thread to inherit; only that thread is ever sent it.
  const sigset_t set = console_signals();
  pthread_sigmask(SIG_BLOCK, &set, nullptr);
  if (pthread_create(&console_thread, nullptr, serve_console, nullptr) != 0) return false;
  pthread_detach(console_thread);
  struct sigaction action {};
  action.sa_handler = pass_on;
  action.sa_flags = SA_RESTART;
  sigaction(SIGINT, &action, nullptr);
  sigaction(SIGTERM, &action, nullptr);
  started = true;
  return true;
}

}  // namespace
}  // namespace platform

using platform::Call;
using platform::fail_with;
using platform::Fails;
using platform::StateGuard;

BOOL WINAPI CreateProcessA(LPCSTR application, LPSTR command_line, LPSECURITY_ATTRIBUTES,
                           LPSECURITY_ATTRIBUTES, BOOL, DWORD, LPVOID, LPCSTR, LPSTARTUPINFOA,
                           LPPROCESS_INFORMATION information) {
  const Call call("CreateProcessA");
  if (call.fault()) return fail_with(*call.fault());
  if (platform::current_mode() != platform::Mode::real) {
    platform::stop("CreateProcessA in a virtual scenario: a child process has no place in it");
  }
  auto arguments = platform::arguments_of(command_line != nullptr ? command_line : application);
  if (arguments.empty()) return fail_with(ERROR_PATH_NOT_FOUND);
  const std::string program = application != nullptr ? application : arguments[0];
  pid_t child = 0;
  const DWORD error = platform::start_process(program, std::move(arguments), child);
  if (error != ERROR_SUCCESS) return fail_with(error);
  auto* process = new platform::Process(child);
  const StateGuard guard;
  *information = {};
  information->hProcess = platform::add_handle_locked(process, "CreateProcessA");
  // Its first thread is not to be had; the handle stands for the same end.
  information->hThread = platform::add_handle_locked(process, "CreateProcessA");
  information->dwProcessId = static_cast<DWORD>(child);
  return TRUE;
}

BOOL WINAPI GetExitCodeProcess(HANDLE handle, LPDWORD exit_code) {
  const Call call("GetExitCodeProcess");
  if (call.fault()) return fail_with(*call.fault());
  platform::Thread& thread = platform::self();
  const StateGuard guard;
  platform::Process* process = platform::find_process(handle);
  if (process == nullptr) return fail_with(ERROR_INVALID_HANDLE);
  process->ready(thread);
  *exit_code = process->exit_code;
  return TRUE;
}

BOOL WINAPI TerminateProcess(HANDLE handle, UINT exit_code) {
  const Call call("TerminateProcess");
  if (call.fault()) return fail_with(*call.fault());
  if (handle == GetCurrentProcess()) _exit(static_cast<int>(exit_code));
  const StateGuard guard;
  const platform::Process* process = platform::find_process(handle);
  if (process == nullptr) return fail_with(ERROR_INVALID_HANDLE);
  return kill(process->id, SIGKILL) == 0 ? TRUE : fail_with(ERROR_ACCESS_DENIED);
}

HANDLE WINAPI GetCurrentProcess(VOID) { return INVALID_HANDLE_VALUE; }

DWORD WINAPI GetCurrentProcessId(VOID) { return static_cast<DWORD>(getpid()); }

VOID WINAPI ExitProcess(UINT exit_code) {
  platform::end_process_soon();
  std::exit(static_cast<int>(exit_code));
}

BOOL WINAPI SetConsoleCtrlHandler(PHANDLER_ROUTINE handler, BOOL add) {
  const Call call("SetConsoleCtrlHandler");
  if (call.fault()) return fail_with(*call.fault());
  if (handler == nullptr) {
    signal(SIGINT, add != FALSE ? SIG_IGN : SIG_DFL);
    return TRUE;
  }
  const StateGuard guard;
  auto& all = platform::handlers();
  if (add != FALSE) {
    if (!platform::start_console_thread()) return fail_with(ERROR_NOT_ENOUGH_MEMORY);
    platform::happens_before(&all);
    all.push_back(handler);
    return TRUE;
  }
  return std::erase(all, handler) != 0 ? TRUE : fail_with(ERROR_INVALID_PARAMETER);
}
