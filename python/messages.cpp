// Messages, warnings and errors as Python knows them, and the observer of long work.
#include <stdexcept>

#include "binding.h"

namespace trqprep::python {
namespace {

constexpr std::chrono::milliseconds kBetweenLooks{20};

py::object ErrorClass(const char* name) { return py::module_::import("trqprep.errors").attr(name); }

py::object FileOf(const Message& message) { return TextOf(message.file); }

[[noreturn]] void RaiseAs(const char* name, const Message& given, const std::vector<Message>& findings) {
  const Message message = WithHint(given);
  const py::object type = ErrorClass(name);
  const py::object error = type(TextOf(RowOf(message.code).text), TextOf(message.text), TextOf(message.hint),
                                FileOf(message));
  error.attr("where") = FromJson(message.where);
  error.attr("findings") = FindingsOf(findings);
  PyErr_SetObject(type.ptr(), error.ptr());
  throw py::error_already_set();
}

const char* ClassOf(ExitCode exit, const Message& message) {
  const bool of_file = exit == ExitCode::kInput || exit == ExitCode::kOutput;
  if (of_file && !message.file.empty()) return "TrqFileError";
  return of_file || exit == ExitCode::kUsage ? "TrqValueError" : "TrqError";
}

void WarnOf(const Message& said) {
  const py::gil_scoped_acquire locked;
  const Message message = WithHint(said);
  const py::object type = ErrorClass("TrqWarning");
  const py::object warning = type(TextOf(RowOf(message.code).text), TextOf(message.text),
                                  TextOf(message.hint), FileOf(message));
  warning.attr("where") = FromJson(message.where);
  py::module_::import("warnings").attr("warn")(warning);
}

template <class Raising>
void Restore(Raising raise) {
  try {
    raise();
  } catch (py::error_already_set& error) {
    error.restore();
  }
}

}  // namespace

void Raise(const Failure& failure) {
  if (failure.message.code == Code::kNoMemory) throw std::bad_alloc();
  RaiseAs(ClassOf(failure.exit, failure.message), failure.message, {});
}

void RaiseSaid(const std::vector<Message>& messages, Code otherwise, const char* text) {
  for (const Message& message : messages) {
    if (message.severity == Severity::kError) RaiseAs("TrqError", message, messages);
  }
  RaiseAs("TrqError", Message(otherwise, "", text), messages);
}

void RaiseValue(const std::string& text, const std::string& hint) {
  RaiseAs("TrqValueError", Message(Code::kUsage, "", text).Hint(hint), {});
}

void RaiseBuffer(const char* text) {
  PyErr_SetString(PyExc_BufferError, text);
  throw py::error_already_set();
}

void Listener::OnMessage(const Message& said) {
  if (saying_ == Saying::kWarn && said.severity == Severity::kWarning) WarnOf(said);
}

void Listener::TellErrors() {
  for (const Message& said : messages()) {
    if (said.severity == Severity::kError) WarnOf(said);
  }
}

void Listener::OnProgress(const std::string& what, double share) {
  const py::gil_scoped_acquire locked;
  if (!progress_.is_none()) progress_(TextOf(what), share);
}

bool Listener::Cancelled() {
  // Long loops ask often, and the lock may be somebody else's.
  const auto now = std::chrono::steady_clock::now();
  if (now - looked_ < kBetweenLooks) return false;
  looked_ = now;
  const py::gil_scoped_acquire locked;
  if (PyErr_CheckSignals() != 0) throw py::error_already_set();
  return false;
}

py::list FindingsOf(const std::vector<Message>& messages) {
  py::list list;
  for (const Message& message : messages) list.append(py::cast(WithHint(message)));
  return list;
}

void AddErrors(py::module_& module) {
  py::register_exception_translator([](std::exception_ptr thrown) {
    try {
      if (thrown) std::rethrow_exception(thrown);
    } catch (const Failure& failure) {
      Restore([&] { Raise(failure); });
    } catch (const std::invalid_argument& mistake) {
      Restore([&] { RaiseValue(mistake.what()); });
    }
  });
  py::class_<Message>(module, "Finding", R"(What a check finds, or an operation says.

`trqprep explain CODE` and docs/error-codes.md tell what the code means.)")
      .def_property_readonly("code", [](const Message& m) { return RowOf(m.code).text; },
                             "The code, such as \"OPEN-EDGES\".")
      .def_property_readonly("severity", [](const Message& m) { return SeverityName(m.severity); },
                             "\"error\", \"warning\" or \"note\".")
      .def_property_readonly("text", [](const Message& m) { return TextOf(m.text); }, "One line of text.")
      .def_property_readonly("hint", [](const Message& m) { return TextOf(m.hint); },
                             "The next step; may be empty.")
      .def_property_readonly("file", [](const Message& m) { return FileOf(m); },
                             "The file concerned; empty when there is none.")
      .def_property_readonly("where", [](const Message& m) { return FromJson(m.where); },
                             "dict: the place, such as {\"facet\": 12}.")
      .def("to_dict", [](const Message& m) { return FromJson(MessageToJson(m)); },
           "The entry of \"messages\" that `trqprep --json` writes for it.")
      .def("__repr__", [](const Message& m) {
        return TextOf("<" + std::string(SeverityName(m.severity)) + " " + RowOf(m.code).text + ": " +
                      (m.file.empty() ? "" : m.file + ": ") + m.text + ">");
      });
}

}  // namespace trqprep::python
