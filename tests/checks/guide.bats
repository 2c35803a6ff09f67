# guide.bats - compiles the programs of the guide and of the manual, and runs their commands, with an installed prefix.
# The first line of a block of C names its file.
# shellcheck shell=bash disable=SC2154
load common

setup_file() {
    install_build prefix
    use_prefix prefix
}

setup() {
    guide=$root/docs/guide.md
    manual=$root/docs/manual
}

# extract_blocks: writes the guide's programs and the file "commands" into the current folder.
extract_blocks() {
    awk '
        /^```c$/ { block = "c"; next }
        /^```sh$/ { block = "sh"; next }
        /^```/ { if (file != "") close(file); block = file = ""; next }
        block == "c" && file == "" { file = $2; sub(/:$/, "", file) }
        block == "c" { print >file }
        block == "sh" && sub(/^! /, "") { $0 = "if " $0 "; then exit 1; fi" } # which -e would not see
        block == "sh" { print >"commands" }' "$guide"
}

@test "the guide's programs compile, and its commands run" { expect_rows; }

@test "the manual's examples can be linked" { expect_rows; }

@test "the examples of xavo(7) and cimsim(7) work" { expect_rows; }

# examples PAGE: prints the section EXAMPLES of a page.
examples() { awk '/^# / { ours = $0 == "# EXAMPLES" } ours && sub(/^    /, "")' "$manual/$1.md"; }

@test "the examples of xavo-scene(5) and xavo-simulate(1) work" { expect_rows; }
