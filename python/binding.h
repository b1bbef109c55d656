/// What the files of the Python module share: values to and from Python, messages, and long work.
#pragma once

#include <pybind11/numpy.h>
#include <pybind11/pybind11.h>
#include <pybind11/stl.h>

#include <chrono>
#include <cstddef>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "trqprep/json_text.h"
#include "trqprep/message.h"
#include "trqprep/observer.h"
#include "trqprep/quantities.h"

namespace trqprep::python {

namespace py = pybind11;

// Each adds the classes and functions of a subject to the module.
void AddErrors(py::module_& module);
void AddMesh(py::module_& module);
void AddContours(py::module_& module);
void AddStyles(py::module_& module);
void AddPlate(py::module_& module);
void AddPictures(py::module_& module);

// --- values ----------------------------------------------------------------------------------------------

/// The value as json.loads would give it. Not-a-numbers and infinite ones, which documents spell, are floats.
py::object FromJson(const Json& value);
/// The Python value as JSON text would be read; TypeError for what has no place in JSON.
Json ToJson(py::handle value);
/// Bytes that are a name or text of a file.
py::str TextOf(const std::string& bytes);
/// The path of a str, bytes or os.PathLike, as the file functions of prep take it; "-" is a file of that name.
std::string PathOf(py::handle path);
/// "mm", "in", "cm" or "m".
Units UnitsOf(const std::string& name);
/// A number, whose unit is left open, or a text such as "2mm".
Length LengthOf(py::handle value);
/// Of None: nothing.
std::optional<Length> LengthIfGiven(py::handle value);
/// The value as the command line says it: a number with all its digits, a truth as nothing, any text as it is.
std::string WordsOf(py::handle value);

/// A view of values that belong to `owner`, which the array keeps alive and which is never written through it.
template <class T>
py::array_t<T> ReadOnly(std::vector<py::ssize_t> shape, std::vector<py::ssize_t> strides, const T* data,
                        const py::object& owner) {
  py::array_t<T> view(std::move(shape), std::move(strides), data, owner);
  view.attr("setflags")(py::arg("write") = false);
  return view;
}

// --- messages and errors ---------------------------------------------------------------------------------

/// Raises what the failure is in Python: TrqValueError, TrqFileError or TrqError.
[[noreturn]] void Raise(const Failure& failure);
/// The same of an error that was said, and what else was found.
[[noreturn]] void RaiseSaid(const std::vector<Message>& messages, Code otherwise, const char* text);
/// TrqValueError with the code USAGE.
[[noreturn]] void RaiseValue(const std::string& text, const std::string& hint = "");
/// BufferError.
[[noreturn]] void RaiseBuffer(const char* text);

/// What becomes of messages that end nothing.
enum class Saying {
  kWarn,  ///< warnings go to the module `warnings`, notes nowhere; errors wait for TellErrors
  kKeep,  ///< they are kept: what is asked for is messages
};

/// Hears a piece of work for Python. Made and destroyed with the interpreter's lock held.
class Listener : public Observer {
 public:
  explicit Listener(Saying saying = Saying::kWarn, py::object progress = py::none())
      : saying_(saying), progress_(std::move(progress)) {}

  /// Warns of the errors that were said, when they ended nothing.
  void TellErrors();

 protected:
  void OnMessage(const Message& said) override;
  void OnProgress(const std::string& what, double share) override;
  /// Lets the interpreter deal with signals, so that Ctrl-C raises KeyboardInterrupt here.
  bool Cancelled() override;

 private:
  Saying saying_;
  py::object progress_;
  std::chrono::steady_clock::time_point looked_{};
};

/// Does the work without the interpreter's lock.
template <class Work>
auto Unlocked(Listener& listener, Work work) {
  py::gil_scoped_release unlocked;
  MessageBoxes boxes(listener);
  return work();
}

/// The messages as a list of Finding.
py::list FindingsOf(const std::vector<Message>& messages);

}  // namespace trqprep::python
