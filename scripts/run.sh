#!/usr/bin/env bash
# The main job: installs what is missing, builds the release binary, and runs it.
# Usage: scripts/run.sh [vantrel arguments]   (default: list every drive with its health)
# Reading drive health needs root; the binary says so when it lacks the privilege.
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/install-deps.sh
cmake --preset release >/dev/null
cmake --build --preset release --target vantrel
bin=build/release/cli/vantrel
[[ $# -eq 0 ]] && set -- list
if [[ $(id -u) -ne 0 ]] && command -v sudo >/dev/null; then
  exec sudo "$bin" "$@"
fi
exec "$bin" "$@"
