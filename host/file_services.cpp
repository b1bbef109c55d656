#include "host/file_services.h"

bool trq::core::CloseChecked(FileHandle file) {
  const bool written = std::fflush(file.get()) == 0 && std::ferror(file.get()) == 0;
  return std::fclose(file.release()) == 0 && written;
}
