/// What a running command works with: the common options, its result, its messages.
#pragma once

#include <fmt/format.h>

#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "trqprep/exit_codes.h"
#include "trqprep/json_text.h"
#include "trqprep/message.h"
#include "trqprep/quantities.h"

namespace trqprep {

/// Options that stand on many commands under one meaning.
struct CommonOptions {
  bool json = false;
  bool yes = false;
  bool force = false;
  bool accept_partial = false;
  std::string units = "mm";
};

class Context {
 public:
  CommonOptions options;

  /// The unit of bare lengths and STL files.
  Units units() const { return UnitsFromName(options.units).value_or(Units::kMillimetre); }

  // --- the result -------------------------------------------------------------------------------------
  /// The "data" of the JSON document; an object.
  Json data = Json::object();
  /// The unit of the lengths in `data` where an entry names no other; units() when unset.
  std::optional<Units> data_units;
  /// Adds to the result as text, which goes to standard output unless --json is given.
  template <class... Arguments>
  void Print(fmt::format_string<Arguments...> format, Arguments&&... arguments) {
    text += fmt::format(format, std::forward<Arguments>(arguments)...);
  }
  std::string text;

  // --- messages ---------------------------------------------------------------------------------------
  /// Shows the message on the error stream at once, unless `silent`, and keeps it for the JSON document.
  void Say(Message message);
  void Note(Message message) { Say(message.As(Severity::kNote)); }
  void Warn(Message message) { Say(message.As(Severity::kWarning)); }
  void Error(Message message) { Say(message.As(Severity::kError)); }
  const std::vector<Message>& messages() const { return messages_; }
  bool silent = false;

  /// The file and the work in hand, named in messages that come from the library's message boxes.
  std::string current_file;
  /// The output of the command as people named it; stands in messages for the temporary files made for it.
  std::string result;
  /// Sees every message box first; true when it dealt with an OK box itself.
  bool (*box_filter)(const std::string& text, void* user) = nullptr;
  void* box_user = nullptr;

 private:
  std::vector<Message> messages_;
};

/// Answers the library's message boxes while it lives: OK boxes become warnings (LIBRARY-MESSAGE), questions
/// are answered no, yes with --yes, or by the person at the terminal.
class MessageBoxes {
 public:
  explicit MessageBoxes(Context& context);
  ~MessageBoxes();
  MessageBoxes(const MessageBoxes&) = delete;
  MessageBoxes& operator=(const MessageBoxes&) = delete;
};

}  // namespace trqprep
