#!/bin/sh
# Builds report/assets/page.html, which is committed: velstat report needs none of what this needs. See ./test.
set -eu
cd "$(dirname "$0")/page"
npm ci --silent
exec node build.mjs ../assets/page.html
