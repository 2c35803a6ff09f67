# installed.bats - what a build with the simulator installs, used as a program's author would; the README's code and
# commands, and what the examples refuse.
# shellcheck shell=bash disable=SC2016,SC2154
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

    # A program, one that steers the simulator, and one that is linked to it and calls nothing of it.
    cat >list.c <<'END'
#include <XAVO.h>
int main(void) {
    XAVO_ErrorCode ec;
    XAVO_free_list_VELK_LifecycleJob(XAVO_enumerate_VELK_LifecycleJob(NULL, &ec));
    puts(XAVO_EC_to_string(ec));
    return ec;
}
END
    cat >steer.c <<'END'
#include <XAVO.h>
#include <cimsim.h>
int main(void) {
    XAVO_ErrorCode ec;
    cimsim_refuse_user("root01ff");
    XAVO_free_list_VELK_LifecycleJob(XAVO_enumerate_VELK_LifecycleJob(NULL, &ec));
    return ec == XAVO_PERMISSION_ERROR ? 0 : 1;
}
END
    ln -s list.c quiet.c
    compile xavo "${strict[@]}" list.c -o list
    for program in steer quiet; do
        compile xavo-simulator "${strict[@]}" $program.c -o $program
    done
    printf '%s\n' 'cmake_minimum_required(VERSION 3.21)' 'project(user C)' \
        'find_package(xavo 1 REQUIRED COMPONENTS simulator OPTIONAL_COMPONENTS nothing)' \
        'add_executable(list list.c)' 'target_link_libraries(list xavo::xavo)' \
        'add_executable(steer steer.c)' 'target_link_libraries(steer xavo::xavo xavo::simulator)' \
        'add_executable(quiet quiet.c)' 'target_link_libraries(quiet xavo::xavo xavo::simulator)' >CMakeLists.txt
    cmake -S . -B cmake -DCMAKE_PREFIX_PATH="$prefix" >/dev/null
    cmake --build cmake >/dev/null

    # What stands for the controller's own client library.
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

@test "the components are the whole" {
    for component in library companion platform development tools simulator; do
        (cd $component && find . ! -type d)
    done | sort | diff --label "the components" --label "the whole" - whole
}

@test "programs are built by pkg-config and by CMake" {
    for program in {.,cmake}/{steer,quiet}; do
        expect 0 "" "$program"
    done
    mkdir none
    sed 's/COMPONENTS simulator.*/COMPONENTS nothing)/' CMakeLists.txt >none/CMakeLists.txt
    expect 1 "xavo::nothing is not installed" cmake -S none -B none -DCMAKE_PREFIX_PATH="$prefix"
}

# Where no header of the client library is found.
@test "the codes and records alone, in C and C++" {
    cat >types.c <<'END'
#include <XAVO_types.h>
XAVO_BAR_INPUT_DATA image;
int main(void) { return XAVO_VERSION_MAJOR == 1 && image.shareType == XAVO_NO_ERROR ? 0 : 1; }
END
    gcc "${strict[@]}" -I"$prefix/include" types.c -o types
    gcc -x c++ -std=c++17 "${strict[@]:1}" -I"$prefix/include" types.c -o types
}

@test "only xavo-simulate brings a program to the simulator" {
    expect 127 "libcmpisfcc.so.1: cannot open" env LD_LIBRARY_PATH="$prefix/lib" ./list
    expect 127 "libcmpisfcc.so.1: cannot open" cmake/list
    ln -s "$prefix/bin/xavo-simulate" simulate
    for program in ./list cmake/list list; do
        expect 0 NO_ERROR env PATH="$PWD:$PATH" ./simulate $program
    done
    expect 0 NO_ERROR xavo-simulate sh -c ./list # what the program starts, too
    expect 3 PERMISSION_ERROR env CIMSIM_SCENE=refuse=root01ff xavo-simulate ./list
}

@test "a program with a search path of its own" {
    compile xavo list.c -Wl,--no-as-needed -L"$prefix/lib/xavo-simulator" -lcmpisfcc \
        -Wl,--disable-new-dtags,-rpath,"$PWD/real:$prefix/lib" -o stubborn
    expect 0 "the real controller" env LD_LIBRARY_PATH="$prefix/lib/xavo-simulator" ./stubborn
    expect 0 NO_ERROR xavo-simulate ./stubborn
}

@test "what steers the simulator starts on no other library" {
    for program in {.,cmake}/{steer,quiet}; do
        expect 1 "version \`CIMSIM_1' not found" env LD_LIBRARY_PATH=real "$program"
    done
    expect 0 "" env LD_LIBRARY_PATH=real xavo-simulate ./steer
}

# In the program, in a library linked before libxavo, and preloaded.
@test "a log of the program's own" {
    cat >log.c <<'END'
#include <hulmprintf.h>
#include <stdio.h>
void hulmprintf(int level, int module, const char *format, ...) {
    printf("own log: %d %d %s", level, module, format);
}
END
    compile xavo "${strict[@]}" -fvisibility=hidden -rdynamic list.c log.c -o logging
    compile xavo "${strict[@]}" -fvisibility=hidden -shared -fPIC log.c -o liblog.so
    compile xavo list.c -Wl,--no-as-needed ./liblog.so -o linked
    for program in ./logging ./linked "env LD_PRELOAD=./liblog.so ./list"; do
        # shellcheck disable=SC2086
        expect 8 "own log: 2 5 " env CIMSIM_SCENE=unreachable xavo-simulate $program
    done
}

@test "a prefix with a blank or a colon in its path" {
    cp -r "$prefix" "a b"
    cp -r "$prefix" "a:b"
    expect 0 NO_ERROR "a b/bin/xavo-simulate" ./list
    expect 0 JID_1 "a b/bin/xavo-simulate" "a b/bin/xavoctl" jobs
    expect 2 "a:b/lib/xavo-simulator has a character in it that separates folders" "a:b/bin/xavo-simulate" ./list
    local flags
    flags=$(PKG_CONFIG_PATH="$PWD/a b/lib/pkgconfig" pkg-config --cflags --libs xavo-simulator)
    eval "gcc list.c $flags -o blank"
    expect 0 NO_ERROR ./blank
    cmake -S . -B blanks -DCMAKE_PREFIX_PATH="$PWD/a b" >/dev/null
    cmake --build blanks >/dev/null
    expect 0 "" blanks/steer
}

@test "what xavo-simulate refuses, and the status it ends with" {
    install -m 4755 list suid
    expect 2 "it would use the real controller" xavo-simulate ./suid
    cp list capable
    local capability='import os
os.setxattr("capable", "security.capability", bytes.fromhex("0100000200200000" + 24 * "0"))'
    if python3 -c "$capability" 2>/dev/null; then # needs root
        expect 2 "it would use the real controller" xavo-simulate ./capable
    fi
    cp -r "$prefix" incomplete
    rm incomplete/lib/xavo-simulator/has-capabilities
    expect 2 "has-capabilities cannot be run (status 127)" incomplete/bin/xavo-simulate ./list
    expect 2 "usage: xavo-simulate" xavo-simulate
    expect 2 "no option --nothing" xavo-simulate --nothing ./list
    expect 0 "usage: xavo-simulate" xavo-simulate --help
    expect 127 "nothing: no such program" xavo-simulate nothing
    expect 7 "a b" xavo-simulate -- sh -c 'echo "$1"; exit 7' sh "a b"
}

# A text that does not fit a record's buffer is refused, a secret above all; wrong use changes nothing.
@test "what the examples refuse" {
    local long
    long=$(printf '%065d' 0)
    echo "${long%0}" >fits
    echo "$long" >long
    printf 'sec\0ret\n' >zero
    : >empty
    backup() { xavo-simulate ./backup 2 192.0.2.10 "$1" operator "$2" image "$3"; }
    expect 1 "test the share: INVALID_VALUE" backup backups fits NOW
    expect 2 "backup.passwd: long has a first line that is too long; 64 bytes fit" backup backups long NOW
    expect 2 "zero has a zero byte" backup backups zero NOW
    expect 2 "empty has an empty first line" backup backups empty NOW
    expect 2 "nothing: No such file" backup backups nothing NOW
    expect 2 "backup.startTime: the text has 65 bytes, 32 fit" backup backups fits "$long"
    expect 2 usage xavo-simulate ./backup
    expect 2 usage xavo-simulate ./job_queue delete
    expect 1 "fetch JID_9: NOT_FOUND" xavo-simulate ./job_queue delete JID_1 JID_9
    expect 0 JID_1 xavo-simulate ./job_queue
}

# As bash-completion finds it: it offers what the program knows, and nothing without the program.
@test "the completion" {
    local complete=(bash -c
        'source "$0" || exit; COMP_WORDS=(xavoctl re) COMP_CWORD=1; _xavoctl; echo "${COMPREPLY[*]}"'
        "$prefix/share/bash-completion/completions/xavoctl")
    expect 0 "restore reboot" xavo-simulate "${complete[@]}"
    expect 1 "" env PATH=/usr/bin:/bin "${complete[@]}"
}

@test "scenes and states by relative names" {
    mkdir named && cd named || return
    echo 'refuse root01ff' >scene
    echo 'job' >mistake
    expect 3 PERMISSION_ERROR xavo-simulate --scene scene ../list
    expect 2 "mistake:1: " xavo-simulate --scene mistake ../list
    expect 2 "nothing: there is no such file" xavo-simulate --scene nothing ../list
    expect 2 "..: it is a folder" xavo-simulate --scene .. ../list
    expect 0 "delete JID_1: NO_ERROR" xavo-simulate --state state ../job_queue delete JID_1
    expect 1 "fetch JID_1: NOT_FOUND" xavo-simulate --state "$PWD/state" ../job_queue delete JID_1
    expect 3 PERMISSION_ERROR xavo-simulate --state refusing --scene scene ../list
    expect 3 PERMISSION_ERROR xavo-simulate --state refusing ../list
    expect 2 "nothing/state: there is no such folder" xavo-simulate --state nothing/state ../list
    expect 2 "--state needs a file" xavo-simulate --state
    mkfifo pipe
    expect 8 "pipe: it is not a regular file" xavo-simulate --state pipe ../list
    expect 2 "--restart needs the file of a state" xavo-simulate --restart
    expect 2 "new: there is no such state" xavo-simulate --state new --restart
    expect 2 "--restart takes no program" xavo-simulate --state state --restart ../list
    expect 1 "mistake:1: " xavo-simulate --state mistake --restart
}

# Each process reads it from its beginning.
@test "a scene that can be read once only" {
    mkdir once && cd once || return
    echo 'refuse root01ff' >scene
    mkfifo pipe
    printf '%s\n' '#!/bin/sh' '../list </dev/null || ../list' >twice
    chmod +x twice
    local refused=$'PERMISSION_ERROR\nPERMISSION_ERROR'
    cat scene >pipe &
    expect 3 "$refused" xavo-simulate --scene pipe ./twice
    expect 3 "$refused" xavo-simulate --scene <(cat scene) ./twice
    expect 3 "$refused" xavo-simulate --scene /dev/stdin ./twice < <(cat scene)
    expect 3 "$refused" xavo-simulate --scene /dev/stdin ./twice <scene
    printf '%s\n' '#!/bin/bash' 'exec 9>lockfile; flock 9; exec ./twice' >locks # and uses any descriptor
    chmod +x locks
    expect 3 "$refused" xavo-simulate --scene <(cat scene) ./locks
    expect 2 ':1: there is no statement "nonsense"' xavo-simulate --scene <(echo nonsense) ../list
    expect 2 "less than 100,000 bytes" xavo-simulate --scene <(printf '#%0100000d' 0) ../list
}

@test "a broker that restarts, goes and comes, or stays away" {
    mkdir restarted && cd restarted || return
    cat >restart.c <<'END'
#include <XAVO.h>
#include <stdlib.h>
static void list(XAVO_Proxy *sp) {
    XAVO_ErrorCode ec;
    XAVO_free_list_VELK_LifecycleJob(XAVO_enumerate_VELK_LifecycleJob(sp, &ec));
    puts(XAVO_EC_to_string(ec));
}
int main(int argc, char **argv) {
    XAVO_Proxy *sp = XAVO_new();
    list(sp);
    if (system(argv[argc - 1]) != 0)
        puts("no restart");
    list(sp);
    XAVO_free(sp);
    list(NULL);
    return 0;
}
END
    cat >gone.c <<'END'
#include <cimsim.h>
#include <stdlib.h>
int main(void) {
    int status = cimsim_use_state(getenv("CIMSIM_STATE"));
    cimsim_set_reachable(0);
    cimsim_set_reachable(1);
    return status;
}
END
    compile xavo "${strict[@]}" restart.c -o restart
    compile xavo-simulator "${strict[@]}" gone.c -o gone
    restart() { HULM_LEVEL=0 xavo-simulate --state state ./restart "$1"; }
    expect 0 $'NO_ERROR\nUNKNOWN_ERROR\nNO_ERROR' restart "xavo-simulate --state state --restart"
    expect 0 $'NO_ERROR\nUNKNOWN_ERROR\nNO_ERROR' restart ./gone
    expect 0 $'NO_ERROR\nUNKNOWN_ERROR\nUNABLE' restart "echo unreachable >>state"
}

# Through a link, too; one that may not be written is left alone.
@test "a state keeps its permissions" {
    mkdir permissions && cd permissions || return
    ln -s kept link
    expect 0 JID_1 xavo-simulate --state link ../job_queue
    chmod 640 kept
    expect 0 NO_ERROR xavo-simulate --state link ../job_queue delete JID_1
    expect 0 "640 -rw-r-----" stat -c '%a %A' kept
    expect 0 kept readlink link
    expect 1 "JID_1: NOT_FOUND" xavo-simulate --state kept ../job_queue delete JID_1
    chmod 440 kept
    local common=()
    [[ $EUID != 0 ]] || common=(setpriv --bounding-set=-dac_override) # permissions hold for root, too
    expect 1 "delete JID_2: UNKNOWN_ERROR" "${common[@]}" xavo-simulate --state kept ../job_queue delete JID_2
    expect 0 JID_2 "${common[@]}" xavo-simulate --state kept ../job_queue
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

# In a shell with a state, as the README has it before: its tests leave that one alone.
@test "the README's commands, as they stand" {
    awk '/^## / { ours = /A first program|A backup every night|Testing a program/ }
        /^```/ { code = !code }
        ours && !code && /^    /' "$root/README.md" >commands
    [[ $(wc -l <commands) -ge 12 ]] || fail "README.md: its commands are not where they were"
    cd "$root" || return
    CIMSIM_STATE=$BATS_FILE_TMPDIR/session run bash -euxo pipefail "$BATS_FILE_TMPDIR/commands"
    assert_success
    assert_output --partial 'InstanceID=JID_1'
    assert_output --partial 'JID_4: COMPLETED'
    assert_output --partial '100% tests passed'
    grep '^job "JID_4" .*task="backup"' "$BATS_FILE_TMPDIR/session"
}
