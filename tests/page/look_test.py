#!/usr/bin/python3
"""How the line's page looks: readable from three metres, on the screen as a whole, for colour-blind people too."""
import itertools
import math
import re
import unittest

from browser import PageTest
from line_stand_in import PAGE, ended, failure, run, slot

VERDICTS = ("passed", "failed", "error", "stopped", "interrupted")
STATES = ("idle", "waiting", "testing", "locked", *VERDICTS)
SIZES = ((1280, 800), (1920, 1080))
COUNTS = (1, 4, 8)
SCREEN = 24 * 25.4  # millimetres across
DISTANCE = 3000
SMALLEST = DISTANCE / 250  # the height of a capital or digit that can be read from there without effort
QUESTION = {"zh": "补光灯亮了吗?", "en": "Is the light on?"}
LONG = {"zh": "左边第二个红外灯和旁边样品的红外灯一样亮吗?", "en": "Is the second infrared lamp as bright as the sample's?"}
# How people without red or without green receptors see linear red, green and blue (Machado, Oliveira, Fernandes 2009).
EYES = {"all": ((1, 0, 0), (0, 1, 0), (0, 0, 1)),
        "protanopia": ((0.152286, 1.052583, -0.204868), (0.114503, 0.786281, 0.099216), (-0.003882, -0.048116, 1.051998)),
        "deuteranopia": ((0.367322, 0.860646, -0.227968), (0.280085, 0.672501, 0.047413), (-0.011820, 0.042940, 0.968881))}

# What of the page is cut off, or lies over something else.
CUT = """
const cut = [];
const screen = new DOMRect(0, 0, innerWidth, innerHeight);
const within = (inner, outer) => inner.left >= outer.left - 1 && inner.right <= outer.right + 1 &&
    inner.top >= outer.top - 1 && inner.bottom <= outer.bottom + 1;
if (document.documentElement.scrollHeight > innerHeight || document.documentElement.scrollWidth > innerWidth) {
  cut.push("the page");
}
const box = (element) => element.getBoundingClientRect();
for (const element of document.querySelectorAll("body > *")) {
  if (element.checkVisibility() && !within(box(element), screen) && element.tagName !== "MAIN") cut.push(element.outerHTML);
}
for (const tile of document.querySelectorAll(".tile")) {
  if (!within(box(tile), screen)) cut.push("tile " + tile.dataset.slot);
  for (const part of tile.querySelectorAll(".name, .serial, .word, .question, .step-line, progress, .reason, .mark, " +
                                          ".retried, button, .plan, .next, .needed, .failures")) {
    if (part.checkVisibility() && part.innerText !== "" && !within(box(part), box(tile))) cut.push(part.outerHTML);
  }
  const parts = Array.from(tile.children).filter((part) => box(part).height > 0);
  parts.forEach((part, at) => {
    if (at > 0 && box(part).top < box(parts[at - 1]).bottom - 1) cut.push("overlap " + part.outerHTML);
  });
  const body = tile.querySelector(".body");
  if (body.scrollHeight > body.clientHeight + 6) cut.push("body of " + tile.dataset.slot + tile.outerHTML);
  for (const text of tile.querySelectorAll(".name, .serial, .word, .question")) {
    const slack = 0.3 * parseFloat(getComputedStyle(text).fontSize);
    if (text.scrollWidth > text.clientWidth + 1 || text.scrollHeight > text.clientHeight + slack) cut.push(text.outerHTML);
  }
  const failures = tile.querySelector(".failure");
  if (failures && box(failures).bottom > box(tile.querySelector(".failures")).bottom + 1) cut.push(failures.outerHTML);
}
return cut;"""


def example(state, name="1"):
    """A slot in that state, or with that verdict, with everything that it may show."""
    failures = [failure(), failure("rtc", description="RTC 时钟停止", measurements=[])]
    if state in VERDICTS:
        return slot(name, "done", run(2, "AB00012346", verdict=state, retried=state != "interrupted", seconds=47.2,
                                      failures=failures if state in ("failed", "error") else []),
                    reason=None if state == "passed" else "slot 1: 192.0.2.7:36001 closed the connection")
    return {"idle": slot(name, next=True), "waiting": slot(name, "waiting", run(3, "AB00012347", step=None)),
            "testing": slot(name, "testing", run(4, "AB00012348", attempt=2)),
            "question": slot(name, "testing", run(5, "AB00012349", question=QUESTION)),
            "long question": slot(name, "testing", run(5, "AB00012349", question=LONG)),
            "locked": slot(name, "locked", reason="main-board.toml:12:8: unknown key \"parm\"")}[state]


def screens(count):
    """All examples, so many slots at a time, each in a place of its own."""
    states = [*STATES, "question", "long question"]
    for start in range(0, len(states), count):
        shown = (states * 2)[start:start + count]
        yield [example(state, str(number + 1)) for number, state in enumerate(shown)]


def colour(text):
    """The three channels, 0 to 255, of a colour as the browser writes it."""
    return [float(number) for number in re.findall(r"[\d.]+", text)[:3]]


def linear(channels):
    return [c / 12.92 if c <= 0.04045 else ((c + 0.055) / 1.055) ** 2.4 for c in (value / 255 for value in channels)]


def luminance(channels):
    return sum(share * value for share, value in zip((0.2126, 0.7152, 0.0722), linear(channels)))


def contrast(one, other):
    dark, light = sorted((luminance(one), luminance(other)))
    return (light + 0.05) / (dark + 0.05)


def seen(channels, eyes):
    """A colour as L*, a*, b*: equal distances look equally different."""
    red, green, blue = (min(1, max(0, sum(a * b for a, b in zip(row, linear(channels))))) for row in EYES[eyes])
    xyz = (0.4124 * red + 0.3576 * green + 0.1805 * blue) / 0.95047, 0.2126 * red + 0.7152 * green + 0.0722 * blue, \
        (0.0193 * red + 0.1192 * green + 0.9505 * blue) / 1.08883
    x, y, z = (t ** (1 / 3) if t > 0.008856 else 7.787 * t + 16 / 116 for t in xyz)
    return 116 * y - 16, 500 * (x - y), 200 * (y - z)


class Look(PageTest):
    screens = None  # what was found on each: looked at once, for two tests

    def each_screen(self):
        """Every state, in both languages, at both sizes, with 1, 4 and 8 slots: what it is, the height of a pixel, what
        must be readable, what is cut off."""
        if Look.screens is None:
            Look.screens = list(self.look_at_each_screen())
        return Look.screens

    def look_at_each_screen(self):
        self.line.runs = [ended(n, VERDICTS[n % 5]) for n in range(20)]
        self.open(example("idle"))
        for language in ("zh", "en"):
            self.script("const list = document.querySelector('#language'); list.value = arguments[0];"
                        "list.dispatchEvent(new Event('change'))", language)
            for size in SIZES:
                self.resize(*size)
                for count in COUNTS:
                    for slots in screens(count):
                        self.show(*slots)
                        yield (f"{language} {size} {count} {[each['state'] for each in slots]}", SCREEN / math.hypot(*size),
                               self.measure(".tile .name, .tile .serial, .tile[data-state=done] .word, .question"),
                               self.script(CUT))

    def test_slot_serial_number_verdict_and_question_are_readable_from_three_metres_on_a_24_inch_screen(self):
        for screen, pixel, texts, _ in self.each_screen():
            for text in texts:
                if text["text"] and len(text["text"]) < 20:  # a question may be long; then it is read from nearer
                    self.assertGreaterEqual(text["digits"] * pixel, SMALLEST, f"{screen}: {text['text']}")

    def test_no_tile_leaves_the_screen_and_nothing_that_matters_is_cut_off(self):
        for screen, _, _, cut in self.each_screen():
            self.assertEqual(cut, [], screen)

    def test_long_names_and_serial_numbers_become_smaller_and_are_there_as_a_whole(self):
        self.open(*[slot(f"LEFT-BENCH-{n:05}", "testing", run(n, "SN-2026-11-22-ABCDEFGH-0001")) for n in range(8)])
        for element in self.measure(".name, .serial"):
            self.assertTrue(element["text"].endswith(("0001", element["text"][-5:])))
        cut = "return Array.from(document.querySelectorAll('.name, .serial')).filter(e => e.scrollWidth > e.clientWidth + 1).length"
        self.assertEqual(self.script(cut), 0)

    def test_texts_have_a_contrast_of_four_and_a_half_to_one(self):
        colours = """
          return Array.from(document.querySelectorAll("body *"), (element) => {
            const own = Array.from(element.childNodes).some((node) => node.nodeType === 3 && node.data.trim() !== "");
            if (!own || !element.checkVisibility({ checkVisibilityCSS: true })) return null;
            let ground = element;
            while (ground && getComputedStyle(ground).backgroundColor === "rgba(0, 0, 0, 0)") ground = ground.parentElement;
            return [element.innerText, getComputedStyle(element).color, getComputedStyle(ground).backgroundColor];
          }).filter((found) => found !== null)"""
        self.line.runs = [ended(n, VERDICTS[n % 5]) for n in range(10)]
        self.line.answer("/api/scan", 409, {"error": "no"})
        self.open(example("idle"), records="full", central={"state": "waiting", "behind": 3})
        self.scan("AB1")
        self.message("no")
        for slots in screens(8):
            self.show(*slots, central={"state": "waiting", "behind": self.line.document["central"]["behind"] + 1})
            for text, ink, ground in self.script(colours):
                self.assertGreaterEqual(contrast(colour(ink), colour(ground)), 4.5, f"{text}: {ink} on {ground}")
        self.line.freeze()
        self.advance(3000)
        for text, ink, ground in self.script(colours):
            self.assertGreaterEqual(contrast(colour(ink), colour(ground)), 4.5, f"{text}: {ink} on {ground}, lost")

    troubled = ("status of 409", "ERR_")

    def test_states_and_verdicts_differ_for_people_who_do_not_see_red_or_green(self):
        self.open(*[example(state, state) for state in STATES])
        ground = "return getComputedStyle(document.querySelector(`[data-slot=${arguments[0]}]`)).backgroundColor"
        colours = {state: colour(self.script(ground, state)) for state in STATES}
        shades = {"idle", "waiting", "testing"}  # of one colour, the more the nearer to a verdict
        for eyes, (one, other) in itertools.product(EYES, itertools.combinations(STATES, 2)):
            apart = math.dist(seen(colours[one], eyes), seen(colours[other], eyes))
            self.assertGreater(apart, 10 if {one, other} <= shades else 20, f"{one} and {other}: {eyes}")

    def test_a_question_is_as_large_as_a_verdict(self):
        for size in SIZES:
            self.open(example("question", "1"), example("failed", "2"), *[example("idle", str(n)) for n in range(3, 9)], size=size)
            question, = self.measure(".question")
            verdict, = self.measure("[data-slot='2'] .word")
            self.assertGreaterEqual(question["digits"], verdict["digits"])

    def test_more_slots_than_fit_keep_their_size_and_are_reached_by_scrolling(self):
        self.open(*[example("passed", str(n)) for n in range(40)])
        self.assertGreater(self.measure("[data-slot='39']")[0]["height"], 150)
        self.assertEqual(self.script("return document.documentElement.scrollHeight <= innerHeight"), True)


class Files(PageTest):
    def test_the_catalogue_of_words_is_complete_in_both_languages(self):
        self.open(slot("1"))
        words, signs = self.driver.execute_async_script(
            "import('/page/words.js').then(({words, signs}) => arguments[0]([words, signs]))")
        self.assertEqual(sorted(words), ["en", "zh"])
        self.assertEqual(list(words["zh"]), list(words["en"]))
        for key in words["en"]:
            names = [sorted(re.findall(r"\{\w+\}", words[language][key])) for language in words]
            self.assertEqual(names[0], names[1], key)
            self.assertTrue(words["zh"][key].strip() and words["en"][key].strip(), key)
            self.assertNotRegex(words["en"][key], "[\u3000-\uffff]", key)
        self.assertEqual(sorted(signs), sorted(VERDICTS))
        texts = "".join((PAGE / name).read_text() for name in self.names() if name != "words.js")
        used = set(re.findall(r"""word\(["'](\w+)["']""", texts)) | set(re.findall(r'data-(?:word|hint|label)="(\w+)"', texts))
        self.assertGreater(len(used), 30)
        self.assertEqual(used - set(words["en"]), set())

    def names(self):
        return sorted(path.name for path in PAGE.iterdir() if path.suffix in (".html", ".css", ".js", ".svg"))

    def test_the_pages_files_name_no_other_place_and_need_no_style_or_script_of_their_own(self):
        for name in self.names():
            text = (PAGE / name).read_text().replace('xmlns="http://www.w3.org/2000/svg"', "")
            self.assertNotRegex(text, r"\w+://|url\(|@import", name)
            self.assertNotRegex(text, r"innerHTML|outerHTML|insertAdjacent|document\.write|\beval\(", name)
            if name.endswith(".html"):
                self.assertNotRegex(text, r"\sstyle=|\son\w+=|<style|<script(?![^>]*src=)", name)

    def test_every_file_of_the_page_is_asked_for_below_the_path_under_which_it_is_served(self):
        self.open(slot("1"))
        self.driver.get(self.line.url + "login")
        self.until(lambda: self.text("h1") != "")
        asked = set(self.line.paths) | {f"/page/{name}" for name in ("results.css", "results.js", "times.js")}  # below /results
        self.assertEqual({f"/page/{name}" for name in self.names() if not name.endswith(".html")} - asked,
                         {"/page/icon.svg"} - asked)  # a browser without a window asks for no icon


if __name__ == "__main__":
    unittest.main()
