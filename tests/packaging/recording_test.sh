#!/usr/bin/env bash
# The script that records on a board runs a program with the libraries beside it: recording_test.sh RECORDER PROGRAM
set -euo pipefail
recorder=$1 program=$2
folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT
mkdir "$folder/lib"
ldd "$program" "$recorder" | grep -o '/[^ ]*' | grep -v ':$' | sort -u | xargs -I FILE cp FILE "$folder/lib"
cp "$(dirname "$0")/../../packaging/record-boardtest" "$recorder" "$folder"
cp "$program" "$folder/boardtest"

expect() { # STATUS COMMAND...
  local expected=$1 status=0
  shift
  "$@" >"$folder/out" 2>&1 || status=$?
  [ "$status" = "$expected" ] || { echo "exit status $status, not $expected: $*"; cat "$folder/out"; exit 1; }
}

cd /
expect 64 "$folder/record-boardtest"
expect 64 "$folder/record-boardtest" "$folder/session.rec" # the program's own: nobody told it what to do
grep -q "^BOARDREC" "$folder/session.rec" || { echo "nothing was recorded"; exit 1; }
grep -aq "$folder/boardtest" "$folder/session.rec" || { echo "the recording does not name the program"; exit 1; }
expect 64 "$folder/record-boardtest" "$folder/small.rec" 600
[ "$(stat -c %s "$folder/small.rec")" -le 600 ] || { echo "the limit was passed over"; exit 1; }
