#!/usr/bin/env bash
# Runs the UCI_Elo calibration at the numbers a user sets: each level against the reference at the
# Elo it is meant to play, under tools/strength_match.sh (two games at once). From 1350 up the
# reference is Debian's stockfish 15.1 with UCI_LimitStrength at the same number, so a level is right
# when it scores about 50 %; below 1350 a level plays Tesmar's own level above it, already measured,
# and is right when it scores what the 400-point logistic expects. Then two levels are checked at
# 3+0.03 and at 30+0.3 against the same reference. Each match's summary goes to $DIR/<name>.out and
# its games to $DIR/<name>.pgn; tools/strength_fit.py turns the games into Elos.
#   tools/strength_ladder.sh ENGINE OPENINGS.epd DIR [GAMES=70] [CHECK_GAMES=40]
# ENGINE should be a copy of the binary, so that a rebuild cannot change it during the run.
set -euo pipefail
engine=$1 openings=$2 dir=$3 games=${4:-70} checkGames=${5:-40}
here=$(dirname "$0")
mkdir -p "$dir"
run() {  # name level reference-level games time-control [REF]
  echo "== $2 against ${6:-sf} $3 at $5 ($(date +%H:%M))"
  REF=${6:-sf} OUT="$dir/$1" "$here/strength_match.sh" "$engine" "$openings" "$2" "$3" "$4" "$5" \
    | tee "$dir/$1.out"
}
for elo in 2100 1950 1800 1650 1500 1350; do run "$elo" $elo $elo "$games" 10+0.1; done
run 1200 1200 1350 "$games" 10+0.1 tesmar
run 1000 1000 1200 "$games" 10+0.1 tesmar
for elo in 1350 1800; do
  run "$elo-tc3" $elo $elo "$checkGames" 3+0.03
  run "$elo-tc30" $elo $elo "$checkGames" 30+0.3
done
