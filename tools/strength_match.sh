#!/usr/bin/env bash
# Calibration match for UCI_Elo: Tesmar at a level against a reference at a level, under fastchess,
# two games at once, Threads 1, Hash 64, balanced openings with colours swapped. The reference is
# Debian's stockfish 15.1 with UCI_LimitStrength (REF=sf, its scale starts at 1350) or, below that,
# Tesmar itself at a level already calibrated (REF=tesmar). Prints fastchess's summary; games go to
# $OUT.pgn.
#   tools/strength_match.sh ENGINE OPENINGS.epd ELO [REF_ELO=ELO] [GAMES=100] [TC=10+0.1]
#   REF=tesmar tools/strength_match.sh build/release/tesmar openings.epd 1000 1350 100
# Openings: tools/make_openings.py openings.epd. fastchess: ../shared/tools/build-fastchess.sh.
set -euo pipefail
engine=$1 openings=$2 elo=$3 refElo=${4:-$3} games=${5:-100} tc=${6:-10+0.1}
fastchess=${FASTCHESS:-/tmp/fastchess/fastchess}
out=${OUT:-strength-$elo-vs-$refElo}
case "${REF:-sf}" in
  sf) ref=(cmd=/usr/games/stockfish name=stockfish-$refElo) ;;
  tesmar) ref=(cmd="$engine" name=tesmar-$refElo) ;;
  *) echo "REF is sf or tesmar" >&2; exit 2 ;;
esac
"$fastchess" -engine cmd="$engine" name=tesmar-$elo option.UCI_Elo="$elo" \
  -engine "${ref[@]}" option.UCI_Elo="$refElo" \
  -each proto=uci tc="$tc" option.Hash=64 option.Threads=1 option.UCI_LimitStrength=true \
  -rounds $((games / 2)) -games 2 -repeat -concurrency ${CONCURRENCY:-2} \
  -openings file="$openings" format=epd order=random \
  -pgnout file="$out.pgn" -log file="$out.log" level=warn 2>&1 | grep -E "Results of|Elo:|Games:|Ptnml|loses on time|timeout|illegal|disconnect" | tail -8
