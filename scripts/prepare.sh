# Sourced by ./run, ./test and the other commands beside them: what a fresh Debian 12 machine needs, and the build of one preset.
# shellcheck shell=bash

# Debian 12's default is too old for the line's server; later ones call theirs otherwise.
boost=libboost1.81-dev
case $(. /etc/os-release && echo "${VERSION_ID-}") in
  12 | 12.*) ;;
  *) boost=libboost-dev ;;
esac

# Command or header that shows it, and the Debian package that brings it.
needed=(
  "c++ g++" "cmake cmake" "ninja ninja-build" "python3 python3"
  "/usr/include/CLI/CLI.hpp libcli11-dev" "/usr/include/nlohmann/json.hpp nlohmann-json3-dev"
  "/usr/include/pugixml.hpp libpugixml-dev" "/usr/include/gtest/gtest.h libgtest-dev"
  "/usr/include/gmock/gmock.h libgmock-dev" "/usr/include/toml++/toml.h libtomlplusplus-dev"
  "/usr/include/re2/re2.h libre2-dev" "/usr/include/openssl/evp.h libssl-dev"
  "/usr/include/sqlite3.h libsqlite3-dev" "/usr/include/boost/beast.hpp $boost"
  "/usr/include/sodium.h libsodium-dev" "/usr/include/postgresql/libpq-fe.h libpq-dev"
  "/usr/include/mosquitto.h libmosquitto-dev"
)

# die STATUS TEXT: one clear line, and the end.
die() {
  echo "./${0##*/}: $2" >&2
  exit "$1"
}

# What --version prints.
version_and_end() {
  echo "boardtest $(scripts/version.sh)"
  exit 0
}

# writable FILE: ends the command when nothing can be written there. A redirection that fails would not: behind
# `if !` the shell takes a command that it never ran for one that went well.
writable() {
  local reason
  reason=$({ : >>"$1"; } 2>&1) ||
    die 3 "nothing can be built: ${reason##*"$1": } ($1; build/ belongs to $(stat -c %U build 2>/dev/null || echo nobody))"
}

# follow LOG TITLE [HIDDEN]: keeps standard input in a file and shows on standard error how far it is. With HIDDEN,
# lines that do not match this pattern go to standard output too. Fails when it cannot keep or show them.
follow() {
  local log=$1 title=$2 hidden=${3-} line='' part='' done='' all='' packages=0 begun=$SECONDS shown=$SECONDS pause=15 fd
  local -i status=0 drawn=0
  exec {fd}>"$log" || return 1
  [ ! -t 2 ] || pause=1
  while true; do
    status=0
    IFS= read -r -t 1 part || status=$?
    line+=$part
    if [ "$status" -eq 0 ]; then
      printf '%s\n' "$line" >&"$fd" || return 1
      if [[ $line =~ ^\[([0-9]+)/([0-9]+)\] || $line =~ ^\ *([0-9]+)/([0-9]+)\ Test ]]; then
        done=${BASH_REMATCH[1]} all=${BASH_REMATCH[2]}
      elif [[ $line =~ ^[0-9]+\ upgraded,\ ([0-9]+)\ newly ]]; then
        all=${BASH_REMATCH[1]}
      elif [[ $line == "Setting up "* ]]; then
        packages=$((packages + 1)) done=$packages
      fi
      if [ -n "$hidden" ] && ! [[ $line =~ $hidden ]]; then
        [ "$drawn" -eq 0 ] || printf '\r\e[K' >&2
        drawn=0
        printf '%s\n' "$line" || return 1
      fi
      line=
    fi
    if [ $((SECONDS - shown)) -ge "$pause" ]; then
      shown=$SECONDS
      if [ -t 2 ]; then
        printf '\r%s: %s%d s \e[K' "$title" "${done:+$done of ${all:-?}, }" $((SECONDS - begun)) >&2
        drawn=1
      else
        echo "$title: ${done:+$done of ${all:-?}, }$((SECONDS - begun)) s" >&2
      fi
    fi
    [ "$status" -ne 1 ] || break # the end; above 128 nothing came within a second
  done
  [ "$drawn" -eq 0 ] || printf '\r%s: %d s \e[K\n' "$title" $((SECONDS - begun)) >&2
  [ -z "$line" ] || printf '%s\n' "$line" >&"$fd" || return 1
  [ -z "$line" ] || [ -z "$hidden" ] || printf '%s\n' "$line"
}

# kept LOG TITLE COMMAND ...: the command's own status, its output in a file; ends when the file cannot be written.
kept() {
  local log=$1 title=$2
  local -a ends=(0 0)
  shift 2
  writable "$log"
  "$@" </dev/null 2>&1 | follow "$log" "$title" || ends=("${PIPESTATUS[@]}")
  [ "${ends[1]}" -eq 0 ] || die 3 "$log cannot be written: is the disk full?"
  return "${ends[0]}"
}

# alone COMMAND ...: one command at a time builds in this folder; the next one waits for it.
alone() {
  local fd
  local -i ended=0
  writable build/lock
  exec {fd}>>build/lock
  if ! flock -n "$fd"; then
    echo "Another command is building in this folder; waiting for it ..." >&2
    flock "$fd"
  fi
  "$@" {fd}>&- || ended=$?
  exec {fd}>&-
  return "$ended"
}

# The packages of `needed` that are not there.
missing_packages() {
  local row thing package
  for row in "${needed[@]}"; do
    read -r thing package <<<"$row"
    case $thing in
      /*) [ -e "$thing" ] || echo "$package" ;;
      *) command -v "$thing" >/dev/null 2>&1 || echo "$package" ;;
    esac
  done | sort -u
}

install_packages() {
  local -a missing as_root=()
  mapfile -t missing < <(missing_packages)
  [ ${#missing[@]} -gt 0 ] || return 0
  if [ "$(id -u)" -ne 0 ]; then
    as_root=(sudo -n)
    sudo -n true 2>/dev/null ||
      die 3 "packages are missing, and only root may install them: apt-get install ${missing[*]}"
  fi
  echo "Installing: ${missing[*]}" >&2
  alone kept build/install.log "Installing" get_packages && return
  tail -n 5 build/install.log >&2
  die 3 "apt-get could not install ${missing[*]} (whole output: build/install.log)"
}

# Reads `missing` and `as_root` of install_packages.
get_packages() {
  "${as_root[@]}" env DEBIAN_FRONTEND=noninteractive apt-get update -q &&
    "${as_root[@]}" env DEBIAN_FRONTEND=noninteractive apt-get install -qy --no-install-recommends "${missing[@]}"
}

# build_preset NAME [TARGET...]: says how far it is; the compiler's words when it fails.
build_preset() {
  local preset=$1 log="build/$1.log"
  shift
  echo "Building ($preset) ..." >&2
  alone kept "$log" "Building ($preset)" configure_and_build "$@" && return
  grep -E -A 12 "error|FAILED" "$log" | head -n 60 >&2 || true
  die 3 "the build failed; its whole output is in $log"
}

# Reads `preset` of build_preset.
configure_and_build() {
  cmake --preset "$preset" || return
  if [ $# -eq 0 ]; then
    cmake --build --preset "$preset"
  else
    cmake --build --preset "$preset" --target "$@"
  fi
}

[ -d build ] || mkdir build || die 3 "nothing can be built: there is no folder build/, and none can be made"
