#!/usr/bin/python3
"""What the line's page shows of its slots, in both languages."""
import unittest

from browser import PageTest
from line_stand_in import ended, failure, moment, run, slot

WORDS = {"zh": {"passed": "✓ 合格", "failed": "✕ 不合格", "error": "! 异常", "stopped": "■ 停止", "interrupted": "? 中断"},
         "en": {"passed": "✓ PASS", "failed": "✕ FAIL", "error": "! ERROR", "stopped": "■ STOPPED",
                "interrupted": "? INTERRUPTED"}}


class Tiles(PageTest):
    def verdict(self, name):
        return " ".join(self.text(f"[data-slot='{name}'] .state").split())

    def test_every_verdict_has_its_sign_and_its_word_in_the_language_that_is_shown(self):
        verdicts = list(WORDS["en"])
        slots = [slot(str(n), "done", run(n, verdict=verdict)) for n, verdict in enumerate(verdicts)]
        self.open(*slots)
        for language in ("en", "zh"):
            self.script("document.querySelector('#language').value = arguments[0];"
                        "document.querySelector('#language').dispatchEvent(new Event('change'))", language)
            for number, verdict in enumerate(verdicts):
                self.assertEqual(self.verdict(number), WORDS[language][verdict])
                self.assertEqual(self.attribute(str(number), "data-verdict"), verdict)

    def test_the_stations_sentences_are_in_the_language_that_is_shown_and_boards_words_as_they_are(self):
        failed = run(2, verdict="error", failures=[failure("rtc", "timed_out", "no reply within 9 s: the test hangs"),
                                                   failure("temp", "failed", "temperature 99")])
        self.open(slot("1", "locked", reason="slot 2 is locked: its check is due: test the bad check unit"), slot("2", "done", failed), language="zh")
        self.assertEqual(self.text("[data-slot='1'] .reason"), "工位 2 已锁定：需要点检：还要测不良点检件")
        words = [element.text for element in self.driver.find_elements("css selector", "[data-slot='2'] .words")]
        self.assertEqual(words, ["9 秒内没有应答：电路板不认识此代码，或测试卡住", "temperature 99"])
        self.script("document.querySelector('#language').value = 'en';"
                    "document.querySelector('#language').dispatchEvent(new Event('change'))")
        self.assertEqual(self.text("[data-slot='1'] .reason"), "slot 2 is locked: its check is due: test the bad check unit")

    def test_a_tile_says_in_attributes_what_it_shows(self):
        self.open(slot("1", next=True), slot("L-2", "testing", run(2, step="rtc")), slot("3", "waiting", run(3, step=None)))
        expected = {"1": ["idle", None, None, None, "true"], "L-2": ["testing", None, "AB00000002", "rtc", None],
                    "3": ["waiting", None, "AB00000003", None, None]}
        for name, values in expected.items():
            names = ["data-state", "data-verdict", "data-serial", "data-step", "data-next"]
            self.assertEqual([self.attribute(name, attribute) for attribute in names], values)
        self.assertEqual(self.text("[data-slot='1'] .next"), "→ NEXT")
        self.assertEqual(self.text("[data-slot='L-2'] .next"), "")

    def test_a_test_shows_step_k_of_n_with_a_bar_the_attempt_and_the_seconds_of_the_stations_clock(self):
        self.open(slot("1", "testing", run(1, started=moment(-20), step="rtc", index=3, total=8, attempt=2)))
        self.line.at(1)
        self.until(lambda: self.text(".seconds") == "21 s")
        self.assertEqual(self.text(".step"), "rtc")
        self.assertEqual(self.text(".count"), "step 4 of 8 · attempt 2")
        self.assertEqual(self.script("const bar = document.querySelector('progress'); return [bar.value, bar.max]"), [3, 8])
        self.line.freeze()
        self.advance(2000)
        self.assertEqual(self.text(".seconds"), "23 s")  # it counts on between two ticks
        self.line.thaw()
        self.line.at(31)
        self.until(lambda: self.text(".seconds") == "51 s")

    def test_a_run_that_has_ended_shows_how_long_it_took_when_the_station_says_it(self):
        self.open(slot("1", "done", run(1, verdict="passed", seconds=47.9)), slot("2", "done", run(2, verdict="passed")))
        self.assertEqual(self.text("[data-slot='1'] .took"), "47 s")
        self.assertEqual(self.text("[data-slot='2'] .took"), "")

    def test_a_failure_shows_the_step_the_boards_words_the_value_the_limits_and_the_attempt(self):
        found = [{"name": "t1", "value": 63.5, "unit": "degC", "low": 10.0, "high": 60.0, "outcome": "high"},
                 {"name": "t2", "value": None, "unit": "V", "low": 1.5, "high": None, "outcome": "not_found"},
                 {"name": "t3", "value": 0, "unit": None, "low": None, "high": 4, "outcome": "passed"}]
        self.open(slot("1", "done", run(1, verdict="failed", failures=[
            failure("temp", measurements=found), failure("sd", "timed_out", None, 1, 3, [])])))
        self.assertEqual(self.text("[data-failed-step=temp]").split("\n"), [
            "temp", "✕ failed", "attempt 2 of 2", "温度超出范围", "t1: measured 63.5 degC · limits 10 … 60 · too high",
            "t2: not found · at least 1.5", "t3: measured 0 · at most 4"])
        self.assertEqual(self.text("[data-failed-step=sd]").split("\n"), ["sd", "! timed out", "attempt 1 of 3"])
        self.click("#language")
        self.until(lambda: self.text("[data-failed-step=temp]").split("\n") == [
            "temp", "✕ 不合格", "第 2 次，共 2 次", "温度超出范围", "t1: 实测 63.5 degC · 限值 10 … 60 · 偏高",
            "t2: 未测得 · 下限 1.5", "t3: 实测 0 · 上限 4"])

    def test_every_verdict_but_passed_must_be_acknowledged(self):
        self.open(*[slot(verdict, "done", run(1, verdict=verdict)) for verdict in WORDS["en"]])
        for verdict in WORDS["en"]:
            place = f"[data-slot={verdict}]"
            self.assertEqual(self.shown(f"{place} [data-acknowledge]"), verdict != "passed")
            self.assertEqual("Must be acknowledged" in self.text(f"{place} .needed"), verdict != "passed")
        self.click("[data-slot=error] [data-acknowledge]")
        self.until(lambda: self.asked("/api/slots/error/acknowledge") == [{}])
        self.show(slot("error"))
        self.assertEqual(self.count("[data-acknowledge]"), 0)

    def test_a_run_with_a_second_attempt_is_said_to_be_retried(self):
        self.open(slot("1", "done", run(1, verdict="passed", retried=True)), slot("2", "done", run(2, verdict="passed")))
        self.assertEqual(self.text("[data-slot='1'] .retried"), "retried")
        self.assertFalse(self.shown("[data-slot='2'] .retried"))

    def test_a_locked_slot_says_why(self):
        self.open(slot("1", "locked", reason="main-board.toml:12:8: unknown key"))
        self.assertEqual(self.verdict("1"), "LOCKED")
        self.assertEqual(self.text(".reason"), "main-board.toml:12:8: unknown key")

    def test_a_verdicts_reason_is_shown_unless_its_failures_say_it(self):
        broken = failure("sd", "broken", "no connection", 0, 1, [])
        self.open(slot("1", "done", run(1, verdict="stopped"), reason="the station was shut down"),
                  slot("2", "done", run(2, verdict="failed", failures=[failure()]), reason="step temperature: failed"),
                  slot("3", "done", run(3, verdict="error", failures=[broken]), reason="sd: no connection"),
                  slot("4", "done", run(4, verdict="error", failures=[broken]), reason="another build greeted"),
                  slot("5", "waiting", run(5, step="sd"), reason="the board is busy with another station"))
        self.assertEqual([self.text(f"[data-slot='{number}'] .reason") for number in range(1, 6)],
                         ["the station was shut down", "", "", "another build greeted",
                          "the board is busy with another station"])
        self.assertFalse(self.shown("[data-slot='3'] .attempts"))  # of an attempt that never began
        self.assertEqual(self.text("[data-slot='5'] .step"), "")

    def test_texts_of_boards_and_stations_are_text_whatever_they_contain(self):
        evil = "<img src=x onerror=\"document.title='taken'\"><b>bold</b>&amp;"
        self.open(slot("1", "done", run(1, serial=evil, verdict="failed", failures=[
            failure(evil, description=evil, measurements=[{"name": evil, "value": 1, "unit": evil, "low": None, "high": None,
                                                           "outcome": "passed"}])])),
                  slot("2", "testing", run(2, question={"zh": evil, "en": evil}, step=evil)),
                  slot("3", "locked", reason=evil, plan={"name": evil, "version": evil}), station=evil, records=evil)
        self.assertEqual(self.count("img, main b > b, .words b"), 0)
        for place in ("#station", "[data-slot='1'] .serial", ".words", ".question", "[data-slot='3'] .reason", "#records-banner",
                      "[data-slot='2'] .step"):
            self.assertIn(evil, self.text(place))
        self.line.answer("/api/scan", 409, {"error": evil})
        self.scan("AB1")
        self.message(f"Refused AB1: {evil}")
        self.assertNotEqual(self.driver.title, "taken")

    troubled = ("status of 409",)

    def test_slots_that_come_and_go_are_shown_in_the_stations_order(self):
        order = "return Array.from(document.querySelectorAll('[data-slot]'), (tile) => tile.dataset.slot)"
        self.open(slot("1"), slot("2"), slot("3"))
        self.show(slot("3"), slot("1"), slot("4"))
        self.assertEqual(self.script(order), ["3", "1", "4"])


class TopAndBottom(PageTest):
    def test_the_top_names_station_operator_connection_records_and_central_database(self):
        self.open(slot("1"))
        self.assertEqual(self.text("#station"), "ICT-3")
        self.assertEqual([self.text(place).split("\n")[-1] for place in ("#connection", "#records", "#central")],
                         ["Connection ok", "Records ok", "Central database off"])
        self.assertFalse(self.shown("#records-banner"))
        self.line.show(records="disk full", central={"state": "waiting", "behind": 12})
        self.until(lambda: self.text("#central") == "Central database waiting · 12 behind")
        self.assertEqual(self.text("#records-banner"), "Records cannot be written, no board is taken: disk full")
        self.line.show(records="ok", central={"state": "connected", "behind": 0})
        self.until(lambda: self.text("#central") == "Central database connected")
        self.assertFalse(self.shown("#records-banner"))

    def test_the_operators_name_goes_with_everything_that_is_asked(self):
        self.open(slot("1", "done", run(1, verdict="failed")))
        self.scan("AB1")
        self.until(lambda: self.asked("/api/scan") == [{"text": "AB1"}])
        self.click("#operator")
        self.find("[data-dialog=text]").send_keys("Ming")
        self.click("[data-dialog=apply]")
        self.until(lambda: self.text("#operator").endswith("Ming"))
        self.scan("AB2")
        self.until(lambda: {"text": "AB2", "operator": "Ming"} in self.asked("/api/scan"))
        self.click("[data-acknowledge]")
        self.until(lambda: self.asked("/api/slots/1/acknowledge") == [{"operator": "Ming"}])

    def test_the_language_changes_without_a_reload_and_is_remembered_by_the_browser(self):
        self.open(slot("1"))
        self.script("window.untouched = true")
        self.assertEqual(self.text(".word"), "READY")
        self.click("#language")
        self.until(lambda: self.text(".word") == "空闲")
        self.assertTrue(self.script("return window.untouched"))
        self.assertEqual(self.find("#scan").get_attribute("placeholder"), "扫描序列号")
        self.driver.refresh()
        self.until_live()
        self.assertEqual(self.text(".word"), "空闲")  # though the station's own language is the other

    def test_a_browser_in_which_nobody_chose_shows_the_stations_language(self):
        self.open(slot("1"), language="zh")
        self.assertEqual(self.text(".word"), "空闲")
        self.assertEqual(self.find("html").get_attribute("lang"), "zh-CN")
        self.assertEqual(self.find("#language").get_attribute("value"), "zh")

    def test_the_bottom_shows_todays_figures_and_the_last_ten_verdicts(self):
        self.line.runs = [ended(30, None), *[ended(20 - n, "passed" if n % 2 else "failed") for n in range(12)]]
        self.open(slot("1"), today={"runs": 128, "passed": 119, "failed": 7, "error": 2, "first_pass_yield": 0.9214})
        figures = ["runs", "passed", "failed", "error", "first-pass-yield"]
        self.assertEqual([self.text(f"[data-figure={figure}]").replace("\n", " ") for figure in figures],
                         ["128 runs", "119 ✓ PASS", "7 ✕ FAIL", "2 ! ERROR", "92.1 % first-pass yield"])
        self.until(lambda: self.count("#verdicts li") == 10)
        self.assertEqual(self.text("#verdicts li").split("\n"), ["✕ FAIL", "AB00000020"])
        self.line.runs = [ended(31, "error", kind="check"), *self.line.runs]
        self.line.show(today={"runs": 129, "passed": 119, "failed": 7, "error": 3, "first_pass_yield": None})
        self.until(lambda: self.text("#verdicts li").split("\n") == ["! ERROR", "AB00000031", "check"])
        self.assertEqual(self.text("[data-figure=first-pass-yield]").replace("\n", " "), "– first-pass yield")

    def test_results_and_reports_of_ended_runs_are_one_click_away(self):
        self.line.runs = [ended(20, "failed")]
        self.open(slot("1", "done", run(1, verdict="failed")), slot("2", "testing", run(2)))
        href = lambda selector: self.find(selector).get_attribute("href").removeprefix(self.line.url)  # noqa: E731
        self.assertEqual(href("#results"), "results")
        self.assertEqual(href("[data-slot='1'] .report"), "runs/01935-0001")
        self.assertFalse(self.shown("[data-slot='2'] .report"))
        self.until(lambda: self.count("#verdicts a") == 1)
        self.assertEqual(href("#verdicts a"), "runs/01934-0020")


if __name__ == "__main__":
    unittest.main()
