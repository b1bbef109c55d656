#!/usr/bin/env python3
"""Writes the golden build style files and text exports beside this script: make_golden_styles.py [--check].
With --check it only compares, and ends with 1 when a file differs.

The lists below are transcribed by hand from docs/formats/build-style.md and pack the bytes on their own: nothing of the
library is used, so that the files can prove it. Run it again only when the format changes.
"""

import os
import struct
import sys


def f32(x):
    """x rounded to a 4-byte float."""
    return struct.unpack("<f", struct.pack("<f", x))[0]


def four(form):
    return [form % i for i in (1, 2, 3, 4)]


# --- The parameters in member order; a name that begins with '#' is an integer record, '~' marks an unnamed one. --

SMALL_LAYER = (["Small LayerBorder  Cure Depth", "Small LayerBorderPrime  Cure Depth", "#Small LayerNumHatches"] +
               four("Small LayerHatchAngle %d") + four("Small LayerHatch Cure Depth %d") +
               four("Small LayerHatch Spacing %d"))
SMALL_UP = (["Small UpBorder  Cure Depth", "#Small Up Number of Hatches"] +
            four("Small Up HatchAngle %d") + four("Small Up Hatch Cure Depth %d") + four("Small Up Hatch Spacing %d") +
            ["#Small Up NumFills"] +
            four("Small Up FillAngle %d") + four("Small Up Fill Cure Depth %d") + four("Small Up Fill Spacing  %d"))
SMALL_DOWN = (["Small Down Border Cure Depth", "#Small Down NumHatches"] +
              four("Small Down HatchAngle %d") + four("Small Down Hatch Cure Depth %d") +
              four("Small Down Hatch Spacing %d") + ["#Small Down NumFills"] +
              four("Small Down FillAngle %d") + four("Small Down Fill Cure Depth %d") +
              four("Small Down Fill Spacing %d"))
LARGE_LAYER = (["Large LayerBorder Cure Depth", "Large LayerBorderPrime Cure Depth", "#Large LayerNumHatches"] +
               four("Large LayerHatch Angle %d") + four("Large LayerHatch Cure Depth %d") +
               four("Large LayerHatch Spacing %d"))
LARGE_UP = (["Large Up Border Cure Depth", "#Large Up NumHatches"] +
            four("Large Up HatchAngle %d") + four("Large Up Hatch Cure Depth %d") + four("Large Up Hatch Spacing %d") +
            ["#Large Up NumFills"] +
            four("Large Up FillAngle %d") + four("Large Up Fill Cure Depth %d") + four("Large Up Fill Spacing %d"))
LARGE_DOWN = (["Large Down Border Cure Depth", "#Large Down NumHatches"] +
              four("Large Down HatchAngle %d") + four("Large Down Hatch Cure Depth %d") +
              four("Large Down Hatch Spacing %d") + ["#Large Down NumFills"] +
              four("Large Down FillAngle %d") + four("Large Down Fill Cure Depth %d") +
              four("Large Down FillSpacing %d"))
REGIONS = SMALL_LAYER + SMALL_UP + SMALL_DOWN + LARGE_LAYER + LARGE_UP + LARGE_DOWN
SUPPORTS = ["Small Support Boundary Cure Depth", "Small Support Down Interface Boundary Cure Depth",
            "Small Support Up Interface Boundary Cure Depth", "Large Support Boundary Cure Depth",
            "Large Support Down Interface Boundary Cure Depth", "Large Support Up Interface Boundary Cure Depth"]
LAYER_POWERS = (["Layer Border Power", "Layer Border Prime Power"] + ["Layer Hatch %d Power" % i for i in range(4)] +
                ["Support Border Power", "Support Down Interface Border Power", "Support Up Interface Border Power",
                 "Down Border Power"] + ["Down Hatch %d Power" % i for i in range(4)] +
                ["Down Fill %d Power" % i for i in range(4)])
UP_FILL_POWERS = ["Up Fill %d Power" % i for i in range(4)]
UP_HATCH_POWERS = ["Up Border Power"] + ["Up Hatch %d Power" % i for i in range(4)]
DRAW = ["#Draw Borders Last Flag", "#Draw Small Up Borders Flag", "#Draw Large Up Borders Flag",
        "#Draw Small Down Borders Flag", "#Draw Large Down Borders Flag", "#Draw Small Layer Borders Flag",
        "#Draw Large Layer Borders Flag", "#Draw Small Layer Border Prime Flag",
        "#Draw Large Layer Border Prime Flag"]

MEMBERS = (
    ["Version", "Start Z", "End Z", "Layer Thickness"] + REGIONS +
    ["Large Retract Start", "Large Retract End", "Small Retract Start", "Small Retract End",
     "#Large InterHatch Delay", "#Small InterHatch Delay", "#Hatch Type", "#Fill Type",
     "#QC BorderType", "#QC HatchStyle", "#QC ThickSkins", "#QC VentsDrains",
     "QC Min Small Thick Skin Width", "QC Min Large Thick Skin Width", "QCZ Transition", "QC ZBond", "QC LayerDepth",
     "#Stagger", "#Alternate", "Small Stagger Offset", "Large Stagger Offset", "Boundary Comp",
     "#Additional Boundaries", "#DH Flag", "#UH Flag", "Min Small NS Width", "Min Large NS Width", "#~int0",
     "#ZCalculate", "Small Line Width", "Large Line Width", "Dp", "Ec", "#Tooling Sequencing Count",
     "#Tooling Sequencing Ratio", "Min Width For Small Spot"] + SUPPORTS + ["~float%d" % i for i in range(21)] +
    LAYER_POWERS + UP_FILL_POWERS + UP_HATCH_POWERS +
    ["#Small Spot Only Flag", "#Z Smoothing Flag", "#Layer Only Flag", "#High Spatial Tolerance Flag",
     "#Small Line Width Compenstation Flag", "#Large Line Width Compenstation Flag", "#Differential Shrink Flag",
     "#Small Feature Preservation Flag", "#Pattern Style Flag", "#Shelling Flag", "Shell Support Spacing",
     "#Smart Best Surface Finish Flag", "#Smart Best Surface Finish Layers", "#LBP for B2", "#Z Filtering Flag",
     "#~int1", "#~int2", "#Interior Boundary Removal Flag", "#High Speed Scan Flag", "High Speed Scan Threshold"] +
    DRAW + ["Shelling Thickness"])
assert len(MEMBERS) == 262 and len(set(MEMBERS)) == 262
INTEGERS = {name[1:] for name in MEMBERS if name[0] == "#"}
NAMES = [name.lstrip("#") for name in MEMBERS]
assert len([n for n in NAMES if n[0] != "~"]) == 238
assert len([n for n in NAMES if n[0] != "~" and n in INTEGERS]) == 51


def plain(names):
    return [name.lstrip("#") for name in names]


class Record:
    """One parameter; `integer` decides how its numbers are packed and printed."""

    def __init__(self, integer):
        self.integer = integer
        self.value = self.default = 0
        self.flags = [1, 1, 1]
        self.minimum, self.maximum = 100000, -100000
        self.allowed = []

    def number(self, x):
        return struct.pack("<i" if self.integer else "<f", x)

    def packed(self):
        return (self.number(self.value) + self.number(self.default) + bytes(self.flags) + self.number(self.minimum) +
                self.number(self.maximum) + struct.pack("<i", len(self.allowed)) +
                b"".join(self.number(x) for x in self.allowed))

    def copy(self):
        other = Record(self.integer)
        other.__dict__.update({k: list(v) if isinstance(v, list) else v for k, v in self.__dict__.items()})
        return other

    def line(self, name, comma):
        ranged = (self.minimum, self.maximum) != (100000, -100000)
        editable = "Yes" if self.flags[1] == 1 else "No"
        p = (lambda x: "%5d" % x) if self.integer else (lambda x: "%7.4f" % f32(x))
        value, default, low, high = p(self.value), p(self.default), p(self.minimum), p(self.maximum)
        if comma:
            text = "%s,%s,%s,%s," % (name, value, editable, default)
            if self.integer:
                text += "%s,%s," % (low, high) if ranged else "No Min-Max Range"
                return text + "".join("%d," % x for x in self.allowed) + "\n"
            text += "%s,%s" % (low, high) if ranged else "No Min-Max Range"
            return text + "".join(",%f," % f32(x) for x in self.allowed) + "\n"
        if self.integer:
            middle = "%s , %s, %s" % (low, high, editable) if ranged else "No Min-Max, %s" % editable
            tail = "".join("%d   " % x for x in self.allowed) or "Full Range"
            return "%s = %s  [%s] %s\nAllowed Values: %s\n\n" % (name, value, middle, default, tail)
        middle = "%s , %s, %s" % (low, high, editable) if ranged else "No Min-Max , %s" % editable
        tail = "".join("%f  " % f32(x) for x in self.allowed) or " Full Range"
        return "%s = %s  [%s] %s%s\n\n" % (name, value, middle, default, tail)


class Style:
    def __init__(self):
        self.version = 3.01
        self.user_level = 0
        self.machine = 6
        self.layout_words = [4, 6, 7, 3, 2, 0]
        self.further_words = [0] * 5
        self.name = self.path = self.description = "None"
        self.units = "in"
        self.header_texts = ["None", "None", b"", "None", "None", "None"]
        self.notice = "None"
        self.more_texts = ["None"] * 4
        self.records = {name: Record(name in INTEGERS) for name in NAMES}


def default_style():
    style = Style()
    records = style.records
    records["Version"].value = 3.01

    def ranged(name, value, minimum, maximum):
        record = records[name]
        record.value = record.default = value
        record.minimum, record.maximum = minimum, maximum

    for name in LAYER_POWERS + UP_FILL_POWERS + UP_HATCH_POWERS:
        ranged(name, 600, 50, 1200)
    ranged("High Speed Scan Threshold", 120, 20, 250)
    ranged("Shell Support Spacing", 0.4, 0, 2)
    ranged("Shelling Thickness", 0.02, 0.02, 1)
    ranged("Smart Best Surface Finish Layers", 10, 1, 20)
    for name in plain(DRAW[1:]) + ["Small Line Width Compenstation Flag", "Large Line Width Compenstation Flag",
                                   "Z Filtering Flag"]:
        records[name].value = records[name].default = 1
    return style


def filled_style():
    """Every record and text different; the tests fill a style by the same rule."""
    style = Style()
    style.version = 4.0
    style.user_level = 1
    style.machine = 18
    style.layout_words = [11, 12, 13, 14, 15, 16]
    style.further_words = [21, 22, 23, 24, -25]
    style.name = "Filled style"
    style.path = "C:\\styles\\filled.sty"
    style.description = "Every field differs"
    style.units = "mm"
    style.header_texts = ["Header text 1", "Header text 2", bytes(range(255, 223, -1)), "x" * 100, "Header text 5",
                          "Header text 6"]
    style.notice = "y" * 600
    style.more_texts = ["More text %d" % i for i in range(4)]
    for k, name in enumerate(NAMES):
        record = style.records[name]
        record.flags = [k % 256, k % 2, k * 3 % 256]
        record.minimum, record.maximum = k - 100, k + 100
        if record.integer:
            record.value = 0 if name.endswith("Flag") and k % 3 == 0 else k
            record.default = k + 1
            record.allowed = [k + 2 * j for j in range(k % 4)]
        else:
            record.value, record.default = k + 0.5, k + 0.25
            record.allowed = [k + j + 0.125 for j in range(k % 4)]
    return style


# --- Files -------------------------------------------------------------------------------------------------------


def text(value, size):
    """A text field: cut so that a NUL fits, zeros behind."""
    return value.encode("latin-1")[:size - 1].ljust(size, b"\0")


def crc(data):
    """The reflected CRC-32 without final inversion, bit by bit."""
    register = 0xFFFFFFFF
    for byte in data:
        register ^= byte
        for _ in range(8):
            register = register >> 1 ^ (0xEDB88320 if register & 1 else 0)
    return struct.pack("<I", register)


def regions_and_so_on(style):
    """"Start Z" to "Additional Boundaries"; the shared slot holds "Shelling Thickness"."""
    names = (["Start Z", "End Z", "Layer Thickness"] + plain(REGIONS) +
             ["Large Retract Start", "Large Retract End", "Small Retract Start", "Small Retract End",
              "Large InterHatch Delay", "Small InterHatch Delay", "Hatch Type", "Fill Type", "QC BorderType",
              "QC HatchStyle", "QC ThickSkins", "QC VentsDrains", "QC Min Small Thick Skin Width",
              "Shelling Thickness", "QCZ Transition", "QC ZBond", "Stagger", "Alternate", "Small Stagger Offset",
              "Large Stagger Offset", "Boundary Comp", "QC LayerDepth", "Additional Boundaries"])
    return [style.records[name].packed() for name in names]


def after_the_flags(style):
    names = ["UH Flag", "Min Small NS Width", "Min Large NS Width", "~int0", "ZCalculate", "Small Line Width",
             "Large Line Width", "Dp", "Ec", "Tooling Sequencing Count", "Tooling Sequencing Ratio",
             "Min Width For Small Spot"]
    return ([style.records[name].packed() for name in names] +
            [text(style.header_texts[5], 512), text(style.header_texts[4], 512)] +
            [style.records[name].packed() for name in SUPPORTS])


BITS = ["DH Flag", "Small Spot Only Flag", "Z Smoothing Flag", "High Spatial Tolerance Flag",
        "!Small Line Width Compenstation Flag", "Differential Shrink Flag", "Small Feature Preservation Flag",
        "!Large Line Width Compenstation Flag", "Pattern Style Flag", "Shelling Flag", "Layer Only Flag"]


def layout_206(style):
    version = style.records["Version"].copy()
    version.value = version.default = 2.06
    flags = Record(True)
    for bit, name in enumerate(BITS):
        on = style.records[name.lstrip("!")].value != 0
        if on != name.startswith("!"):
            flags.value |= 1 << bit
    items = ([version.packed(), text(style.name, 512), text(style.path, 512)] + regions_and_so_on(style) +
             [flags.packed()] + after_the_flags(style))
    assert len(items) == 188
    data = b"".join(items)
    return data + crc(data)


def inverted(record):
    copy = record.copy()
    copy.value = 1 if record.value == 0 else 0
    return copy


def layout_301(style):
    header = (struct.pack("<fi5ii", style.version, style.user_level, *style.layout_words[:5], style.machine) +
              struct.pack("<6i", style.layout_words[5], *style.further_words) + text(style.name, 512) +
              text(style.header_texts[0], 64) + text(style.header_texts[1], 512) +
              style.header_texts[2].ljust(32, b"\0") + text(style.header_texts[3], 64) +
              text(style.header_texts[4], 512) + text(style.header_texts[5], 512))
    assert len(header) == 2264
    r = style.records
    items = [r["Shell Support Spacing"].packed()]
    items += [r["~float%d" % i].packed() for i in range(9)]
    items += [r[name].packed() for name in ["Smart Best Surface Finish Layers", "LBP for B2", "~int1", "~int2"]]
    items += [r["~float%d" % i].packed() for i in range(9, 15)]
    items += [text(t, 512) for t in [style.notice] + style.more_texts + [style.path]]
    items += regions_and_so_on(style)
    items += [r[name].packed() for name in ["DH Flag", "Small Spot Only Flag", "Z Smoothing Flag",
                                            "High Spatial Tolerance Flag"]]
    items += [inverted(r[name]).packed() for name in ["Small Line Width Compenstation Flag",
                                                      "Large Line Width Compenstation Flag"]]
    items += [r[name].packed() for name in ["Differential Shrink Flag", "Small Feature Preservation Flag",
                                            "Pattern Style Flag", "Shelling Flag", "Layer Only Flag"]]
    items += after_the_flags(style)
    items += [r[name].packed() for name in
              ["Smart Best Surface Finish Flag", "Z Filtering Flag", "Interior Boundary Removal Flag",
               "High Speed Scan Flag", "High Speed Scan Threshold"] + plain(DRAW) + LAYER_POWERS + UP_FILL_POWERS +
              UP_HATCH_POWERS]
    assert len(items) == 262
    data = header + b"".join(items)
    return data + crc(data)


# --- Text exports ------------------------------------------------------------------------------------------------


def export(style, comma):
    sep = "," if comma else ": "
    out = "Kestrabin Inc. Confidential \n" if comma else "Kestrabin, Inc. Confidential \n"
    out += "***************************** \n\n"
    level = {0: "Standard", 1: "Advanced"}.get(style.user_level, "")
    for caption, value in [("Style Name", style.name), ("Full PathName", style.path),
                           ("Build Description", style.description), ("Units", style.units), ("User Level", level)]:
        out += caption + sep + value + "\n"
    out += style.records["Version"].line("Version", comma)
    out += {(6, False): "Machine Type: TRQ-E7\n", (6, True): "Machine Type,TRQ-E7\n",
            (18, False): "Machine Type: Altor900\n", (18, True): "Machine Type: Altor 900\n"}[(style.machine, comma)]
    if comma:
        out += "\nParameter,Current Value,Editable,Default Value,Minimum,Values In List\n"
    names = NAMES[NAMES.index("Start Z"):NAMES.index("DH Flag") + 1]
    names = names + [
        "Z Smoothing Flag", "Small Spot Only Flag", "High Spatial Tolerance Flag",
        "Small Line Width Compenstation Flag", "Large Line Width Compenstation Flag", "Differential Shrink Flag",
        "Pattern Style Flag", "Small Feature Preservation Flag", "Shelling Flag", "Shelling Thickness",
        "Shell Support Spacing", "Layer Only Flag", "UH Flag", "Min Small NS Width", "Min Large NS Width",
        "ZCalculate", "Dp", "Ec", "Tooling Sequencing Count", "Tooling Sequencing Ratio", "Min Width For Small Spot"]
    names += SUPPORTS
    names += ["Smart Best Surface Finish Layers", "LBP for B2", "Smart Best Surface Finish Flag", "Z Filtering Flag",
              "Interior Boundary Removal Flag", "High Speed Scan Flag", "High Speed Scan Threshold",
              "Small Line Width", "Large Line Width"]
    names += plain(DRAW) + LAYER_POWERS + UP_HATCH_POWERS + UP_FILL_POWERS
    assert sorted(names) == sorted(n for n in NAMES if n[0] != "~" and n != "Version")
    return out + "".join(style.records[name].line(name, comma) for name in names)


def main():
    folder = os.path.dirname(os.path.abspath(__file__))
    check = sys.argv[1:] == ["--check"]
    differing = []
    for label, style in [("default", default_style()), ("filled", filled_style())]:
        files = {"%s_301.sty" % label: layout_301(style), "%s_206.sty" % label: layout_206(style),
                 "%s_readable.txt" % label: export(style, False).encode("latin-1"),
                 "%s_comma.csv" % label: export(style, True).encode("latin-1")}
        for name, data in files.items():
            path = os.path.join(folder, name)
            if not check:
                with open(path, "wb") as out:
                    out.write(data)
                continue
            with open(path, "rb") as made:
                if made.read() != data:
                    differing.append(name)
    if differing:
        sys.exit("not what this script makes: " + ", ".join(differing))


if __name__ == "__main__":
    main()
