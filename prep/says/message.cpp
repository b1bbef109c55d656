#include "trqprep/message.h"

#include <fmt/format.h>

#include <cerrno>
#include <new>

#include "trq/core/file.h"

namespace trqprep {

const char* SeverityName(Severity severity) {
  return severity == Severity::kNote ? "note" : severity == Severity::kWarning ? "warning" : "error";
}

Message Finding(Code code, const std::string& file, const std::string& text) {
  return Message(code, file, text).As(RowOf(code).severity);
}

std::string NextStep(Code code) {
  std::string step;
  bool inside = false, quoted = false;
  for (const char* c = RowOf(code).hint; *c; ++c) {
    if (*c != '`') {
      step += *c;
      continue;
    }
    inside = !inside;
    if (inside) quoted = c[1] != '-';
    if (quoted) step += '\'';
  }
  return step;
}

Message WithHint(Message message) {
  if (message.severity == Severity::kError && message.hint.empty()) message.hint = NextStep(message.code);
  return message;
}

Json MessageToJson(const Message& message) {
  return {{"code", RowOf(message.code).text},
          {"severity", SeverityName(message.severity)},
          {"file", message.file.empty() ? Json() : TextToJson(message.file)},
          {"where", message.where},
          {"text", TextToJson(message.text)},
          {"hint", TextToJson(message.hint)}};
}

std::string OneLine(const std::string& text) {
  std::string line;
  for (const char c : text) {
    const auto byte = static_cast<unsigned char>(c);
    if (byte < 0x20 || byte == 0x7F) {
      line += fmt::format("\\x{:02x}", byte);
    } else {
      line += c;
    }
  }
  return line;
}

std::string XmlText(const std::string& text) {
  std::string out;
  for (size_t i = 0; i < text.size();) {
    // The longest well-formed character at this place, or none.
    size_t length = 1;
    while (length <= 4 && i + length <= text.size() && !IsUtf8(text.substr(i, length))) ++length;
    const char c = text[i];
    if (length > 4 || i + length > text.size() || static_cast<unsigned char>(c) < 0x20) {
      out += "\xEF\xBF\xBD";
      length = 1;
    } else {
      out += c == '<'   ? "&lt;"
             : c == '>' ? "&gt;"
             : c == '&' ? "&amp;"
             : c == '"' ? "&quot;"
                        : text.substr(i, length);
    }
    i += length;
  }
  return out;
}

std::string RenderMessage(const Message& message, bool colour) {
  const char* paint = "";
  const char* plain = "";
  if (colour) {
    paint = message.severity == Severity::kError     ? "\033[1;31m"
            : message.severity == Severity::kWarning ? "\033[1;33m"
                                                     : "\033[1;36m";
    plain = "\033[0m";
  }
  std::string lines = fmt::format("trqprep: {}{}:{} ", paint, SeverityName(message.severity), plain);
  if (!message.file.empty()) lines += OneLine(message.file) + ": ";
  lines += fmt::format("{} [{}]\n", OneLine(message.text), RowOf(message.code).text);
  if (!message.hint.empty()) lines += fmt::format("  hint: {}\n", OneLine(message.hint));
  return lines;
}

std::string ToolVersion() { return TRQPREP_VERSION; }
std::string ToolName() { return "trqprep " + ToolVersion(); }

void Fail(ExitCode exit, Message message) {
  // The library tells that a file could not be read or written, not that it was for want of memory.
  if (errno == ENOMEM && (exit == ExitCode::kInput || exit == ExitCode::kOutput)) throw std::bad_alloc();
  throw Failure{exit, std::move(message)};
}

void FailUsage(std::string file, std::string text, std::string hint) {
  Fail(ExitCode::kUsage, Message(Code::kUsage, std::move(file), std::move(text)).Hint(std::move(hint)));
}

void FailInput(Code code, std::string file, std::string text, std::string hint) {
  Fail(ExitCode::kInput, Message(code, std::move(file), std::move(text)).Hint(std::move(hint)));
}

void FailOutput(Code code, std::string file, std::string text, std::string hint) {
  Fail(ExitCode::kOutput, Message(code, std::move(file), std::move(text)).Hint(std::move(hint)));
}

std::string SystemText(int error) {
  if (error == ENOMEM) throw std::bad_alloc();
  const char* text = trq::core::ErrorText(error);
  return text ? text : fmt::format("error {}", error);
}

}  // namespace trqprep
