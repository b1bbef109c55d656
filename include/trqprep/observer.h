/// What the caller of a piece of work hears and decides while it runs.
#pragma once

#include <set>
#include <string>
#include <utility>
#include <vector>

#include "trqprep/message.h"
#include "trqprep/quantities.h"

namespace trqprep {

/// How files are read whose contents leave something open.
struct ReadOptions {
  Units units = Units::kMillimetre;  ///< of STL files and bare lengths
  bool accept_partial = false;       ///< take the facets there are when an STL file is cut
  bool units_given = false;          ///< somebody said what unit the files are in
};

/// Every long piece of work takes one. A plain Observer listens in silence, keeps the messages, answers
/// questions with no and never cancels. Called on the thread that does the work; an overriding function may
/// throw, which ends the work as a Failure does.
class Observer {
 public:
  Observer() = default;
  Observer(const Observer&) = delete;
  Observer& operator=(const Observer&) = delete;
  virtual ~Observer() = default;

  /// Keeps the message after OnMessage has seen it.
  void Say(Message message);
  void Note(Message message) { Say(message.As(Severity::kNote)); }
  void Warn(Message message) { Say(message.As(Severity::kWarning)); }
  void Error(Message message) { Say(message.As(Severity::kError)); }
  /// All that was said so far.
  const std::vector<Message>& messages() const { return messages_; }
  /// From now on OnMessage does not see again what was said before, word for word. messages() has it again,
  /// until ForgetRepeats.
  void SayEachOnce();
  /// Takes them out of messages() and ends what SayEachOnce began.
  void ForgetRepeats() noexcept;

  /// Announces the next piece of work: `share` of the whole (0..1) is done when it begins. Fails as
  /// StopIfCancelled does.
  void Progress(const std::string& what, double share);
  /// Throws Failure with ExitCode::kInterrupted once Cancelled() says so. Long loops call it.
  void StopIfCancelled();

  /// True for yes. The question is one line.
  virtual bool Ask(const std::string& question);

  /// The file in hand, named in messages that come from the library's message boxes.
  std::string current_file;
  /// Warnings are errors, but for those with an allowed code.
  bool strict = false;
  std::vector<Code> allowed;
  /// The message with the severity that it is said with.
  Message Judged(Message message) const;
  /// Sees every message box first; true when it dealt with an OK box itself.
  bool (*box_filter)(const std::string& text, void* user) = nullptr;
  void* box_user = nullptr;

 protected:
  virtual void OnMessage(const Message& message);
  virtual void OnProgress(const std::string& what, double share);
  /// True when the work is to end before it is done.
  virtual bool Cancelled();

 private:
  std::vector<Message> messages_;
  bool each_once_ = false;
  std::set<std::string> said_;   // since SayEachOnce, and before
  std::vector<size_t> repeats_;  // among the messages
};

/// While it lives, the observer hears the library's message boxes: OK boxes as warnings (LIBRARY-MESSAGE),
/// questions through Ask. One at a time in a thread.
class MessageBoxes {
 public:
  explicit MessageBoxes(Observer& observer);
  ~MessageBoxes();
  MessageBoxes(const MessageBoxes&) = delete;
  MessageBoxes& operator=(const MessageBoxes&) = delete;
};

}  // namespace trqprep
