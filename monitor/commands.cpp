#include "monitor/commands.h"

#include <windows.h>

#include "monitor/exchange.h"
#include "monitor/payload.h"
#include "monitor/printers.h"
#include "monitor/provider_library.h"
#include "monitor/report.h"
#include "monitor/report_exchange.h"
#include "monitor/system.h"
#include "monitor/text.h"
#include "monitor/watch.h"

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

int RunStatus(ProviderLibrary& library, const Arguments& arguments, const std::string& name,
              const Style& style) {
  StatusReader reader(library, name, arguments.kind);
  if (arguments.watch) {
    const WatchOrder order{arguments.printer, arguments.every_ms, arguments.count};
    // Where colours work a screen does.
    const bool sound =
        style.colours ? WatchOnScreen(reader, order, style) : WatchInLines(reader, order, style);
    return sound ? 0 : kExitNegative;
  }
  const StatusReading reading = reader.Read();
  WriteOutput(ReportStatus(arguments.printer, reading, style));
  return ExitOf(reading.answer.result);
}

int RunSend(ProviderLibrary& library, const Arguments& arguments, const std::string& name,
            const std::vector<std::uint8_t>& bytes, const Style& style) {
  const SendOutcome outcome = SendTo(library, name, arguments.kind.value_or(0), bytes);
  WriteOutput(ReportSend(arguments.printer, outcome, style));
  return ExitOf(outcome.answer.result);
}

int RunThrough(ProviderLibrary& library, const Arguments& arguments, const std::string& name,
               const std::vector<std::uint8_t>& bytes, const Style& style) {
  const SendOutcome outcome = SendThroughTo(library, name, arguments.kind.value_or(0), bytes);
  WriteOutput(ReportThrough(arguments.printer, outcome, style));
  return ExitOf(outcome.answer.result);
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
  std::vector<std::uint8_t> bytes;
  if (arguments.source != Source::kNone) {
    const std::string wrong = ReadPayloadBytes(arguments, &bytes);
    if (!wrong.empty()) return Complain(wrong);
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
    case Command::kId:
      return RunId(*library, arguments, *name, style);
    case Command::kStatus:
      return RunStatus(*library, arguments, *name, style);
    case Command::kSend:
      return RunSend(*library, arguments, *name, bytes, style);
    default:
      return RunThrough(*library, arguments, *name, bytes, style);
  }
}

int Complain(const std::string& text) {
  WriteError("vlpmon: " + text + "\n");
  return kExitWrongUse;
}

}  // namespace monitor
