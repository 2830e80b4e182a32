#!/usr/bin/env bash
# Installs Python packages into the virtual environment of the build folder, and makes that first.
#   cmake/venv.sh ARGUMENT...    arguments of `pip install`; paths are relative to the project's folder
set -euo pipefail
cd "$(dirname "$0")/.."
cmake/dependencies.sh python3-venv
# One that another Python left, or that was moved, does not run.
build/venv/bin/python -c '' 2>/dev/null || python3 -m venv --clear build/venv
build/venv/bin/python -m pip install --quiet --disable-pip-version-check "$@"
