# Thin front end over CMake: `make demo`, `make test`, `make test-ports`,
# `make bench`.
# Each target first makes sure the Debian packages it needs are installed
# (installing them when run as root, otherwise naming them and stopping).

BUILD_DIR  ?= build
BENCH_DIR  ?= build-bench
ASAN_DIR   ?= build-asan
TSAN_DIR   ?= build-tsan
GRIND_DIR  ?= build-memcheck
FUZZ_DIR   ?= build-fuzz
PORTS_DIR  ?= build-ports
# `make fuzz` runs each target this long; `make test` only replays the seeds
# and a few thousand mutations of them.
FUZZ_SECONDS ?= 600
FUZZ_RUNS    ?= 2000
FUZZ_TARGETS := fuzz_from_dump fuzz_from_json fuzz_format fuzz_from_msgpack fuzz_json_vs_jansson fuzz_api fuzz_patch_diff fuzz_stream
JOBS       ?= $(shell nproc)
CMAKE      ?= cmake
# The project's own checks treat warnings as errors; `make demo` and
# `make install` build as a user would.
WERROR     := -DPZ_WERROR=ON

BASE_PACKAGES  := cmake g++ make pkg-config libcjson-dev
TEST_PACKAGES  := libgtest-dev doxygen valgrind libmsgpack-dev python3-msgpack
BENCH_PACKAGES := python3 libbenchmark-dev libjansson-dev libjson-c-dev libglib2.0-dev libmsgpack-dev nlohmann-json3-dev
GRIND_PACKAGES := valgrind
FUZZ_PACKAGES  := clang libclang-rt-14-dev libjansson-dev
DOCS_PACKAGES  := doxygen
# `make test-ports`: each target is a toolchain file in cmake/toolchains; its
# Debian architecture gives the cJSON it links.
PORTS          := armhf s390x i386
# One target builds without thread support, so that option runs the suite too.
PORTS_OPTIONS_i386 := -DPZ_THREADS=OFF
PORTS_PACKAGES := qemu-user googletest g++-arm-linux-gnueabihf g++-s390x-linux-gnu g++-i686-linux-gnu

PREFIX     ?= /usr/local

.PHONY: all demo test test-ports test-slow memcheck fuzz fuzz-build bench install docs deps-base deps-test \
  deps-docs deps-bench deps-grind deps-fuzz deps-ports clean

all: demo

define ensure_packages
	@missing=""; \
	for p in $(1); do dpkg-query -W -f='$${Status}' $$p 2>/dev/null | grep -q "ok installed" || missing="$$missing $$p"; done; \
	if [ -n "$$missing" ]; then \
	  if [ "$$(id -u)" = 0 ]; then \
	    echo "Installing:$$missing"; \
	    (apt-get install -y --no-install-recommends $$missing || \
	     (for try in 1 2 3; do apt-get update && break; sleep 10; done; \
	      apt-get install -y --no-install-recommends $$missing)) || exit 1; \
	  else \
	    echo "Missing Debian packages:$$missing"; \
	    echo "Install them with: sudo apt-get install$$missing"; exit 1; \
	  fi; \
	fi
endef

deps-base:
	$(call ensure_packages,$(BASE_PACKAGES))
deps-test: deps-base
	$(call ensure_packages,$(TEST_PACKAGES))
deps-bench: deps-base
	$(call ensure_packages,$(BENCH_PACKAGES))
deps-docs:
	$(call ensure_packages,$(DOCS_PACKAGES))
deps-grind: deps-test
	$(call ensure_packages,$(GRIND_PACKAGES))
deps-fuzz: deps-base
	$(call ensure_packages,$(FUZZ_PACKAGES))
# The targets' own cJSON needs their architectures known to dpkg (as root).
deps-ports: deps-base
	$(call ensure_packages,$(PORTS_PACKAGES))
	@if [ "$$(id -u)" = 0 ]; then \
	  for a in $(PORTS); do \
	    dpkg --print-foreign-architectures | grep -qx $$a || dpkg --add-architecture $$a; \
	  done; \
	fi
	$(call ensure_packages,$(addprefix libcjson-dev:,$(PORTS)))

demo: deps-base
	$(CMAKE) -S . -B $(BUILD_DIR) -DCMAKE_BUILD_TYPE=Release -DPZ_BUILD_TESTS=OFF
	$(CMAKE) --build $(BUILD_DIR) --target tour tour_cpp -j $(JOBS)
	./$(BUILD_DIR)/examples/tour
	./$(BUILD_DIR)/examples/tour_cpp

test: deps-test fuzz-build docs
	$(CMAKE) -S . -B $(ASAN_DIR) -DCMAKE_BUILD_TYPE=Debug -DPZ_SANITIZE=ON $(WERROR)
	$(CMAKE) --build $(ASAN_DIR) -j $(JOBS)
	ASAN_OPTIONS=detect_leaks=1:abort_on_error=1 UBSAN_OPTIONS=print_stacktrace=1:halt_on_error=1 \
	  ctest --test-dir $(ASAN_DIR) --output-on-failure -j $(JOBS)
	$(CMAKE) -S . -B $(TSAN_DIR) -DCMAKE_BUILD_TYPE=RelWithDebInfo -DPZ_TSAN=ON $(WERROR) -DPZ_BUILD_EXAMPLES=OFF
	$(CMAKE) --build $(TSAN_DIR) -j $(JOBS)
	TSAN_OPTIONS=halt_on_error=1 ctest --test-dir $(TSAN_DIR) --output-on-failure
	$(CMAKE) -S . -B $(GRIND_DIR) -DCMAKE_BUILD_TYPE=RelWithDebInfo $(WERROR) -DPZ_BUILD_EXAMPLES=OFF \
	  -DPZ_HELGRIND_ANNOTATIONS=ON
	$(CMAKE) --build $(GRIND_DIR) --target pz_shared_threads -j $(JOBS)
	ctest --test-dir $(GRIND_DIR) -R helgrind --output-on-failure
	@for t in $(FUZZ_TARGETS); do \
	  echo "== $$t: $(FUZZ_RUNS) runs over its seeds"; \
	  rm -rf $(FUZZ_DIR)/quick/$$t && mkdir -p $(FUZZ_DIR)/quick/$$t && \
	  ./$(FUZZ_DIR)/fuzz/$$t -runs=$(FUZZ_RUNS) -detect_leaks=1 -artifact_prefix=$(FUZZ_DIR)/ \
	    $(FUZZ_DIR)/quick/$$t fuzz/corpus/$$t > $(FUZZ_DIR)/quick/$$t.log 2>&1 || \
	    { tail -n 40 $(FUZZ_DIR)/quick/$$t.log; exit 1; }; \
	  tail -n 1 $(FUZZ_DIR)/quick/$$t.log; \
	done

# The library and the suite cross-built for 32-bit ARM (8-byte alignment of
# 64-bit members), big-endian s390x and i386, each run under qemu-user with
# UndefinedBehaviorSanitizer (AddressSanitizer does not run under qemu-user).
test-ports: deps-ports
	$(foreach t,$(PORTS),JOBS=$(JOBS) ./tests/ports/run.sh . $(PORTS_DIR)/$(t) $(t) $(PORTS_OPTIONS_$(t)) &&) true

# The libFuzzer targets, built with clang under ASan and UBSan.
fuzz-build: deps-fuzz
	CC=clang CXX=clang++ $(CMAKE) -S . -B $(FUZZ_DIR) -DCMAKE_BUILD_TYPE=RelWithDebInfo \
	  -DPZ_FUZZ=ON $(WERROR) -DPZ_BUILD_TESTS=OFF -DPZ_BUILD_EXAMPLES=OFF
	$(CMAKE) --build $(FUZZ_DIR) -j $(JOBS)

# Each target for FUZZ_SECONDS, one after the other; new inputs go to
# $(FUZZ_DIR)/corpus/<target>, the committed seeds are only read.
fuzz: fuzz-build
	@for t in $(FUZZ_TARGETS); do \
	  mkdir -p $(FUZZ_DIR)/corpus/$$t; \
	  echo "== $$t for $(FUZZ_SECONDS) s"; \
	  ./$(FUZZ_DIR)/fuzz/$$t -max_total_time=$(FUZZ_SECONDS) -detect_leaks=1 \
	    -artifact_prefix=$(FUZZ_DIR)/ $(FUZZ_DIR)/corpus/$$t fuzz/corpus/$$t || exit 1; \
	done

# The suite under valgrind's memcheck, which also sees inside Debian's cJSON,
# then the concurrent readers under helgrind.
memcheck: deps-grind
	$(CMAKE) -S . -B $(GRIND_DIR) -DCMAKE_BUILD_TYPE=RelWithDebInfo $(WERROR) -DPZ_BUILD_EXAMPLES=OFF \
	  -DPZ_HELGRIND_ANNOTATIONS=ON
	$(CMAKE) --build $(GRIND_DIR) --target pz_tests -j $(JOBS)
	valgrind --error-exitcode=1 --leak-check=full --errors-for-leak-kinds=definite,indirect \
	  ./$(GRIND_DIR)/tests/pz_tests --gtest_brief=1 --gtest_filter=-Slow*
	valgrind --tool=helgrind --error-exitcode=1 \
	  ./$(GRIND_DIR)/tests/pz_tests --gtest_brief=1 --gtest_filter=ConcurrentReaderThreads.*

# Containers of ten million entries, optimised and without sanitizers.
test-slow: deps-test
	$(CMAKE) -S . -B $(GRIND_DIR) -DCMAKE_BUILD_TYPE=RelWithDebInfo $(WERROR) -DPZ_BUILD_EXAMPLES=OFF
	$(CMAKE) --build $(GRIND_DIR) --target pz_tests -j $(JOBS)
	./$(GRIND_DIR)/tests/pz_tests --gtest_filter=Slow*

bench: deps-bench
	$(CMAKE) -S . -B $(BENCH_DIR) -DCMAKE_BUILD_TYPE=Release $(WERROR) -DPZ_BUILD_BENCH=ON -DPZ_BUILD_TESTS=OFF \
	  -DPZ_BUILD_EXAMPLES=OFF
	$(CMAKE) --build $(BENCH_DIR) -j $(JOBS)
	./$(BENCH_DIR)/bench/pz_bench
	python3 bench/fresh_samples.py ./$(BENCH_DIR)/bench/pz_bench '^(JR|JD|JM|C[1-4B])/'

# HTML API reference of the public headers in build-docs/html, warnings
# being errors. The headers are the one list PZ_PUBLIC_HEADERS of
# CMakeLists.txt, which also gives the installed-header checks of the suite.
PUBLIC_HEADERS := ${shell sed -n '/^set(PZ_PUBLIC_HEADERS/,/)/p' CMakeLists.txt | grep -o 'include/[^ )]*'}
docs: deps-docs
	@test -n "$(PUBLIC_HEADERS)" || { echo "no PZ_PUBLIC_HEADERS list in CMakeLists.txt"; exit 1; }
	./tests/check_docs.sh $(PUBLIC_HEADERS)
	{ cat Doxyfile; echo "INPUT = docs/mainpage.md $(PUBLIC_HEADERS)"; } | doxygen -
	@for g in $$(grep -ho '@defgroup [a-z_]*' $(PUBLIC_HEADERS) | cut -d' ' -f2); do \
	  test -f build-docs/html/group__$$(echo $$g | sed 's/_/__/g').html || { echo "no page for the family $$g"; exit 1; }; \
	done
	@echo "API reference: build-docs/html/index.html"

# Static and shared libraries, headers under include/pzvariant, CMake and
# pkg-config packages, into $(PREFIX).
install: deps-base
	$(CMAKE) -S . -B $(BUILD_DIR) -DCMAKE_BUILD_TYPE=Release -DPZ_BUILD_TESTS=OFF -DCMAKE_INSTALL_PREFIX=$(PREFIX)
	$(CMAKE) --build $(BUILD_DIR) -j $(JOBS)
	$(CMAKE) --install $(BUILD_DIR)

clean:
	rm -rf $(BUILD_DIR) $(BENCH_DIR) $(ASAN_DIR) $(TSAN_DIR) $(GRIND_DIR) $(FUZZ_DIR) $(PORTS_DIR) build-docs
