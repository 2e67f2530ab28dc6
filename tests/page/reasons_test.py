#!/usr/bin/env python3
"""The station's sentences that the page knows in Chinese are those that the station says: one that was reworded would be
shown in English to people who cannot read it."""
import json
import pathlib
import re
import unittest

ROOT = pathlib.Path(__file__).resolve().parents[2]
ROOMS = ("line", "link", "plan", "records", "run")


def sentences():
    """(English, Chinese) of the page's catalogue."""
    return json.loads((ROOT / "station/web/page/reasons.json").read_text(encoding="utf-8"))


def said():
    """All texts in the station's sources; those that stand one behind the other are one."""
    text = "".join(path.read_text(encoding="utf-8") for room in ROOMS for path in sorted((ROOT / "station" / room).glob("*.*")))
    return re.sub(r'"\s*"', "", text).replace('\\"', "")


class Reasons(unittest.TestCase):
    def test_each_sentence_is_one_of_the_stations(self):
        sources = said()
        self.assertGreater(len(sentences()), 30)
        for english, _ in sentences():
            for part in re.split(r"[*,;]|the (?:good|bad) check unit", english):
                with self.subTest(sentence=english):
                    self.assertTrue(part.replace('"', "").strip(" :()") in sources, part)

    def test_each_star_has_its_place_in_chinese(self):
        for english, chinese in sentences():
            with self.subTest(sentence=english):
                self.assertLessEqual(set(re.findall(r"\{(\d)\}", chinese)), {str(n + 1) for n in range(english.count("*"))})


if __name__ == "__main__":
    unittest.main()
