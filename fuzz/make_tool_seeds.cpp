/// Writes seed files of the tool's own formats with the tool's writers: make_tool_seeds FOLDER gives
/// FOLDER/<format>/<name>.
#include <filesystem>
#include <fstream>
#include <string>

#include "trqprep/job_file.h"
#include "trqprep/stored_style.h"
#include "trqprep/style_document.h"

namespace {

using namespace trqprep;

void Write(const std::filesystem::path& root, const char* format, const char* name, const std::string& text) {
  std::filesystem::create_directories(root / format);
  std::ofstream(root / format / name, std::ios::binary) << text;
}

void MakeJobs(const std::filesystem::path& root) {
  Job job;
  job.parts.emplace_back();
  job.parts.back().path = "part.stl";
  Write(root, "job_file", "plain.toml", JobFileText(job));
  job.machine = 6;
  job.units = Units::kInch;
  job.accept_partial = job.force_checks = true;
  job.z_spacing = Length{0.5, Units::kMillimetre};
  StyleRequest style;
  style.path = "Fine.sty";
  job.styles.push_back(style);
  style.banded = true;
  style.from = Length{0, std::nullopt};
  style.to = Length{10, Units::kMillimetre};
  job.recoats.push_back(style);
  job.parts.back().styles.push_back(style);
  job.parts.back().copies = 3;
  job.parts.back().rotate_z = -12.5;
  job.parts.push_back(job.parts.front());
  job.parts.back().path = "no text \xff.stl";
  Write(root, "job_file", "full.toml", JobFileText(job));
  Write(root, "job_file", "by_hand.toml",
        "units = \"mm\"\n"
        "vat = \"250x250x250mm\" # the large one\n"
        "machine = \"TRQ-E7\"\n\n[[style]]\n"
        "file = 'Fine.sty'\n\n[[part]]\n"
        "file = \"bracket.stl\"\n"
        "copies = 4\n\n[[part.style]]\n"
        "file = \"Standard.sty\"\n"
        "band = [0, \"10mm\"]\n");
}

void MakeStyles(const std::filesystem::path& root) {
  for (const StyleKind kind : {StyleKind::kBuild, StyleKind::kRecoat}) {
    StyleDocument style = NewStyle(kind);
    const std::string name = StyleCommand(kind);
    if (kind == StyleKind::kRecoat) {
      for (std::size_t list = 0; list < kSweepLists; ++list) {
        style.sweeps[list].push_back(NewSweep());
        style.CountSweeps(list);
      }
    }
    Json json = StyleToJson(style);
    Write(root, "style_document", (name + ".json").c_str(), json.dump());
    // Small ones are changed to more effect: a parameter or two, and what is left out is that of a new style.
    if (json.contains("parameters") && json["parameters"].size() > 2) {
      const Json two = Json::array({json["parameters"][0], json["parameters"][1]});
      json["parameters"] = two;
      Write(root, "style_document", (name + "_short.json").c_str(), json.dump());
    }
  }
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 2) return 2;
  const std::filesystem::path root = argv[1];
  MakeJobs(root);
  MakeStyles(root);
  Write(root, "machine_profile", "two.toml",
        "[lab]\n"
        "type = \"TRQ-E7\"\n"
        "vat = \"500x500x580mm\"\n"
        "styles = \"/srv/styles\"\n\n"
        "[\"the other\"]\n"
        "type = 3\n"
        "vat = '10x10x12in'\n");
  return 0;
}
