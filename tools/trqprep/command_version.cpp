#include "commands.h"

namespace trqprep {

void AddVersion(CommandTree& tree) {
  tree.Add("version", "Print the version", "", {"trqprep version", "trqprep version --json"}).run =
      TellVersion;
}

}  // namespace trqprep
