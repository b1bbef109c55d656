// Values to and from Python.
#include <cmath>
#include <limits>

#include "binding.h"

namespace trqprep::python {
namespace {

// Texts by which documents say what no JSON number is.
std::optional<double> NumberInWords(const std::string& text) {
  if (text == "inf") return std::numeric_limits<double>::infinity();
  if (text == "-inf") return -std::numeric_limits<double>::infinity();
  if (text.size() == 12 && text.compare(0, 4, "nan:") == 0) return std::numeric_limits<double>::quiet_NaN();
  return std::nullopt;
}

constexpr int kDeepest = 64;

Json ToJson(py::handle value, int depth) {
  if (depth > kDeepest) RaiseValue("the value is nested too deep");
  if (value.is_none()) return nullptr;
  if (py::isinstance<py::bool_>(value)) return value.cast<bool>();
  if (py::isinstance<py::int_>(value)) {
    const int overflow = [&] {
      int over = 0;
      PyLong_AsLongLongAndOverflow(value.ptr(), &over);
      return over;
    }();
    if (overflow != 0) RaiseValue("a whole number of the document is too large");
    const auto number = value.cast<std::int64_t>();
    // As the parser has them.
    return number < 0 ? Json(number) : Json(std::uint64_t(number));
  }
  if (py::isinstance<py::float_>(value)) {
    const auto number = value.cast<double>();
    return std::isfinite(number) ? Json(number) : NumberToJson(number);
  }
  if (py::isinstance<py::str>(value)) {
    const auto text = py::reinterpret_borrow<py::object>(value);
    return Json(text.attr("encode")("utf-8", "surrogateescape").cast<std::string>());
  }
  if (py::isinstance<py::dict>(value)) {
    Json object = Json::object();
    for (const auto& [key, item] : py::reinterpret_borrow<py::dict>(value)) {
      if (!py::isinstance<py::str>(key)) RaiseValue("a key of the document is no text");
      object[key.cast<std::string>()] = ToJson(item, depth + 1);
    }
    return object;
  }
  if (py::isinstance<py::list>(value) || py::isinstance<py::tuple>(value)) {
    Json list = Json::array();
    for (const py::handle item : value) list.push_back(ToJson(item, depth + 1));
    return list;
  }
  throw py::type_error("a document holds None, bool, int, float, str, list and dict only");
}

}  // namespace

py::object FromJson(const Json& value) {
  if (value.is_boolean()) return py::bool_(value.get<bool>());
  if (value.is_number_unsigned()) return py::int_(value.get<std::uint64_t>());
  if (value.is_number_integer()) return py::int_(value.get<std::int64_t>());
  if (value.is_number()) return py::float_(value.get<double>());
  if (value.is_string()) {
    const auto text = value.get<std::string>();
    if (const std::optional<double> number = NumberInWords(text)) return py::float_(*number);
    return TextOf(text);
  }
  if (value.is_array() || value.is_rows()) {
    py::list list;
    value.ForEach([&](const Json& item) { list.append(FromJson(item)); });
    return std::move(list);
  }
  if (value.is_object()) {
    // A text that is not UTF-8.
    if (value.size() == 1 && value.contains("bytes")) {
      if (const std::optional<std::string> bytes = TextFromJson(value)) return TextOf(*bytes);
    }
    py::dict dict;
    for (const auto& [key, item] : value.items()) dict[py::str(key)] = FromJson(item);
    return std::move(dict);
  }
  return py::none();
}

Json ToJson(py::handle value) { return ToJson(value, 0); }

py::str TextOf(const std::string& bytes) {
  PyObject* const text = PyUnicode_DecodeUTF8(bytes.data(), py::ssize_t(bytes.size()), "surrogateescape");
  if (!text) throw py::error_already_set();
  return py::reinterpret_steal<py::str>(text);
}

std::string PathOf(py::handle path) {
  PyObject* encoded = nullptr;
  if (!PyUnicode_FSConverter(path.ptr(), &encoded)) {
    if (!PyErr_ExceptionMatches(PyExc_ValueError)) throw py::error_already_set();
    PyErr_Clear();
    RaiseValue("a path holds a character that no file name has");
  }
  const auto held = py::reinterpret_steal<py::bytes>(encoded);
  const auto name = held.cast<std::string>();
  if (name.empty()) RaiseValue("a path is empty");
  // The functions of prep take "-" for standard input and output.
  return name == "-" ? "./-" : name;
}

Units UnitsOf(const std::string& name) {
  const std::optional<Units> units = FileUnitsFromName(name);
  if (!units) RaiseValue("'" + name + "' is no unit", "mm, in, cm or m");
  return *units;
}

Length LengthOf(py::handle value) {
  try {
    return ParseLength(WordsOf(value));
  } catch (const std::invalid_argument& error) {
    RaiseValue(error.what(), "a number, or a text such as \"2mm\"");
  }
}

std::optional<Length> LengthIfGiven(py::handle value) {
  if (value.is_none()) return std::nullopt;
  return LengthOf(value);
}

std::string WordsOf(py::handle value) {
  if (py::isinstance<py::str>(value)) return value.cast<std::string>();
  if (py::isinstance<py::float_>(value)) return py::repr(py::float_(value.cast<double>())).cast<std::string>();
  if (PyIndex_Check(value.ptr()) && !py::isinstance<py::bool_>(value)) {
    PyObject* const whole = PyNumber_Index(value.ptr());
    if (!whole) throw py::error_already_set();
    return py::str(py::reinterpret_steal<py::object>(whole)).cast<std::string>();
  }
  if (PyNumber_Check(value.ptr()) && !py::isinstance<py::bool_>(value)) {
    PyObject* const number = PyNumber_Float(value.ptr());  // one of numpy's
    if (!number) throw py::error_already_set();
    return py::repr(py::reinterpret_steal<py::object>(number)).cast<std::string>();
  }
  if (PyObject_HasAttrString(value.ptr(), "__fspath__")) return PathOf(value);
  throw py::type_error("a number or a text is wanted, not " + py::repr(value).cast<std::string>());
}

}  // namespace trqprep::python
