#!/usr/bin/env bash
# What a person's answers make the script for a first board do: first_board_test.sh BOARDSIM BOARDTEST T1STATION
set -euo pipefail
boardsim=$(realpath "$1") boardtest=$(realpath "$2") t1station=$(realpath "$3")
script=$(cd "$(dirname "$0")/../.." && pwd)/packaging/first-board.sh
folder=$(mktemp -d "${TMPDIR:-/tmp}/boardtest-first-board.XXXXXX")
status=0
board=
cleanup() {
  [ -z "$board" ] || kill "$board" 2>/dev/null || true
  rm -rf "$folder"
}
trap cleanup EXIT
cd "$folder"
export T1STATION=$t1station

check() {
  "$@" || { echo "$test: '$*' failed"; status=1; }
}

# ends EXPECTED COMMAND ...: the command's exit code; what it says is in said.
ends() {
  local expected=$1 code=0
  shift
  "$@" >said 2>&1 || code=$?
  [ "$code" -eq "$expected" ] || { echo "$test: '$*' ended with $code instead of $expected:"; cat said; status=1; }
}

# Starts a board that keeps its factory data: its address in $address.
start_board() {
  local line
  rm -rf state && mkfifo console
  "$boardsim" --board "$1" --speed 40 --state state -- "$boardtest" >console 2>errors & board=$!
  exec 4<console && rm console
  read -r -u 4 line
  address=${line##* at }
  until [[ $line == *started* ]]; do read -r -u 4 line; done
  cat <&4 >/dev/null &
}

factory_data() {
  cat state/mtd4 state/mmcblk0p7 | sha256sum
}

test="A script that nobody answers runs what is harmless, and leaves the factory data and the board as they are"
start_board normal
before=$(factory_data)
ends 0 "$script" "$address" normal unanswered </dev/null
check grep -q '"name": "rtc"' unanswered/safe.json
check grep -q 'set-tg WRITES FACTORY DATA of this board. Run it? \[yes/no\] no' said
check grep -q 'restart restarts the board, which may end the recording. Run it? \[yes/no\] no' said
check test "$(ls unanswered)" = "$(printf 'idle.txt\nsafe.json')"
check test "$(factory_data)" = "$before"

test="Only a whole yes is one"
ends 0 "$script" "$address" normal doubtful < <(printf 'y\nYES please\n')
check test "$(factory_data)" = "$before"

test="Factory data are written and the board restarts when the answers say so"
ends 0 "$script" "$address" normal answered < <(printf 'yes\nyes\n')
check grep -q '"name": "set-tg"' answered/set-tg.json
check grep -q '"name": "restart"' answered/restart.json
check test "$(factory_data)" != "$before"
[ ! -e answered/restart.json ] || wait "$board" || check false
board=

test="A board that cannot be reached ends the script"
ends 6 "$script" 127.0.0.1:9 normal unreached </dev/null
check grep -q 'the board cannot be reached any more' said

test="What makes no sense is refused before anything is run"
ends 4 "$script" 127.0.0.1:9
ends 4 "$script" 127.0.0.1:9 no-such-family nothing
check grep -q 'no-such-family' said
ends 7 "$script" 127.0.0.1:9 normal answered

# A station that runs nothing, and keeps what it was asked to run.
cat >stand-in <<STUB
#!/bin/sh
[ "\$1" != list ] || exec "$t1station" "\$@"
echo "\$@" >>"$folder/asked"
STUB
chmod +x stand-in
export T1STATION=$folder/stand-in

test="Every test of every family is known for what it does"
families=$("$t1station" list --family '?' 2>&1 || true)
families=${families#*there are }
families=${families%%. Did you mean*}
for family in $(tr -d , <<<"${families/ and / }"); do
  ends 0 "$script" 192.0.2.7 "$family" "of-$family" </dev/null
  check test "$(grep -c 'not known to be harmless' said)" -eq 0
done
check test "$(grep -cE '(set|save|add|dec|auto)-(tg|sub)|restart' asked)" -eq 0

test="A voltage is the person's, and none is no"
: >asked
ends 0 "$script" 192.0.2.7 6455 volts < <(printf 'no\nyes\n650\nno\nno\nno\nno\nno\n')
check grep -q 'set-sub-6455=650$' asked
: >asked
ends 0 "$script" 192.0.2.7 6455 no-volts < <(printf 'no\nyes\n\nno\nno\nno\nno\nno\n')
check test "$(grep -c set-sub asked)" -eq 0

exit "$status"
