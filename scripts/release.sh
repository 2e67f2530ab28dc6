#!/usr/bin/env bash
# Packs the static program of one architecture as an archive for boards. Called by ./build-arm --release:
#   scripts/release.sh ARCHITECTURE COMPILER     for example armhf arm-linux-gnueabihf
set -euo pipefail
cd "$(dirname "$0")/.."
architecture=$1
compiler=$2

version=$(git describe --always --dirty --tags) || {
  echo "scripts/release.sh: the version comes from git, and this folder is no clone" >&2
  exit 1
}
time=$(git log -1 --format=%ct)
name=boardtest-$version-$architecture
folder=build/$name
archive=build/$name.tar.gz

rm -rf "$folder"
mkdir -p "$folder/licences"
install -m 755 "build/$architecture-static/t1_sdk/boardtest" packaging/boardtest.init "$folder"
install -m 644 packaging/inittab packaging/boardtest.service docs/installing.md "$folder"
sed -i -E 's/\[([^]]+)\]\([^)]+\.md\)/\1/g' "$folder/installing.md" # the archive has none of the linked documents
echo "$version" >"$folder/VERSION"

install -m 644 packaging/licences.md "$folder/licences/README.md"
install -m 644 "/usr/share/doc/libc6-dev-$architecture-cross/copyright" "$folder/licences/glibc.copyright"
install -m 644 "/usr/share/doc/gcc-12-$compiler-base/copyright" "$folder/licences/gcc.copyright"
install -m 644 /usr/share/common-licenses/{LGPL-2.1,GPL-2,GPL-3} "$folder/licences"
dpkg-query -W -f '${Package} ${Version}\n' "libc6-dev-$architecture-cross" "libstdc++-12-dev-$architecture-cross" \
  "libgcc-12-dev-$architecture-cross" >"$folder/licences/versions"

# `sha256sum -c SHA256SUMS` on the board tells whether everything arrived as it was packed.
sums=$(cd "$folder" && find . -type f -printf '%P\n' | LC_ALL=C sort | xargs sha256sum)
echo "$sums" >"$folder/SHA256SUMS"
tar --create --directory build --sort=name --owner=0 --group=0 --numeric-owner --mtime="@$time" "$name" |
  gzip -9n >"$archive"
rm -rf "$folder"
(cd build && sha256sum "$name.tar.gz" >"$name.tar.gz.sha256")
echo "Packed $archive"
