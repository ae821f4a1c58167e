# Front door of the project. Every target does its own set-up, so one command is enough on a fresh machine.
BUILD_DIR ?= build
BENCH_DIR ?= build-bench
ASAN_DIR  ?= build-asan
FUZZ_DIR  ?= build-fuzz
FUZZ_SECONDS ?= 60
JOBS      ?= 2
CMAKE_FLAGS ?=

.PHONY: all deps configure build demo test bench asan fuzz format clean

all: build

deps:
	@bash scripts/install-deps.sh

configure: deps
	cmake -S . -B $(BUILD_DIR) -DCMAKE_BUILD_TYPE=RelWithDebInfo $(CMAKE_FLAGS)

build: configure
	cmake --build $(BUILD_DIR) -j$(JOBS)

demo: configure
	cmake --build $(BUILD_DIR) -j$(JOBS) --target tavola
	$(BUILD_DIR)/tools/tavola/tavola demo

test: build
	bash scripts/run-tests.sh $(BUILD_DIR)

bench: deps
	cmake -S . -B $(BENCH_DIR) -DCMAKE_BUILD_TYPE=Release -DDATAMODEL_BUILD_TESTS=OFF $(CMAKE_FLAGS)
	cmake --build $(BENCH_DIR) -j$(JOBS) --target benchmarks
	bash scripts/run-benchmarks.sh $(BENCH_DIR)

asan: deps
	cmake -S . -B $(ASAN_DIR) -DCMAKE_BUILD_TYPE=Debug -DDATAMODEL_BUILD_BENCHMARKS=OFF \
	    -DDATAMODEL_SANITIZE=address,undefined $(CMAKE_FLAGS)
	cmake --build $(ASAN_DIR) -j$(JOBS)
	bash scripts/run-tests.sh $(ASAN_DIR)

fuzz: deps
	CC=clang CXX=clang++ cmake -S . -B $(FUZZ_DIR) -DCMAKE_BUILD_TYPE=RelWithDebInfo -DDATAMODEL_FUZZ=ON \
	    -DDATAMODEL_SANITIZE=address,undefined -DDATAMODEL_BUILD_TESTS=OFF -DDATAMODEL_BUILD_BENCHMARKS=OFF $(CMAKE_FLAGS)
	cmake --build $(FUZZ_DIR) -j$(JOBS) --target fuzzers
	bash scripts/run-fuzzers.sh $(FUZZ_DIR) $(FUZZ_SECONDS)

format:
	git ls-files '*.hpp' '*.cpp' '*.h' | xargs clang-format -i

clean:
	rm -rf $(BUILD_DIR) $(BENCH_DIR) $(ASAN_DIR) $(FUZZ_DIR)
