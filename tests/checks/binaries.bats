# binaries.bats - the built libraries and programs: the functions that they export, the libraries that they link, and
# how they are hardened.
# shellcheck shell=bash disable=SC2154
load common

setup() {
    # shellcheck source=scripts/elf
    source "$root/scripts/elf"
    cd "$root" || return
    libxavo=$XAVO_BUILD/libxavo/libxavo.so
    companion=$XAVO_BUILD/companion/libxavo_companion.so
    platform=$XAVO_BUILD/platform/libxavo_platform.so
    tool=$XAVO_BUILD/tools/xavoctl
    worker=$XAVO_BUILD/companion/xavo/1/xavo-worker
}

# declared HEADER: the functions that it declares, sorted, without those of the headers that it includes.
declared() {
    gcc -E -Isimulator/include -Ilibxavo/include "$1" |
        awk -v name="${1##*/}" '/^# [0-9]+ "/ { ours = index($0, "/" name "\""); next } ours' |
        grep -oE '\bXAVO_[A-Za-z0-9_]+ *\(' | tr -d ' (' | sort -u
}

# exports LIBRARY VERSION-SCRIPT HEADER NODE: checks that the library exports the functions that its header declares and
# its version script lists, each under a node whose name begins with NODE.
exports() {
    assert_equal "$(exported "$1")" "$(sed -n 's/^ *\(XAVO_[A-Za-z0-9_]*\);$/\1/p' "$2" | sort)"
    assert_equal "$(exported "$1")" "$(declared "$3")"
    assert_equal "$(nm --dynamic --defined-only "$1" | grep -c " T .*@@$4[0-9.]*$")" "$(exported "$1" | wc -l)"
}

@test "libxavo and the companion export the functions that their headers declare, and no others" {
    exports "$libxavo" libxavo/libxavo.map libxavo/include/XAVO.h XAVO_
    exports "$companion" companion/libxavo_companion.map companion/include/XAVO_companion.h XAVO_COMPANION_
}

@test "each function that reports through an error code has a row in the tests" {
    local function functions
    functions=$(tr '\n' ' ' <libxavo/include/XAVO.h |
        grep -oE '\bXAVO_\w+\([^();]*XAVO_ErrorCode \*[^();]*\);' | sed 's/(.*//')
    [[ $functions ]] || fail "no function of XAVO.h reports through an error code"
    for function in $functions; do
        ! grep -q "^ *$function;" libxavo/libxavo.map || grep -q "[^_[:alnum:]]$function(" tests/operations.cpp ||
            fail "$function has no row in tests/operations.cpp"
    done
}

# The tests make these functions fail; memory from another function would not be tested.
@test "libxavo allocates by three functions" {
    assert_equal "$(nm --dynamic --undefined-only "$libxavo" | sed 's/.* U //; s/@.*//' |
        grep -E 'alloc|dup|memalign|asprintf|^_Zn|getline|getdelim|memstream|va_cat' | sort | paste -sd' ')" \
        "calloc strdup utl_va_cat"
}

@test "the libraries and xavoctl link only the libraries that they need" {
    assert_equal "$(needed "$libxavo")" "libc.so.6 libcmpisfcc.so.1 libxavo_platform.so.1"
    assert_equal "$(needed "$companion")" "libc.so.6"
    assert_equal "$(needed "$tool" | sed 's/ld-linux[^ ]* //')" "libc.so.6 libxavo_companion.so.1"
}

# One entry is the C run-time's own; a second would be a static constructor.
@test "the libraries have no static constructors" {
    local library
    for library in "$libxavo" "$companion"; do
        run -0 readelf --dynamic --wide "$library"
        assert_line --regexp "INIT_ARRAYSZ\) +$(($(getconf LONG_BIT) / 8)) "
    done
}

@test "the libraries are hardened" {
    local library
    for library in "$libxavo" "$companion" "$platform"; do
        run -0 readelf --dyn-syms --wide "$library"
        assert_output --partial ' __stack_chk_fail@'
        # The companion calls no function that has a fortified form.
        [[ $library == "$companion" ]] || assert_line --regexp ' __[a-z]+_chk@'
        run -0 readelf --segments --dynamic --wide "$library"
        assert_output --partial GNU_RELRO
        assert_line --regexp 'FLAGS.*NOW'
        assert_line --regexp 'GNU_STACK .* RW '
        refute_output --partial TEXTREL
    done
}

# hardened_within BYTES PROGRAM
hardened_within() {
    local size
    run -0 readelf --segments --dynamic --wide "$2"
    assert_output --partial 'Flags: NOW PIE'
    strip -o "$BATS_TEST_TMPDIR/stripped" "$2"
    size=$(stat --format=%s "$BATS_TEST_TMPDIR/stripped")
    ((size <= $1)) || fail "$2: $size bytes, stripped"
}

@test "xavoctl and the worker are hardened, and do not exceed their sizes" {
    hardened_within 204800 "$tool"
    hardened_within 65536 "$worker"
}

@test "the companion's code and constants take at most 24 KiB" {
    [[ $(uname -m) == x86_64 ]] || skip "the limit is for 64-bit x86"
    cmake --preset minsize -B "$BATS_TEST_TMPDIR/build" >/dev/null
    cmake --build "$BATS_TEST_TMPDIR/build" --target xavo_companion >/dev/null
    local library=$BATS_TEST_TMPDIR/build/companion/libxavo_companion.so text
    strip --strip-unneeded "$library"
    read -r text _ < <(size "$library" | tail -n 1)
    ((text <= 24576)) || fail "$text bytes"
    # When a thread is cancelled while it waits, the destructors of its callers run: this needs unwind tables.
    readelf --debug-dump=frames "$library" | grep -q "pc=0*$(nm --dynamic "$library" |
        sed -n 's/^0*\([0-9a-f]*\) T XAVO_wait_for_jobs@.*/\1/p')\.\."
}

# The worker provides the log function that libxavo calls.
@test "the worker exports the log, and loads libxavo by itself" {
    assert_equal "$(exported "$worker")" hulmprintf
    assert_equal "$(needed "$worker")" libc.so.6
}

@test "the companion says where it looked for the worker when its folder has gone" {
    cp "$companion" "$BATS_TEST_TMPDIR/libxavo_companion.so.1"
    run python3 -c '
import ctypes, os, sys
library = ctypes.CDLL(sys.argv[1])
os.remove(sys.argv[1])
library.XAVO_pool_new.restype = ctypes.c_void_p
answer = (ctypes.c_char_p * 40)()
library.XAVO_pool_prestart(ctypes.c_void_p(library.XAVO_pool_new(None, None)), 1, 0, answer)
print(answer[4].decode())' "$BATS_TEST_TMPDIR/libxavo_companion.so.1"
    assert_output "No such file or directory: $BATS_TEST_TMPDIR/xavo/1/xavo-worker"
}
