#!/bin/sh
# usage: install.sh FROM TO
# Installs the npm packages that FROM/package-lock.json pins into TO, unless they are there.
set -eu
from=$1
to=$2
cmp -s "$from/package-lock.json" "$to/package-lock.json" && [ -e "$to/installed" ] && exit
rm -f "$to/installed"
cp "$from/package.json" "$from/package-lock.json" "$from/.npmrc" "$to"
cd "$to"
npm ci --ignore-scripts --no-audit --no-fund
touch installed
