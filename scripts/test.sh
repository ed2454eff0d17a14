#!/usr/bin/env bash
# Installs what is missing, builds cfgcheck and runs every test: the release
# build, the same suite under AddressSanitizer and UndefinedBehaviorSanitizer
# (leaks fail it), and a short run of each fuzz target.
set -euo pipefail
cd "$(dirname "$0")/.."
bash scripts/deps.sh clang-14 libclang-rt-14-dev
cmake -S . -B build -DCMAKE_BUILD_TYPE=Release >/dev/null
cmake --build build -j2
ctest --test-dir build --output-on-failure -j2

CC=clang-14 CXX=clang++-14 cmake -S . -B build-asan -DCMAKE_BUILD_TYPE=RelWithDebInfo -DCFGCHECK_SANITIZE=ON >/dev/null
cmake --build build-asan -j2
ASAN_OPTIONS=detect_leaks=1:abort_on_error=1 UBSAN_OPTIONS=print_stacktrace=1 \
  ctest --test-dir build-asan --output-on-failure -j2

bash fuzz/run.sh "${CFGCHECK_FUZZ_SECONDS:-45}"
