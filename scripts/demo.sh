#!/usr/bin/env bash
# What ./run shows once the tool is built.
#   scripts/demo.sh TOOL
set -euo pipefail
tool=$1

"$tool" --help
