/// The three standard streams: the real standard output, kept for the result; the error stream, which takes
/// messages, progress and whatever the library prints; questions to a person.
#pragma once

#include <string>
#include <string_view>

namespace trqprep {

/// Makes sure that the three descriptors are open, keeps the real standard output aside and points
/// descriptor 1 at the error stream. Called once, before anything is printed.
void TakeStandardOutput();
/// Writes to the real standard output; 0, or the errno of the failure.
int WriteStandardOutput(std::string_view text);

/// Writes to the error stream, after clearing a progress line that stands there.
void WriteErrorStream(std::string_view text);

/// The same without waiting for anybody who writes there; for the way out on a signal.
void WriteErrorStreamNow(std::string_view text);

bool ErrorStreamIsTerminal();
/// True when the error stream is a terminal that may be coloured (NO_COLOR and TERM=dumb are honoured).
bool ErrorStreamHasColour();
bool InputIsTerminal();
/// True when standard input and the error stream are terminals, so that a question reaches a person.
bool CanAsk();
/// Asks on the error stream, reads a line from standard input; true for y or yes.
bool AskPerson(const std::string& question);

}  // namespace trqprep
