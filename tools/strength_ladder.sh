#!/usr/bin/env bash
# Runs the UCI_Elo calibration: each anchor level of src/search/strength.cpp against the reference at
# the Elo it is meant to play, under tools/strength_match.sh (10+0.1, two games at once). Anchors from
# 1350 up play Debian's stockfish 15.1 with UCI_LimitStrength; the ones below play Tesmar's own next
# anchor up. Each match's summary goes to $DIR/<level>.out and its games to $DIR/<level>.pgn; the
# measured Elo of an anchor is its reference's Elo plus the difference fastchess reports.
#   tools/strength_ladder.sh ENGINE OPENINGS.epd DIR [GAMES=80]
# ENGINE should be a copy of the binary, so that a rebuild cannot change it during the run.
set -euo pipefail
engine=$1 openings=$2 dir=$3 games=${4:-80}
here=$(dirname "$0")
mkdir -p "$dir"
run() {  # level reference-level [REF]
  echo "== $1 against ${3:-sf} $2 ($(date +%H:%M))"
  REF=${3:-sf} OUT="$dir/$1" "$here/strength_match.sh" "$engine" "$openings" "$1" "$2" "$games" | tee "$dir/$1.out"
}
# The anchors under their current labels, each against the reference at its own number (the first
# pass, under the provisional labels, is in tools/strength_data.md).
run 2100 2100   # UCI_ELO_MAX: full strength
run 1975 1975
run 1960 1960
run 1740 1740
run 1460 1460
run 1000 1460 tesmar   # UCI_ELO_MIN, between the 750 and 1460 anchors
run 750 1000 tesmar
