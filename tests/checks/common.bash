# common.bash - functions for all checks of a finished build. XAVO_BUILD names the folder of the build, which the preset
# `library` makes.
# shellcheck shell=bash disable=SC2034,SC2154
bats_require_minimum_version 1.8.0
bats_load_library bats-support
bats_load_library bats-assert

: "${XAVO_BUILD:?names the folder of the build}"
root=$(cd "$BATS_TEST_DIRNAME/../.." && pwd)
strict=(-std=c99 -Wall -Wextra -Wpedantic -Werror)

# install_build FOLDER [OPTION...]: installs the build into a folder below that of the file's tests.
install_build() {
    cmake --install "$XAVO_BUILD" --prefix "$BATS_FILE_TMPDIR/$1" "${@:2}" >/dev/null
}

# use_prefix FOLDER: programs and pkg-config files are found in this installed prefix first.
use_prefix() {
    export prefix=$BATS_FILE_TMPDIR/$1
    export PKG_CONFIG_PATH=$prefix/lib/pkgconfig PATH=$prefix/bin:$PATH
}

# compile PACKAGES ARGUMENT...: runs gcc with the options that the packages need, from pkg-config.
compile() {
    # shellcheck disable=SC2046,SC2086
    gcc "${@:2}" $(pkg-config --cflags --libs $1)
}

# Runs the commands of this test in a folder of its own: the rows below "== " and the test's name in the .txt file that
# has the name of the .bats file. A row is: status | text in the output, or "-" | command. An indented line continues a
# row.
expect_rows() {
    local table=${BATS_TEST_FILENAME%.bats}.txt rows row text
    mapfile -t rows < <(awk -v title="== $BATS_TEST_DESCRIPTION" '
        sub(/^ +/, " ") { if (row != "") row = row $0; next }
        row != "" { print row; row = "" }
        /^== / { ours = $0 == title; next }
        ours && /^[0-9]/ { row = FILENAME ":" FNR ": " $0 }
        END { if (row != "") print row }' "$table")
    [[ ${#rows[@]} -gt 0 ]] || fail "$table: no rows below \"== $BATS_TEST_DESCRIPTION\""
    mkdir "$BATS_FILE_TMPDIR/$BATS_TEST_NUMBER"
    cd "$BATS_FILE_TMPDIR/$BATS_TEST_NUMBER" || return
    for row in "${rows[@]}"; do
        echo "$row"
        row=${row#*: }
        text=${row#* | }
        run "-${row%% | *}" eval "${text#* | }"
        text=${text%% | *}
        [[ $text == - ]] || assert_output --partial "$(printf %b "$text")"
    done
}
