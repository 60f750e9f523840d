# The two commands a newcomer needs are `make run` and `make test`; both install what is
# missing first (Debian packages, through apt-get).

MAKEFLAGS += --no-print-directory

BUILD_DIR ?= build
SANITIZE_DIR ?= build-sanitize
JOBS ?= 2
WERROR ?= OFF

CONFIGURE = cmake -S . -B $(1) -DCMAKE_BUILD_TYPE=RelWithDebInfo -DVERRABEL_WERROR=$(WERROR)

.PHONY: build test run sanitize bench format lint clean

build:
	@scripts/setup.sh build
	@$(call CONFIGURE,$(BUILD_DIR)) >/dev/null
	@cmake --build $(BUILD_DIR) -j$(JOBS)

test: build
	@scripts/setup.sh desktop e2e package
	@cd $(BUILD_DIR) && ctest --output-on-failure -j$(JOBS)

run: build
	@scripts/setup.sh desktop
	@scripts/run.sh $(BUILD_DIR)/verrabel

# The tests once more under AddressSanitizer and UndefinedBehaviorSanitizer.
sanitize:
	@scripts/setup.sh build desktop
	@$(call CONFIGURE,$(SANITIZE_DIR)) -DVERRABEL_SANITIZE=ON -DVERRABEL_BENCHMARKS=OFF >/dev/null
	@cmake --build $(SANITIZE_DIR) -j$(JOBS)
	@cd $(SANITIZE_DIR) && ASAN_OPTIONS=detect_leaks=1:abort_on_error=1 \
	  LSAN_OPTIONS=suppressions=$(CURDIR)/tests/lsan.supp:print_suppressions=0 \
	  UBSAN_OPTIONS=print_stacktrace=1:halt_on_error=1 \
	  ctest --output-on-failure -j$(JOBS) -LE e2e

bench: build
	@scripts/setup.sh desktop
	@bench/run.sh $(BUILD_DIR)

format:
	@git ls-files --cached --others --exclude-standard '*.cpp' '*.h' | xargs -r clang-format -i

lint: build
	@git ls-files --cached --others --exclude-standard '*.cpp' '*.h' | xargs -r clang-format --dry-run --Werror
	@git ls-files --cached --others --exclude-standard 'src/*.cpp' | xargs -r -P$(JOBS) -n4 clang-tidy -p $(BUILD_DIR) --quiet --warnings-as-errors='*'

clean:
	rm -rf $(BUILD_DIR) $(SANITIZE_DIR)
