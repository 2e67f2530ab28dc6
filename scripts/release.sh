#!/usr/bin/env bash
# Packs what was built, called by ./build-arm --release:
#   scripts/release.sh board ARCHITECTURE COMPILER   an archive of the static program for boards: armhf arm-linux-gnueabihf
#   scripts/release.sh station                       an archive of the station client for PCs like this one
#   scripts/release.sh packages                      Debian packages for PCs like this one
# The same commit gives the same bytes, whatever the folder: times are those of SOURCE_DATE_EPOCH, or of the commit.
set -euo pipefail
umask 022
cd "$(dirname "$0")/.."
. scripts/prepare.sh

version=$(scripts/version.sh)
SOURCE_DATE_EPOCH=${SOURCE_DATE_EPOCH:-$(git log -1 --format=%ct)} || die 3 "times come from git, and this folder is no clone"
export SOURCE_DATE_EPOCH

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
    "libgcc-12-dev-$architecture-cross" "libc6-$architecture-cross" "libstdc++6-$architecture-cross" \
    "libgcc-s1-$architecture-cross" >"$folder/licences/versions"
}

# The Debian packages that bring the libraries of programs, each with the version that it was linked with.
packages_of() {
  objdump -p "$@" | awk '$1 == "NEEDED" { print $2 }' | while read -r library; do
    dpkg-query -S "*/$library" | sed -n "s/:$(dpkg --print-architecture): .*//p"
  done | sort -u | xargs dpkg-query -W -f '${Package} ${Version}\n'
}

station() {
  install -m 755 build/package/station/t1station build/package/boardrec/boardrec packaging/first-board.sh "$folder"
  strip "$folder/t1station" "$folder/boardrec"
  document docs/installing-station.md
  document docs/first-board.md
  document docs/boardrec.md
  install -D -m 644 -t "$folder/plans" plans/*.toml
  install -D -m 644 -t "$folder/man" build/package/man/{t1station,boardrec}*.1
  install -m 644 packaging/t1station.bash packaging/line.toml packaging/t1station-line@.service "$folder"
  packages_of "$folder/t1station" "$folder/boardrec" >"$folder/NEEDS"
  scripts/notices.sh "$folder/licences" CLI/CLI.hpp nlohmann/json.hpp boost/beast.hpp toml++/toml.h
}

# A package's version: between two releases a later commit's is higher.
debian_version() {
  case $version in
    *+*) echo "${version%%+*}+$(date --utc --date "@$SOURCE_DATE_EPOCH" +%Y%m%d%H%M%S).${version#*+}" ;;
    *) echo "$version" ;;
  esac
}

packages() {
  local stage=build/debian number package sums
  number=${1:-$(debian_version)}
  rm -rf "$stage"
  mkdir -p "$stage/boardtest" build/packages
  cp -r packaging/debian "$stage/boardtest"
  ln -s "$PWD" "$stage/boardtest/sources"
  ln -s "$PWD/build/package" "$stage/boardtest/built"
  cat >"$stage/boardtest/debian/changelog" <<CHANGES
boardtest ($number) unstable; urgency=medium

  * Built of $version.

 -- $(sed -n 's/^Maintainer: //p' packaging/debian/control)  $(date --utc --rfc-email --date "@$SOURCE_DATE_EPOCH")
CHANGES
  kept build/debian.log "Packing" env --chdir="$stage/boardtest" dpkg-buildpackage --build=binary --no-check-builddeps --no-sign ||
    { tail -n 12 build/debian.log >&2; die 3 "dpkg-buildpackage failed; its whole output is in build/debian.log"; }
  mv "$stage"/*.deb "$stage"/*.changes "$stage"/*.buildinfo build/packages
  for package in build/packages/*_"$number"_*.deb; do
    rm -rf "$stage"
    dpkg-deb --extract "$package" "$stage"
    scripts/bill.py "$package" "$stage" "$number"
    echo "Packed $package"
  done
  rm -rf "$stage"
  sums=$(cd build/packages && sha256sum -- *.deb *.spdx.json)
  echo "$sums" >build/packages/SHA256SUMS
}

kind=$1
shift
if [ "$kind" = packages ]; then
  packages "$@"
  exit
fi
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
tar --create --directory build --sort=name --owner=0 --group=0 --numeric-owner --mtime="@$SOURCE_DATE_EPOCH" "$name" |
  gzip -9n >"$archive"
scripts/bill.py "$archive" "$folder" "$version"
rm -rf "$folder"
(cd build && sha256sum "$name.tar.gz" >"$name.tar.gz.sha256")
echo "Packed $archive"
