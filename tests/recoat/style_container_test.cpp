/// The container of style files, which build and recoat styles share: golden files, CRC, saving and loading,
/// streams, damaged files, exports.
#include <gmock/gmock.h>

#include <cstdio>
#include <cstring>
#include <string>

#include "tests/recoat/recoat_styles.h"
#include "tests/styles/style_samples.h"
#include "tests/support/byte_builder.h"
#include "tests/support/message_box_recorder.h"
#include "tests/support/open_files.h"
#include "tests/support/system_streams.h"
#include "tests/support/temp_dir.h"
#include "trq/recoat.h"
#include "trq/styles.h"

namespace {

using test_support::CrcBytes;
using test_support::MessageBoxRecorder;
using test_support::Stream;
using test_support::StreamOf;
using test_support::TempDir;
using testing::IsEmpty;

constexpr char kCrcMessage[] = "Error in CRC. This style file cannot be used.";
constexpr char kSaveMessage[] = "Error in saving style file.";

/// What the tests need to know of each kind of style.
struct BuildStyles {
  using Style = KVBUILDSTYLE;
  static Style Filled() {
    Style style;
    test_support::FillStyle(style);
    return style;
  }
  static int Save(Style& style, const std::string& path) { return style.writeBuildStyle(path); }
  static int Load(Style& style, const std::string& path) { return style.readBuildStyle(path); }
  static int Export(Style& style, const std::string& path) { return style.writeAsciiBuildStyle(path); }
  static std::string Golden(const std::string& name) { return test_support::GoldenStyle(name + ".sty"); }
  static std::string GoldenExport(const std::string& name, bool comma_separated) {
    return test_support::GoldenStyle(name + (comma_separated ? "_comma.csv" : "_readable.txt"));
  }
};

struct RecoatStyles {
  using Style = KVRECOATSTYLE;
  static Style Filled() { return test_support::FilledStyle(); }
  static int Save(Style& style, const std::string& path) { return style.writeRecoatStyle(path); }
  static int Load(Style& style, const std::string& path) { return style.readRecoatStyle(path); }
  static int Export(Style& style, const std::string& path) { return style.writeAsciiRecoatStyle(path); }
  static std::string Golden(const std::string& name) { return File(name + ".rcs"); }
  static std::string GoldenExport(const std::string& name, bool comma_separated) {
    return File(name + (comma_separated ? ".csv" : ".txt"));
  }

 private:
  static std::string File(const std::string& name) {
    return test_support::ReadFile(std::string(TRQ_TEST_DATA) + "/recoat/" + name);
  }
};

template <class Kind>
class StyleContainer : public testing::Test {};
using Kinds = testing::Types<BuildStyles, RecoatStyles>;
TYPED_TEST_SUITE(StyleContainer, Kinds);

template <class Kind>
std::string WrittenBy(typename Kind::Style& style) {
  const TempDir dir;
  EXPECT_EQ(Kind::Save(style, dir.File("style")), 0);
  return dir.Read("style");
}

/// Reads from a stream in memory, which cannot be empty.
template <class Style>
int ReadFromMemory(Style& style, std::string& bytes, std::size_t length) {
  const Stream stream = test_support::StreamInMemory(bytes, length);
  style.setStyleFilePtr(stream.get());
  const int result = style.binaryReadStyle();
  style.setStyleFilePtr(nullptr);
  return result;
}

// --- Golden files

TYPED_TEST(StyleContainer, WritesTheGoldenFiles) {
  using Style = typename TypeParam::Style;
  for (const auto& [made, name] : {std::pair(Style(), "default"), std::pair(TypeParam::Filled(), "filled")}) {
    for (const auto& [version, ending] : {std::pair(made.FileVersion, "_301"), std::pair(2.06f, "_206")}) {
      Style style = made;
      style.FileVersion = version;
      EXPECT_EQ(WrittenBy<TypeParam>(style), TypeParam::Golden(std::string(name) + ending)) << name << ending;
    }
  }
}

TYPED_TEST(StyleContainer, CheckedLoadAcceptsTheGoldenFiles) {
  const TempDir dir;
  MessageBoxRecorder boxes;
  for (const char* name : {"default_301", "default_206", "filled_301", "filled_206"}) {
    const std::string path = dir.Write(name, TypeParam::Golden(name));
    typename TypeParam::Style style;
    EXPECT_EQ(TypeParam::Load(style, path), 0) << name;
    EXPECT_EQ(style.CompareCRC(style.StoredCRC, path), 0) << name;
  }
  EXPECT_THAT(boxes.boxes(), IsEmpty());
}

TYPED_TEST(StyleContainer, ExportsTheGoldenTexts) {
  using Style = typename TypeParam::Style;
  const TempDir dir;
  for (const auto& [made, name] : {std::pair(Style(), "default"), std::pair(TypeParam::Filled(), "filled")}) {
    for (const bool comma_separated : {false, true}) {
      Style style = made;
      style.CommaSeparated = comma_separated;
      EXPECT_EQ(TypeParam::Export(style, dir.File("export")), 0);
      EXPECT_EQ(dir.Read("export"), TypeParam::GoldenExport(name, comma_separated)) << name;
    }
  }
}

TYPED_TEST(StyleContainer, ExportsToUnopenableAndFullTargetsAreReported) {
  const TempDir dir;
  typename TypeParam::Style style;
  EXPECT_EQ(TypeParam::Export(style, dir.File("missing/export")), -1);
  EXPECT_EQ(TypeParam::Export(style, dir.path().string()), -1);
  EXPECT_EQ(TypeParam::Export(style, test_support::FullDisk()), -3);
  EXPECT_EQ(style.file, nullptr);
}

// --- CRC, saving and loading

TYPED_TEST(StyleContainer, KeptThereIsNoFinalInversion) {
  using Style = typename TypeParam::Style;
  EXPECT_EQ(Style::calcCRC("123456789", 9), 0x340BC6D9u);
  EXPECT_EQ(Style::calcCRC("123456789", 0), 0xFFFFFFFFu);
  EXPECT_EQ(Style::calcCRC("123456789", -1), 0xFFFFFFFFu);
  EXPECT_EQ(Style::calcCRC(nullptr, 5), 0xFFFFFFFFu);
}

TYPED_TEST(StyleContainer, SavedFileEndsWithTheCrcOfAllEarlierBytes) {
  using Style = typename TypeParam::Style;
  Style style;
  const std::string bytes = WrittenBy<TypeParam>(style);
  const std::string earlier = bytes.substr(0, bytes.size() - 4);
  EXPECT_EQ(bytes.substr(earlier.size()), CrcBytes(earlier));
  EXPECT_EQ(test_support::WordAt(bytes, earlier.size()),
            Style::calcCRC(earlier.data(), static_cast<int>(earlier.size())));
  Style read;
  const TempDir dir;
  ASSERT_EQ(TypeParam::Load(read, dir.Write("style", bytes)), 0);
  EXPECT_EQ(read.StoredCRC, test_support::WordAt(bytes, earlier.size()));
  EXPECT_EQ(read.file, nullptr);
}

TYPED_TEST(StyleContainer, ValueIsAppendedToAnyFile) {
  using Style = typename TypeParam::Style;
  const TempDir dir;
  Style style;
  EXPECT_EQ(style.writeCrcValue(dir.Write("digits", "123456789")), 0);
  EXPECT_EQ(dir.Read("digits"), "123456789\xD9\xC6\x0B\x34");
  EXPECT_EQ(style.writeCrcValue(dir.Write("empty", "")), 0);
  EXPECT_EQ(dir.Read("empty"), "\xFF\xFF\xFF\xFF");
  EXPECT_EQ(style.writeCrcValue(dir.File("missing")), -1);
  EXPECT_FALSE(dir.Has("missing"));
  EXPECT_EQ(style.writeCrcValue(dir.path().string()), -1);
}

TYPED_TEST(StyleContainer, ComparesTheLow32BitsWithAllButFourBytes) {
  using Style = typename TypeParam::Style;
  const TempDir dir;
  Style style;
  const std::string path = dir.Write("digits", "123456789????");
  EXPECT_EQ(style.CompareCRC(0x340BC6D9u, path), 0);
  EXPECT_EQ(style.CompareCRC(0x340BC6D8u, path), -2);
  if constexpr (sizeof(unsigned long) > 4) {
    EXPECT_EQ(style.CompareCRC(static_cast<unsigned long>(0xABCD0000340BC6D9ull), path), 0);
  }
  EXPECT_EQ(style.CompareCRC(0, dir.File("missing")), -1);
  EXPECT_EQ(style.CompareCRC(0xFFFFFFFFu, dir.Write("tiny", "abc")), 0) << "no bytes before the last four";
}

TYPED_TEST(StyleContainer, LargeFilesAreSummedWhole) {
  using Style = typename TypeParam::Style;
  std::string bytes;
  for (int i = 0; i < 100000; ++i) bytes.push_back(static_cast<char>(i * 7));
  const TempDir dir;
  Style style;
  ASSERT_EQ(style.writeCrcValue(dir.Write("large", bytes)), 0);
  EXPECT_EQ(dir.Read("large"), bytes + CrcBytes(bytes));
}

TYPED_TEST(StyleContainer, UnopenablePathShowsTheMessage) {
  using Style = typename TypeParam::Style;
  const TempDir dir;
  MessageBoxRecorder boxes;
  Style style;
  EXPECT_EQ(TypeParam::Save(style, dir.File("missing/style")), -1);
  ASSERT_EQ(boxes.boxes().size(), 1u);
  EXPECT_EQ(boxes.boxes()[0].text, kSaveMessage);
  EXPECT_EQ(boxes.boxes()[0].buttons, 0u);
  EXPECT_EQ(style.binaryWriteStyle(dir.path().string()), -1);
  EXPECT_EQ(boxes.boxes().size(), 1u) << "the writer below shows nothing";
}

TYPED_TEST(StyleContainer, FailedWritesAreReportedWithoutMessage) {
  using Style = typename TypeParam::Style;
  MessageBoxRecorder boxes;
  Style style;
  EXPECT_EQ(style.binaryWriteStyle(test_support::FullDisk()), -3);
#ifndef _WIN32  // where the C library keeps what it could not write
  EXPECT_EQ(style.closeBuildStyleFile(), 0) << "nothing is left to flush";
#endif
  EXPECT_EQ(TypeParam::Save(style, test_support::FullDisk()), -3);
  style.FileVersion = 2.06f;
  EXPECT_EQ(TypeParam::Save(style, test_support::FullDisk()), -3);
  EXPECT_EQ(style.writeCrcValue(test_support::FullDisk()), -3);
  EXPECT_THAT(boxes.boxes(), IsEmpty());
}

TYPED_TEST(StyleContainer, WriterLeavesAFlushedOpenFile) {
  using Style = typename TypeParam::Style;
  const TempDir dir;
  Style style;
  ASSERT_EQ(style.binaryWriteStyle(dir.File("style")), 0);
  EXPECT_NE(style.file, nullptr);
  const std::string golden = TypeParam::Golden("default_301");
  EXPECT_EQ(dir.Read("style"), golden.substr(0, golden.size() - 4));
  EXPECT_EQ(style.closeBuildStyleFile(), 0);
  EXPECT_EQ(style.file, nullptr);
}

TYPED_TEST(StyleContainer, ReaderLeavesTheFileOpenAndTakesTheStoredCrcUnchecked) {
  using Style = typename TypeParam::Style;
  const TempDir dir;
  std::string bytes = TypeParam::Golden("default_206");
  bytes.replace(bytes.size() - 4, 4, "\x01\x02\x03\x04");
  Style style;
  EXPECT_EQ(style.binaryReadStyle(dir.Write("style", bytes)), 0);
  EXPECT_EQ(style.StoredCRC, 0x04030201u);
  EXPECT_NE(style.file, nullptr);
}

TYPED_TEST(StyleContainer, MissingCrcIsAShortReadAndKeepsTheOldOne) {
  using Style = typename TypeParam::Style;
  const TempDir dir;
  const std::string bytes = TypeParam::Golden("default_301");
  Style style;
  style.StoredCRC = 5;
  for (std::size_t missing = 1; missing <= 4; ++missing) {
    EXPECT_EQ(style.binaryReadStyle(dir.Write("style", bytes.substr(0, bytes.size() - missing))), -2);
  }
  EXPECT_EQ(style.StoredCRC, 5u);
}

TYPED_TEST(StyleContainer, EveryFailureEndsInTheMessage) {
  using Style = typename TypeParam::Style;
  const TempDir dir;
  const std::string bytes = TypeParam::Golden("default_301");
  const std::string files[] = {dir.File("missing"),
                               dir.path().string(),
                               dir.Write("empty", ""),
                               dir.Write("cut", bytes.substr(0, bytes.size() - 1)),
                               dir.Write("half", bytes.substr(0, bytes.size() / 2)),
                               dir.Write("foreign", std::string(100, '\0')),
                               dir.Write("longer", bytes + "x")};
  for (const std::string& path : files) {
    MessageBoxRecorder boxes;
    Style style;
    EXPECT_EQ(TypeParam::Load(style, path), -4) << path;
    ASSERT_EQ(boxes.boxes().size(), 1u) << path;
    EXPECT_EQ(boxes.boxes()[0].text, kCrcMessage);
    EXPECT_EQ(boxes.boxes()[0].buttons, 0u);
    EXPECT_EQ(style.file, nullptr);
  }
}

// --- Streams

TYPED_TEST(StyleContainer, WithoutStreamReadersAndWritersFail) {
  using Style = typename TypeParam::Style;
  Style style;
  EXPECT_EQ(style.binaryReadStyle(), -2);
  EXPECT_EQ(style.binaryReadStyleHeader301(), -2);
  EXPECT_EQ(style.binaryReadStyleData301(), -2);
  EXPECT_EQ(style.binaryReadStyleData206(), -2);
  EXPECT_EQ(style.binaryWriteStyleData301(), -3);
  EXPECT_EQ(style.binaryWriteStyleData206(), -3);
  EXPECT_EQ(style.closeBuildStyleFile(), 0);
}

TYPED_TEST(StyleContainer, CallersStreamsAreWrittenFlushedAndLeftOpen) {
  using Style = typename TypeParam::Style;
  const TempDir dir;
  const Stream stream(std::fopen(dir.File("style").c_str(), "wb"));
  {
    Style style;
    EXPECT_EQ(style.setStyleFilePtr(stream.get()), 0);
    EXPECT_EQ(style.binaryWriteStyleData301(), 0);
    EXPECT_EQ(dir.Read("style").size() + 4, TypeParam::Golden("default_301").size());
    EXPECT_EQ(style.binaryWriteStyleData206(), 0);
    Style other;
    style = other;  // clears the member without closing
    EXPECT_EQ(style.file, nullptr);
    style.setStyleFilePtr(stream.get());
  }
  EXPECT_GE(std::fputs("still open", stream.get()), 0);
  EXPECT_EQ(std::fflush(stream.get()), 0);
  const std::string golden = TypeParam::Golden("default_301");
  const std::string old = TypeParam::Golden("default_206");
  EXPECT_EQ(dir.Read("style"),
            golden.substr(0, golden.size() - 4) + old.substr(0, old.size() - 4) + "still open");
}

TYPED_TEST(StyleContainer, ClosingClosesTheCallersStreamToo) {
  using Style = typename TypeParam::Style;
  const std::size_t before = test_support::OpenFiles();
  Style style;
  style.setStyleFilePtr(std::tmpfile());
  EXPECT_EQ(test_support::OpenFiles(), before + 1);
  EXPECT_EQ(style.closeBuildStyleFile(), 0);
  EXPECT_EQ(style.file, nullptr);
  EXPECT_EQ(test_support::OpenFiles(), before);
}

TYPED_TEST(StyleContainer, AssignedStreamsBelongToTheApplication) {
  using Style = typename TypeParam::Style;
  const std::size_t before = test_support::OpenFiles();
  FILE* stream = std::tmpfile();
  {
    Style style;
    style.file = stream;
    EXPECT_EQ(style.binaryWriteStyleData301(), 0);
    const Style copy(style);
    EXPECT_EQ(copy.file, nullptr);
    Style other;
    other.file = stream;
    other = style;
    EXPECT_EQ(other.file, nullptr);
    style.file = stream;  // once more
    std::rewind(style.file);
    EXPECT_EQ(style.binaryReadStyle(), 0);
  }
  EXPECT_EQ(test_support::OpenFiles(), before + 1);
  Style style;
  style.file = stream;
  EXPECT_EQ(std::fclose(style.file), 0);
  style.file = NULL;
  EXPECT_EQ(style.file, nullptr);
  EXPECT_EQ(style.binaryReadStyle(), -2);
  EXPECT_EQ(test_support::OpenFiles(), before);
}

TYPED_TEST(StyleContainer, StreamsThatTheApplicationClosedAreNotClosedAgain) {
  using Style = typename TypeParam::Style;
  const TempDir dir;
  const std::string path = dir.Write("style", TypeParam::Golden("default_301"));
  const std::size_t before = test_support::OpenFiles();
  {
    Style style;
    ASSERT_EQ(style.binaryReadStyle(path), 0);  // opens it and leaves it open
    EXPECT_EQ(std::fclose(style.file), 0);
    style.file = NULL;
    ASSERT_EQ(style.binaryReadStyle(path), 0);
    style.file = static_cast<FILE*>(style.file);  // the style's own still
  }
  EXPECT_EQ(test_support::OpenFiles(), before);
}

TYPED_TEST(StyleContainer, OwnStreamsAreClosedOnceWhateverHappens) {
  using Style = typename TypeParam::Style;
  const TempDir dir;
  const std::string path = dir.Write("style", TypeParam::Golden("default_301"));
  const std::size_t before = test_support::OpenFiles();
  {
    Style style;
    ASSERT_EQ(style.binaryReadStyle(path), 0);
    EXPECT_EQ(test_support::OpenFiles(), before + 1);
    ASSERT_EQ(style.binaryReadStyle(path), 0);  // a path operation
    EXPECT_EQ(test_support::OpenFiles(), before + 1);
    const Style copy(style);
    EXPECT_EQ(copy.file, nullptr);
    EXPECT_EQ(test_support::OpenFiles(), before + 1);
    Style& same = style;
    style = same;  // nothing happens
    EXPECT_EQ(test_support::OpenFiles(), before + 1);
    Style assigned;
    ASSERT_EQ(assigned.binaryReadStyle(path), 0);
    assigned = style;
    EXPECT_EQ(assigned.file, nullptr);
    EXPECT_EQ(test_support::OpenFiles(), before + 1);
    style.setStyleFilePtr(style.file);  // the present one: nothing happens
    EXPECT_EQ(test_support::OpenFiles(), before + 1);
    style.setStyleFilePtr(nullptr);
    EXPECT_EQ(test_support::OpenFiles(), before);
    ASSERT_EQ(style.binaryReadStyle(path), 0);
  }
  EXPECT_EQ(test_support::OpenFiles(), before);
}

TYPED_TEST(StyleContainer, FailedOpenLeavesNoStream) {
  using Style = typename TypeParam::Style;
  const TempDir dir;
  Style style;
  ASSERT_EQ(style.binaryReadStyle(dir.Write("style", TypeParam::Golden("default_301"))), 0);
  EXPECT_EQ(style.binaryReadStyle(dir.File("missing")), -1);
  EXPECT_EQ(style.file, nullptr);
}

// --- Damaged files

TYPED_TEST(StyleContainer, EveryPrefixIsAShortRead) {
  using Style = typename TypeParam::Style;
  for (const char* name : {"filled_206", "filled_301"}) {
    std::string bytes = TypeParam::Golden(name);
    const std::size_t data = bytes.size() - 4;
    Style style;
    for (std::size_t length = 1; length < data; ++length) {
      ASSERT_EQ(ReadFromMemory(style, bytes, length), -2) << name << " cut to " << length;
    }
    for (std::size_t length = data; length <= bytes.size(); ++length) {
      ASSERT_EQ(ReadFromMemory(style, bytes, length), 0) << name << " cut to " << length;
    }
  }
}

TYPED_TEST(StyleContainer, EveryFlippedByteIsRefused) {
  using Style = typename TypeParam::Style;
  const TempDir dir;
  const std::string bytes = TypeParam::Golden("default_206");
  const std::string path = dir.Write("style", bytes);
  MessageBoxRecorder boxes;
  Style style;
  const Stream file(std::fopen(path.c_str(), "rb+"));
  const auto put = [&file](std::size_t offset, int byte) {
    std::fseek(file.get(), static_cast<long>(offset), SEEK_SET);
    std::fputc(byte, file.get());
    std::fflush(file.get());
  };
  for (std::size_t i = 0; i < bytes.size(); ++i) {
    put(i, static_cast<unsigned char>(bytes[i]) ^ 0xFF);
    ASSERT_EQ(TypeParam::Load(style, path), -4) << i;
    ASSERT_EQ(boxes.boxes().size(), i + 1);
    ASSERT_EQ(boxes.boxes().back().text, kCrcMessage);
    put(i, static_cast<unsigned char>(bytes[i]));
  }
  EXPECT_EQ(TypeParam::Load(style, path), 0);
}

}  // namespace
