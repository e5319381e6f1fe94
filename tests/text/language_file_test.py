"""Judges the built Language.ini by the format alone: whatever the sources hold and make_language_file lets pass.

Usage: language_file_test.py LANGUAGE_INI SOURCE_FOLDER
"""
import pathlib
import re
import sys
import unittest

LANGUAGE_INI = pathlib.Path(sys.argv[1])
SOURCES = pathlib.Path(sys.argv[2])
# A key and its built-in English, wherever they stand together: Phrase("KEY", "text {0}"), Words kName{"KEY", "text"}.
IN_SOURCE = re.compile(r'"([A-Z][A-Z_]{3,})",\s*((?:"(?:[^"\\]|\\.)*"\s*)+)')
NO_KEYS = ["KEY", "HOME", "HOST", "LOGNAME", "SUDO_USER", "USER", "EOF", "VIPS", "XDG_DATA_HOME", "XDG_STATE_HOME", "MISCOMPARE"]
# What a file offers must be readable as a list of languages to choose from.
LANGUAGES = ["English", "German", "French", "Spanish", "Italian", "Portuguese", "Japanese", "Chinese"]
# Pieces of text that go before ": 12".
BEFORE_A_NUMBER = ["READ_PICTURES_TIPS", "THE_SEQUENCE_TIPS"]
# What the program looks up. No two of these may read the same.
KEYS = [key.replace("Total_", "Total ") for key in """WINDOW_TITLE Fit_Size_For_LCD Save_All Add DownLoad Delete Delete_All Information: Rotate Scale: Translate_X
    Translate_Y Total_Picture Current DEVICE_ONLINE_TIPS READ_INITIAL_INFO_FALSE_TIPS READ_PICS_LIST_FALSE_TIPS
    READ_PICS_FALSE_TIPS DEVICE_NOT_ONLINE_TIPS READ_PICTURES_TIPS PICTURES_IN_LUMATO_TIPS NO_PICTURES_TIPS
    DOWNLOAD_PICS_TIPS DOWNLOAD_FINISHED_TIPS FAILE_TO_DOWNLOAD_PICS_TIPS THE_SEQUENCE_TIPS CANNOT_PROCESS_TIPS
    CANOT_ADD_ANY_MORE_TIPS CANOT_PROCESS_PICS_TIPS CANNOT_QUIT_TIPS OK_BUTTON EXIT_APPLICATION_TIPS CANCLE_BUTTON
    NO_PIC_TIPS""".split()]
BUTTONS = ["Add", "Save_All", "DownLoad", "Delete", "OK_BUTTON", "CANCLE_BUTTON"]


def sections(text):
    """The sections in order, each a list of (key, text)."""
    result = {}
    current = None
    for line in text.split("\r\n"):
        if line.startswith("["):
            current = result.setdefault(line[1:-1], [])
        elif current is not None and line:
            current.append(tuple(line.split("=", 1)))
    return result


class LanguageFile(unittest.TestCase):
    def setUp(self):
        self.bytes = LANGUAGE_INI.read_bytes()
        self.text = self.bytes[2:].decode("utf-16-le")
        self.sections = sections(self.text)

    def test_lines(self):
        self.assertEqual(self.bytes[:2], b"\xff\xfe")
        self.assertTrue(self.text.endswith("\r\n"))
        self.assertEqual(self.text.count("\r"), self.text.count("\r\n"))
        self.assertEqual(self.text.count("\n"), self.text.count("\r\n"))
        for line in self.text.split("\r\n"):
            self.assertLessEqual(len(line.encode("utf-16-le")), 2048, line)
        # No terminator stands between two code units, where the reader would find it, too.
        body = self.bytes[2:]
        at = body.find(b"\r\0\n\0")
        while at >= 0:
            self.assertEqual(at % 2, 0)
            at = body.find(b"\r\0\n\0", at + 1)

    def test_sections(self):
        self.assertEqual(list(self.sections), ["language"] + LANGUAGES)
        self.assertEqual(self.sections["language"], [("language_1", "English")])
        keys = [key for key, _ in self.sections["English"]]
        self.assertEqual(len(keys), len(set(keys)))
        self.assertTrue(all(key.isascii() for key in keys))
        for language in LANGUAGES:
            self.assertEqual([key for key, _ in self.sections[language]], keys, language)

    def test_every_text_that_is_looked_up(self):
        for language in LANGUAGES:
            texts = dict(self.sections[language])
            found = [texts.get(key) for key in KEYS]
            self.assertNotIn(None, found, language)
            self.assertEqual(sorted(set(found)), sorted(found), language)

    def test_every_phrase_of_the_sources(self):
        english = dict(self.sections["English"])
        seen = set()
        for room in "app backup base device flash jpeg picture platform store vframe".split():
            for path in [*(SOURCES / room).rglob("*.cpp"), *(SOURCES / room).rglob("*.h")]:
                for key, literals in IN_SOURCE.findall(path.read_text()):
                    if key in NO_KEYS:
                        continue
                    text = "".join(re.findall(r'"((?:[^"\\]|\\.)*)"', literals))
                    self.assertTrue(key in english, f"{path}: {key}")
                    self.assertEqual(set(re.findall("{[0-9]*}", english[key])), set(re.findall("{[0-9]*}", text)), key)
                    seen.add(key)
        self.assertGreater(len(seen), 250, "the pattern finds them no more")

    def test_texts(self):
        for language in LANGUAGES:
            for key, text in self.sections[language]:
                with self.subTest(language=language, key=key):
                    self.assertEqual(text, text.strip(" ") or "a text", "empty, or blanks at an end")
                    self.assertLessEqual(len(text.encode()), 511, "too long for a control")
                    self.assertNotRegex(text, "[%\ufffd\0-\x1f\x7f]", "for formatting, from another encoding, or a control")
                    self.assertNotIn("'", text, "a typewriter's apostrophe")
                    self.assertNotIn("...", text)
                    if key in BEFORE_A_NUMBER:
                        self.assertNotIn(text[-1], ":：.!", "a colon follows anyway")
                    if key in BUTTONS:
                        self.assertLessEqual(len(text), 31, "too wide for a button")

    def test_french_blanks(self):
        for key, text in self.sections["French"]:
            for mark in ":?!;":
                for at in (i for i, c in enumerate(text) if c == mark):
                    self.assertIn(text[at - 1], "\u00a0\u202f", key)


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
