# common.bash - what the tests of the command share. XAVOCTL names the program.
# shellcheck shell=bash disable=SC2154

setup() {
    : "${XAVOCTL:?names the program}"
    cd "$BATS_TEST_TMPDIR" || return
    printf 'secret\n' >password
    unset NO_COLOR HULM_LEVEL CIMSIM_SCENE
    export CIMSIM_STATE=$PWD/state # a command has several workers
    export share='--share-type 2 --address 192.0.2.10 --share backups --share-user operator --password-file password'
}

# Each document that a table or a test keeps is as xavoctl-json(7) says.
teardown() {
    [[ ! -s documents && ! -s document ]] ||
        python3 "$BATS_TEST_DIRNAME/validate.py" "$BATS_TEST_DIRNAME/../../tools/format-1.schema.json" documents document
}

fail() {
    printf '%s\n' "$@" "$output" >&2
    return 1
}

# Until a file has a line like that, or has none, or is gone: at most 20 seconds.
until_there() {
    for _ in {1..200}; do
        ! grep -qs -- "$1" "$2" || return 0
        sleep 0.1
    done
    fail "no $1 in $2"
}
until_gone() {
    for _ in {1..200}; do
        grep -qs -- "$1" "$2" || return 0
        sleep 0.1
    done
    fail "$1 is still in $2"
}

# A scene of these lines, from now on, and a controller that begins with it.
scene() {
    printf '%s\n' "$@" >scene
    export CIMSIM_SCENE=$PWD/scene
    rm -f state
}

# Prints the rows of commands.txt that belong to the test, each after its number and "|"; where there is none, one that
# fails.
rows() {
    awk -v title="== $BATS_TEST_DESCRIPTION" '/^== / { ours = $0 == title; next }
        ours && NF && !/^#/ { print NR "|" $0; found = 1 }
        END { if (!found) print "0|255 | none |" }' "$BATS_TEST_DIRNAME/commands.txt"
}

# The rows of commands.txt that belong to the test: the command ends with this status, and prints something like that on
# either stream, blanks for line ends, with a controller of its own. Each runs once
# more with --json: the same status, and one document, which says what failed.
table() {
    local number status_wanted pattern words
    while IFS='|' read -r number status_wanted pattern words; do
        if [[ $status_wanted == 'scene '* ]]; then
            eval "$status_wanted"
            continue
        fi
        pattern=$(xargs <<<"$pattern")
        rm -f state
        eval "run $XAVOCTL $words"
        [[ $status == "$((status_wanted))" && ${output//$'\n'/ } =~ $pattern ]] ||
            fail "commands.txt:$number:$words" "expected: status $((status_wanted)), and output like: $pattern" \
                "actual: status $status, and this output:"
        rm -f state
        eval "run --separate-stderr $XAVOCTL --json $words"
        [[ $status == "$((status_wanted))" ]] ||
            fail "commands.txt:$number: --json$words: status $status instead of $((status_wanted))"
        jq --slurp --exit-status --argjson status "$((status_wanted))" \
            'length == 1 and (.[0] | has("error") == ($status != 0))' <<<"$output" >/dev/null ||
            fail "commands.txt:$number: --json$words: not one document that fits the status $status"
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
