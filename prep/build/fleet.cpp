#include "trqprep/fleet.h"

#include "prep/build/described.h"
#include "trqprep/build_estimate.h"
#include "trqprep/plates.h"
#include "trqprep/verify_folder.h"

namespace trqprep {
namespace {

class Summarizer {
 public:
  explicit Summarizer(const HeldFolder& folder)
      : folder_(folder), document_(ReadBuildDocument(folder)), described_(folder, document_) {
    summary_.folder = folder.path();
  }

  BuildSummary Run() {
    if (document_["sum"] != SumOf(document_)) Differs(Code::kVerifyHash, kBuildJson, "was changed");
    for (const Message& finding : VerifyPresence(folder_, document_)) summary_.damage.push_back(finding);
    if (summary_.damage.empty()) CompareSizes();
    if (!summary_.damage.empty()) return std::move(summary_);
    const double factor = UnitsFactor(described_.UnitsOf(), Units::kMillimetre);
    summary_.parts = int64_t(described_.List("inputs").size());
    for (const Json& piece : described_.List("pieces")) {
      ++summary_.pieces;
      summary_.volume += described_.NumberAt(piece, "volume") * factor * factor * factor;
    }
    if (const std::optional<Json> checks = Read(kChecksJson)) TakeChecks(*checks);
    if (const std::optional<Json> estimate = Read(kEstimateJson)) TakeEstimate(*estimate);
    return std::move(summary_);
  }

 private:
  void Differs(Code code, const std::string& name, const char* text) {
    summary_.damage.push_back(
        Message(code, folder_.PathOf(name), text).Hint("'trqprep verify' tells all that differs"));
  }

  void CompareSizes() {
    for (const Json& entry : described_.List("files")) {
      const std::string name = described_.NameAt(entry, "file", "files");
      const double size = described_.NumberAt(entry, entry.contains("file_size") ? "file_size" : "size");
      if (double(InputFile(folder_, name).head().size) != size) {
        Differs(Code::kVerifyHash, name, "is longer or shorter than it was");
      }
    }
  }

  // A file that the folder lists, while it is the one that was written.
  std::optional<Json> Read(const std::string& name) {
    for (const Json& entry : described_.List("files")) {
      if (described_.TextAt(entry, "file") != name) continue;
      const std::string text = ReadWholeFile(InputFile(folder_, name), "a description of a build");
      if (Sha256(text) != described_.TextAt(entry, "sha256")) {
        Differs(Code::kVerifyHash, name, "was changed");
        return std::nullopt;
      }
      try {
        return ParseJson(text);
      } catch (const JsonMistake&) {
        described_.Invalid(name);
      }
    }
    return std::nullopt;
  }

  void TakeChecks(const Json& checks) {
    for (const Json& finding : described_.ListAt(checks, "findings")) {
      const std::string severity = described_.TextAt(finding, "severity");
      const std::string code = described_.TextAt(finding, "code");
      if (code.find_first_not_of("ABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789-") != std::string::npos) {
        described_.Invalid("code");
      }
      for (const Severity known : {Severity::kNote, Severity::kWarning, Severity::kError}) {
        if (severity == SeverityName(known)) ++summary_.findings[{known, code}];
      }
    }
  }

  void TakeEstimate(const Json& estimate) {
    const auto number = [&](const Json& entry, const char* key) -> std::optional<double> {
      // What no number holds is a text.
      const Json& value = described_.At(entry, key);
      return value.is_number() ? std::optional<double>(value.get<double>()) : std::nullopt;
    };
    summary_.resin = number(estimate, "resin");
    const Json& total = described_.At(estimate, "total");
    if (!total.is_object()) return;
    const auto least = number(total, "least"), most = number(total, "most");
    if (least && most) summary_.seconds = {*least, *most};
  }

  const HeldFolder& folder_;
  Json document_;
  Described described_;
  BuildSummary summary_;
};

}  // namespace

std::vector<BuildSummary> SummarizeBuilds(const std::string& path) {
  const HeldFolder folder(path);
  std::vector<BuildSummary> summaries;
  if (!HoldsPlates(folder)) {
    summaries.push_back(Summarizer(folder).Run());
    return summaries;
  }
  for (const std::string& name : PlateFolders(folder)) {
    const HeldFolder plate(folder.PathOf(name), folder.Open(name));
    summaries.push_back(Summarizer(plate).Run());
  }
  return summaries;
}

}  // namespace trqprep
