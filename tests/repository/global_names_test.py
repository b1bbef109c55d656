"""The global namespace that an application shares with the public headers holds the names of the interface and no
other; what is the library's own stands in namespace trq.
"""

import glob
import os
import re
import unittest

ROOT = os.path.dirname(os.path.dirname(os.path.dirname(os.path.abspath(__file__))))

# Spelt as applications write them. A name comes here only when the interface has it.
INTERFACE = set("""
_fwrite _rc_style AfxMessageBox angle_between binary_print BitGrid BuildStyleParameterRecordFloat
BuildStyleParameterRecordInt BYTE_PACKER byte_swap CCRC CErrorObject COMPONENT COMPONENT_INFO conversion_factor
CString CString2 CTL CTL_HEADER CVentsAndDrains dist_sq DynArray fread_ GRID_INDEX2 GridEval HASH_TABLE
interpolate KVBUILDSTYLE KVRECOATSTYLE KVSWEEPS LIGHT_ITEM LIGHT_LIST MACHINES MATRICES MODEL ModelConfigParams
my_new_handler MyPair nonparallel_intersection PbVec2f PbVec3f PLATFORM R_INT3 R_INT4 R_TRIANGLE RECOAT_TYPE
RECOATSTYLE RecoatStyleParameterRecordFloat RecoatStyleParameterRecordInt set_unit_matrix slc SLC_OPEN_MODE
snap_name strcasecmp_j SWEEPS TheSegment TheTriangle touches TriangleBAG TRQ_A1 TRQ_ALTOR800 TRQ_ALTOR900 TRQ_B2
TRQ_C3 TRQ_C4 TRQ_D5 TRQ_D6 TRQ_E7 TRQ_MIRRA TRQ_MIRRA_FN TRQ_MIRRA_FNPX_DUAL TRQ_MIRRA_FNPX_SINGLE
TRQ_MIRRA_MAX TRQ_MIRRA_PX_DUAL TRQ_MIRRA_PX_SINGLE TRQ_NONE TRQ_TYPE UTILITY UTL_heap_sort VECTOR VECTOR_LL
VentOrDrain
""".split())


def tokens(text):
    '''Words and signs of a header without comments and preprocessor lines; a text is the word "".'''
    text = re.sub(r"//[^\n]*|/\*.*?\*/", " ", text, flags=re.DOTALL)
    text = re.sub(r'"(\\.|[^"\\\n])*"', '""', text)
    text = re.sub(r"'(\\.|[^'\\\n])+'", "0", text)
    text = re.sub(r"^[ \t]*#(\\\n|[^\n])*", " ", text, flags=re.MULTILINE)
    return re.findall(r'""|::|\w+|[^\w\s]', text)


def macros(text):
    return set(re.findall(r"^[ \t]*#[ \t]*define[ \t]+(\w+)", text, flags=re.MULTILINE))


def after(words, at, opening, closing):
    """Where the words go on after the bracket that opens at `at`."""
    depth = 0
    for i in range(at, len(words)):
        depth += (words[i] == opening) - (words[i] == closing)
        if depth == 0:
            return i + 1
    raise ValueError("a bracket is not closed")


def statements(words):
    """The declarations in a scope: what stands before a body, or before a semicolon, and the body (or None)."""
    head, i = [], 0
    while i < len(words):
        if words[i] == "{":
            end = after(words, i, "{", "}")
            yield head, words[i + 1:end - 1]
            head, i = [], end
        elif words[i] == "(":
            end = after(words, i, "(", ")")
            head.append("()")
            i = end
        elif words[i] == ";":
            if head:
                yield head, None
            head, i = [], i + 1
        else:
            head.append(words[i])
            i += 1


def declared(words):
    """The names that these words put into their scope; those of namespace trq stay in it."""
    names = set()
    for head, body in statements(words):
        while head and head[0] == "template":
            head = head[after(head, 1, "<", ">"):]
        head = [word for word in head if word not in ("inline", "constexpr", "static", "TRQ_EXPORT", "const")]
        if not head or head[0] == "static_assert":
            continue
        if head[0] == "namespace":
            if head[1] != "trq":
                names.add(head[1])
        elif head[0] == "extern" and body is not None:
            names |= declared(body)
        elif head[0] == "using":
            names.add(head[1] if "=" in head else " ".join(head) if head[1] == "namespace" else head[-1])
        elif head[0] == "typedef":
            names.add(head[-1])
        elif head[0] in ("class", "struct", "union", "enum"):
            scoped = head[0] == "enum" and head[1] in ("class", "struct")
            names.add(head[2 if scoped else 1])
            if head[0] == "enum" and not scoped and body:
                names |= {word for before, word in zip([","] + body, body) if before == "," and word != ","}
        elif "operator" not in head:
            at = next((i for i, word in enumerate(head) if word in ("()", "=", "[")), len(head))
            while head[at - 2:at - 1] == ["::"]:  # a member, defined behind its class
                at -= 2
            names.add(head[at - 1])
    return names


def all_names():
    names = set()
    for path in glob.glob(os.path.join(ROOT, "include", "trq", "**", "*.h"), recursive=True):
        with open(path, encoding="utf-8") as f:
            text = f.read()
        names |= declared(tokens(text)) | {name for name in macros(text) if not name.startswith("TRQ_")}
    return names


class GlobalNames(unittest.TestCase):
    def test_headers_declare_the_interface_and_no_more(self):
        found = all_names()
        self.assertEqual(sorted(found - INTERFACE), [])
        self.assertEqual(sorted(INTERFACE - found), [])

    def test_the_check_sees_every_kind_of_name(self):
        text = """
#define A 1
#define TRQ_OURS 1
namespace trq::units { int not_seen; }
namespace B { int inside; }
class TRQ_EXPORT C final : public D { int inside; void f() {} };
enum E : int { F = 1, G };
enum class H { kInside };
template <class T, int n> struct I { T inside; };
using J = int;
typedef unsigned K;
inline bool operator==(const C&, const C&) { return true; }
constexpr int L[2] = {1, 2};
TRQ_EXPORT void M(const char* text = "int N;", int o = 0);
inline int C::P() { return 1; }  // int Q;
extern "C" { int R(); }
static_assert(sizeof(C) == 1, "text");
"""
        self.assertEqual(macros(text), {"A", "TRQ_OURS"})
        self.assertEqual(declared(tokens(text)), set("B C E F G H I J K L M R".split()))


if __name__ == "__main__":
    unittest.main()
