#!/bin/sh
# Copies the notices of libraries whose headers are compiled in: scripts/notices.sh FOLDER HEADER ...
set -eu
folder=$1
shift
mkdir -p "$folder"
for header in "$@"; do
  package=$(dpkg-query --search "/usr/include/$header" | sed 's/:.*//')
  install -m 644 "/usr/share/doc/$package/copyright" "$folder/$package.copyright"
done
