#!/usr/bin/env bash
# Builds, tests and installs the PC side with Debian 13's compiler and libraries, in a system of its own: `./test --debian13`.
#   tests/packages/debian13.sh [PATTERN]     the tests whose names match; those of station and line without it
set -euo pipefail
cd "$(dirname "$0")/../.."
. scripts/prepare.sh
. tests/packages/chroot.sh

pattern=${1-'^(station|line)/'}
system=build/debian13
[ "$(id -u)" -eq 0 ] || die 3 "only root may make a system in a folder"
rm -rf --one-file-system "$system"
trap 'rm -rf --one-file-system "$system"' EXIT
fresh_system trixie "$system"
mkdir -p "$system/boardtest" "$system/packages/old"
git ls-files -z --cached --others --exclude-standard | tar --create --null --files-from - | tar --extract --directory "$system/boardtest"
cp tests/packages/installed.sh "$system/packages"

# Programs for tests and for packages are built and packed as on any other PC.
inside "$system" bash -euc '
  cd /boardtest
  . scripts/prepare.sh
  needed+=("dh debhelper" "/usr/sbin/mosquitto mosquitto" "/usr/bin/mosquitto_sub mosquitto-clients" "/usr/bin/openssl openssl"
    "/usr/sbin/ip iproute2")
  install_packages
  export SOURCE_DATE_EPOCH=$0
  build_preset release
  build_preset package
  scripts/release.sh packages
  mv build/packages/*.deb /packages/old' "$(git log -1 --format=%ct)"
inside "$system" --alone ctest --test-dir /boardtest/build/release --parallel "$(nproc)" --output-on-failure \
  --no-tests=error -R "$pattern"
inside "$system" /packages/installed.sh prepare
inside "$system" /packages/installed.sh installed
inside "$system" --alone /packages/installed.sh first_shift
