#!/bin/sh
# Builds the Debian package of the build tree and has lintian judge it: an
# error or a warning fails. The package carries the version the program
# prints. Skipped (77) where lintian is not installed.
#   check_lintian.sh CPACK BUILD_DIR CFGCHECK
set -eu
command -v lintian >/dev/null || exit 77
out=$(mktemp -d)
trap 'rm -rf "$out"' EXIT
"$1" -G DEB --config "$2/CPackConfig.cmake" -B "$out" >/dev/null
lintian --fail-on error,warning "$out"/*.deb
version=$(dpkg-deb -f "$out"/*.deb Version)
[ "$("$3" --version)" = "cfgcheck $version" ] || { echo "the package is $version, the program says: $("$3" --version)"; exit 1; }
