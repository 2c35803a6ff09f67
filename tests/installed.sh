#!/usr/bin/env bash
# tests/installed.sh BUILD - what a build with the simulator installs, used as a program's author would; the
# README's code and commands, and what the examples refuse.
# shellcheck source=scripts/common
source "$(dirname "$0")/../scripts/common"

build=$PWD/$1
source=$PWD
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

# Components go to places of their own, and whatever is installed can be moved.
cmake --install "$build" --prefix "$work/first" >/dev/null
(cd "$work/first" && find . ! -type d | sort) >"$work/whole"
for component in library companion platform development tools simulator; do
    cmake --install "$build" --component $component --prefix "$work/$component" >/dev/null
    (cd "$work/$component" && find . ! -type d)
done | sort | diff --label "the components" --label "the whole" - "$work/whole"
prefix=$work/prefix
mv "$work/first" "$prefix"
export PKG_CONFIG_PATH=$prefix/lib/pkgconfig PATH=$prefix/bin:$PATH

# expect STATUS TEXT COMMAND...: the command ends with this status, and TEXT is in what it prints.
expect() {
    local status=0
    "${@:3}" >"$work/out" 2>&1 || status=$?
    [[ $status == "$1" && $(<"$work/out") == *"$2"* ]] ||
        die "wanted status $1 and \"$2\", got $status from: ${*:3}"$'\n'"$(<"$work/out")"
}

# A program, and one that steers the simulator.
cat >"$work/list.c" <<'END'
#include <XAVO.h>
int main(void) {
    XAVO_ErrorCode ec;
    XAVO_free_list_VELK_LifecycleJob(XAVO_enumerate_VELK_LifecycleJob(NULL, &ec));
    puts(XAVO_EC_to_string(ec));
    return ec;
}
END
cat >"$work/steer.c" <<'END'
#include <XAVO.h>
#include <cimsim.h>
int main(void) {
    XAVO_ErrorCode ec;
    cimsim_refuse_user("root01ff");
    XAVO_free_list_VELK_LifecycleJob(XAVO_enumerate_VELK_LifecycleJob(NULL, &ec));
    return ec == XAVO_PERMISSION_ERROR ? 0 : 1;
}
END
# The codes and records alone, where no header of the client library is found.
cat >"$work/types.c" <<'END'
#include <XAVO_types.h>
XAVO_BAR_INPUT_DATA image;
int main(void) { return XAVO_VERSION_MAJOR == 1 && image.shareType == XAVO_NO_ERROR ? 0 : 1; }
END
cd "$work"
ln -s list.c quiet.c # is linked to the simulator and calls nothing of it
strict=(-std=c99 -Wall -Wextra -Wpedantic -Werror)
gcc "${strict[@]}" -I"$prefix/include" types.c -o types
gcc -x c++ -std=c++17 -Wall -Wextra -Wpedantic -Werror -I"$prefix/include" types.c -o types
# shellcheck disable=SC2046
{
    gcc "${strict[@]}" list.c $(pkg-config --cflags --libs xavo) -o list
    for program in steer quiet; do
        gcc "${strict[@]}" $program.c $(pkg-config --cflags --libs xavo-simulator) -o $program
    done
}
printf '%s\n' 'cmake_minimum_required(VERSION 3.21)' 'project(user C)' \
    'find_package(xavo 1 REQUIRED COMPONENTS simulator OPTIONAL_COMPONENTS nothing)' \
    'add_executable(list list.c)' 'target_link_libraries(list xavo::xavo)' \
    'add_executable(steer steer.c)' 'target_link_libraries(steer xavo::xavo xavo::simulator)' \
    'add_executable(quiet quiet.c)' 'target_link_libraries(quiet xavo::xavo xavo::simulator)' >CMakeLists.txt
cmake -S . -B cmake -DCMAKE_PREFIX_PATH="$prefix" >/dev/null
cmake --build cmake >/dev/null
for program in {.,cmake}/{steer,quiet}; do
    expect 0 "" "$program"
done
mkdir none
sed 's/COMPONENTS simulator.*/COMPONENTS nothing)/' CMakeLists.txt >none/CMakeLists.txt
expect 1 "xavo::nothing is not installed" cmake -S none -B none -DCMAKE_PREFIX_PATH="$prefix"

# Only xavo-simulate brings a program to the simulator: by itself it looks for the controller's own library.
expect 127 "libcmpisfcc.so.1: cannot open" env LD_LIBRARY_PATH="$prefix/lib" ./list
expect 127 "libcmpisfcc.so.1: cannot open" cmake/list
ln -s "$prefix/bin/xavo-simulate" simulate
for program in ./list cmake/list list; do
    expect 0 NO_ERROR env PATH="$work:$PATH" ./simulate $program
done
expect 0 NO_ERROR xavo-simulate sh -c ./list # what the program starts, too
expect 3 PERMISSION_ERROR env CIMSIM_SCENE=refuse=root01ff xavo-simulate ./list

# A program with a search path of its own, which leads to what stands for the controller's library.
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
# shellcheck disable=SC2046
gcc list.c $(pkg-config --cflags --libs xavo) -Wl,--no-as-needed -L"$prefix/lib/xavo-simulator" -lcmpisfcc \
    -Wl,--disable-new-dtags,-rpath,"$work/real:$prefix/lib" -o stubborn
expect 0 "the real controller" env LD_LIBRARY_PATH="$prefix/lib/xavo-simulator" ./stubborn
expect 0 NO_ERROR xavo-simulate ./stubborn
# What steers the simulator does not start on another library.
for program in {.,cmake}/{steer,quiet}; do
    expect 1 "version \`CIMSIM_1' not found" env LD_LIBRARY_PATH=real "$program"
done
expect 0 "" env LD_LIBRARY_PATH=real xavo-simulate ./steer

# A log of the program's own: in the program, in a library linked before libxavo, and preloaded.
cat >log.c <<'END'
#include <hulmprintf.h>
#include <stdio.h>
void hulmprintf(int level, int module, const char *format, ...) {
    printf("own log: %d %d %s", level, module, format);
}
END
flags=$(pkg-config --cflags --libs xavo)
# shellcheck disable=SC2086
{
    gcc "${strict[@]}" -fvisibility=hidden -rdynamic list.c log.c $flags -o logging
    gcc "${strict[@]}" -fvisibility=hidden -shared -fPIC log.c $flags -o liblog.so
    gcc list.c -Wl,--no-as-needed ./liblog.so $flags -o linked
}
for program in ./logging ./linked "env LD_PRELOAD=./liblog.so ./list"; do
    # shellcheck disable=SC2086
    expect 8 "own log: 2 5 " env CIMSIM_SCENE=unreachable xavo-simulate $program
done

# Prefixes whose path is no plain word.
cp -r "$prefix" "a b"
cp -r "$prefix" "a:b"
expect 0 NO_ERROR "a b/bin/xavo-simulate" ./list
expect 0 JID_1 "a b/bin/xavo-simulate" "a b/bin/xavoctl" jobs
expect 2 "a:b/lib/xavo-simulator has a character in it that separates folders" "a:b/bin/xavo-simulate" ./list
eval "gcc list.c $(PKG_CONFIG_PATH="$work/a b/lib/pkgconfig" pkg-config --cflags --libs xavo-simulator) -o blank"
expect 0 NO_ERROR ./blank
cmake -S . -B blanks -DCMAKE_PREFIX_PATH="$work/a b" >/dev/null
cmake --build blanks >/dev/null
expect 0 "" blanks/steer

# The errors of xavo-simulate itself, and the exit status of what it runs.
install -m 4755 list suid
expect 2 "it would meet the real controller" xavo-simulate ./suid
cp list capable
capability='import os; os.setxattr("capable", "security.capability", bytes.fromhex("0100000200200000" + 24 * "0"))'
if python3 -c "$capability" 2>/dev/null; then # needs root
    expect 2 "it would meet the real controller" xavo-simulate ./capable
fi
expect 2 "usage: xavo-simulate" xavo-simulate
expect 2 "no option --nothing" xavo-simulate --nothing ./list
expect 0 "usage: xavo-simulate" xavo-simulate --help
expect 127 "nothing: no such program" xavo-simulate nothing
# shellcheck disable=SC2016
expect 7 "a b" xavo-simulate -- sh -c 'echo "$1"; exit 7' sh "a b"

# What does not fit a record's buffer is refused, a secret above all; wrong use changes nothing.
examples=$prefix/share/doc/libxavo/examples
for name in first job_queue backup; do
    # shellcheck disable=SC2046
    gcc "${strict[@]}" "$examples/$name.c" $(pkg-config --cflags --libs xavo) -o $name
done
long=$(printf '%065d' 0)
echo "${long%0}" >fits
echo "$long" >long
printf 'sec\0ret\n' >zero
: >empty
backup() { xavo-simulate ./backup 2 192.0.2.10 "$1" operator "$2" image "$3"; }
expect 1 "test the share: INVALID_VALUE" backup backups fits NOW
expect 2 "backup.passwd: long is too long in its first line; 64 bytes fit" backup backups long NOW
expect 2 "zero has a zero byte" backup backups zero NOW
expect 2 "empty has nothing" backup backups empty NOW
expect 2 "nothing: No such file" backup backups nothing NOW
expect 2 "backup.startTime: 65 bytes are too many, 32 fit" backup backups fits "$long"
expect 2 usage xavo-simulate ./backup
expect 2 usage xavo-simulate ./job_queue delete
expect 1 "fetch JID_9: NOT_FOUND" xavo-simulate ./job_queue delete JID_1 JID_9
expect 0 JID_1 xavo-simulate ./job_queue

# The completion, as bash-completion finds it: it offers what the program knows, and nothing without the program.
# shellcheck disable=SC2016
complete=(bash -c 'source "$0" || exit; COMP_WORDS=(xavoctl re) COMP_CWORD=1; _xavoctl; echo "${COMPREPLY[*]}"'
    "$prefix/share/bash-completion/completions/xavoctl")
expect 0 "restore reboot" xavo-simulate "${complete[@]}"
expect 1 "" env PATH=/usr/bin:/bin "${complete[@]}"

# Scenes and states, by names that are relative to where one is.
echo 'refuse root01ff' >scene
echo 'job' >mistake
expect 3 PERMISSION_ERROR xavo-simulate --scene scene ./list
expect 2 "mistake:1: " xavo-simulate --scene mistake ./list
expect 2 "nothing: there is no such file" xavo-simulate --scene nothing ./list
expect 2 "real: it is a folder" xavo-simulate --scene real ./list
# One that can be read once only: each process reads it from its beginning.
mkfifo pipe
printf '%s\n' '#!/bin/sh' './list </dev/null || ./list' >twice
chmod +x twice
cat scene >pipe &
refused=$'PERMISSION_ERROR\nPERMISSION_ERROR'
expect 3 "$refused" xavo-simulate --scene pipe ./twice
expect 3 "$refused" xavo-simulate --scene <(cat scene) ./twice
expect 3 "$refused" xavo-simulate --scene /dev/stdin ./twice < <(cat scene)
expect 3 "$refused" xavo-simulate --scene /dev/stdin ./twice <scene
expect 2 ":1: there is no statement \"nonsense\"" xavo-simulate --scene <(echo nonsense) ./list
expect 0 "delete JID_1: NO_ERROR" xavo-simulate --state state ./job_queue delete JID_1
expect 1 "fetch JID_1: NOT_FOUND" xavo-simulate --state "$work/state" ./job_queue delete JID_1
expect 3 PERMISSION_ERROR xavo-simulate --state refusing --scene scene ./list
expect 3 PERMISSION_ERROR xavo-simulate --state refusing ./list
expect 2 "nothing/state: there is no such folder" xavo-simulate --state nothing/state ./list
expect 2 "--state needs a file" xavo-simulate --state
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
# shellcheck disable=SC2046
gcc "${strict[@]}" restart.c $(pkg-config --cflags --libs xavo) -o restart
expect 0 $'NO_ERROR\nUNKNOWN_ERROR\nNO_ERROR' env HULM_LEVEL=0 \
    xavo-simulate --state state ./restart "xavo-simulate --state state --restart"
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
# shellcheck disable=SC2046
gcc "${strict[@]}" gone.c $(pkg-config --cflags --libs xavo-simulator) -o gone
expect 0 $'NO_ERROR\nUNKNOWN_ERROR\nNO_ERROR' env HULM_LEVEL=0 xavo-simulate --state state ./restart ./gone
expect 0 $'NO_ERROR\nUNKNOWN_ERROR\nUNABLE' env HULM_LEVEL=0 \
    xavo-simulate --state state ./restart "echo unreachable >>state"
# A state keeps its permissions, through a link, too; what may not be written or is no file is left alone.
ln -s kept linked_state
expect 0 JID_1 xavo-simulate --state linked_state ./job_queue
chmod 640 kept
expect 0 NO_ERROR xavo-simulate --state linked_state ./job_queue delete JID_1
expect 0 "640 -rw-r-----" stat -c '%a %A' kept
expect 0 kept readlink linked_state
expect 1 "JID_1: NOT_FOUND" xavo-simulate --state kept ./job_queue delete JID_1
chmod 440 kept
common=()
[[ $EUID != 0 ]] || common=(setpriv --bounding-set=-dac_override) # permissions hold for root, too
expect 1 "delete JID_2: UNKNOWN_ERROR" "${common[@]}" xavo-simulate --state kept ./job_queue delete JID_2
expect 0 JID_2 "${common[@]}" xavo-simulate --state kept ./job_queue
expect 8 "pipe: it is no regular file" xavo-simulate --state pipe ./list
expect 2 "--restart needs the file of a state" xavo-simulate --restart
expect 2 "new: there is no such state" xavo-simulate --state new --restart
expect 2 "--restart takes no program" xavo-simulate --state state --restart ./list
expect 1 "mistake:1: " xavo-simulate --state mistake --restart

# The README: its code is the examples', and its commands do what they are there for, as they stand.
cd "$source"
blocks=0
while IFS= read -r -d '`' block; do
    [[ $block == c$'\n'* ]] || continue
    blocks=$((blocks + 1))
    found=0
    for file in examples/*.c examples/unit_test/*.c; do
        [[ $(<"$file")$'\n' != *"${block#c$'\n'}"* ]] || found=1
    done
    [[ $found == 1 ]] || die "README.md: no example has this"$'\n'"$block"
done <README.md
[[ $blocks -ge 3 ]] || die "README.md: $blocks blocks of C"
awk '/^## / { ours = /A first program|A backup every night|Testing a program/ } /^```/ { code = !code } ours && !code && /^    /' README.md >"$work/commands"
[[ $(wc -l <"$work/commands") -ge 12 ]] || die "README.md: its commands are not where they were"
# In a shell with a state, as the README has it before: its tests leave that one alone.
export CIMSIM_STATE=$work/session
bash -euxo pipefail "$work/commands" >"$work/out" 2>&1 || die "README.md: its commands fail"$'\n'"$(<"$work/out")"
grep -q 'InstanceID=JID_1' "$work/out"
grep -q 'JID_4: COMPLETED' "$work/out"
grep -q '100% tests passed' "$work/out"
grep -q '^job "JID_4" .*task="backup"' "$work/session"

headline "installed: passed"
