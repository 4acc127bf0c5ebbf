#!/usr/bin/env bash
# Installs Doxygen if it is missing and makes the reference of the public headers: build/docs/html/index.html. A warning
# is an error.
set -euo pipefail
cd "$(dirname "$0")/.."

tools/install-packages.sh --docs
mkdir -p build
doxygen docs/Doxyfile
echo "build/docs/html/index.html"
