#!/usr/bin/env python3
"""What the table of the benchmarks says of its figures."""
import sys
import unittest

sys.dont_write_bytecode = True  # nothing is left beside the sources

import table
import xml_items


class Table(unittest.TestCase):
    def test_a_figure_at_its_goal_meets_it(self):
        self.assertEqual(table.verdict(table.Row("a", 1.15, goal=1.15)), "met")
        self.assertEqual(table.verdict(table.Row("a", 1.16, goal=1.15)), "missed")

    def test_a_figure_is_judged_as_it_is_shown(self):
        self.assertEqual(table.verdict(table.Row("a", 1.1549, goal=1.15)), "met")
        self.assertEqual(table.verdict(table.Row("a", 1.1551, goal=1.15)), "missed")

    def test_being_level_with_a_peer_is_not_being_ahead(self):
        self.assertEqual(table.verdict(table.Row("a", 1.0, goal=1, below=True)), "missed")
        self.assertEqual(table.verdict(table.Row("a", 0.999, goal=1, below=True)), "met")

    def test_without_a_goal_there_is_no_verdict(self):
        self.assertEqual(table.verdict(table.Row("a", 17)), "")

    def test_ratios_are_those_of_medians(self):
        self.assertEqual(table.ratio([2, 2, 100], [1, 1, 1]), 2)

    def test_paired_ratios_are_those_of_one_round(self):
        self.assertEqual(table.paired_ratio([2, 20, 300], [1, 10, 100]), 2)

    def test_the_99th_percentile_leaves_one_percent_above_it(self):
        self.assertEqual(table.percentile(range(1, 101), 99), 99)
        self.assertEqual(table.percentile([5], 99), 5)
        self.assertEqual(table.percentile([1, 2, 3], 50), 2)

    def test_a_missed_goal_stands_in_the_table(self):
        text = table.render([table.Row("first", 0.5, "its floor", goal=1), table.Row("second", 2, "it", goal=1)])
        self.assertIn("| second   |   2.00 | it        | ≤ 1.00 | missed |", text)
        self.assertEqual(len({len(line) for line in text.splitlines()}), 1)


class XmlRows(unittest.TestCase):
    TIMES = {("parse", "request_60", "boardtest"): 3, ("parse", "request_60", "slow"): 6,
             ("parse", "request_60", "fast"): 2, ("parse", "10_elements", "boardtest"): 10,
             ("parse", "10_elements", "fast"): 20, ("parse", "20_elements", "boardtest"): 25}

    def test_a_message_is_held_against_the_fastest_of_the_others(self):
        rows = {row.name: row for row in xml_items.rows_of(self.TIMES)}
        row = rows["XML: parse, request of 60 bytes"]
        self.assertEqual((row.figure, row.against, row.goal), (1.5, "fast", 1))

    def test_growth_is_the_time_of_twice_the_elements(self):
        rows = {row.name: row for row in xml_items.rows_of(self.TIMES)}
        self.assertEqual(rows["XML: parse, 20 elements"].figure, 2.5)
        self.assertEqual(table.verdict(rows["XML: parse, 20 elements"]), "missed")
        self.assertIsNone(rows["XML: parse, 10 elements"].goal)


if __name__ == "__main__":
    unittest.main()
