#!/usr/bin/env bash
# Threads 2 against Threads 1 of the same engine under fastchess, one game at a time, Hash 64, balanced
# openings with colours swapped; BUSY=1 runs a one-line busy loop beside the games (a machine that is
# not idle). Prints fastchess's summary (score, Elo, time losses); games go to $OUT.pgn.
#   tools/threads_match.sh ENGINE OPENINGS.epd [GAMES=100] [TC=10+0.1]
#   BUSY=1 tools/threads_match.sh build/release/tesmar openings.epd 100 10+0.1
# Openings: tools/make_openings.py openings.epd. fastchess: ../shared/tools/build-fastchess.sh.
set -euo pipefail
engine=$1 openings=$2 games=${3:-100} tc=${4:-10+0.1}
fastchess=${FASTCHESS:-/tmp/fastchess/fastchess}
out=${OUT:-threads-match}
busy=""
if [ "${BUSY:-0}" = 1 ]; then
  sh -c 'while :; do :; done' &
  busy=$!
  trap 'kill $busy' EXIT
fi
"$fastchess" -engine cmd="$engine" name=threads2 option.Threads=2 \
  -engine cmd="$engine" name=threads1 option.Threads=1 \
  -each proto=uci tc="$tc" option.Hash=64 option.OwnBook=false \
  -rounds $((games / 2)) -games 2 -repeat -concurrency 1 \
  -openings file="$openings" format=epd order=random \
  -pgnout file="$out.pgn" -log file="$out.log" level=warn 2>&1 | grep -E "Results of|Elo:|Games:|Ptnml|loses on time|timeout|illegal|disconnect" | tail -8
