#!/usr/bin/env python3
"""The bills of materials beside what is shipped are SPDX 2.3, and true: bill_test.py ARCHIVE ..."""
import hashlib
import json
import pathlib
import re
import subprocess
import sys
import tempfile
import unittest

ARCHIVES = [pathlib.Path(word) for word in sys.argv[1:]]
ID = re.compile(r"SPDXRef-[A-Za-z0-9.-]+")
LICENCES = {"Apache-2.0", "BSD-3-Clause", "BSL-1.0", "EPL-2.0", "GPL-3.0-or-later", "ISC", "LGPL-2.1-or-later", "MIT",
            "PostgreSQL", "blessing"}  # of SPDX's list, those that we know
RELATIONS = {"DESCRIBES", "CONTAINS", "DYNAMIC_LINK"}


def digest(kind, content):
    return hashlib.new(kind.lower(), content).hexdigest()


def is_licence(expression):
    words = re.sub(r" WITH GCC-exception-3\.1", "", expression)
    return set(re.split(r" AND | OR ", words.replace("(", "").replace(")", ""))) <= LICENCES


class Bill(unittest.TestCase):
    def setUp(self):
        self.assertTrue(ARCHIVES)

    def bills(self):
        """Each archive, its bill, and its files by name."""
        for archive in ARCHIVES:
            with tempfile.TemporaryDirectory() as folder:
                if archive.suffix == ".deb":
                    subprocess.run(["dpkg-deb", "--extract", archive, folder], check=True)
                    root = pathlib.Path(folder)
                else:
                    subprocess.run(["tar", "--extract", "--file", archive, "--directory", folder], check=True)
                    root = next(pathlib.Path(folder).iterdir())
                bill = archive.with_name(re.sub(r"(\.tar\.gz|\.deb)$", "", archive.name) + ".spdx.json")
                files = {f"./{path.relative_to(root).as_posix()}": path.read_bytes()
                         for path in root.rglob("*") if path.is_file() and not path.is_symlink()}
                yield archive, json.loads(bill.read_text(encoding="utf-8")), files

    def test_every_field_that_the_standard_asks_for_is_there(self):
        for archive, bill, _ in self.bills():
            self.assertEqual((bill["spdxVersion"], bill["dataLicense"], bill["SPDXID"]),
                             ("SPDX-2.3", "CC0-1.0", "SPDXRef-DOCUMENT"))
            self.assertRegex(bill["documentNamespace"], r"^https://[^\s#]+$")
            self.assertRegex(bill["creationInfo"]["created"], r"^\d{4}-\d\d-\d\dT\d\d:\d\d:\d\dZ$")
            for creator in bill["creationInfo"]["creators"]:
                self.assertRegex(creator, r"^(Tool|Organization|Person): \S")
            for package in bill["packages"]:
                for key in ("name", "versionInfo", "downloadLocation", "copyrightText"):
                    self.assertTrue(package[key], package)
                self.assertRegex(package["supplier"], r"^Organization: \S")
                for key in ("licenseConcluded", "licenseDeclared"):
                    self.assertTrue(is_licence(package[key]), package)
            for file in bill["files"]:
                self.assertTrue(file["licenseConcluded"] == "NOASSERTION" or is_licence(file["licenseConcluded"]), file)

    def test_every_name_is_given_once_and_every_relation_is_between_names_that_are_there(self):
        for _, bill, _ in self.bills():
            names = [bill["SPDXID"], *(one["SPDXID"] for one in bill["packages"] + bill["files"])]
            self.assertEqual(len(names), len(set(names)))
            for name in names:
                self.assertTrue(ID.fullmatch(name), name)
            for relation in bill["relationships"]:
                self.assertIn(relation["relationshipType"], RELATIONS)
                self.assertIn(relation["spdxElementId"], names)
                self.assertIn(relation["relatedSpdxElement"], names)
            described = [r["relatedSpdxElement"] for r in bill["relationships"] if r["relationshipType"] == "DESCRIBES"]
            self.assertEqual(described, [bill["packages"][0]["SPDXID"]])

    def test_files_and_checksums_are_those_that_are_shipped(self):
        for archive, bill, files in self.bills():
            listed = {file["fileName"]: {one["algorithm"]: one["checksumValue"] for one in file["checksums"]}
                      for file in bill["files"]}
            self.assertEqual(listed, {name: {kind: digest(kind, content) for kind in ("SHA1", "SHA256")}
                                      for name, content in files.items()})
            main = bill["packages"][0]
            self.assertEqual(main["checksums"][0]["checksumValue"], digest("SHA256", archive.read_bytes()))
            sums = "".join(sorted(digest("SHA1", content) for content in files.values()))
            self.assertEqual(main["packageVerificationCode"]["packageVerificationCodeValue"], digest("SHA1", sums.encode()))

    def test_a_package_needs_what_its_bill_says_it_is_linked_with(self):
        for archive, bill, _ in self.bills():
            if archive.suffix != ".deb":
                continue
            depends = subprocess.run(["dpkg-deb", "--field", archive, "Depends"], check=True, text=True,
                                     stdout=subprocess.PIPE).stdout
            needed = {word.split()[0] for word in depends.split(",") if word.strip()} - {"adduser"}
            linked = {r["relatedSpdxElement"] for r in bill["relationships"] if r["relationshipType"] == "DYNAMIC_LINK"}
            self.assertEqual({package["name"] for package in bill["packages"] if package["SPDXID"] in linked}, needed)

    def test_a_library_whose_headers_are_compiled_in_is_part_of_it_and_its_notice_comes_along(self):
        for archive, bill, files in self.bills():
            notices = {pathlib.PurePath(name).name.partition(".copyright")[0] for name in files if ".copyright" in name}
            parts = {r["relatedSpdxElement"] for r in bill["relationships"] if r["relationshipType"] == "CONTAINS"}
            names = {package["name"] for package in bill["packages"] if package["SPDXID"] in parts}
            if "station" in archive.name:
                self.assertEqual(names, notices)
                self.assertTrue({"libcli11-dev", "nlohmann-json3-dev", "libtomlplusplus-dev"} < names, names)


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
