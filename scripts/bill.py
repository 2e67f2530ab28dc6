#!/usr/bin/env python3
"""Writes a bill of materials, SPDX 2.3 in JSON, beside what is shipped: bill.py FILE FOLDER VERSION

FILE is an archive or a Debian package, FOLDER what is in it; the bill is FILE without its suffix and with .spdx.json.
Listed are its files, the libraries whose notices are in its folder `licences` (they are compiled in, or there as files)
and those that its programs are linked with. Licences are those of packaging/licences.md: a library that is not there is
an error. SOURCE_DATE_EPOCH is when it was made."""
import datetime
import hashlib
import json
import os
import pathlib
import re
import subprocess
import sys

ROOT = pathlib.Path(__file__).resolve().parents[1]
OUR_LICENCE = "Apache-2.0"


def output(*command):
    return subprocess.run(command, check=True, stdout=subprocess.PIPE, text=True).stdout


def licence_of(source):
    """The licence of a library by Debian's source package: `gcc` is the row of `gcc-12` too."""
    rows = re.findall(r"^\|[^|]*\| `([a-z0-9+-]+)` \| `([^`]+)` \|", (ROOT / "packaging/licences.md").read_text("utf-8"), re.M)
    for name, licence in rows:
        if re.fullmatch(re.escape(name) + r"[0-9.-]*(-cross)?", source):
            return licence
    sys.exit(f"bill.py: packaging/licences.md has no licence of {source}")


def library(package):
    """A package of Debian's as a package of the bill."""
    form = "${Version} ${source:Package} ${Architecture}"
    version, source, architecture = output("dpkg-query", "--show", "--showformat", form, package).split()
    licence = licence_of(source)
    return {
        "SPDXID": "SPDXRef-" + re.sub(r"[^A-Za-z0-9.-]", "-", package),
        "name": package,
        "versionInfo": version,
        "supplier": "Organization: Debian",
        "downloadLocation": "NOASSERTION",
        "filesAnalyzed": False,
        "licenseConcluded": licence,
        "licenseDeclared": licence,
        "copyrightText": "NOASSERTION",
        "sourceInfo": f"built from Debian's source package {source}",
        "externalRefs": [{"referenceCategory": "PACKAGE-MANAGER", "referenceType": "purl",
                          "referenceLocator": f"pkg:deb/debian/{package.replace('+', '%2B')}@{version.replace('+', '%2B')}"
                                              f"?arch={architecture}"}],
    }


def compiled_in(folder):
    """The packages of Debian's that are in the programs, or as files beside them."""
    for licences in folder.rglob("licences"):
        if (licences / "versions").exists():
            return [line.split()[0] for line in (licences / "versions").read_text().splitlines()]
        return [notice.name.partition(".copyright")[0] for notice in licences.glob("*.copyright*")]
    return []


def linked(files):
    """The packages of Debian's that bring what the programs need and what is not among the files itself."""
    own = {file.name for file in files}
    needed = set()
    for file in files:
        with file.open("rb") as stream:
            if stream.read(4) != b"\x7fELF":
                continue
        needed |= set(re.findall(r"\(NEEDED\) .*\[(.+)\]", output("readelf", "--wide", "--dynamic", str(file)))) - own
    architecture = output("dpkg", "--print-architecture").strip()
    return sorted({found[1] for name in needed for found in
                   [re.search(rf"^(\S+):{architecture}: ", output("dpkg-query", "--search", f"*/{name}"), re.M)]})


def listed(folder, file):
    """A file as the bill has it."""
    content = file.read_bytes()
    name = "./" + file.relative_to(folder).as_posix()
    third_party = "licences" in file.parts and file.name != "README.md"
    return {
        "SPDXID": "SPDXRef-File-" + hashlib.sha1(name.encode()).hexdigest(),
        "fileName": name,
        "checksums": [{"algorithm": kind, "checksumValue": hashlib.new(kind.lower(), content).hexdigest()}
                      for kind in ("SHA1", "SHA256")],
        "licenseConcluded": "NOASSERTION" if third_party or file.match("recording/lib/*") else OUR_LICENCE,
        "copyrightText": "NOASSERTION",
    }


def bill(shipped, folder, version):
    paths = sorted(path for path in folder.rglob("*") if path.is_file() and not path.is_symlink())
    files = [listed(folder, path) for path in paths]
    sums = sorted(file["checksums"][0]["checksumValue"] for file in files)
    sha256 = hashlib.sha256(shipped.read_bytes()).hexdigest()
    inside, beside = compiled_in(folder), linked(paths)
    packages = {name: library(name) for name in sorted({*inside, *beside})}
    name = re.split(r"_|-\d", shipped.name)[0]
    main = {
        "SPDXID": "SPDXRef-Package",
        "name": name,
        "versionInfo": version,
        "packageFileName": shipped.name,
        "supplier": "Organization: boardtest maintainers",
        "downloadLocation": "NOASSERTION",
        "filesAnalyzed": True,
        "packageVerificationCode": {"packageVerificationCodeValue": hashlib.sha1("".join(sums).encode()).hexdigest()},
        "checksums": [{"algorithm": "SHA256", "checksumValue": sha256}],
        "licenseConcluded": " AND ".join(f"({licence})" if " OR " in licence else licence for licence in dict.fromkeys(
            [OUR_LICENCE, *(packages[package]["licenseDeclared"] for package in inside)])),
        "licenseDeclared": OUR_LICENCE,
        "copyrightText": "NOASSERTION",
    }
    relations = [("SPDXRef-DOCUMENT", "DESCRIBES", main["SPDXID"])]
    relations += [(main["SPDXID"], "CONTAINS", packages[package]["SPDXID"]) for package in sorted(inside)]
    relations += [(main["SPDXID"], "DYNAMIC_LINK", packages[package]["SPDXID"]) for package in beside]
    relations += [(main["SPDXID"], "CONTAINS", file["SPDXID"]) for file in files]
    created = datetime.datetime.fromtimestamp(int(os.environ["SOURCE_DATE_EPOCH"]), datetime.timezone.utc)
    return {
        "spdxVersion": "SPDX-2.3",
        "dataLicense": "CC0-1.0",
        "SPDXID": "SPDXRef-DOCUMENT",
        "name": shipped.name,
        "documentNamespace": f"https://spdx.org/spdxdocs/{shipped.name}-{sha256}",
        "creationInfo": {"created": created.strftime("%Y-%m-%dT%H:%M:%SZ"), "creators": ["Tool: bill.py-1"]},
        "packages": [main, *packages.values()],
        "files": files,
        "relationships": [{"spdxElementId": one, "relationshipType": kind, "relatedSpdxElement": other}
                          for one, kind, other in relations],
    }


def main():
    shipped, folder, version = pathlib.Path(sys.argv[1]), pathlib.Path(sys.argv[2]), sys.argv[3]
    written = re.sub(r"(\.tar\.gz|\.deb)$", "", shipped.name) + ".spdx.json"
    text = json.dumps(bill(shipped, folder, version), indent=2, ensure_ascii=False)
    shipped.with_name(written).write_text(text + "\n", encoding="utf-8")


if __name__ == "__main__":
    main()
