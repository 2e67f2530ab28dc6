#!/usr/bin/env python3
"""The operator's card says what the page says, in its words and colours, and is one sheet of A4."""
import base64
import pathlib
import re
import sys
import unittest

sys.dont_write_bytecode = True  # nothing is left beside the sources
from browser import start_chromium  # noqa: E402

ROOT = pathlib.Path(__file__).resolve().parents[2]
CARD = ROOT / "docs" / "operator-card.html"
PAGE = ROOT / "station" / "web" / "page"
STATES = ("idle", "waiting", "testing", "locked", "passed", "failed", "error", "stopped", "interrupted")
WORDS = ("next", "retried", "acknowledge", "acknowledge_needed", "lost_banner", "records_banner", "refused", "operator",
         "connection", "records", "central", "central_waiting", "yes", "no")
REASONS = ("需要点检", "送修，放行后才能再测", "its check is due", "to repair, until it is released")  # of locks and refusals
A4 = (595, 842)  # points


def page_words():
    """The page's catalogue: {language: {key: text}}."""
    text = (PAGE / "words.js").read_text(encoding="utf-8")
    languages = re.findall(r"^  (\w+): \{\n(.*?)^  \},", text, re.M | re.S)
    return {language: dict(re.findall(r'^    (\w+): "(.*)",$', body, re.M)) for language, body in languages}


def page_signs():
    """The sign before each verdict's word."""
    (body,) = re.findall(r"signs = \{(.*?)\}", (PAGE / "words.js").read_text(encoding="utf-8"))
    return dict(re.findall(r'(\w+): "(.)"', body))


def colours(path):
    """The colours that a style names, of its first :root."""
    (body,) = re.findall(r"^:root \{(.*?)^\}", path.read_text(encoding="utf-8"), re.M | re.S)
    return dict(re.findall(r"--([\w-]+): (#\w+);", body))


class Card(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.driver = start_chromium()
        cls.driver.get(CARD.as_uri())

    @classmethod
    def tearDownClass(cls):
        cls.driver.quit()

    def test_each_state_stands_there_with_the_pages_sign_and_word_in_both_languages(self):
        words, signs = page_words(), page_signs()
        shown = dict(self.driver.execute_script(
            "return Array.from(document.querySelectorAll('[data-state]'), (cell) => [cell.dataset.state, cell.innerText])"))
        self.assertEqual(set(shown), set(STATES))
        for state in STATES:
            sign = f"{signs[state]} " if state in signs else ""
            self.assertEqual(shown[state].split("\n"), [sign + words["zh"][state], sign + words["en"][state]], state)

    def test_what_else_the_page_says_is_quoted_as_the_page_says_it(self):
        text = " ".join(self.driver.execute_script("return document.body.textContent").split())
        for language, words in page_words().items():
            for key in WORDS:
                with self.subTest(language=language, key=key):
                    self.assertIn(re.split(r"[：:]? ?\{", words[key])[0], text)
        station = (PAGE / "reasons.json").read_text(encoding="utf-8")
        for reason in REASONS:
            with self.subTest(reason=reason):
                self.assertTrue(reason in text and reason in station)

    def test_its_colours_are_the_pages(self):
        page = colours(PAGE / "line.css")
        for name, colour in colours(CARD).items():
            self.assertEqual(colour, page.get(name), name)
        for state in STATES:
            self.assertEqual(self.driver.execute_script(
                "const cell = document.querySelector(`[data-state=${arguments[0]}]`), probe = document.createElement('i');"
                "probe.style.background = arguments[1]; probe.style.color = arguments[2]; document.body.append(probe);"
                "const of = ({ backgroundColor, color }) => [backgroundColor, color];"
                "const same = String(of(getComputedStyle(cell))) === String(of(getComputedStyle(probe)));"
                "probe.remove(); return same", state, page[state], page[f"on-{state}"]), True, state)

    def test_it_is_one_file_and_prints_on_one_sheet_of_a4(self):
        self.assertIsNone(re.search(r"<script|<link|<img|url\(|https?:", CARD.read_text(encoding="utf-8")))
        printed = self.driver.execute_cdp_cmd("Page.printToPDF", {"preferCSSPageSize": True, "printBackground": True})
        pdf = base64.b64decode(printed["data"])
        self.assertEqual(len(re.findall(rb"/Type\s*/Page\b", pdf)), 1)
        box = re.search(rb"/MediaBox\s*\[0 0 ([\d.]+) ([\d.]+)\]", pdf)
        self.assertEqual(tuple(round(float(side)) for side in box.groups()), A4)
        self.driver.execute_cdp_cmd("Emulation.setEmulatedMedia", {"media": "print"})
        self.assertEqual(self.driver.execute_script("return document.body.scrollHeight - document.body.clientHeight"), 0)


if __name__ == "__main__":
    unittest.main()
