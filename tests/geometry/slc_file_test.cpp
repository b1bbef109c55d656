#include <gmock/gmock.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <functional>
#include <limits>
#include <memory>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "tests/support/byte_builder.h"
#include "tests/support/system_streams.h"
#include "tests/support/temp_dir.h"
#include "trq/slice_contours.h"

namespace {

using test_support::ByteBuilder;
using test_support::TempDir;

/// A number of this machine in a buffer.
template <class T>
T ItemOf(const char* buffer) {
  T item;
  std::memcpy(&item, buffer, sizeof item);
  return item;
}

constexpr uint32_t kTerminator = 0xFFFFFFFFu;

/// Builds an SLC file and remembers for every byte the code of a load that ends just before it.
class SlcBytes {
 public:
  SlcBytes& Header(const std::string& text) {
    return Add(ByteBuilder().Raw(text).U8(0x1A), trq::slc_file::kBadHeaderByte);
  }
  SlcBytes& Reserved(const std::string& block = std::string(256, '\0')) {
    return Add(ByteBuilder().Raw(block), trq::slc_file::kReservedOrCountShort);
  }
  SlcBytes& TableCount(unsigned count) {
    return Add(ByteBuilder().U8(count), trq::slc_file::kReservedOrCountShort);
  }
  SlcBytes& Entry(float min_z, float thickness, float width, float reserved) {
    return Add(ByteBuilder().F32(min_z).F32(thickness).F32(width).F32(reserved),
               trq::slc_file::kTableEntryShort);
  }
  SlcBytes& Layer(float z, uint32_t boundaries) {
    Add(ByteBuilder().F32(z), trq::slc_file::kLayerZShort);
    return Add(ByteBuilder().U32(boundaries), trq::slc_file::kBoundaryCountShort);
  }
  SlcBytes& Counts(uint32_t vertices, uint32_t gaps) {
    Add(ByteBuilder().U32(vertices), trq::slc_file::kVertexCountShort);
    return Add(ByteBuilder().U32(gaps), trq::slc_file::kGapCountShort);
  }
  SlcBytes& Boundary(const std::vector<float>& xy, uint32_t gaps) {
    Counts(static_cast<uint32_t>(xy.size() / 2), gaps);
    ByteBuilder points;
    for (const float v : xy) points.F32(v);
    return Add(points, trq::slc_file::kVerticesShort);
  }
  SlcBytes& Raw(const std::string& bytes, int code) { return Add(ByteBuilder().Raw(bytes), code); }

  const std::string& bytes() const { return bytes_; }
  int CodeWhenCutAt(std::size_t length) const { return codes_.at(length); }

 private:
  SlcBytes& Add(const ByteBuilder& builder, int code) {
    bytes_ += builder.bytes();
    codes_.resize(bytes_.size(), code);
    return *this;
  }
  std::string bytes_;
  std::vector<int> codes_;
};

const std::vector<float> kSquare = {0, 0, 4, 0, 4, 4, 0, 4, 0, 0};
const std::vector<float> kHole = {1, 1, 1, 3, 3, 3, 1, 1};
const std::vector<float> kSegment = {-1.5f, 2.25f, 1e-3f, 1e30f};

/// Layers of zero, one and many boundaries, one of them without a vertex.
SlcBytes SmallFile() {
  return SlcBytes()
      .Header("-SLCVER 2.0 -UNIT MM\r\n")
      .Reserved()
      .TableCount(2)
      .Entry(0, 0.125f, 0.25f, 0)
      .Entry(1, 0.5f, 0.25f, 7)
      .Layer(0.125f, 0)
      .Layer(0.25f, 1)
      .Boundary(kSquare, 0)
      .Layer(0.375f, 4)
      .Boundary(kSquare, 0)
      .Boundary(kHole, 0)
      .Boundary({}, 0)
      .Boundary(kSegment, 3)
      .Layer(0.5f, kTerminator);
}

void AddBoundary(trq::SlcLayer& layer, const std::vector<float>& xy, uint32_t gaps) {
  float* const points = layer.AddBoundary(static_cast<uint32_t>(xy.size() / 2), gaps);
  std::copy(xy.begin(), xy.end(), points);
}

void SetHeader(slc& model, const std::string& text) {
  std::memcpy(model.header_text, text.data(), text.size());
  model.header_text[text.size()] = '\0';
  model.header_length = static_cast<int32_t>(text.size());
}

/// The model of SmallFile, made by hand.
void FillSmallModel(slc& model) {
  SetHeader(model, "-SLCVER 2.0 -UNIT MM\r\n");
  model.table_count = 2;
  model.table = {{0, 0.125f, 0.25f, 0}, {1, 0.5f, 0.25f, 7}};
  model.layers.emplace_back(0.125f);
  model.layers.emplace_back(0.25f);
  AddBoundary(model.layers.back(), kSquare, 0);
  model.layers.emplace_back(0.375f);
  AddBoundary(model.layers.back(), kSquare, 0);
  AddBoundary(model.layers.back(), kHole, 0);
  AddBoundary(model.layers.back(), {}, 0);
  AddBoundary(model.layers.back(), kSegment, 3);
  model.layers.push_back(trq::SlcLayer::Terminator(0.5f));
}

std::vector<float> PointsOf(const trq::SlcBoundary& boundary) {
  return std::vector<float>(boundary.points, boundary.points + 2 * std::size_t{boundary.vertex_count});
}

void ExpectSmallModel(const slc& model, std::size_t first_layer = 0) {
  ASSERT_EQ(model.layers.size(), first_layer + 4);
  const trq::SlcLayer* const layers = model.layers.data() + first_layer;
  EXPECT_EQ(layers[0].z, 0.125f);
  EXPECT_EQ(layers[0].boundary_count(), 0u);
  EXPECT_EQ(layers[1].z, 0.25f);
  ASSERT_EQ(layers[1].boundary_count(), 1u);
  EXPECT_EQ(PointsOf(layers[1].boundaries()[0]), kSquare);
  EXPECT_EQ(layers[2].z, 0.375f);
  ASSERT_EQ(layers[2].boundary_count(), 4u);
  EXPECT_EQ(PointsOf(layers[2].boundaries()[0]), kSquare);
  EXPECT_EQ(PointsOf(layers[2].boundaries()[1]), kHole);
  EXPECT_EQ(layers[2].boundaries()[2].vertex_count, 0u);
  EXPECT_EQ(PointsOf(layers[2].boundaries()[3]), kSegment);
  EXPECT_EQ(layers[2].boundaries()[3].gap_count, 3u);
  EXPECT_EQ(layers[3].z, 0.5f);
  EXPECT_TRUE(layers[3].is_terminator());
  EXPECT_EQ(layers[3].boundary_count(), kTerminator);
}

TEST(SlcFile, WorkedExampleOfTheFormatsPage) {
  const SlcBytes file = SlcBytes()
                            .Header("-SLCVER 2.0 -UNIT MM\r\n")
                            .Reserved()
                            .TableCount(1)
                            .Entry(0, 0.5f, 0, 0)
                            .Layer(0.5f, 1)
                            .Boundary({0, 0, 2, 0, 0, 1, 0, 0}, 0)
                            .Layer(1, kTerminator);
  ASSERT_EQ(file.bytes().size(), 352u);
  const std::string page = test_support::ReadFile(TRQ_SOURCE_DIR "/docs/formats/slc.md");
  for (const std::size_t row : {0x00, 0x10, 0x110, 0x120, 0x130, 0x140, 0x150}) {
    char offset[8];
    std::snprintf(offset, sizeof offset, "%04x  ", static_cast<unsigned>(row));
    const std::string line = offset + test_support::Hex(file.bytes().substr(row, 16));
    EXPECT_NE(page.find(line), std::string::npos) << line;
  }
}

/// Header, reserved block and a table of one entry: what comes before the layers.
SlcBytes Head() { return SlcBytes().Header("h").Reserved().TableCount(1).Entry(0, 1, 0, 0); }

int Load(const std::string& bytes, slc& model) {
  const TempDir folder;
  const std::string path = folder.Write("part.slc", bytes);
  std::strcpy(model.path, path.c_str());
  return model.loadSlc();
}

int LoadResult(const std::string& bytes) {
  slc model;
  return Load(bytes, model);
}

TEST(SlcFile, WritesZeroOneAndManyBoundaries) {
  const TempDir folder;
  slc model;
  FillSmallModel(model);
  EXPECT_EQ(model.SaveSLCModel(folder.File("out.slc").c_str()), trq::slc_file::kOk);
  EXPECT_EQ(test_support::Hex(folder.Read("out.slc")), test_support::Hex(SmallFile().bytes()));
  EXPECT_EQ(model.file, nullptr);
}

TEST(SlcFile, ReadsZeroOneAndManyBoundaries) {
  slc model;
  ASSERT_EQ(Load(SmallFile().bytes(), model), trq::slc_file::kOk);
  EXPECT_STREQ(model.header_text, "-SLCVER 2.0 -UNIT MM\r\n");
  EXPECT_EQ(model.header_length, 22);
  EXPECT_EQ(model.table_count, 2);
  ASSERT_EQ(model.table.size(), 2u);
  EXPECT_EQ(model.table[1].min_z, 1);
  EXPECT_EQ(model.table[1].layer_thickness, 0.5f);
  EXPECT_EQ(model.table[1].line_width_compensation, 0.25f);
  EXPECT_EQ(model.table[1].reserved, 7);
  ExpectSmallModel(model);
  EXPECT_EQ(model.file, nullptr);
}

TEST(SlcFile, EndRightAfterTheTerminatorIsGood) {
  const TempDir folder;
  const std::string path = folder.Write("part.slc", SmallFile().bytes());
  slc model(path.c_str());
  ASSERT_EQ(model.loadSlc(), trq::slc_file::kOk);
  ASSERT_EQ(model.SaveSLCModel(folder.File("again.slc").c_str()), trq::slc_file::kOk);
  EXPECT_EQ(folder.Read("again.slc"), SmallFile().bytes());
}

TEST(SlcFile, LayerOfZeroBoundariesIsKeptAndWrittenBack) {
  const std::string bytes = Head().Layer(3, 0).Layer(4, kTerminator).bytes();
  const TempDir folder;
  slc model(folder.Write("part.slc", bytes).c_str());
  ASSERT_EQ(model.loadSlc(), trq::slc_file::kOk);
  ASSERT_EQ(model.layers.size(), 2u);
  EXPECT_EQ(model.layers[0].boundary_count(), 0u);
  EXPECT_FALSE(model.layers[0].is_terminator());
  ASSERT_EQ(model.SaveSLCModel(folder.File("again.slc").c_str()), trq::slc_file::kOk);
  EXPECT_EQ(folder.Read("again.slc"), bytes);
}

TEST(SlcFile, EveryTruncationHasItsCode) {
  const SlcBytes file = SmallFile();
  const TempDir folder;
  for (std::size_t length = 0; length < file.bytes().size(); ++length) {
    slc model(folder.Write("cut.slc", file.bytes().substr(0, length)).c_str());
    EXPECT_EQ(model.loadSlc(), file.CodeWhenCutAt(length)) << "cut at " << length;
    EXPECT_EQ(model.file, nullptr);
  }
}

TEST(SlcFile, FailingLayerIsDroppedAndThoseBeforeItStay) {
  slc model;
  const std::string bytes = SmallFile().bytes();
  // The terminator and the last four bytes of the layer before it are missing.
  ASSERT_EQ(Load(bytes.substr(0, bytes.size() - 12), model), trq::slc_file::kVerticesShort);
  ASSERT_EQ(model.layers.size(), 2u);
  EXPECT_EQ(model.layers[1].z, 0.25f);
  EXPECT_EQ(model.table.size(), 2u);
}

TEST(SlcFile, BytesAfterTheTerminatorAreNotRead) {
  slc model;
  ASSERT_EQ(Load(SmallFile().bytes() + "more", model), trq::slc_file::kOk);
  ExpectSmallModel(model);
}

TEST(SlcFile, HeaderWithoutEndIn2049BytesIsTooLong) {
  EXPECT_EQ(LoadResult(std::string(2049, 'x')), trq::slc_file::kHeaderTooLong);
  EXPECT_EQ(LoadResult(std::string(2049, 'x') + "\x1a"), trq::slc_file::kHeaderTooLong);
  EXPECT_EQ(LoadResult(std::string(2048, 'x')), trq::slc_file::kBadHeaderByte);
  EXPECT_EQ(LoadResult(std::string(2048, 'x') + "\xff"), trq::slc_file::kBadHeaderByte);
}

TEST(SlcFile, HeaderOf2048BytesIsRead) {
  slc model;
  const std::string text(2048, 'x');
  const std::string bytes =
      SlcBytes().Header(text).Reserved().TableCount(1).Entry(0, 1, 0, 0).Layer(1, kTerminator).bytes();
  ASSERT_EQ(Load(bytes, model), trq::slc_file::kOk);
  EXPECT_EQ(model.header_length, 2048);
  EXPECT_EQ(std::string(model.header_text), text);
}

TEST(SlcFile, HeaderMayBeEmptyOrHoldNuls) {
  const std::string tail =
      SlcBytes().Reserved().TableCount(1).Entry(0, 1, 0, 0).Layer(1, kTerminator).bytes();
  slc empty;
  ASSERT_EQ(Load("\x1a" + tail, empty), trq::slc_file::kOk);
  EXPECT_EQ(empty.header_length, 0);

  const std::string text("a\0b", 3);
  const TempDir folder;
  slc model(folder.Write("part.slc", text + "\x1a" + tail).c_str());
  ASSERT_EQ(model.loadSlc(), trq::slc_file::kOk);
  EXPECT_EQ(std::string(model.header_text, 3), text);
  ASSERT_EQ(model.SaveSLCModel(folder.File("again.slc").c_str()), trq::slc_file::kOk);
  EXPECT_EQ(folder.Read("again.slc"), text + "\x1a" + tail);
}

TEST(SlcFile, Byte0xFFInTheHeaderIsRefused) {
  EXPECT_EQ(LoadResult("ab\xff\x1a" + std::string(300, '\0')), trq::slc_file::kBadHeaderByte);
}

TEST(SlcFile, HeaderStaysWhenTheNewOneIsBad) {
  slc model;
  SetHeader(model, "old");
  ASSERT_EQ(Load("new\xff", model), trq::slc_file::kBadHeaderByte);
  EXPECT_STREQ(model.header_text, "old");
  EXPECT_EQ(model.header_length, 3);
}

TEST(SlcFile, EmptyTableIsRefusedWhenRead) {
  EXPECT_EQ(LoadResult(SlcBytes().Header("h").Reserved().TableCount(0).Layer(1, kTerminator).bytes()),
            trq::slc_file::kEmptyTable);
}

TEST(SlcFile, EmptyTableIsRefusedWhenWrittenAfterHeaderAndReservedBlock) {
  const TempDir folder;
  slc model;
  SetHeader(model, "head");
  model.reserved[0] = 0xAB;
  model.layers.push_back(trq::SlcLayer::Terminator(1));
  EXPECT_EQ(model.SaveSLCModel(folder.File("out.slc").c_str()), trq::slc_file::kEmptyTable);
  EXPECT_EQ(folder.Read("out.slc"), "head\x1a\xab" + std::string(255, '\0'));
  EXPECT_EQ(model.file, nullptr);
}

TEST(SlcFile, KeptTableCountOf128AndMoreReadsNoEntries) {
  for (const unsigned count : {128u, 200u, 255u}) {
    const std::string bytes = SlcBytes()
                                  .Header("h")
                                  .Reserved()
                                  .TableCount(count)
                                  .Layer(2, 1)
                                  .Boundary(kHole, 0)
                                  .Layer(3, kTerminator)
                                  .bytes();
    const TempDir folder;
    slc model(folder.Write("part.slc", bytes).c_str());
    ASSERT_EQ(model.loadSlc(), trq::slc_file::kOk);
    EXPECT_EQ(model.table_count, count);
    EXPECT_TRUE(model.table.empty());
    ASSERT_EQ(model.layers.size(), 2u);
    EXPECT_EQ(PointsOf(model.layers[0].boundaries()[0]), kHole);
    ASSERT_EQ(model.SaveSLCModel(folder.File("again.slc").c_str()), trq::slc_file::kOk);
    EXPECT_EQ(folder.Read("again.slc"), bytes);
  }
}

TEST(SlcFile, TableOf127EntriesIsRead) {
  SlcBytes file;
  file.Header("h").Reserved().TableCount(127);
  for (int i = 0; i < 127; ++i) file.Entry(static_cast<float>(i), 1, 0, 0);
  slc model;
  ASSERT_EQ(Load(file.Layer(1, kTerminator).bytes(), model), trq::slc_file::kOk);
  ASSERT_EQ(model.table.size(), 127u);
  EXPECT_EQ(model.table[126].min_z, 126);
}

TEST(SlcFile, KeptReservedBlockIsTheObjectsOwn) {
  const std::string layers = SlcBytes().TableCount(1).Entry(0, 1, 0, 0).Layer(1, kTerminator).bytes();
  const TempDir folder;
  slc model(folder.Write("part.slc", "h\x1a" + std::string(256, 'r') + layers).c_str());
  ASSERT_EQ(model.loadSlc(), trq::slc_file::kOk);
  ASSERT_EQ(model.SaveSLCModel(folder.File("zeros.slc").c_str()), trq::slc_file::kOk);
  EXPECT_EQ(folder.Read("zeros.slc"), "h\x1a" + std::string(256, '\0') + layers);

  std::memset(model.reserved, 'o', sizeof model.reserved);
  ASSERT_EQ(model.SaveSLCModel(folder.File("own.slc").c_str()), trq::slc_file::kOk);
  EXPECT_EQ(folder.Read("own.slc"), "h\x1a" + std::string(256, 'o') + layers);
}

TEST(SlcFile, KeptLoadIntoAUsedObjectAppends) {
  slc model;
  SetHeader(model, "longer than the one that comes");
  model.table_count = 9;
  model.table.push_back({5, 5, 5, 5});
  model.layers.emplace_back(77.0f);
  ASSERT_EQ(Load(SmallFile().bytes(), model), trq::slc_file::kOk);
  EXPECT_STREQ(model.header_text, "-SLCVER 2.0 -UNIT MM\r\n");
  EXPECT_EQ(model.table_count, 2);
  ASSERT_EQ(model.table.size(), 3u);
  EXPECT_EQ(model.table[0].min_z, 5);
  EXPECT_EQ(model.layers[0].z, 77);
  ExpectSmallModel(model, 1);
}

TEST(SlcFile, WritesTheCountAsHeldAndEveryEntry) {
  const TempDir folder;
  slc model;
  model.table_count = 1;
  model.table = {{1, 2, 3, 4}, {5, 6, 7, 8}};
  ASSERT_EQ(model.SaveSLCModel(folder.File("out.slc").c_str()), trq::slc_file::kOk);
  EXPECT_EQ(folder.Read("out.slc"),
            SlcBytes().Header("").Reserved().TableCount(1).Entry(1, 2, 3, 4).Entry(5, 6, 7, 8).bytes());
}

TEST(SlcFile, ClaimedVerticesBeyondTheFileAreRefused) {
  for (const uint32_t claim : {0xFFFFFFFFu, 0x80000000u, 0x20000000u, 5u}) {
    slc model;
    EXPECT_EQ(Load(Head().Layer(1, 1).Counts(claim, 0).Raw(std::string(39, 'x'), 0).bytes(), model),
              trq::slc_file::kVerticesShort);
    EXPECT_TRUE(model.layers.empty());
  }
}

TEST(SlcFile, ClaimedBoundariesBeyondTheFileEndInTheVertexCountCode) {
  EXPECT_EQ(LoadResult(Head().Layer(1, 0xFFFFFFFEu).Boundary(kHole, 0).bytes()),
            trq::slc_file::kVertexCountShort);
}

TEST(SlcFile, GapCountsAreCarriedUnsigned) {
  slc model;
  ASSERT_EQ(Load(Head().Layer(1, 1).Counts(0, 0xFFFFFFFFu).Layer(2, kTerminator).bytes(), model),
            trq::slc_file::kOk);
  EXPECT_EQ(model.layers[0].boundaries()[0].gap_count, 0xFFFFFFFFu);
}

TEST(SlcFile, NotANumberSurvivesARoundTrip) {
  SlcBytes file = Head();
  file.Layer(std::numeric_limits<float>::quiet_NaN(), 1).Counts(2, 0);
  file.Raw(ByteBuilder().U32(0x7FC12345).U32(0x7F800000).U32(0xFF800000).U32(0x80000000).bytes(), 0);
  file.Layer(std::numeric_limits<float>::infinity(), kTerminator);
  const TempDir folder;
  slc model(folder.Write("part.slc", file.bytes()).c_str());
  ASSERT_EQ(model.loadSlc(), trq::slc_file::kOk);
  ASSERT_EQ(model.SaveSLCModel(folder.File("again.slc").c_str()), trq::slc_file::kOk);
  EXPECT_EQ(folder.Read("again.slc"), file.bytes());
}

TEST(SlcFile, LongBoundariesSurviveARoundTrip) {
  SlcBytes file = Head();
  file.Layer(1, 3);
  for (const int vertices : {20000, 3, 40000}) {
    std::vector<float> xy;
    for (int i = 0; i < 2 * vertices; ++i) xy.push_back(static_cast<float>(i));
    file.Boundary(xy, 0);
  }
  file.Layer(2, kTerminator);
  const TempDir folder;
  slc model(folder.Write("part.slc", file.bytes()).c_str());
  ASSERT_EQ(model.loadSlc(), trq::slc_file::kOk);
  ASSERT_EQ(model.SaveSLCModel(folder.File("again.slc").c_str()), trq::slc_file::kOk);
  EXPECT_TRUE(folder.Read("again.slc") == file.bytes());
}

TEST(SlcFile, ManyShortBoundariesSurviveARoundTrip) {
  SlcBytes file = Head();
  float next = 0;
  for (int layer = 0; layer < 40; ++layer) {
    file.Layer(static_cast<float>(layer), 150);
    for (int i = 0; i < 150; ++i) {
      std::vector<float> xy(static_cast<std::size_t>(2 * (i % 9)));
      for (float& v : xy) v = next++;
      file.Boundary(xy, static_cast<uint32_t>(i));
    }
  }
  file.Layer(40, kTerminator);
  const TempDir folder;
  slc model(folder.Write("part.slc", file.bytes()).c_str());
  ASSERT_EQ(model.loadSlc(), trq::slc_file::kOk);
  ASSERT_EQ(model.layers.size(), 41u);
  EXPECT_EQ(model.layers[39].boundaries()[149].points[2 * (149 % 9) - 1], next - 1);
  slc copy;
  model.copy(&copy);
  model.layers.clear();
  ASSERT_EQ(copy.SaveSLCModel(folder.File("again.slc").c_str()), trq::slc_file::kOk);
  EXPECT_TRUE(folder.Read("again.slc") == file.bytes());
}

TEST(SlcFile, StreamStandsBehindTheTerminator) {
  const TempDir folder;
  slc model(folder.Write("part.slc", SmallFile().bytes() + "tail").c_str());
  ASSERT_EQ(model.openSLCFile(trq::slc_file::kRead), trq::slc_file::kOk);
  ASSERT_EQ(model.readSlcHeader(), trq::slc_file::kOk);
  ASSERT_EQ(model.readReservedSection(), trq::slc_file::kOk);
  ASSERT_EQ(model.readTableEntry(), trq::slc_file::kOk);
  ASSERT_EQ(model.processContourLayers(), trq::slc_file::kOk);
  char tail[8];
  EXPECT_EQ(model.readAndSwap(tail, 1, 8, 0), 4);
  EXPECT_EQ(std::string(tail, 4), "tail");
}

TEST(SlcFile, PipeIsReadWithoutKnowingItsEnd) {
  const TempDir folder;
  folder.Write("part.slc", SmallFile().bytes());
  folder.Write("cut.slc", Head().Layer(1, 1).Counts(0xFFFFFFFFu, 0).Raw(std::string(400, 'x'), 0).bytes());
  const auto read = [&](const std::string& name, slc& model) {
    test_support::PipeOf pipe(folder.Read(name));
    model.file = pipe.get();
    int result = model.readSlcHeader();
    if (result == 0) result = model.readReservedSection();
    if (result == 0) result = model.readTableEntry();
    if (result == 0) result = model.processContourLayers();
    model.file = nullptr;
    return result;
  };
  slc good;
  EXPECT_EQ(read("part.slc", good), trq::slc_file::kOk);
  ExpectSmallModel(good);
  slc cut;
  EXPECT_EQ(read("cut.slc", cut), trq::slc_file::kVerticesShort);
  EXPECT_TRUE(cut.layers.empty());
}

TEST(SlcFile, WhatCannotBeOpenedIsMinus1) {
  const TempDir folder;
  slc missing(folder.File("missing.slc").c_str());
  EXPECT_EQ(missing.loadSlc(), trq::slc_file::kCannotOpen);
  slc directory(folder.path().string().c_str());
  EXPECT_EQ(directory.loadSlc(), trq::slc_file::kCannotOpen);
  EXPECT_EQ(directory.writeSlc(), trq::slc_file::kCannotOpen);
  slc nowhere(folder.File("no/such/folder.slc").c_str());
  EXPECT_EQ(nowhere.writeSlc(), trq::slc_file::kCannotOpen);
  slc unnamed(nullptr);
  EXPECT_EQ(unnamed.loadSlc(), trq::slc_file::kCannotOpen);
  slc good(folder.Write("part.slc", SmallFile().bytes()).c_str());
  EXPECT_EQ(good.openSLCFile(static_cast<SLC_OPEN_MODE>(2)), trq::slc_file::kCannotOpen);
}

TEST(SlcFile, OpensForReadingAndWriting) {
  const TempDir folder;
  slc model(folder.Write("part.slc", "abc").c_str());
  ASSERT_EQ(model.openSLCFile(trq::slc_file::kRead), trq::slc_file::kOk);
  EXPECT_EQ(std::getc(model.file), 'a');
  ASSERT_EQ(model.openSLCFile(trq::slc_file::kWrite),
            trq::slc_file::kOk);  // the first one is closed on the way
  EXPECT_EQ(folder.Read("part.slc"), "");
}

TEST(SlcFile, PathIsCutAt512Characters) {
  const std::string path = std::string(600, 'p');
  const slc model(path.c_str());
  EXPECT_EQ(std::string(model.path), std::string(512, 'p'));
  slc saved;
  EXPECT_EQ(saved.SaveSLCModel(("/nowhere/" + path).c_str()), trq::slc_file::kCannotOpen);
  EXPECT_EQ(std::string(saved.path), ("/nowhere/" + path).substr(0, 512));
}

TEST(SlcFile, NewObjectIsEmpty) {
  const slc model("x");
  EXPECT_EQ(model.header_length, 0);
  EXPECT_STREQ(model.header_text, "");
  EXPECT_EQ(model.table_count, 0);
  EXPECT_TRUE(model.table.empty());
  EXPECT_TRUE(model.layers.empty());
  EXPECT_TRUE(
      std::all_of(std::begin(model.reserved), std::end(model.reserved), [](int b) { return b == 0; }));
}

TEST(SlcFile, StepsWithoutAnOpenFileAnswerTheirFailure) {
  slc model;
  model.table_count = 1;
  char buffer[4] = {};
  EXPECT_EQ(model.readSlcHeader(), trq::slc_file::kBadHeaderByte);
  EXPECT_EQ(model.readReservedSection(), trq::slc_file::kReservedOrCountShort);
  EXPECT_EQ(model.readTableEntry(), trq::slc_file::kReservedOrCountShort);
  EXPECT_EQ(model.processContourLayers(), trq::slc_file::kLayerZShort);
  EXPECT_EQ(model.writeSlcHeader(), trq::slc_file::kHeaderWriteFailed);
  EXPECT_EQ(model.writeReservedSection(), trq::slc_file::kReservedWriteFailed);
  EXPECT_EQ(model.writeTableEntry(), trq::slc_file::kTableWriteFailed);
  EXPECT_EQ(model.writeContourLayers(), trq::slc_file::kContourWriteFailed);
  EXPECT_EQ(model.readAndSwap(buffer, 4, 1, 0), 0);
  EXPECT_EQ(model.swapAndWrite(buffer, 4, 1, false), 0);
}

TEST(SlcFile, FailedWritesAnswerTheStepsCode) {
  const TempDir folder;
  slc model(folder.Write("part.slc", SmallFile().bytes()).c_str());
  FillSmallModel(model);
  // A stream that is open for reading refuses every write.
  ASSERT_EQ(model.openSLCFile(trq::slc_file::kRead), trq::slc_file::kOk);
  EXPECT_EQ(model.writeSlcHeader(), trq::slc_file::kHeaderWriteFailed);
  EXPECT_EQ(model.writeReservedSection(), trq::slc_file::kReservedWriteFailed);
  EXPECT_EQ(model.writeTableEntry(), trq::slc_file::kTableWriteFailed);
  EXPECT_EQ(model.writeContourLayers(), trq::slc_file::kContourWriteFailed);
}

TEST(SlcFile, FullDiskIsSeenByTheStepThatMeetsIt) {
  slc model;
  FillSmallModel(model);
  EXPECT_EQ(model.SaveSLCModel(test_support::FullDisk()), trq::slc_file::kHeaderWriteFailed);
  const auto with_full_device = [&](int (slc::*step)()) {
    model.openSLCFile(trq::slc_file::kWrite);
    return (model.*step)();
  };
  EXPECT_EQ(with_full_device(&slc::writeReservedSection), trq::slc_file::kReservedWriteFailed);
  EXPECT_EQ(with_full_device(&slc::writeTableEntry), trq::slc_file::kTableWriteFailed);
  EXPECT_EQ(with_full_device(&slc::writeContourLayers), trq::slc_file::kContourWriteFailed);
}

TEST(SlcFile, ReadAndSwapReversesCompleteReads) {
  const TempDir folder;
  slc model(folder.Write("part.slc", "abcdefghijkl").c_str());
  char buffer[12] = {};
  ASSERT_EQ(model.openSLCFile(trq::slc_file::kRead), trq::slc_file::kOk);
  EXPECT_EQ(model.readAndSwap(buffer, 2, 2, 1), 2);  // swapped, the first byte is the highest
  EXPECT_EQ(ItemOf<uint16_t>(buffer), 0x6162);
  EXPECT_EQ(ItemOf<uint16_t>(buffer + 2), 0x6364);
  EXPECT_EQ(model.readAndSwap(buffer, 4, 1, 0), 1);
  EXPECT_EQ(ItemOf<uint32_t>(buffer), 0x68676665u);
  EXPECT_EQ(model.readAndSwap(buffer, 1, 1, 1), 1);
  EXPECT_EQ(buffer[0], 'i');
  EXPECT_EQ(model.readAndSwap(buffer, 2, 2, 1), 1);  // short: as read
  EXPECT_EQ(std::string(buffer, 2), "jk");
  EXPECT_EQ(model.readAndSwap(buffer, 0, 4, 0), 0);
  EXPECT_EQ(model.readAndSwap(buffer, 4, -1, 0), 0);
}

TEST(SlcFile, SwapAndWriteReversesTheCallersBuffer) {
  const TempDir folder;
  slc model(folder.File("out.bin").c_str());
  ASSERT_EQ(model.openSLCFile(trq::slc_file::kWrite), trq::slc_file::kOk);
  uint16_t items[] = {0x6162, 0x6364};
  char* const buffer = reinterpret_cast<char*>(items);
  EXPECT_EQ(model.swapAndWrite(buffer, 2, 2, true), 2);  // the highest byte first
  EXPECT_THAT(items, testing::ElementsAre(0x6261, 0x6463));
  EXPECT_EQ(model.swapAndWrite(buffer, 2, 1, false), 1);
  EXPECT_EQ(model.swapAndWrite(buffer, 1, 2, true), 2);
  EXPECT_EQ(model.swapAndWrite(buffer, 0, 2, true), 0);
  EXPECT_EQ(model.swapAndWrite(buffer, 1, -2, true), 0);
  EXPECT_THAT(items, testing::ElementsAre(0x6261, 0x6463));
  std::fflush(model.file);
  const std::string single(buffer, 2);  // bytes are not in any order
  EXPECT_EQ(folder.Read("out.bin"), "abcdab" + single);
}

TEST(SlcLayer, CopiesOwnTheirPoints) {
  trq::SlcLayer layer(1);
  AddBoundary(layer, kSquare, 2);
  AddBoundary(layer, kHole, 3);
  trq::SlcLayer copy = layer;
  layer.boundaries()[0].points[0] = 99;
  ASSERT_EQ(copy.boundary_count(), 2u);
  EXPECT_EQ(PointsOf(copy.boundaries()[0]), kSquare);
  EXPECT_EQ(PointsOf(copy.boundaries()[1]), kHole);
  AddBoundary(copy, kSegment, 4);
  EXPECT_EQ(PointsOf(copy.boundaries()[1]), kHole);
  EXPECT_EQ(PointsOf(copy.boundaries()[2]), kSegment);
  layer = copy;
  EXPECT_EQ(layer.boundary_count(), 3u);
  EXPECT_EQ(layer.boundaries()[2].gap_count, 4u);
  const trq::SlcLayer& same = layer;
  layer = same;
  EXPECT_EQ(PointsOf(layer.boundaries()[0]), kSquare);
}

TEST(SlcLayer, SharedBlockLivesAsLongAsALayerNeedsIt) {
  trq::SlcLayer layer(1);
  {
    const std::shared_ptr<float[]> block(new float[6]{1, 2, 3, 4, 5, 6});
    trq::SlcLayer other(2);
    other.AddBoundary(1, 0, block.get(), block);
    layer.AddBoundary(1, 7, block.get() + 2, block);
    AddBoundary(layer, kHole, 0);
    layer.AddBoundary(1, 8, block.get() + 4, block);
    layer.AddBoundary(0, 9, nullptr, block);
  }
  ASSERT_EQ(layer.boundary_count(), 4u);
  EXPECT_EQ(PointsOf(layer.boundaries()[0]), (std::vector<float>{3, 4}));
  EXPECT_EQ(PointsOf(layer.boundaries()[1]), kHole);
  EXPECT_EQ(PointsOf(layer.boundaries()[2]), (std::vector<float>{5, 6}));
  EXPECT_EQ(layer.boundaries()[3].gap_count, 9u);
  const trq::SlcLayer copy = layer;
  EXPECT_NE(copy.boundaries()[0].points, layer.boundaries()[0].points);
  EXPECT_EQ(PointsOf(copy.boundaries()[2]), (std::vector<float>{5, 6}));
}

TEST(SlcLayer, MovedFromLayerIsEmptyAndUsable) {
  trq::SlcLayer layer(1);
  AddBoundary(layer, kSquare, 2);
  const trq::SlcLayer moved = std::move(layer);
  EXPECT_EQ(PointsOf(moved.boundaries()[0]), kSquare);
  EXPECT_EQ(layer.boundary_count(), 0u);  // NOLINT: what is left behind is documented
  AddBoundary(layer, kHole, 0);
  EXPECT_EQ(PointsOf(layer.boundaries()[0]), kHole);
}

TEST(SlcCopy, CopiesDeeply) {
  slc model;
  FillSmallModel(model);
  model.reserved[255] = 0xEE;
  slc copy;
  model.copy(&copy);
  model.layers[1].boundaries()[0].points[0] = 99;
  EXPECT_STREQ(copy.header_text, "-SLCVER 2.0 -UNIT MM\r\n");
  EXPECT_EQ(copy.header_length, 22);
  EXPECT_EQ(copy.reserved[255], 0xEE);
  EXPECT_EQ(copy.table_count, 2);
  EXPECT_EQ(copy.table.size(), 2u);
  ExpectSmallModel(copy);
}

TEST(SlcCopy, KeptAppendsToWhatTheDestinationHolds) {
  slc model;
  FillSmallModel(model);
  slc copy;
  copy.table_count = 77;
  copy.table.push_back({9, 9, 9, 9});
  copy.layers.emplace_back(8.0f);
  model.copy(&copy);
  EXPECT_EQ(copy.table_count, 2);
  EXPECT_EQ(copy.table.size(), 3u);
  EXPECT_EQ(copy.table[0].min_z, 9);
  EXPECT_EQ(copy.layers[0].z, 8);
  ExpectSmallModel(copy, 1);
}

TEST(SlcCopy, KeptOntoItselfEverythingStandsTwice) {
  slc model;
  FillSmallModel(model);
  model.copy(&model);
  EXPECT_EQ(model.table_count, 2);
  ASSERT_EQ(model.table.size(), 4u);
  EXPECT_EQ(model.table[3].reserved, 7);
  ASSERT_EQ(model.layers.size(), 8u);
  ExpectSmallModel(model, 4);
  EXPECT_NE(model.layers[1].boundaries()[0].points, model.layers[5].boundaries()[0].points);
}

TEST(SlcCopy, NullDestinationIsIgnored) {
  slc model;
  FillSmallModel(model);
  model.copy(nullptr);
  ExpectSmallModel(model);
}

/// A layer at z 2 with one triangle, a layer without boundaries at 4, one with an empty boundary at 5, the
/// terminator at 6; and a placement that takes (x, y, z) to (y + 10, x + 20, 2 z + 30).
class SlcMirror : public testing::Test {
 protected:
  SlcMirror() {
    model_.layers.emplace_back(2.0f);
    AddBoundary(model_.layers[0], {1, 2, 3, 5}, 6);
    model_.layers.emplace_back(4.0f);
    model_.layers.emplace_back(5.0f);
    AddBoundary(model_.layers[2], {}, 0);
    model_.layers.push_back(trq::SlcLayer::Terminator(6));
    const float matrix[16] = {0, 1, 0, 10, 1, 0, 0, 20, 0, 0, 2, 30, 0, 0, 0, 1};
    std::copy(matrix, matrix + 16, source_.placement());
    for (int i = 16; i < 30; ++i) source_.placement()[i] = static_cast<float>(100 + i);
    for (int k = 1; k <= 6; ++k) source_.word(k) = 1000 + k;
  }

  std::vector<float> Heights() const {
    std::vector<float> heights;
    for (const trq::SlcLayer& layer : target_.layers) heights.push_back(layer.z);
    return heights;
  }

  slc model_;
  slc target_;
  COMPONENT_INFO source_;
  COMPONENT_INFO target_component_;
};

// Moved: (1, 2, 2) -> (12, 21, 34), (3, 5, 2) -> (15, 23, 34); (0, 0, z) -> (10, 20, 2 z + 30).
// R[22..24] = 122, 123, 124; R[25..27] = 125, 126, 127; offset 3.

TEST_F(SlcMirror, Axis0ReflectsTheHeights) {
  model_.mirror(&target_, 0, 0, 3, &source_, &target_component_);
  // R = 2 * 124 + (3 + 127) = 378.
  EXPECT_EQ(PointsOf(target_.layers[0].boundaries()[0]), (std::vector<float>{12, 21, 15, 23}));
  EXPECT_EQ(Heights(), (std::vector<float>{378 - 34, 378 - 38, 378 - 40, 378 - 42}));
  EXPECT_TRUE(target_.layers[3].is_terminator());
  EXPECT_EQ(target_.layers[0].boundaries()[0].gap_count, 6u);
  EXPECT_EQ(model_.layers[0].z, 2);
}

TEST_F(SlcMirror, Axis1ReflectsY) {
  model_.mirror(&target_, 1, 0, 3, &source_, &target_component_);
  // R = 2 * 123 + (3 + 126) = 375.
  EXPECT_EQ(PointsOf(target_.layers[0].boundaries()[0]), (std::vector<float>{12, 375 - 21, 15, 375 - 23}));
  EXPECT_EQ(Heights(), (std::vector<float>{34, 38, 40, 42}));
}

TEST_F(SlcMirror, Axis2ReflectsX) {
  model_.mirror(&target_, 2, 0, 3, &source_, &target_component_);
  // R = 2 * 122 + (3 + 125) = 372.
  EXPECT_EQ(PointsOf(target_.layers[0].boundaries()[0]), (std::vector<float>{372 - 12, 21, 372 - 15, 23}));
  EXPECT_EQ(Heights(), (std::vector<float>{34, 38, 40, 42}));
}

TEST_F(SlcMirror, OtherAxisMovesNothing) {
  for (const int axis : {-1, 3}) {
    slc target;
    model_.mirror(&target, axis, 0, 3, &source_, &target_component_);
    EXPECT_EQ(PointsOf(target.layers[0].boundaries()[0]), (std::vector<float>{1, 2, 3, 5}));
    EXPECT_EQ(target.layers[0].z, 2);
    EXPECT_EQ(target.layers[3].z, 6);
    for (int i = 16; i < 30; ++i) EXPECT_EQ(target_component_.placement()[i], 100 + i);
  }
}

TEST_F(SlcMirror, MillimetresPassThroughAMatrixInInches) {
  float* const matrix = source_.placement();
  std::fill(matrix, matrix + 30, 0.0f);
  for (const int i : {0, 5, 10, 15}) matrix[i] = 1;
  matrix[3] = 2;   // two inches along x
  matrix[24] = 1;  // the reflection takes its values as they are
  model_.mirror(&target_, 0, 1, 0, &source_, &target_component_);
  const std::vector<float> points = PointsOf(target_.layers[0].boundaries()[0]);
  EXPECT_EQ(points[0], 51.8f);
  EXPECT_EQ(points[1], 2);
  EXPECT_EQ(target_.layers[0].z, 2 - 2);
  EXPECT_EQ(target_.layers[3].z, 2 - 6);
}

TEST_F(SlcMirror, FillsTheTargetsComponent) {
  target_component_.placement()[3] = 55;
  target_component_.record.previous_matrix[3] = 55;
  for (int k = 1; k <= 6; ++k) target_component_.word(k) = -k;
  model_.mirror(&target_, 1, 0, 3, &source_, &target_component_);
  EXPECT_EQ(target_component_.word(1), -1);
  for (int k = 2; k <= 5; ++k) EXPECT_EQ(target_component_.word(k), 1000 + k);
  EXPECT_EQ(target_component_.word(6), 0);
  const float* const R = target_component_.placement();
  for (int i = 0; i < 16; ++i) EXPECT_EQ(R[i], i % 5 == 0 ? 1 : 0);
  EXPECT_EQ(target_component_.record.previous_matrix[3], 0);
  // The shift is 3 + R[26] = 129, on the y of the three points.
  const std::vector<float> expected = {116,       117 + 129, 118, 119, 120 + 129, 121, 122,
                                       123 + 129, 124,       125, 126, 127,       128, 129};
  EXPECT_EQ(std::vector<float>(R + 16, R + 30), expected);
}

TEST_F(SlcMirror, SourceAndTargetComponentMayBeOne) {
  model_.mirror(&target_, 2, 0, 3, &source_, &source_);
  EXPECT_EQ(PointsOf(target_.layers[0].boundaries()[0]), (std::vector<float>{372 - 12, 21, 372 - 15, 23}));
  EXPECT_EQ(source_.placement()[16], 116 + 128);
  EXPECT_EQ(source_.placement()[3], 0);
  EXPECT_EQ(source_.word(6), 0);
}

TEST_F(SlcMirror, MovesAllLayersOfTheTarget) {
  target_.layers.emplace_back(1.0f);
  model_.mirror(&target_, 0, 0, 3, &source_, &target_component_);
  EXPECT_EQ(Heights(), (std::vector<float>{378 - 32, 378 - 34, 378 - 38, 378 - 40, 378 - 42}));
}

TEST_F(SlcMirror, ModelMayBeItsOwnTarget) {
  model_.mirror(&model_, 0, 0, 3, &source_, &target_component_);
  ASSERT_EQ(model_.layers.size(), 8u);
  EXPECT_EQ(model_.layers[0].z, 378 - 34);
  EXPECT_EQ(PointsOf(model_.layers[4].boundaries()[0]), (std::vector<float>{12, 21, 15, 23}));
}

TEST_F(SlcMirror, NullArgumentsChangeNothing) {
  model_.mirror(nullptr, 0, 0, 3, &source_, &target_component_);
  model_.mirror(&target_, 0, 0, 3, nullptr, &target_component_);
  model_.mirror(&target_, 0, 0, 3, &source_, nullptr);
  EXPECT_TRUE(target_.layers.empty());
  EXPECT_EQ(target_component_.word(2), 0);
}

TEST_F(SlcMirror, HeightIsReadBeforeTheFirstVertexSetsIt) {
  // A matrix that carries the height into x: every vertex of the layer sees the height 2.
  const float matrix[16] = {1, 0, 1, 0, 0, 1, 0, 0, 1, 0, 1, 0, 0, 0, 0, 1};
  std::copy(matrix, matrix + 16, source_.placement());
  std::fill(source_.placement() + 16, source_.placement() + 30, 0.0f);
  model_.mirror(&target_, 1, 0, 0, &source_, &target_component_);
  EXPECT_EQ(PointsOf(target_.layers[0].boundaries()[0]), (std::vector<float>{1 + 2, -2, 3 + 2, -5}));
  EXPECT_EQ(target_.layers[0].z, 1 + 2);  // from the first vertex alone
}

TEST(SlcMatVecMult, AccumulatesInDouble) {
  const float m[4][4] = {{1e8f, 1, -1e8f, 0}, {1, 2, 3, 4}, {0, 0, 0, 0}, {0, 0, 0, 1}};
  const float v[4][1] = {{1}, {1}, {1}, {1}};
  float out[4][1];
  slc::MatVecMult(out, m, v);
  EXPECT_EQ(out[0][0], 1);  // 0 when added up in float
  EXPECT_EQ(out[1][0], 10);
  EXPECT_EQ(out[2][0], 0);
  EXPECT_EQ(out[3][0], 1);
}

double SignedArea(const trq::SlcBoundary& boundary) {
  double twice = 0;
  for (uint32_t i = 0; i < boundary.vertex_count; ++i) {
    const float* const p = boundary.points + 2 * std::size_t{i};
    const float* const q = boundary.points + 2 * std::size_t{(i + 1) % boundary.vertex_count};
    twice += static_cast<double>(p[0]) * q[1] - static_cast<double>(q[0]) * p[1];
  }
  return twice / 2;
}

TEST(SlcExample, ConeHas50LayersAndABore) {
  slc cone(TRQ_SOURCE_DIR "/examples/contours/cone.slc");
  ASSERT_EQ(cone.loadSlc(), trq::slc_file::kOk);
  ASSERT_EQ(cone.layers.size(), 51u);
  EXPECT_TRUE(cone.layers[50].is_terminator());
  EXPECT_FLOAT_EQ(cone.layers[50].z, 10);
  ASSERT_EQ(cone.table.size(), 1u);
  EXPECT_FLOAT_EQ(cone.table[0].layer_thickness, 0.2f);
  // Of a regular polygon of 64 corners on a circle of radius r: 32 r^2 sin(2 pi / 64).
  const double factor = 32 * std::sin(std::acos(-1.0) / 32);
  for (int i = 0; i < 50; ++i) {
    const trq::SlcLayer& layer = cone.layers[i];
    EXPECT_FLOAT_EQ(layer.z, static_cast<float>(0.2 * i));
    ASSERT_EQ(layer.boundary_count(), 2u);
    const double radius = 20 - 0.3 * i;
    EXPECT_NEAR(SignedArea(layer.boundaries()[0]), factor * radius * radius, 0.02);
    EXPECT_NEAR(SignedArea(layer.boundaries()[1]), -factor * 9, 0.01);
  }
}

// Files of others, where a folder of them is given; the figures come from an independent reader.

nlohmann::json CorpusIndex() {
  if (std::strlen(TRQ_CORPUS) == 0) return nlohmann::json::array();
  return nlohmann::json::parse(test_support::ReadFile(TRQ_CORPUS "/slc/index.json")).at("files");
}

class SlcCorpus : public testing::Test {
 public:
  explicit SlcCorpus(nlohmann::json entry) : entry_(std::move(entry)) {}
  void TestBody() override;

 private:
  nlohmann::json entry_;
};

void SlcCorpus::TestBody() {
  const nlohmann::json& measured = entry_.at("measured");
  const std::string source = TRQ_CORPUS "/slc/" + entry_.at("file").get<std::string>();
  slc model(source.c_str());
  ASSERT_EQ(model.loadSlc(), measured.at("result").get<int>());
  if (measured.at("result").get<int>() != 0) return;

  EXPECT_EQ(std::string(model.header_text), measured.at("header").get<std::string>());
  ASSERT_EQ(model.table.size(), measured.at("table").size());
  EXPECT_EQ(model.table[0].layer_thickness, measured.at("table")[0][1].get<float>());
  ASSERT_EQ(model.layers.size(), measured.at("layers").get<std::size_t>() + 1);
  EXPECT_EQ(model.layers.back().z, measured.at("terminator_z").get<float>());
  EXPECT_EQ(model.layers[0].z, measured.at("z_first").get<float>());
  EXPECT_EQ(model.layers[model.layers.size() - 2].z, measured.at("z_last").get<float>());
  std::size_t boundaries = 0, vertices = 0, gaps = 0;
  double area = 0;
  for (const trq::SlcLayer& layer : model.layers) {
    boundaries += layer.boundaries().size();
    for (const trq::SlcBoundary& boundary : layer.boundaries()) {
      vertices += boundary.vertex_count;
      gaps += boundary.gap_count;
      area += SignedArea(boundary);
    }
  }
  EXPECT_EQ(boundaries, measured.at("boundaries").get<std::size_t>());
  EXPECT_EQ(vertices, measured.at("vertices").get<std::size_t>());
  EXPECT_EQ(gaps, measured.at("gaps").get<std::size_t>());
  EXPECT_NEAR(area, measured.at("signed_area_sum").get<double>(), 1e-4);

  const TempDir folder;
  ASSERT_EQ(model.SaveSLCModel(folder.File("again.slc").c_str()), trq::slc_file::kOk);
  std::string expected =
      test_support::ReadFile(source).substr(0, measured.at("bytes_read").get<std::size_t>());
  std::fill_n(expected.begin() + model.header_length + 1, 256, '\0');
  EXPECT_TRUE(folder.Read("again.slc") == expected);
}

[[maybe_unused]] const bool corpus_registered = [] {
  for (const nlohmann::json& entry : CorpusIndex()) {
    if (!entry.at("stored").get<bool>()) continue;
    testing::RegisterTest("SlcCorpus", entry.at("file").get<std::string>().c_str(), nullptr, nullptr,
                          __FILE__, __LINE__, [=]() -> SlcCorpus* { return new SlcCorpus(entry); });
  }
  return true;
}();

}  // namespace
