#!/usr/bin/python3
"""The engineer's pages and the reports that are files, over two days of records."""
import base64
import csv
import itertools
import json
import pathlib
import re
import subprocess
import sys
import unittest
import urllib.parse
import urllib.request

from browser import PageTest
from filled_records import HOSTILE, FilledLine
from junitparser import Error, Failure, JUnitXml, Skipped
from real_line import PASSWORD, RealLine

PROGRAM = sys.argv.pop(1)
ALL = "results?from=2026-01-01"  # the window without a question: all that was filled in
PAPER = 695  # pixels between the margins of A4
OTHERS_WORDS = {"en": "[\u3000-\u9fff]", "zh": r"\b(Runs?|Steps?|Slots?|Plan|Show|Verdict|Units?)\b"}


def share(part, of):
    return f"{100 * part / of:.1f} %" if of else "–"


class Results(PageTest):
    @classmethod
    def setUpClass(cls):
        super().setUpClass()
        cls.filled = FilledLine(PROGRAM)
        cls.addClassCleanup(cls.filled.close)

    def setUp(self):
        super().setUp()
        self.line.close()
        self.line = self.filled

    def visit(self, path, language="en", size=(1280, 800)):
        self.resize(*size)
        query = f"{'&' if '?' in path else '?'}language={language}" if language else ""
        self.driver.get(self.line.url + path + query)
        self.ready()

    def ready(self):
        self.until(lambda: self.script("return document.body?.dataset.ready") == "true")

    def ask(self, path):
        with urllib.request.urlopen(urllib.parse.urljoin(self.line.url, path)) as answer:
            return answer.read().decode()

    def rows(self, selector, columns):
        """The texts of some cells of each row of a table."""
        return self.script("""
          return Array.from(document.querySelectorAll(arguments[0]), (row) =>
            arguments[1].map((at) => row.cells[at].innerText.trim()))""", selector, list(columns))

    def sheets(self):
        """Prints the page, which fits the paper; how many sheets it is."""
        self.command("Emulation.setEmulatedMedia", media="print")
        self.resize(PAPER, 1000)
        self.assertTrue(self.script("return document.documentElement.scrollWidth <= innerWidth"))
        self.command("Emulation.setEmulatedMedia", media="")
        pdf = base64.b64decode(self.command("Page.printToPDF", preferCSSPageSize=True, printBackground=True)["data"])
        self.assertTrue(pdf.startswith(b"%PDF"))
        return len(re.findall(rb"/Type\s*/Page\b(?!s)", pdf))


class Waiting(Results):
    def test_a_page_whose_figures_take_a_while_says_that_they_are_read(self):
        for language, words in (("en", "Reading the records …"), ("zh", "正在读取记录…")):
            self.visit(ALL, language)
            self.assertEqual(self.text("#reading"), "")
            self.script("dispatchEvent(new Event('beforeunload'))")
            self.until(lambda: self.text("#reading") == words)
            self.script("dispatchEvent(new Event('pageshow'))")
            self.assertEqual(self.text("#reading"), "")


class Figures(Results):
    def test_every_figure_is_the_interfaces(self):
        for plan in ("", "k-board"):
            stats = json.loads(self.ask(f"api/stats?from=2026-01-01&plan={plan}"))
            self.visit(f"{ALL}&plan={plan}")
            for name in ("first_pass_yield", "first_pass_yield_strict", "final_yield"):
                self.assertEqual(self.text(f"[data-figure={name}] b"), f"{100 * stats[name]:.1f} %")
            self.assertEqual(self.text("[data-figure=runs] b"), str(stats["runs"]))
            for verdict in stats["verdicts"]:
                found = self.rows(f"tr[data-verdict={verdict['verdict'] or 'open'}]", [1])
                self.assertEqual(found, [[str(verdict["runs"])]] if verdict["verdict"] or verdict["runs"] else [])
            self.assertEqual(self.rows("[data-figures=failures] tbody tr", [1, 4, 5]),
                             [[str(kind["runs"]), kind["plan"], kind["step"]] for kind in stats["failures"]])
            self.assertEqual(self.rows("[data-figures=slots] tbody tr", [1, 2, 3, 4]),
                             [[slot["slot"], str(slot["runs"]), str(slot["not_passed"]), share(slot["not_passed"], slot["runs"])]
                              for slot in stats["slots"]])
            self.assertEqual(self.rows("[data-figures=steps] tbody tr", [0, 2, 3, 4, 6, 7]),
                             [[step["plan"], str(step["runs"]), str(step["attempts"]),
                               share(step["outcomes"].get("failed", 0), step["attempts"]), str(step["retried"]["runs"]),
                               f"{step['median']:.3g}"] for step in stats["steps"]])
            cpk = [one["capability"] for one in stats["measurements"]]
            self.assertEqual(self.script("return Array.from(document.querySelectorAll('[data-figure=cpk]'), "
                                         "({innerText}) => innerText.split(' ')[0])"), [f"{one['cpk']:.5g}" for one in cpk])
            self.assertEqual(self.count("[data-measurement] rect"),
                             sum(bar["values"] > 0 for one in stats["measurements"] for bar in one["histogram"]))

    def test_slots_that_differ_from_the_others_are_marked(self):
        self.visit(ALL)
        slots = json.loads(self.ask("api/stats"))["slots"]
        marked = [[slot["slot"], "worse than the others" if slot["not_passed"] / slot["runs"] > slot["others"]["not_passed"] /
                   slot["others"]["runs"] else "better than the others"] for slot in slots if slot["marked"]]
        self.assertIn(["3", "worse than the others"], marked)
        self.assertEqual(self.rows("tr[data-marked]", [1, 8]), marked)

    def test_every_figure_leads_to_its_runs_and_these_to_their_reports(self):
        self.visit(ALL)
        links = self.script("return Array.from(document.querySelectorAll('main a[href]:not([href^=\"/results\"])'), "
                            "(a) => [a.getAttribute('href'), a.dataset.runs])")
        self.assertGreater(len(links), 60)
        for target, number in links:
            self.assertEqual(self.ask(target).count(" data-run="), min(int(number), 100), target)
        self.click("[data-figures=failures] a.runs")
        self.ready()
        self.click("tr[data-run] a")
        self.ready()
        self.assertEqual(self.text(".verdict.large"), "✕ FAIL")
        self.assertEqual(self.script("return atob(document.querySelector('[data-bytes=request]').textContent)"),
                         self.script("return document.querySelector('[data-message=request]').textContent"))

    def test_older_runs_follow_on_pages_of_their_own_and_none_is_missing(self):
        self.visit("runs?kind=production")
        seen = []
        while True:
            seen += self.script("return Array.from(document.querySelectorAll('[data-run]'), ({dataset}) => dataset.run)")
            if self.count("#older") == 0:
                break
            self.click("#older")
            self.ready()
        self.assertEqual(len(seen), json.loads(self.ask("api/stats"))["runs"])
        self.assertEqual(seen, sorted(set(seen), reverse=True))

    def test_a_unit_is_found_by_its_serial_number(self):
        self.visit("results")
        self.type("AB00000007")
        self.enter()
        self.until(lambda: "search=AB00000007" in self.driver.current_url)
        self.ready()
        self.assertEqual(set(self.script("return Array.from(document.querySelectorAll('tr[data-run] a'), "
                                         "({textContent}) => textContent)")), {"AB00000007"})
        self.visit("runs?serial=nobody")
        self.assertEqual(self.text(".nothing"), "There are no such runs.")

    def test_a_boards_words_stay_words(self):
        self.visit(ALL)
        self.assertIn(HOSTILE, self.text("[data-figures=failures]"))
        self.assertEqual(self.count("script"), 1)
        self.assertEqual(self.count("[data-figures] b"), 0)


class Window(Results):
    def test_times_are_the_browsers_and_what_is_asked_is_utc_in_summer_and_winter(self):
        self.command("Emulation.setTimezoneOverride", timezoneId="Europe/Berlin")
        self.addCleanup(self.command, "Emulation.setTimezoneOverride", timezoneId="")
        self.visit("results?from=2026-03-28T23:00:00.000Z&to=2026-10-25T01:30:00.000Z")
        self.assertRegex(self.text("#zone"), r"^Europe/Berlin \(UTC\+[12]\)$")
        self.assertEqual(self.text(".window"), "2026-03-29 00:00:00 UTC+1 – 2026-10-25 02:30:00 UTC+1 · all plans")
        self.script("document.querySelector('#from').value = '2026-03-29T03:30'")
        self.click("#window button")
        self.until(lambda: "from=2026-03-29T01%3A30%3A00.000Z" in self.driver.current_url)
        self.ready()
        # Clocks show half past two twice on this morning: nobody has touched the second one.
        self.assertIn("to=2026-10-25T01%3A30%3A00.000Z", self.driver.current_url)
        self.assertEqual(self.text(".window time"), "2026-03-29 03:30:00 UTC+2")
        self.click("[data-days='0']")
        self.until(lambda: "to=&" in self.driver.current_url)
        self.ready()
        self.assertRegex(self.script("return document.querySelector('#from').value"), "T00:00$")

    def test_a_window_of_one_plan_shows_that_plan_alone(self):
        self.visit(ALL)
        self.script("document.querySelector('#plan').value = 'k-board'")
        self.click("#window button")
        self.until(lambda: "plan=k-board" in self.driver.current_url)
        self.ready()
        self.assertEqual({plan for plan, in self.rows("[data-figures=steps] tbody tr", [0])}, {"k-board"})


    def test_from_batch_to_batch_one_comes_to_the_units(self):
        self.visit(ALL)
        begin = ""
        for _ in range(2):
            stats = json.loads(self.ask(f"api/stats?batch={begin}"))
            begin, units = stats["batches"][0]["begin"], stats["batches"][0]["units"]
            self.assertEqual(self.rows("[data-figures=batches] tbody tr", (0, 1)),
                             [[batch["begin"], str(batch["units"])] for batch in stats["batches"]])
            self.click("[data-figures=batches] td a")
            self.until(lambda: self.script("return document.querySelector('#batch')?.value") == begin)
            self.ready()
            self.assertIn(f"{units} units", self.text("[data-figure=runs]"))
            self.assertIn(f"serial numbers that begin with {begin}…", self.text(".window"))
        self.script("document.querySelector('#batch').value = 'XY'")
        self.click("#window button")
        self.until(lambda: "batch=XY" in self.driver.current_url)
        self.ready()
        self.assertEqual(self.text(".nothing"), "There are no runs in this window.")


class Looks(Results):
    def test_both_languages_fit_both_screens(self):
        run = json.loads(self.ask("api/runs?verdict=failed&limit=1"))["runs"][0]["id"]
        for language, (size, path) in itertools.product(("zh", "en"), (
                ((1280, 800), ALL), ((1920, 1080), ALL), ((1280, 800), "runs?verdict=failed"), ((1920, 1080), f"runs/{run}"))):
            self.visit(path, language, size)
            where = f"{language} {size} {path}"
            self.assertTrue(self.script("return document.documentElement.scrollWidth <= innerWidth"), where)
            self.assertEqual(self.script("""
              return Array.from(document.querySelectorAll("td, th, h2, h3, button, .tile, .card"))
                .filter((one) => one.scrollWidth > one.clientWidth + 1 && one.checkVisibility())
                .map((one) => one.textContent)"""), [], where)
            for text in self.script("return Array.from(document.querySelectorAll("
                                    "'h2, th, label > span, button, .note, .tile > span'), ({innerText}) => innerText)"):
                self.assertNotRegex(text, OTHERS_WORDS[language], where)

    def test_the_chosen_language_is_taken_at_once_and_remembered(self):
        self.visit("results", language=None)
        self.assertEqual(self.find("html").get_attribute("lang"), "en")
        self.script("const list = document.querySelector('#language'); list.value = 'zh';"
                    "list.dispatchEvent(new Event('change'))")
        self.until(lambda: self.script("return document.documentElement.lang") == "zh-CN")
        self.visit("runs", language=None)
        self.until(lambda: self.script("return document.documentElement.lang") == "zh-CN")
        self.ready()
        self.script("localStorage.clear()")

    def test_on_paper_there_are_figures_and_no_fields(self):
        self.visit(ALL)
        self.assertGreater(self.sheets(), 1)
        self.command("Emulation.setEmulatedMedia", media="print")
        self.addCleanup(self.command, "Emulation.setEmulatedMedia", media="")
        self.assertFalse(self.shown("#window") or self.shown(".top"))
        self.assertTrue(self.shown(".histogram"))


class Tables(Results):
    def test_a_spreadsheet_reads_the_same_in_utf_8_and_in_gbk_and_no_words_are_a_formula(self):
        path = self.line.path("runs.csv")
        tables = []
        for words, encoding in (((), "utf-8-sig"), (("--gbk",), "gbk")):
            subprocess.run([PROGRAM, "records", "export", self.line.path("records.db"), "--format", "csv", "-o", path, *words],
                           check=True)
            self.assertEqual(pathlib.Path(path).read_bytes().startswith(b"\xef\xbb\xbf"), not words)
            with open(path, newline="", encoding=encoding) as file:
                tables.append(list(csv.DictReader(file, strict=True)))
        self.assertEqual(*tables)
        words = {row["description"] for row in tables[0]}
        self.assertIn("'" + HOSTILE, words)
        self.assertIn("测试成功", words)
        self.assertEqual([text for row in tables[0] for text in row.values() if text[:1] in ("=", "+", "-", "@")], [])


    def export(self, form, name):
        path = self.line.path(name)
        subprocess.run([PROGRAM, "records", "export", self.line.path("records.db"), "--format", form, "-o", path], check=True)
        return path

    def test_a_build_server_finds_every_run_in_junit_and_only_those_that_passed_are_green(self):
        runs = [json.loads(line) for line in pathlib.Path(self.export("jsonl", "runs.jsonl")).read_bytes().splitlines()]
        suites = list(JUnitXml.fromfile(self.export("junit", "runs.xml")))
        self.assertEqual(len(suites), len(runs))
        for run, suite in zip(runs, suites):
            properties = {its.name: its.value for its in suite.properties()}
            self.assertEqual((properties["run"], properties.get("verdict"), suite.hostname), (run["id"], run["verdict"], run["station"]))
            cases = list(suite)
            self.assertEqual([case.name.partition(",")[0] for case in cases if case.name != "verdict"],
                             [attempt["step"] for attempt in run["attempts"]])
            results = [type(result) for case in cases for result in case.result]
            self.assertEqual((suite.tests, suite.failures, suite.errors, suite.skipped),
                             (len(cases), *map(results.count, (Failure, Error, Skipped))))
            is_green = Failure not in results and Error not in results
            self.assertEqual(is_green, run["verdict"] == "passed" and not run["retried"], run["id"])


class ReportFile:
    """A report in place of a station: nothing but the file may be asked for."""

    def __init__(self, path):
        self.url = pathlib.Path(path).as_uri()


class Files(Results):
    def export(self, *words):
        path = self.filled.path("report.html")
        subprocess.run([PROGRAM, "records", "export", self.filled.path("records.db"), "--format", "html", "-o", path, *words],
                       check=True)
        self.line = ReportFile(path)
        self.driver.get(self.line.url)

    def tearDown(self):
        super().tearDown()
        self.line = self.filled

    def test_an_html_checker_has_nothing_to_say_of_a_report(self):
        run = json.loads(self.ask("api/runs?verdict=failed&limit=1"))["runs"][0]
        for words in (("--run", run["id"]), ("--plan", "main-board"), ("--serial", run["serial"], "--language", "zh")):
            self.export(*words)
            path = urllib.parse.urlsplit(self.line.url).path
            checked = subprocess.run(["/usr/bin/tidy", "-quiet", "-errors", "-utf8", path], stdout=subprocess.PIPE,
                                     stderr=subprocess.STDOUT, text=True)
            self.assertEqual((checked.returncode, checked.stdout), (0, ""), words)

    def test_the_report_of_a_window_is_one_file_with_plots_that_needs_no_script(self):
        stats = json.loads(self.ask("api/stats?plan=main-board"))
        self.export("--plan", "main-board", "--language", "en")
        self.assertEqual(self.text("[data-figure=first_pass_yield] b"), f"{100 * stats['first_pass_yield']:.1f} %")
        self.assertEqual(self.count("script, link, img, main a"), 0)
        self.assertEqual(self.count("svg.plot"), 1 + len(stats["measurements"]))
        not_passed = sum(verdict["runs"] for verdict in stats["verdicts"] if verdict["verdict"] != "passed")
        self.assertEqual(self.count("tr[data-run]"), not_passed)
        self.assertGreater(self.sheets(), 1)

    def test_the_report_of_a_run_is_a_sheet_of_paper_in_both_languages(self):
        run = json.loads(self.ask("api/runs?verdict=failed&limit=1"))["runs"][0]
        self.export("--run", run["id"])
        for words in (run["serial"], "✕ 不合格 FAIL", "测量值 Measurements", run["hash"], "ICT-3", "t1station 1.0", run["plan_name"]):
            self.assertIn(words, self.text("body"))
        self.assertEqual(self.sheets(), 1)


class Login(Results):
    troubled = ("status of 401",)

    def test_who_is_not_logged_in_logs_in_and_sees_the_page_that_was_asked_for(self):
        self.line = RealLine(PROGRAM, [("vera", "viewer")])
        self.addCleanup(self.line.close)
        self.driver.get(self.line.url + "results?plan=x")
        self.until(lambda: self.shown("#login"))
        self.find("#name").send_keys("vera")
        self.find("#password").send_keys(PASSWORD + "\n")
        self.until(lambda: self.count("#window") == 1)
        self.ready()
        self.assertTrue(self.driver.current_url.endswith("/results?plan=x"))
        self.assertEqual(self.text(".nothing"), "There are no runs in this window.")


if __name__ == "__main__":
    unittest.main()
