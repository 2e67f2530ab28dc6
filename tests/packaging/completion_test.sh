#!/usr/bin/env bash
# What bash offers behind the beginning of a command line: completion_test.sh T1STATION BOARDSIM BOARDREC
set -euo pipefail
program=$1
cd "$(dirname "$0")/../.."
# shellcheck source=packaging/t1station.bash
. packaging/t1station.bash
folder=$(mktemp -d "${TMPDIR:-/tmp}/boardtest-completion.XXXXXX")
trap 'rm -rf "$folder"' EXIT
cd "$folder"
touch main.toml main.db
status=0

# offers EXPECTED WORD ...: behind these words, of which the last one is being typed; EXPECTED in any order.
offers() {
  local expected found
  expected=$(tr ' ' '\n' <<<"$1" | sort | paste -sd ' ')
  shift
  COMP_WORDS=("$program" "$@")
  COMP_CWORD=$#
  _t1station
  found=$(printf '%s\n' ${COMPREPLY[@]+"${COMPREPLY[@]}"} | sort | paste -sd ' ')
  [ "$found" != "$expected" ] || return 0
  echo "behind '$*': offered '$found', expected '$expected'"
  status=1
}

offers "records rs485-echo run" r
offers "run" 192.0.2.7 : 36001 ru
offers "check" plan ""
offers "check central" records c
offers "operator" users add users.toml Li --role o
offers "" records central init postgresql://db/boards --role o
offers "--serial --slot --speed" 192.0.2.7 run --s
offers "--verdict" records list main.db --v
offers "rs485 rs485-ptz" 192.0.2.7 run rtc rs
offers "main.toml main.db" 192.0.2.7 run --plan ma
offers "main.toml main.db" 192.0.2.7 run --plan = ma
offers "main.toml main.db" 192.0.2.7 run --plan =
offers "main.toml main.db" plan check main
offers "main.toml main.db" records show ""
offers "main.toml main.db" records export -o ma
offers "error" records list main.db --verdict e
offers "passed failed error stopped interrupted" records list main.db --verdict ""
offers "rkd1 rkd2" list --family rk
offers "always auto" 192.0.2.7 run --color a
offers "" 192.0.2.7 run --operator m
offers "" 192.0.2.7 run --timeout 1
offers "zh en" records export main.db --language ""
program=$2
offers "--pace --print-family" --p
offers "scaled stepped" --pace s
offers "rkd1 rkd2" --board rk
offers "main.toml main.db" --trace ma
program=$3
offers "show stats" s
offers "--tolerance" diff main.db main.db --t
offers "utf8" show --text u
offers "main.toml main.db" show ma
program=$1
formats=$(_t1station_values "$program" --format "records export")
[[ " $formats " == *" jsonl "*"csv "* ]] || { echo "formats: $formats"; status=1; }
for command in t1station boardsim boardrec; do
  [ "$(complete -p $command)" = "complete -F _t1station $command" ] || status=1
done
exit $status
