# Thin wrapper over the CMake presets.
PRESET ?= release
# Tests run on every core of the machine; `make test JOBS=1` runs them one at a time.
JOBS ?= $(shell nproc 2>/dev/null || echo 2)
SRC_FILES = $(shell git ls-files '*.h' '*.cpp' 2>/dev/null)

.PHONY: configure build run test bench sanitize fuzz format format-check clean

configure:
	cmake --preset $(PRESET) >/dev/null

build: configure
	cmake --build --preset $(PRESET)

# The simulator alone: no test or benchmark is built for it.
run: configure
	cmake --build --preset $(PRESET) --target xpacl-sim
	./build/$(PRESET)/xpacl-sim

test: build
	ctest --preset $(PRESET) --parallel $(JOBS)

sanitize:
	$(MAKE) test PRESET=sanitize

# Plays FUZZ_COUNT generated scenarios (seed FUZZ_SEED, a new one each run by default); a
# failing scenario is kept under build/$(PRESET)/sim-fuzz-failures.
FUZZ_COUNT ?= 100000
FUZZ_SEED ?= $(shell date +%s)
fuzz:
	cmake --preset $(PRESET) >/dev/null
	cmake --build --preset $(PRESET) --target sim_fuzz
	cd build/$(PRESET) && ./sim_fuzz --count $(FUZZ_COUNT) --seed $(FUZZ_SEED)

bench: build
	@for b in build/$(PRESET)/bench_*; do echo "== $$b"; $$b; done

format:
	clang-format -i $(SRC_FILES)

format-check:
	clang-format --dry-run --Werror $(SRC_FILES)

clean:
	rm -rf build
