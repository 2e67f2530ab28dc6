#!/usr/bin/env python3
"""Boards that all have the same address, each behind a network interface of its own, in network name spaces that are made
for this test and are gone with it. A PC that allows none skips it.

    interface_test.py BUILD"""
import os
import pathlib
import subprocess
import sys
import unittest

sys.dont_write_bytecode = True  # nothing is left beside the sources
sys.path.insert(0, str(pathlib.Path(__file__).resolve().parent))
from at_work import BUILD, PATIENCE, LineTest  # noqa: E402

SKIPPED = 77
ADDRESS = "192.0.2.7"  # of every board
# Passes on what comes to ADDRESS to a simulated board on the loopback of the same name space.
BEHIND = """
import socket, subprocess, sys, threading
board = subprocess.Popen(sys.argv[2:], stdout=subprocess.PIPE, text=True)
where = next(line.split()[-1] for line in board.stdout if " at 127." in line).split(":")
threading.Thread(target=board.stdout.read, daemon=True).start()
def copy(source, sink):
    while data := source.recv(65536):
        sink.sendall(data)
    sink.shutdown(socket.SHUT_WR)
listener = socket.create_server((sys.argv[1], 36001))
print("ready", flush=True)
while True:
    outside, _ = listener.accept()
    while True:
        try:
            inside = socket.create_connection((where[0], int(where[1])))
            break
        except ConnectionRefusedError:
            pass
    for pair in ((outside, inside), (inside, outside)):
        threading.Thread(target=copy, args=pair, daemon=True).start()
"""


def ip(*words):
    subprocess.run(["ip", *words], check=True, timeout=PATIENCE, stdin=subprocess.DEVNULL, capture_output=True)


class InterfaceTest(LineTest):
    def setUp(self):
        super().setUp()
        mark = f"bt{os.getpid()}"
        self.spaces = [f"{mark}-{name}" for name in ("pc", "1", "2")]
        try:
            for space in self.spaces:
                ip("netns", "add", space)
                self.addCleanup(ip, "netns", "delete", space)
                ip("-n", space, "link", "set", "lo", "up")
        except (OSError, subprocess.CalledProcessError) as error:
            self.skipTest(f"no network name spaces: {error}")
        pc = self.spaces[0]
        for number, space in enumerate(self.spaces[1:], 1):
            ip("-n", pc, "link", "add", f"port{number}", "type", "veth", "peer", "name", "eth0", "netns", space)
            for name, link, address in ((pc, f"port{number}", f"192.0.2.{number}"), (space, "eth0", ADDRESS)):
                ip("-n", name, "addr", "add", f"{address}/24", "dev", link)
                ip("-n", name, "link", "set", link, "up")

    def put_board(self, space, *words):
        board = self.start("ip", "netns", "exec", space, sys.executable, "-c", BEHIND, ADDRESS, BUILD / "boardsim/boardsim",
                           "--board", "normal", "--speed", "60", *words, "--", BUILD / "t1_sdk/boardtest")
        board.line("ready")

    def test_two_boards_with_one_address_are_tested_side_by_side(self):
        self.put_board(self.spaces[1])
        self.put_board(self.spaces[2], "--fault", "sensors none")
        slots = "".join(f'[[slot]]\nname = "{n}"\nboard = "{ADDRESS}"\nplan = "plan.toml"\ninterface = "port{n}"\n' for n in (1, 2))
        file = self.write("line.toml", f'[station]\nname = "ICT-3"\nrecords = "records.db"\nlisten = "127.0.0.1:0"\n{slots}')
        line = self.start_line(file, "ip", "netns", "exec", self.spaces[0])
        # The page is in the line's name space, too.
        inside = ["ip", "netns", "exec", self.spaces[0], sys.executable, "-c", ASK, line.url]
        said = subprocess.run(inside, check=True, capture_output=True, text=True, timeout=PATIENCE).stdout
        self.assertEqual(said.split(), ["passed", "failed"])


ASK = """
import json, sys, urllib.request
def ask(path, body=None):
    data = None if body is None else json.dumps(body).encode()
    return urllib.request.urlopen(urllib.request.Request(sys.argv[1] + path, data, {"Content-Type": "application/json"}))
for number in (1, 2):
    ask("api/scan", {"text": f"AB0000000{number}", "slot": str(number)})
for text in ask("api/events"):
    if text.startswith(b"data:") and b'"slots"' in text:
        slots = json.loads(text[5:])["slots"]
        if all(slot["state"] == "done" for slot in slots):
            print(*[slot["run"]["verdict"] for slot in slots])
            break
"""

if __name__ == "__main__":
    suite = unittest.TestLoader().loadTestsFromName("InterfaceTest.test_two_boards_with_one_address_are_tested_side_by_side",
                                                    sys.modules["__main__"])
    result = unittest.TextTestRunner().run(suite)
    if not result.wasSuccessful():
        sys.exit(1)
    sys.exit(SKIPPED if result.skipped else 0)
