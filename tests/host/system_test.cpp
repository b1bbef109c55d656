#include "host/system.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <cstdio>

#include "host/file_services.h"
#include "tests/support/system_streams.h"

namespace {

namespace host = trq::host;
using trq::detail::FileHandle;

TEST(System, LastErrorIsErrno) {
  errno = 28;
  EXPECT_EQ(host::LastError(), 28);
  errno = 0;
  EXPECT_EQ(host::LastError(), 0);
}

TEST(System, RemainingBytesLeavesPositionAndLastErrorAlone) {
  const FileHandle f(std::tmpfile());
  std::fputs("0123456789", f.get());
  std::fseek(f.get(), 4, SEEK_SET);
  errno = 77;
  EXPECT_EQ(host::RemainingBytes(f.get()), 6u);
  EXPECT_EQ(errno, 77);
  EXPECT_EQ(std::ftell(f.get()), 4);
}

TEST(System, RemainingBytesOfAPipeAreNotKnown) {
  EXPECT_FALSE(host::RemainingBytes(nullptr).has_value());
  test_support::PipeOf pipe("bytes");
  EXPECT_FALSE(host::RemainingBytes(pipe.get()).has_value());
}

}  // namespace
