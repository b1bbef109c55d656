"""Style files for tests of checks and builds, packed by the scripts of the golden files, which do not use the library."""
import sys

from support import SOURCE

sys.path.insert(0, str(SOURCE / "tests" / "data" / "styles"))
sys.path.insert(0, str(SOURCE / "tests" / "data" / "recoat"))
import make_golden_recoat  # noqa: E402
import make_golden_styles  # noqa: E402


def build_style(thickness=0.1, machine=6, layout="301", **values):
    """A build style with these values; a blank stands for an underscore."""
    style = make_golden_styles.default_style()
    style.machine = machine
    for name, value in {"Layer Thickness": thickness, **values}.items():
        style.records[name.replace("_", " ")].value = value
    return make_golden_styles.layout_301(style) if layout == "301" else make_golden_styles.layout_206(style)


def build_style_with(change, thickness=0.1):
    """A build style after change(records)."""
    style = make_golden_styles.default_style()
    style.records["Layer Thickness"].value = thickness
    change(style.records)
    return make_golden_styles.layout_301(style)


def recoat_style(thickness=0.1, machine=6, units="mm", sweeps=0, change=lambda records: None, layout="301"):
    style = make_golden_recoat.default_style()
    style.thickness, style.machine, style.units = thickness, machine, units
    record = make_golden_recoat.Record
    style.sweeps = [(record("f", 100 + k, 100), record("f", 5, 5)) for k in range(sweeps)]
    if sweeps:
        count = style.records["Num Sweeps"]
        count.value, count.low, count.high = sweeps, 0, sweeps
    change(style.records)
    return make_golden_recoat.pack_301(style) if layout == "301" else make_golden_recoat.pack_206(style)
