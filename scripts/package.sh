#!/usr/bin/env bash
# Builds the installable .deb: the release build of vantrel (and of vantrel-service where
# the tree has it), configured for /usr, packed by CPack with its dependencies named.
# Prints the package's path on the last line.
# Usage: scripts/package.sh
set -euo pipefail
cd "$(dirname "$0")/.."
cmake --preset release -DCMAKE_INSTALL_PREFIX=/usr >/dev/null
targets=(vantrel)
# grep reads the whole list: `grep -q` would stop at the match and ninja, still writing,
# would die of SIGPIPE, which pipefail counts as the test failing.
if cmake --build --preset release --target help | grep '^vantrel-service:' >/dev/null; then
  targets+=(vantrel-service)
fi
cmake --build --preset release --target "${targets[@]}" >&2
(cd build/release && cpack -G DEB >&2)
ls -t build/release/vantrel_*.deb | head -n 1
