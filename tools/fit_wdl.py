#!/usr/bin/env python3
"""Fits the win/draw/loss model of UCI_ShowWDL on the engine's own games.

  tools/fit_wdl.py GAMES.pgn [GAMES.pgn ...] [--check-every 6] [--out tools/wdl_data.md]

The games are fastchess PGN with moves in UCI notation (-pgnout notation=uci) and the engine's score
of every move in the comments ("{+0.35/12 ...}", the mover's view). Every position that has a score
(not a mate score) gives one sample: the score v in centipawns, the material on the board before the
move (pawn 1, knight and bishop 3, rook 5, queen 9, both sides), the move number, and the outcome for
the side that moved. The model of the engine's wdl output:

    win = 1 / (1 + exp((a - v) / b)),  loss = 1 / (1 + exp((a + v) / b)),  draw = 1 - win - loss

where a and b are cubic polynomials in the game phase x. Two phases are tried: x = material / 58
(material clamped to 17..78: below it the scores of drawn endings such as
bishop against pawns would pull the curve) and x = move number / 32 (clamped to 1..120). Each is fitted by
maximum likelihood (Nelder-Mead, started from per-phase-bucket fits) on the games not held out; every
--check-every-th game is held out, and the held-out log-likelihood and a table of predicted against
observed rates in score buckets show how well each model predicts games it did not see. The summary
goes to --out (markdown) and to standard output; the coefficients to paste are printed last.
"""
import argparse, math, re, sys
from collections import defaultdict

VALUE = {"p": 1, "n": 3, "b": 3, "r": 5, "q": 9, "k": 0}


def board_from_fen(fen):
    rows = fen.split()[0].split("/")
    board = {}
    for r, row in enumerate(rows):
        f = 0
        for ch in row:
            if ch.isdigit():
                f += int(ch)
            else:
                board[(7 - r) * 8 + f] = ch
                f += 1
    return board


def square(text):
    return (ord(text[1]) - ord("1")) * 8 + ord(text[0]) - ord("a")


def play(board, move):
    """Makes a UCI move on a square -> piece map (standard or Chess960 castling as king takes rook)."""
    a, b = square(move[:2]), square(move[2:4])
    piece = board.pop(a)
    target = board.get(b)
    if piece in "kK" and target is not None and target.isupper() == piece.isupper():  # king takes rook
        rank = a // 8 * 8
        board.pop(b)
        side_king = b > a
        board[rank + (6 if side_king else 2)] = piece
        board[rank + (5 if side_king else 3)] = target
        return
    if piece in "kK" and abs(b - a) == 2:  # standard castling
        rank = a // 8 * 8
        rook_from, rook_to = (rank + 7, rank + 5) if b > a else (rank, rank + 3)
        board[rook_to] = board.pop(rook_from)
    if piece in "pP" and a % 8 != b % 8 and target is None:  # en passant
        board.pop(b - 8 if piece == "P" else b + 8, None)
    if len(move) == 5:
        piece = move[4].upper() if piece == "P" else move[4].lower()
    board[b] = piece


def material(board):
    return sum(VALUE[p.lower()] for p in board.values())


COMMENT = re.compile(r"([a-h][1-8][a-h][1-8][qrbn]?)\s*\{([^}]*)\}")


def read_games(paths):
    games, seen = [], set()
    for path in paths:
        text = open(path).read()
        for chunk in text.split("[Event ")[1:]:
            result = re.search(r'\[Result "([^"]*)"\]', chunk).group(1)
            if result not in ("1-0", "0-1", "1/2-1/2"):
                continue
            fen = re.search(r'\[FEN "([^"]*)"\]', chunk)
            fen = fen.group(1) if fen else "rnbqkbnr/pppppppp/8/8/8/8/PPPPPPPP/RNBQKBNR w KQkq - 0 1"
            board = board_from_fen(fen)
            white = fen.split()[1] == "w"
            move_number = int(fen.split()[5]) if len(fen.split()) > 5 else 1
            body = chunk[chunk.index("\n\n"):]
            # A deterministic engine plays the same game again with the colours swapped: count it once.
            identity = (fen, re.sub(r"\{[^}]*\}|\d+\.", "", body).split().__repr__())
            if identity in seen:
                continue
            seen.add(identity)
            samples = []
            for move, comment in COMMENT.findall(body):
                score = comment.split("/")[0].strip()
                if re.fullmatch(r"[+-]?\d+\.\d+", score):
                    cp = round(float(score) * 100)
                    outcome = 0 if result == "1/2-1/2" else (1 if (result == "1-0") == white else -1)
                    samples.append((cp, material(board), move_number, outcome))
                play(board, move)
                if not white:
                    move_number += 1
                white = not white
            games.append(samples)
    return games


def logistic(z):
    if z > 40:
        return 1.0
    if z < -40:
        return 0.0
    return 1.0 / (1.0 + math.exp(-z))


def poly(c, x):
    return ((c[0] * x + c[1]) * x + c[2]) * x + c[3]


def probabilities(v, a, b):
    a, b = max(a, 1.0), max(b, 1.0)
    w = logistic((v - a) / b)
    l = logistic((-v - a) / b)
    return w, max(1.0 - w - l, 0.0), l


def nll(cells, fa, fb):
    """Negative log-likelihood of binned counts: cells[(v, x)] = [losses, draws, wins]."""
    total = 0.0
    for (v, x), counts in cells.items():
        w, d, l = probabilities(v, fa(x), fb(x))
        for p, n in zip((l, d, w), counts):
            if n:
                total -= n * math.log(max(p, 1e-12))
    return total


def nelder_mead(f, start, step, iterations=3000):
    n = len(start)
    simplex = [list(start)]
    for i in range(n):
        point = list(start)
        point[i] += step[i]
        simplex.append(point)
    values = [f(p) for p in simplex]
    for _ in range(iterations):
        order = sorted(range(n + 1), key=lambda i: values[i])
        simplex = [simplex[i] for i in order]
        values = [values[i] for i in order]
        if abs(values[-1] - values[0]) < 1e-7 * (1 + abs(values[0])):
            break
        centre = [sum(p[i] for p in simplex[:-1]) / n for i in range(n)]
        worst = simplex[-1]
        reflected = [c + (c - w) for c, w in zip(centre, worst)]
        fr = f(reflected)
        if fr < values[0]:
            expanded = [c + 2 * (c - w) for c, w in zip(centre, worst)]
            fe = f(expanded)
            simplex[-1], values[-1] = (expanded, fe) if fe < fr else (reflected, fr)
        elif fr < values[-2]:
            simplex[-1], values[-1] = reflected, fr
        else:
            contracted = [c + 0.5 * (w - c) for c, w in zip(centre, worst)]
            fc = f(contracted)
            if fc < values[-1]:
                simplex[-1], values[-1] = contracted, fc
            else:
                best = simplex[0]
                simplex = [best] + [[b + 0.5 * (p - b) for b, p in zip(best, q)] for q in simplex[1:]]
                values = [values[0]] + [f(p) for p in simplex[1:]]
    i = min(range(n + 1), key=lambda k: values[k])
    return simplex[i], values[i]


def least_squares_cubic(xs, ys, weights):
    """Weighted cubic fit by the normal equations (4 x 4, Gaussian elimination)."""
    m = [[0.0] * 5 for _ in range(4)]
    for x, y, w in zip(xs, ys, weights):
        powers = [x ** 3, x ** 2, x, 1.0]
        for i in range(4):
            for j in range(4):
                m[i][j] += w * powers[i] * powers[j]
            m[i][4] += w * powers[i] * y
    for i in range(4):
        pivot = max(range(i, 4), key=lambda r: abs(m[r][i]))
        m[i], m[pivot] = m[pivot], m[i]
        for r in range(4):
            if r != i and m[i][i] != 0:
                factor = m[r][i] / m[i][i]
                m[r] = [a - factor * b for a, b in zip(m[r], m[i])]
    return [m[i][4] / m[i][i] if m[i][i] else 0.0 for i in range(4)]


PHASES = {
    "material": (lambda s: min(max(s[1], 17), 78) / 58.0),
    "move number": (lambda s: min(max(s[2], 1), 120) / 32.0),
}


def bin_samples(samples, phase):
    cells = defaultdict(lambda: [0, 0, 0])
    for s in samples:
        v = max(-2000, min(2000, 5 * round(s[0] / 5)))
        cells[(v, round(phase(s), 3))][s[3] + 1] += 1
    return cells


def fit(samples, phase):
    # Per-bucket fits give the starting polynomials.
    buckets = defaultdict(list)
    for s in samples:
        buckets[round(phase(s) * 8) / 8].append(s)
    xs, as_, bs, ws = [], [], [], []
    for x, group in sorted(buckets.items()):
        if len(group) < 2000:
            continue
        cells = bin_samples(group, lambda s: 0.0)
        (a, b), _ = nelder_mead(lambda p: nll(cells, lambda _: p[0], lambda _: p[1]), [150.0, 60.0], [30.0, 15.0], 400)
        xs.append(x), as_.append(a), bs.append(b), ws.append(len(group))
    if len(xs) >= 4:
        ca, cb = least_squares_cubic(xs, as_, ws), least_squares_cubic(xs, bs, ws)
    else:
        ca, cb = [0, 0, 0, sum(as_) / max(len(as_), 1)], [0, 0, 0, sum(bs) / max(len(bs), 1)]
    cells = bin_samples(samples, phase)
    start = ca + cb
    best, value = nelder_mead(lambda p: nll(cells, lambda x: poly(p[:4], x), lambda x: poly(p[4:], x)),
                              start, [max(abs(c) * 0.2, 5.0) for c in start], 6000)
    return best[:4], best[4:], value, list(zip(xs, as_, bs, ws))


def main():
    ap = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    ap.add_argument("pgn", nargs="+")
    ap.add_argument("--check-every", type=int, default=6)
    ap.add_argument("--out", default="tools/wdl_data.md")
    a = ap.parse_args()
    games = read_games(a.pgn)
    fit_games = [g for i, g in enumerate(games) if i % a.check_every != a.check_every - 1]
    check_games = [g for i, g in enumerate(games) if i % a.check_every == a.check_every - 1]
    fit_samples = [s for g in fit_games for s in g]
    check_samples = [s for g in check_games for s in g]
    results = defaultdict(int)
    for g in games:
        if g:
            results[g[0][3] if g[0][3] == 0 else "decisive"] += 1
    out = []
    say = out.append
    say(f"# The WDL model's data ({', '.join(a.pgn)})\n")
    say(f"- games: {len(games)} ({len(fit_games)} fitted, {len(check_games)} held out: every "
        f"{a.check_every}th); draws {results[0]}, decisive {results['decisive']}")
    say(f"- samples (positions with a centipawn score): {len(fit_samples)} fitted, {len(check_samples)} held out\n")
    models = {}
    for name, phase in PHASES.items():
        ca, cb, value, buckets = fit(fit_samples, phase)
        check = nll(bin_samples(check_samples, phase), lambda x: poly(ca, x), lambda x: poly(cb, x))
        models[name] = (ca, cb, phase, check)
        say(f"## Phase = {name}")
        say(f"- a(x) = {' '.join(f'{c:.4f}' for c in ca)} (x^3 x^2 x 1)")
        say(f"- b(x) = {' '.join(f'{c:.4f}' for c in cb)}")
        say(f"- log-likelihood per sample: fitted {-value / len(fit_samples):.5f}, "
            f"held out {-check / max(len(check_samples), 1):.5f}")
        say("- per-bucket fits (x, a, b, samples): " +
            "; ".join(f"{x:.2f} {a_:.0f} {b_:.0f} {n}" for x, a_, b_, n in buckets) + "\n")
    chosen = max(models, key=lambda k: -models[k][3])
    ca, cb, phase, _ = models[chosen]
    say(f"## Chosen: {chosen} (the better held-out likelihood)\n")
    say("Held-out games, predicted against observed, per mille (W / D / L):\n")
    say("| score (cp) | positions | predicted | observed |")
    say("|---|---|---|---|")
    edges = [-100000, -400, -250, -150, -100, -50, -20, 20, 50, 100, 150, 250, 400, 100000]
    for lo, hi in zip(edges, edges[1:]):
        group = [s for s in check_samples if lo <= s[0] < hi]
        if not group:
            continue
        pred = [0.0, 0.0, 0.0]
        obs = [0, 0, 0]
        for s in group:
            w, d, l = probabilities(s[0], poly(ca, phase(s)), poly(cb, phase(s)))
            pred[0] += w; pred[1] += d; pred[2] += l
            obs[{1: 0, 0: 1, -1: 2}[s[3]]] += 1
        n = len(group)
        label = f"< {hi}" if lo == -100000 else f">= {lo}" if hi == 100000 else f"{lo} .. {hi - 1}"
        say(f"| {label} | {n} | {' / '.join(f'{1000 * p / n:.0f}' for p in pred)} | "
            f"{' / '.join(f'{1000 * o / n:.0f}' for o in obs)} |")
    text = "\n".join(out) + "\n"
    open(a.out, "w").write(text)
    print(text)
    print("constexpr double A[] = {" + ", ".join(f"{c:.4f}" for c in ca) + "};")
    print("constexpr double B[] = {" + ", ".join(f"{c:.4f}" for c in cb) + "};")


if __name__ == "__main__":
    sys.exit(main())
