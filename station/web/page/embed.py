"""Writes the line's pages as a C++ table: embed.py OUTPUT FILE ..."""
import pathlib
import sys

PAGES = {"index.html": "/", "login.html": "/login"}
MEDIA_TYPES = {".html": "text/html; charset=utf-8", ".css": "text/css; charset=utf-8",
               ".js": "text/javascript; charset=utf-8", ".svg": "image/svg+xml",
               ".json": "application/json"}


def literal(data):
    """Bytes as string literals, one a line of the file; three octal digits cannot run into what follows."""
    plain = {byte: chr(byte) for byte in range(32, 127) if chr(byte) not in '"\\?'}
    return "\n".join('      "' + "".join(plain.get(byte, f"\\{byte:03o}") for byte in line) + '"'
                     for line in data.splitlines(keepends=True))


def main():
    output, *files = sys.argv[1:]
    rows = []
    for file in sorted(map(pathlib.Path, files)):
        data = file.read_bytes()
        path = PAGES.get(file.name, f"/page/{file.name}")
        rows.append(f'    {{"{path}", "{MEDIA_TYPES[file.suffix]}",\n     {{\n{literal(data)},\n      {len(data)}}}}},\n')
    pathlib.Path(output).write_text(
        '// Generated from the files of the line\'s pages.\n#include "station/web/page_files.h"\n\n#include <array>\n\n'
        f"namespace t1station {{\n\nstatic constexpr std::array<PageFile, {len(rows)}> kFiles = {{{{\n{''.join(rows)}}}}};\n\n"
        "std::span<const PageFile> page_files() { return kFiles; }\n\n}  // namespace t1station\n")


main()
