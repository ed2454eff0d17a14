#!/usr/bin/env bash
# Builds the fuzz targets (clang, ASan + UBSan) and runs each for SECONDS
# (default 60), after replaying the kept regression inputs.
#   fuzz/run.sh [SECONDS]
set -euo pipefail
cd "$(dirname "$0")/.."
seconds=${1:-60}
build=build-fuzz
if [ ! -f $build/CMakeCache.txt ]; then
  CC=clang-14 CXX=clang++-14 cmake -S . -B $build -DCMAKE_BUILD_TYPE=RelWithDebInfo \
    -DCFGCHECK_FUZZ=ON -DCFGCHECK_SANITIZE=ON -DCFGCHECK_TESTS=OFF >/dev/null
fi
cmake --build $build -j2 --target fuzz_known_files fuzz_command_line fuzz_syntax_agreement fuzz_lsp
# absolute paths: the command-line target runs inside a scratch directory
root=$PWD
for target in known_files command_line syntax_agreement lsp; do
  corpus=$root/fuzz/corpus-$target
  mkdir -p "$corpus"
  if [ "$target" = known_files ] && [ -z "$(ls -A "$corpus")" ]; then
    # seeds: each sound file in the place of each known file (the first byte selects which)
    for f in examples/sound/*.json; do
      for i in 0 1 2 3; do
        { printf "\\x0$i"; cat "$f"; } > "$corpus/seed-$i-$(basename "$f")"
      done
    done
    for f in examples/broken/*.json; do
      [ -f "$f" ] && { printf '\x00'; cat "$f"; } > "$corpus/broken-$(basename "$f")"
    done
    n=0
    for f in ../shared/jsontestsuite/test_parsing/*.json; do
      [ -f "$f" ] || continue
      { printf "\\x$(printf %02x $((n % 4)))"; cat "$f"; } > "$corpus/suite-$n"
      n=$((n + 1))
    done
  fi
  if [ "$target" = syntax_agreement ] && [ -z "$(ls -A "$corpus")" ]; then
    for f in ../shared/jsontestsuite/test_parsing/*.json examples/sound/*.json; do
      [ -f "$f" ] && cp "$f" "$corpus/"
    done
  fi
  if [ "$target" = command_line ] && [ -z "$(ls -A "$corpus")" ]; then
    printf -- '--file\0framework.json\0--file\0servicemgr.json\0--transport' > "$corpus/seed-files"
    printf -- '--dir\0.\0--maxlinelength\0-1\0--verbose' > "$corpus/seed-dir"
    printf -- '--file\0sub.json\0--file\0broken.json\0--file\0' > "$corpus/seed-bad"
    printf -- '--strict\0--dir\0.\0--format\0sarif\0--maxlinelength\0x1' > "$corpus/seed-strict"
    printf -- '--format\0gnu\0--file\0framework.json\0--help\0--version' > "$corpus/seed-ours"
  fi
  if [ "$target" = lsp ] && [ -z "$(ls -A "$corpus")" ]; then
    # seeds: a session opening the sound system's servicemgr.json, framed (first byte odd) and as it stands
    init='{"jsonrpc":"2.0","id":1,"method":"initialize","params":{"capabilities":{"general":{"positionEncodings":["utf-8"]}}}}'
    open='{"jsonrpc":"2.0","method":"textDocument/didOpen","params":{"textDocument":{"uri":"file:///sound/servicemgr.json","languageId":"json","version":1,"text":"{\"startup\": [1,]}"}}}'
    edit='{"jsonrpc":"2.0","method":"textDocument/didChange","params":{"textDocument":{"uri":"file:///sound/servicemgr.json","version":2},"contentChanges":[{"range":{"start":{"line":0,"character":14},"end":{"line":0,"character":15}},"text":""}]}}'
    bye='{"jsonrpc":"2.0","id":2,"method":"shutdown"}'
    printf '\x09%s\0%s\0%s\0%s' "$init" "$open" "$edit" "$bye" > "$corpus/seed-framed"
    { printf '\x0a'; for m in "$init" "$open" "$edit" "$bye"; do printf 'Content-Length: %d\r\n\r\n%s' ${#m} "$m"; done; } > "$corpus/seed-stream"
  fi
  regressions=("$root"/fuzz/regressions/$target/*)
  if [ -e "${regressions[0]}" ]; then
    ./$build/fuzz/fuzz_$target "${regressions[@]}" >/dev/null 2>&1 || { echo "regression input fails: $target"; exit 1; }
  fi
  ./$build/fuzz/fuzz_$target "$corpus" -max_total_time="$seconds" -timeout=20 -rss_limit_mb=4096 \
    -artifact_prefix="$root/fuzz/crash-$target-" -print_final_stats=1 2>&1 | grep -E "^(stat::number_of_executed_units|INFO: Running|==|SUMMARY)" || true
  if ls fuzz/crash-$target-* >/dev/null 2>&1; then
    echo "fuzz target $target found a crash: $(ls fuzz/crash-$target-*)"
    exit 1
  fi
done
echo "fuzz: no crash"
