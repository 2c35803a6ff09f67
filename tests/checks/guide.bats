# guide.bats - compiles the programs of the guide and of the manual, and runs their commands, with an installed prefix.
# The first line of a block of C names its file.
# shellcheck shell=bash disable=SC2154
load common

setup_file() {
    install_build prefix
    use_prefix prefix
}

setup() {
    cd "$BATS_TEST_TMPDIR" || return
    guide=$root/docs/guide.md
    manual=$root/docs/manual
}

@test "the guide's programs compile, and its commands run" {
    awk '
        /^```c$/ { block = "c"; next }
        /^```sh$/ { block = "sh"; next }
        /^```/ { if (file != "") close(file); block = file = ""; next }
        block == "c" && file == "" { file = $2; sub(/:$/, "", file) }
        block == "c" { print >file }
        block == "sh" && sub(/^! /, "") { $0 = "if " $0 "; then exit 1; fi" } # which -e would not see
        block == "sh" { print >"commands" }' "$guide"
    local programs=(*.c) program
    assert_equal "$(grep -c '^```c$' "$guide")" "${#programs[@]}" # each has a name of its own
    [[ ${#programs[@]} -ge 6 && $(wc -l <commands) -ge 10 ]] || fail "the guide has lost its programs or its commands"
    for program in "${programs[@]}"; do
        compile "xavo xavo-companion" -std=c11 -Wall -Wextra -Werror -c "$program" -o /dev/null
    done
    run -0 bash -ex commands
}

@test "the manual's examples can be linked" {
    local example
    for example in "$manual"/examples/*.c; do
        compile "xavo xavo-companion xavo-simulator" -Wall -Wextra -Werror -shared -fPIC -Wl,-z,defs \
            "$example" -o /dev/null
    done
}

@test "the examples of xavo(7) and cimsim(7) work" { expect_rows; }

# examples PAGE: prints the section EXAMPLES of a page.
examples() { awk '/^# / { ours = $0 == "# EXAMPLES" } ours && sub(/^    /, "")' "$manual/$1.md"; }

@test "the examples of xavo-scene(5) and xavo-simulate(1) work" { expect_rows; }
