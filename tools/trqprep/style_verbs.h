/// The verbs of `trqprep style` and `trqprep recoat`: one implementation for both.
#pragma once

#include <string>
#include <vector>

#include "cli/command.h"
#include "trqprep/atomic_output.h"
#include "trqprep/stored_style.h"

namespace trqprep {

/// The group of a kind with the verbs that both kinds have. In its texts and theirs {noun} is the kind's
/// name, {command} its command, {file} its example file and {ending} how names of such files end.
Command& AddStyleGroup(CommandTree& tree, StyleKind kind, const std::string& details,
                       const std::vector<std::string>& examples);
// Each adds its verbs to the group of that kind.
void AddStyleViews(Command& group, StyleKind kind);  ///< show, get, diff, verify, export
void AddStyleEdits(Command& group, StyleKind kind);  ///< new, set, copy, import, upgrade, units
void AddSweepsVerb(Command& group);                  ///< sweeps, of recoat styles

/// The parameters that a name, spelled exactly or up to blanks, punctuation and case, or a pattern means;
/// a pattern means named parameters only. None: exit 2 with the names nearest to it.
std::vector<size_t> SelectParameters(const StyleDocument& style, const std::string& pattern);

/// "NAME: value 1 -> 2", a line a field.
void TellDifferences(Context& context, const std::vector<StyleDifference>& differences);
/// The head with {list} and {count}, and for each sweep a row with {number}, {gap} and {velocity}.
void TellSweeps(Context& context, const StyleDocument& style, size_t list, const char* head, const char* row);

/// Options of verbs that change a style file.
struct EditOptions {
  std::string output;
  bool dry_run = false;
};
void AddEditOptions(Command& command, EditOptions& options);
/// To be held from before the file is read until FinishEdit was called; nothing when it is not replaced.
std::optional<EditLock> LockForEdit(Context& context, const std::string& file, const EditOptions& options);
/// Shows what `edited` changes and writes it, over the file or to -o. Exit 1 when the file could not hold it.
ExitCode FinishEdit(Context& context, const StyleFile& file, const StyleDocument& edited,
                    const EditOptions& options);

}  // namespace trqprep
