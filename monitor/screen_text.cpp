#include "monitor/screen_text.h"

#include <algorithm>
#include <cstddef>

#include "monitor/data_view.h"
#include "monitor/names.h"
#include "monitor/text.h"

namespace monitor {
namespace {

constexpr std::size_t kChangesShown = 6;

struct Line {
  std::string text;
  Colour colour = Colour::kNone;
};

// Tenths of a second up to a minute, then whole ones.
std::string Duration(ULONGLONG ms) {
  if (ms < 60'000) return std::to_string(ms / 1000) + "." + std::to_string(ms / 100 % 10) + " s";
  const std::string seconds = std::to_string(ms / 1000 % 60) + " s";
  if (ms < 3'600'000) return std::to_string(ms / 60'000) + " min " + seconds;
  return std::to_string(ms / 3'600'000) + " h " + std::to_string(ms / 60'000 % 60) + " min";
}

ULONGLONG Since(ULONGLONG tick, const Moment& now) { return now.tick > tick ? now.tick - tick : 0; }

std::string ClockText(const SYSTEMTIME& time) { return TimeText(time, ' ').substr(11, 8); }

std::string ChannelText(const WatchLog& log) {
  if (!log.kind) return "not known yet";
  const char* const name = KindName(*log.kind);
  const std::string number = Hexadecimal(*log.kind, 8);
  return name == nullptr ? number : std::string(name) + " " + number;
}

std::string RequestsText(const WatchOrder& order, const WatchLog& log, const Moment& now) {
  std::string text = std::to_string(log.requests);
  if (order.count) text += " of " + std::to_string(*order.count);
  text += ", one every " + std::to_string(order.every_ms) + " ms";
  // Short waits would only flicker.
  const ULONGLONG waited = Since(log.asked_tick, now);
  if (log.asking && waited >= 500) text += ", no answer yet after " + Duration(waited);
  return text;
}

std::string StatusText(const WatchLog& log, const Moment& now) {
  if (!log.status) return "none yet";
  return Counted(log.status->size(), "byte") + ", answered " +
         Duration(Since(log.status_tick, now)) + " ago, the same for " +
         Duration(Since(log.same_since_tick, now));
}

void AddChanges(const WatchLog& log, std::vector<Line>* lines) {
  if (log.changes.empty()) return;
  lines->push_back({});
  lines->push_back({"Changed at " + ClockText(log.changed_time) + ":", Colour::kBold});
  const std::size_t shown = std::min(log.changes.size(), kChangesShown);
  for (std::size_t at = 0; at < shown; ++at) lines->push_back({"  " + log.changes[at]});
  if (shown < log.changes.size()) {
    lines->push_back({"  and " + std::to_string(log.changes.size() - shown) + " more"});
  }
}

void AddFailures(const WatchLog& log, std::vector<Line>* lines) {
  if (log.recent_failures.empty()) return;
  lines->push_back({});
  lines->push_back({"Failed:", Colour::kBold});
  for (const SeenFailure& failure : log.recent_failures) {
    std::string text = "  " + ClockText(failure.time) + "  " + FailureText(failure.result);
    if (failure.times > 1) text += ", " + std::to_string(failure.times) + " times";
    lines->push_back({text, Colour::kBad});
  }
}

// What stands below the status: it must stay in sight however long the status is.
std::vector<Line> Foot(const WatchLog& log) {
  std::vector<Line> lines;
  AddChanges(log, &lines);
  AddFailures(log, &lines);
  lines.push_back({});
  lines.push_back({"Ctrl-C ends the watch."});
  return lines;
}

std::vector<Line> Head(const WatchOrder& order, const WatchLog& log, const Moment& now) {
  const bool failing = log.latest.answer.result < 0;
  return {{Harmless(order.printer) + "   " + ClockText(now.time), Colour::kBold},
          {"channel   " + ChannelText(log)},
          {"requests  " + RequestsText(order, log, now)},
          {"failures  " + std::to_string(log.failures) +
               (failing ? ", the latest request too: " + ResultText(log.latest.answer.result) : ""),
           failing ? Colour::kBad : Colour::kNone},
          {"status    " + StatusText(log, now)},
          {}};
}

std::vector<Line> Body(const WatchLog& log, std::size_t room) {
  std::vector<Line> lines;
  if (!log.status) return lines;
  for (const std::string& line : StatusLines(*log.status)) lines.push_back({"  " + line});
  if (lines.size() > room) {
    const std::size_t left = room == 0 ? 0 : room - 1;
    const std::size_t hidden = lines.size() - left;
    lines.resize(left);
    if (room != 0) lines.push_back({"  and " + Counted(hidden, "line") + " more"});
  }
  return lines;
}

}  // namespace

std::vector<std::string> ScreenLines(const WatchOrder& order, const WatchLog& log,
                                     const Moment& now, const ScreenSize& size,
                                     const Style& style) {
  std::vector<Line> lines = Head(order, log, now);
  const std::vector<Line> foot = Foot(log);
  const std::size_t taken = lines.size() + foot.size();
  const std::vector<Line> body = Body(log, size.rows > taken ? size.rows - taken : 0);
  lines.insert(lines.end(), body.begin(), body.end());
  lines.insert(lines.end(), foot.begin(), foot.end());
  if (lines.size() > size.rows) lines.resize(size.rows);

  std::vector<std::string> texts;
  texts.reserve(lines.size());
  for (const Line& line : lines) {
    texts.push_back(Painted(FirstColumns(line.text, size.columns), line.colour, style));
  }
  return texts;
}

std::string ScreenText(const std::vector<std::string>& lines) {
  // Each line is cleared behind its end and what is below the last one too, so nothing is ever
  // blank in between.
  std::string text = "\x1b[H";
  for (std::size_t at = 0; at < lines.size(); ++at) {
    text += (at == 0 ? "" : "\r\n") + lines[at] + "\x1b[K";
  }
  return text + "\x1b[J";
}

}  // namespace monitor
