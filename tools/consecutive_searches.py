#!/usr/bin/env python3
"""Wall time of consecutive searches to one depth in one engine process, per Threads setting: how a GUI
drives an engine (the table of six 'go depth 12' searches used for the Threads-on-a-busy-machine work).

  tools/consecutive_searches.py ENGINE [--threads 1 2 4] [--depth 12] [--searches 6] [--busy]
      [--fen FEN]

One fresh process per Threads setting, Hash 64, 'ucinewgame' once, then the same position searched
--searches times; prints the milliseconds from 'go' to 'bestmove' of each search. --busy runs a
one-line busy loop beside the engine (a machine that is not idle). Searches this short are decided by
single scheduler slices: repeat the run, and use 'uci_speed.py session' for a steadier figure.
"""
import argparse, subprocess, time

DEFAULT_FEN = "r1bqkb1r/pp3ppp/2n1pn2/2pp4/3P4/2PBPN2/PP1N1PPP/R1BQK2R b KQkq - 0 6"


def series(engine, threads, depth, searches, fen):
    p = subprocess.Popen([engine], stdin=subprocess.PIPE, stdout=subprocess.PIPE, text=True, bufsize=1)

    def send(line):
        p.stdin.write(line + "\n")
        p.stdin.flush()

    def until(prefix):
        for line in p.stdout:
            if line.startswith(prefix):
                return

    send("uci")
    until("uciok")
    send(f"setoption name Threads value {threads}")
    send("setoption name Hash value 64")
    send("ucinewgame")
    send("isready")
    until("readyok")
    times = []
    for _ in range(searches):
        send("position fen " + fen)
        start = time.perf_counter()
        send(f"go depth {depth}")
        until("bestmove")
        times.append(round((time.perf_counter() - start) * 1000))
    send("quit")
    p.wait()
    return times


def main():
    ap = argparse.ArgumentParser()
    ap.add_argument("engine")
    ap.add_argument("--threads", type=int, nargs="+", default=[1, 2, 4])
    ap.add_argument("--depth", type=int, default=12)
    ap.add_argument("--searches", type=int, default=6)
    ap.add_argument("--busy", action="store_true")
    ap.add_argument("--fen", default=DEFAULT_FEN)
    args = ap.parse_args()
    busy = subprocess.Popen(["sh", "-c", "while :; do :; done"]) if args.busy else None
    try:
        for threads in args.threads:
            times = series(args.engine, threads, args.depth, args.searches, args.fen)
            print(f"Threads {threads}: " + ", ".join(map(str, times)) + " ms")
    finally:
        if busy:
            busy.kill()


if __name__ == "__main__":
    main()
