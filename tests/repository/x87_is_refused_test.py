"""A compiler that computes in wider registers is refused when the build is configured, with what to do."""
import os
import subprocess
import tempfile
import unittest


class X87IsRefused(unittest.TestCase):
    def configured(self, flags):
        with tempfile.TemporaryDirectory() as folder:
            return subprocess.run([os.environ["CMAKE"], "-G", "Ninja", "-S", os.environ["TRQ_SOURCE_DIR"], "-B", folder,
                                   "-DCMAKE_CXX_COMPILER=" + os.environ["CXX"], "-DCMAKE_CXX_FLAGS=" + flags,
                                   "-DTRQ_BUILD_TESTS=OFF", "-DTRQ_BUILD_TOOL=OFF"], capture_output=True, text=True)

    def test_arithmetic_of_the_x87_ends_the_configuration(self):
        result = self.configured("-mfpmath=387")
        self.assertNotEqual(result.returncode, 0)
        self.assertIn("-msse2 -mfpmath=sse", " ".join(result.stderr.split()))

    def test_arithmetic_of_sse_does_not(self):
        self.assertEqual(self.configured("-mfpmath=sse").returncode, 0)


if __name__ == "__main__":
    unittest.main()
