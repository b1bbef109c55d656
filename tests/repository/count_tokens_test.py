"""The lexer of scripts/count-tokens: what is one token, what is none."""

import importlib.machinery
import importlib.util
import os
import unittest

ROOT = os.path.dirname(os.path.dirname(os.path.dirname(os.path.abspath(__file__))))


def load():
    loader = importlib.machinery.SourceFileLoader("count_tokens", os.path.join(ROOT, "scripts", "count-tokens"))
    module = importlib.util.module_from_spec(importlib.util.spec_from_loader("count_tokens", loader))
    loader.exec_module(module)
    return module


script = load()


def spellings(text):
    return [spelling for _, spelling in script.tokens(text)]


class Tokens(unittest.TestCase):
    def test_comments_are_none(self):
        self.assertEqual(spellings("a // b c\n/* d\n e */ f /**/ g"), ["a", "f", "g"])

    def test_a_comment_goes_on_behind_a_continued_line(self):
        self.assertEqual(spellings("a // b \\\n c\nd"), ["a", "d"])

    def test_comment_marks_inside_texts_are_text(self):
        self.assertEqual(spellings(r'''"/*" '"' "\"//" x'''), ['"/*"', """'"'""", r'"\"//"', "x"])

    def test_raw_strings_end_at_their_own_mark(self):
        self.assertEqual(spellings('R"x(a)" // )y" )x" b u8R"(c\n")"_s'), ['R"x(a)" // )y" )x"', "b", 'u8R"(c\n")"_s'])

    def test_a_digit_separator_begins_no_character(self):
        self.assertEqual(spellings("1'000'000 + 'a' 0x1p-3 1.5e+10f .5"),
                         ["1'000'000", "+", "'a'", "0x1p-3", "1.5e+10f", ".5"])

    def test_the_longest_operator_wins(self):
        self.assertEqual(spellings("a<<=b->*c...d::e--- f"),
                         ["a", "<<=", "b", "->*", "c", "...", "d", "::", "e", "--", "-", "f"])

    def test_preprocessor_lines_are_tokens_and_a_header_name_is_one(self):
        self.assertEqual(spellings('#include <a/b.h>\n#include "c.h"\n# define D(e) \\\n  #e < f > g\n'),
                         ["#", "include", "<a/b.h>", "#", "include", '"c.h"', "#", "define", "D", "(", "e", ")", "#", "e",
                          "<", "f", ">", "g"])

    def test_an_open_comment_or_text_is_a_mistake(self):
        for text in ("/* a", '"a', "'a", 'R"x(a)y"', '"a\nb"'):
            with self.assertRaises(script.Mistake, msg=text):
                script.tokens(text)


class Count(unittest.TestCase):
    def test_texts_are_counted_apart_and_pieces_in_a_row_are_one(self):
        self.assertEqual(script.count('f("a" /* b */ "c"\n u8"d", \'e\', "g");'), (7, 2))


class Rooms(unittest.TestCase):
    def test_the_longest_folder_decides(self):
        self.assertEqual(script.room_of("include/trq/geometry.h"), "include/trq")
        self.assertEqual(script.room_of("include/trq/core/stl.h"), "include/trq/core")
        self.assertEqual(script.room_of("tools/trqprep/cli/main.cpp"), "tool")
        self.assertIsNone(script.room_of("tests/geometry/mesh_test.cpp"))


if __name__ == "__main__":
    unittest.main()
