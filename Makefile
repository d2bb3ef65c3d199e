# Thin wrapper over the CMake presets.
PRESET ?= release
# Tests run on every core of the machine; `make test JOBS=1` runs them one at a time.
JOBS ?= $(shell nproc 2>/dev/null || echo 2)
SRC_FILES = $(shell git ls-files '*.h' '*.cpp' 2>/dev/null)

.PHONY: configure build run test bench sanitize fuzz acl-soak soak format format-check clean

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

# The packet walk against the reference classifier, longer than the test run: ACL_SOAK_SEEDS
# seeds from ACL_SOAK_SEED, up to ACL_SOAK_RULES rules per ACL, ACL_SOAK_EDITS edits per seed.
ACL_SOAK_SEED ?= 1000
ACL_SOAK_SEEDS ?= 60
ACL_SOAK_RULES ?= 300
ACL_SOAK_EDITS ?= 60
acl-soak:
	cmake --preset $(PRESET) >/dev/null
	cmake --build --preset $(PRESET) --target test_acl
	cd build/$(PRESET) && ACL_DIFF_SEED=$(ACL_SOAK_SEED) ACL_DIFF_SEEDS=$(ACL_SOAK_SEEDS) \
	  ACL_DIFF_RULES=$(ACL_SOAK_RULES) ACL_DIFF_EDITS=$(ACL_SOAK_EDITS) ACL_DIFF_ACLS=4 \
	  ACL_DIFF_PACKETS=5000 ACL_DIFF_EDIT_PACKETS=3000 \
	  ./test_acl --gtest_filter='AclDifferential.WalkAgrees*'

# Random edits, bindings, LAG moves and devices down and up, each step verified against a cold
# start and every SOAK_HITLESS_EVERY-th step watched write by write: SOAK_STEPS steps from
# SOAK_SEED.
SOAK_STEPS ?= 100000
SOAK_SEED ?= 7
SOAK_HITLESS_EVERY ?= 20
# The first step: a long run can be played in parts side by side.
SOAK_FROM ?= 0
soak:
	cmake --preset $(PRESET) >/dev/null
	cmake --build --preset $(PRESET) --target test_acl
	cd build/$(PRESET) && ACL_SOAK_STEPS=$(SOAK_STEPS) ACL_SOAK_SEED=$(SOAK_SEED) \
	  ACL_SOAK_HITLESS_EVERY=$(SOAK_HITLESS_EVERY) ACL_SOAK_FROM=$(SOAK_FROM) \
	  ./test_acl --gtest_filter='AclSoak.EveryStep*'

bench: build
	@for b in build/$(PRESET)/bench_*; do echo "== $$b"; $$b; done

format:
	clang-format -i $(SRC_FILES)

format-check:
	clang-format --dry-run --Werror $(SRC_FILES)

clean:
	rm -rf build
