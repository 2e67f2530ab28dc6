#!/bin/sh
# Prints the version of these sources: the number in CMakeLists.txt alone for a release, which is a commit with the tag
# vNUMBER; else with the commit, 1.0.0+g1a2b3c4, and with .dirty behind it when files were changed since.
set -eu
cd "$(dirname "$0")/.."

number=$(sed -nE 's/^project\(boardtest VERSION ([0-9]+\.[0-9]+\.[0-9]+) .*/\1/p' CMakeLists.txt)
[ -n "$number" ] || { echo "scripts/version.sh: CMakeLists.txt has no version" >&2; exit 1; }

# Sources without a history: `git archive` replaces these by the commit and by what points at it.
commit='$Format:%h$'
names=$(
  cat <<'END'
 $Format:%D$,
END
)

# The history of this folder, not of one around it.
mine() { git --git-dir=.git --work-tree=. "$@" 2>/dev/null; }
if described=$(mine describe --always --abbrev=7 --dirty=.dirty --exclude='*'); then
  commit=$described
  names=$(mine tag --points-at HEAD | sed 's/.*/ tag: &,/')
fi

case $commit in
  '$'*) commit=unknown names='' ;; # a copy that nobody can tell the commit of
  *.dirty) commit=g$commit names='' ;;
  *) commit=g$commit ;;
esac
case $names in
  *" tag: v$number,"*) echo "$number" ;;
  *) echo "$number+$commit" ;;
esac
