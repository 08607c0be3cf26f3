# The front door. Programs land in build/release/bin, libraries in build/release/lib.
#
#   make demo      install what is missing, build, convert three updates on real models
#   make test      install what is missing, build, run every test
#   make build     only build
#   make install   install the build (DESTDIR, PREFIX)
#   make bench     build and run the benchmarks
#   make nightly   as many generated updates against libyang as a night has time for
#   make clean     remove build/release

PREFIX ?= /usr/local
DESTDIR ?=
BUILD := build/release

.PHONY: all build setup configure demo test install bench nightly clean

all: build

setup:
	@scripts/setup

configure:
	@cmake --preset release --log-level=WARNING -DCMAKE_INSTALL_PREFIX="$(PREFIX)" >/dev/null

build: configure
	@cmake --build $(BUILD)

demo: setup
	@$(MAKE) --no-print-directory configure
	@cmake --build $(BUILD) --target nexa
	@scripts/demo $(BUILD)

test: setup
	@$(MAKE) --no-print-directory build
	@scripts/test $(BUILD)

install: build
	@DESTDIR="$(DESTDIR)" cmake --install $(BUILD) --prefix "$(PREFIX)"

bench:
	@scripts/setup scripts/dependencies.txt scripts/dependencies-bench.txt
	@$(MAKE) --no-print-directory build
	@scripts/bench $(BUILD)

NIGHTLY_UPDATES ?= 200000

nightly: setup
	@$(MAKE) --no-print-directory build
	@NEXA_ORACLE_UPDATES=$(NIGHTLY_UPDATES) $(BUILD)/bin/translate_tests --gtest_filter='*Generated*'

clean:
	@rm -rf $(BUILD)
