#!/usr/bin/env bash
# Packs an archive of what was built, called by ./build-arm --release:
#   scripts/release.sh board ARCHITECTURE COMPILER   the static program for boards: armhf arm-linux-gnueabihf
#   scripts/release.sh station                       the station client for PCs like this one
set -euo pipefail
cd "$(dirname "$0")/.."
. scripts/prepare.sh

version=$(git describe --always --dirty --tags) || die 3 "the version comes from git, and this folder is no clone"
time=$(git log -1 --format=%ct)

# A document for an archive, which has none of those that it links to.
document() {
  sed -E 's/\[([^]]+)\]\([^)]+\.md(#[^)]*)?\)/\1/g' "$1" >"$folder/${1##*/}"
}

# What records on a board: in front of a static program nothing can stand, and few boards have the libraries of the
# dynamic one, which brings its own.
recording() {
  local libraries=/usr/$2/lib
  mkdir -p "$folder/recording/lib"
  install -m 755 packaging/record-boardtest "build/$1/t1_sdk/boardtest" "build/$1/boardrec/libboardrecord.so" "$folder/recording"
  install -m 755 "$libraries"/ld-linux*.so.3 "$libraries"/lib{c,m,stdc++}.so.6 "$libraries/libgcc_s.so.1" "$folder/recording/lib"
  "$2-strip" "$folder/recording/boardtest" "$folder/recording/libboardrecord.so"
}

board() {
  local architecture=$1 compiler=$2
  install -m 755 "build/$architecture-static/t1_sdk/boardtest" packaging/boardtest.init "$folder"
  install -m 644 packaging/inittab packaging/boardtest.service "$folder"
  recording "$architecture" "$compiler"
  document docs/installing.md
  document docs/recordings.md
  install -m 644 packaging/licences.md "$folder/licences/README.md"
  install -m 644 "/usr/share/doc/libc6-dev-$architecture-cross/copyright" "$folder/licences/glibc.copyright"
  install -m 644 "/usr/share/doc/gcc-12-$compiler-base/copyright" "$folder/licences/gcc.copyright"
  install -m 644 /usr/share/common-licenses/{LGPL-2.1,GPL-2,GPL-3} "$folder/licences"
  dpkg-query -W -f '${Package} ${Version}\n' "libc6-dev-$architecture-cross" "libstdc++-12-dev-$architecture-cross" \
    "libgcc-12-dev-$architecture-cross" >"$folder/licences/versions"
}

# The Debian packages that bring the libraries of programs, each with the version that it was linked with.
packages_of() {
  objdump -p "$@" | awk '$1 == "NEEDED" { print $2 }' | while read -r library; do
    dpkg-query -S "*/$library" | sed -n "s/:$(dpkg --print-architecture): .*//p"
  done | sort -u | xargs dpkg-query -W -f '${Package} ${Version}\n'
}

station() {
  install -m 755 build/release/station/t1station build/release/boardrec/boardrec packaging/first-board.sh "$folder"
  strip "$folder/t1station" "$folder/boardrec"
  document docs/installing-station.md
  document docs/first-board.md
  document docs/boardrec.md
  install -D -m 644 -t "$folder/plans" plans/*.toml
  install -m 644 packaging/t1station.bash packaging/t1station-line@.service "$folder"
  packages_of "$folder/t1station" "$folder/boardrec" >"$folder/NEEDS"
  local package
  for package in libboost1.81-dev libcli11-dev nlohmann-json3-dev libtomlplusplus-dev; do # their headers are compiled in
    install -m 644 "/usr/share/doc/$package/copyright" "$folder/licences/$package.copyright"
  done
}

kind=$1
shift
case $kind in
  board) name=boardtest-$version-$1 ;;
  station) name=boardtest-station-$version-$(dpkg --print-architecture) ;;
  *) die 64 "there is no archive '$kind'" ;;
esac
folder=build/$name
archive=build/$name.tar.gz
rm -rf "$folder"
mkdir -p "$folder/licences"
echo "$version" >"$folder/VERSION"
install -m 644 LICENSE "$folder"
"$kind" "$@"

# `sha256sum -c SHA256SUMS` tells whether everything arrived as it was packed.
sums=$(cd "$folder" && find . -type f -printf '%P\n' | LC_ALL=C sort | xargs sha256sum)
echo "$sums" >"$folder/SHA256SUMS"
tar --create --directory build --sort=name --owner=0 --group=0 --numeric-owner --mtime="@$time" "$name" |
  gzip -9n >"$archive"
rm -rf "$folder"
(cd build && sha256sum "$name.tar.gz" >"$name.tar.gz.sha256")
echo "Packed $archive"
