#include "trqprep/observer.h"

#include <algorithm>
#include <cerrno>

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

// The same for messages that are the same word for word.
std::string KeyOf(const Message& message) {
  std::string key = std::to_string(int(message.code)) + ' ' + std::to_string(int(message.severity));
  for (const std::string& text : {message.file, message.where.dump(), message.text, message.hint}) {
    key += '\0';
    key += text;
  }
  return key;
}

int AnswerBox(const char* text, unsigned buttons, void* user) {
  const KeptError kept;
  Observer& observer = *static_cast<Observer*>(user);
  const std::string line = Flatten(text ? text : "");
  if (buttons == trq::message_box::kYesNoButtons) {
    return observer.Ask(line) ? trq::message_box::kYes : trq::message_box::kNo;
  }
  if (!observer.box_filter || !observer.box_filter(line, observer.box_user)) {
    observer.Warn(Message(Code::kLibraryMessage, observer.current_file, line));
  }
  return trq::message_box::kOk;
}

}  // namespace

Message Observer::Judged(Message message) const {
  const bool judged = strict && message.severity == Severity::kWarning &&
                      std::find(allowed.begin(), allowed.end(), message.code) == allowed.end();
  return judged ? message.As(Severity::kError) : message;
}

void Observer::Say(Message message) {
  message = Judged(WithHint(std::move(message)));
  const bool repeats = each_once_ && !said_.insert(KeyOf(message)).second;
  if (repeats) repeats_.push_back(messages_.size());
  if (!repeats) OnMessage(message);
  messages_.push_back(std::move(message));
}

void Observer::SayEachOnce() {
  each_once_ = true;
  for (const Message& message : messages_) said_.insert(KeyOf(message));
}

void Observer::ForgetRepeats() noexcept {
  size_t kept = 0, repeat = 0;
  for (size_t i = 0; i < messages_.size(); ++i) {
    if (repeat < repeats_.size() && repeats_[repeat] == i) {
      ++repeat;
    } else {
      if (kept != i) messages_[kept] = std::move(messages_[i]);
      ++kept;
    }
  }
  messages_.erase(messages_.begin() + static_cast<std::ptrdiff_t>(kept), messages_.end());
  each_once_ = false;
  said_.clear();
  repeats_.clear();
}

void Observer::Progress(const std::string& what, double share) {
  StopIfCancelled();
  OnProgress(what, share);
}

void Observer::StopIfCancelled() {
  if (Cancelled()) {
    Fail(ExitCode::kInterrupted,
         Message(Code::kInterrupted, "", "interrupted; nothing was left half written"));
  }
}

bool Observer::Ask(const std::string&) { return false; }
void Observer::OnMessage(const Message&) {}
void Observer::OnProgress(const std::string&, double) {}
bool Observer::Cancelled() { return false; }

MessageBoxes::MessageBoxes(Observer& observer) { trq::SetMessageBoxHandler(AnswerBox, &observer); }
MessageBoxes::~MessageBoxes() { trq::SetMessageBoxHandler(nullptr, nullptr); }

}  // namespace trqprep
