#!/bin/sh
# Runs on a board what is worth having in a recording: every test of its family that does no harm, then, when the person
# at the keyboard says so, each one that writes factory data, moves the sensor's voltage or restarts the board.
set -eu

# A test that is in none of these lists is asked about, too.
safe='alarm-* rs485 rs485-ptz rtc ircut sd usb temp iris abf dead-pixels flat-field light in-light get-tg ma print-sub'
writes='set-tg set-sub-* save-sub-* auto-sub'
moves='add-sub-* dec-sub-*'
restarts='restart'

usage() {
  cat <<'HELP'
first-board.sh HOST[:PORT] FAMILY [FOLDER]

Runs the tests of a board family on a board whose calls are recorded. Nothing is asked about tests that do no harm;
those that write factory data, move the sensor's voltage or restart the board are run only when the answer is "yes".
What the board said is kept in FOLDER (first-board without it), which must not be there yet.

T1STATION names the station client; without it t1station beside this script is used, or the one that is installed.

Exit codes: 0 everything that was wanted was run, whether the board passed or not, 2 interrupted, 4 usage, 6 a test had
no answer or the board could not be reached, 7 the folder cannot be written.
HELP
}

die() {
  echo "first-board.sh: $2" >&2
  exit "$1"
}

case ${1-} in
  -h | --help) usage; exit 0 ;;
esac
if [ $# -lt 2 ] || [ $# -gt 3 ]; then
  usage >&2
  exit 4
fi
host=$1 family=$2 folder=${3-first-board}

here=$(dirname "$0")
station=${T1STATION-}
if [ -z "$station" ]; then
  station=t1station
  [ ! -x "$here/t1station" ] || station=$here/t1station
fi

list=$("$station" list --family "$family" 2>&1) || die 4 "$list"
# Below the headings: code, for most tests the same in hexadecimal, name.
tests=$(printf '%s\n' "$list" | awk '$1 ~ /^-?[0-9]+$/ { print ($2 ~ /^0x/) ? $3 : $2 }')
[ -n "$tests" ] || die 4 "t1station lists no tests for $family"

mkdir "$folder" 2>/dev/null || die 7 "$folder is there already, or cannot be made"
set -f # names of lists are patterns, not files

# is_of NAME PATTERN ...: whether a test is of a list.
is_of() {
  name=$1
  shift
  for pattern in "$@"; do
    # shellcheck disable=SC2254 # it is meant as a pattern
    case $name in
      $pattern) return 0 ;;
    esac
  done
  return 1
}

missed=0

# run FILE TEST ...: runs tests in one connection. That a board fails a test is as good to know as that it passes.
run() {
  file=$folder/$1
  shift
  status=0
  "$station" "$host" run --quiet --json "$file.json" "$@" || status=$?
  case $status in
    0 | 1) ;;
    2) die 2 "interrupted" ;;
    7) die 7 "$file.json cannot be written" ;;
    *) missed=1 ;;
  esac
}

# asked QUESTION: whether the answer is yes. Anything else, and no answer at all, is no.
asked() {
  printf '%s [yes/no] ' "$1"
  answer=no
  read -r answer || answer=no
  [ -t 0 ] || echo "$answer"
  [ "$answer" = yes ]
}

harmless='' others='' last=''
# shellcheck disable=SC2086 # the lists are words
for test in $tests; do
  if is_of "$test" $safe; then
    harmless="$harmless $test"
  elif is_of "$test" $restarts; then
    last="$last $test"
  else
    others="$others $test"
  fi
done

echo "== Tests that do no harm:$harmless"
# shellcheck disable=SC2086
run safe $harmless

echo "== Ten seconds in which nobody asks anything"
"$station" "$host" monitor --records 5 >"$folder/idle.txt" || die 6 "the board cannot be reached any more"

# voltage TEST: what the test sets, as a person types it; nothing for no.
voltage() {
  printf '%s: which voltage, in hundredths of a volt? Enter leaves it out. ' "$1"
  answer=''
  read -r answer || answer=''
  [ -t 0 ] || echo "$answer"
}

for test in $others $last; do
  wanted=$test
  # shellcheck disable=SC2086
  if is_of "$test" $restarts; then
    asked "$test restarts the board, which may end the recording. Run it?" || continue
  elif is_of "$test" $moves; then
    asked "$test moves the sensor's voltage until the board restarts. Run it?" || continue
  elif is_of "$test" $writes; then
    asked "$test WRITES FACTORY DATA of this board. Run it?" || continue
  else
    asked "$test is not known to be harmless. Run it?" || continue
  fi
  case $test in
    set-sub-*)
      voltage "$test"
      [ -n "$answer" ] || continue
      wanted=$test=$answer
      ;;
  esac
  run "$test" "$wanted"
done

echo "== Done. What the board said is in $folder; now copy the recording from the board."
[ "$missed" -eq 0 ] || die 6 "not every test had an answer; send the recording all the same"
