#!/usr/bin/python3
"""Who is at the line's page, and what he may do there."""
import unittest

from browser import PageTest
from line_stand_in import run, slot

SLOTS = [slot("1", "done", run(1, verdict="failed")), slot("2", "testing", run(2, question={"zh": "亮?", "en": "On?"})),
         slot("3", "locked", reason="worn")]


class Login(PageTest):
    troubled = ("status of 401", "ERR_", "EventSource")

    def test_a_station_that_wants_a_login_leads_to_the_page_for_it_and_back(self):
        self.line.password = "correct horse"
        self.line.session = {"name": "ming", "role": "operator"}
        self.open(*SLOTS, live=False)
        self.until(lambda: self.driver.current_url.endswith("/login"))
        self.assertEqual(self.script("return document.activeElement.id"), "name")
        self.find("#name").send_keys("ming")
        self.find("#password").send_keys("wrong")
        self.click("#submit")
        self.message("姓名或密码不对")
        self.assertEqual(self.find("#password").get_attribute("value"), "")
        self.script("const list = document.querySelector('#language'); list.value = 'en';"
                    "list.dispatchEvent(new Event('change'))")
        self.message("Name or password is wrong")
        self.find("#password").send_keys("correct horse\n")
        self.until(lambda: self.driver.current_url == self.line.url)
        self.until_live()
        self.until(lambda: self.text("#operator").endswith("ming"))

    def test_a_session_that_ends_leads_to_the_login_page(self):
        self.line.session = {"name": "ming", "role": "operator"}
        self.open(*SLOTS)
        self.line.password = "x"
        self.scan("AB1")
        self.until(lambda: self.driver.current_url.endswith("/login"))

    def test_who_logs_out_is_asked_to_log_in(self):
        self.line.session = {"name": "ming", "role": "operator"}
        self.open(*SLOTS)
        self.until(lambda: self.shown("#logout"))
        self.line.password = "x"
        self.line.logged_in = True
        self.click("#logout")
        self.until(lambda: self.driver.current_url.endswith("/login"))
        self.assertIn(("/api/logout", {}), self.line.asked)

    def test_a_station_that_does_not_answer_the_login_is_said(self):
        self.open(*SLOTS, path="login", live=False)
        self.find("#name").send_keys("ming")
        self.line.die()
        self.find("#password").send_keys("x\n")
        self.message("测试站没有应答")


class Roles(PageTest):
    troubled = ()

    def what_is_offered(self, role):
        self.line.session = {"name": "ming", "role": role}
        self.open(*SLOTS)
        self.until(lambda: self.text("#operator").endswith("ming"))
        return {name: self.shown(selector) for name, selector in {
            "acknowledge": "[data-acknowledge]", "answer": "[data-answer=yes]", "stop": "[data-slot='2'] .stop",
            "lock": "[data-slot='1'] .lock", "unlock": "[data-slot='3'] .lock"}.items()}

    def test_a_viewer_looks(self):
        self.assertEqual(set(self.what_is_offered("viewer").values()), {False})
        self.assertFalse(self.find("#scan").is_enabled())
        self.assertEqual(self.text(".question"), "On?")
        self.scan("AB1")
        self.message("Refused AB1: you may only look")
        self.type("y")
        self.later(5000)
        self.assertEqual(self.line.asked, [])

    def test_an_operator_scans_answers_stops_and_acknowledges(self):
        self.assertEqual(self.what_is_offered("operator"),
                         {"acknowledge": True, "answer": True, "stop": True, "lock": False, "unlock": False})
        self.scan("AB1")
        self.until(lambda: self.asked("/api/scan") == [{"text": "AB1"}])  # the station knows who is logged in

    def test_an_engineer_also_locks_and_unlocks(self):
        self.assertEqual(set(self.what_is_offered("engineer").values()), {True})

    def test_where_no_login_is_needed_everything_is_offered_and_no_logout(self):
        self.open(*SLOTS)
        self.until(lambda: self.shown(".lock"))
        self.assertFalse(self.shown("#logout"))
        self.assertTrue(self.text("#operator").endswith("not given"))


if __name__ == "__main__":
    unittest.main()
