/// What the tool asks of the operating system about its standard streams and its command line: one source a
/// system behind this header (console_posix.cpp, console_windows.cpp).
#pragma once

#include <string>
#include <vector>

namespace trqprep {

/// Makes sure that descriptors 0, 1 and 2 are open and bytes pass them as they are, keeps the real standard
/// output aside and points descriptor 1 at the error stream. Returns the number of the real one, -1 when
/// there was none.
int KeepStandardOutput();
/// Whether a person sees or types what passes a descriptor.
bool IsTerminal(int descriptor);
/// Whether the terminal behind the error stream takes colours.
bool TerminalTakesColours();
/// Reads one byte from standard input; false at its end.
bool ReadStandardInput(char& byte);

/// Ends the process now, without destructors.
[[noreturn]] void EndProcess(int exit);

/// The arguments of the command line behind the program's name, in UTF-8.
std::vector<std::string> Arguments(int argc, char** argv);

}  // namespace trqprep
