# Lumen Monitor: `make test` builds and runs every test; `make run` starts the monitor.
BUILD      ?= build
ASAN_BUILD ?= build-asan
FUZZ_BUILD ?= build-fuzz
# make fuzz: seconds each fuzz target runs.
SECONDS    ?= 60
CMAKE_ARGS ?=
JOBS       ?= $(shell nproc)

# Every test runs on its own session bus and without a display.
TEST_ENV = dbus-run-session -- env QT_QPA_PLATFORM=offscreen LC_ALL=C.UTF-8

.PHONY: all deps build test asan fuzz run package clean format

all: build

deps:
	@bash tools/install-deps.sh

$(BUILD)/build.ninja:
	cmake -S . -B $(BUILD) -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo $(CMAKE_ARGS)

build: deps $(BUILD)/build.ninja
	cmake --build $(BUILD) -j $(JOBS)

test: build
	$(TEST_ENV) ctest --test-dir $(BUILD) --output-on-failure --timeout 300 -j $(JOBS)

$(ASAN_BUILD)/build.ninja:
	cmake -S . -B $(ASAN_BUILD) -G Ninja -DCMAKE_BUILD_TYPE=Debug -DLUMEN_SANITIZE=ON $(CMAKE_ARGS)

asan: deps $(ASAN_BUILD)/build.ninja
	cmake --build $(ASAN_BUILD) -j $(JOBS)
	ASAN_OPTIONS=detect_leaks=1:abort_on_error=1 UBSAN_OPTIONS=print_stacktrace=1 \
	  $(TEST_ENV) ctest --test-dir $(ASAN_BUILD) --output-on-failure --timeout 300 -j $(JOBS)

$(FUZZ_BUILD)/build.ninja:
	cmake -S . -B $(FUZZ_BUILD) -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo \
	  -DCMAKE_C_COMPILER=clang -DCMAKE_CXX_COMPILER=clang++ \
	  -DLUMEN_FUZZ=ON -DLUMEN_BUILD_TESTS=OFF -DLUMEN_WERROR=OFF $(CMAKE_ARGS)

# Builds every fuzz target and runs each for $(SECONDS) seconds.
fuzz: deps $(FUZZ_BUILD)/build.ninja
	cmake --build $(FUZZ_BUILD) -j $(JOBS) --target fuzz_targets
	bash tools/run-fuzzers.sh $(FUZZ_BUILD) $(SECONDS)

# A Debian package (lumen-monitor_<version>_<arch>.deb in the build folder).
package: build
	cd $(BUILD) && cpack -G DEB

run: build
	@bash tools/install-deps.sh --run
	bash tools/run-demo.sh $(BUILD)

format:
	find src tests -name '*.cpp' -o -name '*.h' | xargs clang-format -i

clean:
	rm -rf $(BUILD) $(ASAN_BUILD) $(FUZZ_BUILD)
