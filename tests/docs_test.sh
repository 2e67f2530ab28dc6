#!/usr/bin/env bash
# The documents name tests and files that exist.
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
for document in *.md docs/*.md; do
  while read -r link; do
    [ -e "$(dirname "$document")/${link%%#*}" ] || {
      echo "$document links to a file that does not exist: $link"
      status=1
    }
  done < <(grep -oE '\]\([^)]+\)' "$document" | sed 's/^](//; s/)$//' | grep -vE '^(https?:|#)')
done
exit $status
