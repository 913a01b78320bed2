#!/usr/bin/env python3
"""Balanced opening positions for engine matches, written as EPD (one FEN a line).

  tools/make_openings.py OUT.epd [--count 300] [--plies 8] [--seed 1] [--oracle /usr/games/stockfish]
      [--chess960 | --dfrc]

Plays --plies random legal moves from the start position (or from a random Chess960 start, or a
Double Fischer Random start where each side's back rank is drawn on its own), then keeps the position
if a short search of the oracle engine scores it within 60 centipawns. The oracle is any UCI engine
with Stockfish's "go perft 1" and "d" commands (Debian's stockfish); the same seed gives the same file.
"""
import argparse, random, subprocess, sys


class Oracle:
    def __init__(self, path, chess960):
        self.p = subprocess.Popen([path], stdin=subprocess.PIPE, stdout=subprocess.PIPE, text=True, bufsize=1)
        self.send("uci")
        self.until("uciok")
        if chess960:
            self.send("setoption name UCI_Chess960 value true")
        self.send("setoption name Threads value 1")

    def send(self, line):
        self.p.stdin.write(line + "\n")
        self.p.stdin.flush()

    def until(self, prefix):
        lines = []
        for line in self.p.stdout:
            lines.append(line.rstrip("\n"))
            if line.startswith(prefix):
                return lines
        raise RuntimeError("oracle ended")

    def moves(self, fen):
        self.send(f"position fen {fen}")
        self.send("go perft 1")
        return [l.split(":")[0] for l in self.until("Nodes searched") if ": " in l and len(l.split(":")[0]) in (4, 5)]

    def fen_after(self, fen, move):
        self.send(f"position fen {fen} moves {move}")
        self.send("d")
        for line in self.until("Checkers"):
            if line.startswith("Fen: "):
                return line[5:].strip()
        raise RuntimeError("no Fen line")

    def score(self, fen):
        self.send(f"position fen {fen}")
        self.send("go depth 10")
        cp = None
        for line in self.until("bestmove"):
            words = line.split()
            if "score" in words:
                kind, value = words[words.index("score") + 1:words.index("score") + 3]
                cp = int(value) if kind == "cp" else 100000
        return cp


def back_rank(rng):
    """A random Chess960 back rank: bishops on opposite colours, the king between the rooks."""
    rank = [None] * 8
    rank[rng.randrange(0, 8, 2)] = "b"
    rank[rng.randrange(1, 8, 2)] = "b"
    for piece in "qnn":
        free = [i for i in range(8) if rank[i] is None]
        rank[rng.choice(free)] = piece
    free = [i for i in range(8) if rank[i] is None]
    for i, piece in zip(free, "rkr"):
        rank[i] = piece
    return "".join(rank)


def start_fen(rng, mode):
    if mode == "standard":
        return "rnbqkbnr/pppppppp/8/8/8/8/PPPPPPPP/RNBQKBNR w KQkq - 0 1"
    black = back_rank(rng)
    white = black if mode == "chess960" else back_rank(rng)
    rights = "".join(chr(ord("A") + i) for i, p in enumerate(white) if p == "r")[::-1]
    rights += "".join(chr(ord("a") + i) for i, p in enumerate(black) if p == "r")[::-1]
    return f"{black}/pppppppp/8/8/8/8/PPPPPPPP/{white.upper()} w {rights} - 0 1"


def main():
    ap = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    ap.add_argument("out")
    ap.add_argument("--count", type=int, default=300)
    ap.add_argument("--plies", type=int, default=8)
    ap.add_argument("--seed", type=int, default=1)
    ap.add_argument("--oracle", default="/usr/games/stockfish")
    mode = ap.add_mutually_exclusive_group()
    mode.add_argument("--chess960", action="store_true")
    mode.add_argument("--dfrc", action="store_true")
    a = ap.parse_args()
    kind = "chess960" if a.chess960 else "dfrc" if a.dfrc else "standard"
    rng = random.Random(a.seed)
    oracle = Oracle(a.oracle, kind != "standard")
    seen = set()
    with open(a.out, "w") as out:
        while len(seen) < a.count:
            fen = start_fen(rng, kind)
            for _ in range(a.plies):
                moves = oracle.moves(fen)
                if not moves:
                    break
                fen = oracle.fen_after(fen, rng.choice(moves))
            key = " ".join(fen.split()[:4])
            if key in seen or not oracle.moves(fen):
                continue
            cp = oracle.score(fen)
            if cp is not None and abs(cp) <= 60:
                seen.add(key)
                out.write(fen + "\n")
                out.flush()
    oracle.send("quit")


if __name__ == "__main__":
    sys.exit(main())
