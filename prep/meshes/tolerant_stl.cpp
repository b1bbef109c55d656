// The idea: the text is rewritten, as it is read, to the little that the strict reader needs: two first
// lines, and for every facet "outer" and its corners, a blank between words. So that reader decides what a
// number, a facet and a vertex is. Where it stops, the text is gone through again up to there, to say where
// that was.
#include "trqprep/tolerant_stl.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace trqprep {
namespace {

using trq::core::ByteSource;
using trq::core::Error;
using trq::core::ErrorCode;
using trq::core::kStlHeaderSize;
using trq::core::Mesh;
using trq::core::Result;

constexpr size_t kSample = 1 << 16;
constexpr size_t kLongestStrictLine = 1023;  // with its end
constexpr size_t kKept = 1000;               // of the words of a line: no corner is longer
constexpr size_t kShown = 40;

enum class Encoding { kBytes, kLittle16, kBig16 };

bool IsSpace(int c) { return c == ' ' || (c >= '\t' && c <= '\r'); }
bool IsPrintable(int c) { return (c >= ' ' && c <= '~') || IsSpace(c); }
bool IsDigit(int c) { return c >= '0' && c <= '9'; }

int ByteAt(std::string_view bytes, size_t i) {
  return i < bytes.size() ? static_cast<unsigned char>(bytes[i]) : -1;
}

size_t CountPrintable(std::string_view bytes) {
  return size_t(std::count_if(bytes.begin(), bytes.end(),
                              [](char c) { return IsPrintable(static_cast<unsigned char>(c)); }));
}

bool Nearly(size_t some, size_t all) { return all > 0 && 100 * some >= 95 * all; }

bool BeginsWith(std::string_view bytes, std::string_view mark) {
  return bytes.substr(0, mark.size()) == mark;
}

/// Pairs of bytes, of which the one at the even (0) or the odd place (1) is printable and the other one zero.
std::array<size_t, 2> CountWide(std::string_view sample) {
  std::array<size_t, 2> pairs{};
  for (size_t i = 0; i + 1 < sample.size(); i += 2) {
    for (size_t k = 0; k < 2; ++k) {
      if (IsPrintable(ByteAt(sample, i + k)) && ByteAt(sample, i + 1 - k) == 0) ++pairs[k];
    }
  }
  return pairs;
}

Encoding EncodingOf(std::string_view sample) {
  if (BeginsWith(sample, "\xFF\xFE")) return Encoding::kLittle16;
  if (BeginsWith(sample, "\xFE\xFF")) return Encoding::kBig16;
  const auto [little, big] = CountWide(sample);
  if (Nearly(little, sample.size() / 2)) return Encoding::kLittle16;
  return Nearly(big, sample.size() / 2) ? Encoding::kBig16 : Encoding::kBytes;
}

std::string ReadSample(ByteSource& source) {
  std::string sample(kSample, '\0');
  sample.resize(source.Seek(0) ? source.Read(sample.data(), sample.size()) : 0);
  source.Seek(0);
  return sample;
}

std::string Printable(std::string_view text) {
  constexpr char kDigits[] = "0123456789abcdef";
  std::string shown;
  for (const char c : text.substr(0, kShown)) {
    const auto byte = static_cast<unsigned char>(c);
    if (byte >= ' ' && byte <= '~') {
      shown += c;
    } else {
      shown += {'\\', 'x', kDigits[byte / 16], kDigits[byte % 16]};
    }
  }
  return text.size() > kShown ? shown + "..." : shown;
}

/// The lines of a text, each as its words with a blank between them.
class Lines {
 public:
  Lines(ByteSource& source, Encoding encoding) : source_(source), encoding_(encoding), buffer_(kSample) {}

  /// Passes over a byte order mark; that is for the start of a text.
  void SkipMark() {
    Fill();
    const std::string_view begin(buffer_.data(), filled_);
    if (BeginsWith(begin, "\xEF\xBB\xBF")) next_ = 3;
    if (BeginsWith(begin, "\xFF\xFE") || BeginsWith(begin, "\xFE\xFF")) next_ = 2;
  }

  /// False at the end.
  bool Next() {
    size_ = words_ = 0;
    plain_ = true;
    length_ = 0;
    bool apart = true;
    int c = Take();
    if (c < 0) return false;
    ++number_;
    for (; c >= 0 && c != '\n' && c != '\r'; c = Take()) {
      ++length_;
      if (IsSpace(c)) {
        if (c != ' ' && (words_ == 0 || (words_ == 1 && !apart))) plain_ = false;
        apart = true;
        continue;
      }
      if (apart) {
        if (words_++ > 0) Keep(' ');
        apart = false;
      }
      if (!IsPrintable(c)) Spoil(c);
      Keep(static_cast<char>(c));
    }
    ended_ = c >= 0;
    lone_return_ = false;
    if (c == '\r') {
      const int following = Take();
      lone_return_ = following != '\n';
      if (lone_return_) given_back_ = following;
    }
    return true;
  }

  std::string_view text() const { return {text_.data(), size_}; }
  uint64_t number() const { return number_; }
  /// The column, from 1, of a character of text(), or behind its last one.
  uint64_t ColumnOf(size_t i) const {
    return i < size_ ? columns_[i] : size_ == 0 ? 1 : columns_[size_ - 1] + 1;
  }
  bool ended() const { return ended_; }
  /// The first word is the one that is found between blanks alone.
  bool plain() const { return plain_; }
  bool strict_end() const { return !lone_return_ && length_ < kLongestStrictLine; }
  /// The first NUL, else the first other character that is not printable.
  const std::optional<Error>& spoilt() const { return spoilt_; }

 private:
  void Fill() {
    next_ = 0;
    filled_ = source_.Read(buffer_.data(), buffer_.size());
  }
  int TakeByte() {
    if (next_ == filled_) Fill();
    if (filled_ == 0) return -1;
    return static_cast<unsigned char>(buffer_[next_++]);
  }
  int Take() {
    if (given_back_ >= 0) return std::exchange(given_back_, -1);
    const int first = TakeByte();
    if (encoding_ == Encoding::kBytes || first < 0) return first;
    const int second = TakeByte();
    if (second < 0) return -1;
    const int c = encoding_ == Encoding::kLittle16 ? first + 256 * second : 256 * first + second;
    return c < 0x80 ? c : '?';
  }
  void Keep(char c) {
    if (size_ == kKept) return;
    columns_[size_] = length_;
    text_[size_++] = c;
  }
  void Spoil(int c) {
    if (spoilt_ && (c != 0 || found_nul_)) return;
    found_nul_ = c == 0;
    const char byte = static_cast<char>(c);
    spoilt_ = Error{ErrorCode::kUnknownFormat, {}, Printable({&byte, 1}), 0};
    spoilt_->place.line = number_;
    spoilt_->place.column = length_;
  }

  ByteSource& source_;
  const Encoding encoding_;
  std::vector<char> buffer_;
  size_t next_ = 0, filled_ = 0;
  int given_back_ = -1;  // the character that was taken to see whether it is a line feed
  std::array<char, kKept> text_;
  std::array<uint64_t, kKept> columns_;
  size_t size_ = 0, words_ = 0;
  uint64_t number_ = 0, length_ = 0;
  bool plain_ = true, ended_ = false, lone_return_ = false, found_nul_ = false;
  std::optional<Error> spoilt_;
};

enum class Keyword { kNone, kSolid, kFacet, kOuter, kVertex, kEndloop, kEndfacet, kEndsolid };

Keyword FirstKeyword(std::string_view text) {
  constexpr std::string_view kWords[] = {"solid",   "facet",    "outer",   "vertex",
                                         "endloop", "endfacet", "endsolid"};
  const std::string_view first = text.substr(0, text.find(' '));
  for (size_t i = 0; i < std::size(kWords); ++i) {
    const auto same = [](char a, char b) { return a == b || (b >= 'A' && b <= 'Z' && a == b + 32); };
    if (std::equal(kWords[i].begin(), kWords[i].end(), first.begin(), first.end(), same))
      return static_cast<Keyword>(i + 1);
  }
  return Keyword::kNone;
}

/// The word of the line that holds its character `at`, as an error.
Error WordAt(ErrorCode code, const Lines& lines, size_t at) {
  const std::string_view text = lines.text();
  at = std::min(at, text.size());
  while (at > 0 && at < text.size() && text[at - 1] != ' ') --at;
  Error error{code, {}, Printable(text.substr(at, text.find(' ', at) - at)), 0};
  error.place.line = lines.number();
  error.place.column = lines.ColumnOf(at);
  return error;
}

/// A text as the strict reader takes it.
class StrictText : public ByteSource {
 public:
  StrictText(ByteSource& source, Encoding encoding, TolerantReport& report)
      : source_(source), lines_(source, encoding), report_(report) {
    lines_.SkipMark();
    if (encoding != Encoding::kBytes) report.left_at = 1;
  }

  size_t Read(void* to, size_t size) override {
    while (pending_.size() < size && Step()) continue;
    const size_t got = std::min(size, pending_.size());
    std::memcpy(to, pending_.data(), got);
    pending_.erase(0, got);
    return got;
  }
  std::optional<uint64_t> Remaining() override { return std::nullopt; }
  std::optional<uint64_t> Position() override { return std::nullopt; }
  bool Seek(uint64_t) override { return false; }
  bool failed() const override { return source_.failed(); }

  /// Takes a line; false at the end, and when a decimal comma was found.
  bool Step() {
    if (comma_ || !lines_.Next()) return false;
    report_.lines = lines_.number();
    const std::string_view text = lines_.text();
    if (!lines_.strict_end()) Leave();
    if (corners_wanted_ > 0) {
      TakeCorner(text);
      return true;
    }
    const Keyword keyword = FirstKeyword(text);
    if (lines_.number() == 1 && text.empty()) Leave();
    if (lines_.number() == 2 && (keyword != Keyword::kFacet || !lines_.plain())) Leave();
    if (keyword == Keyword::kNone) {
      // An unfinished word may become a known one.
      if (!text.empty() && !odd_ && (lines_.ended() || last_ == Keyword::kNone))
        odd_ = WordAt(ErrorCode::kUnknownFormat, lines_, 0);
      return true;
    }
    last_ = keyword;
    if (keyword != Keyword::kSolid && keyword != Keyword::kEndsolid) has_body_ = true;
    if (keyword == Keyword::kOuter) {
      if (!lines_.plain()) Leave();
      corners_wanted_ = 3;
      facet_ = "outer\n";
    }
    return true;
  }

  const Lines& lines() const { return lines_; }
  /// Corners begun so far, also those of an unfinished facet.
  uint64_t corners() const { return corners_; }
  bool cut() const { return last_ != Keyword::kNone && last_ != Keyword::kEndsolid; }
  const std::optional<Error>& comma() const { return comma_; }
  /// Why a text without facets has none.
  Error NoFacet() const {
    if (odd_ && (has_body_ || last_ != Keyword::kEndsolid)) return *odd_;
    return {ErrorCode::kEmpty, {}, {}, 0};
  }

 private:
  void TakeCorner(std::string_view text) {
    if (text.empty()) {
      Leave();
      return;
    }
    ++corners_;
    FindComma(text);
    facet_.append(text) += '\n';
    if (--corners_wanted_ > 0) return;
    // The last number of an unfinished line may be cut as well.
    if (!lines_.ended()) return;
    pending_ += facet_;
    ++report_.facets;
  }
  /// The strict reader would take the digits before a comma in the third number.
  void FindComma(std::string_view text) {
    int words = 0;
    for (size_t i = 1; i + 1 < text.size() && words < 4; ++i) {
      if (text[i] == ' ') ++words;
      if (words > 0 && text[i] == ',' && IsDigit(text[i - 1]) && IsDigit(text[i + 1])) {
        comma_ = WordAt(ErrorCode::kBadNumber, lines_, i);
        return;
      }
    }
  }
  void Leave() {
    if (report_.left_at == 0) report_.left_at = lines_.number();
  }

  ByteSource& source_;
  Lines lines_;
  TolerantReport& report_;
  std::string pending_ = "solid\nfacet\n";
  std::string facet_;
  int corners_wanted_ = 0;
  uint64_t corners_ = 0;
  Keyword last_ = Keyword::kNone;  // the last one that a line began with
  bool has_body_ = false;
  std::optional<Error> odd_, comma_;
};

/// The place in the text itself of an error that the strict reader found in the strict text.
Error PlaceOf(const Error& strict, ByteSource& source, Encoding encoding) {
  source.Seek(0);
  TolerantReport passed;
  StrictText text(source, encoding, passed);
  // Behind two first lines, four lines make a facet.
  const uint64_t line = strict.place.line - 3;
  const uint64_t corners = 3 * (line / 4) + line % 4;
  while (text.corners() < corners && text.Step()) continue;
  return WordAt(ErrorCode::kBadNumber, text.lines(), size_t(strict.place.column) - 1);
}

}  // namespace

StlContent LookAtStl(ByteSource& source) {
  const std::string sample = ReadSample(source);
  const uint64_t size = source.Remaining().value_or(sample.size());
  const auto fits = [&](std::initializer_list<size_t> lowest_first) {
    uint64_t count = 0;
    for (const size_t i : lowest_first) {
      count = count << 8 | uint64_t(ByteAt(sample, kStlHeaderSize + i));
    }
    return count > 0 && size == trq::core::BinaryStlSize(count);
  };
  if (sample.size() >= trq::core::kStlHeadSize) {
    if (fits({3, 2, 1, 0})) return StlContent::kBinary;
    if (fits({0, 1, 2, 3})) return StlContent::kForeignEndian;
  }
  if (BeginsWith(sample, "\xEF\xBB\xBF") || EncodingOf(sample) != Encoding::kBytes) return StlContent::kText;
  const size_t printable = CountPrintable(sample);
  if (Nearly(printable, sample.size()) && sample.find('\0') == std::string::npos) return StlContent::kText;
  // UTF-16 in which a byte is missing changes its order there; the zeros of either order count as text.
  const auto [little, big] = CountWide(sample);
  const size_t spoilt = printable + little + big;
  const std::string_view count = std::string_view(sample).substr(std::min(sample.size(), kStlHeaderSize), 4);
  return 4 * spoilt >= 3 * sample.size() && CountPrintable(count) >= 2 ? StlContent::kSpoiltText
                                                                       : StlContent::kBinary;
}

bool EndsWithEndsolid(ByteSource& source) {
  const auto last_keyword = [&](uint64_t start) {
    Keyword last = Keyword::kNone;
    source.Seek(start);
    Lines lines(source, Encoding::kBytes);
    if (start == 0) lines.SkipMark();
    // The first line of a rest is the end of one.
    for (bool whole = start == 0; lines.Next(); whole = true) {
      const Keyword keyword = FirstKeyword(lines.text());
      if (whole && keyword != Keyword::kNone) last = keyword;
    }
    return last;
  };
  source.Seek(0);
  const uint64_t size = source.Remaining().value_or(0);
  Keyword last = size > kSample ? last_keyword(size - kSample) : Keyword::kNone;
  if (last == Keyword::kNone) last = last_keyword(0);
  return last == Keyword::kEndsolid;
}

Result<Mesh> ReadTolerantStl(ByteSource& source, const trq::core::StlReading& how, TolerantReport& report) {
  const StlContent content = LookAtStl(source);
  const Encoding encoding = EncodingOf(ReadSample(source));
  report = TolerantReport();
  StrictText text(source, encoding, report);
  trq::core::StlReport strict;
  Result<Mesh> read = trq::core::ReadStl(text, how, &strict);
  report.cut = text.cut();
  if (source.failed()) return Error{ErrorCode::kReadFailed, {}, {}, 0};
  if (content == StlContent::kSpoiltText && text.lines().spoilt()) return *text.lines().spoilt();
  if (text.comma()) return *text.comma();
  if (!read) {
    if (!strict.text_error) return read.error();
    const bool corner = strict.text_error->code == ErrorCode::kBadNumber;
    return corner ? PlaceOf(*strict.text_error, source, encoding) : *strict.text_error;
  }
  if (report.facets == 0) return text.NoFacet();
  return read;
}

}  // namespace trqprep
