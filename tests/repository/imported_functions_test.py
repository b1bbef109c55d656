"""Library and tool take from the C library's mathematics only what is exact everywhere; the rest is
trq/core/elementary.h, with the same bits on every machine."""
import os
import subprocess
import unittest

# The last two are what compilers make of a rounded number that becomes an integer.
EXACT = {"sqrt", "floor", "ceil", "trunc", "round", "fmod", "fabs", "lround", "llround"}
# Every function of <math.h>, GNU's besides.
MATHEMATICS = set("""acos acosh asin asinh atan atan2 atanh cbrt ceil copysign cos cosh erf erfc exp exp10 exp2 expm1 fabs fdim
floor fma fmax fmin fmod frexp hypot ilogb j0 j1 jn ldexp lgamma llrint llround log log10 log1p log2 logb lrint lround modf
nan nearbyint nextafter nexttoward pow pow10 remainder remquo rint round roundeven scalb scalbln scalbn significand sin sincos
sinh sqrt tan tanh tgamma trunc y0 y1 yn""".split())


def imported_mathematics(program):
    lines = subprocess.run(["nm", "-D", "--undefined-only", program], check=True, capture_output=True,
                           text=True).stdout.splitlines()
    names = [line.split()[-1].split("@")[0] for line in lines]
    # Each for double, and with a letter more for float and long double.
    return {full for name in names for full in (name, name[:-1] if name[-1] in "fl" else "") if full in MATHEMATICS}


class ImportedFunctions(unittest.TestCase):
    def test_mathematics_is_exact_or_our_own(self):
        for program in filter(None, [os.environ["TRQ_LIBRARY"], os.environ["TRQPREP"]]):
            names = imported_mathematics(program)
            self.assertIn("round", names)  # the question can be answered
            self.assertEqual(names - EXACT, set(), program)


if __name__ == "__main__":
    unittest.main()
