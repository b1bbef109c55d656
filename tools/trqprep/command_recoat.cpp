#include "commands.h"
#include "style_verbs.h"

namespace trqprep {
void AddRecoat(CommandTree& tree) {
  AddSweepsVerb(AddStyleGroup(
      tree, StyleKind::kRecoat,
      "A recoat style says how every layer is recoated: dips, waits and lists of blade sweeps. Names may "
      "be written without blanks and in any case; * ? [...] make a pattern. Values are numbers in the "
      "file's own units. Legacy files are read, and made new ones by 'upgrade'.",
      {"trqprep recoat show ThreeSweeps.rcs", "trqprep recoat sweeps ThreeSweeps.rcs"}));
}

}  // namespace trqprep
