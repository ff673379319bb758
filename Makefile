# The front door: every target calls scripts/check or the built tool; nothing is decided here.
.DEFAULT_GOAL := help
.PHONY: help deps build demo demo-cluster test test-long test-arm asan tsan fuzz deb bench bench-peers lint format coverage install uninstall clean

PREFIX ?= /usr/local
DEMO_DIR ?= demo

help: ## list the targets
	@sed -n 's/^\([a-z-]*\):.*## \(.*\)/  make \1|\2/p' $(MAKEFILE_LIST) | column -t -s '|' 2>/dev/null \
	  || sed -n 's/^\([a-z-]*\):.*## \(.*\)/  make \1   \2/p' $(MAKEFILE_LIST)

deps: ## install the Debian packages that are missing (apt)
	@scripts/check deps

build: ## build library, tool and tests (preset release)
	@scripts/check build

demo: ## build, fuse noisy frames of a photo, compare: demo/index.html
	@scripts/check demo "$(DEMO_DIR)"

demo-cluster: ## bursts and a clip on a cluster of processes of this machine: demo/cluster
	@scripts/check demo-cluster

test: ## for every change: formatting, lint, all tests, those of input and memory under sanitizers
	@scripts/check all

test-long: ## the rest: all under the sanitizers, built by Clang, ARM under emulation, packages (an hour)
	@scripts/check long

asan: ## unit and tool tests under the address and undefined-behaviour sanitizers
	@scripts/check asan

tsan: ## unit tests under the thread sanitizer
	@scripts/check tsan

test-arm: ## unit tests of the ARM builds (32-bit with and without NEON, 64-bit) under emulation
	@scripts/check arm

deb: ## build the Debian packages into build/deb, examine and try them
	@scripts/check deb

fuzz: ## run the fuzzing harnesses with libFuzzer, a minute each (FUZZ_SECONDS=3600: an hour)
	@scripts/check fuzz

bench: ## build and run the benchmarks
	@scripts/check bench

bench-peers: ## run the same jobs by other libraries and print the ratios
	@scripts/check bench-peers

lint: ## shellcheck, clang-tidy, mypy
	@scripts/check lint tidy

format: ## rewrite the sources with clang-format
	@scripts/check reformat

coverage: ## line coverage of the tests: build/coverage/report/index.html
	@scripts/check coverage

install: ## build and install to PREFIX (default /usr/local)
	@scripts/check install "$(PREFIX)"

uninstall: ## remove what install laid down in PREFIX
	@scripts/check uninstall "$(PREFIX)"

clean: ## remove what was built
	rm -rf build out demo
