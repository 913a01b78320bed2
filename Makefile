# Tesmar. The engine builds with GNU make and a C++20 compiler alone (no cmake, no git, no network):
#   make [EXE=<name or path>] [ARCH=native] [CXX=g++|clang++] [-j]
#                       the release engine: build/release/tesmar (ARCH=native) or build/<ARCH>/tesmar,
#                       and a copy at EXE when given (a bare name lands beside this Makefile)
# The tests, sanitizer builds, fuzzers and cross builds use CMake (installed on demand on Debian):
#   make run            build the release engine and start it (UCI on stdin/stdout)
#   make test           every check CI runs: the tests on the release build, again under ASan + UBSan,
#                       the threaded tests under TSan, and each fuzzer for a few seconds
#   make help           every target and variable
JOBS    ?= $(shell nproc 2>/dev/null || echo 2)
CMAKE   ?= cmake
TESTDIR := build/test

.PHONY: all release run test test-release test-asan portable perft-full slow bench tsan deps clean help

# ---- the release engine, built directly ----
# ARCH: native (this machine's CPU), x86-64 (any x86-64 with popcnt), x86-64-avx2 (Haswell and later),
# armv8 (64-bit ARM).
ARCH ?= native
ifeq ($(origin CXX),default)
  CXX := g++
endif
HOST_MACHINE := $(shell uname -m 2>/dev/null)
ifeq ($(ARCH),native)
  ifneq ($(filter x86_64 amd64 i686,$(HOST_MACHINE)),)
    ARCH_FLAGS := -march=native
  else ifneq ($(filter aarch64 arm64,$(HOST_MACHINE)),)
    ARCH_FLAGS := -mcpu=native
  endif
  RELEASE := build/release
else ifeq ($(ARCH),x86-64)
  ARCH_FLAGS := -march=x86-64 -mpopcnt
  RELEASE := build/$(ARCH)
else ifeq ($(ARCH),x86-64-avx2)
  ARCH_FLAGS := -march=haswell -DTESMAR_NO_PDEP
  RELEASE := build/$(ARCH)
else ifeq ($(ARCH),armv8)
  ARCH_FLAGS := -march=armv8-a
  RELEASE := build/$(ARCH)
else
  $(error ARCH=$(ARCH) is not one of: native x86-64 x86-64-avx2 armv8)
endif

# The same flags as the CMake release build, link-time optimisation included. Both builds take every
# .cpp file under src/ (CMake by a recursive glob, this Makefile by rwildcard below).
ifneq ($(findstring clang,$(notdir $(CXX))),)
  LTO_FLAGS := -flto=thin
else
  LTO_FLAGS := -flto=auto
endif
# Position-dependent code (-fno-pie, -no-pie): a table lookup with a register index then carries the
# table's address in the instruction itself.
ENGINE_CXXFLAGS := -std=c++20 -O3 -DNDEBUG -Wall -Wextra -fno-exceptions -fno-pie $(ARCH_FLAGS) $(LTO_FLAGS) -Isrc
ENGINE_LDFLAGS  := -O3 -no-pie $(ARCH_FLAGS) $(LTO_FLAGS) -pthread $(STATIC)
rwildcard = $(foreach d,$(wildcard $(1:=/*)),$(call rwildcard,$d,$2) $(filter $(subst *,%,$2),$d))
SOURCES := $(sort $(call rwildcard,src,*.cpp))
OBJDIR  := $(RELEASE)/obj-$(notdir $(CXX))
OBJECTS := $(SOURCES:src/%.cpp=$(OBJDIR)/%.o)
ENGINE  := $(RELEASE)/tesmar

all: $(ENGINE)
ifneq ($(EXE),)
	cp $(ENGINE) $(EXE)
endif

release: $(ENGINE)

$(ENGINE): $(OBJECTS)
	$(CXX) -o $@ $(OBJECTS) $(ENGINE_LDFLAGS)

$(OBJDIR)/%.o: src/%.cpp $(OBJDIR)/flags
	@mkdir -p $(dir $@)
	$(CXX) $(ENGINE_CXXFLAGS) -MMD -MP -c $< -o $@

# A change of compiler or flags rebuilds every object.
$(OBJDIR)/flags: FORCE
	@mkdir -p $(OBJDIR)
	@echo '$(CXX) $(ENGINE_CXXFLAGS) $(ENGINE_LDFLAGS)' | cmp -s - $@ || echo '$(CXX) $(ENGINE_CXXFLAGS) $(ENGINE_LDFLAGS)' > $@
.PHONY: FORCE
FORCE:

-include $(OBJECTS:.o=.d)

run: $(ENGINE)
	@exec $(ENGINE)

portable:
	$(MAKE) ARCH=x86-64
	@echo "portable engine: build/x86-64/tesmar"

help:
	@echo "Targets:"
	@echo "  all (default)   the release engine (GNU make and a C++20 compiler only)"
	@echo "  run             build the release engine and start it"
	@echo "  bench           build the release engine and run its bench"
	@echo "  portable        the release engine for any x86-64 CPU with popcnt (= ARCH=x86-64)"
	@echo "  test            every check CI runs (release tests, ASan+UBSan, TSan, fuzz smoke; uses CMake)"
	@echo "  test-release, test-asan, tsan, fuzz-smoke   the steps of test"
	@echo "  perft-full      every depth of the perft suites (long)"
	@echo "  slow            the long-running tests (soak, deep perft)"
	@echo "  soak            self-play soak games (SOAK_GAMES, SOAK_TC, SOAK_THREADS, SOAK_OVERHEAD)"
	@echo "  fuzz            every fuzzer for FUZZ_SECONDS (clang, libFuzzer)"
	@echo "  windows, windows-portable, test-windows   the Windows engine (MinGW-w64) and its checks under Wine"
	@echo "  arm64           cross-compile a static build/arm64/tesmar for aarch64 Linux"
	@echo "  test-arm64      run build/arm64/tesmar under qemu through its pipes against the x86-64 build"
	@echo "  clean           remove build/"
	@echo "Variables:"
	@echo "  EXE=<name|path> also copy the engine there (a bare name lands beside this Makefile)"
	@echo "  ARCH=native|x86-64|x86-64-avx2|armv8   instruction set (default native)"
	@echo "  CXX=g++|clang++ compiler of the release engine (default g++)"
	@echo "  JOBS=N          parallel jobs of the CMake builds (default: every processor)"

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
# This build looks up slider attacks by magic multiplication even where the release build uses PEXT,
# so the tests cover both ways.
SAN_ENV := ASAN_OPTIONS=abort_on_error=1:detect_leaks=1 UBSAN_OPTIONS=print_stacktrace=1:halt_on_error=1 \
           TESMAR_PERFT_LEAVES=2000000
test-asan: deps
	@echo "== unit, perft and end-to-end tests under ASan + UBSan"
	$(CMAKE) -S . -B build/asan -DCMAKE_BUILD_TYPE=Sanitize -DCMAKE_CXX_FLAGS_SANITIZE="-O1 -g1 -DTESMAR_NO_PDEP" \
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

bench: $(ENGINE)
	$(ENGINE) bench

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
	RUNNER=$(WINE) WINEPREFIX=$(CURDIR)/build/wine tools/test_port.py $(WINDOWS_EXE) $(ENGINE) ../shared/data

# ARM64 (aarch64 Linux): a static engine cross-compiled with Debian's GCC, checked under qemu.
ARM64_CXX := aarch64-linux-gnu-g++
QEMU_ARM64 ?= qemu-aarch64-static
.PHONY: arm64-deps arm64 test-arm64
arm64-deps:
	@command -v $(ARM64_CXX) >/dev/null 2>&1 && command -v $(QEMU_ARM64) >/dev/null 2>&1 || { \
	  if [ "$$(id -u)" = 0 ]; then SUDO=""; else SUDO=sudo; fi; \
	  $$SUDO apt-get update -qq && DEBIAN_FRONTEND=noninteractive $$SUDO apt-get install -y -qq --no-install-recommends \
	    g++-aarch64-linux-gnu qemu-user-static; }

arm64: arm64-deps
	$(MAKE) ARCH=armv8 CXX=$(ARM64_CXX) STATIC=-static RELEASE=build/arm64
	@echo "aarch64 engine: build/arm64/tesmar"

test-arm64: arm64 release
	RUNNER=$(QEMU_ARM64) tools/test_port.py build/arm64/tesmar $(ENGINE) ../shared/data
