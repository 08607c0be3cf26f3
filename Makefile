# The front door. Programs land in build/release/bin, libraries in build/release/lib.
#
#   make demo      install what is missing, build, show the server to a client
#   make demo-convert   the same for the tool: convert three updates on real models
#   make test      install what is missing, build, run every test
#   make build     only build
#   make install   install the build (DESTDIR, PREFIX)
#   make bench     build and run the benchmarks
#   make fuzz      build the fuzzers with clang and run each of them FUZZ_SECONDS
#   make coverage  which share of each room the tests reach
#   make mutation  plants single faults in src and host/store; which do the tests not find?
#   make build-cost   what a build from clean costs, in CPU seconds
#   make test-i386      the tests with 32 bits: compiled for 32-bit PCs against Debian's i386 packages, run here
#   make test-armhf     the tests on 32-bit ARM: cross-compiled, run by qemu's emulation (hours)
#   make test-tsan      store, server and streams of subscribers under the thread sanitizer
#   make nightly   what a night has time for: generated updates and a million generated Sets against libyang,
#                  2,000 crashes, twenty seconds of each flood, 10,000 commits and Sets before subscribers, an hour of
#                  load, the packages, the tests on 32-bit ARM
#   make deb       build Debian packages into build/deb; DEB_ARCH=armhf cross-builds
#   make test-deb  build them, and install, use, upgrade and remove them in a clean Debian
#   make deb-reproducible   build them twice, in different places and times, and compare the bytes
#   make clean     remove build/release

PREFIX ?= /usr/local
DESTDIR ?=
BUILD := build/release

.PHONY: all build setup configure demo demo-convert test test-i386 test-armhf test-tsan install bench fuzz coverage mutation \
        build-cost deb test-deb deb-reproducible nightly clean

all: build

setup:
	@scripts/setup

configure:
	@cmake --preset release --log-level=WARNING -DCMAKE_INSTALL_PREFIX="$(PREFIX)" >/dev/null

build: configure
	@cmake --build $(BUILD)

demo: setup
	@$(MAKE) --no-print-directory configure
	@cmake --build $(BUILD) --target nexad nexa gnmi_python
	@scripts/demo $(BUILD)

demo-convert: setup
	@$(MAKE) --no-print-directory configure
	@cmake --build $(BUILD) --target nexa
	@scripts/demo-convert $(BUILD)

test: setup
	@$(MAKE) --no-print-directory build
	@scripts/test $(BUILD)

# The programs of this machine write what those of the other architecture read.
test-i386: run_tests := NEXA_CRASH_POINTS=$${NEXA_CRASH_POINTS:-40} scripts/test build/i386
test-armhf: run_tests := scripts/test-armhf
test-i386 test-armhf: test-%: setup configure
	@scripts/setup scripts/dependencies-$*.txt
	@scripts/sysroot $*
	@cmake --build $(BUILD) --target nexad nexa gnmi_python
	@cmake --preset $* --log-level=WARNING >/dev/null
	@cmake --build build/$*
	@$(run_tests)

install: build
	@DESTDIR="$(DESTDIR)" cmake --install $(BUILD) --prefix "$(PREFIX)"

bench:
	@scripts/setup scripts/dependencies.txt scripts/dependencies-bench.txt
	@$(MAKE) --no-print-directory build
	@scripts/bench $(BUILD)

FUZZ_SECONDS ?= 60

test-tsan:
	@scripts/setup scripts/dependencies.txt
	@cmake --preset tsan -DNEXA_UNITY=ON --log-level=WARNING >/dev/null
	@cmake --build build/tsan --target store_tests server_tests telemetry_tests
	@scripts/test-tsan build/tsan

fuzz:
	@scripts/setup scripts/dependencies.txt scripts/dependencies-fuzz.txt
	@cmake --preset fuzz --log-level=WARNING >/dev/null
	@cmake --build build/fuzz --target fuzzers
	@scripts/fuzz build/fuzz $(FUZZ_SECONDS)

COVERAGE_TESTS ?= .

# What measures time tells nothing new there.
COVERAGE_FILTER := -*StoreRealConfigs*:*Latency*:*ValidationCost*

coverage:
	@scripts/setup scripts/dependencies.txt scripts/dependencies-coverage.txt
	@cmake --preset coverage --log-level=WARNING >/dev/null
	@cmake --build build/coverage
	@rm -rf build/coverage/profiles
	@LLVM_PROFILE_FILE="$(CURDIR)/build/coverage/profiles/%8m.profraw" GTEST_FILTER="$(COVERAGE_FILTER)" \
	  NEXA_RANDOM_SETS=2000 scripts/test build/coverage -R "$(COVERAGE_TESTS)"
	@scripts/coverage build/coverage

MUTATION_FAULTS ?= 200

mutation: setup
	@scripts/mutate --count $(MUTATION_FAULTS)

deb:
	@scripts/setup scripts/dependencies.txt scripts/dependencies-deb.txt
	@DEB_ARCH="$(DEB_ARCH)" scripts/deb

test-deb: deb configure
	@cmake --build $(BUILD) --target gnmi_python
	@scripts/test-deb $(BUILD)

deb-reproducible: deb
	@scripts/deb-reproducible

build-cost: setup
	@scripts/build_cost

NIGHTLY_UPDATES ?= 200000
NIGHTLY_SETS ?= 1000000
NIGHTLY_CRASHES ?= 2000
NEXA_SOAK_SECONDS ?= 3600

nightly: setup
	@$(MAKE) --no-print-directory build
	@NEXA_ORACLE_UPDATES=$(NIGHTLY_UPDATES) $(BUILD)/bin/translate_tests --gtest_filter='*Generated*'
	@NEXA_RANDOM_SETS=$(NIGHTLY_SETS) $(BUILD)/bin/store_random_tests
	@NEXA_POWER_CUT_EVERY=1 $(BUILD)/bin/store_tests --gtest_filter='StorePowerCut.*'
	@NEXA_CRASH_POINTS=$(NIGHTLY_CRASHES) ctest --test-dir $(BUILD) -R '^nexad_crash$$' --output-on-failure
	@scripts/floods $(BUILD)
	@scripts/setup scripts/dependencies.txt scripts/dependencies-ci.txt
	@scripts/tidy --thorough
	@NEXA_TELEMETRY_COMMITS=10000 NEXA_TELEMETRY_SETS=10000 $(BUILD)/bin/telemetry_tests --gtest_filter='RandomSets.*'
	@NEXA_TELEMETRY_COMMITS=10000 $(MAKE) --no-print-directory test-tsan
	@NEXA_CONFIRM_KILLS=200 ctest --test-dir $(BUILD) -R '^nexad_confirmed_commit$$' --output-on-failure
	@NEXA_SOAK_SECONDS=$(NEXA_SOAK_SECONDS) scripts/soak $(BUILD)
	@$(MAKE) --no-print-directory test-deb
	@scripts/deb-reproducible
	@$(MAKE) --no-print-directory test-armhf

clean:
	@rm -rf $(BUILD)
