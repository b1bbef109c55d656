/// What the tool says: a code, a severity, the file and place, one line of text and a hint.
#pragma once

#include <string>

#include "trqprep/exit_codes.h"
#include "trqprep/json_text.h"
#include "trqprep/message_table.h"

namespace trqprep {

const char* SeverityName(Severity severity);

/// One message. Built in one expression:
///   Message(Code::kStlShort, path, "binary STL announces 12 facets, file holds 10")
///       .Hint("--accept-partial uses the 10 facets present").At({{"facet", 10}})
struct Message {
  Message(Code code_, std::string file_, std::string text_)
      : code(code_), file(std::move(file_)), text(std::move(text_)) {}
  Message& Hint(std::string hint_) {
    hint = std::move(hint_);
    return *this;
  }
  Message& At(Json where_) {
    where = std::move(where_);
    return *this;
  }
  Message& As(Severity severity_) {
    severity = severity_;
    return *this;
  }

  Code code;
  Severity severity = Severity::kError;
  std::string file;             ///< the file concerned as given, any bytes; empty: none
  Json where = Json::object();  ///< the place inside it: facet, line, byte, layer, part, ...
  std::string text;
  std::string hint;  ///< the next step; empty: that of the code, for an error
};

/// A finding of a check: a message with the severity of its code.
Message Finding(Code code, const std::string& file, const std::string& text);

/// The next step of a code as it is printed: options bare, commands in quotes.
std::string NextStep(Code code);
/// The message, with the next step of its code when it is an error without a hint.
Message WithHint(Message message);

/// The message in the "messages" list of a JSON document.
Json MessageToJson(const Message& message);
/// The message as lines for the error stream, with a line end; control characters are escaped.
std::string RenderMessage(const Message& message, bool colour);

/// Ends a command: thrown by whatever cannot go on, caught once where commands are run.
struct Failure {
  ExitCode exit;
  Message message;
};
/// Throws it; but std::bad_alloc for an input or output that errno says failed for want of memory.
[[noreturn]] void Fail(ExitCode exit, Message message);
/// The same with the code USAGE and exit 2, or with exit 3 or 4, and with a message that has no more than
/// this.
[[noreturn]] void FailUsage(std::string file, std::string text, std::string hint = "");
[[noreturn]] void FailInput(Code code, std::string file, std::string text, std::string hint = "");
[[noreturn]] void FailOutput(Code code, std::string file, std::string text, std::string hint = "");

/// "trqprep X.Y.Z"
std::string ToolName();
/// "X.Y.Z"
std::string ToolVersion();

/// The system's text for an errno value. Throws std::bad_alloc for ENOMEM: whoever ran out of memory, the
/// command ends as one that did.
std::string SystemText(int error);
/// A text with its control characters written as \xHH, so that it stays on its line.
std::string OneLine(const std::string& text);
/// A text as it may stand in XML; bytes that are not UTF-8 and control characters become U+FFFD.
std::string XmlText(const std::string& text);

}  // namespace trqprep
