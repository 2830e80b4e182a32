#!/usr/bin/env bash
# Installs Node, which the suite needs, and the engines of package.json. An engine that cannot be installed
# is skipped by the suite, which says so.
set -euo pipefail
cd "$(dirname "$0")"
command -v node >/dev/null || ../cmake/dependencies.sh nodejs
command -v npm >/dev/null || ../cmake/dependencies.sh npm || true

# Not `npm ci`: it asks for the bindings of every platform, and this one's are enough.
npm install --no-save --loglevel=error || echo "bench: npm could not install every engine"
