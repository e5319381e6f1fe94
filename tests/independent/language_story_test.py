"""What `lumatoctl text` finds in language files: as they should be, of odd lines, and such as are none.

    python3 language_story_test.py LUMATOCTL BUILT_LANGUAGE_INI [unittest arguments]
"""
import os
import shutil
import unittest

import story
from story import Story

LONGEST = "x" * 1022
ROWS = [  # what, the file, section, key, and its text; None: the default
    ("an entry", "[s]\r\nk=text\r\n", "s", "k", "text"), ("a last line without an end", "[s]\r\nk=text", "s", "k", "text"),
    ("an empty text", "[s]\r\nk=\r\n", "s", "k", ""),
    ("blanks and more equals signs", "[s]\r\nk= a=b = \r\n", "s", "k", " a=b = "),
    ("a later section", "[r]\r\nk=r\r\n[s]\r\nk=s\r\n", "s", "k", "s"),
    ("other lines", "[s]\r\n\r\n; k=no\r\nnothing\r\nk=text\r\n", "s", "k", "text"),
    ("lone breaks", "[s]\r\nk=a\nb\rc\r\n", "s", "k", "a\nb\rc"),
    ("a key with a blank and a colon", "[s]\r\nTotal Picture=1\r\nScale:=2\r\n", "s", "Scale:", "2"),
    ("a section and a key beyond ASCII", "[日]\r\nü=text\r\n", "日", "ü", "text"),
    ("the first of two entries", "[s]\r\nk=1\r\nk=2\r\n", "s", "k", "1"),
    ("the first of two sections", "[s]\r\na=1\r\n[s]\r\nk=2\r\n", "s", "k", None),
    ("the section's end", "[s]\r\n[\r\nk=2\r\n", "s", "k", None),
    ("a key that begins with a bracket", "[s]\r\n[k=2\r\n", "s", "[k", None),
    ("a blank before the equals sign", "[s]\r\nk =1\r\n", "s", "k", None),
    ("a blank before the key", "[s]\r\n k=1\r\n", "s", "k", None),
    ("the tail of a key", "[s]\r\nOK_BUTTON=1\r\n", "s", "BUTTON", None),
    ("the head of a key", "[s]\r\nDelete_All=1\r\n", "s", "Delete", None),
    ("another letter case of a key", "[s]\r\nK=1\r\n", "s", "k", None),
    ("another letter case of a section", "[S]\r\nk=1\r\n", "s", "k", None),
    ("a header with a blank", "[s] \r\nk=1\r\n", "s", "k", None),
    ("a header with something before", " [s]\r\nk=1\r\n", "s", "k", None),
    ("an entry above all headers", "k=1\r\n[s]\r\n", "s", "k", None), ("line feeds only", "[s]\nk=1\n", "s", "k", None),
    ("no section at all", "", "s", "k", None), ("the section of no name", "[]\r\nk=1\r\n", "", "k", "1"),
    ("lone surrogates and a zero", "[s]\r\nk=a\ud800b\udc00\0c", "s", "k", "a\ufffdb\ufffd\0c"),
    ("a line of 1024 code units", "[s]\r\nk=" + LONGEST + "\r\n", "s", "k", LONGEST),
    ("one above a longer one", "[s]\r\na=1\r\nb=x" + LONGEST, "s", "a", "1"),
    ("one below a longer one", "[s]\r\nb=x" + LONGEST + "\r\nk=1", "s", "k", None),
    ("a header below a longer one", "xxx" + LONGEST + "\r\n[s]\r\nk=1", "s", "k", None)]


def marked(text):
    return b"\xff\xfe" + text.encode("utf-16-le", "surrogatepass")


class Language(Story):
    def text(self, key, section=None, home=None):
        """None: the default."""
        more = [] if section is None else ["--section", section]
        found = self.run_bare("--home", home or self.home, "--json", "text", *more, "--", key, "default")
        self.assertEqual(found.returncode, 0, found.stderr)
        answer = story.json.loads(found.stdout)["text"]
        return None if answer == "default" else answer

    def put(self, data):
        self.write("home/Language.ini", data if isinstance(data, bytes) else marked(data))

    def test_what_the_format_says(self):
        for what, content, section, key, text in ROWS:
            with self.subTest(what=what):
                self.put(content)
                self.assertEqual(self.text(key, section), text)

    def test_other_files(self):
        self.assertIsNone(self.text("k", "s"), "none")
        for data in (b"", b"\xff", b"\xff\xfe", b"\xff\xfea", b"\xfe\xff\0[\0s\0]", b"\xef\xbb\xbfa", b"[\0s\0"):
            self.put(data)
            self.assertIsNone(self.text("k", "s"), data)
        self.put("[s]\r\nk=1\r\n")
        for more, text in ((0, "1"), (1, None)):  # the largest, or a huge one
            os.truncate(self.home + "/Language.ini", (16 << 20) + more)
            self.assertEqual(self.text("k", "s"), text)

    def test_odd_bytes_and_shifted_lines_are_read_as_far_as_they_go(self):
        for behind, text in ((b"c", "ab"), (b"\r\0\n", "ab\r"), ("\n\rd\r\r\n".encode("utf-16-le"), "ab\n\rd\r"),
                             # The odd byte shifts the terminator behind it, which is found all the same; so it is between
                             # the code units U+0D41, U+0A00 and U+4200.
                             (b"c" + "\r\nl=2\r\n".encode("utf-16-le"), "ab"), (b"\x41\x0d\0\x0a\0\x42\x43", "ab")):
            self.put(marked("[s]\r\nk=ab") + behind)
            self.assertEqual(self.text("k", "s"), text)
            self.assertEqual(self.text("l", "s"), "2" if b"2" in behind else None, "the next line, shifted with it")

    def test_a_path_holds_511_bytes(self):
        self.put("[s]\r\nk=text\r\n")
        for length, text in ((511, "text"), (512, None)):
            self.assertEqual(self.text("k", "s", self.home + "/" * (length - len(self.home + "Language.ini"))), text)

    def test_the_chosen_language(self):
        self.put("[language]\r\nlanguage_1=日本\r\n[English]\r\nk=en\r\n[日本]\r\nk=画像 🖼\r\n")
        self.assertEqual([self.text("k"), self.text("other"), self.text("k", "English")], ["画像 🖼", None, "en"])
        self.put("[language]\r\nlanguage_1=Missing\r\n[English]\r\nk=en\r\n")
        self.assertIsNone(self.text("k"), "no second choice")
        self.put("[English]\r\nk=en\r\n[]\r\n")
        self.assertEqual(self.text("k"), "en")
        shutil.copyfile(BUILT, self.home + "/Language.ini")
        self.assertEqual([self.text("language_1", "language"), self.text("CANCLE_BUTTON", "German"), self.text("Add", "Japanese")],
                         ["English", "Abbrechen", "追加"])


if __name__ == "__main__":
    _, BUILT = story.take_files(__doc__, 2)
    unittest.main()
