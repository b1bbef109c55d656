#include "cli/context.h"

#include <algorithm>
#include <map>

#include "cli/fill.h"
#include "cli/progress.h"
#include "cli/terminal.h"

namespace trqprep {

bool Context::Ask(const std::string& question) {
  if (options.yes) return true;
  if (CanAsk()) return AskPerson(question);
  Note(Message(Code::kAnsweredNo, current_file, question).Hint("--yes answers yes"));
  return false;
}

std::string Context::Filled(std::string_view form, const Json& near) const {
  const Json units{{"unit", UnitsName(data_units.value_or(this->units()))}};
  return Fill(form, {&near, &data, &units});
}

void Context::Tell(std::string_view form, const Json& near) { text += Filled(form, near); }

void Context::TellEach(const Json& rows, std::string_view form) {
  if (rows.is_rows()) {
    rows_to_tell_.push_back({std::exchange(text, ""), rows, std::string(form)});
  } else {
    rows.ForEach([&](const Json& row) { Tell(form, row); });
  }
}

void Context::WriteText(const Json::Sink& sink) const {
  for (const RowsToTell& told : rows_to_tell_) {
    std::string piece = told.before;
    told.rows.ForEach([&](const Json& row) {
      piece += Filled(told.form, row);
      if (piece.size() > 1 << 16) sink(std::exchange(piece, ""));
    });
    sink(piece);
  }
  sink(text);
}

void Context::Report(const Json& facts, std::string_view form, const Json& words) {
  State(facts);
  Tell(form, words);
}

void Context::OnMessage(const Message& message) {
  const bool ends = message.code == Code::kNoMemory || message.code == Code::kInternal;
  if (silent || (gathered_from_ && !ends)) return;
  WriteErrorStream(RenderMessage(message, ErrorStreamHasColour()));
}

void Context::Gather() {
  if (!options.all) gathered_from_ = messages().size();
}

std::string CountedCodes(const std::vector<const Message*>& messages) {
  std::vector<std::pair<Code, size_t>> counts;
  for (const Message* message : messages) {
    const auto found =
        std::find_if(counts.begin(), counts.end(), [&](const auto& c) { return c.first == message->code; });
    if (found == counts.end()) {
      counts.emplace_back(message->code, 1);
    } else {
      ++found->second;
    }
  }
  std::string text;
  for (const auto& [code, count] : counts) {
    text += fmt::format("{}{}", text.empty() ? "" : ", ", RowOf(code).text);
    if (count > 1) text += fmt::format(" ({})", count);
  }
  return text;
}

void Context::TellGathered() {
  if (!gathered_from_) return;
  const size_t first = *gathered_from_;
  gathered_from_.reset();
  std::map<std::pair<Severity, Code>, std::vector<const Message*>> by_code;
  std::vector<std::pair<std::string, std::vector<const Message*>>> by_file;
  std::map<std::string, size_t> number_of_file;
  for (size_t i = first; i < messages().size(); ++i) {
    const Message& message = messages()[i];
    by_code[{message.severity, message.code}].push_back(&message);
    const auto [file, fresh] = number_of_file.try_emplace(message.file, by_file.size());
    if (fresh) by_file.push_back({message.file, {}});
    by_file[file->second].second.push_back(&message);
  }
  const bool repeats =
      std::any_of(by_code.begin(), by_code.end(), [](const auto& entry) { return entry.second.size() > 1; });
  if (silent) return;
  for (const auto& [file, said] : by_file) {
    if (!repeats || files_are_told || file.empty()) continue;
    WriteErrorStream(fmt::format("trqprep: {}: {}\n", OneLine(file), CountedCodes(said)));
  }
  // The worst first.
  for (auto entry = by_code.rbegin(); entry != by_code.rend(); ++entry) {
    const auto& said = entry->second;
    const Message& message = *said.front();
    if (said.size() == 1) {
      OnMessage(message);
      continue;
    }
    const MessageRow& row = RowOf(message.code);
    const size_t files = size_t(std::count_if(by_file.begin(), by_file.end(), [&](const auto& file) {
      return std::any_of(file.second.begin(), file.second.end(), [&](const Message* other) {
        return other->code == message.code && other->severity == message.severity;
      });
    }));
    std::string where = files == 1 ? OneLine(message.file) : fmt::format("{} files", files);
    if (said.size() > files) where += fmt::format("{}{} times", where.empty() ? "" : ", ", said.size());
    WriteErrorStream(
        RenderMessage(Message(message.code, "", fmt::format("{}: {}; hint: {}", where, row.title, row.hint))
                          .As(message.severity),
                      ErrorStreamHasColour()));
  }
}

void Context::OnProgress(const std::string& what, double share) { ShowProgress(what, share); }

}  // namespace trqprep
