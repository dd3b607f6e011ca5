#include "monitor/report_exchange.h"

#include <cstddef>

#include "monitor/data_view.h"
#include "monitor/names.h"
#include "monitor/text.h"

namespace monitor {
namespace {

std::string Padded(unsigned number, std::size_t digits) {
  std::string text = std::to_string(number);
  return text.size() < digits ? text.insert(0, digits - text.size(), '0') : text;
}

std::string Indented(const std::vector<std::string>& lines) {
  std::string text;
  for (const std::string& line : lines) text += "  " + line + "\n";
  return text;
}

std::string KindJson(std::optional<ChannelKind> kind) {
  return kind ? JsonText(KindText(*kind)) : "null";
}

JsonObject StatusJson(const std::string& printer, const StatusReading& reading) {
  JsonObject object;
  object.AddText("printer", printer)
      .AddText("operation", reading.operation)
      .Add("kind", KindJson(reading.kind));
  const bool failed = reading.answer.result < 0;
  return AddResult(object, reading.answer.result)
      .Add("data", failed ? "null" : DataJson(reading.answer.data));
}

JsonObject OutcomeJson(const std::string& printer, const SendOutcome& outcome) {
  JsonObject object;
  object.AddText("printer", printer)
      .AddText("operation", outcome.operation)
      .Add("kind", KindJson(outcome.kind));
  return AddResult(object, outcome.answer.result);
}

std::string SentText(const std::string& printer, const SendOutcome& outcome, const Style& style) {
  const auto sent = static_cast<std::size_t>(outcome.answer.result);
  return Harmless(printer) + ": " + Painted(std::to_string(sent), Colour::kGood, style) +
         (sent == 1 ? " byte" : " bytes") + " sent over " + KindText(outcome.kind);
}

const char* StepText(Step step) {
  switch (step) {
    case Step::kFirst:
      return "first    ";
    case Step::kUnchanged:
      return "unchanged";
    case Step::kChanged:
      return "changed  ";
    default:
      return "failed   ";
  }
}

}  // namespace

std::string ReportStatus(const std::string& printer, const StatusReading& reading,
                         const Style& style) {
  if (style.json) return StatusJson(printer, reading).Text() + "\n";
  if (reading.answer.result < 0) return FailureLine(printer, reading.answer.result, style);
  const std::size_t size = reading.answer.data.size();
  return Harmless(printer) + ": status of " + Painted(std::to_string(size), Colour::kGood, style) +
         (size == 1 ? " byte" : " bytes") + " over " + KindText(reading.kind.value_or(0)) + "\n" +
         Indented(StatusLines(reading.answer.data));
}

std::string ReportSend(const std::string& printer, const SendOutcome& outcome, const Style& style) {
  const SendAnswer& answer = outcome.answer;
  if (style.json) {
    return OutcomeJson(printer, outcome)
               .Add("data", answer.reply ? DataJson(*answer.reply) : "null")
               .Text() +
           "\n";
  }
  if (answer.result < 0) return FailureLine(printer, answer.result, style);
  const std::string sent = SentText(printer, outcome, style);
  if (!answer.reply) return sent + ", whether a reply came can't be told\n";
  if (answer.reply->empty()) return sent + ", empty reply\n";
  return sent + ", reply of " + Counted(answer.reply->size(), "byte") + "\n" +
         Indented(ReplyLines(*answer.reply));
}

std::string ReportThrough(const std::string& printer, const SendOutcome& outcome,
                          const Style& style) {
  if (style.json) return OutcomeJson(printer, outcome).Text() + "\n";
  if (outcome.answer.result < 0) return FailureLine(printer, outcome.answer.result, style);
  return SentText(printer, outcome, style) + " as they stand\n";
}

std::string ReportReading(const std::string& printer, const StatusReading& reading, Step step,
                          const SYSTEMTIME& time, const Style& style) {
  if (style.json) {
    return StatusJson(printer, reading)
               .AddText("time", TimeText(time, 'T'))
               .Add("changed", step == Step::kChanged ? "true" : "false")
               .Text() +
           "\n";
  }
  const std::string channel = reading.kind ? KindText(*reading.kind) : "-";
  const std::string start = TimeText(time, ' ') + "  " + channel + "  " + StepText(step) + "  ";
  if (reading.answer.result < 0) return start + FailureText(reading.answer.result) + "\n";
  return start + Counted(reading.answer.data.size(), "byte") + "  " +
         Harmless(DataText(reading.answer.data)) + "\n";
}

std::string TimeText(const SYSTEMTIME& time, char between) {
  return Padded(time.wYear, 4) + "-" + Padded(time.wMonth, 2) + "-" + Padded(time.wDay, 2) +
         between + Padded(time.wHour, 2) + ":" + Padded(time.wMinute, 2) + ":" +
         Padded(time.wSecond, 2) + "." + Padded(time.wMilliseconds, 3);
}

}  // namespace monitor
