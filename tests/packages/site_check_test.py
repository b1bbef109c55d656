"""The check of the built site finds what it is there for."""
import json
import pathlib
import sys
import tempfile
import unittest

ROOT = pathlib.Path(__file__).resolve().parent.parent.parent
sys.path.insert(0, str(ROOT / "packaging" / "site"))
import check  # noqa: E402


class Site(unittest.TestCase):
    def found(self, body, known=("index.html",), files=None):
        with tempfile.TemporaryDirectory() as folder:
            site = pathlib.Path(folder).resolve()
            (site / "search").mkdir()
            (site / "search" / "search_index.json").write_text(json.dumps({"docs": [{"location": name} for name in known]}))
            (site / "index.html").write_text("<html><body>" + body + "</body></html>")
            for name, text in (files or {}).items():
                (site / name).write_text(text)
            return check.check(site)[0]

    def test_a_good_site(self):
        self.assertEqual(self.found('<h1 id="a">x</h1><a href="#a"></a><a href="index.html#a"></a><a href="https://x.example/">x</a>'
                                    '<img src="x.png">', files={"x.png": ""}), [])

    def test_links(self):
        self.assertEqual(self.found('<a href="none.html">x</a>'), ["index.html: link none.html leads nowhere"])
        self.assertEqual(self.found('<a href="#none">x</a>'), ["index.html: link #none names no place in the page"])
        self.assertEqual(self.found('<a href="../../etc/passwd">x</a>'), ["index.html: link ../../etc/passwd leads nowhere"])
        self.assertEqual(self.found('<img src="none.png">'), ["index.html: load none.png leads nowhere"])

    def test_loads_from_elsewhere(self):
        for body in ('<script src="https://x.example/x.js"></script>', '<script src="//x.example/x.js"></script>',
                     '<link rel="stylesheet" href="http://x.example/x.css">', '<img src="https://x.example/x.png">',
                     '<p style="background: url(https://x.example/x.png)">x</p>', '<style>@font-face { src: url(//x.example/f) }</style>'):
            (line,) = self.found(body)
            self.assertIn("loads", line)
        (line,) = self.found("", files={"x.css": "@import 'https://x.example/x.css';"})
        self.assertEqual(line, "x.css: loads https://x.example/x.css")

    def test_pages_that_the_search_does_not_know(self):
        self.assertEqual(self.found("", known=()), ["the search does not know index.html"])


if __name__ == "__main__":
    unittest.main()
