#!/usr/bin/env python3
"""Turns the UCI_Elo calibration games into anchor Elos.

Each argument is LABEL=REF_ELO:PGN[:NAME][,REF_ELO:PGN[:NAME]...] (REF_ELO may be "@LABEL", an anchor
measured earlier on the line): the anchor that played as UCI_Elo LABEL, and the games it played
against a reference of known Elo; NAME is the UCI_Elo it played under in that file when that was
another number (games of an earlier pass, under the labels of that time). An anchor's Elo is the one
that makes its games most likely under the 400-point logistic (a draw counts as half a win); the 95 %
interval comes from the score's variance per game, and an anchor measured against another anchor adds
that anchor's error. The anchors are printed weakest first, with a warning where the Elos are not
increasing.

LABEL may carry the level's node budget as LABEL/NODES. Where two or more anchors do, the script also
fits the monotone line Elo = a + b * log2(NODES) through them (least squares, each anchor weighted by
the inverse square of its error) and prints the line's Elo for each: a reference whose strength rises
in steps (stockfish's limited levels pick their move at a whole search depth) puts single anchors above
or below it, and the line smooths those steps out.
  tools/strength_fit.py 2250=2250:full.pgn,2050:full2.pgn 2050/60000=1900:a.pgn 1250=@1450:b.pgn ...
"""
import math
import re
import sys


def scores(path, label):
    """The anchor's score in each game of the file (1, 0.5, 0): its engine is named tesmar-LABEL."""
    text = open(path).read()
    out = []
    for game in text.split('[Event ')[1:]:
        white = re.search(r'\[White "([^"]+)"', game).group(1)
        result = re.search(r'\[Result "([^"]+)"', game).group(1)
        if result not in ('1-0', '0-1', '1/2-1/2'):
            continue
        mine = white == 'tesmar-' + label
        out.append(0.5 if result == '1/2-1/2' else float((result == '1-0') == mine))
    return out


def fit(games):
    """games: (reference Elo, score) pairs -> the maximum-likelihood Elo and its 95 % half-width."""
    def loglik(elo):
        total = 0.0
        for ref, s in games:
            p = 1 / (1 + 10 ** ((ref - elo) / 400))
            total += s * math.log(p) + (1 - s) * math.log(1 - p)
        return total
    lo, hi = -1000.0, 4000.0
    for _ in range(200):  # golden-section search on a concave function
        a, b = lo + (hi - lo) * 0.382, lo + (hi - lo) * 0.618
        if loglik(a) < loglik(b):
            lo = a
        else:
            hi = b
    elo = (lo + hi) / 2
    n = len(games)
    mean = sum(s for _, s in games) / n
    var = sum((s - mean) ** 2 for _, s in games) / n
    p = min(max(mean, 0.01), 0.99)
    width = 1.96 * math.sqrt(var / n) * 400 / (math.log(10) * p * (1 - p))
    return elo, width, mean, n


def main():
    anchors, budgets = {}, {}
    for arg in sys.argv[1:]:
        label, sources = arg.split('=', 1)
        label, _, budget = label.partition('/')
        if budget:
            budgets[label] = float(budget)
        games, inherited = [], 0.0
        for source in sources.split(','):
            ref, path = source.split(':', 1)
            path, _, name = path.partition(':')
            if ref.startswith('@'):
                ref_elo, ref_width = anchors[ref[1:]][:2]
                inherited = max(inherited, ref_width)
            else:
                ref_elo = float(ref)
            games += [(ref_elo, s) for s in scores(path, name or label)]
        elo, width, mean, n = fit(games)
        anchors[label] = (elo, math.hypot(width, inherited), mean, n)
    previous = None
    for label, (elo, width, mean, n) in sorted(anchors.items(), key=lambda item: int(item[0])):
        flag = '' if previous is None or elo > previous else '  NOT INCREASING'
        print(f'anchor {label:>5}: {n:3d} games, score {100 * mean:5.1f} %, Elo {elo:6.0f} +/- {width:4.0f}{flag}')
        previous = elo
    if len(budgets) >= 2:
        points = [(math.log2(budgets[label]), anchors[label][0], 1 / anchors[label][1] ** 2) for label in budgets]
        total = sum(w for _, _, w in points)
        mx = sum(w * x for x, _, w in points) / total
        my = sum(w * y for _, y, w in points) / total
        slope = sum(w * (x - mx) * (y - my) for x, y, w in points) / sum(w * (x - mx) ** 2 for x, _, w in points)
        print(f'line: Elo = {my - slope * mx:.1f} + {slope:.1f} * log2(nodes)')
        for label in sorted(budgets, key=lambda label: budgets[label]):
            print(f'  {budgets[label]:8.0f} nodes (anchor {label}): {my + slope * (math.log2(budgets[label]) - mx):6.0f}')


if __name__ == '__main__':
    main()
