#include "cli/context.h"

#include <cerrno>

#include "cli/terminal.h"
#include "trq/host.h"

namespace trqprep {
namespace {

// Box texts carry line breaks for a window; a message is one line.
std::string Flatten(const std::string& text) {
  std::string line;
  for (const char c : text) {
    const bool blank = c == '\n' || c == '\r' || c == '\t' || c == ' ';
    if (!blank) {
      line += c;
    } else if (!line.empty() && line.back() != ' ') {
      line += ' ';
    }
  }
  while (!line.empty() && line.back() == ' ') line.pop_back();
  return line;
}

// What the system said last; a box that the library shows over it is not to change the reason.
class KeptError {
 public:
  KeptError() = default;
  KeptError(const KeptError&) = delete;
  KeptError& operator=(const KeptError&) = delete;
  ~KeptError() { errno = error_; }

 private:
  int error_ = errno;
};

int AnswerBox(const char* text, unsigned buttons, void* user) {
  const KeptError kept;
  Context& context = *static_cast<Context*>(user);
  const std::string line = Flatten(text ? text : "");
  if (buttons != trq::message_box::kYesNoButtons) {
    if (!context.box_filter || !context.box_filter(line, context.box_user)) {
      context.Warn(Message("LIBRARY-MESSAGE", context.current_file, line));
    }
    return trq::message_box::kOk;
  }
  if (context.options.yes) return trq::message_box::kYes;
  if (CanAsk()) return Ask(line) ? trq::message_box::kYes : trq::message_box::kNo;
  context.Note(Message("ANSWERED-NO", context.current_file, line).Hint("--yes answers yes"));
  return trq::message_box::kNo;
}

}  // namespace

void Context::Say(Message message) {
  if (!silent) WriteErrorStream(RenderMessage(message, ErrorStreamHasColour()));
  messages_.push_back(std::move(message));
}

MessageBoxes::MessageBoxes(Context& context) { trq::SetMessageBoxHandler(AnswerBox, &context); }
MessageBoxes::~MessageBoxes() { trq::SetMessageBoxHandler(nullptr, nullptr); }

}  // namespace trqprep
