/// What a running command works with: the common options, its result, its messages.
#pragma once

#include <fmt/format.h>

#include <optional>
#include <string>
#include <utility>

#include "trqprep/json_text.h"
#include "trqprep/observer.h"

namespace trqprep {

/// Options that stand on many commands under one meaning.
struct CommonOptions {
  bool json = false;
  bool yes = false;
  bool force = false;
  bool accept_partial = false;
  std::string units = "mm";
};

/// Shows messages and progress on the error stream; answers questions with yes under --yes, asks the person
/// at the terminal, or answers no.
class Context : public Observer {
 public:
  CommonOptions options;

  /// The unit of bare lengths and STL files.
  Units units() const { return UnitsFromName(options.units).value_or(Units::kMillimetre); }
  ReadOptions reading() const { return {units(), options.accept_partial}; }

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

  /// Messages are kept for the JSON document only.
  bool silent = false;
  /// The output of the command as people named it; stands in messages for the temporary files made for it.
  std::string result;

  bool Ask(const std::string& question) override;

 protected:
  void OnMessage(const Message& message) override;
  void OnProgress(const std::string& what, double share) override;
};

}  // namespace trqprep
