#!/bin/sh
# Builds the Debian package of the build tree and has lintian judge it: an
# error or a warning fails. Skipped (77) where lintian is not installed.
#   check_lintian.sh CPACK BUILD_DIR
set -eu
command -v lintian >/dev/null || exit 77
out=$(mktemp -d)
trap 'rm -rf "$out"' EXIT
"$1" -G DEB --config "$2/CPackConfig.cmake" -B "$out" >/dev/null
lintian --fail-on error,warning "$out"/*.deb
