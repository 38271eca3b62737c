# The front door. Every target installs what it misses first.
.PHONY: help run test screens test-agents test-desktop check-mac explore mutations sanitize tsan bench fuzz lint format package install clean

PREFIX ?= /usr/local
SOURCES = $(shell git ls-files '*.cpp' '*.h' '*.mm')

help:
	@echo "make run       build Orvel and open its window (without a display: the main job in the terminal)"
	@echo "make test      build and run all tests, the fuzzers for a short while too"
	@echo "make screens   pictures of every state of the windows, in build/screens"
	@echo "make test-agents  Orvel against the real agents, offline (docs/agents.md)"
	@echo "make test-desktop  Orvel on an X desktop of its own with a real browser in place of the agents' applications"
	@echo "make check-mac  what can be known of Orvel on macOS without a Mac (docs/macos.md)"
	@echo "make explore   everything that can go wrong in a delivery, at every step of it"
	@echo "make mutations plant known faults, one at a time, and see that each is caught; writes a table into docs/safety.md"
	@echo "make sanitize  the tests under the address and undefined-behaviour sanitizers"
	@echo "make tsan      the tests of what has threads under the thread sanitizer"
	@echo "make bench     measure, and write docs/performance.md"
	@echo "make fuzz      the fuzzers, a minute each"
	@echo "make lint      clang-tidy, shellcheck and the format of the sources"
	@echo "make format    bring all sources into form"
	@echo "make install   install the release build to PREFIX ($(PREFIX))"
	@echo "make package   a Debian package in build/release"

run:
	@scripts/install-dependencies build
	@cmake --preset release >/dev/null
	@cmake --build --preset release
	@scripts/run

test:
	@scripts/install-dependencies build test fuzz
	@cmake --preset dev >/dev/null
	cmake --build --preset dev
	ctest --preset dev
	@cmake --preset fuzz >/dev/null
	cmake --build --preset fuzz
	ctest --preset fuzz

screens:
	@scripts/install-dependencies build test
	@cmake --preset dev >/dev/null
	cmake --build --preset dev --target orvel-pictures
	rm -rf build/screens
	ORVEL_PICTURES=build/screens build/dev/orvel-pictures --gtest_brief=1

test-agents:
	@scripts/install-dependencies build test agents
	@scripts/test-agents

test-desktop:
	@scripts/install-dependencies build test desktop
	@scripts/test-desktop

check-mac:
	@scripts/install-dependencies build test mac
	@scripts/check-mac

explore:
	@scripts/install-dependencies build test
	@cmake --preset dev >/dev/null
	cmake --build --preset dev --target orvel-explore
	build/dev/orvel-explore --document docs/safety.md

mutations:
	@scripts/install-dependencies build test
	scripts/mutations

sanitize:
	@scripts/install-dependencies build test
	@cmake --preset sanitize >/dev/null
	cmake --build --preset sanitize
	ctest --preset sanitize

tsan:
	@scripts/install-dependencies build test
	@cmake --preset tsan >/dev/null
	cmake --build --preset tsan
	ctest --preset tsan

bench:
	@scripts/install-dependencies build bench
	@cmake --preset bench >/dev/null
	cmake --build --preset bench
	bench/report

fuzz:
	@scripts/install-dependencies build fuzz
	@cmake --preset fuzz >/dev/null
	cmake --build --preset fuzz
	scripts/fuzz 60

lint:
	@scripts/install-dependencies build test lint
	@cmake --preset dev >/dev/null
	scripts/lint

format:
	@scripts/install-dependencies lint
	clang-format -i $(SOURCES)

install:
	@scripts/install-dependencies build
	@cmake --preset release >/dev/null
	cmake --build --preset release
	cmake --install build/release --prefix $(PREFIX)

package:
	@scripts/install-dependencies build package
	@cmake --preset release >/dev/null
	cmake --build --preset release
	cd build/release && cpack -G DEB

clean:
	rm -rf build
