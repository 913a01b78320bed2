#!/usr/bin/env python3
"""Turns the UCI_Elo calibration games into anchor Elos.

Each argument is LABEL=REF_ELO:PGN[,REF_ELO:PGN...] (REF_ELO may be "@LABEL", an anchor measured
earlier on the line): the anchor that played as UCI_Elo LABEL, and the games it played against a
reference of known Elo. An anchor's Elo is the one that makes its games most likely under the
400-point logistic (a draw counts as half a win); the 95 % interval comes from the score's variance per
game, and an anchor measured against another anchor adds that anchor's error. The anchors are printed
weakest first, with a warning where the Elos are not increasing.
  tools/strength_fit.py 2250=2250:full.pgn,2050:full2.pgn 2050=1900:a.pgn 1250=@1450:b.pgn ...
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
    anchors = {}
    for arg in sys.argv[1:]:
        label, sources = arg.split('=', 1)
        games, inherited = [], 0.0
        for source in sources.split(','):
            ref, path = source.split(':', 1)
            if ref.startswith('@'):
                ref_elo, ref_width = anchors[ref[1:]][:2]
                inherited = max(inherited, ref_width)
            else:
                ref_elo = float(ref)
            games += [(ref_elo, s) for s in scores(path, label)]
        elo, width, mean, n = fit(games)
        anchors[label] = (elo, math.hypot(width, inherited), mean, n)
    previous = None
    for label, (elo, width, mean, n) in sorted(anchors.items(), key=lambda item: int(item[0])):
        flag = '' if previous is None or elo > previous else '  NOT INCREASING'
        print(f'anchor {label:>5}: {n:3d} games, score {100 * mean:5.1f} %, Elo {elo:6.0f} +/- {width:4.0f}{flag}')
        previous = elo


if __name__ == '__main__':
    main()
