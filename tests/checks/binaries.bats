# binaries.bats - the built libraries and programs: the functions that they export, the libraries that they link, and
# how they are hardened. binaries.txt has the commands.
# shellcheck shell=bash disable=SC2034,SC2154
load common

setup() {
    # shellcheck source=scripts/elf
    source "$root/scripts/elf"
    libxavo=$XAVO_BUILD/libxavo/libxavo.so
    companion=$XAVO_BUILD/companion/libxavo_companion.so
    platform=$XAVO_BUILD/platform/libxavo_platform.so
    tool=$XAVO_BUILD/tools/xavoctl
    worker=$XAVO_BUILD/companion/xavo/1/xavo-worker
}

# declared HEADER: the functions that it declares, sorted, without those of the headers that it includes.
declared() {
    gcc -E -I"$root/simulator/include" -I"$root/libxavo/include" "$1" |
        awk -v name="${1##*/}" '/^# [0-9]+ "/ { ours = index($0, "/" name "\""); next } ours' |
        grep -oE '\bXAVO_[A-Za-z0-9_]+ *\(' | tr -d ' (' | sort -u
}

# exports LIBRARY VERSION-SCRIPT HEADER NODE: checks that the library exports the functions that its header declares and
# its version script lists, each under a node whose name begins with NODE.
exports() {
    assert_equal "$(exported "$1")" "$(sed -n 's/^ *\(XAVO_[A-Za-z0-9_]*\);$/\1/p' "$2" | sort)" &&
        assert_equal "$(exported "$1")" "$(declared "$3")" &&
        assert_equal "$(nm --dynamic --defined-only "$1" | grep -c " T .*@@$4[0-9.]*$")" "$(exported "$1" | wc -l)"
}

# hardened_library LIBRARY
hardened_library() {
    output=$(readelf --dyn-syms --segments --dynamic --wide "$1")
    assert_output --partial ' __stack_chk_fail@' && assert_output --partial GNU_RELRO &&
        assert_output --regexp 'FLAGS.*NOW' && assert_output --regexp 'GNU_STACK .* RW ' &&
        refute_output --partial TEXTREL
}

@test "libxavo and the companion export the functions that their headers declare, and no others" { expect_rows; }

@test "each function that reports through an error code has a row in the tests" { expect_rows; }

@test "libxavo allocates by three functions" { expect_rows; }

@test "the libraries and the programs link only the libraries that they need" { expect_rows; }

@test "the libraries have no static constructors" { expect_rows; }

@test "the libraries are hardened" { expect_rows; }

@test "xavoctl and the worker are hardened, and do not exceed their sizes" { expect_rows; }

@test "the companion's code and constants take at most 24 KiB" {
    [[ $(uname -m) == x86_64 ]] || skip "the limit is for 64-bit x86"
    expect_rows
}

@test "the companion says where it looked for the worker when its folder has gone" { expect_rows; }
