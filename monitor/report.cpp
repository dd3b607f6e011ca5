#include "monitor/report.h"

#include <algorithm>
#include <string_view>

#include "monitor/json.h"
#include "monitor/names.h"
#include "monitor/text.h"

namespace monitor {
namespace {

using Row = std::vector<std::string>;

// The first row is the head. `mark` gives the colour of a row's cell, by row and column.
template <typename Mark>
std::string Table(const std::vector<Row>& rows, const Style& style, Mark mark) {
  std::vector<std::size_t> widths;
  for (const Row& row : rows) {
    widths.resize(std::max(widths.size(), row.size()));
    for (std::size_t at = 0; at < row.size(); ++at) {
      widths[at] = std::max(widths[at], Columns(row[at]));
    }
  }
  std::string text;
  for (std::size_t line = 0; line < rows.size(); ++line) {
    const Row& row = rows[line];
    std::size_t pending = 0;
    for (std::size_t at = 0; at < row.size(); ++at) {
      if (!row[at].empty()) {
        text.append(pending, ' ');
        pending = 0;
        text += Painted(row[at], line == 0 ? Colour::kBold : mark(line, at), style);
      }
      pending += widths[at] - Columns(row[at]) + 2;
    }
    text += "\n";
  }
  return text;
}

std::string UseText(std::uint32_t mode) {
  std::string text;
  if ((mode & VLP_MODE_COMMAND) == VLP_MODE_COMMAND) text += " commands";
  if ((mode & VLP_MODE_STATUS) != 0) text += " status";
  if ((mode & VLP_MODE_SHARED) == VLP_MODE_SHARED) text += " shared";
  return text.empty() ? "" : text.substr(1);
}

std::string EntriesJson(const std::vector<Channel>& channels) {
  std::vector<std::string> entries;
  for (const Channel& channel : channels) {
    const char* const name = KindName(channel.kind);
    entries.push_back(JsonObject()
                          .AddText("kind", Hexadecimal(channel.kind, 8))
                          .Add("name", name == nullptr ? "null" : JsonText(name))
                          .AddText("mode", Hexadecimal(channel.mode, 4))
                          .Text());
  }
  return JsonArray(entries);
}

std::string ListJson(const std::vector<ListedPrinter>& printers) {
  std::string text;
  for (const ListedPrinter& printer : printers) {
    std::vector<std::string> channels;
    for (const Channel& channel : printer.answer.channels) {
      channels.push_back(JsonText(KindText(channel.kind)));
    }
    JsonObject object;
    object.AddText("printer", printer.name)
        .Add("port", printer.port ? JsonText(*printer.port) : "null");
    AddResult(object, printer.answer.result).Add("channels", JsonArray(channels));
    text += object.Text() + "\n";
  }
  return text;
}

std::string IdJson(const std::string& printer, const DataAnswer& answer) {
  JsonObject object;
  object.AddText("printer", printer).AddText("operation", "GetDeviceID");
  AddResult(object, answer.result);
  if (answer.result < 0) return object.Add("data", "null").Text() + "\n";
  return object.Add("data", DataJson(answer.data)).Text() + "\n";
}

// One line for each field of the device ID; a piece without a name stands as it is.
std::string FieldLines(std::string_view id) {
  std::string text;
  while (!id.empty()) {
    const std::size_t end = std::min(id.find(';'), id.size());
    const std::string_view field = id.substr(0, end);
    id.remove_prefix(std::min(end + 1, id.size()));
    if (field.empty()) continue;
    const std::size_t colon = field.find(':');
    std::string name = Harmless(field.substr(0, std::min(colon, field.size())));
    if (colon == std::string_view::npos) {
      text += "  " + name + "\n";
      continue;
    }
    const std::size_t columns = Columns(name);
    name.append(columns < 4 ? 4 - columns : 0, ' ');
    text += "  " + name + "  " + Harmless(field.substr(colon + 1)) + "\n";
  }
  return text;
}

}  // namespace

std::string ReportList(const std::vector<ListedPrinter>& printers, const Style& style) {
  if (style.json) return ListJson(printers);
  if (printers.empty()) return "The spooler has no printers.\n";
  std::vector<Row> rows = {{"PRINTER", "PORT", "RESULT", "CHANNELS"}};
  for (const ListedPrinter& printer : printers) {
    std::string channels;
    for (const Channel& channel : printer.answer.channels) {
      channels += (channels.empty() ? "" : " ") + KindText(channel.kind);
    }
    rows.push_back({Harmless(printer.name), Harmless(printer.port.value_or("-")),
                    ResultText(printer.answer.result), channels});
  }
  return Table(rows, style, [&](std::size_t line, std::size_t column) {
    return column == 2 ? ColourOf(printers[line - 1].answer.result) : Colour::kNone;
  });
}

std::string ReportInfo(const std::string& printer, const ConnectAnswer& answer,
                       const Style& style) {
  if (style.json) {
    JsonObject object;
    object.AddText("printer", printer).AddText("operation", "GetConnectInf");
    return AddResult(object, answer.result).Add("entries", EntriesJson(answer.channels)).Text() +
           "\n";
  }
  if (answer.result < 0) return FailureLine(printer, answer.result, style);
  std::vector<Row> rows = {{"CHANNEL", "KIND", "MODE", "TAKES"}};
  for (const Channel& channel : answer.channels) {
    const char* const name = KindName(channel.kind);
    rows.push_back({name == nullptr ? "-" : name, Hexadecimal(channel.kind, 8),
                    Hexadecimal(channel.mode, 4), UseText(channel.mode)});
  }
  return Harmless(printer) + ": " +
         Painted(std::to_string(answer.result), ColourOf(answer.result), style) +
         (answer.result == 1 ? " channel\n" : " channels\n") +
         Table(rows, style, [](std::size_t, std::size_t column) {
           return column == 0 ? Colour::kGood : Colour::kNone;
         });
}

std::string ReportId(const std::string& printer, const DataAnswer& answer, const Style& style) {
  if (style.json) return IdJson(printer, answer);
  if (answer.result < 0) return FailureLine(printer, answer.result, style);
  return Harmless(printer) + ": device ID of " +
         Painted(std::to_string(answer.data.size()), Colour::kGood, style) + " bytes\n" +
         FieldLines(DataText(answer.data));
}

}  // namespace monitor
