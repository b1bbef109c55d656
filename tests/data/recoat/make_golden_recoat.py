#!/usr/bin/env python3
"""Makes the golden recoat style files and text exports, from lists of its own.

Run without arguments it writes the files beside itself; with --check it compares them and exits 1 when one
differs. Nothing here uses the library.
"""
import os
import struct
import sys

HERE = os.path.dirname(os.path.abspath(__file__))

# Member order, with the kind of number: the number a record has in the filled style follows from its place.
TABLE = [
    ("RecoatType", "i"), ("Version", "f"), ("Start Z", "f"), ("End Z", "f"), ("Z Velocity", "f"),
    ("Z Acceleration", "f"), ("Z Dip Distance", "f"), ("Z Pre DipDelay", "i"), ("Z Post DipDelay", "i"),
    ("Z Wait", "i"), ("Primary ZVelocity", "f"), ("Primary ZAcceleration", "f"),
    ("Primary ZDipDistance", "f"), ("Primary ZPreDipDelay", "i"), ("Primary ZPostDipDelay", "i"),
    ("Primary ZWait", "i"), ("Secondary ZVelocity", "f"), ("Secondary ZAcceleration", "f"),
    ("Secondary ZDipDistance", "f"), ("Secondary ZPreDipDelay", "i"), ("Secondary ZPostDipDelay", "i"),
    ("Secondary ZWait", "i"), ("Number Of Secondary", "i"), ("Num Sweeps", "i"),
    ("Num Tooling PrimarySweeps", "i"), ("Num Tooling SecondarySweeps", "i"),
    ("Preferred Blade Gap Flag", "i"), ("Preferred Blade Gap", "f"),
]
KEPT = [("kept float %d" % k, "f") for k in range(10)] + [("kept int %d" % k, "i") for k in range(10)]
COUNTS = {"Num Sweeps": 3, "Num Tooling PrimarySweeps": 1, "Num Tooling SecondarySweeps": 2}
MOVES_301 = ["Start Z", "End Z", "Z Velocity", "Z Acceleration", "Z Dip Distance", "Z Pre DipDelay",
             "Z Post DipDelay", "Z Wait"]
DIPS = [p + s for p in ("Primary ", "Secondary ")
        for s in ("ZVelocity", "ZAcceleration", "ZDipDistance", "ZPreDipDelay", "ZPostDipDelay", "ZWait")]
COUNT_NAMES = ["Number Of Secondary", "Num Sweeps", "Num Tooling PrimarySweeps", "Num Tooling SecondarySweeps"]


class Record:
    def __init__(self, kind, value=0, default=0, flags=(1, 1, 1), low=100000, high=-100000, allowed=()):
        self.kind, self.value, self.default, self.flags = kind, value, default, flags
        self.low, self.high, self.allowed = low, high, list(allowed)

    def pack(self):
        number = "<" + self.kind
        out = struct.pack(number, self.value) + struct.pack(number, self.default)
        out += bytes(self.flags) + struct.pack(number, self.low) + struct.pack(number, self.high)
        out += struct.pack("<i", len(self.allowed))
        return out + b"".join(struct.pack(number, v) for v in self.allowed)

    def line(self, name, comma):
        edit = "Yes" if self.flags[1] == 1 else "No"
        ranged = not (self.low == 100000 and self.high == -100000)
        v, d, lo, hi = self.value, self.default, self.low, self.high
        if self.kind == "f":
            if comma:
                text = ("%s,%7.4f,%s,%7.4f, %7.4f,%7.4f," % (name, v, edit, d, lo, hi) if ranged
                        else "%s,%7.4f,%s,%7.4f,No Min-Max Range," % (name, v, edit, d))
                return text + "".join("%f," % x for x in self.allowed) + "\n"
            text = ("%s = %7.4f  [%7.4f , %7.4f, %s] %7.4f" % (name, v, lo, hi, edit, d) if ranged
                    else "%s = %7.4f  [No Min-Max , %s] %7.4f" % (name, v, edit, d))
            text += "\nOnly Specific Allowed Values : "
            return text + ("".join("%f  " % x for x in self.allowed) or " Full Range") + "\n\n"
        if comma:
            text = ("%s,%5d,%s,%5d,%5d," % (name, v, edit, lo, hi) if ranged
                    else "%s,%5d,No Min-Max,%s," % (name, v, edit))
            return text + "".join("%d," % x for x in self.allowed) + "\n"
        text = ("%s = %5d  [%5d , %5d, %s] %7.4f" % (name, v, lo, hi, edit, d) if ranged
                else "%s = %5d  [No Min-Max, %s] %7.4f" % (name, v, edit, d))
        text += "\nOnly Specific Allowed Values :"
        return text + ("".join("%d " % x for x in self.allowed) or " Full Range") + "\n\n"


def text(s, width):
    raw = s.encode()
    assert len(raw) < width
    return raw + bytes(width - len(raw))


class Style:
    pass


def default_style():
    s = Style()
    s.records = {name: Record(kind) for name, kind in TABLE + KEPT}
    s.records["Version"].value = struct.unpack("<f", struct.pack("<f", 3.01))[0]
    s.name = s.description = s.path = "None"
    s.units, s.machine, s.level, s.version, s.thickness = "in", 6, 0, 3.01, 0.004
    s.words, s.further = [4, 6, 7, 3, 2], [0] * 5
    s.late = ["None", "None", bytes(32), "None"]
    s.none_texts, s.five = ["None"] * 2, ["None"] * 5
    s.sweeps, s.primary, s.secondary = [], [], []
    return s


def filled_style():
    s = default_style()
    for i, (name, kind) in enumerate(TABLE + KEPT):
        r = s.records[name]
        r.flags = (i % 2, (i // 2) % 2, (i // 4) % 2)
        if name in COUNTS:
            r.value, r.default, r.low, r.high = 40 + i, 50 + i, 0, COUNTS[name]
            continue
        scale = 0.25 if kind == "f" else 1
        r.value, r.default = 3 + i * scale, 7 + i * scale
        r.low, r.high = -i * scale, 200 + i * scale
        r.allowed = [20 + i * scale + k for k in range(i % 3)]
    s.records["Version"].value = struct.unpack("<f", struct.pack("<f", 3.01))[0]
    s.name, s.description, s.path, s.units = "Slow recoat", "for tall parts", "styles/Slow.rcs", "mm"
    s.machine, s.level, s.thickness = 18, 1, 0.125
    s.words, s.further = [11, 12, 13, 14, 15], [21, 22, 23, 24, -25]
    s.late = ["late one", "late two", bytes(range(1, 33)), "late four"]
    s.none_texts = ["further one", "further two"]
    s.five = ["more %d" % k for k in range(5)]

    def sweep(k):
        return (Record("f", 100 + k, 90 + k, (1, 0, 1), 50, 150, [100 + k]), Record("f", 2.5 + k, 2 + k))
    s.sweeps, s.primary, s.secondary = [[sweep(10 * n + k) for k in range(count)]
                                        for n, count in enumerate((3, 1, 2))]
    return s


def crc(data):
    register = 0xFFFFFFFF
    for byte in data:
        register ^= byte
        for _ in range(8):
            register = (register >> 1) ^ (0xEDB88320 if register & 1 else 0)
    return data + struct.pack("<I", register)


def pack_names(s, names):
    return b"".join(s.records[n].pack() for n in names)


def pack_sweeps(s):
    return b"".join(gap.pack() + velocity.pack()
                    for gap, velocity in s.sweeps + s.primary + s.secondary)


def pack_301(s):
    out = struct.pack("<fi5ii", s.version, s.level, *s.words, s.machine)
    out += struct.pack("<f5i", s.thickness, *s.further)
    out += text(s.name, 512) + text(s.late[0], 64) + text(s.late[1], 512) + s.late[2] + text(s.late[3], 64)
    out += text(s.none_texts[0], 512) + text(s.none_texts[1], 512)
    assert len(out) == 2264
    out += text(s.path, 512) + text(s.description, 81) + text(s.units, 11)
    out += pack_names(s, ["RecoatType"] + MOVES_301 + ["Preferred Blade Gap Flag", "Preferred Blade Gap"])
    out += pack_names(s, [name for name, _ in KEPT])
    out += b"".join(text(t, 512) for t in s.five)
    out += pack_names(s, DIPS + COUNT_NAMES) + pack_sweeps(s)
    return crc(out)


def pack_206(s):
    version = Record("f", 2.06, 2.06, s.records["Version"].flags, s.records["Version"].low,
                     s.records["Version"].high, s.records["Version"].allowed)
    out = struct.pack("<i", s.level) + version.pack() + struct.pack("<i", s.machine)
    out += text(s.name, 512) + text(s.path, 512) + text(s.description, 81) + text(s.units, 11)
    out += pack_names(s, ["RecoatType"] + MOVES_301 + DIPS + COUNT_NAMES) + pack_sweeps(s)
    return crc(out + text(s.none_texts[0], 512) + text(s.none_texts[1], 512))


def export(s, comma):
    sep = "," if comma else ": "
    level = {0: "Standard", 1: "Advanced"}.get(s.level, "")
    out = "Kestrabin, Inc. Confidential \n" if comma else "Kestrabin Inc. Confidential \n"
    out += "***************************** \n\n"
    for caption, value in (("Style Name", s.name), ("Full PathName", s.path),
                           ("Build Description", s.description), ("Units", s.units), ("User Level", level)):
        out += caption + sep + value + "\n"
    out += s.records["Version"].line("Version", comma)
    if s.machine == 18:
        out += "Machine Type: Altor 900\n" if comma else "Machine Type: Altor 900)\n"
    else:
        out += "Machine Type" + sep + "TRQ-E7\n"
    if comma:
        out += "\nParameter,Current Value,Editable,Default Value,Minimum,Maximum,Values In List\n"
    for name, _ in TABLE[:26]:
        if name != "Version":
            out += s.records[name].line(name, comma)
    for heading, sweeps, colon in (("\nSweep List:\n", s.sweeps, " :"),
                                   ("\nPrimary Sweep List:\n", s.primary, " :"),
                                   ("\nSecondary Sweep List:\n", s.secondary, ":")):
        out += heading
        for k, (gap, velocity) in enumerate(sweeps, 1):
            out += gap.line("Blade Gap%d%s" % (k, colon), comma)
            out += velocity.line("Blade Velocity%d%s" % (k, colon), comma)
    out += "\n\n"
    for name in ("Preferred Blade Gap Flag", "Preferred Blade Gap"):
        out += s.records[name].line(name, comma)
    return (out + "Layer Thickness" + sep + "%f\n" % s.thickness).encode()


def legacy(with_sweeps):
    counts = (2, 1, 3) if with_sweeps else (0, 0, 0)
    numbers = struct.pack("<5f3i", 0.5, 12.25, 1, 2, 3, 4, 5, 6)
    numbers += struct.pack("<3f3i", 7, 8, 9, 10, 11, 12) + struct.pack("<3f3i", 13, 14, 15, 16, 17, 18)
    numbers += struct.pack("<4i", *counts, 9)
    out = struct.pack("<f", 2.03) + text("Old recoat", 512) + text("styles/Old.rcs", 512)
    out += text("flat form", 81) + struct.pack("<i", 1) + numbers
    assert len(out) == 1209
    for n, count in enumerate(counts):
        for k in range(count):
            out += struct.pack("<2f", 100 + 10 * n + k, 1.5 + 10 * n + k)
    return out


def files():
    made = {}
    for kind, style in (("default", default_style()), ("filled", filled_style())):
        made[kind + "_301.rcs"] = pack_301(style)
        made[kind + "_206.rcs"] = pack_206(style)
        made[kind + ".txt"] = export(style, False)
        made[kind + ".csv"] = export(style, True)
    made["legacy.rcs"] = legacy(False)
    made["legacy_sweeps.rcs"] = legacy(True)
    return made


def main():
    differ = 0
    for name, data in sorted(files().items()):
        path = os.path.join(HERE, name)
        if "--check" in sys.argv:
            with open(path, "rb") as f:
                if f.read() != data:
                    print("differs: " + name)
                    differ = 1
        else:
            with open(path, "wb") as f:
                f.write(data)
    return differ


if __name__ == "__main__":
    sys.exit(main())
