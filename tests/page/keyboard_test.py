#!/usr/bin/python3
"""Scanners, questions and dialogs of the line's page: a scan goes to the station whole, and answers nothing by accident."""
import unittest

from browser import PageTest, key_of
from line_stand_in import run, slot

QUESTION = {"zh": "补光灯亮了吗?", "en": "Is the light on?"}


def asking(name, number=1, **changes):
    return slot(name, "testing", run(number, question=QUESTION, step="light", **changes))


class Scanner(PageTest):
    troubled = ("status of 409", "status of 503")

    def test_a_scan_goes_to_the_station_and_the_field_is_empty_again(self):
        self.open(slot("1"))
        self.assertEqual(self.script("return document.activeElement.id"), "scan")
        self.type("AB00000001")
        self.assertEqual(self.find("#scan").get_attribute("value"), "AB00000001")
        self.enter()
        self.message("AB00000001 → slot 1")
        self.assertEqual(self.scanned(), ["AB00000001"])
        self.assertEqual(self.find("#scan").get_attribute("value"), "")
        self.scan("slot:2")
        self.message("The next scan → slot 2")

    def test_every_character_of_a_label_arrives_as_it_is_printed(self):
        self.open(slot("1"))
        label = "aZ09-_=+[]{}\\|;:'\"`~,.<>/?!@#$%^&*()"
        self.scan(label)
        self.scan("AB 12")
        self.until(lambda: self.scanned() == [label, "AB 12"])

    def test_two_scans_at_once_arrive_both_and_in_their_order(self):
        self.open(slot("1"))
        self.line.freeze()
        self.scan("slot:1")
        self.scan("AB00000001")
        self.line.thaw()
        self.until(lambda: self.scanned() == ["slot:1", "AB00000001"])

    def test_a_refused_scan_says_why_and_so_does_a_station_that_cannot_store(self):
        self.open(slot("1"))
        for status, reason in ((409, "AB1 does not match the plan's serial numbers"), (503, "the records cannot be written")):
            self.line.answer("/api/scan", status, {"error": reason})
            self.scan("AB1")
            self.message(f"Refused AB1: {reason}")
            self.assertEqual(self.find("#message").get_attribute("data-kind"), "refused")
        self.line.answer("/api/scan", None, None)
        self.scan("AB2")
        self.message("AB2 → slot 1")
        self.assertEqual(self.find("#message").get_attribute("data-kind"), "taken")

    def test_a_station_that_does_not_answer_a_scan_is_said_and_the_next_scan_is_sent(self):
        self.open(slot("1"))
        self.line.freeze()
        self.scan("AB1")
        self.until(lambda: self.text("#message") == "AB1 …")
        self.advance(10000)
        self.message("AB1: the station did not answer — look at the slots")
        self.line.thaw()
        self.until_live()
        self.scan("AB2")
        self.until(lambda: "AB2" in self.scanned())

    def test_a_scan_that_waited_for_one_before_it_is_not_sent_when_the_station_is_lost_meanwhile(self):
        self.open(slot("1"))
        self.line.freeze()
        self.scan("AB1")
        self.scan("AB2")
        self.until(lambda: self.text("#message") == "AB1 …")
        self.advance(10000)
        self.message("Refused AB2: the connection to the station is lost")
        self.line.thaw()
        self.until_live()
        self.scan("AB3")
        self.message("AB3 → slot 1")
        self.assertNotIn("AB2", self.scanned())

    def test_the_scan_field_takes_the_focus_back(self):
        self.open(slot("1", "done", run(1, verdict="failed")))
        focus = "return document.activeElement.id"
        for selector in ("#language", "[data-acknowledge]", ".plan", "#message"):
            self.click(selector)
            self.until(lambda: self.script(focus) == "scan")
        self.script("document.activeElement.blur()")
        self.until(lambda: self.script(focus) == "scan")
        self.script("document.querySelector('[data-acknowledge]').focus()")
        self.advance(3000)
        self.until(lambda: self.script(focus) == "scan")

    def test_a_scan_arrives_wherever_the_focus_was_and_presses_nothing(self):
        self.open(slot("1", "done", run(1, verdict="failed")))
        for number, selector in enumerate(("[data-acknowledge]", "#language", ".lock", "#operator")):
            self.script("document.querySelector(arguments[0]).focus()", selector)
            self.scan(f"AB{number}")
            self.message(f"AB{number} →")
            self.enter()  # scanners that end with two
        self.nothing_else_happens("AB0", "AB1", "AB2", "AB3")
        self.assertEqual(self.find("#language").get_attribute("value"), "en")
        self.assertFalse(self.shown("#dialog"))

    def test_a_scan_arrives_whole_with_an_input_method_on(self):
        self.open(slot("1"))
        for character in "aB-12":  # the input method takes each key, and composes something of its own
            code, shift = key_of(character)
            self.key(code, "Process", shift=shift, virtual=229)
            self.command("Input.imeSetComposition", text="阿", selectionStart=1, selectionEnd=1)
        self.assertEqual(self.find("#scan").get_attribute("value"), "aB-12")
        self.command("Input.insertText", text="阿布")
        self.key("Enter", "Process", virtual=229)
        self.until(lambda: self.scanned() == ["aB-12"])
        self.assertEqual(self.find("#scan").get_attribute("value"), "")

    def test_letters_of_another_script_are_read_by_the_place_of_their_keys(self):
        self.open(slot("1"))
        for code, key in (("KeyA", "ф"), ("Semicolon", "："), ("Digit1", "１")):
            self.key(code, key, key, shift=key == "：")
        self.enter()
        self.until(lambda: self.scanned() == ["a:1"])

    def test_a_label_pasted_or_typed_by_hand_with_a_correction_counts_as_it_stands_in_the_field(self):
        self.open(slot("1"))
        self.type("AB13", after=0.4)
        self.key("Backspace", "Backspace", virtual=8)
        self.type("2", after=0.4)
        self.command("Input.insertText", text="-77")
        self.enter()
        self.until(lambda: self.scanned() == ["AB12-77"])

    def test_a_scan_of_nothing_is_none(self):
        self.open(slot("1"))
        self.enter()
        self.scan("  ")
        self.nothing_else_happens()

    def test_a_card_acknowledges_where_there_is_a_scanner_only(self):
        failed = [slot(name, "done", run(1, verdict="failed")) for name in ("1", "L-2")]
        self.open(*failed, slot("3"))
        self.scan("acknowledge")
        self.message("Scan acknowledge:SLOT — these slots wait: 1, L-2")
        self.scan("acknowledge:L-2")
        self.message("Slot L-2 acknowledged")
        self.show(failed[0], slot("L-2"))
        self.scan("ACKNOWLEDGE")
        self.message("Slot 1 acknowledged")
        self.scan("acknowledge:3")
        self.message("No slot waits to be acknowledged")
        self.show(slot("1", "done", run(1, verdict="passed")), slot("2"))
        self.scan("acknowledge")
        self.message("No slot waits to be acknowledged")
        self.scan("acknowledge:1")  # its unit is to be tested again
        self.message("Slot 1 acknowledged")
        self.assertEqual([path for path, _ in self.line.asked],
                         [f"/api/slots/{name}/acknowledge" for name in ("L-2", "1", "1")])


class Questions(PageTest):
    def test_a_question_is_answered_by_its_buttons(self):
        self.open(asking("1"), asking("2", 2))
        self.assertEqual(self.text("[data-slot='1'] [data-question] .question"), QUESTION["en"])
        self.click("[data-slot='2'] [data-answer=no]")
        self.until(lambda: self.asked("/api/slots/2/answer") == [{"answer": "no"}])
        self.click("[data-slot='1'] [data-answer=yes]")
        self.until(lambda: self.asked("/api/slots/1/answer") == [{"answer": "yes"}])
        self.message("Slot 1: Yes")
        self.show(slot("1"), slot("2"))
        self.assertEqual(self.count("[data-question]"), 0)

    def test_a_question_is_answered_by_the_keys_y_and_n(self):
        self.open(asking("1"))
        for key, answer in (("y", "yes"), ("N", "no")):
            self.type(key)
            self.assertEqual(self.find("#scan").get_attribute("value"), key)  # it may be the beginning of a scan
            self.advance(699)
            self.assertEqual(self.find("#scan").get_attribute("value"), key)
            self.advance(1)
            self.until(lambda: self.asked("/api/slots/1/answer")[-1:] == [{"answer": answer}])
            self.assertEqual(self.find("#scan").get_attribute("value"), "")
        self.type("Y")
        self.enter()  # who types it and Enter has said it, too
        self.until(lambda: len(self.asked("/api/slots/1/answer")) == 3)
        self.assertEqual(self.scanned(), [])

    def test_serial_numbers_that_begin_with_y_or_n_answer_nothing(self):
        self.open(asking("1"))
        self.scan("Y00000001")
        self.scan("nY")
        self.until(lambda: self.scanned() == ["Y00000001", "nY"])
        self.type("y")
        self.advance(500)  # a slow scanner, or a PC that is busy
        self.scan("1")
        self.nothing_else_happens("Y00000001", "nY", "y1")

    def test_a_person_who_types_a_serial_number_into_the_field_answers_nothing(self):
        self.open(asking("1"))
        self.click("#scan")
        self.type("y")
        self.later(5000)
        self.type("7")
        self.enter()
        self.nothing_else_happens("y7")

    def test_a_key_behind_others_and_a_key_with_others_answer_nothing(self):
        self.open(asking("1"))
        self.type("7y")
        self.later(5000)
        self.enter()
        self.key("KeyY", "Y", "", shift=False, virtual=89)
        self.key("Escape", "Escape", virtual=27)
        self.nothing_else_happens("7y")

    def test_without_a_question_y_is_a_character(self):
        self.open(slot("1"))
        self.type("y")
        self.later(5000)
        self.assertEqual(self.find("#scan").get_attribute("value"), "y")

    def test_an_answer_is_scanned(self):
        self.open(asking("1"))
        self.scan("answer:yes")
        self.message("Slot 1: Yes")
        self.assertEqual(self.line.asked, [("/api/scan", {"text": "answer:yes"})])

    def test_an_answer_that_is_typed_goes_to_the_slot_that_asked_first_which_is_marked(self):
        self.open(asking("1", 1), slot("2"), {**asking("3", 3), "answers": True})
        self.assertEqual([self.attribute(name, "data-answers") for name in "123"], [None, None, "true"])
        self.assertTrue(self.shown("[data-slot='3'] .mark"))
        self.assertFalse(self.shown("[data-slot='1'] .mark"))
        self.type("n")
        self.advance(700)
        self.until(lambda: self.asked("/api/slots/3/answer") == [{"answer": "no"}])
        self.show({**asking("1", 1), "answers": True}, slot("2"), slot("3"))
        self.assertEqual(self.attribute("1", "data-answers"), "true")

    def test_a_key_whose_question_is_over_when_it_counts_answers_nothing(self):
        self.open(asking("1"))
        self.type("y")
        self.show(asking("1", attempt=2))
        self.advance(700)
        self.message("The question was over; the answer was not used")
        self.assertEqual(self.line.asked, [])

    def test_a_new_question_has_buttons_of_its_own(self):
        self.open(asking("1"))
        self.script("window.before = document.querySelector('[data-answer=yes]')")
        self.show(asking("1"))
        self.assertTrue(self.script("return window.before.isConnected"))
        self.show(asking("1", attempt=2))
        self.assertFalse(self.script("return window.before.isConnected"))
        self.assertEqual(self.count("[data-answer=yes]"), 1)


class Dialogs(PageTest):
    troubled = ("status of 409",)

    def test_a_test_is_stopped_when_the_person_confirms_it(self):
        self.open(slot("1", "testing", run(1)), slot("2", "waiting", run(2, step=None)), slot("3"))
        self.assertFalse(self.shown("[data-slot='3'] .stop"))
        self.click("[data-slot='1'] .stop")
        self.assertEqual(self.text("[data-dialog=question]"), "Stop the test of AB00000001 in slot 1?")
        self.click("[data-dialog=cancel]")
        self.assertFalse(self.shown("#dialog"))
        self.click("[data-slot='2'] .stop")
        self.click("[data-dialog=apply]")
        self.message("Slot 2: done")
        self.assertEqual(self.line.asked, [("/api/slots/2/stop", {})])

    def test_a_scan_that_comes_while_a_dialog_is_open_is_a_scan_and_confirms_nothing(self):
        self.open(slot("1", "testing", run(1)), asking("2", 2))
        self.click("[data-slot='1'] .stop")
        self.script("document.querySelector('[data-dialog=apply]').focus()")
        self.scan("Y 00000001")
        self.message("Y 00000001 →")
        self.enter()
        self.scan(" AB2")
        self.until(lambda: len(self.scanned()) == 2)
        self.assertTrue(self.shown("#dialog"))
        self.type("y")
        self.later(5000)
        self.assertEqual(self.asked("/api/slots/2/answer"), [])
        self.key("Escape", "Escape", virtual=27)
        self.until(lambda: not self.shown("#dialog"))
        self.key("Escape", "Escape", virtual=27)  # and away with the y
        self.nothing_else_happens("Y 00000001", "AB2")

    def test_the_dialogs_button_is_pressed_by_a_key_that_comes_alone(self):
        self.open(slot("1", "testing", run(1)))
        self.click(".stop")
        self.script("document.querySelector('[data-dialog=apply]').focus()")
        self.key("Space", " ", " ", virtual=32)
        self.advance(699)
        self.assertEqual(self.line.asked, [])
        self.advance(1)
        self.until(lambda: self.asked("/api/slots/1/stop") == [{}])

    def test_a_dialog_whose_run_has_ended_meanwhile_is_over(self):
        self.open(slot("1", "testing", run(1)))
        self.click(".stop")
        self.show(slot("1", "testing", run(2)))
        self.assertFalse(self.shown("#dialog"))

    def test_an_engineer_locks_and_unlocks_with_a_reason(self):
        self.open(slot("1"), slot("2", "locked", reason="the fixture is worn"))
        self.click("[data-slot='1'] .lock")
        self.click("[data-dialog=apply]")
        self.assertTrue(self.shown("#dialog"))  # not without a reason
        self.find("[data-dialog=text]").send_keys("针床磨损")
        self.click("[data-dialog=apply]")
        self.until(lambda: self.asked("/api/slots/1/lock") == [{"reason": "针床磨损"}])
        self.click("[data-slot='2'] .lock")
        self.find("[data-dialog=text]").send_keys("new pins")
        self.click("[data-dialog=apply]")
        self.until(lambda: self.asked("/api/slots/2/unlock") == [{"reason": "new pins"}])

    def test_an_engineer_releases_a_unit_that_must_be_repaired(self):
        self.open(slot("1"))
        self.line.answer("/api/scan", 409, {"error": "AB00000001 has not passed main-board in 3 runs: to repair, until it is released"})
        self.scan("AB00000001")
        self.until(lambda: self.text("#release") == "Release AB00000001")
        self.click("#release")
        self.find("[data-dialog=text]").send_keys("new sensor")
        self.click("[data-dialog=apply]")
        self.message("AB00000001 is released")
        self.assertEqual(self.asked("/api/units/AB00000001/release"), [{"reason": "new sensor"}])
        self.assertFalse(self.shown("#release"))

    def test_a_scan_while_a_reason_is_written_is_a_scan_and_leaves_the_reason_alone(self):
        self.open(slot("1"))
        self.click(".lock")
        self.type("worn", after=0.2)
        self.enter()  # does not close it: a scanner ends with it, too
        self.time += 1
        self.scan("AB00000001")
        self.message("AB00000001 →")
        self.assertEqual(self.find("[data-dialog=text]").get_attribute("value"), "worn")
        self.assertTrue(self.shown("#dialog"))
        self.click("[data-dialog=apply]")
        self.until(lambda: self.asked("/api/slots/1/lock") == [{"reason": "worn"}])


if __name__ == "__main__":
    unittest.main()
