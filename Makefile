# The two commands of the README: `make demo` and `make test`. Everything else is a step of theirs.
.PHONY: all deps build build-asan test test-default test-asan fuzz demo format tidy clean

JOBS ?= 2

all: build

deps:
	@bash scripts/install-deps.sh

build: deps
	cmake --preset default
	cmake --build --preset default -j $(JOBS)

build-asan: deps
	cmake --preset asan
	cmake --build --preset asan -j $(JOBS)

test-default: build
	ctest --preset default -j $(JOBS)

test-asan: build-asan
	ctest --preset asan -j $(JOBS)

# Every test twice: the normal build, then the sanitizer build; then the fuzzers for a short,
# fixed time each.
test: test-default test-asan fuzz

fuzz: deps
	@bash scripts/run-fuzzers.sh

demo: build
	@bash scripts/demo.sh

format:
	git ls-files '*.cpp' '*.h' | xargs clang-format -i

tidy: build
	git ls-files '*.cpp' | grep -v '^tests/fuzz/' | xargs clang-tidy -p build/default --quiet

clean:
	rm -rf build
