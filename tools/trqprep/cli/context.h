/// What a running command works with: the common options, its result, its messages.
#pragma once

#include <fmt/format.h>

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "trqprep/json_text.h"
#include "trqprep/observer.h"

namespace trqprep {

/// Options that stand on many commands under one meaning.
struct CommonOptions {
  bool json = false;
  bool yes = false;
  bool force = false;
  bool accept_partial = false;
  bool follow_links = false;
  bool all = false;
  std::string units = "mm";
  bool units_given = false;  ///< on the command line
};

/// "OPEN-EDGES, SEALED-VOID (18)"
std::string CountedCodes(const std::vector<const Message*>& messages);

/// Shows messages and progress on the error stream; answers questions with yes under --yes, asks the person
/// at the terminal, or answers no.
class Context : public Observer {
 public:
  CommonOptions options;

  /// The unit of bare lengths and STL files.
  Units units() const { return UnitsFromName(options.units).value_or(Units::kMillimetre); }
  ReadOptions reading() const { return {units(), options.accept_partial, options.units_given}; }

  // --- the result -------------------------------------------------------------------------------------
  /// The "data" of the JSON document; an object.
  Json data = Json::object();
  /// The unit of the lengths in `data` where an entry names no other; units() when unset.
  std::optional<Units> data_units;
  /// Puts facts into the data, behind those that are there.
  void State(const Json& facts) { data.update(facts); }
  /// Adds to the result as text, which goes to standard output unless --json is given: the form filled with
  /// facts (tools/trqprep/cli/fill.h) of `near`, which may be words for people alone, of the data, and
  /// {unit}, that of the lengths.
  void Tell(std::string_view form, const Json& near = Json());
  /// The same once for each of the rows; for rows made on demand when the text is written.
  void TellEach(const Json& rows, std::string_view form);
  /// Adds facts, and what they say as text.
  void Report(const Json& facts, std::string_view form, const Json& words = Json());
  std::string text;
  /// Gives all that was told to `sink`, in pieces.
  void WriteText(const Json::Sink& sink) const;

  /// Holds messages back that follow, of several files, unless --all; TellGathered gives them.
  void Gather();
  /// Gives what was held back: a line a file with its codes, and each code once with its next step. Where no
  /// code was said twice, the messages themselves.
  void TellGathered();
  /// The files of the messages held back have lines elsewhere.
  bool files_are_told = false;

  /// Messages are kept for the JSON document only.
  bool silent = false;
  /// The output of the command as people named it; stands in messages for the temporary files made for it.
  std::string result;

  bool Ask(const std::string& question) override;

 protected:
  void OnMessage(const Message& message) override;
  void OnProgress(const std::string& what, double share) override;

 private:
  std::optional<size_t> gathered_from_;
  // Rows that are told as they are made, behind the text that came before them.
  struct RowsToTell {
    std::string before;
    Json rows;
    std::string form;
  };
  std::vector<RowsToTell> rows_to_tell_;

  std::string Filled(std::string_view form, const Json& near) const;
};

}  // namespace trqprep
