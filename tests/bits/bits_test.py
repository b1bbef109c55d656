"""The library as it is built here gives the digests of the literal forms, which nothing optimises."""
import os
import subprocess
import unittest


def lines(variable):
    return subprocess.run([os.environ[variable]], check=True, capture_output=True, text=True).stdout.splitlines()


class Bits(unittest.TestCase):
    def test_they_are_those_of_the_literal_forms(self):
        literal = lines("TRQ_BIT_ORACLE")
        found = lines("TRQ_BIT_PROBE")
        self.assertGreater(len(literal), 40)
        self.assertEqual([line for line in literal if line not in found], [])


if __name__ == "__main__":
    unittest.main()
