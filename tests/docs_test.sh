#!/usr/bin/env bash
# The documents name tests that exist, and agree with ./run and the wall charts. Links and paths: tests/house/.
set -euo pipefail
cd "$(dirname "$0")/.."
status=0
known=$(grep -rhoE '^ *TEST(_F|_P)?\( *[A-Za-z0-9]+, *[A-Za-z0-9_]+|^ +[A-Za-z0-9_]+\) \{' tests --include='*_test.cpp' |
  tr -d ' {' | sed -E 's/TEST(_F|_P)?\(//; s/,/./; s/\)//')
while read -r name; do
  suite=${name%%.*} test=${name#*.}
  grep -qxF "$name" <<<"$known" || { grep -qxF "$suite." <<<"$known" && grep -qxF "$test" <<<"$known"; } || {
    echo "docs/quirks.md names a test that does not exist: $name"
    status=1
  }
done < <(grep -oE '`[A-Z][A-Za-z0-9]+\.[A-Z][A-Za-z0-9]+`' docs/quirks.md | tr -d '`')
# The alarm codes of each family: the list in docs/boards.md, ./run, the fault matrix and the board matrix agree.
choice=$(sed -n '/^case \$board in # the alarm codes/,/^esac$/p' run)
[ -n "$choice" ] || { echo "./run does not choose alarm codes"; status=1; }
expandable=$(sed -n 's/^const Names kExpandable = {\(.*\)};$/\1/p' tests/matrix/given.cpp)
rows=$(sed -n "s/kExpandable}/{$expandable}}/; s/^ *{ *\([0-9]*\), \"alarm.*{\(.*\)}},$/\1 \2/p" tests/matrix/given.cpp)
listed=$(sed -n '/^## Alarm codes$/,/^## What/s/^| \(`.*\) | \([0-9, ]*\) |$/\1|\2/p' docs/boards.md)
while IFS='|' read -r families codes; do
  for board in $(tr -d '`,' <<<"$families"); do
    in_run=$(eval "$choice"; IFS=,; echo "${codes[*]}")
    [ "${in_run//,/, }" = "$codes" ] || { echo "./run gives $board $in_run, docs/boards.md $codes"; status=1; }
    in_matrix=$(sed -n "/\"$board\"/s/ .*//p" <<<"$rows" | paste -sd,)
    [ "${in_matrix//,/, }" = "$codes" ] || { echo "tests/matrix/given.cpp gives $board $in_matrix, docs/boards.md $codes"; status=1; }
    grep -qxF "| $board | $codes |" docs/fault-matrix.md || { echo "docs/fault-matrix.md has no $board with $codes"; status=1; }
  done
done <<<"$listed"
families_of_boardsim=$(sed -n 's/^    {"\([a-z0-9-]*\)", *0x.*/\1/p' boardsim/core/families.cpp)
while read -r board; do
  grep -q "\`$board\`" <<<"$listed" || { echo "docs/boards.md lists no alarm codes of $board"; status=1; }
done <<<"$families_of_boardsim"
# The calibration codes of each family: ./run and the board matrix agree, but for 12032, which no board passes.
choice=$(sed -n '/^case \$board in # calibration/,/^esac$/p' run)
[ -n "$choice" ] || { echo "./run does not choose calibration codes"; status=1; }
rows=$(sed -n 's/^ *{ *\([0-9]*\), "[^"]*", *\([^ ].*\)},.*$/\1 \2/p' tests/matrix/given.cpp)
for group in kModels kCcd; do
  members=$(sed -n "s/^const Names $group = {\(.*\)};\$/\1/p" tests/matrix/given.cpp)
  [ -n "$members" ] || { echo "tests/matrix/given.cpp has no $group"; status=1; }
  rows=${rows//$group/$members}
done
# Tests that every family has stand in the common list of ./run, except that of the timing parameters.
common=$(sed -n 's/^codes+=(\(.*\)).*$/\1/p' run)
while read -r board; do
  in_run=$(codes=(); eval "$choice"; printf '%s\n' "${codes[@]}" | sort -n | paste -sd,)
  in_matrix=$(while read -r code families; do
    [ "$code" -ge 9728 ] && [ "$code" -le 12032 ] && ! grep -qwF -- "$code" <<<"$common" || continue
    [ "$families" != '{}' ] && ! grep -qF "\"$board\"" <<<"$families" || echo "$code"
  done <<<"$rows" | sort -n | paste -sd,)
  [ -n "$in_run" ] && [ "$in_run" = "$in_matrix" ] ||
    { echo "./run gives $board $in_run, tests/matrix/given.cpp $in_matrix"; status=1; }
done <<<"$families_of_boardsim"
# The page about passes has every code that a station lists, under the station's name.
listed=$(sed -n 's/^  { *\(-\{0,1\}[0-9A-Fa-fx]*\), *"\([a-z0-9-]*\)",.*/\1 \2/p' station/codes.cpp |
  while read -r code name; do echo "$((code)) $name"; done | sort)
on_page=$(sed -n 's/^| \(-\{0,1\}[0-9]*\) | \[`\([a-z0-9-]*\)`\].*/\1 \2/p' docs/what-a-pass-means.md | sort)
[ -n "$listed" ] && [ "$listed" = "$on_page" ] || {
  echo "docs/what-a-pass-means.md has other codes than station/codes.cpp:"
  diff <(echo "$listed") <(echo "$on_page") || true
  status=1
}
exit $status
