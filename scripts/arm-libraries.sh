#!/usr/bin/env bash
# Fetches what the tests need in order to run on ARM: Debian's libraries for it, unpacked in build/arm-libraries. Nothing
# is installed: a second architecture would concern every later update of this machine.
set -euo pipefail
cd "$(dirname "$0")/.."
. scripts/prepare.sh
packages=(
  libc6 libgcc-s1 libstdc++6 # to run with, the conversion of GBK among them
  libgtest-dev libgmock-dev libpugixml-dev libpugixml1v5 libcli11-dev nlohmann-json3-dev
  libtomlplusplus-dev libtomlplusplus3 libre2-dev libre2-9 libssl-dev libssl3 libsqlite3-dev libsqlite3-0
  libboost1.81-dev libsodium-dev libsodium23 libmosquitto-dev libmosquitto1
  # libpq and what it needs in its turn
  libpq-dev libpq5 libgssapi-krb5-2 libkrb5-3 libk5crypto3 libkrb5support0 libcom-err2 libkeyutils1 libldap-2.5-0
  libsasl2-2 libgnutls30 libp11-kit0 libidn2-0 libunistring2 libtasn1-6 libnettle8 libhogweed6 libgmp10 libffi8
)

folder=$PWD/build/arm-libraries
[ ! -e "$folder/complete" ] || exit 0
rm -rf "$folder"
apt=$folder/apt # apt-get's own folders, for this architecture and nothing else; the sources are the machine's
mkdir -p "$apt/state/lists/partial" "$apt/cache/archives/partial"
: >"$apt/status"

apt_get() {
  apt-get -q -o Dir::State="$apt/state" -o Dir::State::status="$apt/status" -o Dir::Cache="$apt/cache" \
    -o APT::Architecture=armhf -o APT::Architectures=armhf "$@"
}

fetch() {
  cd "$folder" || return
  apt_get update || true # one list that a mirror lacks for this architecture is no harm when the others have the packages
  apt_get download "${packages[@]}"
}

echo "Fetching for ARM: ${packages[*]}" >&2
if ! kept build/arm-libraries.log "Fetching for ARM" fetch; then
  tail -n 5 build/arm-libraries.log >&2
  die 3 "apt-get could not fetch them (whole output: build/arm-libraries.log)"
fi
cd "$folder"
for package in *.deb; do
  dpkg-deb --extract "$package" .
done
rm -rf -- *.deb "$apt"
touch complete
