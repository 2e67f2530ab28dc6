#!/usr/bin/env bash
# Builds the PC side with Debian 13's compiler and libraries, in a system of its own, and runs a part of the tests there:
#   tests/packages/debian13.sh [PATTERN]     the tests whose names match; those of station and line without it
set -euo pipefail
cd "$(dirname "$0")/../.."
. scripts/prepare.sh
. tests/packages/chroot.sh

pattern=${1-'^(station|line|packaging|house/words)'}
system=build/debian13
[ "$(id -u)" -eq 0 ] || die 3 "only root may make a system in a folder"
rm -rf --one-file-system "$system"
trap 'rm -rf --one-file-system "$system"' EXIT
fresh_system trixie "$system"
mkdir "$system/boardtest"
git ls-files -z --cached --others --exclude-standard | tar --create --null --files-from - | tar --extract --directory "$system/boardtest"

inside "$system" bash -euc '
  cd /boardtest
  . scripts/prepare.sh
  install_packages
  build_preset release'
inside "$system" --alone ctest --test-dir /boardtest/build/release --parallel "$(nproc)" --output-on-failure \
  --no-tests=error -R "$pattern"
