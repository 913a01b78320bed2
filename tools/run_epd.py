#!/usr/bin/env python3
"""Runs an EPD test suite (bm/am in SAN) through a UCI engine with "go movetime" per position.

usage: run_epd.py <engine> <suite.epd> <movetime-ms> [max-positions]
e.g.   tools/run_epd.py build/release/tesmar ../shared/data/wac.epd 1000
Prints the positions whose best move was missed, then "solved N of M".
"""
import re, subprocess, sys, time

def board_from_fen(fen):
    rows = fen.split()[0].split('/')
    board = {}
    for r, row in enumerate(rows):
        f = 0
        for ch in row:
            if ch.isdigit(): f += int(ch)
            else:
                board[(f, 7 - r)] = ch; f += 1
    return board

def san_matches(fen, uci, san):
    board = board_from_fen(fen)
    fr = (ord(uci[0]) - 97, int(uci[1]) - 1); to = (ord(uci[2]) - 97, int(uci[3]) - 1)
    piece = board.get(fr, '?').upper()
    san = san.rstrip('+#!?')
    if san.startswith('O-O'):
        return piece == 'K' and abs(to[0] - fr[0]) == 2 and ((to[0] == 6) == (san == 'O-O'))
    m = re.match(r'^([NBRQK])?([a-h])?([1-8])?x?([a-h][1-8])(=?([NBRQ]))?$', san)
    if not m: return False
    p, dfile, drank, dest, _, promo = m.groups()
    if (p or 'P') != piece: return False
    if dest != uci[2:4]: return False
    if dfile and dfile != uci[0]: return False
    if drank and drank != uci[1]: return False
    if (promo or '').lower() != (uci[4:5] or ''): return False
    return True

def main():
    engine_path, epd, ms = sys.argv[1], sys.argv[2], int(sys.argv[3])
    limit = int(sys.argv[4]) if len(sys.argv) > 4 else 10**9
    eng = subprocess.Popen([engine_path], stdin=subprocess.PIPE, stdout=subprocess.PIPE, text=True, bufsize=1)
    def send(s): eng.stdin.write(s + '\n'); eng.stdin.flush()
    def wait(prefix):
        while True:
            line = eng.stdout.readline()
            if not line: raise SystemExit('engine died')
            if line.startswith(prefix): return line
    send('uci'); wait('uciok'); send('setoption name Hash value 64'); send('isready'); wait('readyok')
    solved = total = 0; failed = []
    for line in open(epd):
        line = line.strip()
        if not line: continue
        if total >= limit: break
        parts = line.split()
        fen = ' '.join(parts[:4]) + ' 0 1'
        ops = ' '.join(parts[4:])
        bm = re.search(r'\bbm ([^;]+);', ops); am = re.search(r'\bam ([^;]+);', ops)
        ident = re.search(r'id "([^"]+)"', ops)
        send('ucinewgame'); send('position fen ' + fen); send('go movetime %d' % ms)
        best = wait('bestmove').split()[1]
        ok = True
        if bm: ok = any(san_matches(fen, best, s) for s in bm.group(1).split())
        if am: ok = ok and not any(san_matches(fen, best, s) for s in am.group(1).split())
        total += 1; solved += ok
        if not ok: failed.append((ident.group(1) if ident else str(total), best, (bm or am).group(1)))
    send('quit')
    for f in failed: print('failed', *f)
    print('solved %d of %d' % (solved, total))

main()
