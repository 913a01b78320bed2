# Tesmar: thin wrapper around CMake.
#   make run            build the release engine and start it (UCI on stdin/stdout)
#   make test           every check CI runs: the tests on the release build, again under ASan + UBSan,
#                       the threaded tests under TSan, and each fuzzer for a few seconds
#   make EXE=<path>     build the release engine and copy it to <path>
#   make portable       release build without CPU features beyond x86-64 + popcnt
#   make perft-full     every depth of the perft suite (long)
#   make slow           the long-running tests (soak, deep perft)
#   make tsan           the multi-threaded search tests under ThreadSanitizer
#   make windows        cross-compile build/windows/tesmar.exe with MinGW-w64 (windows-portable: x86-64 + popcnt)
#   make test-windows   run tesmar.exe under Wine through its pipes against the Linux build
JOBS    ?= $(shell nproc 2>/dev/null || echo 2)
CMAKE   ?= cmake
RELEASE := build/release
TESTDIR := build/test

.PHONY: all release run test test-release test-asan portable perft-full slow bench tsan deps clean

all: release
ifneq ($(EXE),)
	cp $(RELEASE)/tesmar $(EXE)
endif

# Installs the build tools on a Debian machine when they are missing (as root or through sudo).
deps:
	@missing=""; \
	command -v $(CMAKE) >/dev/null 2>&1 || missing="$$missing cmake"; \
	command -v g++ >/dev/null 2>&1 || missing="$$missing g++"; \
	command -v make >/dev/null 2>&1 || missing="$$missing make"; \
	[ -f /usr/include/gtest/gtest.h ] || missing="$$missing libgtest-dev libgmock-dev"; \
	if [ -n "$$missing" ]; then \
	  echo "Installing:$$missing"; \
	  if [ "$$(id -u)" = 0 ]; then SUDO=""; else SUDO=sudo; fi; \
	  $$SUDO apt-get update -qq && DEBIAN_FRONTEND=noninteractive $$SUDO apt-get install -y -qq $$missing; \
	fi

release: deps
	$(CMAKE) -S . -B $(RELEASE) -DCMAKE_BUILD_TYPE=Release -DTESMAR_TESTS=OFF >/dev/null
	$(CMAKE) --build $(RELEASE) -j $(JOBS) --target tesmar

run: release
	@exec $(RELEASE)/tesmar

portable: deps
	$(CMAKE) -S . -B build/portable -DCMAKE_BUILD_TYPE=Release -DTESMAR_PORTABLE=ON -DTESMAR_TESTS=OFF >/dev/null
	$(CMAKE) --build build/portable -j $(JOBS) --target tesmar
	@echo "portable engine: build/portable/tesmar"

$(TESTDIR)/CMakeCache.txt: | deps
	$(CMAKE) -S . -B $(TESTDIR) -DCMAKE_BUILD_TYPE=Release -DTESMAR_LTO=OFF -DTESMAR_TESTS=ON >/dev/null

# The full test command (CI runs exactly this): each step stops the run at its first failure.
test: test-release test-asan tsan fuzz-smoke

test-release: deps
	@echo "== unit, perft and end-to-end tests (release build)"
	$(CMAKE) -S . -B $(TESTDIR) -DCMAKE_BUILD_TYPE=Release -DTESMAR_LTO=OFF -DTESMAR_TESTS=ON >/dev/null
	$(CMAKE) --build $(TESTDIR) -j $(JOBS)
	cd $(TESTDIR) && ctest -j $(JOBS) --output-on-failure -LE slow

# The same tests with the engine and the tests built with AddressSanitizer + UndefinedBehaviorSanitizer
# (-O1; the perft suite stops at 2 M leaves a position there). Any report fails the test that caused it.
SAN_ENV := ASAN_OPTIONS=abort_on_error=1:detect_leaks=1 UBSAN_OPTIONS=print_stacktrace=1:halt_on_error=1 \
           TESMAR_PERFT_LEAVES=2000000
test-asan: deps
	@echo "== unit, perft and end-to-end tests under ASan + UBSan"
	$(CMAKE) -S . -B build/asan -DCMAKE_BUILD_TYPE=Sanitize -DCMAKE_CXX_FLAGS_SANITIZE="-O1 -g1" \
	  -DTESMAR_SANITIZE=ON -DTESMAR_TESTS=ON >/dev/null
	$(CMAKE) --build build/asan -j $(JOBS)
	cd build/asan && $(SAN_ENV) ctest -j $(JOBS) --output-on-failure -LE slow

perft-full: deps
	$(CMAKE) -S . -B $(TESTDIR) -DCMAKE_BUILD_TYPE=Release -DTESMAR_LTO=OFF -DTESMAR_TESTS=ON >/dev/null
	$(CMAKE) --build $(TESTDIR) -j $(JOBS)
	TESMAR_PERFT_FULL=1 $(TESTDIR)/board_tests --gtest_filter='Perft*'

slow: deps
	$(CMAKE) -S . -B $(TESTDIR) -DCMAKE_BUILD_TYPE=Release -DTESMAR_LTO=OFF -DTESMAR_TESTS=ON >/dev/null
	$(CMAKE) --build $(TESTDIR) -j $(JOBS)
	cd $(TESTDIR) && ctest --output-on-failure -L slow

# The multi-threaded search tests (suites named *Threads*) under ThreadSanitizer, engine included.
tsan: deps
	@echo "== multi-threaded search tests under ThreadSanitizer"
	$(CMAKE) -S . -B build/tsan -DCMAKE_BUILD_TYPE=Sanitize -DCMAKE_CXX_FLAGS_SANITIZE="-O1 -g1" \
	  -DTESMAR_TSAN=ON -DTESMAR_TESTS=ON >/dev/null
	$(CMAKE) --build build/tsan -j $(JOBS) --target search_tests tesmar
	TSAN_OPTIONS=halt_on_error=1 build/tsan/search_tests --gtest_filter='*Threads*'

bench: release
	$(RELEASE)/tesmar bench

clean:
	rm -rf build

# Fuzzing (clang + libFuzzer + ASan/UBSan). FUZZ_SECONDS per target.
FUZZ_SECONDS ?= 600
.PHONY: fuzz fuzz-build fuzz-deps fuzz-smoke
fuzz-deps:
	@command -v clang++ >/dev/null 2>&1 && ls /usr/lib/llvm-*/lib/clang/*/lib/linux/libclang_rt.fuzzer-x86_64.a >/dev/null 2>&1 || { \
	  if [ "$$(id -u)" = 0 ]; then SUDO=""; else SUDO=sudo; fi; \
	  $$SUDO apt-get update -qq && DEBIAN_FRONTEND=noninteractive $$SUDO apt-get install -y -qq clang libclang-rt-14-dev; }

fuzz-build: deps fuzz-deps
	$(CMAKE) -S . -B build/fuzz -DCMAKE_BUILD_TYPE=RelWithDebInfo -DCMAKE_CXX_COMPILER=clang++ -DTESMAR_FUZZ=ON >/dev/null
	$(CMAKE) --build build/fuzz -j $(JOBS)

fuzz: fuzz-build
	tools/run_fuzzers.sh build/fuzz $(FUZZ_SECONDS)

# A short run of every fuzzer (15 s each) as part of the full test command.
fuzz-smoke: fuzz-build
	@echo "== fuzz targets, 15 s each"
	tools/run_fuzzers.sh build/fuzz 15

# Self-play soak: SOAK_GAMES games at 40 moves in 2 s with two threads, book and tablebases on, one game
# at a time. SOAK_TC=1+0.02 plays base+increment seconds instead (2+0: sudden death); SOAK_THREADS sets
# Threads, SOAK_OVERHEAD the Move Overhead (default: the engine's). For example:
# make soak SOAK_TC=1+0.02 SOAK_THREADS=1 SOAK_GAMES=300
SOAK_GAMES ?= 200
SOAK_TC ?=
SOAK_THREADS ?= 2
SOAK_OVERHEAD ?=
.PHONY: soak
soak: deps
	$(CMAKE) -S . -B $(TESTDIR) -DCMAKE_BUILD_TYPE=Release -DTESMAR_LTO=OFF -DTESMAR_TESTS=ON >/dev/null
	$(CMAKE) --build $(TESTDIR) -j $(JOBS)
	TESMAR_SOAK_GAMES=$(SOAK_GAMES) TESMAR_SOAK_TC=$(SOAK_TC) TESMAR_SOAK_THREADS=$(SOAK_THREADS) \
	  TESMAR_SOAK_OVERHEAD=$(SOAK_OVERHEAD) \
	  $(TESTDIR)/uci_tests --gtest_filter='SlowSoak*'

# Windows: a static tesmar.exe cross-compiled with Debian's MinGW-w64 GCC, checked under Wine.
MINGW_CXX := x86_64-w64-mingw32-g++-posix
WINE      ?= /usr/lib/wine/wine64
WINDOWS_EXE ?= build/windows/tesmar.exe
.PHONY: windows-deps windows windows-portable wine-deps test-windows
windows-deps:
	@command -v $(MINGW_CXX) >/dev/null 2>&1 || { \
	  if [ "$$(id -u)" = 0 ]; then SUDO=""; else SUDO=sudo; fi; \
	  $$SUDO apt-get update -qq && DEBIAN_FRONTEND=noninteractive $$SUDO apt-get install -y -qq --no-install-recommends g++-mingw-w64-x86-64-posix; }

windows: deps windows-deps
	$(CMAKE) -S . -B build/windows -DCMAKE_TOOLCHAIN_FILE=cmake/windows-mingw.cmake -DCMAKE_BUILD_TYPE=Release >/dev/null
	$(CMAKE) --build build/windows -j $(JOBS) --target tesmar
	@echo "Windows engine: build/windows/tesmar.exe"

windows-portable: deps windows-deps
	$(CMAKE) -S . -B build/windows-portable -DCMAKE_TOOLCHAIN_FILE=cmake/windows-mingw.cmake \
	  -DCMAKE_BUILD_TYPE=Release -DTESMAR_PORTABLE=ON >/dev/null
	$(CMAKE) --build build/windows-portable -j $(JOBS) --target tesmar
	@echo "portable Windows engine: build/windows-portable/tesmar.exe"

wine-deps:
	@[ -x $(WINE) ] && command -v python3 >/dev/null 2>&1 || { \
	  if [ "$$(id -u)" = 0 ]; then SUDO=""; else SUDO=sudo; fi; \
	  $$SUDO apt-get update -qq && DEBIAN_FRONTEND=noninteractive $$SUDO apt-get install -y -qq --no-install-recommends wine64 python3; }

# Wine keeps its prefix in build/wine (set up at the first start, a few seconds).
test-windows: windows release wine-deps
	WINE=$(WINE) WINEPREFIX=$(CURDIR)/build/wine tools/test_windows.py $(WINDOWS_EXE) $(RELEASE)/tesmar ../shared/data
