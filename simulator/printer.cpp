#include "simulator/printer.h"

#include "simulator/status_report.h"

#include <algorithm>
#include <utility>

namespace simulator {
namespace {

const char* name_of(Mode mode) {
  switch (mode) {
    case Mode::job:
      return "the job language";
    case Mode::remote:
      return "REMOTE1";
    case Mode::page:
      return "the page language";
    case Mode::idle:
    case Mode::lost:
      break;
  }
  return "no language";
}

}  // namespace

void Printer::write(View bytes, uint64_t now_ms, Way way) {
  Reader& reader = readers_[way];
  begin_message(reader);
  append(reader.pending, bytes);
  read(way, false, now_ms);
}

void Printer::begin_message(Reader& reader) {
  if (reader.began) {
    return;
  }
  reader.began = true;
  reader.answered = false;
  reader.label_unanswered = false;
  emitted_ = 0;
  pushes_.insert(pushes_.end(), options_.pushes.begin(), options_.pushes.end());
}

void Printer::read(Way way, bool whole, uint64_t now_ms) {
  Reader& reader = readers_[way];
  size_t used = 0;
  while (reader.state.mode != Mode::lost && used < reader.pending.size()) {
    const Step step = next_step(way, reader, View(reader.pending).subspan(used), whole);
    if (step.used == 0 && step.breach.empty()) {
      break;
    }
    perform(way, reader, step, now_ms);
    used += step.used;
  }
  if (reader.state.mode == Mode::lost) {
    reader.pending.clear();
    return;
  }
  reader.pending.erase(reader.pending.begin(),
                       reader.pending.begin() + static_cast<std::ptrdiff_t>(used));
}

std::optional<Step> Printer::scripted_step(Way way, const Reader& reader, View input,
                                           bool whole) const {
  const Script* best = nullptr;
  for (const Script& script : options_.scripts) {
    const Match match = script.command.empty() ? Match::no : match_front(input, script.command);
    if (match == Match::part && !whole) {
      return wait_for_more(reader.state);
    }
    if (match == Match::whole &&
        (best == nullptr || script.command.size() > best->command.size())) {
      best = &script;
    }
  }
  if (best == nullptr) {
    return std::nullopt;
  }
  Step step = best->reply.empty() ? silent(best->command.size(), reader.state)
                                  : replied(best->command.size(), reader.state, best->reply);
  step.label = way == Way::data && reader.state.mode == Mode::idle && speaks(options_, "ZRDLABEL");
  return step;
}

Step Printer::next_step(Way way, const Reader& reader, View input, bool whole) const {
  if (auto step = scripted_step(way, reader, input, whole)) {
    return *step;
  }
  switch (reader.state.mode) {
    case Mode::job:
      return read_job(input, reader.state, options_);
    case Mode::remote:
      return read_remote(input, reader.state, options_);
    case Mode::page:
      return read_page(input, reader.state, options_);
    case Mode::idle:
    case Mode::lost:
      break;
  }
  if (way == Way::fax) {
    return read_fax(input, reader.state, options_);
  }
  if (way == Way::remote && input[0] != 0x1B) {
    if (!speaks(options_, "BDC")) {
      return refused("REMOTE1 commands, but this printer hasn't REMOTE1");
    }
    Step step = read_two_letters(input, {.mode = Mode::remote}, options_);
    step.next.mode = step.breach.empty() ? Mode::idle : Mode::lost;
    return step;
  }
  return read_idle(input, reader.state, options_);
}

void Printer::perform(Way way, Reader& reader, const Step& step, uint64_t now_ms) {
  if (!step.breach.empty()) {
    breaches_.push_back(step.breach);
    reader.state = step.next;
    return;
  }
  if (step.label && !reader.answered) {
    reader.label_unanswered = true;
  }
  if (step.kind != ReplyKind::none && way != Way::remote) {
    Bytes answer = step.kind == ReplyKind::status
                       ? status_item(options_, form_of(step.form, reader))
                       : step.reply;
    if (step.kind == ReplyKind::command && answer.size() > 1) {
      answer = with_pushed(PushPlace::inside, reader, std::move(answer));
    }
    emit(with_pushed(PushPlace::before, reader, std::move(answer)), now_ms);
    reader.answered = true;
    reader.label_unanswered = false;
  }
  reader.state = step.next;
}

StatusForm Printer::form_of(StatusForm wanted, const Reader& reader) const {
  if (wanted != StatusForm::own) {
    return wanted;
  }
  // What comes behind a message finds its language left already.
  const bool job_only = speaks(options_, "QPL") && !speaks(options_, "BDC");
  if (reader.state.mode == Mode::page || job_only) {
    return StatusForm::job;
  }
  return options_.status_form;
}

Bytes Printer::pushed(PushPlace place, const Reader& reader) {
  Bytes items;
  for (const StatusPush& push : pushes_) {
    for (uint32_t i = 0; push.place == place && i < push.count; ++i) {
      append(items, status_item(options_, form_of(push.form, reader)));
    }
  }
  std::erase_if(pushes_, [place](const StatusPush& push) { return push.place == place; });
  return items;
}

// The answer with the items in front of it or in its middle.
Bytes Printer::with_pushed(PushPlace place, const Reader& reader, Bytes bytes) {
  const Bytes items = pushed(place, reader);
  const size_t at = place == PushPlace::inside ? bytes.size() / 2 : 0;
  bytes.insert(bytes.begin() + static_cast<std::ptrdiff_t>(at), items.begin(), items.end());
  return bytes;
}

void Printer::emit(Bytes bytes, uint64_t now_ms) {
  if (options_.mute) {
    return;
  }
  if (options_.silent_after) {
    const uint64_t left =
        *options_.silent_after - std::min<uint64_t>(emitted_, *options_.silent_after);
    bytes.resize(std::min<size_t>(bytes.size(), static_cast<size_t>(left)));
  }
  emitted_ += bytes.size();
  const size_t most = options_.piece_bytes == 0 ? bytes.size() : options_.piece_bytes;
  for (size_t at = 0; at < bytes.size();) {
    uint64_t due = now_ms + options_.latency_ms;
    // What isn't under way yet is filled up first, so that pieces know nothing of answers.
    const bool fill = !output_.empty() && options_.piece_bytes != 0 &&
                      output_.back().bytes.size() < most && output_.back().due_ms >= due;
    if (!fill) {
      if (!output_.empty()) {
        due = std::max(due, last_due_ms_ + (options_.piece_bytes == 0 ? 0 : options_.piece_ms));
      }
      output_.push_back({due, {}});
      last_due_ms_ = due;
    }
    Bytes& piece = output_.back().bytes;
    const size_t count = std::min(most - std::min(most, piece.size()), bytes.size() - at);
    append(piece, View(bytes).subspan(at, count));
    at += count;
  }
}

void Printer::end_message(uint64_t now_ms, Way way) {
  Reader& reader = readers_[way];
  begin_message(reader);
  read(way, true, now_ms);
  if (!reader.pending.empty()) {
    breaches_.push_back("the message ended inside " + shown(reader.pending));
    reader.state = {};
  } else if (reader.state.mode == Mode::job || reader.state.mode == Mode::remote) {
    breaches_.push_back("the message ended inside " + std::string(name_of(reader.state.mode)));
  }
  if (reader.label_unanswered) {
    emit(Bytes{0}, now_ms);
    reader.answered = true;
  }
  if (reader.answered) {
    emit(pushed(PushPlace::behind, reader), now_ms);
  }
  reader.pending.clear();
  reader.began = false;
  if (reader.state.mode != Mode::page) {
    reader.state = {};
  }
}

void Printer::end_exchange() {
  for (auto& [way, reader] : readers_) {
    if (reader.state.mode != Mode::idle) {
      breaches_.push_back("the exchange ended inside " + std::string(name_of(reader.state.mode)));
    }
    reader = {};
  }
}

std::optional<uint64_t> Printer::next_due() const {
  return output_.empty() ? std::nullopt : std::optional(output_.front().due_ms);
}

Bytes Printer::take(uint64_t now_ms) {
  Bytes bytes;
  while (!output_.empty() && output_.front().due_ms <= now_ms) {
    append(bytes, output_.front().bytes);
    output_.pop_front();
  }
  return bytes;
}

std::vector<std::string> Printer::take_breaches() { return std::exchange(breaches_, {}); }

}  // namespace simulator
