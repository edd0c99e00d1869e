#!/bin/sh
# Copies the page's sources, and installs the npm packages that building and testing it takes, in the versions that
# package-lock.json fixes. Arguments: report/page, and the folder to make.
set -eu
mkdir -p "$2"
for part in src build.mjs package.json package-lock.json page.css page.html tsconfig.json .npmrc; do
  rm -rf "$2/$part"
  cp -R "$1/$part" "$2/$part"
done
cd "$2"
cmp -s package-lock.json node_modules/installed-lock && exit 0
PLAYWRIGHT_SKIP_BROWSER_DOWNLOAD=1 npm ci --silent
cp package-lock.json node_modules/installed-lock
