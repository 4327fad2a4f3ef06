# The two entry points for a fresh machine: `make demo` and `make test`.
BUILD      ?= build
ASAN_BUILD ?= build-asan
JOBS       ?= $(shell nproc)
CMAKE_FLAGS ?=

.PHONY: all deps build build-asan demo test test-plain test-asan fuzz bench clean

all: build

deps:
	bash scripts/install-deps.sh

$(BUILD)/CMakeCache.txt:
	cmake -S . -B $(BUILD) -DCMAKE_BUILD_TYPE=RelWithDebInfo $(CMAKE_FLAGS)

build: deps $(BUILD)/CMakeCache.txt
	cmake --build $(BUILD) -j $(JOBS)

$(ASAN_BUILD)/CMakeCache.txt:
	cmake -S . -B $(ASAN_BUILD) -DCMAKE_BUILD_TYPE=Debug -DZM_SANITIZE=address,undefined \
	  -DZM_BUILD_BENCH=OFF $(CMAKE_FLAGS)

build-asan: deps $(ASAN_BUILD)/CMakeCache.txt
	cmake --build $(ASAN_BUILD) -j $(JOBS)

# Builds, then runs the bundled example files through the command line.
demo: build
	bash scripts/demo.sh $(BUILD)/bin

test-plain: build
	ctest --test-dir $(BUILD) --output-on-failure -j $(JOBS)

test-asan: build-asan
	ASAN_OPTIONS=detect_leaks=1:abort_on_error=1 UBSAN_OPTIONS=print_stacktrace=1 \
	  ctest --test-dir $(ASAN_BUILD) --output-on-failure -j $(JOBS)

# The whole suite, then the same suite again under AddressSanitizer and UBSan.
test: test-plain test-asan

# libFuzzer targets, built with clang, each run FUZZ_SECONDS under the memory, allocation
# and time limits that make a blow-up a finding, with the seeds of every family.
FUZZ_SECONDS ?= 60
fuzz: deps
	CC=clang CXX=clang++ cmake -S . -B build-fuzz -DCMAKE_BUILD_TYPE=RelWithDebInfo \
	  -DZM_FUZZ=ON -DZM_BUILD_BENCH=OFF $(CMAKE_FLAGS)
	cmake --build build-fuzz -j $(JOBS) --target fuzz_formats fuzz_options fuzz_plugin_file
	bash scripts/fuzz.sh build-fuzz $(FUZZ_SECONDS)

bench: build
	bash bench/run.sh $(BUILD)/bin

clean:
	rm -rf $(BUILD) $(ASAN_BUILD) build-fuzz
