# The two commands of the README: `make demo` and `make test`. Everything else is a step of theirs.
.PHONY: all deps build build-ci build-asan test test-ci test-asan fuzz demo install uninstall bench format tidy clean

JOBS ?= 2

all: build

deps:
	@bash scripts/install-deps.sh

build: deps
	cmake --preset default
	cmake --build --preset default -j $(JOBS)

# What CI builds: the default tree's settings with warnings as errors, in build/ci.
build-ci: deps
	cmake --preset ci
	cmake --build --preset ci -j $(JOBS)

build-asan: deps
	cmake --preset asan
	cmake --build --preset asan -j $(JOBS)

test-ci: build-ci
	ctest --preset ci -j $(JOBS)

test-asan: build-asan
	ctest --preset asan -j $(JOBS)

# Every test twice: the normal build, then the sanitizer build, both with warnings as errors;
# then the fuzzers for a short, fixed time each.
test: test-ci test-asan fuzz

# Seconds each harness runs: `make fuzz FUZZ_SECONDS=600` hunts longer.
FUZZ_SECONDS ?= 20
fuzz: deps
	@FUZZ_SECONDS=$(FUZZ_SECONDS) bash scripts/run-fuzzers.sh

demo: build
	@bash scripts/demo.sh

# A user-level install by default (no root needed): the host, the plug-in bundle and the platform
# libraries under PREFIX, Quellbark.app in APPDIR, where Launch Services looks for it, the
# Thunderbird extension under PREFIX/share/quellbark and its native host's manifest in NMDIR.
PREFIX ?= $(HOME)/.local
APPDIR ?= $(HOME)/Applications
# Where Thunderbird looks for the native host's manifest: a user's folder, or for every user
# /usr/lib/mozilla/native-messaging-hosts.
NMDIR ?= $(HOME)/.mozilla/native-messaging-hosts

# Its own tree (build/install), configured without tests or benchmarks: installing builds only
# what is installed.
install: deps
	cmake --preset install -DCMAKE_INSTALL_PREFIX=$(PREFIX) -DQB_APP_DIR=$(APPDIR) -DQB_NATIVE_MESSAGING_DIR=$(NMDIR) >/dev/null
	cmake --build --preset install -j $(JOBS)
	@bash scripts/install.sh install build/install

uninstall:
	@bash scripts/install.sh uninstall build/install

bench: build
	@bash scripts/bench.sh

format:
	git ls-files '*.cpp' '*.h' | xargs clang-format -i

tidy: build
	git ls-files '*.cpp' | grep -v '^tests/fuzz/' | xargs clang-tidy -p build/default --quiet

clean:
	rm -rf build
