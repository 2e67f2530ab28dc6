#!/usr/bin/env python3
"""The rack: boards are put into slots and pulled out of them, and none is left behind."""
import os
import pathlib
import select
import signal
import socket
import subprocess
import sys
import tempfile
import unittest

sys.dont_write_bytecode = True  # nothing is left beside the sources
ROOT = pathlib.Path(__file__).resolve().parents[2]
BUILD = pathlib.Path(sys.argv.pop()) if pathlib.Path(sys.argv[-1]).is_dir() else ROOT / "build/release"
PATIENCE = 20  # seconds, against hanging only


class RackTest(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory(prefix="boardtest-rack.")
        self.addCleanup(folder.cleanup)
        self.console = pathlib.Path(folder.name)
        self.rack = subprocess.Popen([sys.executable, ROOT / "boardsim/rack/rack.py", "--build", BUILD, "--console", self.console,
                                      "1", "2"], stdin=subprocess.PIPE, stdout=subprocess.PIPE, bufsize=0)
        self.said = b""  # and not yet asked for
        self.addCleanup(self.end)
        self.ports = [int(self.event().rpartition(":")[2]) for _ in range(2)]

    def end(self):
        self.rack.kill()
        self.rack.wait()
        self.rack.stdin.close()
        self.rack.stdout.close()

    def event(self):
        """The next line that the rack says."""
        while b"\n" not in self.said:
            self.assertTrue(select.select([self.rack.stdout], [], [], PATIENCE)[0], "the rack says nothing")
            self.said += self.rack.stdout.read(4096)
        line, _, self.said = self.said.partition(b"\n")
        return line.decode()

    def tell(self, command):
        """Gives a command; what the rack says of it."""
        self.rack.stdin.write(f"{command}\n".encode())
        return self.event()

    def insert(self, rest):
        said = self.tell(f"insert {rest} --speed 40")
        self.assertRegex(said, r"^inserted \d \w+ 127\.[0-9.]+:36001$")
        return said

    def connect(self, slot):
        """A station's connection that the board has greeted."""
        station = socket.create_connection(("127.0.0.1", self.ports[slot - 1]), PATIENCE)
        self.addCleanup(station.close)
        self.assertEqual(self.event(), f"connected {slot}")
        self.assertTrue(station.recv(65536))
        return station

    def refuses(self, slot):
        with self.assertRaises(ConnectionRefusedError):
            socket.create_connection(("127.0.0.1", self.ports[slot - 1]), PATIENCE)

    def ask(self, slot, name):
        """Runs one test on the board in a slot: the exit status and the output of the station."""
        ran = subprocess.run([BUILD / "station/t1station", f"127.0.0.1:{self.ports[slot - 1]}", "run", name], timeout=PATIENCE,
                             text=True, stdout=subprocess.PIPE, stderr=subprocess.DEVNULL)
        self.assertEqual((self.event(), self.event()), (f"connected {slot}", f"disconnected {slot}"))
        return ran.returncode, ran.stdout

    def test_boards_side_by_side_have_their_own_family_and_faults_and_console(self):
        self.insert("1 k")
        self.insert(f"2 rkd2 --fault 'sensors none' --build {BUILD}")
        self.assertEqual(self.ask(1, "temp")[0], 0)
        status, said = self.ask(2, "temp")
        self.assertEqual(status, 1)
        self.assertIn("未发现温度传感器", said)
        for slot, family in (("1", "k"), ("2", "rkd2")):
            self.assertIn(f"board {family} ", (self.console / f"{slot}.log").read_text(errors="replace"))

    def test_an_empty_connector_refuses_and_takes_the_next_board_at_the_same_port(self):
        self.refuses(1)
        first = self.insert("1 normal")
        self.assertEqual(self.tell("pull 1"), "pulled 1")
        self.refuses(1)
        self.assertNotEqual(self.insert("1 normal"), first)
        self.assertEqual(self.ask(1, "temp")[0], 0)

    def test_a_board_that_is_pulled_resets_its_connections(self):
        self.insert("1 normal")
        station = self.connect(1)
        self.assertEqual(self.tell("pull 1 reset"), "pulled 1")
        with self.assertRaises(ConnectionResetError):
            while station.recv(65536):
                pass

    def test_a_board_that_is_pulled_without_a_word_leaves_its_connections_open(self):
        self.insert("1 normal")
        station = self.connect(1)
        self.assertEqual(self.tell("pull 1 silence"), "pulled 1")
        self.refuses(1)
        self.insert("1 normal")  # the next board does not speak there either
        station.setblocking(False)
        with self.assertRaises(BlockingIOError):
            while True:
                self.assertNotEqual(station.recv(65536), b"", "the connection was closed")

    def test_a_board_that_restarts_is_off_until_another_one_is_put_in(self):
        self.insert("1 normal")
        self.assertEqual(self.ask(1, "restart")[0], 0)
        self.assertEqual(self.event(), "ended 1 0")
        self.refuses(1)
        self.assertIn("there is a board in slot 1", self.tell("insert 1 normal"))
        self.assertEqual(self.tell("pull 1"), "pulled 1")
        self.insert("1 normal")
        self.assertEqual(self.ask(1, "temp")[0], 0)

    def test_what_cannot_be_done_is_said_and_the_rack_goes_on(self):
        for command, words in (("insert 1 nonsense", 'there is no board "nonsense"'),
                               ("insert 1 normal --fault 'rtc backwards'", "is not understood"),
                               ("insert 1 normal --fault bind", "bind socket failed!"),
                               ("insert 1 normal --build /nowhere", "cannot be started"), ("insert 3 normal", "no slot 3"),
                               ("pull 1", "no board in slot 1"), ("pull 1 gently", "reset or silence"),
                               ("insert 1 'normal", "quotation"), ("shake 1", "shake")):
            with self.subTest(command=command):
                said = self.tell(command)
                self.assertRegex(said, "^error ")
                self.assertIn(words, said)
                self.refuses(1)
        self.insert("1 normal")

    def processes(self):
        """A descriptor for each process that the rack's board consists of, by which its end can be awaited."""
        below, found = [self.rack.pid], []
        while below:
            pid = below.pop()
            children = pathlib.Path(f"/proc/{pid}/task/{pid}/children").read_text().split()
            below += map(int, children)
            found += [os.pidfd_open(int(child)) for child in children]
        self.assertEqual(len(found), 2)  # a launcher and a program
        for descriptor in found:
            self.addCleanup(os.close, descriptor)
        return found

    def test_nothing_is_left_of_a_rack_that_ends_however_it_ends(self):
        for end in (lambda: self.rack.stdin.close(), *(lambda a=a: self.rack.send_signal(a) for a in
                                                         (signal.SIGINT, signal.SIGTERM, signal.SIGKILL))):
            self.insert("1 normal")
            self.connect(1)
            processes = self.processes()
            end()
            for process in processes:
                self.assertTrue(select.select([process], [], [], PATIENCE)[0], "a process is left behind")
            status = self.rack.wait(PATIENCE)
            self.refuses(1)
            self.assertEqual(status, -signal.SIGKILL if status else 0)
            self.doCleanups()
            self.setUp()

    def test_a_connector_that_is_taken_is_said(self):
        taken = socket.create_server(("127.0.0.1", 0))
        self.addCleanup(taken.close)
        ran = subprocess.run([sys.executable, ROOT / "boardsim/rack/rack.py", f"1={taken.getsockname()[1]}"], text=True,
                             stdin=subprocess.PIPE, capture_output=True, timeout=PATIENCE)
        self.assertEqual(ran.returncode, 1)
        self.assertRegex(ran.stderr, f"^rack.py: slot 1 cannot have port {taken.getsockname()[1]}: .*in use\n$")
        with socket.create_server(("127.0.0.1", self.ports[0])):  # an empty one does not listen itself
            self.assertIn(f"cannot listen on port {self.ports[0]}", self.tell("insert 1 normal"))
        self.insert("1 normal")


if __name__ == "__main__":
    unittest.main()
