# make demo: install what is missing, build, run the tour.
# make check: install what is missing, build (warnings as errors, UBSan), run every test
#             (a short seeded fuzz round among them).
# make fuzz:  a long fuzz round (FUZZ_CALLS calls from FUZZ_SEED, shared by FUZZ_JOBS
#             processes) on the check build.
# make asan:  build in build-asan with AddressSanitizer and UBSan, run every test and the
#             fuzz round there.
# make shell: the shell and the library alone, optimised, without tests (build-shell).
# make install PREFIX=/opt/quarn: that build installed (bin, lib, include, share/doc).
# make doc: doc/entries.md from the entry tables.
BUILD ?= build
SHELL_BUILD ?= build-shell
PREFIX ?= /usr/local
DEPS = g++ cmake ninja-build libmpfr-dev libgmp-dev libflint-dev libflint-arb-dev libgc-dev \
       libgtest-dev libbenchmark-dev libedit-dev python3-mpmath python3-gmpy2 libboost-dev libcsv-dev gnuplot-nox \
       pkg-config
CMAKE_FLAGS ?= -DQUARN_WERROR=ON -DQUARN_UBSAN=ON
# ccache, when the machine has it, makes rebuilds of other trees cheap.
CCACHE := $(shell command -v ccache 2>/dev/null)
ifneq ($(CCACHE),)
CMAKE_FLAGS += -DCMAKE_CXX_COMPILER_LAUNCHER=$(CCACHE) -DCMAKE_C_COMPILER_LAUNCHER=$(CCACHE)
endif

.PHONY: all deps configure build check demo bench fuzz asan clean doc shell install

FUZZ_CALLS ?= 1000000
FUZZ_SEED ?= 1
FUZZ_JOBS ?= 2
ASAN_BUILD ?= build-asan
# The collector's heap holds what LeakSanitizer would call leaks.
ASAN_ENV = ASAN_OPTIONS=detect_leaks=0:detect_stack_use_after_return=0 UBSAN_OPTIONS=print_stacktrace=1

all: build

deps:
	@missing=""; for p in $(DEPS); do dpkg -s $$p >/dev/null 2>&1 || missing="$$missing $$p"; done; \
	if [ -n "$$missing" ]; then \
	  echo "installing:$$missing"; \
	  apt-get update -qq && DEBIAN_FRONTEND=noninteractive apt-get install -y -qq $$missing; \
	fi

configure: deps
	@[ -f $(BUILD)/build.ninja ] || cmake -S . -B $(BUILD) -G Ninja $(CMAKE_FLAGS)

build: configure
	cmake --build $(BUILD) -j2

check: build
	ctest --test-dir $(BUILD) --output-on-failure -j2

fuzz: build
	$(BUILD)/bin/fuzz_entries --calls $(FUZZ_CALLS) --seed $(FUZZ_SEED) --jobs $(FUZZ_JOBS)

asan: deps
	@[ -f $(ASAN_BUILD)/build.ninja ] || cmake -S . -B $(ASAN_BUILD) -G Ninja $(CMAKE_FLAGS) -DQUARN_ASAN=ON
	cmake --build $(ASAN_BUILD) -j2
	$(ASAN_ENV) ctest --test-dir $(ASAN_BUILD) --output-on-failure -j2

# The tour as a worksheet: each statement, then its result.
demo: build
	@$(BUILD)/bin/quarn --echo examples/tour.q

shell: deps
	@[ -f $(SHELL_BUILD)/build.ninja ] || cmake -S . -B $(SHELL_BUILD) -G Ninja -DCMAKE_BUILD_TYPE=Release \
	  -DQUARN_TESTS=OFF $(filter -DCMAKE_%_COMPILER_LAUNCHER=%,$(CMAKE_FLAGS))
	cmake --build $(SHELL_BUILD) -j2 --target quarn

install: shell
	cmake --install $(SHELL_BUILD) --prefix $(PREFIX)

# doc/entries.md, the reference of every entry, from the entry tables.
doc: configure
	cmake --build $(BUILD) -j2 --target gen_entries_md
	$(BUILD)/bin/gen_entries_md --write doc/entries.md

# Benchmarks build without the sanitizer, optimised.
bench: deps
	cmake -S . -B build-bench -G Ninja -DCMAKE_BUILD_TYPE=Release -DQUARN_BENCH=ON -DQUARN_TESTS=OFF > /dev/null
	cmake --build build-bench -j2
	bash bench/run_memory.sh build-bench
	bash bench/run_float.sh build-bench
	bash bench/run_distributions.sh build-bench
	bash bench/run_inference.sh build-bench
	bash bench/run_descriptive.sh build-bench
	bash bench/run_smoothing.sh build-bench

clean:
	rm -rf $(BUILD) build-bench $(SHELL_BUILD) $(ASAN_BUILD)
