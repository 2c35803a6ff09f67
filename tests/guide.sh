#!/usr/bin/env bash
# tests/guide.sh BUILD - the guide's programs, compiled as they stand, and its commands, run where a reader would run
# them: with an installed prefix. A block of C names its file in its first line.
# shellcheck source=scripts/common
source "$(dirname "$0")/../scripts/common"

source=$PWD
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
cmake --install "$1" --prefix "$work/prefix" >/dev/null
export PKG_CONFIG_PATH=$work/prefix/lib/pkgconfig PATH=$work/prefix/bin:$PATH

awk -v work="$work" '
    /^```c$/ { block = "c"; next }
    /^```sh$/ { block = "sh"; next }
    /^```/ { if (file != "") close(file); block = file = ""; next }
    block == "c" && file == "" { file = work "/" $2; sub(/:$/, "", file) }
    block == "c" { print >file }
    block == "sh" && sub(/^! /, "") { $0 = "if " $0 "; then exit 1; fi" } # which -e would not see
    block == "sh" { print >(work "/commands") }' docs/guide.md
cd "$work"
programs=(*.c)
[[ $(grep -c '^```c$' "$source/docs/guide.md") == "${#programs[@]}" ]] || die "a program of the guide has no name of its own"
[[ ${#programs[@]} -ge 6 && $(wc -l <commands) -ge 10 ]] || die "the guide has lost its programs or its commands"
for program in "${programs[@]}"; do
    # shellcheck disable=SC2046
    gcc -std=c11 -Wall -Wextra -Werror -c "$program" $(pkg-config --cflags xavo-companion) -o /dev/null
done
bash -ex commands || die "a command of the guide failed"

# The manual's examples: all can be linked, and the two of its overviews do what they say.
manual=$source/docs/manual/examples
# shellcheck disable=SC2046
{
    for example in "$manual"/*.c; do
        gcc -Wall -Wextra -Werror -shared -fPIC -Wl,-z,defs "$example" \
            $(pkg-config --cflags --libs xavo-companion xavo-simulator) -o /dev/null
    done
    gcc "$manual/xavo.c" $(pkg-config --cflags --libs xavo-companion) -o xavo.example
    gcc "$manual/cimsim.c" $(pkg-config --cflags --libs xavo-companion xavo-simulator) -o cimsim.example
}
./cimsim.example || die "the manual's test fails"
[[ $(xavo-simulate ./xavo.example 192.0.2.10 public image) == "JID_4: COMPLETED, "* ]] ||
    die "the manual's first program does not follow its backup"

# The examples of the pages on scenes and on xavo-simulate.
examples() { awk '/^# / { ours = $0 == "# EXAMPLES" } ours && sub(/^    /, "")' "$source/docs/manual/$1.md"; }
examples xavo-scene.5 >scene
[[ $(xavo-simulate --scene scene xavoctl instances TEST_Fan) == *DeviceID*DeviceID* ]] || die "xavo-scene(5) has no such fans"
examples xavo-simulate.1 >simulate
[[ $(bash -e simulate) == *JID_4*completed* ]] || die "the examples of xavo-simulate(1) follow no backup"
printf '%s programs compiled, %s commands run\n' "${#programs[@]}" "$(grep -c . commands)"
