/// Preloaded into the tool, makes it a host program that has called setlocale before anything else:
/// TRQ_HOST_LOCALE names the locale, which has to have a decimal comma.
#include <unistd.h>

#include <clocale>
#include <cstdlib>
#include <cstring>

namespace {

__attribute__((constructor)) void SetHostLocale() {
  const char* name = std::getenv("TRQ_HOST_LOCALE");
  if (!name) return;
  if (!std::setlocale(LC_ALL, name) || std::strcmp(std::localeconv()->decimal_point, ",") != 0) _exit(98);
}

}  // namespace
