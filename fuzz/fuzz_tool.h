/// What the harnesses of the tool's own files share.
#pragma once

#include <string>

#include "fuzz/fuzz_support.h"
#include "trqprep/message.h"

namespace fuzz {

/// Runs `read`; false when it refused the input as a command is to refuse it: exit 3, or 2 where it is
/// `a_line_kept`, a code and a text.
template <class Read>
bool Accepts(const Read& read, bool a_line_kept = false) {
  try {
    read();
    return true;
  } catch (const trqprep::Failure& failure) {
    const bool wrong_line = a_line_kept && failure.exit == trqprep::ExitCode::kUsage;
    Demand(wrong_line || failure.exit == trqprep::ExitCode::kInput,
           "a refused input that is not reported as one");
    Demand(!failure.message.text.empty(), "a refusal without a reason");
    // Any bytes may have come into the message, and it goes into a document of valid UTF-8.
    trqprep::JsonDocument(trqprep::MessageToJson(failure.message));
    return false;
  }
}

}  // namespace fuzz
