#!/usr/bin/env bash
# Installs what building and testing cfgcheck needs (Debian 12 packages).
set -euo pipefail
packages=(cmake make g++ libsimdjson-dev nlohmann-json3-dev libgtest-dev python3 python3-jsonschema python3-yaml libxml2-utils valgrind groff-base vim neovim "$@")
# npm fetches the SARIF multitool and ajv for the tests; a Node.js of another source brings its own
command -v npm >/dev/null || packages+=(npm)
missing=()
for p in "${packages[@]}"; do
  dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed" || missing+=("$p")
done
[ ${#missing[@]} -eq 0 ] && exit 0
sudo=""
[ "$(id -u)" -ne 0 ] && sudo="sudo"
export DEBIAN_FRONTEND=noninteractive
$sudo apt-get update -qq
$sudo apt-get install -y -qq --no-install-recommends "${missing[@]}" >/dev/null
