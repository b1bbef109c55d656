#include "cli/terminal.h"

#include <cerrno>
#include <cstdlib>

#include "cli/console.h"
#include "cli/progress.h"
#include "trqprep/atomic_output.h"
#include "trqprep/held_folder.h"
#include "trqprep/message.h"

namespace trqprep {
namespace {

int real_stdout = -1;
constexpr int kStandardInput = 0, kErrorStream = 2;

}  // namespace

void TakeStandardOutput() {
  real_stdout = KeepStandardOutput();
  SetStandardOutput(real_stdout);
}

int WriteStandardOutput(std::string_view text) {
  if (text.empty()) return 0;
  if (real_stdout < 0) return EBADF;
  return WriteBytes(real_stdout, text);
}

void WriteErrorStream(std::string_view text) {
  const ProgressPause pause;
  WriteBytes(kErrorStream, text);
}

void WriteErrorStreamNow(std::string_view text) { WriteBytes(kErrorStream, text); }

bool ErrorStreamIsTerminal() { return IsTerminal(kErrorStream); }

bool ErrorStreamHasColour() {
  const char* no_colour = std::getenv("NO_COLOR");
  if (no_colour && *no_colour) return false;
  return TerminalTakesColours() && ErrorStreamIsTerminal();
}

bool InputIsTerminal() { return IsTerminal(kStandardInput); }

bool CanAsk() { return InputIsTerminal() && ErrorStreamIsTerminal(); }

bool AskPerson(const std::string& question) {
  EndProgress();  // no lock is held while waiting for a person, so that Ctrl-C still works
  WriteBytes(kErrorStream, "trqprep: " + OneLine(question) + " [y/N] ");
  std::string answer;
  char c = 0;
  while (ReadStandardInput(c) && c != '\n') answer += c;
  return answer == "y" || answer == "Y" || answer == "yes" || answer == "Yes" || answer == "YES";
}

}  // namespace trqprep
