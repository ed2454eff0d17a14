#!/bin/bash
# One command for the performance figures: builds cfgcheck (Release) and the
# reference parser, generates the input into bench/data/ (reused until the
# generator changes) and measures every target. Options go to measure.py:
# --pairs N, --only 1,4,6.
set -euo pipefail

here=$(cd "$(dirname "$0")" && pwd)
root=$(dirname "$here")
build=${BUILD_DIR:-$root/build-bench}
data=$here/data
gen=$here/gen_system.py

for tool in jq /usr/bin/time; do
  command -v "$tool" >/dev/null || { echo "run.sh: $tool is missing (apt-get install -y jq time)" >&2; exit 1; }
done

cmake -S "$root" -B "$build" -DCMAKE_BUILD_TYPE=Release >/dev/null
cmake --build "$build" -j2 --target cfgcheck >/dev/null
reference=$build/bench_reference
if [ ! -x "$reference" ] || [ "$here/reference.cpp" -nt "$reference" ]; then
  g++ -std=c++20 -O2 -Wall -Wextra -Werror -o "$reference" "$here/reference.cpp" -lsimdjson
fi

# generate NAME ARGS...: runs the generator unless its stamp is newer than it
generate() {
  local name=$1
  shift
  local stamp=$data/.$name.stamp
  if [ ! -e "$stamp" ] || [ "$gen" -nt "$stamp" ]; then
    echo "generating $name" >&2
    rm -rf "${data:?}/$name"
    python3 "$gen" "$@"
    touch "$stamp"
  fi
}
mkdir -p "$data"
for n in 1000 2000 10000 100000; do
  generate "sys$n" "$n" "$data/sys$n"
done
for n in 10000 100000; do
  generate "sys$n-sorted" --sorted "$n" "$data/sys$n-sorted"
done
# the cost of findings and their places
generate sys100000-10000-findings --findings 10000 100000 "$data/sys100000-10000-findings"
# parse only: the shape of the older figures
generate big.json --sorted --mb 70 "$data/big.json"
generate many --many 10000 "$data/many"

python3 "$here/measure.py" --cfgcheck "$build/cfgcheck" --reference "$reference" \
  --data "$data" --shared "$root/../shared/bench-data" "$@"
