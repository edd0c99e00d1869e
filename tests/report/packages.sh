#!/bin/sh
# usage: packages.sh FROM TO
# Copies the page's sources, and installs the npm packages that building it takes.
set -eu
mkdir -p "$2"
for part in src build.mjs page.css page.html tsconfig.json; do
  rm -rf "$2/$part"
  cp -R "$1/$part" "$2/$part"
done
exec "$(dirname "$0")/../browser/install.sh" "$1" "$2"
