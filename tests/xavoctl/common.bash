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

# Each document that a table or a test keeps is as xavoctl-json(7) says.
teardown() {
    [[ ! -s documents && ! -s document ]] ||
        python3 "$BATS_TEST_DIRNAME/validate.py" documents document
}

fail() {
    printf '%s\n' "$@" "$output" >&2
    return 1
}

# Until a file has a line like that: at most 20 seconds.
until_there() {
    for _ in {1..200}; do
        ! grep -qs -- "$1" "$2" || return 0
        sleep 0.1
    done
    fail "no $1 in $2"
}

# A scene of these lines, from now on, and a controller that begins with it.
scene() {
    printf '%s\n' "$@" >scene
    export CIMSIM_SCENE=$PWD/scene
    rm -f state
}

# Prints the rows of commands.txt that belong to the test, each after its number and "|"; where there is none, one that
# fails. A line that ends with \ goes on in the next one.
rows() {
    awk -v title="== $BATS_TEST_DESCRIPTION" '/\\$/ { begun = begun substr($0, 1, length - 1); next }
        { $0 = begun $0; begun = "" } /^== / { ours = $0 == title; next }
        ours && NF && !/^#/ { print NR "|" $0; found = 1 }
        END { if (!found) print "0|255 | none |" }' "$BATS_TEST_DIRNAME/commands.txt"
}

# The rows of commands.txt that belong to the test, each with a controller of its own: the command ends with this
# status, and prints something like that on either stream, blanks for line ends. Once more with --json it has the same
# status, and prints one document, which says what failed, and for which the filter is true; `sent` is what a dry run
# has in it.
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

# Descriptor 8 is a pipe that is full, and that nobody reads.
fill_pipe() {
    mkfifo full
    exec 8<>full
    dd if=/dev/zero of=full bs=4096 count=16 oflag=nonblock status=none
}

# The command's own terminal; the words and what is typed when they appear come first.
terminal() {
    TERM=xterm run python3 "$BATS_TEST_DIRNAME/terminal.py" "$@"
}
