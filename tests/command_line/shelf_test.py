"""STL files as they lie about: texts out of the strict form, cut, empty, in the wrong byte order, and no meshes at all."""
import random
import re
import struct
import unittest

from support import *

BOX = box_facets()

# Every command that reads a mesh, but info and check.
READERS = [["convert", "{}", "-o", "out.ctl"], ["convert", "{}", "--normalize", "-o", "out.stl"],
           ["transform", "{}", "--drop", "-o", "out.stl"], ["simplify", "{}", "--facets", "4", "-o", "out.stl"],
           ["merge", "{}", "-o", "out.stl"], ["place", "{}"], ["build", "{}", "-o", "out"], ["vents", "find", "{}"],
           ["hollow", "{}", "--limit", "1mm", "-o", "out.stl"]]


def shelf_text(facets, chance):
    """The facets as a text with tolerated oddities of every kind, drawn at random."""
    space = lambda least=1: "".join(chance.choice(" \t\v\f  ") for _ in range(chance.randint(least, 4)))
    end = chance.choice(["\n", "\r\n", "\r"])
    case = chance.choice([str.lower, str.upper, str.title])
    lines = ["" for _ in range(chance.randint(0, 2))] + [space(0) + case("solid") + space() + "a" + space(0)]

    def line(*words):
        for _ in range(chance.randint(0, 3) // 2):
            lines.append(space(0))
        lines.append(space(0) + space().join(words) + space(0))

    for number, facet in enumerate(facets):
        if number and chance.random() < 0.05:
            line(case("endsolid"))
            line(case("solid"), "b")
        line(case("facet"), case("normal"), "0", "0", "1")
        line(case("outer"), case("loop"))
        for corner in facet:
            line(case("vertex"), *[chance.choice(["%.9g", "%.9e", "%+.9E"]) % c for c in corner])
        line(case("endloop"))
        line(case("endfacet"))
    line(case("endsolid"))
    text = end.join(lines) + chance.choice(["", end, end + end])
    return text.encode(chance.choice(["ascii", "ascii", "utf-8-sig", "utf-16", "utf-16-le", "utf-16-be"]))


class Tolerated(ToolTest):
    def test_each_oddity_alone(self):
        strict = ascii_stl(BOX)
        oddities = {
            "\n" + strict: 1,
            strict.replace("solid made\n", "solid made\n\n", 1): 2,
            strict.replace("facet normal", "\tfacet normal"): 2,
            strict.replace("outer loop", "\touter loop"): 3,
            strict.replace("outer loop", "outer\tloop"): 3,
            strict.replace("outer loop\n", "outer loop\n\n", 1): 4,
            strict.replace("\n", "\r"): 1,
            "# by hand\n" + strict: 2,
        }
        for encoding in ("utf-16", "utf-16-le", "utf-16-be"):
            oddities[strict.encode(encoding)] = 1
        oddities[b"\xfe\xff" + strict.encode("utf-16-be")] = 1
        self.write("strict.stl", strict)
        self.good("convert", "strict.stl", "-o", "strict.ctl")
        for text, line in oddities.items():
            with self.subTest(text[:60]):
                self.write("odd.stl", text)
                result = self.good("info", "odd.stl", "--json")
                self.assertEqual(result.codes(), ["STL-NORMALISED"])
                message, = result.document()["messages"]
                self.assertEqual((message["severity"], message["where"]), ("note", {"line": line}))
                self.assertIn(f"line {line} ", message["text"])
                self.assertIn("application", message["text"])
                self.assertIn("--normalize", message["hint"])
                data = result.document()["data"]["files"][0]
                self.assertEqual((data["format"], data["facets"], data["vertices"]), ("ASCII STL", 12, 8))
                self.good("convert", "odd.stl", "--force", "-o", "odd.ctl")
                self.assertEqual(self.path("odd.ctl").read_bytes(), self.path("strict.ctl").read_bytes())

    def test_strict_form_is_read_as_ever(self):
        strict = ascii_stl(BOX)
        for text in (strict, strict.replace("\n", "\r\n"), strict.upper(), strict.replace("vertex ", "vertex\t"),
                     strict.replace("endfacet\n", "endfacet\n\n"), "\ufeff" + strict, strict + "\n\n",
                     strict.replace("endsolid", "endsolid made\nsolid two\nendsolid")):
            self.write("a.stl", text)
            result = self.good("info", "a.stl", "--json")
            self.assertEqual(result.codes(), [])
            self.assertEqual(result.document()["data"]["files"][0]["facets"], 12)

    def test_oddities_drawn_at_random(self):
        chance = random.Random(14)
        for number in range(12 if SANITIZED else 60):
            size = tuple(chance.uniform(3, 90) for _ in range(3))
            facets = [tuple(struct.unpack("<3f", struct.pack("<3f", *corner)) for corner in facet)
                      for facet in box_facets(size, tuple(chance.uniform(-9, 9) for _ in range(3)))]
            self.write("odd.stl", shelf_text(facets, chance))
            self.write("plain.stl", binary_stl(facets))
            for name in ("odd", "plain"):
                self.good("convert", name + ".stl", "--force", "-o", name + ".out.ctl")
            with self.subTest(number):
                self.assertEqual(self.path("odd.out.ctl").read_bytes()[164:],
                                 self.path("plain.out.ctl").read_bytes()[164:])

    def test_units_are_those_of_any_stl(self):
        self.write("odd.stl", "\n" + ascii_stl(BOX))
        data = self.info_of("odd.stl", "--units", "in")
        self.assertEqual((data["units"], data["box"]["max"]), ("in", [10, 20, 30]))
        self.assertEqual(data["size_mm"], [254, 508, 762])

    def test_other_endings_and_odd_names(self):
        # The ending makes it an STL file; whatever else it looks like, it is read as one.
        self.write("odd.STL", "\n" + ascii_stl(BOX))
        self.assertEqual(self.info_of("odd.STL")["kind"], "stl")

    def test_check_notes_it_and_finds_nothing(self):
        self.write("odd.stl", "\n" + ascii_stl(BOX))
        result = self.good("check", "odd.stl", "--json")
        self.assertEqual(result.codes(), ["STL-NORMALISED"])
        self.assertEqual((result.document()["data"]["errors"], result.document()["data"]["warnings"]), (0, 0))

    def test_a_build_keeps_the_bytes(self):
        odd = ("\n" + ascii_stl(BOX)).encode("utf-16")
        self.write("odd.stl", odd)
        self.write("plain.stl", ascii_stl(BOX))
        for name in ("odd", "plain"):
            self.good("build", name + ".stl", "--vat", "100x100x100mm", "-o", name)
        self.assertEqual(self.path("odd/parts/odd.stl").read_bytes(), odd)
        self.assertEqual(self.path("odd/plate.stl").read_bytes(), self.path("plain/plate.stl").read_bytes())
        self.good("verify", "odd")
        self.good("build", "odd/build.toml", "-o", "again")
        for path in self.path("odd").rglob("*"):
            if path.is_file():
                self.assertEqual((self.path("again") / path.relative_to(self.path("odd"))).read_bytes(), path.read_bytes())


class Normalize(ToolTest):
    def test_text_stays_text_in_the_strict_form(self):
        self.write("odd.stl", ("\n" + ascii_stl(BOX)).encode("utf-16"))
        self.good("convert", "odd.stl", "--normalize", "-o", "out.stl")
        text = self.path("out.stl").read_text()
        self.assertTrue(text.startswith("solid Kestrabin STL\n  facet normal "))
        result = self.good("info", "out.stl", "--json")
        self.assertEqual((result.codes(), result.document()["data"]["files"][0]["facets"]), ([], 12))
        corners = [tuple(map(float, found)) for found in re.findall(r"vertex\s+(\S+)\s+(\S+)\s+(\S+)", text)]
        self.assertEqual(corners, [tuple(map(float, corner)) for facet in BOX for corner in facet])

    def test_to_says_otherwise(self):
        self.write("odd.stl", "\n" + ascii_stl(BOX))
        self.good("convert", "odd.stl", "--normalize", "--to", "stl", "-o", "out.stl")
        self.assertEqual(read_binary_stl(self.path("out.stl")), [tuple(facet) for facet in BOX])

    def test_binary_stays_binary(self):
        self.write("a.stl", binary_stl(BOX))
        self.good("convert", "a.stl", "--normalize", "-o", "out.stl")
        self.assertEqual(len(read_binary_stl(self.path("out.stl"))), 12)
        self.good("convert", "a.stl", "--normalize", "--to", "stl-ascii", "-o", "text.stl")
        self.assertEqual(self.info_of("text.stl")["format"], "ASCII STL")

    def test_only_stl_is_written(self):
        self.write("a.stl", binary_stl(BOX))
        self.assertIn("[USAGE]", self.fails(USAGE, "convert", "a.stl", "--normalize", "-o", "out.ctl").err)
        self.assertIn("[USAGE]", self.fails(USAGE, "convert", "a.stl", "--normalize", "--to", "ctl", "-o", "o.stl").err)
        self.assertEqual(self.listing(), ["a.stl"])


class Refused(ToolTest):
    def refused(self, data, code, where=None, text=None, *more):
        """Every command ends with 3, check with 1; nothing is written, and no hint leads to a partial reading."""
        self.write("a.stl", data)
        for command in [["info", "{}"], ["check", "{}"]] + READERS:
            command = [word.format("a.stl") for word in command]
            for partial in ([], ["--accept-partial"]):
                result = self.fails(NO if command[0] == "check" else INPUT, *command, "--json", *partial)
                self.assertEqual([c for c in result.codes() if c != "CHECK-PARTIAL"], [code], command)
                message = result.document()["messages"][0]
                self.assertEqual(message["severity"], "error")
                self.assertNotIn("partial", message["hint"])
                self.assertNotIn("announces", message["text"])
                if where is not None:
                    self.assertEqual(message["where"], where)
                if text is not None:
                    self.assertIn(text, message["text"])
        self.assertEqual(self.listing(), ["a.stl"])

    def test_decimal_commas(self):
        strict = ascii_stl(BOX)
        self.refused(strict.replace("vertex 10 20 0", "vertex 10,5 20,5 0,0"), "STL-TEXT", {"line": 6, "column": 8},
                     "decimal comma")
        self.refused("\n" + strict.replace("vertex 10 20 0", "vertex 10 20 0,5"), "STL-TEXT",
                     {"line": 7, "column": 14}, "'0,5' is not a number: it has a decimal comma")
        # A comma between numbers is none.
        self.write("a.stl", strict.replace("vertex 10 20 0", "vertex 10, 20, 0"))
        self.assertNotIn("decimal", self.fails(INPUT, "info", "a.stl").err)

    def test_a_word_in_a_corner(self):
        self.refused(ascii_stl(BOX).replace("vertex 10 20 0", "\tvertex 10 \x1btwenty\x07 0", 1), "STL-TEXT",
                     {"line": 6, "column": 12}, "line 6, column 12: '\\x1btwenty\\x07' is not a number")

    def test_a_corner_of_two_numbers(self):
        self.refused(ascii_stl(BOX).replace("vertex 10 20 0", "vertex 10 20", 1), "STL-TEXT", {"line": 6, "column": 13},
                     "the line ends before its third number")

    def test_other_text(self):
        self.refused("(level\n  (version 3)\n)\n" * 30, "STL-TEXT", {"line": 1, "column": 1}, "'(level'")
        self.refused("just some words", "STL-TEXT", {"line": 1, "column": 1}, "'just'")
        self.refused("solid a\nfacet\nouter: 1\n" + "vertex 1 2 3\n" * 9 + "endsolid\n", "STL-TEXT",
                     {"line": 3, "column": 1}, "'outer:'")

    def test_text_with_a_nul(self):
        text = "\n" + ascii_stl(BOX)
        self.refused(text.replace("endloop", "end\0loop", 1), "STL-TEXT", {"line": 8, "column": 4}, "'\\x00'")

    def test_no_facet(self):
        for empty in (b"", b"\n \t\r\n", b"solid a\nendsolid a\n", b"solid\r\n\r\nendsolid", "solid a\nendsolid".encode("utf-16"),
                      b"solid a\nfacet normal 0 0 0\nendfacet\nendsolid\n"):
            self.refused(empty, "STL-EMPTY")

    def test_one_facet_is_no_surface(self):
        self.refused(ascii_stl(BOX[:1]), "STL-UNJOINED")
        self.refused("\n" + ascii_stl(BOX[:1]), "STL-UNJOINED")
        self.refused(ascii_stl([BOX[0], ((60, 60, 60), (70, 70, 70), (80, 80, 90))]), "STL-UNJOINED")

    def test_the_other_byte_order(self):
        def swapped(facets):
            return (b"\0" * 80 + struct.pack(">i", len(facets))
                    + b"".join(struct.pack(">12fH", 0, 0, 0, *[c for corner in f for c in corner], 0) for f in facets))
        self.refused(swapped(BOX[:1]), "STL-ENDIAN", text="big-endian")
        self.refused(swapped(BOX), "STL-ENDIAN")
        self.refused(b"solid" + swapped(box_facets() * 30)[5:], "STL-ENDIAN")

    def test_binary_files_are_told_by_their_size(self):
        # 97 % printable, but of the size that the count asks for.
        facets = struct.unpack("<9f", b"@AAA" * 9)
        data = (b"solid".ljust(80) + struct.pack("<i", 2)
                + (b"@AAA" * 3 + struct.pack("<9f", *facets) + b"  ") * 2)
        self.write("a.stl", data)
        result = self.good("info", "a.stl", "--json")
        self.assertEqual((result.document()["data"]["files"][0]["format"], result.document()["data"]["files"][0]["facets"]), ("binary STL", 2))

    def test_a_short_binary_file_is_still_taken_in_part(self):
        self.write("a.stl", binary_stl(BOX[:10], header=b"solid", announced=12))
        self.assertIn("--accept-partial uses the 10 facets", self.fails(INPUT, "convert", "a.stl", "-o", "o.ctl").err)
        self.assertEqual(self.info_of("a.stl", "--accept-partial")["facets"], 10)


class Cut(ToolTest):
    def prefix(self, text, facets):
        """The text up to and with the last corner of so many facets."""
        at = -1
        for _ in range(facets):
            at = text.index("endloop", at + 1)
        return text[:at]

    def test_what_each_command_does(self):
        for odd in ("", "\n"):
            self.write("cut.stl", odd + self.prefix(ascii_stl(BOX), 10))
            where = {"line": 7 * 10 - 1 + len(odd), "facets": 10}
            notes = ["STL-NORMALISED"] if odd else []
            result = self.good("info", "cut.stl", "--json")
            self.assertEqual(result.codes(), ["STL-CUT"] + notes)
            message = result.document()["messages"][0]
            self.assertEqual((message["severity"], message["where"]), ("warning", where))
            self.assertEqual(result.document()["data"]["files"][0]["facets"], 10)
            self.assertEqual(self.fails(NO, "check", "cut.stl", "--json").codes(), ["STL-CUT"])
            for command in READERS:
                command = [word.format("cut.stl") for word in command]
                result = self.fails(INPUT, *command, "--json")
                self.assertEqual(result.codes(), ["STL-CUT"], command)
                message, = result.document()["messages"]
                self.assertEqual((message["severity"], message["where"]), ("error", where))
                self.assertIn("--accept-partial uses the 10 facets", message["hint"])
                self.assertEqual(self.listing(), ["cut.stl"])
            result = self.good("convert", "cut.stl", "--accept-partial", "-o", "out.stl", "--json")
            self.assertEqual(result.codes(), ["STL-CUT"] + notes)
            self.assertEqual(read_binary_stl(self.path("out.stl")), [tuple(facet) for facet in BOX[:10]])
            self.path("out.stl").unlink()

    def test_a_build_of_what_is_left(self):
        self.write("cut.stl", self.prefix(ascii_stl(BOX), 10))
        self.good("build", "cut.stl", "--accept-partial", "--vat", "100x100x100mm", "-o", "out")
        self.good("verify", "out")
        self.assertEqual(self.path("out/parts/cut.stl").read_bytes(), self.path("cut.stl").read_bytes())
        self.good("build", "out/build.toml", "-o", "again")

    def test_a_text_without_endsolid(self):
        for text in (ascii_stl(BOX).replace("endsolid made\n", ""), ascii_stl(BOX).replace("endsolid made\n", "endso"),
                     ascii_stl(BOX) + "solid two\n"):
            self.write("cut.stl", text)
            self.assertEqual(self.info_of("cut.stl")["facets"], 12)
            self.assertIn("[STL-CUT]", self.fails(INPUT, "convert", "cut.stl", "-o", "o.stl").err)

    def test_nothing_whole_is_left(self):
        for text in ("solid a", "solid a\nfacet normal 0 0 1\nouter loop\n", self.prefix(ascii_stl(BOX), 1)):
            self.write("cut.stl", text)
            for partial in ([], ["--accept-partial"]):
                result = self.fails(INPUT, "info", "cut.stl", "--json", *partial)
                self.assertEqual(result.codes(), ["STL-CUT"], text)
                self.assertNotIn("partial", result.document()["messages"][0]["hint"])

    def test_every_prefix_has_a_code_or_its_facets(self):
        for encoding, unit in (("ascii", 1), ("utf-16-le", 2)):
            text = ascii_stl(BOX[:4])
            ends = [m.start() for m in re.finditer("endloop", text)]
            data = text.encode(encoding)
            # Sanitized, the tool starts ten times as slowly.
            for length in range(0, len(data) + 1, 23 if SANITIZED else 3 if unit == 2 else 2):
                self.write("cut.stl", data[:length])
                result = self.run_tool("info", "cut.stl", "--json")
                whole = sum(length // unit >= end for end in ends)
                errors = [m for m in result.document()["messages"] if m["severity"] == "error"]
                with self.subTest(length):
                    if whole >= 2:
                        self.assertEqual((result.exit, errors), (DONE, []))
                        self.assertEqual(result.document()["data"]["files"][0]["facets"], whole)
                        self.assertEqual("STL-CUT" in result.codes(),
                                         "endsolid" not in text[len("solid"):length // unit])
                    else:
                        self.assertEqual(result.exit, INPUT)
                        wanted = "STL-CUT" if length // unit >= 5 else "STL-TEXT" if length >= unit else None
                        if length > 1 or unit == 1:
                            self.assertEqual(errors[0]["code"], wanted or "STL-EMPTY")


class Check(ToolTest):
    def test_a_mesh_that_cannot_be_read_is_an_answer(self):
        self.write("good.stl", binary_stl(BOX))
        self.good("convert", "good.stl", "-o", "good.ctl")
        nan = box_facets()
        nan[5] = (nan[5][0], (float("nan"), 0, 0), nan[5][2])
        bad = {"STL-SHORT": binary_stl(BOX, announced=20), "STL-COUNT": binary_stl([]), "STL-EMPTY": b"",
               "STL-HEADER": b"\0" * 70, "STL-UNJOINED": binary_stl(BOX[:1]), "MESH-NAN": binary_stl(nan),
               "STL-TEXT": b"words", "STL-CUT": ascii_stl(BOX)[:400],
               "CTL-INVALID": self.path("good.ctl").read_bytes()[:300],
               "MESH-NAN ": binary_stl(BOX + [((0, 0, 0), (1, 1, 1), (float("inf"), 0, 0))])}
        for code, data in bad.items():
            with self.subTest(code):
                name = self.write("bad.ctl" if code.startswith("CTL") else "bad.stl", data)
                result = self.fails(NO, "check", name, "--json")
                self.assertEqual(result.codes(), [code.strip()])
                self.assertEqual(result.document()["data"]["errors"], 1)
                self.fails(INPUT, "build", name, "-o", "out")
                self.fails(NO, "check", "good.stl", name)
                self.fails(INPUT, "check", name, "missing.stl")
        self.fails(INPUT, "check", "missing.stl")
        self.fails(INPUT, "build", "missing.stl", "-o", "out")


if __name__ == "__main__":
    unittest.main()
