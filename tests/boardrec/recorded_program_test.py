#!/usr/bin/env python3
"""A recorded program does what it does unrecorded, on this processor or an emulated one: recorded_program_test.py
RECORDER PROGRAM [EMULATOR...]. Reads recordings by a second reader of their format."""
import collections
import os
import pathlib
import re
import struct
import subprocess
import sys
import tempfile
import unittest
import zlib

RECORDER, PROGRAM, *EMULATOR = sys.argv[1:]
REPLAY = pathlib.Path(RECORDER).with_name("libboardreplay.so")
BAD_ADDRESS = 14  # an errno
START, FINISH, READ, WRITE, IOCTL, MUTEX_LOCK, THREAD_ENDED = 1, 2, 12, 13, 15, 83, 4
CANCELLED, UNKNOWN_SIZE, NOT_RECORDED = 2, 4, 8

Record = collections.namedtuple("Record", "call thread flags began ended result error values")


def values_of(body, at):
    while at < len(body):
        kind = body[at]
        at += 1
        if kind == 0:
            yield None
        elif kind == 1:
            yield struct.unpack_from("<q", body, at)[0]
            at += 8
        elif kind == 2:
            size, = struct.unpack_from("<I", body, at)
            yield body[at + 4:at + 4 + size]
            at += 4 + size
        else:
            yield ("digest", *struct.unpack_from("<IQ", body, at))
            at += 12


def records_of(file):
    data = pathlib.Path(file).read_bytes()
    magic, order, version = struct.unpack_from("<8sIH", data)
    assert (magic, order, version) == (b"BOARDREC", 0x01020304, 2)
    assert zlib.crc32(data[:60]) == struct.unpack_from("<I", data, 60)[0], "the header's checksum"
    at = 64
    while at < len(data):
        size, checksum = struct.unpack_from("<II", data, at)
        body = data[at + 8:at + 8 + size]
        assert len(body) == size and zlib.crc32(body) == checksum, f"the record at byte {at}"
        call, thread, flags, began, ended, result, error, _, _ = struct.unpack_from("<HHIQQqiHH", body)
        yield Record(call, thread, flags, began, ended, result, error, list(values_of(body, 40)))
        at += 8 + size


class RecordedProgramTest(unittest.TestCase):
    def setUp(self):
        place = tempfile.TemporaryDirectory(prefix="boardtest.")
        self.addCleanup(place.cleanup)
        self.folder = pathlib.Path(place.name)

    def run_program(self, deed, **variables):
        """On an emulator the variables are the emulated program's only."""
        words = [word for name, value in variables.items() for word in ("-E", f"{name}={value}")] if EMULATOR else []
        environment = dict(os.environ) if EMULATOR else dict(os.environ, **variables)
        return subprocess.run([*EMULATOR, *words, PROGRAM, deed, str(self.folder)], env=environment, capture_output=True,
                              timeout=60, check=False)

    def recorded(self, deed):
        file = self.folder / f"{deed}.rec"
        ran = self.run_program(deed, LD_PRELOAD=RECORDER, BOARDRECORD=str(file))
        return ran, list(records_of(file))

    def test_it_ends_as_unrecorded_and_each_record_is_whole(self):
        for deed in ("files", "streams", "sockets", "clocks", "bad-pointers", "threads", "refused-thread",
                     "cut-off", "cancelled", "many", "leave"):
            with self.subTest(deed):
                plain = self.run_program(deed)
                ran, records = self.recorded(deed)
                self.assertEqual((ran.returncode, ran.stdout, ran.stderr), (plain.returncode, plain.stdout, b""))
                self.assertEqual((records[0].call, records[-1].call), (START, FINISH))
                self.assertEqual(records[-1].values, [plain.returncode])
                self.assertGreater(len(records), 2 if deed != "leave" else 1)

    @unittest.skipUnless(REPLAY.exists() and not re.search(rb"lib[at]san", REPLAY.read_bytes()),
                         "a sanitizer would have to stand before it")
    @unittest.skipIf(PROGRAM.endswith("_64"), "a replay answers by the names of the board's program, whose times have 32 bits")
    def test_what_was_recorded_of_this_machine_comes_out_of_a_replay(self):
        for deed in ("files", "streams", "terminals", "clocks", "random", "unknown", "threads", "refused-thread", "cancelled", "many"):
            with self.subTest(deed):
                ran, records = self.recorded(deed)
                # The folder's file is gone, and of the terminal nothing is left: the recording has all that they said.
                (self.folder / "file").unlink(missing_ok=True)
                again = self.run_program(deed, LD_PRELOAD=str(REPLAY), BOARDREPLAY=str(self.folder / f"{deed}.rec"))
                self.assertEqual((again.returncode, again.stdout), (ran.returncode, ran.stdout), again.stderr)
                whole = f"replayed {len(records)} of {len(records)} records".encode()
                self.assertIn(whole, again.stderr)
                self.assertFalse((self.folder / "file").exists(), "the replay wrote to the disk")

    def test_numbers_have_their_size_on_every_machine(self):
        _, records = self.recorded("files")
        writes = [record for record in records if record.call == WRITE]
        self.assertEqual(writes[0].values[1:], [10, b"some bytes"])
        self.assertEqual(writes[1].values[2][:2], ("digest", 100_000))
        reads = [record for record in records if record.call == READ]
        self.assertEqual(reads[1].values[2], writes[1].values[2])
        statuses = [record for record in records if len(record.values) == 2 and isinstance(record.values[1], bytes)
                    and len(record.values[1]) == 72 and record.error == 0]
        self.assertEqual([struct.unpack_from("<q", record.values[1])[0] for record in statuses], [100_010, 100_010])

    def test_memory_that_is_none_harms_nobody(self):
        _, records = self.recorded("bad-pointers")
        flagged = [record for record in records if record.flags & NOT_RECORDED]
        self.assertGreater(len(flagged), 10)
        self.assertIn(BAD_ADDRESS, {record.error for record in flagged})

    def test_a_cancelled_thread_ends_behind_its_handlers(self):
        _, records = self.recorded("cancelled")
        own = [record for record in records if record.thread == 1]
        self.assertEqual(own[-3].flags & CANCELLED, CANCELLED)
        self.assertEqual(own[-1].call, THREAD_ENDED)

    def test_the_clock_of_a_recording_goes_on(self):
        _, records = self.recorded("threads")
        ends = [record.ended for record in records]
        self.assertEqual(ends, sorted(ends))
        self.assertEqual(sum(record.call == MUTEX_LOCK for record in records), 800)


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
