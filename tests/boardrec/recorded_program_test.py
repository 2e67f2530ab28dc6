#!/usr/bin/env python3
"""A recorded program does what it does unrecorded, on this processor or an emulated one: recorded_program_test.py
RECORDER PROGRAM [EMULATOR...]. Reads recordings by a second reader of their format."""
import collections
import errno
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
MKE2FS = "/sbin/mke2fs"
START, FINISH, THREAD_ENDED, OPEN, READ, WRITE, ACCESS = 1, 2, 4, 10, 12, 13, 21
UNLINK, UMOUNT, MUTEX_LOCK = 25, 27, 83
CANCELLED, NOT_RECORDED = 2, 8

NO_REPLAY = ("a sanitizer would have to stand before it" if not REPLAY.exists() or re.search(rb"lib[at]san", REPLAY.read_bytes())
             else "a replay answers by the names of the board's program, whose times have 32 bits" if PROGRAM.endswith("_64")
             else "")
REPLAYED = unittest.skipIf(NO_REPLAY, NO_REPLAY)

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
    assert (magic, order, version) == (b"BOARDREC", 0x01020304, 3)
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

    def run_program(self, deed, behind=(), folder="", **variables):
        """The variables are the program's only, not those of an emulator or of the words that it stands behind."""
        words = [word for name, value in variables.items() for word in (["-E"] if EMULATOR else []) + [f"{name}={value}"]]
        words = [*EMULATOR, *words] if EMULATOR else ["/usr/bin/env", *words]
        return subprocess.run([*behind, *words, PROGRAM, deed, str(folder or self.folder)], capture_output=True, timeout=60,
                              check=False)

    def recorded(self, deed, **how):
        file = self.folder / f"{deed}.rec"
        ran = self.run_program(deed, LD_PRELOAD=RECORDER, BOARDRECORD=str(file), **how)
        return ran, list(records_of(file))

    def check_replay(self, deed, ran, records, **how):
        again = self.run_program(deed, LD_PRELOAD=str(REPLAY), BOARDREPLAY=str(self.folder / f"{deed}.rec"), **how)
        self.assertEqual((again.returncode, again.stdout), (ran.returncode, ran.stdout), again.stderr)
        self.assertIn(f"replayed {len(records)} of {len(records)} records".encode(), again.stderr)

    def new_medium(self):
        """Words behind which the folder "medium" is an empty file system, gone with the name space that it is mounted in."""
        image, folder = self.folder / "image", self.folder / "medium"
        folder.mkdir(exist_ok=True)
        words = ["unshare", "--mount", "sh", "-c", 'mount -o loop "$0" "$1" || exit 99; shift; exec "$@"', image, folder]
        try:
            subprocess.run([MKE2FS, "-q", "-F", "-t", "ext2", image, "512k"], capture_output=True, check=True)
            subprocess.run([*words, "true"], capture_output=True, check=True)
        except (OSError, subprocess.CalledProcessError) as error:
            self.skipTest(f"this machine mounts no file system from a file: {getattr(error, 'stderr', error)}")
        return words

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

    @REPLAYED
    def test_what_was_recorded_of_this_machine_comes_out_of_a_replay(self):
        for deed in ("files", "streams", "terminals", "sockets", "clocks", "random", "bad-pointers", "unknown", "threads",
                     "refused-thread", "cut-off", "cancelled", "close-all", "many", "leave", "leave-at-once"):
            with self.subTest(deed):
                ran, records = self.recorded(deed)
                # The folder's file is gone, and of the terminal nothing is left: the recording has all that they said.
                (self.folder / "file").unlink(missing_ok=True)
                self.check_replay(deed, ran, records)
                self.assertFalse((self.folder / "file").exists(), "the replay wrote to the disk")

    @REPLAYED
    def test_a_command_is_answered_with_its_end_and_a_child_is_let_alone(self):
        ran, records = self.recorded("children")
        printed_by_command, _, own = ran.stdout.partition(b"\n")
        self.assertEqual((printed_by_command, own), (b"||", b"system 0 0\n"))
        again = self.run_program("children", LD_PRELOAD=str(REPLAY), BOARDREPLAY=str(self.folder / "children.rec"))
        self.assertEqual((again.returncode, again.stdout), (ran.returncode, own))
        self.assertEqual(again.stderr.count(b"boardsim: "), 1)
        self.assertIn(f"replayed {len(records)} of {len(records)} records".encode(), again.stderr)

    def test_a_medium_is_filled_and_taken_off_recorded_as_unrecorded(self):
        place = {"folder": self.folder / "medium"}
        plain = self.run_program("medium", behind=self.new_medium(), **place)
        ran, records = self.recorded("medium", behind=self.new_medium(), **place)
        self.assertEqual((ran.returncode, ran.stdout, ran.stderr), (0, plain.stdout, b""))
        self.assertEqual([(record.call, errno.errorcode[record.error]) for record in records if record.error],
                         [(WRITE, "ENOSPC"), (UMOUNT, "EBUSY"), (OPEN, "EROFS"), (UNLINK, "EROFS"), (ACCESS, "ENOENT"),
                          (UMOUNT, "EINVAL")])

    @REPLAYED
    def test_a_medium_that_is_gone_comes_out_of_a_replay(self):
        place = {"folder": self.folder / "medium"}
        ran, records = self.recorded("medium", behind=self.new_medium(), **place)
        self.check_replay("medium", ran, records, **place)

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
        self.assertIn(errno.EFAULT, {record.error for record in flagged})

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
