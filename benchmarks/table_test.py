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

    def test_a_median_lies_between_values_that_leave_out_one_in_forty_at_either_end(self):
        self.assertEqual(table.median_interval(range(1, 7)), (1, 6))
        self.assertEqual(table.median_interval(range(9, 0, -1)), (2, 8))  # a coin: 9 heads or 8 of 9, 2.0 %
        self.assertEqual(table.median_interval(range(1, 101)), (40, 61))

    def test_a_goal_within_the_interval_is_neither_met_nor_missed(self):
        def verdict(*interval):
            return table.verdict(table.Row("a", 0.95, goal=1, below=True, interval=interval))
        self.assertEqual(verdict(0.9, 0.99), "met")
        self.assertEqual(verdict(0.9, 1.0), "level")
        self.assertEqual(verdict(1.01, 1.1), "missed")

    def test_the_99th_percentile_leaves_one_percent_above_it(self):
        self.assertEqual(table.percentile(range(1, 101), 99), 99)
        self.assertEqual(table.percentile([5], 99), 5)
        self.assertEqual(table.percentile([1, 2, 3], 50), 2)

    def test_a_missed_goal_stands_in_the_table(self):
        text = table.render([table.Row("first", 0.5, "its floor", goal=1), table.Row("second", 2, "it", goal=1)])
        self.assertIn("| second   |   2.00 |      | it        | ≤ 1.00 | missed |", text)
        self.assertEqual(len({len(line) for line in text.splitlines()}), 1)


class XmlRows(unittest.TestCase):
    MEASURED = {("parse", "request_60"): {"boardtest": [3] * 6 + [60], "slow": [6] * 7, "fast": [2] * 6 + [40]},
                ("parse_and_read", "10_elements"): {"boardtest": [10] * 7, "fast": [20] * 7, "scan": [2] * 7},
                ("parse", "20_elements"): {"boardtest": [25] * 7, "half": [10] * 7}}

    def rows(self, name):
        return [row for row in xml_items.rows_of(self.MEASURED) if row.name == name]

    def test_a_document_is_held_against_the_fastest_of_the_others_turn_by_turn(self):
        row, = self.rows("XML: parse, request of 60 bytes")
        self.assertEqual((row.figure, row.against, row.goal), (1.5, "fast", 1))
        self.assertEqual((row.interval, table.verdict(row)), ((1.5, 1.5), "missed"))

    def test_reading_is_held_against_the_search_for_the_ends_of_tags_too(self):
        peer, floor = self.rows("XML: parse and read, 10 elements")
        self.assertEqual((peer.figure, peer.against, table.verdict(peer)), (0.5, "fast", "met"))
        self.assertEqual((floor.figure, floor.goal), (5, None))

    def test_growth_is_the_time_of_twice_the_elements(self):
        row, = self.rows("XML: parse, 20 elements")
        self.assertEqual((row.figure, table.verdict(row)), (2.5, "missed"))


if __name__ == "__main__":
    unittest.main()
