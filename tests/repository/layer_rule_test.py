"""The source tree keeps the layer rule, and the check finds each way of breaking it."""

import os
import tempfile
import unittest

import layer_rule

ROOT = os.path.dirname(os.path.dirname(os.path.dirname(os.path.abspath(__file__))))


class ThisTree(unittest.TestCase):
    def test_keeps_the_rule(self):
        self.assertEqual(layer_rule.faults(ROOT), [])

    def test_has_a_folder_for_every_layer_with_sources(self):
        self.assertTrue(any(layer_rule.sources(ROOT, "foundation")))
        self.assertTrue(any(layer_rule.sources(ROOT, "geometry")))
        self.assertTrue(any(layer_rule.sources(ROOT, "include")))
        self.assertTrue(any(layer_rule.sources(ROOT, "tools")))
        for room in layer_rule.ROOM_BELOW:
            self.assertTrue(any(layer_rule.sources(ROOT, "prep/" + room)), room)


class Check(unittest.TestCase):
    def faults_of(self, path, text, others=()):
        with tempfile.TemporaryDirectory() as root:
            for place in (path, *others):
                full = os.path.join(root, place)
                os.makedirs(os.path.dirname(full), exist_ok=True)
                with open(full, "w", encoding="utf-8") as f:
                    f.write(text if place == path else "")
            return layer_rule.faults(root)

    def assert_kept(self, path, text):
        self.assertEqual(self.faults_of(path, text), [])

    def assert_broken(self, path, text):
        self.assertEqual(len(self.faults_of(path, text)), 1, text)

    def test_lower_layers_are_in_reach_at_any_depth(self):
        self.assert_kept("setup/model.cpp", '#include "recoat/a.h"\n#include "styles/b.h"\n#include "host/c.h"\n')
        self.assert_kept("placement/grid_eval.cpp", '#include "trq/geometry.h"\n#include <vector>\n')

    def test_upper_and_sister_layers_are_not(self):
        self.assert_broken("foundation/a.cpp", '#include "geometry/b.h"\n')
        self.assert_broken("geometry/a.cpp", '#include "styles/b.h"\n')
        self.assert_broken("geometry/a.cpp", '#include "trq/placement.h"\n')
        self.assert_broken("host/a.cpp", '#include "trq/foundation.h"\n')
        self.assert_broken("styles/a.cpp", '#include "trq/setup.h"\n')

    def test_only_host_knows_the_operating_system(self):
        self.assert_kept("host/a.cpp", "#include <unistd.h>\n")
        self.assert_broken("geometry/a.cpp", "#include <unistd.h>\n")
        self.assert_broken("styles/a.cpp", "  #  include <sys/stat.h>\n")

    def test_nesting_stands_alone(self):
        self.assert_kept("nesting/a.cpp", '#include <vector>\n#include "nesting/b.h"\n#include "trqprep/nesting.h"\n')
        self.assert_kept("include/trqprep/nesting.h", "#include <vector>\n")
        self.assert_kept("prep/plate/a.cpp", '#include "trqprep/nesting.h"\n')
        self.assert_broken("prep/plate/a.cpp", '#include "nesting/b.h"\n')
        self.assert_broken("nesting/a.cpp", '#include "trq/geometry.h"\n')
        self.assert_broken("nesting/a.cpp", '#include "trqprep/job.h"\n')
        self.assert_broken("nesting/a.cpp", "#include <unistd.h>\n")
        self.assert_broken("include/trqprep/nesting.h", '#include "trqprep/job.h"\n')
        self.assert_broken("geometry/a.cpp", '#include "trqprep/nesting.h"\n')
        self.assert_broken("tools/trqprep/a.cpp", '#include "nesting/b.h"\n')

    def test_slicing_knows_the_library_and_clipper(self):
        self.assert_kept("slicing/a.cpp", '#include <polyclipping/clipper.hpp>\n#include "trq/core/mesh.h"\n#include "slicing/b.h"\n')
        self.assert_kept("include/trqprep/slicing.h", '#include "trq/core/mesh.h"\n')
        self.assert_kept("prep/build/a.cpp", '#include "trqprep/slicing.h"\n')
        self.assert_broken("slicing/a.cpp", '#include "trqprep/job.h"\n')
        self.assert_broken("slicing/a.cpp", "#include <fcntl.h>\n")
        self.assert_broken("prep/build/a.cpp", '#include "slicing/b.h"\n')
        self.assert_broken("nesting/a.cpp", "#include <polyclipping/clipper.hpp>\n")

    def test_library_needs_the_standard_library_only(self):
        self.assert_broken("geometry/a.cpp", "#include <fmt/format.h>\n")
        self.assert_broken("include/trq/geometry.h", "#include <nlohmann/json.hpp>\n")

    def test_exported_headers_keep_the_direction_and_have_a_layer(self):
        self.assert_kept("include/trq/geometry.h", '#include "trq/foundation.h"\n')
        self.assert_broken("include/trq/foundation.h", '#include "trq/geometry.h"\n')
        self.assert_broken("include/trq/geometry.h", '#include "foundation/hash_table.h"\n')
        self.assert_broken("include/trq/machine_types.h", '#include "trq/foundation.h"\n')
        self.assert_broken("include/trq/surprise.h", "#include <vector>\n")

    def test_tool_and_examples_see_exported_headers_only(self):
        self.assert_kept("tools/trqprep/a.cpp", '#include "trq/geometry.h"\n#include <fmt/format.h>\n')
        self.assert_broken("tools/trqprep/a.cpp", '#include "geometry/mesh.h"\n')
        self.assert_broken("tools/trqprep/a.cpp", "#include <geometry/mesh.h>\n")
        self.assert_broken("tools/trqprep/a.cpp", '#include "../../geometry/mesh.h"\n')
        self.assert_broken("tools/trqprep/a.cpp", '#include "json.h"\n')
        self.assert_broken("examples/a.cpp", '#include "foundation/numbers.h"\n')

    def test_rooms_include_along_the_arrows(self):
        rooms = ["prep/%s/%s_words.cpp" % (room, room) for room in layer_rule.ROOM_BELOW]

        def faults(path, text):
            return self.faults_of(path, text, rooms)

        self.assertEqual(faults("prep/build/a.cpp", '#include "trqprep/plate_words.h"\n#include "trqprep/checks_words.h"\n'), [])
        self.assertEqual(faults("prep/files/a.cpp", '#include "trqprep/says_words.h"\n#include "trq/host.h"\n'), [])
        self.assertEqual(len(faults("prep/plate/a.cpp", '#include "trqprep/build_words.h"\n')), 1)
        self.assertEqual(len(faults("prep/plate/a.cpp", '#include "trqprep/checks_words.h"\n')), 1)
        self.assertEqual(len(faults("prep/meshes/a.cpp", '#include "prep/styles/a.h"\n')), 1)
        self.assertEqual(len(faults("prep/meshes/a.cpp", '#include "cli/terminal.h"\n')), 1)
        self.assertEqual(len(faults("include/trqprep/meshes_words.h", '#include "trqprep/build_words.h"\n')), 1)
        self.assertEqual(len(faults("include/trqprep/meshes_words.h", '#include <fmt/format.h>\n')), 1)
        self.assertEqual(len(faults("include/trqprep/meshes_words.h", '#include "prep/meshes/a.h"\n')), 1)
        self.assertEqual(len(faults("include/trqprep/nobody.h", "")), 1)

    def test_other_libraries_and_the_system_stand_where_they_may(self):
        self.assert_kept("prep/files/a_posix.cpp", "#include <fmt/format.h>\n#include <sys/stat.h>\n")
        self.assert_kept("tools/trqprep/cli/a_posix.cpp", "#include <CLI/CLI.hpp>\n#include <unistd.h>\n")
        self.assert_kept("tools/trqprep/cli/a_windows.cpp", "#include <windows.h>\n")
        self.assert_broken("tools/trqprep/cli/a.cpp", "#include <unistd.h>\n")
        self.assert_broken("tools/trqprep/cli/a_posix.cpp", "#include <windows.h>\n")
        self.assert_kept("prep/files/json_text.cpp", "#include <nlohmann/json.hpp>\n")
        self.assert_broken("prep/meshes/a.cpp", "#include <sys/stat.h>\n")
        self.assert_broken("prep/meshes/a.cpp", "#include <CLI/CLI.hpp>\n")
        self.assert_broken("prep/files/a.cpp", "#include <nlohmann/json.hpp>\n")
        self.assert_broken("tools/trqprep/a.cpp", "#include <unistd.h>\n")
        self.assert_broken("tools/trqprep/a.cpp", "#include <nlohmann/json.hpp>\n")
        self.assert_broken("tools/trqprep/a.cpp", '#include "prep/files/a.h"\n')

    def test_file_names_are_unique(self):
        self.assertEqual(len(self.faults_of("geometry/a.h", "", ["styles/a.h"])), 1)
        self.assertEqual(self.faults_of("geometry/a.h", "", ["styles/a.cpp", "tests/a.h"]), [])


if __name__ == "__main__":
    unittest.main()
