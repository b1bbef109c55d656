/// How much memory a piece of work takes at its peak (Linux).
#pragma once

#include <cstdio>
#include <cstring>

namespace bench {

/// A field of /proc/self/status in bytes; 0 where there is none.
inline double StatusBytes(const char* field) {
  std::FILE* const f = std::fopen("/proc/self/status", "r");
  if (!f) return 0;
  char line[256];
  double bytes = 0;
  while (std::fgets(line, sizeof line, f)) {
    double kilobytes = 0;
    if (std::strncmp(line, field, std::strlen(field)) == 0 &&
        std::sscanf(line + std::strlen(field), ": %lf", &kilobytes) == 1)
      bytes = kilobytes * 1024;
  }
  std::fclose(f);
  return bytes;
}

/// Runs `work` and returns by how many bytes the resident memory rose above what it was before.
template <class Work>
double PeakBytes(Work work) {
  if (std::FILE* const f = std::fopen("/proc/self/clear_refs", "w")) {
    std::fputs("5", f);  // the peak starts anew
    std::fclose(f);
  }
  const double before = StatusBytes("VmRSS");
  work();
  return StatusBytes("VmHWM") - before;
}

}  // namespace bench
