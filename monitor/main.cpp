// vlpmon: shows what the printers of a computer say of themselves.

#include <windows.h>

#include <exception>

#include "monitor/arguments.h"
#include "monitor/commands.h"
#include "monitor/live_screen.h"
#include "monitor/system.h"

namespace {

// Runs on a thread of the system's, beside whatever hangs. Nothing is tidied up, for that
// could hang as well, but the person gets the screen back.
BOOL WINAPI EndAtOnce(DWORD) {
  monitor::EndLiveScreen();
  TerminateProcess(GetCurrentProcess(), monitor::kExitInterrupted);
  return TRUE;
}

}  // namespace

int main(int argc, char** argv) {
  try {
    SetConsoleCtrlHandler(&EndAtOnce, TRUE);
    monitor::Arguments arguments;
    const std::string wrong =
        monitor::ReadArguments(monitor::ProgramArguments(argc, argv), &arguments);
    if (!wrong.empty()) {
      return monitor::Complain(wrong + "\nvlpmon --help says more");
    }
    return monitor::RunCommand(arguments);
  } catch (const std::exception& failure) {
    return monitor::Complain(failure.what());
  }
}
