#include "trqprep/report.h"

#include <algorithm>

#include "prep/report/page.h"
#include "prep/report/sheets.h"
#include "trqprep/base64.h"

namespace trqprep {
namespace {

// JSON that may stand in an element of script: nothing in it ends that, or begins a comment.
std::string DataText(const Json& json) {
  std::string text;
  for (const char c : json.dump()) {
    if (c == '<') {
      text += "\\u003c";
    } else {
      text += c;
    }
  }
  return text;
}

std::string Script(const std::string& text) { return "<script>" + text + "</script>\n"; }

// "2 errors and 1 warning", and the class of the worst.
std::pair<std::string, const char*> Verdict(const ReportSubject& subject) {
  if (!subject.checked) return {"", ""};
  std::int64_t errors = 0, warnings = 0, notes = 0;
  for (const ReportFinding& finding : subject.findings) {
    ++(finding.severity == "error" ? errors : finding.severity == "warning" ? warnings : notes);
  }
  std::string text;
  const auto add = [&](std::int64_t count, const char* word) {
    if (count > 0) text += (text.empty() ? "" : ", ") + Counted(count, word);
  };
  add(errors, "error");
  add(warnings, "warning");
  add(notes, "note");
  return {text.empty() ? "nothing found" : text, errors > 0     ? "error"
                                                 : warnings > 0 ? "warning"
                                                 : notes > 0    ? "note"
                                                                : "good"};
}

void AddHead(Html& page, const ReportSubject& subject, const std::string& id, bool first) {
  const auto [verdict, severity] = Verdict(subject);
  const char* level = first ? "h1" : "h1 class=\"next\"";
  page.Add("<header id=\"{}\">\n<{}>{}</h1>\n", id, level, NameMarkup(subject.title));
  if (!verdict.empty()) page.Add("<p class=\"verdict {}\">{}</p>\n", severity, verdict);
  page.Add("<dl class=\"facts\">\n");
  for (const auto& [words, value] : subject.facts) {
    page.Add("<div><dt>{}</dt><dd>{}</dd></div>\n", XmlText(words), NameMarkup(value));
  }
  page.Add("</dl>\n</header>\n");
}

}  // namespace

std::string ReportPage(const std::vector<ReportSubject>& subjects, const ReportOptions& options) {
  const std::string three = ThreeScript(), viewer = ViewerScript();
  bool drawn = false;
  for (const ReportSubject& subject : subjects) drawn = drawn || HasMeshes(subject) || HasLayers(subject);
  Html page;
  page.Add(
      "<!doctype html>\n<html lang=\"en\">\n<head>\n<meta charset=\"utf-8\">\n"
      "<meta http-equiv=\"Content-Security-Policy\" content=\"default-src 'none'; script-src {}; style-src "
      "'unsafe-inline'; img-src data:\">\n",
      drawn ? fmt::format("'sha256-{}' 'sha256-{}'", Sha256InBase64(three), Sha256InBase64(viewer))
            : std::string("'none'"));
  page.Add(
      "<meta name=\"viewport\" content=\"width=device-width, initial-scale=1\">\n"
      "<meta name=\"color-scheme\" content=\"light dark\">\n<title>{}</title>\n",
      XmlText(subjects.empty() ? "Report" : subjects[0].title));
  page.Add("<style>\n").Add(StyleSheet().c_str()).Add("</style>\n</head>\n<body>\n");
  Html blocks;
  for (std::size_t i = 0; i < subjects.size(); ++i) {
    const ReportSubject& subject = subjects[i];
    const std::string id = fmt::format("s{}", i + 1);
    AddHead(page, subject, id, i == 0);
    page.Add("<main>\n");
    const PageScene scene = MakeScene(subject, id, options.facets);
    const std::vector<FindingPlace> places = PlacesOfFindings(subject);
    AddStage(page, subject, id, scene, places);
    AddFindings(page, subject, id, places);
    AddPieces(page, subject, id);
    AddEstimate(page, subject, id);
    AddBands(page, subject, id);
    AddLayers(page, subject, id, scene);
    AddStyles(page, subject, id);
    AddRecord(page, subject, id);
    page.Add("</main>\n");
    if (HasMeshes(subject) || HasLayers(subject)) {
      blocks.Add("<script type=\"application/json\" id=\"{}-scene\" class=\"scene\">{}</script>\n", id,
                 DataText(scene.json));
      blocks.Add("{}", scene.blocks.text);
    }
  }
  page.Add("<footer><p>{}</p></footer>\n", XmlText(ToolName()));
  if (drawn) {
    page.Add("{}", blocks.text);
    page.text += Script(three);
    page.text += Script(viewer);
  }
  page.Add("</body>\n</html>\n");
  return std::move(page.text);
}

}  // namespace trqprep
