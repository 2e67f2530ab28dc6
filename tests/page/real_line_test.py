#!/usr/bin/python3
"""The line's page in front of the station itself, not of a stand-in."""
import signal
import sys
import unittest

from browser import PageTest
from real_line import PASSWORD, RealLine

PROGRAM = sys.argv.pop(1)


class RealStation(PageTest):
    troubled = ("status of 401", "status of 409", "ERR_", "EventSource")

    def serve(self, users=(), **changes):
        self.line.close()
        self.line = RealLine(PROGRAM, users, **changes)
        self.addCleanup(self.line.close)
        self.driver.get(self.line.url)

    def state(self, slot, state):
        self.until(lambda: self.attribute(slot, "data-state") == state)

    def test_a_unit_is_scanned_stopped_and_acknowledged(self):
        self.serve()
        self.until_live()
        self.scan("AB00000001")
        self.state("1", "waiting")
        self.assertEqual(self.attribute("1", "data-serial"), "AB00000001")
        self.scan("slot:2")
        self.until(lambda: self.attribute("2", "data-next") == "true")
        self.scan("AB00000001")
        self.message("AB00000001 is in slot 1 now")
        self.click("[data-slot='1'] .stop")
        self.click("[data-dialog=apply]")
        self.state("1", "done")
        self.assertEqual(self.attribute("1", "data-verdict"), "stopped")
        self.click("[data-slot='1'] [data-acknowledge]")
        self.state("1", "idle")
        self.until(lambda: self.text("#verdicts") != "")

    def test_a_station_that_is_killed_greys_the_page_and_comes_back_with_what_is_true(self):
        self.serve()
        self.until_live()
        self.scan("AB00000001")
        self.state("1", "waiting")
        self.line.end(signal.SIGKILL)
        self.until(lambda: self.connection() == "lost")
        self.line.come_back()
        self.until_live()
        self.state("1", "done")
        self.assertEqual(self.attribute("1", "data-verdict"), "interrupted")
        self.assertTrue(self.shown("[data-slot='1'] [data-acknowledge]"))
        self.assertEqual(self.line.end(signal.SIGTERM), 0)

    def test_a_unit_that_must_be_repaired_is_released(self):
        self.serve(board_wait=0.001)
        self.until_live()
        self.scan("AB00000001")
        self.state("1", "done")
        self.click("[data-slot='1'] [data-acknowledge]")
        self.state("1", "idle")
        self.scan("AB00000001")
        self.until(lambda: self.shown("#release"))
        self.click("#release")
        self.find("[data-dialog=text]").send_keys("new sensor")
        self.click("[data-dialog=apply]")
        self.message("AB00000001 is released")
        self.scan("AB00000001")
        self.message("AB00000001 →")

    def test_who_logs_in_may_do_what_the_role_may(self):
        self.serve([("ming", "operator"), ("vera", "viewer")])
        for name, may_stop in (("vera", False), ("ming", True)):
            self.until(lambda: self.shown("#login"))
            self.find("#name").send_keys(name)
            self.find("#password").send_keys(PASSWORD + "\n")
            self.until(lambda: self.count("#slots") == 1)
            self.until_live()
            self.until(lambda name=name: self.text("#operator").endswith(name))
            self.assertEqual(self.find("#scan").is_enabled(), may_stop)
            self.assertFalse(self.shown("[data-slot='1'] .lock"))
            self.click("#logout")
        self.until(lambda: self.shown("#login"))


if __name__ == "__main__":
    unittest.main()
