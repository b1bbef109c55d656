#include "foundation/bounded_read.h"

#include <gtest/gtest.h>

#include <numeric>
#include <thread>
#include <vector>

#include "host/file_services.h"
#include "tests/support/system_streams.h"

namespace {

using trq::core::FileSource;
using trq::detail::ClaimFits;
using trq::detail::FileHandle;
using trq::detail::ReadItems;

constexpr uint64_t kHuge = uint64_t{1} << 62;

FileHandle FileOf(const std::vector<uint32_t>& words, std::size_t extra_bytes = 0) {
  FileHandle f(std::tmpfile());
  if (!words.empty()) std::fwrite(words.data(), 4, words.size(), f.get());
  for (std::size_t i = 0; i < extra_bytes; ++i) std::fputc(0, f.get());
  std::rewind(f.get());
  return f;
}

std::vector<uint32_t> Counting(std::size_t n) {
  std::vector<uint32_t> words(n);
  std::iota(words.begin(), words.end(), 1u);
  return words;
}

// A pipe of these words and as many bytes more.
class PipeOfWords : public test_support::PipeOf {
 public:
  explicit PipeOfWords(const std::vector<uint32_t>& words, std::size_t extra_bytes = 0)
      : PipeOf(std::string(reinterpret_cast<const char*>(words.data()), 4 * words.size()) +
               std::string(extra_bytes, '\0')) {}
};

TEST(FileSource, CountsWhatRemainsFromTheStreamsPosition) {
  const FileHandle f = FileOf(Counting(5));
  EXPECT_EQ(FileSource(f.get()).Remaining(), 20u);
  std::fgetc(f.get());  // the stream has read ahead, its position has not
  EXPECT_EQ(FileSource(f.get()).Remaining(), 19u);
  std::fseek(f.get(), 0, SEEK_END);
  EXPECT_EQ(FileSource(f.get()).Remaining(), 0u);
  std::fseek(f.get(), 100, SEEK_SET);
  EXPECT_EQ(FileSource(f.get()).Remaining(), 0u);
}

TEST(FileSource, DoesNotKnowWhatRemainsOfAPipe) {
  PipeOfWords pipe(Counting(1));
  FileSource source(pipe.get());
  EXPECT_FALSE(source.Remaining().has_value());
  std::vector<uint32_t> words;
  EXPECT_EQ(ReadItems(source, 1, words), 1u);
}

TEST(ClaimFits, ComparesAClaimWithTheBytesThatRemain) {
  const FileHandle f = FileOf(Counting(5));
  FileSource source(f.get());
  EXPECT_TRUE(ClaimFits(source, 5, 4));
  EXPECT_FALSE(ClaimFits(source, 6, 4));
  EXPECT_TRUE(ClaimFits(source, 1, 20));
  EXPECT_FALSE(ClaimFits(source, 1, 21));
  EXPECT_TRUE(ClaimFits(source, 0, 1000));
  EXPECT_TRUE(ClaimFits(source, 1000, 0));
  EXPECT_FALSE(ClaimFits(source, kHuge, 8));  // the product wraps round to 0
}

TEST(ReadItems, ReadsTheItemsAskedForBehindThoseThere) {
  const FileHandle f = FileOf(Counting(5));
  FileSource source(f.get());
  std::vector<uint32_t> words = {99};
  EXPECT_EQ(ReadItems(source, 3, words), 3u);
  EXPECT_EQ(words, std::vector<uint32_t>({99, 1, 2, 3}));
  EXPECT_EQ(ReadItems(source, 0, words), 0u);
  EXPECT_EQ(std::ftell(f.get()), 12);
}

TEST(ReadItems, AnswersTheWholeItemsOfAFileThatClaimsMore) {
  const FileHandle f = FileOf(Counting(5), 3);
  FileSource source(f.get());
  std::vector<uint32_t> words;
  EXPECT_EQ(ReadItems(source, kHuge, words), 5u);
  EXPECT_EQ(words, Counting(5));
  EXPECT_LT(words.capacity(), 100u);
}

TEST(ReadItems, ReadsAPipePiecewise) {
  for (std::size_t n :
       {std::size_t{0}, std::size_t{1}, std::size_t{16384}, std::size_t{16385}, std::size_t{200000}}) {
    PipeOfWords pipe(Counting(n), 2);
    FileSource source(pipe.get());
    std::vector<uint32_t> words;
    EXPECT_EQ(ReadItems(source, kHuge, words), n);
    EXPECT_EQ(words, Counting(n));
  }
}

TEST(ReadItems, AnEmptyFileGivesNothing) {
  const FileHandle f = FileOf({});
  FileSource source(f.get());
  std::vector<uint32_t> words;
  EXPECT_EQ(ReadItems(source, kHuge, words), 0u);
  EXPECT_TRUE(words.empty());
}

}  // namespace
