# Thin driver over CMake. `make demo` runs the main job, `make test` runs every test twice:
# once in the normal build and once under AddressSanitizer + UndefinedBehaviorSanitizer, then
# the reader's test that shares one reader between threads under ThreadSanitizer.
BUILD_DIR  ?= build
ASAN_DIR   ?= build-asan
TSAN_DIR   ?= build-tsan
FUZZ_DIR   ?= build-fuzz
FUZZ_SECONDS ?= 60
JOBS       ?= 2
WERROR     ?= OFF
CMAKE_ARGS ?=

CONFIGURE = cmake -S . -DZEL_WERROR=$(WERROR) $(CMAKE_ARGS)

.PHONY: all deps build build-asan build-tsan test test-asan test-tsan fuzz demo install clean

all: build

deps:
	@./.ci/deps

build: deps
	$(CONFIGURE) -B $(BUILD_DIR)
	cmake --build $(BUILD_DIR) -j $(JOBS)

build-asan: deps
	$(CONFIGURE) -B $(ASAN_DIR) -DZEL_SANITIZE=ON -DCMAKE_BUILD_TYPE=Debug
	cmake --build $(ASAN_DIR) -j $(JOBS)

# Only the library and the reader's test program: the rest of the suite runs in one thread.
build-tsan: deps
	$(CONFIGURE) -B $(TSAN_DIR) -DZEL_TSAN=ON -DCMAKE_BUILD_TYPE=Debug
	cmake --build $(TSAN_DIR) -j $(JOBS) --target zel ZelReaderTest

test: build build-asan
	cd $(BUILD_DIR) && ctest --output-on-failure -j $(JOBS)
	cd $(ASAN_DIR) && ASAN_OPTIONS=detect_leaks=1 UBSAN_OPTIONS=print_stacktrace=1 \
		ctest --output-on-failure -j $(JOBS)
	$(MAKE) test-tsan

# The test that shares one reader between threads; the others run in one thread.
test-tsan: build-tsan
	TSAN_OPTIONS="halt_on_error=1 second_deadlock_stack=1" \
		$(TSAN_DIR)/tests/ZelReaderTest --gtest_filter='*Threads*'

# Builds the fuzz targets with clang and libFuzzer, then runs each for FUZZ_SECONDS seconds;
# inputs that fail land in $(FUZZ_DIR)/findings/ with the command that reproduces them.
fuzz:
	@./.ci/deps fuzz
	CXX=clang++ $(CONFIGURE) -B $(FUZZ_DIR) -DZEL_FUZZ=ON -DZEL_BUILD_TESTS=OFF
	cmake --build $(FUZZ_DIR) -j $(JOBS) --target fuzz_load fuzz_reader fuzz_tools fuzz_append fuzz_check
	animcache/src/libzel/tests/fuzz/run-fuzz.sh $(FUZZ_DIR) $(FUZZ_SECONDS)

demo: build
	mkdir -p $(BUILD_DIR)/demo
	cd $(BUILD_DIR)/demo && ../bin/zeldemo

install: build
	cmake --install $(BUILD_DIR)

clean:
	rm -rf $(BUILD_DIR) $(ASAN_DIR) $(TSAN_DIR) $(FUZZ_DIR)
