#!/bin/sh
# Installs the packages of cmake/debian-packages.txt that are missing. With the argument "test", the packages for the
# tests too.
set -eu
here=$(dirname "$0")
wanted=$(sed 's/#.*//' "$here/debian-packages.txt" | awk -v test="${1-}" '$2 == "" || $2 == test { print $1 }')
# A package may also be provided by another one, as npm is by some packages of nodejs.
installed=$(dpkg-query -W -f '${db:Status-Status} ${Package}, ${Provides}\n' |
  sed -n 's/^installed //p' | tr ',' '\n' | sed 's/^ *//; s/ .*//')
missing=
for package in $wanted; do
  printf '%s\n' "$installed" | grep -qxF "$package" || missing="$missing $package"
done
[ -n "$missing" ] || exit 0
if [ "$(id -u)" -ne 0 ]; then
  echo "$0: these Debian packages are missing and only root may install them: apt-get install$missing" >&2
  exit 1
fi
echo "installing:$missing" >&2
export DEBIAN_FRONTEND=noninteractive
apt() { apt-get -o Acquire::Retries=3 -o DPkg::Lock::Timeout=60 "$@"; } # retries a busy mirror, waits for another apt
{ apt update && apt install -y --no-install-recommends $missing; } >&2
