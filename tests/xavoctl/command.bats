# command.bats - xavoctl: every command, exit status and document; terminals, secrets, output.
# shellcheck shell=bash disable=SC2028,SC2030,SC2031,SC2059,SC2086,SC2154
bats_require_minimum_version 1.5.0
load common

@test "reading" {
    table
}

@test "changing" {
    table
}

# The files that the examples name exist.
@test "the examples of help" {
    local command line count=0
    mkdir bin && ln -s "$XAVOCTL" bin/xavoctl && cp password passphrase
    xargs -n 2 <<<${share//--} >nightly.options
    while read -r command _; do
        while read -r line; do
            PATH=$PWD/bin:$PATH run timeout 1 bash -c "$line" </dev/null
            [[ $status =~ ^(0|4|124)$ ]] || fail "$line: $status"
            rm -f state
            ((++count))
        done < <($XAVOCTL help "$command" | sed -n '/^Examples:$/,/^$/s/^  //p')
    done < <($XAVOCTL help | sed -n '/^Commands:$/,/^$/s/^  //p')
    ((count >= 28)) || fail "$count examples"
}

@test "a dry run" {
    table
}

@test "wrong use" {
    table
}

@test "completion" {
    local number words wanted
    while IFS='|' read -r number words wanted; do
        run bash -c 'source <($XAVOCTL completion bash); COMP_WORDS=("$@"); COMP_CWORD=$(($# - 1)); _xavoctl
            echo "${COMPREPLY[*]}"' - xavoctl $words
        [[ $output == "${wanted# }" ]] || fail "commands.txt:$number: $words"
    done < <(rows)
}

# The member of the companion's records that each option fills in.
@test "records" {
    [[ -n ${XAVOCTL_PRINT_RECORDS-} ]] || skip "XAVOCTL_PRINT_RECORDS names what is put before the companion"
    XAVOCTL="env ASAN_OPTIONS=verify_asan_link_order=0 LD_PRELOAD=$XAVOCTL_PRINT_RECORDS $XAVOCTL"
    table
}

# The limits are those of the help. Text at the limit is accepted; one byte more is refused, with name and limit.
@test "limits of every argument" {
    local command option limit count=0 text
    printf '%s\n' '# what is not under test' '' 'address=x' ' --share-type 5 ' dry-run >base
    for command in backup restore test-share; do
        while read -r option limit; do
            text=$(printf "%${limit}s" x)
            for text in "$text" "x$text"; do
                if [[ $option == *-file ]]; then
                    run $XAVOCTL $command --options-file base "$option" - <<<"$text"
                else
                    run $XAVOCTL $command --options-file base "$option" "$text"
                fi
                [[ $status == $((${#text} > limit ? 2 : 0)) ]] || fail "$command $option, ${#text} bytes"
            done
            [[ $output == *"$option takes at most $limit bytes"* ]] || fail "$command $option"
            ((++count))
        done < <($XAVOCTL help $command | sed -nE 's/^ +(--[a-z-]+) .*at most ([0-9]+) bytes.*/\1 \2/p')
    done
    [[ $count == 35 ]] || fail "$count limits"
}

@test "secrets from files and descriptors" {
    table
}

@test "a prompt without echo" {
    local test_share="$XAVOCTL test-share --share-type 2 --address 192.0.2.10 --share backups --share-user operator"
    terminal 'password: ' 'secret\n' -- $test_share
    [[ $status == 0 && $output == *'can be reached'* && $output != *secret* ]]
    terminal 'password: ' 'wrong\n' -- $test_share --password-prompt
    [[ $status == 1 ]]
    local ends words shell
    for ends in HUP ALRM USR1 RTMIN INT QUIT; do
        terminal -- bash -c "trap : INT QUIT; timeout --foreground --signal $ends 0.3 $test_share; stty -a"
        [[ $output == *' echo '* ]] || fail "$ends"
    done
    for words in '\n' '\x04'; do
        terminal 'password: ' "$words" -- $test_share
        [[ $status == 2 && $output == *'nothing was typed'* ]]
    done
    # What is typed at the prompts | the terminal before.
    while IFS='|' read -r words shell; do
        eval "terminal $words -- bash -c '$shell'"
        [[ $output == *'can be reached'* && $output != *secret* ]] || fail "$shell"
    done <<END
'password: ' '\\x1a' stopped '' 'password: ' 'secret\\n'|set -m; $test_share; stty echo; echo stopped; fg
'password: ' '' 'password: ' 'secret\\n'|{ sleep 0.5; stty echo </dev/tty; kill -CONT \$\$; } & exec $test_share
'password: ' 'x\\x7fsecret\\n'|stty -icanon; $test_share
ready 'wrong\\n' 'password: ' 'secret\\n'|echo ready; sleep 0.5; $test_share
END
    terminal 'password: ' '\x03' -- sh -c "stty -isig; exec $test_share"
    [[ $status == 130 && $output == *'ended by signal 2' ]]
    terminal 'password: ' 'secre' -- bash -c "$test_share --timeout 0.3; read -t 0.1 -n 9 rest; echo left: \$rest."
    [[ $output == *'left: .'* ]]
    terminal -- $test_share --timeout 0.3
    [[ $status == 6 ]]
}

@test "a confirmation" {
    terminal 'reboot job? [y/N] ' 'y\n' -- $XAVOCTL reboot 1
    [[ $status == 0 && $output == *JID_4* ]]
    terminal 'from the image? [y/N] ' '\x03' -- $XAVOCTL restore --share-type 4
    [[ $status == 130 && $output == *interrupted* ]]
    for answer in 'n\n' '\n' '\x04'; do
        terminal 'Delete all jobs? [y/N] ' "$answer" -- $XAVOCTL delete --all
        [[ $status == 1 && $output == *'not confirmed, and nothing was sent'* ]]
    done
    terminal 'Delete all jobs? [y/N] ' ' ' -- $XAVOCTL delete --all --timeout 0.5
    [[ $status == 1 && $output == *'not confirmed'* && $($XAVOCTL jobs -q | wc -l) == 4 ]]
}

@test "a bar on a terminal, lines elsewhere, nothing with --quiet" {
    scene 'next-job runs-ms=1200'
    terminal -- $XAVOCTL reboot 1 --yes --wait
    [[ $status == 0 && $output == *$'\r''JID_4 [#'*'% 0:0'*' Running'*$'\r''JID_4 ['*'100%'*' Completed'* ]]
    [[ $output == *$'\e[32mcompleted\e[0m'* ]]
    rm state
    NO_COLOR=1 terminal -- $XAVOCTL reboot 1 --yes --wait
    [[ $output != *$'\e['[0-9]* ]]
    rm state
    run --separate-stderr $XAVOCTL reboot 1 --yes --wait
    [[ $stderr == 'JID_4  '*'% Running'$'\n'*$'\n''JID_4 100% Completed' && $output == JID_4$'\n''JID_4  completed'* ]]
    rm state
    run $XAVOCTL reboot 1 --yes --wait --quiet
    [[ $output == JID_4 ]]
}

@test "Ctrl-C leaves the job alone" {
    terminal 'JID_4 [' '\x03' -- $XAVOCTL reboot 1 --yes --wait --user guest
    [[ $status == 130 && $output == *'ended by signal 2' ]]
    [[ $output == *'JID_4: interrupted'*'The job goes on. To wait for it again: xavoctl wait --user guest JID_4'* ]]
    terminal 'JID_1 [' '\x03' -- $XAVOCTL wait JID_1 --json
    [[ $status == 130 && $output == *'% 0:0'* ]]
    sed -n '/^{/p' <<<"${output#*^C}" |
        jq --exit-status '.results[0] | .end == "interrupted" and .job.InstanceID == "JID_1"'
    scene 'hold 60000'
    run timeout --preserve-status 2 $XAVOCTL doctor
    [[ $status == 143 && $output == *'doctor: interrupted' && $output != *FAILED* ]]
}

# timeout(1) sends a signal twice; here while the document cannot be written to a pipe.
@test "a signal that comes twice" {
    scene "property JID_1 Message \"$(printf '%99999s' x)\""
    mkfifo pipe
    { until_there go go && cat; } <pipe >document &
    local reader=$! parent
    $XAVOCTL wait JID_1 --json >pipe 2>log &
    parent=$!
    until_there '% New' log
    for _ in 1 2; do
        kill -TERM $parent
        sleep 0.5
    done
    echo go >go
    wait $parent || [[ $? == 143 ]]
    wait $reader
    jq --exit-status '.results[0].end == "interrupted"' document
}

@test "waiting for the end" {
    table
}

@test "waiting until the deadline" {
    table
}

# With a clock that runs a hundred times as fast. The pauses between polls grow to two seconds.
@test "a wait without --timeout goes on" {
    echo '#include <errno.h>
        #include <poll.h>
        #include <string.h>
        #include <sys/syscall.h>
        #include <time.h>
        #include <unistd.h>
        int poll(struct pollfd *fds, nfds_t n, int ms) { return syscall(SYS_poll, fds, n, ms > 0 ? ms / 100 : ms); }
        int clock_gettime(clockid_t clock, struct timespec *time) {
            const int result = syscall(SYS_clock_gettime, clock, time);
            if (strcmp(program_invocation_short_name, "xavoctl") != 0)
                return result;
            time->tv_sec = time->tv_sec * 100 + time->tv_nsec / 10000000;
            time->tv_nsec = time->tv_nsec % 10000000 * 100;
            return result;
        }' | gcc -D_GNU_SOURCE -shared -fPIC -x c - -o clock.so
    scene journal 'next-job runs=1000000'
    local words
    for words in 'wait JID_1' 'reboot 1 --yes --wait'; do
        run timeout 1.5 env ASAN_OPTIONS=verify_asan_link_order=0 LD_PRELOAD="$PWD/clock.so" $XAVOCTL $words
        [[ $status == 124 && $output == *interrupted* ]] || fail "$words"
    done
    words=$(grep -c getInstance state.journal)
    ((words > 45)) || fail "$words polls"
}

@test "brokers that do not answer, or refuse" {
    table
}

@test "without a client library" {
    table
}

@test "input that is closed, output that cannot be written" {
    # A file that the tool opens does not become its standard input or standard error.
    $XAVOCTL wait JID_1 --timeout 1.5 2>&- &
    sleep 0.8
    [[ $(readlink /proc/$!/fd/2) == /dev/null ]]
    run bash -c "$XAVOCTL test-share --share-type 2 --address x --password-file - --timeout 5 <&-"
    [[ $status == 2 && $output == *'nothing in it'* ]]
    local words target
    for words in jobs 'jobs --json' help 'errors --json' 'reboot 1 --yes'; do
        for target in /dev/full closed pipe limit; do
            rm -f state
            case $target in
            limit) # a worker could not be started
                [[ $words == help || $words == errors* ]] || continue
                run bash -c "ulimit -f 0; $XAVOCTL $words >file"
                ;;
            closed) run bash -c '$XAVOCTL '"$words >&-" ;;
            pipe) run bash -c '{ sleep 0.1; $XAVOCTL '"$words; echo \$? >status; } | true; exit \$(<status)" ;;
            *) run bash -c '$XAVOCTL '"$words >$target" ;;
            esac
            [[ $status == 7 && ($output == *'cannot be written'* || $target == pipe && $output != *xavoctl:*) ]] ||
                fail "$words to $target: $status"
            [[ $words != 'reboot 1 --yes' || $output == *'The job was started: JID_4'* ]] || fail "$words"
        done
    done
}

@test "output that is read late, or never" {
    scene "property JID_1 Message \"$(printf '%99999s' x)\""
    mkfifo late
    local blocking status_wanted seconds pattern words
    for blocking in True False; do
        { sleep 1; cat; } <late >document &
        exec 8>late
        python3 -c "import os; os.set_blocking(8, $blocking)"
        $XAVOCTL jobs --json --timeout 0.5 >&8
        exec 8>&-
        wait $!
        jq --exit-status '.jobs[0].Message | length == 99999' document
    done
    fill_pipe
    while IFS='|' read -r status_wanted seconds pattern words; do
        run timeout --preserve-status --kill-after 9 $seconds bash -c "exec $XAVOCTL $words"
        [[ $status == "$status_wanted" && $output =~ $pattern ]] || fail "$words: $status"
    done <<<'7|12|cannot be written|jobs --json --timeout 1 >&8
143|1||jobs --json >&8
143|1||wait JID_1 >&8
143|1|The job was started: JID_4|reboot 1 --yes >&8
6|12|JID_1 +deadline|wait JID_1 --timeout 1 2>&8
143|1|JID_1 +interrupted|wait JID_1 2>&8'
}

# bats test_tags=native
@test "allocations that fail" {
    [[ -n ${XAVOCTL_FAIL_CALL-} ]] || skip "XAVOCTL_FAIL_CALL names what is put before the C library"
    scene 'job JID_7 start=0 runs-ms=1' 'job JID_8 start=0 runs-ms=1'
    local words on at
    $XAVOCTL jobs && mv state saved
    while IFS= read -r words; do
        cp saved state
        $XAVOCTL $words >wanted
        for on in FAIL_ON=1 FAIL_OFF=1; do
            for ((at = 1; ; ++at)); do
                rm -f failed && cp saved state
                run --separate-stderr env FAIL_AT=$at $on LD_PRELOAD=$XAVOCTL_FAIL_CALL $XAVOCTL $words
                [[ -e failed ]] || break
                [[ $status -lt 128 && ($status != 0 || $output == "$(<wanted)") ]] || fail "$words: $at $on: $status"
                [[ $words != reboot* || "$output$stderr" == *JID_4* ]] || ! grep -q JID_4 state ||
                    fail "$words: $at $on: no ID"
            done
            ((at > 2)) || fail "$words: no allocation"
        done
    done <<END
jobs --status scheduled --json
jobs
instances VELK_SoftwareIdentity
wait JID_7 JID_8
delete JID_1 JID_2
reboot 1 --yes
install --target IDENTITY:BIOS --dry-run --json
help jobs --json
END
    FAIL_CLOSE=1 LD_PRELOAD=$XAVOCTL_FAIL_CALL run $XAVOCTL jobs
    [[ $status == 7 && $output == *'cannot be written' ]]
}

# The first command waits for its job, the second one for a reader of its output.
@test "secrets are wiped in the process that prints" {
    printf 'unlikely-text' >secret
    local words
    fill_pipe
    for words in 'backup --share-type 4 --passphrase-file secret --wait' "test-share ${share%password} secret"; do
        eval "$XAVOCTL $words --json >&8 &"
        sleep 1.5
        run python3 -c '
import sys
maps = [line.split() for line in open(f"/proc/{sys.argv[1]}/maps")]
with open(f"/proc/{sys.argv[1]}/mem", "rb") as memory:
    for area, mode, *_ in maps:
        first, last = (int(end, 16) for end in area.split("-"))
        if mode.startswith("rw") and last - first < 1 << 26: # not what a sanitizer sets aside
            memory.seek(first)
            assert sys.argv[2].encode() not in memory.read(last - first), area
' $! "$(<secret)"
        kill $!
        [[ $status == 0 ]] || fail "$words: it is still there"
    done
}

# Compares the session with the README, except times, the width of a percentage, and the bar. The backup runs until the
# command wait, however long the commands take.
@test "the session in the README" {
    scene 'next-job runs=3600'
    export CIMSIM_STATE=$PWD/state
    mkdir bin && ln -s "$XAVOCTL" bin/xavoctl
    local readme=$BATS_TEST_DIRNAME/../../README.md line
    without_time() {
        sed -E '/^JID_4 .*%/d; s/20[0-9]{12}/TIME/; s/Running +[0-9]+/Running N/; s/  +/  /g'
    }
    while IFS= read -r line; do
        echo "$line"
        [[ $line != *' wait '* ]] || sed -i 's/^clock .*/clock ahead=3600000/' state
        [[ $line != '$ '* ]] || PATH=$PWD/bin:$PATH bash -c "${line#'$ '}" 2>&1 || true
    done < <(sed -n 's/^    \(\$ xavoctl\)/\1/p' "$readme") | tee said | without_time >session
    sed -n '/^    \$ xavoctl/,/^$/s/^    //p' "$readme" | without_time | diff - session
    [[ $(grep -o '^JID_.* The job \(waits\|is\) ' said | awk '{ print index($0, "The") }' | uniq | wc -l) == 1 ]]
}
