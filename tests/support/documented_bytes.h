/// The worked examples of docs/formats.
#pragma once

#include <gtest/gtest.h>

#include <cctype>
#include <sstream>
#include <string>

#include "tests/support/temp_dir.h"

namespace test_support {

/// The bytes of the hex dump in a document: lines of an offset, two blanks, bytes, three blanks, a remark.
inline std::string DocumentedBytes(const std::string& document) {
  std::istringstream lines(ReadFile(std::string(TRQ_SOURCE_DIR) + "/docs/formats/" + document));
  std::string bytes;
  for (std::string line; std::getline(lines, line);) {
    if (line.size() < 8 || line.find_first_not_of("0123456789abcdef") != 4 || line.compare(4, 2, "  ") != 0)
      continue;
    EXPECT_EQ(std::stoul(line.substr(0, 4), nullptr, 16), bytes.size());
    for (std::size_t at = 6; at + 2 <= line.size() && std::isxdigit(static_cast<unsigned char>(line[at]));
         at += 3) {
      bytes += static_cast<char>(std::stoul(line.substr(at, 2), nullptr, 16));
    }
  }
  return bytes;
}

}  // namespace test_support
