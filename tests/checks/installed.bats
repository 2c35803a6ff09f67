# installed.bats - the files that a build with the simulator installs, used as the author of a program would use them;
# the README's code and commands. installed.txt has the commands of most tests.
# shellcheck shell=bash disable=SC2034,SC2154
load common

setup_file() {
    cd "$BATS_FILE_TMPDIR" || return
    # All that is installed is installed here: the README's commands configure the build again.
    install_build first
    for component in library companion platform development tools simulator; do
        install_build $component --component $component
    done
    (cd first && find . ! -type d | sort) >whole
    mv first prefix # what is installed can be moved
    use_prefix prefix

    # A program; one that controls the simulator; and one that is linked to the simulator and calls nothing of it.
    examples=$prefix/share/doc/libxavo/examples
    for name in first job_queue backup; do
        compile xavo "${strict[@]}" "$examples/$name.c" -o $name
    done
    cp "$examples/first.c" .
    cp "$examples/first.c" quiet.c
    cp "$root/docs/manual/examples/cimsim.c" control.c
    for name in control quiet; do
        compile "xavo-simulator xavo-companion" "${strict[@]}" $name.c -o $name
    done
    printf '%s\n' 'cmake_minimum_required(VERSION 3.21)' 'project(user C)' \
        'find_package(xavo 1 REQUIRED COMPONENTS companion simulator OPTIONAL_COMPONENTS nothing)' \
        'add_executable(first first.c)' 'target_link_libraries(first xavo::xavo)' \
        'add_executable(control control.c)' 'target_link_libraries(control xavo::companion xavo::simulator)' \
        'add_executable(quiet quiet.c)' 'target_link_libraries(quiet xavo::xavo xavo::simulator)' >CMakeLists.txt
    cmake -S . -B cmake -DCMAKE_PREFIX_PATH="$prefix" >/dev/null
    cmake --build cmake >/dev/null

    # Replaces the client library of a controller.
    printf '%s\n' '#include <stdio.h>' '#include <stdlib.h>' \
        'void cmciConnect(void) { puts("the real controller"); exit(0); }' \
        'void newCMPIObjectPath(void) {}' 'void native_new_CMPIArgs(void) {}' \
        'void native_new_CMPIArray(void) {}' 'void native_new_CMPIString(void) {}' >real.c
    mkdir real
    gcc -shared -fPIC real.c -Wl,-soname,libcmpisfcc.so.1 -o real/libcmpisfcc.so.1 \
        -Wl,--version-script=<(echo 'CMPISFCC_2.0 { cmciConnect; newCMPIObjectPath; native_*; };')
}

setup() { cd "$BATS_FILE_TMPDIR" || return; }

@test "the components together install every file" { expect_rows; }

@test "programs can be built with pkg-config and with CMake" { expect_rows; }

@test "the header with the codes and records is enough for C and C++" { expect_rows; }

@test "only xavo-simulate lets a program use the simulator" { expect_rows; }

@test "xavo-simulate precedes the search path of a program" { expect_rows; }

@test "a program that controls the simulator starts with no other library" { expect_rows; }

@test "a program can have its own log" { expect_rows; }

@test "a prefix may have a blank in its path, and no colon" { expect_rows; }

# make_capable FILE: gives a program a capability; fails without the permission to do so.
make_capable() {
    python3 -c 'import os, sys
os.setxattr(sys.argv[1], "security.capability", bytes.fromhex("0100000200200000" + 24 * "0"))' "$1" 2>/dev/null
}

@test "xavo-simulate rejects wrong use, and ends with the status of its program" { expect_rows; }

@test "the examples reject text that does not fit, and wrong use" {
    backup() { xavo-simulate ../backup 2 192.0.2.10 "$1" operator "$2" image "$3"; }
    expect_rows
}

@test "an event loop ends all calls, though workers hang and crash" { expect_rows; }

@test "bash-completion finds the completion, which asks the program" { expect_rows; }

@test "scenes and states can have relative names" { expect_rows; }

@test "each process reads a scene from its beginning, even from a pipe" { expect_rows; }

@test "the broker of a state can be restarted and ended" { expect_rows; }

@test "a state keeps its permissions" {
    unprivileged=()
    [[ $EUID != 0 ]] || unprivileged=(setpriv --bounding-set=-dac_override) # root obeys permissions, too
    expect_rows
}

@test "the units of the nightly backup are valid, confined, and reach the broker" { expect_rows; }

@test "the README's programs are the examples'" {
    cd "$root" || return
    local block blocks=0 found file
    while IFS= read -r -d '`' block; do
        [[ $block == c$'\n'* ]] || continue
        blocks=$((blocks + 1))
        found=0
        for file in examples/*.c examples/unit_test/*.c; do
            [[ $(<"$file")$'\n' != *"${block#c$'\n'}"* ]] || found=1
        done
        [[ $found == 1 ]] || fail "README.md: no example has this"$'\n'"$block"
    done <README.md
    [[ $blocks -ge 3 ]] || fail "README.md: $blocks blocks of C"
}

@test "the README's commands work as they are written" {
    awk '/^## / { ours = /A first program|A backup every night|Testing a program/ }
        /^```/ { code = !code }
        ours && !code && /^    /' "$root/README.md" >commands
    [[ $(wc -l <commands) -ge 12 ]] || fail "README.md: its commands are not where they were"
    cd "$root" || return
    rm -f build/controller
    run bash -euxo pipefail "$BATS_FILE_TMPDIR/commands"
    assert_success
    assert_output --partial 'InstanceID=JID_1'
    assert_output --partial 'JID_4: COMPLETED'
    assert_output --partial '100% tests passed'
}
