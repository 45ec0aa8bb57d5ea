# Thin driver over CMake. `make demo` runs the main job, `make test` runs every test twice:
# once in the normal build and once under AddressSanitizer + UndefinedBehaviorSanitizer.
BUILD_DIR  ?= build
ASAN_DIR   ?= build-asan
JOBS       ?= 2
WERROR     ?= OFF
CMAKE_ARGS ?=

CONFIGURE = cmake -S . -DZEL_WERROR=$(WERROR) $(CMAKE_ARGS)

.PHONY: all deps build build-asan test test-asan demo install clean

all: build

deps:
	@./.ci/deps

build: deps
	$(CONFIGURE) -B $(BUILD_DIR)
	cmake --build $(BUILD_DIR) -j $(JOBS)

build-asan: deps
	$(CONFIGURE) -B $(ASAN_DIR) -DZEL_SANITIZE=ON -DCMAKE_BUILD_TYPE=Debug
	cmake --build $(ASAN_DIR) -j $(JOBS)

test: build build-asan
	cd $(BUILD_DIR) && ctest --output-on-failure -j $(JOBS)
	cd $(ASAN_DIR) && ASAN_OPTIONS=detect_leaks=1 UBSAN_OPTIONS=print_stacktrace=1 \
		ctest --output-on-failure -j $(JOBS)

demo: build
	mkdir -p $(BUILD_DIR)/demo
	cd $(BUILD_DIR)/demo && ../bin/zeldemo

install: build
	cmake --install $(BUILD_DIR)

clean:
	rm -rf $(BUILD_DIR) $(ASAN_DIR)
