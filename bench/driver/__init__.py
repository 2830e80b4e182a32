"""Runs the queries of the benchmark on every engine, compares their answers, and reports."""
