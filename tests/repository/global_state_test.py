"""The library keeps no state for the whole process: what its shared object can write to, beside thread_local
variables, is constant in the source or stands in the short list below.
"""

import glob
import os
import re
import subprocess
import tempfile
import unittest

ROOT = os.path.dirname(os.path.dirname(os.path.dirname(os.path.abspath(__file__))))
FOLDERS = "include/trq host foundation geometry styles recoat setup placement".split()

# Made once by whichever thread comes first, constant from then on.
ALLOWED = {"CErrorObject::GetRootDirectory()::directory", "guard variable for CErrorObject::GetRootDirectory()::directory"}
# The compiler's and the linker's own; the last two say what the processor can do.
THEIRS = re.compile(r"DW\.ref\.|__TMC_END__$|__dso_handle$|completed\.\d+$|_DYNAMIC$|_GLOBAL_OFFSET_TABLE_$|"
                    r"__cpu_model$|__cpu_features2$")


def written_sections(library):
    """Numbers of the sections that stay writable: .data.rel.ro and the like are constants with addresses in them."""
    text = subprocess.run(["readelf", "-SW", library], check=True, capture_output=True, text=True).stdout
    rows = re.findall(r"\[ *(\d+)\] (\S+) .* WA ", text)
    return {number for number, name in rows if not name.startswith((".data.rel.ro", ".init_array", ".fini_array", ".dynamic",
                                                                     ".got"))}


def variables(library):
    """Demangled names of what can be written to. Thread-local variables are of another type (TLS)."""
    sections = written_sections(library)
    text = subprocess.run(["readelf", "-sW", library], check=True, capture_output=True, text=True).stdout
    names = set()
    for line in text.splitlines():
        fields = line.split()
        if len(fields) >= 8 and fields[3] == "OBJECT" and fields[6] in sections:
            names.add(fields[7])
    text = subprocess.run(["c++filt"], input="\n".join(sorted(names)), check=True, capture_output=True, text=True).stdout
    return {name for name in text.splitlines() if name and not THEIRS.match(name)}


def constants():
    """Names that the sources declare constexpr. Some compilers leave such tables in .data."""
    found = set()
    for folder in FOLDERS:
        for path in glob.glob(os.path.join(ROOT, folder, "*.cpp")) + glob.glob(os.path.join(ROOT, folder, "*.h")):
            with open(path, encoding="utf-8") as f:
                found |= set(re.findall(r"^(?:inline )?constexpr [^=;{(]*?\b(k\w+)(?:\[\w*\])* =", f.read(), re.MULTILINE))
    return found


def state(library):
    known = constants()
    return {name for name in variables(library) - ALLOWED if name.split("::")[-1] not in known}


class GlobalState(unittest.TestCase):
    def test_the_library_has_none(self):
        library = os.environ["TRQ_LIBRARY"]
        self.assertTrue(os.path.exists(library))
        self.assertEqual(state(library), set())

    def test_the_check_finds_it(self):
        source = ("int counter = 1; static int hidden; thread_local int mine; const int fixed[2] = {1, 2};\n"
                  "int next() { static int calls; return ++calls + ++hidden + ++mine + fixed[0] + counter; }\n")
        with tempfile.TemporaryDirectory() as folder:
            path = os.path.join(folder, "a.cpp")
            with open(path, "w", encoding="utf-8") as f:
                f.write(source)
            library = os.path.join(folder, "a.so")
            subprocess.run([os.environ.get("CXX", "c++"), "-O0", "-shared", "-fPIC", path, "-o", library], check=True)
            self.assertEqual(state(library), {"counter", "hidden", "next()::calls"})


if __name__ == "__main__":
    unittest.main()
