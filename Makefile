# The two commands a newcomer needs are `make run` and `make test`; both install what is
# missing first (Debian packages, through apt-get).

MAKEFLAGS += --no-print-directory

BUILD_DIR ?= build
SANITIZE_DIR ?= build-sanitize
TSAN_DIR ?= build-tsan
DEBUG_DIR ?= build-debug
FUZZ_DIR ?= build-fuzz
FUZZ_RUNS ?= 10000000
FUZZ_SECONDS ?= 1800
JOBS ?= 2
PREFIX ?= /usr/local
WERROR ?= OFF

CONFIGURE = cmake -S . -B $(1) -DCMAKE_BUILD_TYPE=RelWithDebInfo -DVERRABEL_WERROR=$(WERROR)

.PHONY: build install test test-debian13 test-forky run sanitize fuzz bench bench-debian13 format lint clean

build:
	@scripts/setup.sh build
	@$(call CONFIGURE,$(BUILD_DIR)) >/dev/null
	@cmake --build $(BUILD_DIR) -j$(JOBS)

install: build
	@cmake --install $(BUILD_DIR) --prefix $(PREFIX)

test: build
	@scripts/setup.sh desktop e2e package
	@cd $(BUILD_DIR) && ctest --output-on-failure -j$(JOBS)

# The whole suite once more on Debian 13, and on Debian testing, built with warnings as errors,
# each in a root made here with debootstrap and kept in /var/tmp for the next run
# (scripts/debian_root.sh).
test-debian13:
	@WERROR=ON JOBS=$(JOBS) scripts/debian_root.sh debian13

test-forky:
	@WERROR=ON JOBS=$(JOBS) scripts/debian_root.sh forky

run: build
	@scripts/setup.sh desktop
	@scripts/run.sh $(BUILD_DIR)/verrabel

# The unit and widget tests once more: under AddressSanitizer and UndefinedBehaviorSanitizer,
# under ThreadSanitizer, and in a Debug build, where Qt's own assertions hold.
sanitize:
	@scripts/setup.sh build desktop
	@$(call CONFIGURE,$(SANITIZE_DIR)) -DVERRABEL_SANITIZE=address,undefined \
	  -DVERRABEL_BENCHMARKS=OFF >/dev/null
	@cmake --build $(SANITIZE_DIR) -j$(JOBS)
	@cd $(SANITIZE_DIR) && ASAN_OPTIONS=detect_leaks=1:abort_on_error=1 \
	  LSAN_OPTIONS=suppressions=$(CURDIR)/tests/lsan.supp:print_suppressions=0 \
	  UBSAN_OPTIONS=print_stacktrace=1:halt_on_error=1 \
	  ctest --output-on-failure -j$(JOBS) -LE 'e2e|packaging'
	@$(call CONFIGURE,$(TSAN_DIR)) -DVERRABEL_SANITIZE=thread -DVERRABEL_BENCHMARKS=OFF >/dev/null
	@cmake --build $(TSAN_DIR) -j$(JOBS)
	@cd $(TSAN_DIR) && TSAN_OPTIONS=halt_on_error=1:suppressions=$(CURDIR)/tests/tsan.supp \
	  ctest --output-on-failure -j$(JOBS) -LE 'e2e|packaging'
	@cmake -S . -B $(DEBUG_DIR) -DCMAKE_BUILD_TYPE=Debug -DVERRABEL_WERROR=$(WERROR) \
	  -DVERRABEL_BENCHMARKS=OFF >/dev/null
	@cmake --build $(DEBUG_DIR) -j$(JOBS)
	@cd $(DEBUG_DIR) && ctest --output-on-failure -j$(JOBS) -LE 'e2e|packaging'

# The fuzz targets in fuzz/, each for FUZZ_RUNS executions or at most FUZZ_SECONDS, with
# AddressSanitizer and UBSan, and no single allocation over 64 MB; not part of make test. Their
# corpora stay in $(FUZZ_DIR)/corpus.
fuzz:
	@scripts/setup.sh build fuzz
	@CXX=clang++ cmake -S fuzz -B $(FUZZ_DIR) -DCMAKE_BUILD_TYPE=RelWithDebInfo >/dev/null
	@cmake --build $(FUZZ_DIR) -j$(JOBS)
	@for target in candidate_names proposed_name file_url image_limits; do \
	  mkdir -p $(FUZZ_DIR)/corpus/$$target && \
	  $(FUZZ_DIR)/$${target}_fuzz -runs=$(FUZZ_RUNS) -max_total_time=$(FUZZ_SECONDS) \
	    -malloc_limit_mb=64 -print_final_stats=1 $(FUZZ_DIR)/corpus/$$target || exit 1; \
	done

bench: build
	@scripts/setup.sh desktop
	@bench/run.sh $(BUILD_DIR)

# The same benchmarks in the Debian 13 root, where the native Wayland backend is built.
bench-debian13:
	@VERRABEL_BENCH=1 JOBS=$(JOBS) scripts/debian_root.sh debian13

format:
	@git ls-files --cached --others --exclude-standard '*.cpp' '*.h' | xargs -r clang-format -i

lint: build
	@git ls-files --cached --others --exclude-standard '*.cpp' '*.h' | xargs -r clang-format --dry-run --Werror
	@git ls-files --cached --others --exclude-standard 'src/*.cpp' | xargs -r -P$(JOBS) -n4 clang-tidy -p $(BUILD_DIR) --quiet --warnings-as-errors='*'

clean:
	rm -rf $(BUILD_DIR) $(SANITIZE_DIR) $(TSAN_DIR) $(DEBUG_DIR) $(FUZZ_DIR) build-debian13 build-debian13-bench \
	  build-forky build-forky-bench
