# Velotune: `make run` starts the program, `make test` runs every test suite.
# Both install what the build needs on a fresh Debian 12 first.

SHELL := /bin/bash
JOBS ?= $(shell nproc)
CMAKE_FLAGS ?=

# Debian packages the build, the tests and the benchmarks need.
PACKAGES := build-essential cmake ninja-build pkg-config googletest libgtest-dev \
            libgtk-3-dev libcairo2-dev libpango1.0-dev libasound2-dev libsndfile1-dev \
            fonts-dejavu-core xvfb xdotool x11-utils imagemagick \
            pulseaudio pulseaudio-utils alsa-utils libasound2-plugins \
            sox libsox-fmt-mp3 lame time python3 desktop-file-utils clang-14 libclang-rt-14-dev \
            mpv

.PHONY: all deps build run test test-plain test-asan test-tsan bench soak fuzz clean format

all: build

deps:
	@bash tools/install-deps.sh $(PACKAGES)

build: deps
	@cmake -S . -B build -G Ninja -DVELOTUNE_WERROR=ON $(CMAKE_FLAGS) >/dev/null
	@cmake --build build -j $(JOBS)

run: build
	@bash tools/run.sh build/velotune

# The whole suite plain (build), under AddressSanitizer + UndefinedBehaviorSanitizer
# (build-asan), the thread-sensitive suites under ThreadSanitizer (build-tsan),
# and the replay of every fuzz target's seeds and kept inputs; the system tests
# run beside the next build (tools/test-all.sh). The fuzzing campaign itself is
# `make fuzz`.
test: deps
	@bash tools/test-all.sh

test-plain: deps
	@bash tools/test.sh plain build
test-asan: deps
	@bash tools/test.sh address build-asan
test-tsan: deps
	@bash tools/test.sh thread build-tsan

# The fuzzing campaign (fuzz/README.md): every target SECONDS seconds, its corpus
# kept in build-fuzz/corpus between runs; fails on any finding.
SECONDS ?= 60
fuzz: deps
	@bash tools/fuzz.sh $(SECONDS)

# One table of figures, each beside references measured in the same run (about 10 min).
bench: build
	@bash bench/run.sh build

# A long run driven like a user (SOAK_MINUTES, default 10), then health checks. Not in CI.
soak: build
	@bash tools/soak.sh build

format:
	@clang-format -i $$(git ls-files '*.cpp' '*.h')

clean:
	rm -rf build build-asan build-tsan build-fuzz
