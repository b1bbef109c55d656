#!/usr/bin/env python3
"""Checks who includes whom: layer_rule.py [ROOT]. Prints a line for every include that breaks the rule of
docs/architecture.md and ends with 1 when there is one.

The rule: the layers of the library include one another in one direction only; only host/ knows the operating system;
the library needs nothing but the C++ standard library; the rooms of prep/ include one another in one direction only, and
their headers nothing but exported ones and the C++ standard library; tool and example programs see the installed headers
only; nesting/ knows nothing but itself, its header and the C++ standard library; slicing/ knows the installed headers and Clipper
besides, view/ them and libpng, estimate/ them and slicing/; headers of a system stand in host/, and in
*_posix.cpp and *_windows.cpp of prep/files/ and tools/trqprep/cli/; no two files have the same name.
"""

import os
import re
import sys

# Each layer and the layers right below it.
BELOW = {
    "host": [],
    "foundation": ["host"],
    "geometry": ["foundation"],
    "styles": ["foundation"],
    "recoat": ["styles"],
    "placement": ["geometry"],
    "setup": ["geometry", "styles", "recoat"],
}

# The rooms of prep/ and the rooms right below each. says/ and files/ are one floor: a message holds JSON, and a file that
# cannot be read is a message.
ROOM_BELOW = {
    "says": ["files"],
    "files": ["says"],
    "meshes": ["files"],
    "styles": ["files"],
    "checks": ["meshes", "styles"],
    "plate": ["meshes", "styles"],
    "report": ["checks", "plate"],
    "build": ["report"],
}

# Rooms beside prep/, below all of its rooms, and the headers of include/trqprep/ that are theirs.
ALONE = {"nesting": ["nesting.h"], "slicing": ["slicing.h", "layer_plan.h", "layer_findings.h"], "view": ["layer_picture.h", "render.h"],
         "estimate": ["estimate.h"]}
# What these know besides themselves: exported headers of the library, each other, and others' libraries.
ALONE_KNOWS_LIBRARY = {"slicing", "view", "estimate"}
ALONE_BELOW = {"estimate": ["slicing"]}
ALONE_LIBRARIES = {"slicing": ["polyclipping"], "view": ["png.h"]}

# The headers of include/trqprep/ that no source file of prep/ is named after.
ROOM_OF_HEADER = {"exit_codes.h": "says", "immortal.h": "files"}

# What else the rooms and the tool are made from.
LIBRARIES = {
    "fmt": ["prep", "tools"],
    "meshoptimizer.h": ["prep/meshes/simplify.cpp", "prep/report/packed.cpp"],
    "zlib.h": ["prep/report/packed.cpp"],
    "nettle": ["prep/files"],
    "polyclipping": ["prep/plate/outlines.cpp"],
    "nlohmann": ["prep/files/json_text.cpp"],
    "toml++": ["prep/files"],
    "CLI": ["tools"],
}

POSIX = set("""dirent.h fcntl.h fnmatch.h pthread.h signal.h sys/file.h sys/mman.h sys/stat.h sys/syscall.h sys/types.h
unistd.h""".split())
WINDOWS = set("bcrypt.h fcntl.h io.h shellapi.h windows.h winternl.h".split())
SYSTEM_ROOMS = ("prep/files/", "tools/trqprep/cli/")

# The layer that stands behind an exported header. export.h is generated and machine_types.h is a table of constants:
# everybody may include them, and they include nothing of ours but export.h.
HEADER_LAYER = {
    "export.h": None,
    "machine_types.h": None,
    "core/span.h": None,
    "core/result.h": None,
    "core/style_layout.h": "styles",
    "core/style_file.h": "styles",
    "core/style_stack.h": "setup",
    "core/file.h": "host",
    "core/bytes.h": "foundation",
    "core/elementary.h": "foundation",
    "core/mesh.h": "geometry",
    "core/stl.h": "geometry",
    "core/ctl.h": "geometry",
    "core/shell.h": "geometry",
    "core/slc.h": "geometry",
    "core/side_file.h": "geometry",
    "mesh_values.h": "geometry",
    "host.h": "host",
    "foundation.h": "foundation",
    "slice_file.h": "foundation",
    "style_structures.h": "foundation",
    "slice_contours.h": "geometry",
    "vents_and_drains.h": "geometry",
    "geometry.h": "geometry",
    "styles.h": "styles",
    "recoat.h": "recoat",
    "placement.h": "placement",
    "setup.h": "setup",
}

STANDARD = set("""algorithm any array atomic bitset cassert cctype cerrno cfenv cfloat charconv chrono cinttypes climits
clocale cmath complex condition_variable csetjmp csignal cstdarg cstddef cstdint cstdio cstdlib cstring ctime cuchar cwchar
cwctype deque exception execution filesystem forward_list fstream functional future initializer_list iomanip ios iosfwd
iostream istream iterator limits list locale map memory memory_resource mutex new numeric optional ostream queue random
ratio regex scoped_allocator set shared_mutex sstream stack stdexcept streambuf string string_view strstream
system_error thread tuple type_traits typeindex typeinfo unordered_map unordered_set utility valarray variant
vector""".split())

INCLUDE = re.compile(r'^\s*#\s*include\s*([<"])([^>"]+)[>"]')


def reachable(layer, below=BELOW):
    """The layer and all below it."""
    found, waiting = set(), [layer]
    while waiting:
        here = waiting.pop()
        if here not in found:
            found.add(here)
            waiting += below[here]
    return found


def exported_header_fault(layer, header):
    """Why a file of this layer (None: a header without one) may not include this exported header."""
    if header not in HEADER_LAYER:
        return "is no exported header that the rule knows"
    target = HEADER_LAYER[header]
    if target is None or (layer is not None and target in reachable(layer)):
        return None
    return "belongs to %s/, which is not below" % target


def library_fault(layer, included, angled):
    if included.startswith("trq/"):
        return exported_header_fault(layer, included[4:])
    first = included.split("/")[0]
    if not angled and first in BELOW and "/" in included:
        if layer is not None and first in reachable(layer):
            return None
        return "belongs to %s/, which is not below" % first
    if angled and (included in STANDARD or layer == "host"):
        return None
    if angled:
        return "is not of the C++ standard library (only host/ knows the operating system)"
    return "is neither an exported header nor written as <layer>/<file>"


def installed_header_fault(name, included, angled):
    if included.startswith("trq/"):
        return exported_header_fault(HEADER_LAYER.get(name), included[4:])
    if angled and included in STANDARD:
        return None
    return "is neither an exported header nor of the C++ standard library"


def foreign_fault(place, included):
    """Why a file of prep/ or tools/ may not include this header of the system or of another library."""
    if included in STANDARD:
        return None
    if included in POSIX | WINDOWS:
        known = POSIX if place.endswith("_posix.cpp") else WINDOWS if place.endswith("_windows.cpp") else set()
        return None if place.startswith(SYSTEM_ROOMS) and included in known else (
            "belongs to the system: *_posix.cpp and *_windows.cpp of prep/files/ and cli/ know it alone")
    users = LIBRARIES.get(included.split("/")[0])
    if users and any(place.startswith(user) for user in users):
        return None
    return "is not of a library that this folder may use"


def room_of(root, header):
    """The room behind a header of include/trqprep/, or None."""
    for room, headers in ALONE.items():
        if header in headers:
            return room
    for room in ROOM_BELOW:
        if os.path.exists(os.path.join(root, "prep", room, header[:-2] + ".cpp")):
            return room
    return ROOM_OF_HEADER.get(header)


def prep_fault(root, place, room, included, angled):
    first, _, rest = included.partition("/")
    if first == "trq":
        return None if rest in HEADER_LAYER else "is no exported header"
    if first == "trqprep":
        target = room_of(root, rest)
    elif first == "prep":
        target = rest.split("/")[0]
        if place.startswith("include/"):
            return "is not installed"
    elif angled:
        if place.startswith("include/"):
            return None if included in STANDARD else "is not of the C++ standard library"
        return foreign_fault(place, included)
    else:
        return "is neither an exported header nor one of prep/"
    if target in ALONE or target in reachable(room, ROOM_BELOW):
        return None
    return "belongs to prep/%s/, which is not below" % target if target else "belongs to no room"


def alone_fault(room, included, angled):
    """Why a file of a room that stands alone may not include this header."""
    first, _, rest = included.partition("/")
    if angled:
        known = included in STANDARD or first in ALONE_LIBRARIES.get(room, [])
        return None if known else "is not of the C++ standard library"
    if first == "trq" and room in ALONE_KNOWS_LIBRARY:
        return None if included[4:] in HEADER_LAYER else "is no exported header"
    for known in [room] + ALONE_BELOW.get(room, []):
        if first == known or (first == "trqprep" and rest in ALONE[known]):
            return None
    return "is outside of %s/, which knows nothing else" % room


def user_fault(place, folder, included, angled):
    """Programs that use the library as anybody does."""
    first = included.split("/")[0]
    if included.startswith("trq/"):
        return None if included[4:] in HEADER_LAYER else "is no exported header"
    if first in ALONE and "/" in included:
        return "is inside %s/" % first
    if first in BELOW and "/" in included:
        return "is inside the library"
    if first == "prep":
        return "is inside prep/"
    if first in ("trqprep", "cli"):
        return None
    if angled and place.startswith("tools/"):
        return foreign_fault(place, included)
    if ".." in included.split("/"):
        return "leaves the folder of the file"
    if not angled and not os.path.exists(os.path.join(folder, included)):
        return "is not beside the file"
    return None


def sources(root, folder):
    for here, folders, files in os.walk(os.path.join(root, folder)):
        folders.sort()
        for name in sorted(files):
            if name.endswith((".h", ".cpp")):
                yield os.path.join(here, name)


def faults(root):
    found = []

    def check(path, fault_of):
        with open(path, encoding="utf-8") as f:
            for number, line in enumerate(f, 1):
                match = INCLUDE.match(line)
                if match:
                    fault = fault_of(match.group(2), match.group(1) == "<")
                    if fault:
                        found.append("%s:%d: %s %s" % (os.path.relpath(path, root), number, match.group(2), fault))

    for layer in BELOW:
        for path in sources(root, layer):
            check(path, lambda included, angled: library_fault(layer, included, angled))
    for path in sources(root, "include/trq"):
        name = os.path.relpath(path, os.path.join(root, "include", "trq"))
        if name not in HEADER_LAYER:
            found.append("%s: an exported header without a layer in tests/repository/layer_rule.py" % os.path.relpath(path, root))
        check(path, lambda included, angled: installed_header_fault(name, included, angled))
    for path in list(sources(root, "include/trqprep")) + list(sources(root, "prep")):
        place = os.path.relpath(path, root)
        name = os.path.basename(path)
        room = room_of(root, name) if place.startswith("include/") else place.split(os.sep)[1]
        if room in ALONE:
            check(path, lambda included, angled: alone_fault(room, included, angled))
        elif room not in ROOM_BELOW:
            found.append("%s: stands in no room that tests/repository/layer_rule.py knows" % place)
        else:
            check(path, lambda included, angled: prep_fault(root, place, room, included, angled))
    for room in ALONE:
        for path in sources(root, room):
            check(path, lambda included, angled: alone_fault(room, included, angled))
    for folder in ("tools", "examples"):
        for path in sources(root, folder):
            place = os.path.relpath(path, root)
            check(path, lambda included, angled: user_fault(place, os.path.dirname(path), included, angled))
    return found + twins(root)


def twins(root):
    """Files of the product that have the same name."""
    first, found = {}, []
    for folder in ["include", *BELOW, *ALONE, "prep", "tools"]:
        for path in sources(root, folder):
            place, name = os.path.relpath(path, root), os.path.basename(path)
            # What an exported header of the core declares may stand behind a header of the same name.
            if name in first and not first[name].startswith(os.path.join("include", "trq", "core")):
                found.append("%s: has the name of %s" % (place, first[name]))
            first.setdefault(name, place)
    return found


def main():
    root = sys.argv[1] if len(sys.argv) > 1 else os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "..")
    found = faults(root)
    for line in found:
        print(line)
    return 1 if found else 0


if __name__ == "__main__":
    sys.exit(main())
