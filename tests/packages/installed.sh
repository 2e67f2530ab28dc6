#!/bin/bash
# A PC's life with the packages, run in a system of its own: installed.sh STEP. The packages are in /packages/old and
# /packages/new; packages_test.sh beside this calls the steps one after the other.
set -euo pipefail

records=/var/lib/t1station/records.db
line=/etc/t1station/ICT-3.toml
page=http://127.0.0.1:8036

say() {
  echo "installed: $*"
}

die() {
  say "$*" >&2
  exit 1
}

# As systemd runs a line: by its own user.
line_user=(setpriv --reuid t1station --regid t1station --init-groups)
as_line() {
  "${line_user[@]}" "$@"
}

# Every file and folder, but for what packages and their tools write about themselves.
files() {
  find / -xdev \( -path /proc -o -path /dev -o -path /tmp -o -path /packages -o -path /var/cache -o -path /var/lib/apt \
    -o -path /var/lib/dpkg -o -path /var/log -o -path /run \) -prune -o -print | LC_ALL=C sort
}

install() {
  apt-get install -qy --no-install-recommends "$@"
}

# Before anything: what is here besides is no part of what is tested.
prepare() {
  apt-get update -q
  install adduser systemd curl bash-completion man-db
  files >/packages/before
}

installed() {
  install /packages/old/*.deb
  systemd-analyze verify --man=no 't1station-line@ICT-3.service' || die "the unit is not sound"
  [ "$(stat -c '%U %a' /var/lib/t1station)" = "t1station 750" ] || die "the records' folder is not the line's"
  local program
  for program in t1station boardsim boardrec; do
    "$program" --version
    "$program" --help >/dev/null
    man --path "$program" >/dev/null || die "there is no manual page of $program"
    bash -c '. /usr/share/bash-completion/bash_completion; _completion_loader "$0"; complete -p "$0"' "$program" >/dev/null ||
      die "bash completes nothing of $program"
  done
  for plan in /usr/share/boardtest/plans/*.toml; do
    t1station plan check "$plan" >/dev/null
  done
  cp /usr/share/doc/boardtest-station/examples/line.toml "$line"
  as_line t1station line check "$line"
  systemctl enable t1station-line@ICT-3 2>/dev/null
}

# begin NAME PATTERN COMMAND ...: starts a program in the background and waits until it says something; `said` is that line.
begin() {
  local name=$1 pattern=$2
  shift 2
  exec {output}< <(exec "$@" 2>"/tmp/$name.errors")
  while read -r -t 60 said <&"$output"; do
    [[ ! $said =~ $pattern ]] || return 0
  done
  cat "/tmp/$name.errors" >&2
  die "$name does not start"
}

# unit SERIAL: a simulated board is put into the slot, scanned, and passes.
unit() {
  local board program station
  begin board '^boardsim: board .* at ' boardsim --board normal --speed 10 -- /usr/lib/boardtest/boardtest
  program=$! board=${said##* at }
  cat <&"$output" >/tmp/board.console &
  sed -e "s/192.0.2.7/$board/" -e 's/^records/time_scale = 10\n&/' /usr/share/doc/boardtest-station/examples/line.toml >"$line"
  begin station '^listening on ' "${line_user[@]}" t1station line "$line"
  station=$!
  curl -sSf -H 'Content-Type: application/json' -d "{\"text\": \"$1\"}" "$page/api/scan"
  echo
  curl -sS --no-buffer --max-time 120 "$page/api/events" 2>/dev/null |
    grep -m 1 -o "\"serial\":\"$1\"[^{}]*\"verdict\":\"[a-z]*\"" >/tmp/verdict || true
  kill "$station" "$program" 2>/dev/null || true
  wait "$station" || die "the line ended with $?"
  grep -q '"passed"$' /tmp/verdict || die "$1: $(cat /tmp/verdict)"
  say "$1 passed"
}

sound() {
  as_line t1station records check "$records"
  as_line t1station records export "$records" --format jsonl --serial AB00000001 >/tmp/run
  [ ! -e /packages/run ] || cmp /packages/run /tmp/run || die "the first unit's run is not what it was"
  cp /tmp/run /packages/run
  [ -s /packages/run ] || die "the first unit's run is gone"
}

first_shift() {
  unit AB00000001
  sound
}

upgraded() {
  local before
  before=$(t1station --version)
  install /packages/new/*.deb
  say "$before became $(t1station --version)"
  dpkg-query --show boardtest-station boardtest-simulator boardtest-doc
}

second_shift() {
  sound
  unit AB00000002
  sound
}

left() {
  comm -13 /packages/before <(files)
}

removed() {
  apt-get remove -qy boardtest-station boardtest-simulator boardtest-doc
  [ ! -e /usr/bin/t1station ] || die "t1station is still there"
  [ -s "$records" ] && [ -s "$line" ] || die "records or the line's file were removed"
}

purged() {
  apt-get purge -qy --auto-remove boardtest-station boardtest-simulator boardtest-doc </dev/null
  local expected="/etc/t1station $line /var/lib/t1station $records"
  [ "$(left | grep -v "^$records-" | xargs)" = "$expected" ] || die "left behind: $(left)"
  [ "$(stat -c '%U' "$records")" = t1station ] || die "the records have no owner any more"
  say "left behind, as it should be: $expected"
}

# With no record and no file of a line nothing stays but the user.
purged_unused() {
  rm -r /etc/t1station /var/lib/t1station
  install /packages/new/*.deb
  apt-get purge -qy --auto-remove boardtest-station boardtest-simulator boardtest-doc </dev/null
  [ -z "$(left)" ] || die "left behind: $(left)"
}

"$1"
