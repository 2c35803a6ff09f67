# common.bash - what the tests of the command share. XAVOCTL names the program.
# shellcheck shell=bash disable=SC2034,SC2154

setup() {
    : "${XAVOCTL:?names the program}"
    cd "$BATS_TEST_TMPDIR" || return
    printf 'secret\n' >password
    unset NO_COLOR HULM_LEVEL CIMSIM_SCENE
    export CIMSIM_STATE=$PWD/state # a command has several workers
    share='--share-type 2 --address 192.0.2.10 --share backups --share-user operator --password-file password'
}

# Checks that the documents which a table or a test has kept are valid by the schema.
teardown() {
    [[ ! -s documents && ! -s document ]] ||
        python3 "$BATS_TEST_DIRNAME/validate.py" documents document
}

fail() {
    printf '%s\n' "$@" "$output" >&2
    return 1
}

# until_there PATTERN FILE: waits up to 20 seconds for a line of the file that matches.
until_there() {
    for _ in {1..200}; do
        ! grep -qs -- "$1" "$2" || return 0
        sleep 0.1
    done
    fail "no $1 in $2"
}

# scene LINE...: makes a scene of these lines, and a new controller that starts with it.
scene() {
    printf '%s\n' "$@" >scene
    export CIMSIM_SCENE=$PWD/scene
    rm -f state
}

# Prints the rows of commands.txt for this test, each after its line number and "|". Without rows, prints one that
# fails. A line that ends with \ is continued by the next one.
rows() {
    awk -v title="== $BATS_TEST_DESCRIPTION" '/\\$/ { begun = begun substr($0, 1, length - 1); next }
        { $0 = begun $0; begun = "" } /^== / { ours = $0 == title; next }
        ours && NF && !/^#/ { print NR "|" $0; found = 1 }
        END { if (!found) print "0|255 | none |" }' "$BATS_TEST_DIRNAME/commands.txt"
}

# Runs the rows of commands.txt for this test, each with a new controller. The command must end with the status of the
# row, and its output on both streams, with blanks in place of line ends, must match the pattern. With --json it must
# end with the same status and print one document: with an error if the status is not 0, and true for the filter. In a
# filter, `sent` is the text of the calls of a dry run.
table() {
    local number status_wanted pattern words filter
    local sent='[.calls[] | .class, .method, (.arguments | to_entries[] | "\(.key)=\(.value)")] | join(" ")'
    while IFS='|' read -r number status_wanted pattern words filter; do
        if [[ $status_wanted != [0-9]* ]]; then
            eval "$status_wanted"
            continue
        fi
        read -r pattern <<<"$pattern"
        rm -f state
        eval "run $XAVOCTL $words"
        [[ $status == "$((status_wanted))" && ${output//$'\n'/ } =~ $pattern ]] ||
            fail "commands.txt:$number:$words" "expected: status $((status_wanted)), and output like: $pattern" \
                "actual: status $status, and this output:"
        rm -f state
        eval "run --separate-stderr $XAVOCTL --json $words"
        [[ $status == "$((status_wanted))" ]] ||
            fail "commands.txt:$number: --json$words: status $status instead of $((status_wanted))"
        jq --slurp --exit-status "def sent: $sent; length == 1 and (.[0] | has(\"error\") == ($status_wanted != 0) and
            (${filter:-true}))" <<<"$output" >/dev/null ||
            fail "commands.txt:$number: --json$words" "expected: one document for that status, and ${filter:-true}" \
                "actual: this output:"
        printf '%s\n' "$output" >>documents
    done < <(rows)
}

# Opens a full pipe without a reader as descriptor 8.
fill_pipe() {
    mkfifo full
    exec 8<>full
    dd if=/dev/zero of=full bs=4096 count=16 oflag=nonblock status=none
}

# terminal [WORD ANSWER]... -- COMMAND...: runs the command on a terminal; types each answer after its word.
terminal() {
    TERM=xterm run python3 "$BATS_TEST_DIRNAME/terminal.py" "$@"
}
