#!/usr/bin/env bash
# Installs what is missing, builds cfgcheck and runs every test: the release
# build, the same suite under AddressSanitizer and UndefinedBehaviorSanitizer
# (leaks fail it) in a build that keeps the assertions, and a short run of each fuzz target.
set -euo pipefail
cd "$(dirname "$0")/.."
bash scripts/deps.sh clang-14 libclang-rt-14-dev lintian
cmake -S . -B build -DCMAKE_BUILD_TYPE=Release >/dev/null
cmake --build build -j2
ctest --test-dir build --output-on-failure -j2

# Debug: without NDEBUG the parser library checks how it is used
CC=clang-14 CXX=clang++-14 cmake -S . -B build-asan -DCMAKE_BUILD_TYPE=Debug -DCFGCHECK_SANITIZE=ON >/dev/null
cmake --build build-asan -j2
ASAN_OPTIONS=detect_leaks=1:abort_on_error=1 UBSAN_OPTIONS=print_stacktrace=1 \
  ctest --test-dir build-asan --output-on-failure -j2

bash fuzz/run.sh "${CFGCHECK_FUZZ_SECONDS:-45}"
