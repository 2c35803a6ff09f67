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
    # With a command, the first lists the jobs before it and after it on one connection, and then on a new one.
    cat >list.c <<'END'
#include <XAVO.h>
#include <stdlib.h>
static int list(XAVO_Proxy *sp) {
    XAVO_ErrorCode ec;
    XAVO_free_list_VELK_LifecycleJob(XAVO_enumerate_VELK_LifecycleJob(sp, &ec));
    puts(XAVO_EC_to_string(ec));
    return ec;
}
int main(int argc, char **argv) {
    if (argc > 1) {
        XAVO_Proxy *sp = XAVO_new();
        if (list(sp) != XAVO_NO_ERROR || system(argv[1]) != 0)
            return 1;
        list(sp);
        XAVO_free(sp);
    }
    return list(NULL);
}
END
    cat >control.c <<'END'
#include <XAVO.h>
#include <cimsim.h>
int main(int argc, char **argv) {
    XAVO_ErrorCode ec;
    if (argc > 1) { /* the broker of a state ends and starts again */
        int status = cimsim_use_state(argv[1]);
        cimsim_set_reachable(0);
        cimsim_set_reachable(1);
        return status;
    }
    cimsim_refuse_user("root01ff");
    XAVO_free_list_VELK_LifecycleJob(XAVO_enumerate_VELK_LifecycleJob(NULL, &ec));
    return ec == XAVO_PERMISSION_ERROR ? 0 : 1;
}
END
    ln -s list.c quiet.c
    compile xavo "${strict[@]}" list.c -o list
    for program in control quiet; do
        compile xavo-simulator "${strict[@]}" $program.c -o $program
    done
    printf '%s\n' 'cmake_minimum_required(VERSION 3.21)' 'project(user C)' \
        'find_package(xavo 1 REQUIRED COMPONENTS simulator OPTIONAL_COMPONENTS nothing)' \
        'add_executable(list list.c)' 'target_link_libraries(list xavo::xavo)' \
        'add_executable(control control.c)' 'target_link_libraries(control xavo::xavo xavo::simulator)' \
        'add_executable(quiet quiet.c)' 'target_link_libraries(quiet xavo::xavo xavo::simulator)' >CMakeLists.txt
    cmake -S . -B cmake -DCMAKE_PREFIX_PATH="$prefix" >/dev/null
    cmake --build cmake >/dev/null

    # Replaces the client library of a controller.
    cat >real.c <<'END'
#include <stdio.h>
#include <stdlib.h>
void cmciConnect(void) {
    puts("the real controller");
    exit(0);
}
END
    printf 'void %s(void) {}\n' newCMPIObjectPath native_new_CMPI{Args,Array,String} >>real.c
    mkdir real
    gcc -shared -fPIC real.c -Wl,-soname,libcmpisfcc.so.1 -o real/libcmpisfcc.so.1 \
        -Wl,--version-script=<(echo 'CMPISFCC_2.0 { cmciConnect; newCMPIObjectPath; native_*; };')

    for name in first job_queue backup; do
        compile xavo "${strict[@]}" "$prefix/share/doc/libxavo/examples/$name.c" -o $name
    done
}

setup() { cd "$BATS_FILE_TMPDIR" || return; }

@test "the components together install every file" {
    for component in library companion platform development tools simulator; do
        (cd $component && find . ! -type d)
    done | sort | diff --label "the components" --label "the whole" - whole
}

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

@test "a program connects again after its broker was restarted or did not run" { expect_rows; }

@test "a state keeps its permissions" {
    unprivileged=()
    [[ $EUID != 0 ]] || unprivileged=(setpriv --bounding-set=-dac_override) # root obeys permissions, too
    expect_rows
}

# No systemd runs here. Brokers have their socket in /tmp, and look at the user who connects to it.
@test "the units of the nightly backup are valid, confined, and reach the broker (the unit is not started)" {
    local configured
    configured=$(sed -n 's/^CMAKE_INSTALL_PREFIX:.*=//p' "$XAVO_BUILD/CMakeCache.txt")
    mkdir units
    sed "s|=$configured/|=$prefix/|" "$prefix/lib/systemd/system/xavo-backup@.service" >units/xavo-backup@.service
    cp "$prefix/lib/systemd/system/xavo-backup@.timer" units
    run -0 systemd-analyze verify --man=no units/xavo-backup@.service units/xavo-backup@.timer
    assert_output ''
    run -0 systemd-analyze security --offline=true --threshold=30 units/xavo-backup@.service
    run -1 grep -E '^(PrivateTmp|PrivateUsers|DynamicUser|RemainAfterExit)=' units/xavo-backup@.service
    run -0 grep -E '^(Type=oneshot|ReadWritePaths=/tmp .*|RestrictAddressFamilies=AF_UNIX)$' units/xavo-backup@.service
    assert_equal "${#lines[@]}" 3
}

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
