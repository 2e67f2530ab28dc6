#!/usr/bin/env bash
# Makes all that is shipped, twice, and lives with the Debian packages in a fresh system: `./test --packages`.
set -euo pipefail
cd "$(dirname "$0")/../.."
. scripts/prepare.sh
. tests/packages/chroot.sh

[ "$(id -u)" -eq 0 ] || die 3 "only root may make a system in a folder"
system=build/installed
elsewhere=build/elsewhere/a-folder-whose-name-is-longer
trap 'rm -rf --one-file-system "$system"' EXIT

# packed FOLDER: what `./build-arm --release` packed there, with checksums.
packed() {
  (cd "$1/build" && sha256sum -- *.tar.gz *.spdx.json packages/*.deb packages/*.spdx.json)
}

# A second copy of these sources, as they are, is built without what a compiler's cache has from the first.
twice() {
  rm -rf build/elsewhere
  mkdir -p "$elsewhere"
  cp -a .git "$elsewhere"
  git ls-files -z --cached --others --exclude-standard | tar --create --null --files-from - | tar --extract --directory "$elsewhere"
  CCACHE_DISABLE=1 kept build/elsewhere.log "Building in another folder" "$elsewhere/build-arm" --release ||
    { tail -n 12 build/elsewhere.log >&2; die 1 "packages: the second build failed; its whole output is in build/elsewhere.log"; }
  packed . >build/packed
  diff build/packed <(packed "$elsewhere") || die 1 "packages: another folder, $elsewhere, gives other bytes"
  rm -rf build/elsewhere
  echo "packages: built in another folder, the same bytes"
}

# step NAME: of installed.sh, in the system.
step() {
  local -a network=()
  [[ $1 != *_shift ]] || network=(--alone)
  inside "$system" "${network[@]}" /packages/installed.sh "$1" >"build/installed-$1.log" 2>&1 || {
    tail -n 20 "build/installed-$1.log" >&2
    die 1 "packages: the step '$1' failed; its whole output is in build/installed-$1.log"
  }
  echo "packages: $1"
}

rm -rf build/packages build/*.tar.gz build/*.spdx.json
./build-arm --release
lintian --fail-on error,warning build/packages/*.changes
tests/packages/bill_test.py build/*.tar.gz build/packages/*.deb
rm -rf --one-file-system "$system"
fresh_system bookworm "$system"
mkdir -p "$system/packages/old" "$system/packages/new"
cp tests/packages/installed.sh "$system/packages"
cp build/packages/*.deb "$system/packages/new"
mv build/packages build/packages-new
scripts/release.sh packages 0.1
mv build/packages/*.deb "$system/packages/old"
rm -rf build/packages
mv build/packages-new build/packages
for step in prepare installed first_shift upgraded second_shift removed purged purged_unused; do
  step "$step"
done
twice
