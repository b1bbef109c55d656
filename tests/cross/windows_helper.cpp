/// Holds a file open and shares it with nobody, as other programs on Windows do:
///   windows_helper FILE MILLISECONDS
/// Prints "held" once it does.
#define WIN32_LEAN_AND_MEAN
#define NOMINMAX
#include <windows.h>

#include <cstdio>
#include <cwchar>

int wmain(int count, wchar_t** arguments) {
  if (count != 3) return 2;
  const HANDLE held =
      CreateFileW(arguments[1], GENERIC_READ, 0, nullptr, OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr);
  if (held == INVALID_HANDLE_VALUE) return 1;
  std::puts("held");
  std::fflush(stdout);
  Sleep(DWORD(std::wcstoul(arguments[2], nullptr, 10)));
  return 0;
}
