#include "cli/context.h"

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

void Context::Tell(std::string_view form, const Json& near) {
  const Json units{{"unit", UnitsName(data_units.value_or(this->units()))}};
  text += Fill(form, {&near, &data, &units});
}

void Context::TellEach(const Json& rows, std::string_view form) {
  for (const Json& row : rows) Tell(form, row);
}

void Context::Report(const Json& facts, std::string_view form, const Json& words) {
  State(facts);
  Tell(form, words);
}

void Context::OnMessage(const Message& message) {
  if (!silent) WriteErrorStream(RenderMessage(message, ErrorStreamHasColour()));
}

void Context::OnProgress(const std::string& what, double share) { ShowProgress(what, share); }

}  // namespace trqprep
