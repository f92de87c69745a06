# Velotune: `make run` starts the program, `make test` runs every test suite.
# Each installs the Debian 12 packages it needs first (tools/install-deps.sh).

SHELL := /bin/bash
JOBS ?= $(shell nproc)
CMAKE_FLAGS ?=

# Building: compiler, CMake, Ninja and the libraries' development packages.
BUILD_PACKAGES := build-essential cmake ninja-build pkg-config \
                  libgtk-3-dev libcairo2-dev libpango1.0-dev libasound2-dev libsndfile1-dev
# Running: the font the window draws with; without a display, the private X
# server, sound server and ALSA's route to it, the tools that find the window and
# save its screenshot and recording, and soxi for the demo sounds' lengths
# (tools/run-headless.sh).
RUN_PACKAGES := $(BUILD_PACKAGES) fonts-dejavu-core \
                xvfb xdotool imagemagick pulseaudio pulseaudio-utils libasound2-plugins \
                sox libsox-fmt-mp3
# Testing: GoogleTest (Debian's prebuilt library), and for the GUI and system
# tests the same private X and sound servers (tests/scripts), xdotool,
# ImageMagick's import and the desktop entry validator.
TEST_PACKAGES := $(BUILD_PACKAGES) fonts-dejavu-core libgtest-dev \
                 xvfb xdotool imagemagick pulseaudio pulseaudio-utils libasound2-plugins \
                 desktop-file-utils
# Benchmarks: what running needs, and the reference players and tools they
# measure against (bench/README.md).
BENCH_PACKAGES := $(RUN_PACKAGES) alsa-utils lame mpv time python3
# Fuzzing: clang 14 with libFuzzer and the sanitizer runtimes (fuzz/README.md).
FUZZ_PACKAGES := $(BUILD_PACKAGES) clang-14 libclang-rt-14-dev lame

.PHONY: all deps deps-run deps-test deps-bench deps-fuzz build run test test-plain test-asan \
        test-tsan bench soak fuzz clean format

all: build

deps: deps-run
deps-run:
	@bash tools/install-deps.sh $(RUN_PACKAGES)
deps-test:
	@bash tools/install-deps.sh $(TEST_PACKAGES)
deps-bench:
	@bash tools/install-deps.sh $(BENCH_PACKAGES)
deps-fuzz:
	@bash tools/install-deps.sh $(FUZZ_PACKAGES)

build: deps-run
	@cmake -S . -B build -G Ninja -DVELOTUNE_WERROR=ON $(CMAKE_FLAGS) >/dev/null
	@cmake --build build -j $(JOBS)

run: build
	@bash tools/run.sh build/velotune

# The whole suite plain (build), under AddressSanitizer + UndefinedBehaviorSanitizer
# (build-asan), the thread-sensitive suites under ThreadSanitizer (build-tsan),
# and the replay of every fuzz target's seeds and kept inputs (tools/test-all.sh).
# The fuzzing campaign itself is `make fuzz`.
test: deps-test
	@bash tools/test-all.sh

test-plain: deps-test
	@bash tools/test.sh plain build
test-asan: deps-test
	@bash tools/test.sh address build-asan
test-tsan: deps-test
	@bash tools/test.sh thread build-tsan

# The fuzzing campaign (fuzz/README.md): every target SECONDS seconds, its corpus
# kept in build-fuzz/corpus between runs; fails on any finding.
SECONDS ?= 60
fuzz: deps-fuzz
	@bash tools/fuzz.sh $(SECONDS)

# One table of figures, each beside references measured in the same run (about 10 min).
bench: deps-bench build
	@bash bench/run.sh build

# A long run driven like a user (SOAK_MINUTES, default 10), then health checks. Not in CI.
soak: deps-bench build
	@bash tools/soak.sh build

format:
	@clang-format -i $$(git ls-files '*.cpp' '*.h')

clean:
	rm -rf build build-asan build-tsan build-fuzz
