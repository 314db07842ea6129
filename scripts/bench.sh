#!/usr/bin/env bash
# Times the library beside its peers on every instruction-set level that the machine has, and makes the report:
# bench-report/<level>.json and bench-report/index.html. Coders are serial code, whose instructions no machine and no
# neighbour disturbs: these are counted besides, at the level that valgrind's processor has.
# Usage: scripts/bench.sh [--quick] [FILTER]   FILTER: a regular expression for names such as sampling/row up h2v2/zelj
set -euo pipefail
cd "$(dirname "$0")/.."

repetitions=9 min_time=0.05
if [ "${1:-}" = --quick ]; then
  repetitions=3 min_time=0.02
  shift
fi
filter=${1:-.}

scripts/setup.sh
cmake --preset release > /dev/null
cmake --build --preset release --target zelj_bench zelimg

# One thread, bound to a processor; the benchmarks of threads ask for more. Levels are chosen by what the loader is told
# of the processor.
export OMP_NUM_THREADS=1 OMP_WAIT_POLICY=passive OMP_PROC_BIND=true
rm -rf bench-report
mkdir bench-report
run() { # LEVEL HIDDEN-FEATURES
  echo "bench: $1"
  GLIBC_TUNABLES=glibc.cpu.hwcaps=${2:-} build/bin/zelj_bench --benchmark_filter="$filter" \
    --benchmark_repetitions=$repetitions --benchmark_min_time=$min_time --benchmark_enable_random_interleaving=true \
    --benchmark_out="bench-report/$1.json" --benchmark_out_format=json > bench-report/log.txt 2>&1 ||
    { cat bench-report/log.txt >&2; exit 1; }
  [ -s "bench-report/$1.json" ] || { echo "bench: no benchmark is named like $filter" >&2; exit 1; }
  sed -i -E '/"(host_name|executable)":/d' "bench-report/$1.json"
}
has() { # LEVEL
  [ -e "build/lib/glibc-hwcaps/$1/libzelj.so.7" ] &&
    /lib64/ld-linux-x86-64.so.2 --help | grep "$1 (supported" > /dev/null
}

JSIMD_FORCESSE2=1 run avx -AVX512F,-AVX2
if has x86-64-v3; then run x86-64-v3 -AVX512F; fi
if has x86-64-v4; then run x86-64-v4; fi

counted='^(huffman|tier1)/'
[ "$filter" = . ] || counted=$filter
echo "bench: instructions"
valgrind --tool=callgrind --instr-atstart=no --callgrind-out-file=bench-report/callgrind build/bin/zelj_bench \
  --benchmark_filter="$counted" --benchmark_min_time=0 > bench-report/log.txt 2>&1 ||
  { cat bench-report/log.txt >&2; exit 1; }
python3 scripts/bench_report.py bench-report --counts > bench-report/instructions.json
rm -f bench-report/callgrind*

[ "$filter" != . ] || python3 scripts/bench_process.py build/bin/zelimg | tee bench-report/processes.txt
python3 scripts/bench_report.py bench-report --html bench-report/index.html
echo "bench-report/index.html"
