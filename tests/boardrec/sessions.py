"""Sessions in which a station asks a simulated board for all tests of its family."""
import re
import subprocess

BEYOND = 30  # seconds that a test is given beyond its usual length
VOLTAGES = {9728: 650, 9984: 650, 10240: 650}  # tests that need one
QUIT = 62208


def output_of(*words):
    return subprocess.run([str(word) for word in words], capture_output=True, text=True, check=True).stdout


class Boards:
    """Simulated boards of one build."""

    def __init__(self, build, folder):
        self.launcher, self.program = build / "boardsim/boardsim", build / "t1_sdk/boardtest"
        self.station, self.tool, self.folder = build / "station/t1station", build / "boardrec/boardrec", folder

    def families(self):
        return [line.split()[0] for line in output_of(self.launcher, "--board", "list").splitlines()[1:]]

    def script(self, family):
        """A station that asks for all tests of the family, one after the other; the restart ends it, or the quit."""
        file = self.folder / f"{family}.station"
        if file.exists():
            return file
        lines, second = ["1 connect"], 2
        for row in output_of(self.station, "list", "--family", family).splitlines()[1:]:
            found = re.match(r"\s*(-?\d+)\s+(?:0x\w+\s+)?[a-z]\S*\s+(\d+)", row)
            code, usual = int(found[1]), int(found[2])
            parameter = f"<Parameters>{VOLTAGES[code]}</Parameters>" if code in VOLTAGES else ""
            lines.append(self.asks(second, code, parameter))
            second += usual + BEYOND
        lines += [self.asks(second, QUIT, ""), f"{second + 5} end"]
        file.write_text("\n".join(lines) + "\n")
        return file

    @staticmethod
    def asks(second, code, parameter):
        document = f"<TestItem><TestCode>{code}</TestCode>{parameter}</TestItem>".encode()
        return f"{second} send {(len(document).to_bytes(4, 'little') + document).hex()}"

    def launch(self, *options):
        return subprocess.run([self.launcher, *options, "--", self.program], stdout=subprocess.PIPE, stderr=subprocess.PIPE,
                              check=False)

    def record(self, family, file, *options):
        return self.launch("--board", family, "--pace", "virtual", "--station", self.script(family), "--record", file, *options)
