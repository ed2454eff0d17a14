#!/usr/bin/env bash
# Installs what is missing, builds cfgcheck and runs every test.
set -euo pipefail
cd "$(dirname "$0")/.."
bash scripts/deps.sh
cmake -S . -B build -DCMAKE_BUILD_TYPE=Release >/dev/null
cmake --build build -j2
ctest --test-dir build --output-on-failure -j2
