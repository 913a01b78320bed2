#!/usr/bin/env bash
# Runs every fuzz target of a fuzz build for the given number of seconds each, seeding the corpora
# from the shared test data (what the targets print goes to /dev/null, libFuzzer's report to <target>.log).
# Usage: tools/run_fuzzers.sh <fuzz-build-dir> <seconds-per-target> [target...]
# (no targets named: every *_fuzz of the build).
set -euo pipefail
build=$1
seconds=$2
shift 2
targets=("$@")
if [ ${#targets[@]} -eq 0 ]; then
  # Executables only: the corpus folders (corpus-<target>) end in _fuzz too.
  for exe in "$build"/*_fuzz; do
    if [ -f "$exe" ] && [ -x "$exe" ]; then targets+=("$(basename "$exe")"); fi
  done
fi
root=$(cd "$(dirname "$0")/.." && pwd)
data="$root/../shared/data"
status=0
for name in "${targets[@]}"; do
  corpus="$build/corpus-$name"
  mkdir -p "$corpus"
  if [ -z "$(ls -A "$corpus")" ]; then
    case "$name" in
      fen_fuzz)
        if [ -f "$data/perft.epd" ]; then
          i=0
          while IFS= read -r line; do
            i=$((i + 1))
            printf '%s' "${line%% ;*}" > "$corpus/seed$i"
          done < "$data/perft.epd"
        fi
        printf '%s' "rnbqkbnr/pppppppp/8/8/8/8/PPPPPPPP/RNBQKBNR w KQkq - 0 1" > "$corpus/start" ;;
      uci_fuzz) cp "$root"/fuzz/seeds/uci/* "$corpus"/ ;;
      book_fuzz) if [ -d "$data/books" ]; then cp "$data"/books/*.bin "$corpus"/; fi ;;
      tablebase_fuzz)
        if [ -d "$data/syzygy" ]; then
          i=0
          for f in "$data"/syzygy/*.rtb?; do
            [ "$(stat -c %s "$f")" -lt 120000 ] || continue
            i=$((i + 1))
            { printf "\\x$(printf '%02x' $((i % 256)))"; cat "$f"; } > "$corpus/$(basename "$f")"
          done
        fi ;;
    esac
  fi
  echo "== $name for ${seconds}s"
  if ! (cd "$build" && "./$name" "corpus-$name" -max_total_time="$seconds" -timeout=30 \
        -rss_limit_mb=4096 -print_final_stats=1 >/dev/null 2>"$name.log"); then
    echo "!! $name found a problem; see $build/$name.log and the crash-* file in $build"
    tail -40 "$build/$name.log"
    status=1
  else
    grep -E 'stat::number_of_executed_units' "$build/$name.log" | tail -1
  fi
done
exit $status
