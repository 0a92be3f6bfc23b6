# SPDX-License-Identifier: Apache-2.0
# Names for what people do here; the work is CMake's and the scripts'.
.POSIX:
.PHONY: demo test sanitize build bench soak refusals fuzz coverage install format format-check check-style clean

PREFIX = /usr/local
FUZZ_SECONDS = 300
# Whichever comes first; 0 for no bound.
SOAK_RUNS = 1000
SOAK_SECONDS = 0
REFUSED = 1000000

demo:
	@scripts/install-dependencies demo
	@scripts/demo

test:
	@scripts/install-dependencies test
	@scripts/test

sanitize:
	@scripts/install-dependencies test
	@scripts/test asan tsan

build:
	@scripts/install-dependencies demo
	cmake --preset demo
	cmake --build --preset demo

bench:
	@scripts/install-dependencies bench
	@scripts/bench

soak:
	@scripts/install-dependencies test
	cmake --preset release
	cmake --build --preset release --target manager_soak
	build/release/tests/soak/manager_soak --judge-times --runs $(SOAK_RUNS) --seconds $(SOAK_SECONDS)

refusals:
	@scripts/install-dependencies test
	cmake --preset release
	cmake --build --preset release --target code_refusals
	build/release/tests/refusals/code_refusals --clients $(REFUSED)

fuzz:
	@scripts/install-dependencies test
	cmake --preset fuzz -DVANTO_FUZZ_SECONDS=$(FUZZ_SECONDS)
	cmake --build --preset fuzz
	ctest --preset fuzz

coverage:
	@scripts/install-dependencies test
	@scripts/coverage

install: build
	cmake --install build/demo --prefix $(PREFIX) --strip

format:
	@scripts/format -i

format-check:
	@scripts/format --dry-run -Werror

check-style:
	@scripts/check-style

clean:
	rm -rf build
