# Thin wrapper over the CMake presets.
PRESET ?= release
SRC_FILES = $(shell git ls-files '*.h' '*.cpp' 2>/dev/null)

.PHONY: build run test bench sanitize format format-check clean

build:
	cmake --preset $(PRESET) >/dev/null
	cmake --build --preset $(PRESET)

run: build
	./build/$(PRESET)/xpacl-sim

test: build
	ctest --preset $(PRESET)

sanitize:
	$(MAKE) test PRESET=sanitize

bench: build
	@for b in build/$(PRESET)/bench_*; do echo "== $$b"; $$b; done

format:
	clang-format -i $(SRC_FILES)

format-check:
	clang-format --dry-run --Werror $(SRC_FILES)

clean:
	rm -rf build
