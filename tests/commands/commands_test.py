#!/usr/bin/env python3
"""What ./run, ./test and ./build-arm do when something is in their way, in a folder of their own with stand-ins for what
they build and call: a build that cannot be done is never followed by a test of old programs."""
import fcntl
import os
import pathlib
import shutil
import stat
import subprocess
import sys
import tempfile
import unittest

sys.dont_write_bytecode = True  # nothing is left beside the sources
ROOT = pathlib.Path(__file__).resolve().parents[2]
# What the commands call of a bare system, and what they look for before they install anything.
TOOLS = ["bash", "sh", "env", "sed", "grep", "flock", "stat", "mkdir", "cat", "head", "tail", "sort", "id", "kill", "sleep",
         "seq", "dirname", "nproc", "rm", "tr", "python3", "wc", "tee", "find"]
LOOKED_FOR = ["chromium", "chromedriver", "c++", "cmake", "ninja", "clang-format", "doxygen", "shellcheck", "git", "gcovr",
              "dh", "groff", "arm-linux-gnueabihf-g++",
              "arm-linux-gnueabi-g++"]
BOARD = r"""#!/bin/sh
for word in "$@"; do case $word in
  --print-family) [ "$2" = normal ] || { echo "there is no board \"$2\"" >&2; exit 64; }; echo normal; exit ;;
  broken) echo "--fault: not understood" >&2; exit 64 ;;
esac; done
printf 'boardsim: board normal (0x9601) at 127.1.2.3:36001\nwords of the console\n'
exec sleep 600
"""
STATION = """#!/bin/sh
echo "$@" >>calls
[ "$2" = run ] || exit 0
echo "1 test: the table"
exit $(cat station_status 2>/dev/null || echo 0)
"""


class Commands(unittest.TestCase):
    def setUp(self):
        self.folder = pathlib.Path(tempfile.mkdtemp(prefix="boardtest-commands."))
        self.addCleanup(shutil.rmtree, self.folder)
        for name in ("run", "test", "bench", "build-arm"):
            shutil.copy(ROOT / name, self.folder)
        shutil.copytree(ROOT / "scripts", self.folder / "scripts")
        self.bin = self.folder / "bin"
        self.bin.mkdir()
        for tool in TOOLS:
            (self.bin / tool).symlink_to(shutil.which(tool))
        for tool in LOOKED_FOR:
            self.stand_in(self.bin / tool, "#!/bin/sh\n")
        self.stand_in(self.bin / "cmake", '#!/bin/sh\necho "cmake $*" >>calls\necho "[1/2] compiled"\n')
        self.stand_in(self.bin / "ctest", '#!/bin/sh\necho "ctest $*" >>calls\ncat ctest_says\n')
        for name, text in (("boardsim/boardsim", BOARD), ("station/t1station", STATION)):
            self.stand_in(self.folder / "build/release" / name, text)
        (self.folder / "calls").touch()

    @staticmethod
    def stand_in(path, text):
        path.parent.mkdir(parents=True, exist_ok=True)
        path.unlink(missing_ok=True)
        path.write_text(text)
        path.chmod(path.stat().st_mode | stat.S_IXUSR)

    def start(self, *command, **keywords):
        return subprocess.Popen([f"./{command[0]}", *command[1:]], cwd=self.folder, text=True, stdin=subprocess.DEVNULL,
                                env={"PATH": str(self.bin), "LC_ALL": "C.UTF-8"}, stdout=subprocess.PIPE,
                                stderr=subprocess.PIPE, **keywords)

    def ends(self, status, *command):
        """Runs a command to its end; its standard output and error, once it ended with this status."""
        process = self.start(*command)
        out, err = process.communicate(timeout=60)
        self.assertEqual(process.returncode, status, out + err)
        return out, err

    def calls(self):
        return (self.folder / "calls").read_text()

    def test_a_log_that_cannot_be_written_ends_a_command_before_old_programs_are_tested(self):
        for log, target in (("build/release.log", None), ("build/release.log", "/dev/full"), ("build/lock", None)):
            with self.subTest(log=log, target=target):
                path = self.folder / log
                path.unlink(missing_ok=True)
                path.symlink_to(target) if target else path.mkdir()
                for command in ("run", "test"):
                    out, err = self.ends(3, command)
                    self.assertNotIn("Verdict", out)
                    self.assertIn(log, err.splitlines()[-1])
                self.assertNotIn("127.1.2.3", self.calls())
                self.assertNotIn("ctest", self.calls())
                path.unlink() if target else path.rmdir()

    def test_a_folder_that_cannot_be_made_ends_a_command(self):
        shutil.rmtree(self.folder / "build")
        (self.folder / "build").write_text("a file")
        self.assertIn("no folder build/", self.ends(3, "run")[1])

    def test_packages_whose_log_cannot_be_written_are_not_taken_as_installed(self):
        (self.bin / "ninja").unlink()
        self.stand_in(self.bin / "id", "#!/bin/sh\necho 0\n")
        self.stand_in(self.bin / "apt-get", '#!/bin/sh\necho "apt-get $*" >>calls\n')
        (self.folder / "build/install.log").mkdir()
        self.assertIn("build/install.log", self.ends(3, "run")[1])
        self.assertEqual(self.calls(), "")

    def test_packages_that_only_root_may_install_are_named(self):
        (self.bin / "ninja").unlink()
        self.stand_in(self.bin / "id", "#!/bin/sh\necho 1000\n")
        self.assertIn("apt-get install ninja-build\n", self.ends(3, "run")[1])

    def test_a_build_that_fails_ends_a_command_with_the_compilers_words(self):
        self.stand_in(self.bin / "cmake", '#!/bin/sh\necho "main.cpp:1: error: no such thing"\nexit 1\n')
        self.assertIn("no such thing", self.ends(3, "run")[1])
        self.assertEqual(self.calls(), "")

    def test_the_second_of_two_commands_waits_until_the_first_has_built(self):
        with open(self.folder / "build/lock", "w") as lock:
            fcntl.flock(lock, fcntl.LOCK_EX)
            second = self.start("run")
            self.assertIn("Building", second.stderr.readline())
            self.assertIn("waiting for it", second.stderr.readline())
            self.assertEqual(self.calls(), "")
        out, _ = second.communicate(timeout=60)
        self.assertEqual(second.returncode, 0)
        self.assertIn("passed", out)

    def test_the_last_line_is_the_verdict_and_the_console_is_in_the_file_that_is_named(self):
        for status, verdict in ((0, "the normal board passed"), (1, "the normal board failed"), (2, "interrupted"),
                                (6, "was not reached")):
            (self.folder / "station_status").write_text(str(status))
            out, _ = self.ends(status, "run", "rtc")
            self.assertIn(verdict, out.splitlines()[-1])
            self.assertNotIn("words of the console", out)
            named = next(line.rpartition(" ")[2] for line in out.splitlines() if line.startswith("Its console is in "))
            self.assertIn("words of the console", (self.folder / named).read_text())
            self.assertIn("words of the console", self.ends(status, "run", "rtc", "--console")[0])

    def test_a_unit_goes_through_a_plan_and_its_run_is_kept(self):
        (self.folder / "plan.toml").touch()
        unit = ["run", "--plan", "plan.toml", "--serial", "AB00000001"]
        self.assertIn("unit AB00000001 on the normal board passed", self.ends(0, *unit)[0].splitlines()[-1])
        self.assertIn("plan check plan.toml\n", self.calls())
        self.assertIn("--plan plan.toml --serial AB00000001 --records build/records.db --console build/console/normal.tty\n", self.calls())
        self.ends(0, *unit, "--records", "shift.db")
        self.assertIn("--records shift.db ", self.calls())
        (self.folder / "station_status").write_text("4")
        self.assertIn("refused", self.ends(4, *unit)[0].splitlines()[-1])

    def test_a_line_is_demonstrated_by_what_was_just_built(self):
        self.stand_in(self.folder / "boardsim/rack/demonstration.py", 'import sys\nprint("line", *sys.argv[1:])\nsys.exit(4)\n')
        self.assertEqual(self.ends(4, "run", "--line", "--seed", "7", "--serial-by-hand")[0], "line --seed 7 --serial-by-hand\n")
        self.assertIn("--target boardtest boardsim boardsim_preload t1station\n", self.calls())

    def test_a_shift_is_played_by_what_was_just_built(self):
        self.stand_in(self.folder / "boardsim/rack/shift.py", 'import sys\nprint("shift", *sys.argv[1:])\nsys.exit(1)\n')
        self.assertEqual(self.ends(1, "run", "--shift", "200", "--seed", "7")[0], "shift 200 --seed 7\n")
        self.assertIn("--target boardtest boardsim boardsim_preload t1station\n", self.calls())

    def test_runs_side_by_side_keep_their_consoles_apart(self):
        (self.folder / "build/console").mkdir()
        with open(self.folder / "build/console/normal.log", "w") as taken:
            fcntl.flock(taken, fcntl.LOCK_EX)
            self.assertIn("build/console/normal-2.log", self.ends(0, "run", "rtc")[0])

    def test_a_board_that_does_not_start_says_why_and_is_no_failed_test(self):
        self.assertIn("there is no board", self.ends(64, "run", "--board", "nonsense")[1])
        self.assertIn("not understood", self.ends(64, "run", "--fault", "broken")[1])

    def test_a_command_line_that_makes_no_sense_is_refused_before_anything_is_built(self):
        for command in (["run", "--all-boards", "--fault", "rtc stopped"], ["run", "--faults", "rtc"], ["run", "--nonsense"],
                        ["run", "--faults", "--serve"], ["run", "--serve", "rtc"], ["run", "--board"],
                        ["run", "--plan", "run"], ["run", "--serial", "AB00000001"], ["run", "--records", "shift.db"],
                        ["run", "--plan", "run", "--serial", "AB00000001", "rtc"],
                        ["run", "--plan", "run", "--serial", "AB00000001", "--serve"],
                        ["run", "--plan", "missing.toml", "--serial", "AB00000001"], ["run", "--faults", "--plan", "run"],
                        ["run", "--line", "--board", "k"], ["run", "--line", "--seed", "first"], ["run", "--seed", "3"],
                        ["run", "--line", "rtc"], ["run", "--serve", "--serial-by-hand"],
                        ["run", "--shift"], ["run", "--shift", "all"], ["run", "--shift", "9", "--serial-by-hand"],
                        ["run", "--shift", "9", "--line"], ["run", "--shift", "9", "rtc"],
                        ["test", "--asan", "--tsan"], ["test", "--tidy", "--only", "x"], ["test", "--fuzz", "long"],
                        ["test", "--soak"], ["test", "--soak", "0"], ["test", "--soak", "2", "--all"], ["test", "--soak", "2", "--tsan"],
                        ["test", "--arm", "--all"], ["test", "--only"], ["test", "--record", "--only", "x"],
                        ["test", "--record", "--asan"], ["test", "--record", "--tidy"],
                        ["test", "--packages", "--debian13"], ["test", "--packages", "--record"], ["bench", "--nonsense"],
                        ["build-arm", "now"]):
            with self.subTest(command=command):
                self.ends(64, *command)
        self.assertEqual(self.calls(), "")

    def test_tests_that_fail_are_shown_and_those_that_pass_are_counted(self):
        (self.folder / "ctest_says").write_text("      Start  1: a/b\n 1/2 Test  #1: a/b ....   Passed    0.01 sec\n"
                                                " 2/2 Test  #2: c/d ....***Failed  0.02 sec\nbecause of this\nthe end")
        out, _ = self.ends(0, "test")
        self.assertEqual(out, " 2/2 Test  #2: c/d ....***Failed  0.02 sec\nbecause of this\nthe end\n")
        self.stand_in(self.bin / "ctest", "#!/bin/sh\nexit 8\n")
        self.ends(8, "test")

    def test_a_run_that_is_recorded_is_a_section_of_the_measurements_and_one_that_fails_is_not(self):
        page = self.folder / "docs/measurements.md"
        page.parent.mkdir()
        old = "".join(f"<!-- begin {section} -->\nold\n<!-- end {section} -->\n" for section in ("Tests", "Coverage"))
        page.write_text(old)
        (self.folder / "ctest_says").touch()
        self.stand_in(self.bin / "ctest", "#!/bin/sh\nexit 8\n")
        self.ends(8, "test", "--record")
        self.assertEqual(page.read_text(), old)
        junit = '<testsuite time="3"><testcase name="house/links" time="1.5"/><testcase name="house/shell" time="0.5"/></testsuite>'
        self.stand_in(self.bin / "ctest", '#!/bin/sh\nfor word in "$@"; do case $word in /*.xml) '
                                          f"echo '{junit}' >$word ;; esac; done\n")
        self.ends(0, "test")
        self.assertEqual(page.read_text(), old)
        self.ends(0, "test", "--record")
        self.assertRegex(page.read_text(), r"(?s)begin Tests.*`\./test --record` on .*\| house \| 2 \| 2\.0 \|\n\| all.* 3 \|")
        self.stand_in(self.bin / "gcovr", "#!/bin/sh\necho 'lines: 90.0% (9 out of 10)\nfunctions: 100.0% (2 out of 2)\n"
                                          "branches: 50.0% (3 out of 6)'\n")
        (self.folder / "build/coverage").mkdir()
        self.ends(0, "test", "--coverage", "--record")
        for house in ("t1_sdk", "station", "boardsim"):
            self.assertIn(f"| `{house}/` | branches | 50.0 % | 3 | 6 |\n", page.read_text())

    def test_a_soak_of_what_was_just_built_is_recorded_when_nothing_grew(self):
        page = self.folder / "docs/measurements.md"
        page.parent.mkdir()
        page.write_text("<!-- begin Soak -->\n<!-- end Soak -->\n")
        script, said = self.folder / "tests/soak/soak.py", "8 units in 9 runs, 2 samples\n\n| Figure |\n| --- |\n"
        for status in (1, 0):
            self.stand_in(script, f"import sys\nprint(f'minutes: {{sys.argv[1:]}}\\n'{said!r})\nsys.exit({status})\n")
            self.assertIn("minutes: ['3']\n", self.ends(status, "test", "--soak", "3", "--record")[0])
            self.assertEqual("8 units in 9 runs" in page.read_text(), status == 0)
        self.assertIn("--preset release --target boardtest boardsim boardsim_preload t1station\n", self.calls())

    def test_the_house_rules_build_only_what_they_look_at(self):
        (self.folder / "ctest_says").touch()
        self.ends(0, "test", "--only", "house")
        self.assertIn("--preset release --target boardtest boardsim_preload\n", self.calls())

    def test_a_release_without_a_clone_is_refused_before_anything_is_built(self):
        self.stand_in(self.bin / "git", "#!/bin/sh\nexit 128\n")
        self.assertIn("no clone", self.ends(3, "build-arm", "--release")[1])
        self.assertEqual(self.calls(), "")


if __name__ == "__main__":
    unittest.main()
