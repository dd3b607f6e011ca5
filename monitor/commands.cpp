#include "monitor/commands.h"

#include <windows.h>

#include "monitor/printers.h"
#include "monitor/provider_library.h"
#include "monitor/report.h"
#include "monitor/system.h"
#include "monitor/text.h"

namespace monitor {
namespace {

int RunList(ProviderLibrary& library, const Style& style) {
  const auto printers = ListPrinters();
  if (!printers) {
    return Complain("the spooler doesn't list its printers (error " +
                    std::to_string(GetLastError()) + ")");
  }
  std::vector<ListedPrinter> listed;
  for (const SpoolerPrinter& printer : *printers) {
    ListedPrinter& entry = listed.emplace_back();
    entry.name = Utf8FromAnsi(printer.name);
    if (printer.port) entry.port = Utf8FromAnsi(*printer.port);
    entry.answer = library.GetConnectInf(printer.name);
  }
  WriteOutput(ReportList(listed, style));
  return 0;
}

int ExitOf(std::int32_t result) { return result < 0 ? kExitNegative : 0; }

int RunInfo(ProviderLibrary& library, const Arguments& arguments, const std::string& name,
            const Style& style) {
  const ConnectAnswer answer = library.GetConnectInf(name);
  WriteOutput(ReportInfo(arguments.printer, answer, style));
  return ExitOf(answer.result);
}

int RunId(ProviderLibrary& library, const Arguments& arguments, const std::string& name,
          const Style& style) {
  const DataAnswer answer = library.GetDeviceID(name);
  WriteOutput(ReportId(arguments.printer, answer, style));
  return ExitOf(answer.result);
}

}  // namespace

int RunCommand(const Arguments& arguments) {
  if (arguments.command == Command::kHelp) {
    WriteOutput(UsageText());
    return 0;
  }
  const std::string broken = UseMachine(arguments.machine);
  if (!broken.empty()) return Complain(broken);
  const std::optional<std::string> name = AnsiFromUtf8(arguments.printer);
  if (!name) {
    return Complain("the name \"" + Harmless(arguments.printer) +
                    "\" isn't UTF-8, or has a character that code page " +
                    std::to_string(GetACP()) + " lacks");
  }
  std::string error;
  const auto library = ProviderLibrary::Load(
      arguments.provider.empty() ? DefaultProvider() : arguments.provider, &error);
  if (library == nullptr) return Complain(error);

  const Style style{arguments.json, !arguments.json && OutputTakesColours()};
  switch (arguments.command) {
    case Command::kList:
      return RunList(*library, style);
    case Command::kInfo:
      return RunInfo(*library, arguments, *name, style);
    default:
      return RunId(*library, arguments, *name, style);
  }
}

int Complain(const std::string& text) {
  WriteError("vlpmon: " + text + "\n");
  return kExitWrongUse;
}

}  // namespace monitor
