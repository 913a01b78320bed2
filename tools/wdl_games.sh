#!/usr/bin/env bash
# The self-play games that the wdl model of UCI_ShowWDL is fitted on (tools/fit_wdl.py): full
# strength, Threads 1, Hash 16, a fixed node count a move (no clock, so the games do not depend on the
# machine's load), no adjudication, the engine's score of every move in the PGN comments. 1,800
# balanced openings (tools/make_openings.py --count 1800 --seed 32); each is played at 10,000 nodes a
# move with both colours (a deterministic engine plays the same game twice, which the fit counts once)
# and at 12,000 nodes once: 3,600 different games.
#   tools/wdl_games.sh ENGINE OUTDIR    then    tools/fit_wdl.py OUTDIR/selfplay*.pgn
set -euo pipefail
engine=$1 out=$2
fastchess=${FASTCHESS:-/tmp/fastchess/fastchess}
mkdir -p "$out"
[ -f "$out/openings.epd" ] || "$(dirname "$0")/make_openings.py" "$out/openings.epd" --count 1800 --seed 32
for run in "10000 2" "12000 1"; do
  set -- $run
  "$fastchess" -engine cmd="$engine" name=a -engine cmd="$engine" name=b \
    -each proto=uci tc=inf nodes="$1" option.Hash=16 -rounds 1800 -games "$2" $([ "$2" = 2 ] && echo -repeat) \
    -concurrency 2 -openings file="$out/openings.epd" format=epd order=sequential \
    -pgnout file="$out/selfplay$1.pgn" notation=uci -log file="$out/selfplay$1.log" level=warn | tail -4
done
