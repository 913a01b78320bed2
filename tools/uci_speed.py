#!/usr/bin/env python3
"""Search speed of UCI engines, measured through their pipes.

  tools/uci_speed.py nps ENGINE [ENGINE ...] [--seconds 3] [--runs 3] [--cpu LIST]
      Each engine searches each position for the given time (Threads 1, Hash 64, fresh process per
      search, the engines taking turns run by run); prints nodes per second, the median of the runs
      per position, the geometric mean over the positions, and each engine's ratio to the first.
      --cpu pins every process to the given CPUs: the two CPUs of a shared virtual machine can differ
      in speed by half, so compare engines on the same one.
  tools/uci_speed.py threads ENGINE [--threads 1 2 8] [--least-seconds 5] [--repeat 1]
      For each position, the depth that one thread completes after at least --least-seconds is found;
      then each thread count searches to that depth --repeat times (fresh process, Hash 64). Prints the
      median time to depth and nodes per second of each count, their ratios to the first count, and the
      time of each further count against the one before it (geometric means over the positions).
  tools/uci_speed.py session ENGINE [--threads 1 2 4] [--depths 12 14] [--searches 6] [--clear] [--busy] [--verbose]
      [--fen FEN]
      Consecutive searches in one long-lived process per thread count, as a GUI drives an engine: each
      position is searched --searches times in a row to each depth ("go depth D"), the thread counts
      taking turns search by search. --clear sends "ucinewgame" before every search (a cleared table;
      otherwise it stays warm); --busy runs a one-line busy loop beside the engines for the whole
      measurement (a machine that is not idle). Prints the wall time of every search, from "go" to
      "bestmove" (--verbose), the total per thread count and depth, and each count's speed against the
      first (the geometric mean over the positions of the ratio of their times). --fen searches that one
      position instead of the nine.

An ENGINE is a path, optionally followed by options: "build/release/tesmar" or
"/usr/games/glaurung:Ponder=false,OwnBook=false". Quote ratios measured side by side in one sitting.
"""
import argparse, math, statistics, subprocess, sys, time

NPS_POSITIONS = {
    "start": "rnbqkbnr/pppppppp/8/8/8/8/PPPPPPPP/RNBQKBNR w KQkq - 0 1",
    "kiwipete": "r3k2r/p1ppqpb1/bn2pnp1/3PN3/1p2P3/2N2Q1p/PPPBBPPP/R3K2R w KQkq - 0 1",
    "middlegame": "r4rk1/1pp1qppp/p1np1n2/2b1p1B1/2B1P1b1/P1NP1N2/1PP1QPPP/R4RK1 w - - 0 10",
    "endgame": "8/2p5/3p4/KP5r/1R3p1k/8/4P1P1/8 w - - 0 1",
}
THREAD_POSITIONS = list(NPS_POSITIONS.values()) + [
    "r1bqkb1r/pp3ppp/2n1pn2/2pp4/3P4/2PBPN2/PP1N1PPP/R1BQK2R b KQkq - 0 6",
    "2rq1rk1/pb2bppp/1pn1pn2/2pp4/3P4/1PNBPN2/PBQ2PPP/2R2RK1 w - - 0 12",
    "r2q1rk1/1b1nbppp/p2ppn2/1p6/3NP3/1BN1BP2/PPPQ2PP/2KR3R w - - 0 11",
    "6k1/5p1p/p3p1p1/1p1r4/3P4/P3RPP1/1P5P/6K1 w - - 0 30",
    "4rrk1/pp1n3p/3q2pQ/2p1pb2/2PP4/2P3N1/P2B2PP/4RRK1 b - - 7 19",
]


CPUS = None  # --cpu: the CPUs every engine process is pinned to (taskset's list syntax)


class Engine:
    def __init__(self, command, threads=1, hash_mb=64):
        path, _, opts = command.partition(":")
        argv = ["taskset", "-c", CPUS, path] if CPUS else [path]
        self.p = subprocess.Popen(argv, stdin=subprocess.PIPE, stdout=subprocess.PIPE, text=True, bufsize=1)
        self.send("uci")
        self.wait("uciok")
        options = {"Threads": threads, "Hash": hash_mb}
        for item in filter(None, opts.split(",")):
            name, _, value = item.partition("=")
            options[name] = value
        for name, value in options.items():
            self.send(f"setoption name {name} value {value}")
        self.send("ucinewgame")
        self.send("isready")
        self.wait("readyok")

    def send(self, line):
        self.p.stdin.write(line + "\n")
        self.p.stdin.flush()

    def wait(self, prefix, seen=None):
        for line in self.p.stdout:
            line = line.strip()
            if seen is not None:
                seen.append(line)
            if line.startswith(prefix):
                return line
        raise RuntimeError("engine ended before " + prefix)

    def close(self):
        try:
            self.send("quit")
            self.p.wait(5)
        except Exception:
            self.p.kill()


def field(words, name):
    return int(words[words.index(name) + 1]) if name in words else None


def search_nps(command, fen, seconds):
    engine = Engine(command)
    engine.send("position fen " + fen)
    engine.send(f"go movetime {int(seconds * 1000)}")
    seen = []
    engine.wait("bestmove", seen)
    engine.close()
    nodes, ms = 0, -1
    for line in seen:  # the latest line that carries both counts
        words = line.split()
        if words[:1] == ["info"] and "nodes" in words and "time" in words and field(words, "time") >= ms:
            nodes, ms = field(words, "nodes"), field(words, "time")
    return nodes * 1000.0 / max(ms, 1)


def geomean(values):
    return math.exp(sum(math.log(v) for v in values) / len(values))


def cmd_nps(a):
    table = {}
    for name, fen in NPS_POSITIONS.items():
        # The engines take turns run by run, so a slow spell of the machine falls on all of them.
        runs = {command: [] for command in a.engines}
        for _ in range(a.runs):
            for command in a.engines:
                runs[command].append(search_nps(command, fen, a.seconds))
        for command in a.engines:
            table[(command, name)] = statistics.median(runs[command])
            print(f"{name:11} {command:50} {table[(command, name)]:12.0f}  runs {[round(r) for r in runs[command]]}", flush=True)
    means = {command: geomean([table[(command, n)] for n in NPS_POSITIONS]) for command in a.engines}
    for command in a.engines:
        print(f"geometric mean {command:50} {means[command]:12.0f}  ratio {means[command] / means[a.engines[0]]:.3f}")


def to_depth(command, fen, threads, depth=None, least_ms=None):
    """Searches until `depth` is completed (or, without a depth, until a depth completes after least_ms);
    returns (depth, ms, nodes) from that depth's info line, or from the last one when the search ends
    before (a mate or the deepest depth)."""
    engine = Engine(command, threads)
    engine.send("position fen " + fen)
    engine.send("go depth 64")  # the deepest search: it ends by itself if the depth runs out first
    result = None
    for line in engine.p.stdout:
        words = line.split()
        if words[:1] == ["bestmove"]:
            break
        if words[:2] != ["info", "depth"] or "nodes" not in words or "time" not in words:
            continue
        d, ms, nodes = field(words, "depth"), field(words, "time"), field(words, "nodes")
        result = (d, ms, nodes)
        if (depth is not None and d >= depth) or (depth is None and ms >= least_ms):
            engine.send("stop")
            engine.wait("bestmove")
            break
    engine.close()
    return result


def cmd_threads(a):
    command = a.engines[0]
    counts = a.threads
    times = {t: [] for t in counts}  # per thread count: the median time to depth of each position
    nps = {t: [] for t in counts}
    for fen in THREAD_POSITIONS:
        depth, _, _ = to_depth(command, fen, counts[0], least_ms=a.least_seconds * 1000)
        line = f"depth {depth:2} "
        for t in counts:
            # Parallel searches differ from run to run in the tree they search, so time to depth is
            # noisy: --repeat takes the median of several runs (and of their nodes per second).
            runs = [to_depth(command, fen, t, depth=depth) for _ in range(a.repeat)]
            ms = statistics.median(max(r[1], 1) for r in runs)
            rate = statistics.median(r[2] * 1000 / max(r[1], 1) for r in runs)
            times[t].append(ms)
            nps[t].append(rate)
            line += f" | T{t} {ms:8.0f} ms {rate:9.0f} nps"
        print(line + "  " + fen, flush=True)
    n = len(THREAD_POSITIONS)
    for t in counts[1:]:
        time_ratio = geomean([b / x for b, x in zip(times[counts[0]], times[t])])
        nps_ratio = geomean([x / b for b, x in zip(nps[counts[0]], nps[t])])
        print(f"Threads {t} against {counts[0]}: time to depth {time_ratio:.2f}x faster, "
              f"nodes per second {nps_ratio:.2f}x (geometric means over {n} positions)")
    for previous, t in zip(counts[1:], counts[2:]):
        slower = geomean([x / p for p, x in zip(times[previous], times[t])])
        print(f"Threads {t} against {previous}: time to depth {slower:.2f}x as long")


def session_search(engine, fen, depth, clear):
    if clear:
        engine.send("ucinewgame")
        engine.send("isready")
        engine.wait("readyok")
    engine.send("position fen " + fen)
    start = time.monotonic()
    engine.send(f"go depth {depth}")
    engine.wait("bestmove")
    return (time.monotonic() - start) * 1000


def cmd_session(a):
    command = a.engines[0]
    busy = subprocess.Popen(["sh", "-c", "while :; do :; done"]) if a.busy else None
    try:
        engines = {t: Engine(command, t) for t in a.threads}
        totals = {(t, d): [] for t in a.threads for d in a.depths}  # per position: the time of its searches
        for depth in a.depths:
            for fen in [a.fen] if a.fen else THREAD_POSITIONS[:a.positions]:
                runs = {t: [] for t in a.threads}
                for _ in range(a.searches):
                    for t in a.threads:  # taking turns, so a slow spell falls on every count
                        runs[t].append(session_search(engines[t], fen, depth, a.clear))
                for t in a.threads:
                    totals[(t, depth)].append(sum(runs[t]))
                    if a.verbose:
                        print(f"depth {depth:2} T{t:<2} {' '.join(f'{ms:6.0f}' for ms in runs[t])}  ms   {fen}", flush=True)
        for depth in a.depths:
            base = totals[(a.threads[0], depth)]
            print(f"depth {depth:2} " + "  ".join(
                f"T{t} {sum(totals[(t, depth)]):7.0f} ms "
                f"({geomean([b / x for b, x in zip(base, totals[(t, depth)])]):.2f}x)" for t in a.threads), flush=True)
        for engine in engines.values():
            engine.close()
    finally:
        if busy:
            busy.kill()


def main():
    ap = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    ap.add_argument("mode", choices=["nps", "threads", "session"])
    ap.add_argument("engines", nargs="+")
    ap.add_argument("--seconds", type=float, default=3.0)
    ap.add_argument("--runs", type=int, default=3)
    ap.add_argument("--threads", type=int, nargs="+", default=[1, 2, 8])
    ap.add_argument("--least-seconds", type=float, default=5.0)
    ap.add_argument("--repeat", type=int, default=1, help="threads: searches per thread count and position "
                    "(medians are taken)")
    ap.add_argument("--depths", type=int, nargs="+", default=[12, 14], help="session: depth of each search")
    ap.add_argument("--searches", type=int, default=6, help="session: searches in a row per position")
    ap.add_argument("--positions", type=int, default=len(THREAD_POSITIONS), help="session: how many positions")
    ap.add_argument("--verbose", action="store_true", help="session: the time of every search")
    ap.add_argument("--clear", action="store_true", help="session: \"ucinewgame\" before every search")
    ap.add_argument("--busy", action="store_true", help="session: a busy loop runs beside the engines")
    ap.add_argument("--fen", help="session: search this position only")
    ap.add_argument("--cpu", help="pin every engine process to these CPUs (taskset list, e.g. 0 or 0,1): "
                    "on a virtual machine whose CPUs run at different speeds, compare engines on the same one")
    a = ap.parse_args()
    global CPUS
    CPUS = a.cpu
    {"nps": cmd_nps, "threads": cmd_threads, "session": cmd_session}[a.mode](a)


if __name__ == "__main__":
    sys.exit(main())
