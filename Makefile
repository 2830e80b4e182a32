# The two commands of the README are `make run` and `make test`; both install what they need.
JOBS ?= $(shell nproc)
SQXER := build/release/bin/sqxer

# The project's Python, in the virtual environment of the build folder.
DRIVER := PYTHONPATH=bench build/venv/bin/python -m
PEERS := duckdb chdb polars
CLUSTERS := pyspark ray

.PHONY: run test build configure dependencies sanitize bench bench-files bench-functions bench-growth \
        bench-micro bench-python bench-spark bench-suite bench-windows faults fuzz fuzz-reader fuzz-short \
        coverage fuzz-targets format format-check limits mutants python-check threads tidy \
        python python-test python-test-clusters python-test-spark python-venv wheel docs install clean

## Build the command, and sum up the sample table.
run: configure
	@cmake --build --preset release -j $(JOBS) --target sqxer
	$(SQXER) -C examples/data -o table -f examples/strikes.sql

## Build and run every test, the Python package's too.
test: build
	@if $(MAKE) --no-print-directory python-venv; then $(MAKE) --no-print-directory python-test; \
	else echo "python: skipped, packages that it needs cannot be installed"; fi
	ctest --preset release -j $(JOBS)

build: configure
	cmake --build --preset release -j $(JOBS)

configure: dependencies
	@cmake --preset release >/dev/null

dependencies:
	@cmake/dependencies.sh

## Everything, the benchmarks too, built by clang with AddressSanitizer and UndefinedBehaviorSanitizer, and the tests.
sanitize:
	@cmake/dependencies.sh clang-16 libclang-rt-16-dev libbenchmark-dev
	@cmake --preset sanitize >/dev/null
	cmake --build --preset sanitize -j $(JOBS)
	ctest --preset sanitize -j $(JOBS)

## Sessions side by side, each with threads of its own, built by clang with ThreadSanitizer.
threads:
	@cmake/dependencies.sh clang-16 libclang-rt-16-dev
	@cmake --preset threads >/dev/null
	cmake --build --preset threads -j $(JOBS) --target front_tests
	ctest --preset threads -j $(JOBS) -R '^Threads|^Engine'

## Whole queries beside DuckDB, ClickHouse, Polars, SQLite and loops written by hand, then whole
## processes from file to answer (ROWS=N: another table); docs/performance.md then shows the figures.
bench: bench-suite
	$(DRIVER) driver.suite $(if $(ROWS),--rows $(ROWS))
	$(DRIVER) driver.report

## Whole processes from file to answer alone; the figures are printed and not kept (ROWS=N, RUNS=N).
bench-files: bench-suite
	$(DRIVER) driver.files $(if $(ROWS),--rows $(ROWS)) $(if $(RUNS),--runs $(RUNS))

## The whole queries at several sizes, for how time grows with rows (ROWS=N,N,...: other sizes).
bench-growth: bench-suite
	$(DRIVER) driver.growth $(if $(ROWS),--rows $(ROWS))
	$(DRIVER) driver.report

## Every kind of query over ten million rows under a few limits of memory: what it takes, and that it
## ends with its result or the error of the limit (ROWS=N: another table; LIMITS=MIB,MIB: others).
limits: configure
	@cmake --build --preset release -j $(JOBS) --target sqxer
	python3 tests/limits/limits.py --sqxer $(SQXER) $(if $(ROWS),--rows $(ROWS)) $(if $(LIMITS),--limits $(LIMITS))

## Every allocation, and every call that opens, reads, writes or maps a file or starts a thread, fails
## once over a list of statements, one in each run (CASES=NAME ...: some of them, KINDS=...: memory,
## file, interrupt, short or thread alone, MOST=N: at most so many runs of each).
faults: configure
	@cmake --build --preset release -j $(JOBS) --target sqxer_faults sqxer
	build/release/bin/sqxer_faults --command $(SQXER) --most $(or $(MOST),0) --most-cold $(or $(MOST),300) --most-of-command $(or $(MOST),0) \
	  $(if $(CASES),--case $(CASES)) $(if $(KINDS),--kind $(KINDS))

## What the tests run of lines, branches and functions, by area, from a build by g++ that counts; fails
## where an area takes fewer branches than before (AREA=...: the lines that the tests leave
## out of an area, or of a file). tests/coverage/README.md tells what is counted.
coverage:
	@cmake/dependencies.sh
	@cmake --preset coverage >/dev/null
	cmake --build --preset coverage -j $(JOBS)
	@find build/coverage -name '*.gcda' -delete
	ctest --preset coverage -j $(JOBS)
	python3 tests/coverage/branches.py build/coverage tests/coverage/explained.txt \
	  $(if $(AREA),--gaps "$(AREA)")

## Small changes of the sources, one at a time, each of which a test should notice (MOST=N: how many,
## SEED=N: which, FILES=PATTERN: where, AGAIN=1: without those that were noticed the last time). It
## builds a copy of its own and takes an hour; tests/mutants/README.md tells how to read it.
mutants:
	@cmake/dependencies.sh clang-16 libclang-rt-16-dev
	@cmake/venv.sh libclang==16.0.6
	PYTHONPATH=tests build/venv/bin/python -m mutants --jobs $(JOBS) $(if $(MOST),--most $(MOST)) \
	  $(if $(SEED),--seed $(SEED)) $(if $(FILES),--files '$(FILES)') $(if $(AGAIN),--again)

# A peer that cannot be installed is skipped by the suite, which says so.
bench-suite:
	@cmake/dependencies.sh libbenchmark-dev
	@for peer in $(PEERS); do \
	  cmake/venv.sh -c bench/requirements.txt $$peer || echo "bench: $$peer cannot be installed"; \
	done
	@cmake --preset bench >/dev/null
	cmake --build --preset bench -j $(JOBS) --target sqxer_suite sqxer

## Queries over Arrow tables in one process of Python, beside DuckDB and Polars (ROWS=N, RUNS=N).
bench-python: python bench-suite
	$(DRIVER) driver.arrow $(if $(ROWS),--rows $(ROWS)) $(if $(RUNS),--runs $(RUNS))

## Functions beside DuckDB's of the same meaning, with their results compared (ROWS=N, RUNS=N).
bench-functions: python
	$(DRIVER) driver.functions $(if $(ROWS),--rows $(ROWS)) $(if $(RUNS),--runs $(RUNS))

## Statements over Parquet on two workers of Spark, beside Spark's own operators (ROWS=N, RUNS=N). It takes Java.
bench-spark: python
	cmake/venv.sh -c python/tests/clusters.txt pyspark
	$(DRIVER) driver.spark $(if $(ROWS),--rows $(ROWS)) $(if $(RUNS),--runs $(RUNS))

## Aggregates with a result per row, and medians, beside SQLite's window functions (ROWS=N: another
## table; RUNS=N: how often).
bench-windows:
	@cmake/dependencies.sh libbenchmark-dev
	@cmake --preset bench >/dev/null
	cmake --build --preset bench -j $(JOBS) --target sqxer_windows
	build/bench/bin/sqxer_windows $(or $(ROWS),1000000) $(or $(RUNS),5)

## Micro-benchmarks: each node and the whole filter and product against a hand-written loop.
bench-micro:
	@cmake/dependencies.sh libbenchmark-dev
	@cmake --preset bench >/dev/null
	cmake --build --preset bench -j $(JOBS)
	build/bench/bin/sqxer_bench

## Random statements over random tables, each in two ways that must agree (SECONDS=N: how long, SEED=N);
## fuzz/README.md tells how to read what they find.
fuzz: configure
	cmake --build --preset release -j $(JOBS) --target sqxer_fuzz
	build/release/bin/sqxer_fuzz --seconds $(or $(SECONDS),60) --seed $(or $(SEED),$(shell date +%s))

## The same with the sanitizers, always the same statements, for a minute.
fuzz-short:
	@cmake/dependencies.sh clang-16 libclang-rt-16-dev libbenchmark-dev
	@cmake --preset sanitize >/dev/null
	@cmake --build --preset sanitize -j $(JOBS) --target sqxer_fuzz
	build/sanitize/bin/sqxer_fuzz --seconds $(or $(SECONDS),60) --seed 1

## Each target of libFuzzer with the sanitizers, one after the other (SECONDS=N: how long each;
## TARGETS=...: some of them). What they find is kept in build/fuzz-found.
fuzz-targets:
	@cmake/dependencies.sh clang-16 libclang-rt-16-dev
	@cmake --preset fuzz-sanitize >/dev/null
	cmake --build --preset fuzz-sanitize -j $(JOBS) --target $(or $(TARGETS),fuzz_targets)
	fuzz/run.sh fuzz-sanitize $(or $(SECONDS),60) $(TARGETS)

## Random texts through the fast reader of records and the plain one (SECONDS=N: how long), with the
## sanitizers and without.
fuzz-reader:
	@cmake/dependencies.sh clang-16 libclang-rt-16-dev
	@for preset in fuzz fuzz-sanitize; do \
	  cmake --preset $$preset >/dev/null && \
	  cmake --build --preset $$preset -j $(JOBS) --target csv_slicer_fuzz && \
	  fuzz/run.sh $$preset $(or $(SECONDS),60) csv_slicer_fuzz || exit 1; \
	done

SOURCES = $(shell git ls-files '*.h' '*.cpp')

format:
	clang-format -i $(SOURCES)

format-check:
	@cmake/dependencies.sh clang-format
	@clang-format --dry-run -Werror $(SOURCES) && echo "format: $(words $(SOURCES)) files are clean"

# What the package is built and tested with. The compilers' names are those of the other builds, so
# that ccache has what they have compiled.
python-venv:
	@cmake/dependencies.sh python3-dev
	@cmake/venv.sh -r requirements-dev.txt -c bench/requirements.txt duckdb polars

## Build the Python package, and install it into the virtual environment of the build folder.
python: dependencies python-venv
	CC=cc CXX=c++ build/venv/bin/pip install --quiet --no-build-isolation --no-deps .

## The tests of the Python package.
python-test: python
	build/venv/bin/pytest python/tests

## Statements on two processes each of Spark, Ray and Dask. What cannot be installed is skipped.
python-test-clusters: python
	@for package in $(CLUSTERS); do \
	  cmake/venv.sh -c python/tests/clusters.txt $$package || \
	    echo "python-test-clusters: $$package cannot be installed"; \
	done
	build/venv/bin/pytest -rs python/tests/test_spark.py python/tests/test_ray.py \
	  python/tests/test_dask.py

## Spark over many rows (ROWS=N: another number), an executor of which is killed in the middle.
python-test-spark: python
	cmake/venv.sh -c python/tests/clusters.txt pyspark
	SQXER_SPARK_ROWS=$(or $(ROWS),20000000) build/venv/bin/pytest -rs python/tests/test_spark.py

## A wheel of the Python package, in build/wheel.
wheel: dependencies python-venv
	CC=cc CXX=c++ build/venv/bin/pip wheel --quiet --no-build-isolation --no-deps --wheel-dir build/wheel .

## ruff and mypy over the project's Python, and the tests of the benchmark's driver and of what reads coverage and
## makes mutants.
python-check: python-venv
	build/venv/bin/ruff format --check
	build/venv/bin/ruff check
	build/venv/bin/mypy
	build/venv/bin/pytest bench/tests tests/coverage tests/mutants

## clang-tidy over the expression library and the platform.
tidy: dependencies
	@cmake/dependencies.sh clang-tidy-16
	@cmake --preset release >/dev/null
	cmake/tidy.sh build/release

## Regenerates docs/sql.md from the plan builder's own table.
docs: build
	$(SQXER) --functions sql > docs/sql.md
	for page in docs/sql/*.md; do $(SQXER) --functions "$$(basename "$$page" .md)" > "$$page" || exit 1; done

install: build
	cmake --install build/release

clean:
	rm -rf build
