#!/usr/bin/python3
"""The line's page and its station: what is shown is true, or looks as if it may be not."""
import unittest

from browser import ALONE, CLOCK, PageTest
from line_stand_in import moment, run, slot

PASSED = [slot("1", "done", run(1, verdict="passed")), slot("2", "done", run(2, verdict="failed")),
          slot("3", "testing", run(3)), slot("4", next=True)]


class Lost(PageTest):
    troubled = ("ERR_", "status of 401", "EventSource")

    def test_silence_of_three_seconds_is_seen_and_of_two_is_not(self):
        self.open(*PASSED, scripts=(ALONE, CLOCK))
        self.line.freeze()
        self.advance(2300)
        self.assertEqual(self.connection(), "live")
        self.advance(700)
        self.assertEqual(self.connection(), "lost")
        self.assertEqual(self.text("#lost-banner"), "Connection to the station lost — what is shown below may be out of date")
        self.assertEqual(self.text("#connection").split("\n")[-1], "Connection lost")

    def test_a_station_that_hangs_goes_on_where_it_is_when_it_goes_on(self):
        self.open(*PASSED, scripts=(ALONE, CLOCK))
        self.line.freeze()
        self.advance(3000)
        self.assertEqual(self.connection(), "lost")
        self.line.thaw()
        self.line.show(slot("1", "testing", run(7)), *PASSED[1:])
        self.until(lambda: self.connection() == "live" and self.attribute("1", "data-serial") == "AB00000007")
        self.assertFalse(self.shown("#lost-banner"))

    def test_nothing_keeps_a_colour_when_the_station_is_gone(self):
        self.open(*PASSED, records="disk full", central={"state": "waiting", "behind": 3})
        self.assertGreater(self.most_colour(), 100)
        self.scan("AB1")
        self.message("AB1 →")
        self.line.die()
        self.until(lambda: self.connection() == "lost")
        self.scan("AB2")
        self.message("Refused AB2: the connection to the station is lost")
        self.assertLess(self.most_colour(), 3)
        self.assertFalse(self.shown("[data-acknowledge]"))

    def most_colour(self):
        """How far apart the channels of a pixel are, of the most coloured one."""
        rows, step = self.pixels()
        return max(max(max(pixel) - min(pixel) for pixel in zip(row[0::step], row[1::step], row[2::step])) for row in rows)

    def test_the_seconds_stand_still_when_the_station_is_gone(self):
        self.open(slot("1", "testing", run(1, started=moment(-10))), scripts=(ALONE, CLOCK))
        self.line.freeze()
        self.advance(3000)
        shown = self.text(".seconds")
        self.advance(10000)
        self.assertEqual(self.text(".seconds"), shown)

    def test_a_station_that_comes_back_is_shown_as_it_is_and_not_as_it_was(self):
        self.open(*PASSED)
        self.line.die()
        self.until(lambda: self.connection() == "lost")
        self.line.document["slots"] = [slot("1", "done", run(1, verdict="interrupted")), slot("9")]
        self.line.come_back()
        self.until_live()
        self.assertEqual(self.attribute("1", "data-verdict"), "interrupted")
        self.assertEqual(self.count("[data-slot]"), 2)
        self.assertTrue(self.shown("[data-slot='9']"))

    def test_a_scan_is_refused_by_the_page_itself_while_the_station_is_not_heard(self):
        self.open(*PASSED, scripts=(ALONE, CLOCK))
        self.line.freeze()
        self.advance(3000)
        self.scan("AB2")
        self.message("Refused AB2: the connection to the station is lost")
        self.line.thaw()
        self.until_live()
        self.scan("AB3")
        self.until(lambda: self.scanned() == ["AB3"])

    def test_a_dialog_is_over_when_the_station_is_gone(self):
        self.open(*PASSED, scripts=(ALONE, CLOCK))
        self.click("[data-slot='3'] .stop")
        self.line.freeze()
        self.advance(3000)
        self.assertFalse(self.shown("#dialog"))


class Stream(PageTest):
    troubled = ("ERR_", "EventSource")

    def streams(self):
        return sum(path == "/api/events" for path in self.line.paths)

    def test_all_tabs_of_a_browser_share_one_stream(self):
        self.open(*PASSED)
        first = self.driver.current_window_handle
        self.driver.switch_to.new_window("tab")
        second = self.driver.current_window_handle
        self.driver.get(self.line.url)
        self.until_live()
        self.line.show(slot("7"))
        self.until(lambda: self.count("[data-slot='7']") == 1)
        self.driver.close()
        self.driver.switch_to.window(first)
        self.until(lambda: self.count("[data-slot='7']") == 1)
        self.line.show(slot("8"))  # the tab that has gone took nothing along
        self.until(lambda: self.count("[data-slot='8']") == 1)
        self.assertNotEqual(first, second)
        self.assertEqual(self.streams(), 1)

    def test_a_browser_without_shared_workers_has_a_stream_for_the_page(self):
        self.open(*PASSED, scripts=(ALONE, CLOCK))
        self.assertEqual(self.attribute("2", "data-verdict"), "failed")
        self.assertEqual(self.streams(), 1)

    def test_a_connection_that_falls_silent_is_given_up_for_a_new_one(self):
        self.open(*PASSED, scripts=(ALONE, CLOCK))
        self.line.freeze()
        self.advance(7000)  # given up after five, opened again a second later
        self.line.thaw()
        self.until(lambda: self.streams() == 2)
        self.until_live()

    def test_a_language_chosen_in_one_tab_is_shown_in_the_others(self):
        self.open(*PASSED)
        first = self.driver.current_window_handle
        self.driver.switch_to.new_window("tab")
        self.driver.get(self.line.url)
        self.until_live()
        self.click("#language")
        self.until(lambda: self.text("[data-slot='1'] .word") == "合格")
        self.driver.close()
        self.driver.switch_to.window(first)
        self.until(lambda: self.text("[data-slot='1'] .word") == "合格")

    def test_the_last_runs_are_asked_for_when_a_run_has_ended_and_not_with_every_document(self):
        self.open(*PASSED)
        asked = lambda: sum(path.startswith("/api/runs") for path in self.line.paths)  # noqa: E731
        self.until(lambda: asked() == 1)
        self.show(*PASSED[:2], slot("3", "testing", run(3, index=2)), PASSED[3])
        self.show(*PASSED[:2], slot("3", "testing", run(3, index=3)), PASSED[3])
        self.assertEqual(asked(), 1)
        self.show(*PASSED[:2], slot("3", "done", run(3, verdict="passed")), PASSED[3])
        self.until(lambda: asked() == 2)


if __name__ == "__main__":
    unittest.main()
