# The two commands of the README are `make run` and `make test`; both install what they need.
JOBS ?= $(shell nproc)
SQXER := build/release/bin/sqxer

MAIN_JOB := SELECT "Origin State", COUNT(*) AS strikes, SUM("Cost Repair" + "Cost Other") AS cost, \
MAX("Speed IAS in knots") AS top_speed FROM birdstrikes WHERE "Speed IAS in knots" > 100 \
GROUP BY "Origin State" ORDER BY strikes DESC, "Origin State" LIMIT 10

.PHONY: run test build dependencies sanitize bench-micro format format-check tidy docs install clean

## Build, and sum up the sample table.
run: build
	@echo "$$ sqxer -C examples/data '$(subst ",",$(MAIN_JOB))'"
	@$(SQXER) -C examples/data -o table '$(MAIN_JOB)'

## Build and run every test.
test: build
	ctest --preset release -j $(JOBS)

build: dependencies
	@cmake --preset release --log-level=WARNING
	cmake --build --preset release -j $(JOBS)

dependencies:
	@cmake/dependencies.sh

## The tests under AddressSanitizer and UndefinedBehaviorSanitizer.
sanitize: dependencies
	@cmake --preset sanitize --log-level=WARNING
	cmake --build --preset sanitize -j $(JOBS)
	ctest --preset sanitize -j $(JOBS)

## Micro-benchmarks: each node and the whole filter and product against a hand-written loop.
bench-micro:
	@cmake/dependencies.sh libbenchmark-dev
	@cmake --preset bench --log-level=WARNING
	cmake --build --preset bench -j $(JOBS)
	build/bench/bin/sqxer_bench

SOURCES = $(shell git ls-files '*.h' '*.cpp')

format:
	clang-format -i $(SOURCES)

format-check:
	@cmake/dependencies.sh clang-format
	@clang-format --dry-run -Werror $(SOURCES) && echo "format: $(words $(SOURCES)) files are clean"

## clang-tidy over the expression library and the platform.
tidy: dependencies
	@cmake/dependencies.sh clang-tidy
	@cmake --preset release --log-level=WARNING
	cmake/tidy.sh build/release

## Regenerates docs/sql.md from the plan builder's own table.
docs: build
	$(SQXER) --functions > docs/sql.md

install: build
	cmake --install build/release

clean:
	rm -rf build
