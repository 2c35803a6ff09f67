# common.bash - what the checks of a finished build share. XAVO_BUILD names its folder, which the preset `library`
# makes.
# shellcheck shell=bash disable=SC2034,SC2154
bats_require_minimum_version 1.8.0
bats_load_library bats-support
bats_load_library bats-assert

: "${XAVO_BUILD:?names the folder of the build}"
root=$(cd "$BATS_TEST_DIRNAME/../.." && pwd)
strict=(-std=c99 -Wall -Wextra -Wpedantic -Werror)

# expect STATUS TEXT COMMAND...: the command ends with this status, and TEXT is in what it prints.
expect() {
    run "-$1" "${@:3}"
    assert_output --partial "$2"
}

# install_build FOLDER [OPTION...]: installs the build into a folder below that of the file's tests.
install_build() {
    cmake --install "$XAVO_BUILD" --prefix "$BATS_FILE_TMPDIR/$1" "${@:2}" >/dev/null
}

# Takes programs and pkg-config files from an installed prefix first.
use_prefix() {
    export prefix=$BATS_FILE_TMPDIR/$1
    export PKG_CONFIG_PATH=$prefix/lib/pkgconfig PATH=$prefix/bin:$PATH
}

# compile PACKAGES ARGUMENT...: gcc, with what pkg-config says of the packages.
compile() {
    # shellcheck disable=SC2046,SC2086
    gcc "${@:2}" $(pkg-config --cflags --libs $1)
}
