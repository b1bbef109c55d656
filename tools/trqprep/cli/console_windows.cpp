#include <windows.h>
// The order of the system's headers counts.
#include <fcntl.h>
#include <io.h>
#include <shellapi.h>

#include <cstdlib>
#include <cstring>
#include <memory>

#include "cli/console.h"
#include "trq/core/file.h"

namespace trqprep {
namespace {

HANDLE HandleOf(int descriptor) { return reinterpret_cast<HANDLE>(_get_osfhandle(descriptor)); }

// The runtime gives a standard stream that is closed the number -2, or none.
bool IsOpen(int descriptor) {
  const HANDLE handle = HandleOf(descriptor);
  return handle != INVALID_HANDLE_VALUE && handle != HANDLE(-2);
}

}  // namespace

int KeepStandardOutput() {
  // Asking for a number that is not open is no mistake here.
  _set_invalid_parameter_handler([](const wchar_t*, const wchar_t*, const wchar_t*, unsigned, uintptr_t) {});
  const bool has_stdout = IsOpen(1);
  for (int i = 0; i < 3; ++i) {
    if (!IsOpen(i)) {
      const int nothing = _open("NUL", _O_RDWR | _O_BINARY);
      if (nothing < 0) return -1;
      if (nothing != i) {
        if (_dup2(nothing, i) != 0) return -1;
        _close(nothing);
      }
    }
    _setmode(i, _O_BINARY);
  }
  const int kept = has_stdout ? _dup(1) : -1;
  _dup2(2, 1);
  _setmode(1, _O_BINARY);
  if (DWORD mode = 0; GetConsoleMode(HandleOf(2), &mode)) {
    SetConsoleMode(HandleOf(2), mode | ENABLE_PROCESSED_OUTPUT | ENABLE_VIRTUAL_TERMINAL_PROCESSING);
  }
  return kept;
}

bool IsTerminal(int descriptor) {
  DWORD mode = 0;
  return GetConsoleMode(HandleOf(descriptor), &mode) != 0;
}

bool TerminalTakesColours() {
  const char* term = std::getenv("TERM");
  DWORD mode = 0;
  return !(term && std::strcmp(term, "dumb") == 0) && GetConsoleMode(HandleOf(2), &mode) &&
         (mode & ENABLE_VIRTUAL_TERMINAL_PROCESSING) != 0;
}

bool ReadStandardInput(char& byte) {
  DWORD read = 0;
  do {
    SetLastError(ERROR_SUCCESS);
    const bool done = ReadFile(HandleOf(0), &byte, 1, &read, nullptr);
    // Ctrl-C ends what is typed as well: whoever handles it comes next.
    constexpr DWORD kHandlingInterruption = 10000;
    if (done && read == 0 && GetLastError() == ERROR_OPERATION_ABORTED) Sleep(kHandlingInterruption);
    if (!done || read == 0) return false;
  } while (byte == '\r');
  return true;
}

void EndProcess(int exit) {
  // Ending in order would wait for the threads that hold locks.
  TerminateProcess(GetCurrentProcess(), UINT(exit));
  std::_Exit(exit);
}

std::vector<std::string> Arguments(int, char**) {
  int count = 0;
  const std::unique_ptr<wchar_t*, decltype(&LocalFree)> given(CommandLineToArgvW(GetCommandLineW(), &count),
                                                              LocalFree);
  std::vector<std::string> arguments;
  for (int i = 1; given && i < count; ++i) arguments.push_back(trq::core::Utf8(given.get()[i]));
  return arguments;
}

}  // namespace trqprep
