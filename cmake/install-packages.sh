#!/bin/sh
# Installs what is missing of cmake/debian-packages.txt. With the argument "test", the packages for the tests too.
set -eu
here=$(dirname "$0")
wanted=$(sed 's/#.*//' "$here/debian-packages.txt" | awk -v test="${1-}" '$2 == "" || $2 == test { print $1 }')
missing=
for package in $wanted; do
  dpkg-query -W -f '${db:Status-Status}\n' "$package" 2>/dev/null | grep -qx installed || missing="$missing $package"
done
[ -n "$missing" ] || exit 0
if [ "$(id -u)" -ne 0 ]; then
  echo "$0: these Debian packages are missing and only root may install them: apt-get install$missing" >&2
  exit 1
fi
echo "installing:$missing" >&2
export DEBIAN_FRONTEND=noninteractive
apt() { apt-get -o Acquire::Retries=3 -o DPkg::Lock::Timeout=60 "$@"; } # a busy mirror or another apt ends nothing
{ apt update && apt install -y --no-install-recommends $missing; } >&2
