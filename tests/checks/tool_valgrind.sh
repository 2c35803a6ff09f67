#!/usr/bin/env bash
# tool_valgrind.sh JOBS - checks that xavoctl's parent process has no leak on any path. Workers are not checked: their
# memory is freed when they end. XAVO_BUILD names the folder of the build.
set -euo pipefail
cd "$(dirname "$0")/../.."

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
cat >"$work/xavoctl" <<END
#!/bin/sh
exec valgrind --quiet --leak-check=full --show-leak-kinds=definite,indirect,possible \\
    --child-silent-after-fork=yes --log-file='$work/log.%p' '$XAVO_BUILD/tools/xavoctl' "\$@"
END
chmod +x "$work/xavoctl"
# Excludes the tests that run many commands or preload a library, and the test with a closed descriptor, because
# Valgrind uses the number of that descriptor.
XAVOCTL=$work/xavoctl bats --jobs "$1" --filter-tags '!native' tests/xavoctl
rm -f "$work"/log.*.core.* # Valgrind writes a core file for each worker that the tests kill
if grep . "$work"/log.*; then
    echo "tool_valgrind: Valgrind reports errors: see above" >&2
    exit 1
fi
