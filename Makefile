# Lumen Monitor: `make test` builds and runs every test; `make run` starts the monitor.
BUILD      ?= build
ASAN_BUILD ?= build-asan
CMAKE_ARGS ?=
JOBS       ?= $(shell nproc)

# Every test runs on its own session bus and without a display.
TEST_ENV = dbus-run-session -- env QT_QPA_PLATFORM=offscreen LC_ALL=C.UTF-8

.PHONY: all deps build test asan run clean format

all: build

deps:
	@bash tools/install-deps.sh

$(BUILD)/build.ninja:
	cmake -S . -B $(BUILD) -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo $(CMAKE_ARGS)

build: deps $(BUILD)/build.ninja
	cmake --build $(BUILD) -j $(JOBS)

test: build
	$(TEST_ENV) ctest --test-dir $(BUILD) --output-on-failure -j $(JOBS)

$(ASAN_BUILD)/build.ninja:
	cmake -S . -B $(ASAN_BUILD) -G Ninja -DCMAKE_BUILD_TYPE=Debug -DLUMEN_SANITIZE=ON $(CMAKE_ARGS)

asan: deps $(ASAN_BUILD)/build.ninja
	cmake --build $(ASAN_BUILD) -j $(JOBS)
	ASAN_OPTIONS=detect_leaks=1:abort_on_error=1 UBSAN_OPTIONS=print_stacktrace=1 \
	  $(TEST_ENV) ctest --test-dir $(ASAN_BUILD) --output-on-failure -j $(JOBS)

run: build
	@bash tools/install-deps.sh --run
	bash tools/run-demo.sh $(BUILD)

format:
	find src tests -name '*.cpp' -o -name '*.h' | xargs clang-format -i

clean:
	rm -rf $(BUILD) $(ASAN_BUILD)
