#include "cli/context.h"

#include "cli/progress.h"
#include "cli/terminal.h"

namespace trqprep {

bool Context::Ask(const std::string& question) {
  if (options.yes) return true;
  if (CanAsk()) return AskPerson(question);
  Note(Message(Code::kAnsweredNo, current_file, question).Hint("--yes answers yes"));
  return false;
}

void Context::OnMessage(const Message& message) {
  if (!silent) WriteErrorStream(RenderMessage(message, ErrorStreamHasColour()));
}

void Context::OnProgress(const std::string& what, double share) { ShowProgress(what, share); }

}  // namespace trqprep
