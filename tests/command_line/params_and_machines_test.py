"""`trqprep params` and `trqprep machines`."""
import unittest

from support import *


class Params(ToolTest):
    def test_all_named_parameters_are_listed(self):
        parameters = self.json_of("params")["parameters"]
        build = [p for p in parameters if p["kind"] == "build style"]
        recoat = [p for p in parameters if p["kind"] == "recoat style"]
        self.assertEqual((len(build), len(recoat)), (238, 28))
        self.assertEqual(len([p for p in build if p["type"] == "float"]), 187)
        self.assertEqual(len([p for p in build if p["unit"] == "length"]), 115)
        everything = self.json_of("params", "--all")["parameters"]
        self.assertEqual(len([p for p in everything if p["kind"] == "build style"]), 262)
        self.assertEqual(len([p for p in everything if p["kind"] == "recoat style"]), 48)

    def test_a_pattern_selects(self):
        text = self.good("params", "Layer Border*Power").out.decode()
        self.assertRegex(text, r"build styles\n  name +type +unit +default +range +region\n"
                               r"  Layer Border Power +float  power +600  \[50, 1200\] +Power\n  Layer Border Prime Power ")
        self.assertEqual(len(text.splitlines()), 4)
        threshold, = self.json_of("params", "High Speed Scan Threshold")["parameters"]
        self.assertEqual((threshold["default"], threshold["minimum"], threshold["maximum"]), (120, 20, 250))
        start, = self.json_of("params", "Start Z", "--kind", "recoat")["parameters"]
        self.assertEqual((start["minimum"], start["maximum"], start["unit"]), (None, None, "length"))
        self.assertEqual(len(self.json_of("params", "--kind", "recoat")["parameters"]), 28)

    def test_an_unknown_name_gets_the_nearest(self):
        err = self.fails(USAGE, "params", "Layer Border Powr").err
        self.assertRegex(err, r"no parameter matches 'Layer Border Powr' \[STYLE-PARAMETER\]\n"
                              r"  hint: did you mean Layer Border Power, ")


class Machines(ToolTest):
    def test_all_machines_are_listed(self):
        machines = {m["machine_type"]: m for m in self.json_of("machines")["machines"]}
        self.assertEqual(sorted(machines), list(range(14)) + [18, 23, 26])
        self.assertEqual(machines[6], {"machine_type": 6, "machine": "TRQ-E7", "styles_mm": "\\trqe7\\e7mm\\",
                                       "styles_in": "\\trqe7\\e7in\\"})
        self.assertEqual(machines[18]["machine"], "Altor 900")
        self.assertEqual(machines[3]["styles_mm"], "\\trqc3\\c3mm\\")
        self.assertEqual((machines[26]["machine"], machines[26]["styles_mm"]), ("TRQ_NONE", None))

    def test_one_machine_by_name_or_number(self):
        for name in ("MirraPX (dual vat)", "mirrapx (DUAL vat)", "11"):
            machine, = self.json_of("machines", name)["machines"]
            self.assertEqual(machine["machine_type"], 11)
        for name in ("TRQ-E8", "14", ""):
            if name:
                self.assertIn("hint: did you mean", self.fails(USAGE, "machines", name).err)

    def test_profiles_are_read_from_toml(self):
        self.write("machines.toml", """
            # the lab
            [upstairs]
            type = "TRQ-E7"
            vat = "20x20x23.2in"
            styles = "/srv/styles"
            [cellar]
            type = 13
            """)
        data = self.json_of("machines", "--machines", "machines.toml")
        self.assertEqual([p["name"] for p in data["profiles"]], ["upstairs", "cellar"])
        self.assertEqual(data["profiles"][0]["machine"], "TRQ-E7")
        for side, wanted in zip(data["profiles"][0]["vat"], (508, 508, 589.28)):
            self.assertAlmostEqual(side, wanted)
        self.assertEqual(data["profiles"][1], {"name": "cellar", "machine_type": 13, "machine": "MirraMax", "vat": None,
                                               "style_root": None})
        only = self.json_of("machines", "cellar", "--machines", "machines.toml")
        self.assertEqual((only["machines"], [p["name"] for p in only["profiles"]]), ([], ["cellar"]))
        by_type = self.json_of("machines", "TRQ-E7", "--machines", "machines.toml")
        self.assertEqual(([m["machine_type"] for m in by_type["machines"]], [p["name"] for p in by_type["profiles"]]),
                         ([6], ["upstairs"]))
        self.assertIn("508 x 508 x 589.28 mm", self.good("machines", "upstairs", "--machines", "machines.toml").out.decode())

    def test_mistakes_in_profiles_name_their_line(self):
        for text, line in (("[a]\ntype = \"TRQ-E8\"\n", 2), ("[a]\n\ntype = 14\n", 3), ("[a]\nvat = \"1x2\"\n", 2),
                           ("[a]\nvatt = \"1x2x3\"\n", 2), ("a = 1\n", 1), ("[a]\nstyles = 3\n", 2), ("[a\n", 1),
                           ("[a]\ntype = 1.5\n", 2), ("[b]\n[a" + ".a" * 300000 + "]\n", 2)):
            with self.subTest(text[:40]):
                self.write("m.toml", text)
                result = self.fails(INPUT, "machines", "--machines", "m.toml", "--json")
                message, = result.document()["messages"]
                self.assertEqual((message["code"], message["where"]["line"]), ("MACHINES-FILE", line))
        self.fails(INPUT, "machines", "--machines", "missing.toml")


if __name__ == "__main__":
    unittest.main()
