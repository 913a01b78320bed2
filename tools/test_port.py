#!/usr/bin/env python3
"""Drives a build of the engine for another platform through its real pipes, under an emulator, and
checks it against the native Linux build: the Windows engine under Wine, the aarch64 engine under qemu.

usage: tools/test_port.py <engine> <native linux tesmar> <data dir>
  RUNNER=/usr/lib/wine/wine64 (the default: paths are given to the engine as Wine's Z: drive) or
  RUNNER=qemu-aarch64-static (paths as they are).
Every read has a deadline; the first failed check ends the run with exit code 1."""
import os, queue, struct, subprocess, sys, threading, time

EXE, LINUX, DATA = sys.argv[1], sys.argv[2], os.path.abspath(sys.argv[3])
RUNNER = os.environ.get("RUNNER", os.environ.get("WINE", "/usr/lib/wine/wine64"))
UNDER_WINE = "wine" in os.path.basename(RUNNER)
ENV = dict(os.environ, WINEDEBUG="-all")
KIWIPETE = "r3k2r/p1ppqpb1/bn2pnp1/3PN3/1p2P3/2N2Q1p/PPPBBPPP/R3K2R w KQkq - 0 1"
KRVK = "8/8/8/8/8/2k5/8/KR6 w - - 0 1"


def enginePath(path):  # Wine shows the Linux root as drive Z:
    return "Z:" + os.path.abspath(path).replace("/", "\\") if UNDER_WINE else os.path.abspath(path)


def check(ok, what):
    print(("ok   " if ok else "FAIL ") + what, flush=True)
    if not ok:
        sys.exit(1)


def run(cmd, timeout=300):
    return subprocess.run(cmd, capture_output=True, env=ENV, timeout=timeout).stdout.decode()


class Engine:
    def __init__(self, cmd):
        self.proc = subprocess.Popen(cmd, stdin=subprocess.PIPE, stdout=subprocess.PIPE, env=ENV)
        self.lines = queue.Queue()
        threading.Thread(target=self._read, daemon=True).start()

    def _read(self):
        for raw in self.proc.stdout:
            self.lines.put(raw.decode().rstrip("\n"))

    def send(self, *lines):
        self.proc.stdin.write("".join(l + "\n" for l in lines).encode())
        self.proc.stdin.flush()

    def waitFor(self, prefix, timeout=30):
        seen, end = [], time.time() + timeout
        while True:
            try:
                line = self.lines.get(timeout=max(0.01, end - time.time()))
            except queue.Empty:
                check(False, "%r within %d s (got %r)" % (prefix, timeout, seen[-3:]))
            if "\r" in line:
                check(False, "%r ends with a plain newline" % line)
            seen.append(line)
            if line.startswith(prefix):
                return seen


port = Engine([RUNNER, EXE])
port.send("uci")
linux = Engine([LINUX])
linux.send("uci")
check(port.waitFor("uciok", 120) == linux.waitFor("uciok"), "uci: the same lines as the native build")
linux.send("quit")
port.send("isready")
check(port.waitFor("readyok") == ["readyok"], "isready: readyok")

# Tablebases from the second of two ";"-separated directories, each with a drive letter.
port.send("setoption name SyzygyPath value %s;%s" % (enginePath(DATA + "/none"), enginePath(DATA + "/syzygy")),
             "ucinewgame", "position fen " + KRVK, "go depth 6")
tables = sum(name.endswith(".rtbw") for name in os.listdir(DATA + "/syzygy"))
check(port.waitFor("info string Found")[-1] == "info string Found %d tablebases." % tables,
      "SyzygyPath with ';': all %d tables found" % tables)
info = [l for l in port.waitFor("bestmove") if " tbhits " in l]
check(info and int(info[-1].split(" tbhits ")[1].split()[0]) > 0, "tablebase hits in the search")

# The book's start-position records with the top weight (16-byte big-endian records).
book = open(DATA + "/books/lines.bin", "rb").read()
records = [struct.unpack(">QHHI", book[i:i + 16]) for i in range(0, len(book), 16)]
start = [(move, weight) for key, move, weight, _ in records if key == 0x463B96181691FC9C]
best = {"%c%d%c%d" % (97 + (m >> 6 & 7), 1 + (m >> 9 & 7), 97 + (m & 7), 1 + (m >> 3 & 7))
        for m, w in start if w == max(w for _, w in start)}
port.send("setoption name OwnBook value true", "setoption name BookFile value " + enginePath(DATA + "/books/lines.bin"),
             "ucinewgame", "position startpos", "go wtime 60000 btime 60000")
answer = port.waitFor("bestmove")
check(len(answer) == 1 and answer[0].split()[1] in best, "book move %s at once (%s)" % (answer, sorted(best)))

port.send("setoption name OwnBook value false", "setoption name Threads value 2", "ucinewgame",
             "position fen " + KIWIPETE, "go infinite")
port.waitFor("info depth  5")
port.send("stop")
lines = port.waitFor("bestmove", 10)
check(len(lines[-1].split()) == 4, "2 threads: a search to depth 5, then %r on stop" % lines[-1])
port.send("quit")
check(port.proc.wait(timeout=30) == 0, "quit: exit code 0")

perft = run([RUNNER, EXE, "perft", "4", KIWIPETE]).splitlines()
check(perft[:-1] == run([LINUX, "perft", "4", KIWIPETE]).splitlines()[:-1] and
      perft[-2] == "Nodes searched: 4085603", "perft 4 of Kiwipete: %s" % perft[-2])
probe = run([RUNNER, EXE, "probe", enginePath(DATA + "/none") + ";" + enginePath(DATA + "/syzygy"), KRVK])
check(probe == run([LINUX, "probe", DATA + "/syzygy", KRVK]), "probe tool (WDL and DTZ files): " + probe.split("\n")[1])
nodes = [run(cmd + ["bench"]).split()[-4] for cmd in ([LINUX], [RUNNER, EXE])]  # "N nodes M nps"
check(nodes[0] == nodes[1], "bench: %s nodes natively, %s under %s" % (nodes[0], nodes[1], os.path.basename(RUNNER)))
