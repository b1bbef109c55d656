// BuildStyle and RecoatStyle: mappings from the names of parameters to the parameters.
#include <string>
#include <vector>

#include "style_object.h"
#include "trqprep/check_styles.h"
#include "trqprep/style_edits.h"

namespace trqprep::python {

StyleFile Style::Written() const {
  if (Compare(file.style, style).empty()) return file;
  if (style.layout == StyleLayout::kLegacy) {  // is not written: its values alone count
    StyleFile changed = file;
    changed.style = style;
    return changed;
  }
  std::optional<StyleFile> written = ExamineStyle(file.path, StyleBytes(style), style.kind);
  if (written) return std::move(*written);
  return file;
}

namespace {

// --- parameters --------------------------------------------------------------------------------------------

py::object NumberOf(const Number& number) {
  return FromJson(Json(number));
}

py::object RangeOf(const StyleParameter& p) {
  if (!p.record.HasRange()) return py::none();
  return py::make_tuple(NumberOf(p.record.minimum), NumberOf(p.record.maximum));
}

py::tuple AllowedOf(const StyleParameter& p) {
  py::list allowed;
  for (const Number& number : p.record.allowed) allowed.append(NumberOf(number));
  return py::tuple(allowed);
}

std::size_t IndexOf(const Style& style, const std::string& name) {
  const auto& parameters = style.style.parameters;
  for (std::size_t i = 0; i < parameters.size(); ++i) {
    if (parameters[i].name == name) return i;
  }
  throw py::key_error(name);
}

void Set(Style& style, const std::string& name, const py::object& value, bool force) {
  const std::size_t i = IndexOf(style, name);
  const StyleValueFindings before = FindInValues(style.file, style.style);
  const Refusal refusal = SetParameter(style.file, style.style, i, WordsOf(value), force, before);
  if (!refusal.text.empty()) Raise({ExitCode::kUsage, refusal.Of(Code::kStyleRefused, style.file.path, name)});
}

// --- sweeps ------------------------------------------------------------------------------------------------

py::array_t<float> SweepsOf(const RecoatStyle& style, std::size_t list) {
  const std::vector<SweepValues>& sweeps = style.style.sweeps[list];
  py::array_t<float> rows({py::ssize_t(sweeps.size()), py::ssize_t(2)});
  for (std::size_t i = 0; i < sweeps.size(); ++i) {
    rows.mutable_at(i, 0) = float(sweeps[i].gap.value.Value());
    rows.mutable_at(i, 1) = float(sweeps[i].velocity.value.Value());
  }
  return rows;
}

void SetSweeps(RecoatStyle& style, std::size_t list, const py::object& values) {
  const auto rows = py::array_t<double, py::array::c_style | py::array::forcecast>::ensure(values);
  if (!rows) PyErr_Clear();
  if (!rows || rows.ndim() != 2 || rows.shape(1) != 2) RaiseValue("sweeps are an array of shape (N, 2): gap and velocity");
  std::vector<SweepValues> sweeps;
  for (py::ssize_t i = 0; i < rows.shape(0); ++i) {
    SweepValues sweep = NewSweep();
    RecordValues* const records[] = {&sweep.gap, &sweep.velocity};
    const char* const names[] = {"gap", "velocity"};
    for (py::ssize_t column = 0; column < 2; ++column) {
      const std::string text = WordsOf(py::float_(rows.at(i, column)));
      std::string refusal;
      records[column]->value = ParseStyleValue(names[column], text, true, refusal);
      if (!refusal.empty()) FailStyleValue(names[column], text, refusal);
      records[column]->default_value = records[column]->value;
    }
    sweeps.push_back(std::move(sweep));
  }
  style.style.sweeps[list] = std::move(sweeps);
  style.style.CountSweeps(list);
}

// --- styles ------------------------------------------------------------------------------------------------

template <class Kind>
Kind Load(const py::object& path) {
  const std::string name = PathOf(path);
  Listener listener;
  StyleFile file = Unlocked(listener, [&] { return LoadStyle(listener, name, Kind::kKind); });
  StyleDocument style = file.style;
  return Kind(std::move(file), std::move(style));
}

// A style that is in no file yet.
template <class Kind>
Kind Fresh(StyleDocument style) {
  StyleFile file;
  file.kind = Kind::kKind;
  file.layout = style.layout;
  file.style = style;
  file.bytes = StyleBytes(style);
  if (std::optional<StyleFile> examined = ExamineStyle("", file.bytes, Kind::kKind)) file = std::move(*examined);
  return Kind(std::move(file), std::move(style));
}

template <class Kind>
Kind New(const std::string& machine, const std::string& name) {
  StyleDocument style = NewStyle(Kind::kKind);
  style.FindWord("machine_type")->number = Number(std::int32_t{MachineByName(machine)});
  if (!name.empty()) style.FindText("style_name")->text = name;
  return Fresh<Kind>(std::move(style));
}

template <class Kind>
Kind FromDict(const py::dict& document) {
  StyleDocument style = NewStyle(Kind::kKind);
  StyleFromJson("", ToJson(document), style);
  return Fresh<Kind>(std::move(style));
}

template <class Kind>
Kind Upgrade(const Kind& style, const std::string& units) {
  Listener listener;
  StyleFile file = style.Written();
  StyleDocument upgraded = Unlocked(listener, [&] { return UpgradeStyle(listener, file, units); });
  Kind made = Fresh<Kind>(std::move(upgraded));
  made.file.path = style.file.path;
  return made;
}

template <class Kind>
py::object Diff(const Kind& a, const Kind& b) {
  Listener listener;
  return FromJson(DifferencesToJson(CompareFiles(listener, a.Written(), b.Written())));
}

void Save(const Style& style, const py::object& path, bool replace) {
  const std::string name = PathOf(path);
  if (style.style.layout == StyleLayout::kLegacy) {
    RaiseValue("a style of the legacy layout is not written", "upgrade() makes a 301 style of it");
  }
  const std::vector<Message> lost = FindLost(name, style.style);
  if (!lost.empty()) RaiseSaid(lost, Code::kStyleRefused, "");
  WriteStyle(style.style, name, replace);
}

py::list Verify(const Style& style) {
  const StyleFile file = style.Written();
  return FindingsOf(VerifyStyle(file, file.complete ? ChangesByRewriting(file) : RewriteChanges()));
}

py::list Check(const Style& style, const std::optional<std::string>& machine, const std::string& units) {
  StyleSurroundings surroundings;
  surroundings.units = UnitsOf(units);
  if (machine) surroundings.machine = MachineByName(*machine);
  return FindingsOf(CheckStyle(style.Written(), surroundings));
}

std::string NameOf(const Style& style) {
  const StyleText* const name = style.style.FindText("style_name");
  return name ? name->text : "";
}

std::string Escaped(const std::string& text) {
  return py::module_::import("html").attr("escape")(TextOf(text)).cast<std::string>();
}

std::string Html(const Style& style) {
  std::string html = "<table><caption>" + std::string(StyleKindName(style.style.kind)) + " " + Escaped(NameOf(style)) +
                     ": what differs from its default</caption><tr><th>parameter</th><th>value</th><th>default</th><th>unit</th></tr>";
  for (const StyleParameter& p : style.style.parameters) {
    if (p.record.value == p.record.default_value) continue;
    html += "<tr><td>" + Escaped(p.name) + "</td><td>" + p.record.value.Text() + "</td><td>" +
            p.record.default_value.Text() + "</td><td>" + StyleQuantityName(p.quantity) + "</td></tr>";
  }
  return html + "</table>";
}

template <class Kind>
py::class_<Kind, Style> AddKind(py::module_& module, const char* name, const char* text) {
  using py::arg;
  return py::class_<Kind, Style>(module, name, text)
      .def_static("load", &Load<Kind>, arg("path"),
                  "Reads a style file, complete and with the right checksum. Raises TrqFileError.")
      .def_static("new", &New<Kind>, arg("machine"), py::kw_only(), arg("name") = "",
                  "A blank style for a machine, by its name or number (`trqprep machines`).")
      .def_static("from_dict", &FromDict<Kind>, arg("document"),
                  "The style that a document of `to_dict` holds. What it does not give is as in a new style.")
      .def("upgrade", &Upgrade<Kind>, py::kw_only(), arg("units") = "",
           "The same style in the 301 layout. units: \"mm\" or \"in\", of a legacy file, which does not say "
           "them. Source: `trqprep style upgrade`.")
      .def("diff", &Diff<Kind>, arg("other"),
           "list of dict: every difference to another style, as `trqprep style diff --json` says it; empty "
           "when there is none. `before` is this style.");
}

}  // namespace

void AddStyles(py::module_& module) {
  using py::arg;
  py::class_<StyleParameter>(module, "Parameter", "A parameter of a style as it was when asked for.")
      .def_property_readonly("name", [](const StyleParameter& p) { return TextOf(p.name); }, "str")
      .def_property_readonly("value", [](const StyleParameter& p) { return NumberOf(p.record.value); },
                             "float or int, in the style's own units.")
      .def_property_readonly("default", [](const StyleParameter& p) { return NumberOf(p.record.default_value); },
                             "float or int: the default that the style holds.")
      .def_property_readonly("range", &RangeOf, "(least, most), or None.")
      .def_property_readonly("allowed", &AllowedOf, "tuple of the values allowed; empty: any.")
      .def_property_readonly("unit", [](const StyleParameter& p) { return StyleQuantityName(p.quantity); },
                             "str: what the value measures, such as \"length\" or \"power\".")
      .def_property_readonly("region", [](const StyleParameter& p) { return StyleRegionName(p.region); },
                             "str: what the parameter is for, such as \"Small layer\".")
      .def_property_readonly("editable", [](const StyleParameter& p) { return p.record.edit == Number(std::int32_t{1}); },
                             "bool: user interfaces let it be edited.")
      .def("to_dict", [](const StyleParameter& p) { return FromJson(ParameterToJson(p)); },
           "dict: the entry of `trqprep style get --json`.")
      .def("__repr__", [](const StyleParameter& p) {
        return TextOf("<Parameter '" + p.name + "': " + p.record.value.Text() + " (" + StyleQuantityName(p.quantity) +
                      "), default " + p.record.default_value.Text() + ", range " + RangeText(p.record) + ">");
      });

  py::class_<Style>(module, "Style", "What build and recoat styles have in common.")
      .def("__getitem__", [](const Style& s, const std::string& name) { return s.style.parameters[IndexOf(s, name)]; })
      .def("__setitem__", [](Style& s, const std::string& name, const py::object& value) { Set(s, name, value, false); })
      .def("__len__", [](const Style& s) { return s.style.parameters.size(); })
      .def("__contains__", [](const Style& s, const py::object& name) {
        return py::isinstance<py::str>(name) && s.style.Find(name.cast<std::string>()) != nullptr;
      })
      .def("__iter__", [](const Style& s) {
        py::list names;
        for (const StyleParameter& p : s.style.parameters) names.append(TextOf(p.name));
        return py::iter(names);
      })
      .def("set", &Set, arg("name"), arg("value"), py::kw_only(), arg("force") = false,
           R"(Sets the value of a parameter, as `style[name] = value` does; with force, beyond what is allowed.

Raises TrqValueError (STYLE-REFUSED, STYLE-VALUE) for a value that the parameter cannot have;
the style is then as it was. Source: `trqprep style set`.)")
      .def("save", &Save, arg("path"), py::kw_only(), arg("replace") = false,
           "Writes the style's file in its layout, with checksum, whole or not at all.")
      .def("verify", &Verify,
           "list of Finding: what of the file is wrong or would be lost when it is written again. Source: "
           "`trqprep style verify`.")
      .def("check", &Check, py::kw_only(), arg("machine") = py::none(), arg("units") = "mm",
           "list of Finding: what would spoil a build with the style (STYLE-RANGE, STYLE-THICKNESS, ...). "
           "machine: that it is to be for. Source: `trqprep check`.")
      .def("to_dict", [](const Style& s) { return FromJson(StyleToJson(s.style)); },
           "dict: the complete style, as `trqprep style export` writes it in JSON.")
      .def_property_readonly("name", [](const Style& s) { return TextOf(NameOf(s)); }, "str: the style's own name.")
      .def_property_readonly("kind", [](const Style& s) { return StyleKindName(s.style.kind); },
                             "\"build style\" or \"recoat style\".")
      .def_property_readonly("layout", [](const Style& s) { return StyleLayoutName(s.style.layout); },
                             "\"301\", \"206\" or \"legacy\".")
      .def_property_readonly("file", [](const Style& s) { return TextOf(s.file.path); },
                             "str: the path that it was read from; empty for a new one.")
      .def("_repr_html_", &Html)
      .def("__repr__", [](const Style& s) {
        return TextOf(std::string(s.style.kind == StyleKind::kBuild ? "<BuildStyle '" : "<RecoatStyle '") + NameOf(s) +
                      "': " + Counted(std::int64_t(s.style.parameters.size()), "parameter") + ", " +
                      StyleLayoutName(s.style.layout) + " layout>");
      });

  AddKind<BuildStyle>(module, "BuildStyle", R"(How every layer of a part is cured: a mapping from names to Parameter.

    style["Layer Thickness"].value
    style["Layer Thickness"] = 0.1

Values are numbers in the style's own units, which build style files do not record. Source:
`trqprep style`, docs/formats/build-style.md.)");
  py::class_<RecoatStyle, Style> recoat = AddKind<RecoatStyle>(module, "RecoatStyle", R"(How a layer is recoated: a mapping from names to Parameter, and three lists of sweeps.

Source: `trqprep recoat`, docs/formats/recoat-style.md.)");
  constexpr const char* kNames[] = {"sweeps", "primary_sweeps", "secondary_sweeps"};
  for (std::size_t list = 0; list < kSweepLists; ++list) {
    recoat.def_property(
        kNames[list], [list](const RecoatStyle& s) { return SweepsOf(s, list); },
        [list](RecoatStyle& s, const py::object& values) { SetSweeps(s, list, values); },
        "(N, 2) float32: gap in percent and velocity of each sweep, a copy; may be set.");
  }
}

}  // namespace trqprep::python
