#include <algorithm>

#include "recoat/recoat_style_table.h"
#include "styles/style_file.h"
#include "styles/style_layout.h"

namespace trq::detail {
namespace {

/// The three count records and the lists they count.
struct CountedSweeps {
  RecoatStyleParameterRecordInt KVRECOATSTYLE::*count;
  std::vector<KVSWEEPS> KVRECOATSTYLE::*list;
};
constexpr CountedSweeps kCountedSweeps[] = {
    {&KVRECOATSTYLE::NumSweeps, &KVRECOATSTYLE::SweepList},
    {&KVRECOATSTYLE::NumToolingPrimarySweeps, &KVRECOATSTYLE::PrimarySweepList},
    {&KVRECOATSTYLE::NumToolingSecondarySweeps, &KVRECOATSTYLE::SecondarySweepList},
};

// Kept: the maximum of a count record, not its value, is the number of sweeps in the file. A maximum of 0 or
// less writes none.
bool WriteCountsAndSweeps(StyleWriter& writer, KVRECOATSTYLE& style) {
  for (const CountedSweeps& counted : kCountedSweeps) {
    RecoatStyleParameterRecordInt& count = style.*counted.count;
    if (count.GetMaxRange() > 0) count.SetMaxRange(static_cast<int>((style.*counted.list).size()));
    if (!writer.Record(count)) return false;
  }
  for (const CountedSweeps& counted : kCountedSweeps) {
    if ((style.*counted.count).GetMaxRange() <= 0) continue;
    for (const KVSWEEPS& sweep : style.*counted.list) {
      if (!writer.Record(sweep.BladeGap) || !writer.Record(sweep.BladeVelocity)) return false;
    }
  }
  return true;
}

bool ReadCountsAndSweeps(StyleReader& reader, KVRECOATSTYLE& style) {
  int32_t stored[std::size(kCountedSweeps)] = {};
  for (std::size_t i = 0; i < std::size(kCountedSweeps); ++i) {
    if (!reader.Record(style.*kCountedSweeps[i].count, &stored[i])) return false;
  }
  for (std::size_t i = 0; i < std::size(kCountedSweeps); ++i) {
    std::vector<KVSWEEPS>& list = style.*kCountedSweeps[i].list;
    list.clear();
    // The number is a claim: the list grows with the sweeps that come.
    for (int32_t k = 0; k < stored[i]; ++k) {
      KVSWEEPS sweep;
      if (!reader.Record(sweep.BladeGap) || !reader.Record(sweep.BladeVelocity)) return false;
      list.push_back(std::move(sweep));
    }
  }
  return true;
}

bool WriteVersion206(StyleWriter& writer, KVRECOATSTYLE& style) {
  return writer.Record(Version206Copy(style.Version));
}

/// The records after it are read in the form of the version just read.
bool ReadVersion206(StyleReader& reader, KVRECOATSTYLE& style) {
  reader.version = 0.0f;
  if (!reader.Record(style.Version)) return false;
  reader.version = style.Version.GetValue();
  return true;
}

constexpr StyleSlot<KVRECOATSTYLE> kCountsAndSweeps = {-1, WriteCountsAndSweeps, ReadCountsAndSweeps};
constexpr StyleSlot<KVRECOATSTYLE> kVersion206Slot = {RecoatRow("Version").first, WriteVersion206,
                                                      ReadVersion206};

constexpr auto Records(std::string_view first, std::string_view last) {
  return RecordsItem<KVRECOATSTYLE>(RecoatRows(first, last));
}

using S = KVRECOATSTYLE;

constexpr std::array kHeader301 = {
    WordItem<&S::FileVersion>(),           WordItem<&S::UserLevel>(),
    WordItem<&S::LayoutWords, 0>(),        WordItem<&S::LayoutWords, 1>(),
    WordItem<&S::LayoutWords, 2>(),        WordItem<&S::LayoutWords, 3>(),
    WordItem<&S::LayoutWords, 4>(),        WordItem<&S::MachineType>(),
    WordItem<&S::LayerThickness>(),        WordItem<&S::FurtherHeaderWords, 0>(),
    WordItem<&S::FurtherHeaderWords, 1>(), WordItem<&S::FurtherHeaderWords, 2>(),
    WordItem<&S::FurtherHeaderWords, 3>(), WordItem<&S::FurtherHeaderWords, 4>(),
    TextItem<&S::StyleName>(512),          TextItem<&S::LateTexts, 0>(64),
    TextItem<&S::LateTexts, 1>(512),       RawTextItem<&S::LateTexts, 2>(32),
    TextItem<&S::LateTexts, 3>(64),        TextItem<&S::FurtherTexts, 0>(512),
    TextItem<&S::FurtherTexts, 1>(512),
};
static_assert(BytesOfWordsAndTexts(kHeader301) == 2264, "the head of a 301 file");

constexpr std::array kData301 = {
    TextItem<&S::FullPathName>(512), TextItem<&S::BuildDescription>(81),
    TextItem<&S::Units>(11),         Records("RecoatType", "RecoatType"),
    Records("Start Z", "Z Wait"),    Records("Preferred Blade Gap Flag", "KeptInts[9]"),
    TextItem<&S::MoreTexts, 0>(512), TextItem<&S::MoreTexts, 1>(512),
    TextItem<&S::MoreTexts, 2>(512), TextItem<&S::MoreTexts, 3>(512),
    TextItem<&S::MoreTexts, 4>(512), Records("Primary ZVelocity", "Number Of Secondary"),
    SlotItem(kCountsAndSweeps),
};

constexpr std::array kLayout206 = {
    WordItem<&S::UserLevel>(),
    SlotItem(kVersion206Slot),
    WordItem<&S::MachineType>(),
    TextItem<&S::StyleName>(512),
    TextItem<&S::FullPathName>(512),
    TextItem<&S::BuildDescription>(81),
    TextItem<&S::Units>(11),
    Records("RecoatType", "RecoatType"),
    Records("Start Z", "Number Of Secondary"),
    SlotItem(kCountsAndSweeps),
    TextItem<&S::FurtherTexts, 0>(512),
    TextItem<&S::FurtherTexts, 1>(512),
};

template <class Items>
constexpr int CountRecords(const Items& items) {
  int count = 0;
  for (int row = 0; row < static_cast<int>(std::size(kRecoatRows)); ++row) count += TimesInLayout(items, row);
  return count;
}
// The three count records stand in the slot with the sweeps.
static_assert(CountRecords(kData301) + 3 == 47,
              "every record but \"Version\", which the header's word replaces");
static_assert(CountRecords(kLayout206) + 3 == 26, "the records of the export's table");

}  // namespace
}  // namespace trq::detail

using namespace trq::detail;

int KVRECOATSTYLE::binaryWriteStyleData301() {
  StyleWriter writer(file);
  const int header = Transfer(writer, *this, kRecoatRows, kHeader301);
  return Flushed(file,
                 header == trq::style_file::kOk ? Transfer(writer, *this, kRecoatRows, kData301) : header);
}

int KVRECOATSTYLE::binaryWriteStyleData206() {
  StyleWriter writer(file);
  return Flushed(file, Transfer(writer, *this, kRecoatRows, kLayout206));
}

int KVRECOATSTYLE::binaryReadStyleHeader301() {
  StyleReader reader(file, FileVersion);
  return Transfer(reader, *this, kRecoatRows, kHeader301);
}

int KVRECOATSTYLE::binaryReadStyleData301() {
  StyleReader reader(file, FileVersion);
  return Transfer(reader, *this, kRecoatRows, kData301);
}

int KVRECOATSTYLE::binaryReadStyleData206() {
  StyleReader reader(file, 0.0f);
  return Transfer(reader, *this, kRecoatRows, kLayout206);
}

int KVRECOATSTYLE::writeRecoatStyle(CString path) { return SaveStyle(*this, path); }
int KVRECOATSTYLE::readRecoatStyle(CString path) { return LoadStyle(*this, path); }
int KVRECOATSTYLE::binaryWriteStyle(CString path) { return WriteStyleTo(*this, path); }
int KVRECOATSTYLE::binaryReadStyle(CString path) { return ReadStyleFrom(*this, path); }
// Kept: unlike build styles, version 4.0 is not taken here, and the "Version" record of a 206 file stands
// behind its first word.
int KVRECOATSTYLE::binaryReadStyle() {
  return DispatchRead(*this, IsVersion301, VersionRecordPlace::kAfterFirstWord);
}
int KVRECOATSTYLE::binaryReadStyleHeader(CString path) { return ReadHeaderFrom(*this, path); }
int KVRECOATSTYLE::writeCrcValue(CString path) { return AppendCrc(path); }
int KVRECOATSTYLE::CompareCRC(unsigned long expected, CString path) {
  return CompareStoredCrc(static_cast<uint32_t>(expected), path);
}
uint32_t KVRECOATSTYLE::calcCRC(const char* bytes, int length) { return BytesCrc(bytes, length); }
int KVRECOATSTYLE::closeBuildStyleFile() { return file.Close(); }
int KVRECOATSTYLE::setStyleFilePtr(FILE* stream) {
  file.Set(stream);
  return trq::style_file::kOk;
}
