#!/usr/bin/env bash
# Speed of two builds of the engine against each other on a noisy machine: N rounds of A B B A runs of
# "bench DEPTH", all pinned to one CPU; prints the geometric mean over the rounds of B's nodes per second
# against A's, (B1 + B2) / (A1 + A2), and its standard error. Host noise that drifts slowly cancels
# within a round; on a shared virtual machine one bench run alone varies by +-15 %, so use 20 rounds or
# more and compare both CPUs. With THREADS above 1 give CPU as a list ("0,1"): each run is then a
# parallel search whose tree differs from run to run, so it takes more rounds still.
#   tools/ab_bench.sh ENGINE_A ENGINE_B [ROUNDS=20] [CPU=0] [DEPTH=9] [THREADS=1]
set -euo pipefail
a=$1 b=$2 rounds=${3:-20} cpu=${4:-0} depth=${5:-9} threads=${6:-1}
nps() { taskset -c "$cpu" "$1" bench "$depth" "$threads" 2>&1 | tail -1 | awk '{print $3}'; }
for _ in $(seq "$rounds"); do
  a1=$(nps "$a"); b1=$(nps "$b"); b2=$(nps "$b"); a2=$(nps "$a")
  echo "$a1 $b1 $b2 $a2"
done | awk '{r = ($2 + $3) / ($1 + $4); l = log(r); s += l; ss += l * l; n++}
  END {m = s / n; sd = n > 1 ? sqrt((ss / n - m * m) * n / (n - 1)) : 0;
       printf "%d rounds: B/A nodes per second %.4f, standard error %.4f\n", n, exp(m), sd / sqrt(n)}'
