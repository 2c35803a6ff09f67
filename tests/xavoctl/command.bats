# command.bats - the real command: every command, exit status and document; terminals, secrets, output.
# shellcheck shell=bash disable=SC2028,SC2030,SC2031,SC2059,SC2086,SC2154
bats_require_minimum_version 1.5.0
load common

@test "reading" {
    table
    [[ $($XAVOCTL jobs --quiet | paste -sd ' ') == 'JID_1 JID_2 JID_3' ]]
    $XAVOCTL jobs --json | jq --exit-status '.jobs | length == 3 and .[0] == {InstanceID: "JID_1",
        Name: "Update of the BIOS", JobStatus: "New", PercentComplete: 0, JobStartTime: "", JobUntilTime: "",
        ElapsedTimeSinceCompletion: "0", MessageID: "JOB001", Message: "The job waits for a queue.",
        MessageArguments: null}'
}

@test "changing" {
    table
    $XAVOCTL delete JID_1 JID_9 --json | jq --exit-status '.results[0] == {job_id: "JID_1"}
        and .error == "UNKNOWN_ERROR"
        and (.results[1] | .kind == "service" and .message_id == "JQ001" and .message == "There is no job JID_9.")'
}

# With the files that they name.
@test "the examples of help" {
    local command line count=0
    mkdir bin && ln -s "$XAVOCTL" bin/xavoctl && cp password passphrase
    tr ' ' '\n' <<<'share-type=2 address=192.0.2.10 share=backups share-user=operator password-file=password' >nightly.options
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

# No broker answers: nothing is sent.
@test "a dry run" {
    table
    local proxy='--proxy-support 1 --proxy-type 2 --proxy-server 3 --proxy-user 4 --proxy-password-file password
        --proxy-port 6 --ignore-cert-warning 7' words wanted
    local sent='ProxySupport=1 ProxyType=2 ProxyServer=3 ProxyUname=4 ProxyPasswd=(hidden) ProxyPort=6'
    sent+=' IgnoreCertWarning=7'
    while IFS='|' read -r words wanted; do
        run --separate-stderr $XAVOCTL $words --dry-run --json
        [[ $(jq -r '.calls[] | .class, .method, (.arguments | to_entries[] | "\(.key)=\(.value)")' <<<"$output" |
            paste -sd ' ') == "VELK_$wanted" ]] || fail "$words"
    done <<END
backup $share --passphrase-file password ${proxy//$'\n'/ } --job-name n --wait|QMService BackupImage \
IPAddress=192.0.2.10 ShareName=backups ImageName= UserName=operator Password=(hidden) Passphrase=(hidden) \
ScheduledStartTime=NOW ShareType=2 JobName=n
restore ${share/2/6} ${proxy//$'\n'/ } --until 9 --check-destination 1|QMService RestoreImage IPAddress=192.0.2.10 \
ShareName=backups ImageName= UserName=operator Password=(hidden) UntilTime=9 ScheduledStartTime=NOW PreserveVDConfig=0 \
$sent ShareType=6 CheckBackupDestinationAvailability=1
restore --share-type 4 --address a --start 9 --preserve-config|QMService RestoreImage ScheduledStartTime=9 \
PreserveVDConfig=1 ShareType=4
test-share ${share/2/5} ${proxy//$'\n'/ }|QMService TestNetworkShare IPAddress=192.0.2.10 ShareName=backups $sent \
ShareType=5
test-share $share --workgroup w|QMService TestNetworkShare IPAddress=192.0.2.10 ShareName=backups UserName=w\\operator \
Password=(hidden) Workgroup=w ShareType=2
install --uri u --target T|SoftwareInstallationService InstallFromURI URI=u \
Target=root/velk:VELK_SoftwareIdentity.InstanceID="T"
install --target T|SoftwareInstallationService InstallFromSoftwareIdentity \
Target=root/velk:VELK_SoftwareIdentity.InstanceID="T"
reboot 007|SoftwareInstallationService CreateRebootJob RebootJobType=7
queue A B --start NOW --until 9|JobService SetupJobQueue StartTimeInterval=NOW UntilTime=9 JobArray=["A","B"]
END
}

@test "wrong use" {
    mkfifo never
    table
    run $XAVOCTL jobs --password=hunter2
    [[ $output != *hunter2* ]]
}

@test "completion" {
    local number words wanted
    while IFS='|' read -r number words wanted; do
        run bash -c 'source <($XAVOCTL completion bash); COMP_WORDS=("$@"); COMP_CWORD=$(($# - 1)); _xavoctl
            echo "${COMPREPLY[*]}"' - xavoctl $words
        [[ $output == "${wanted# }" ]] || fail "commands.txt:$number: $words"
    done < <(rows)
}

# Where each option goes: what the companion would be handed.
@test "records" {
    [[ -n ${XAVOCTL_PRINT_RECORDS-} ]] || skip "XAVOCTL_PRINT_RECORDS names what is put before the companion"
    local http='--proxy-support 1 --proxy-type 2 --proxy-server 3 --proxy-user 4 --proxy-password-file <(echo 5)
        --proxy-port 6 --ignore-cert-warning 7' share='--share-type 5 --address 9 --share 10 --share-user 11
        --password-file <(echo 12)' image='--image 13 --passphrase-file <(echo 14) --until 16 --job-name 17
        --check-destination 18' words wanted
    local proxy='support=1 type=2 server=3 uname=4 passwd=5 port=6 ignore=7'
    export ASAN_OPTIONS=verify_asan_link_order=0
    while IFS='|' read -r words wanted; do
        run eval "LD_PRELOAD=$XAVOCTL_PRINT_RECORDS $XAVOCTL ${words//$'\n'/ }"
        [[ ${lines[-3]} == "$wanted" && ${lines[-2]} == "$proxy" ]] || fail "$words"
    done <<END
backup ${http//$'\n'/ } ${share//$'\n'/ } ${image//$'\n'/ }|60 s BACKUP_IMAGE \
uname=11 passwd=12 passphrase=14 ipaddr=9 \
sharename=10 imagename=13 start=NOW until=16 type=5 preserve=0 job=17 check=18 tavix=
restore ${http//$'\n'/ } ${share//$'\n'/ } ${image//$'\n'/ } --start 15 --preserve-config --yes \
--timeout 7|7 s RESTORE_IMAGE uname=11 \
passwd=12 passphrase=14 ipaddr=9 sharename=10 imagename=13 start=15 until=16 type=5 preserve=1 job=17 check=18 tavix=
test-share ${http//$'\n'/ } ${share//$'\n'/ } --workgroup 19|60 s test uname=11 passwd=12 workgroup=19 ipaddr=9 \
sharename=10 type=5
END
}

# From the help itself: at the limit accepted, one byte more refused with the option's name and the limit.
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
    local test_share='test-share --share-type 2 --address 192.0.2.10 --share backups --share-user operator'
    for ending in '' '\n' '\r\n'; do
        printf "secret$ending" | $XAVOCTL $test_share --password-file -
    done
    $XAVOCTL $test_share --password-fd 7 7<<<secret
    mkfifo late
    { sleep 0.3; echo secret >late; } &
    $XAVOCTL $test_share --password-file late
    run $XAVOCTL $test_share --password-fd 7 7<<<wrong
    [[ $status == 1 ]]
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
    [[ $output == *'The job goes on. To wait for it again: xavoctl wait --user guest JID_4'* ]]
    terminal 'JID_1 [' '\x03' -- $XAVOCTL wait JID_1 --json
    [[ $status == 130 && $output == *'% 0:0'* ]]
    sed -n '/^{/p' <<<"${output#*^C}" |
        jq --exit-status '.results[0] | .end == "interrupted" and .job.InstanceID == "JID_1"'
    scene 'hold 60000'
    run timeout --preserve-status 2 $XAVOCTL doctor
    [[ $status == 143 && $output == *'doctor: interrupted' && $output != *FAILED* ]]
}

# As timeout(1) sends it: here while the document is stuck in a pipe.
@test "a signal that comes twice" {
    scene "property JID_1 Message \"$(printf '%99999s' x)\""
    mkfifo pipe
    { until_there go go && cat; } <pipe >document &
    $XAVOCTL wait JID_1 --json >pipe 2>log &
    local parent=$!
    until_there '% New' log
    for _ in 1 2; do
        kill -TERM $parent
        sleep 0.5
    done
    echo go >go
    wait $parent || [[ $? == 143 ]]
    wait
    jq --exit-status '.results[0].end == "interrupted"' document
}

@test "waiting for the end" {
    table
}

@test "waiting until the deadline" {
    table
}

# On a clock that is a hundred times as fast. The pauses between polls grow to two seconds.
@test "a wait without --timeout goes on" {
    echo '#include <errno.h>
        #include <poll.h>
        #include <string.h>
        #include <sys/syscall.h>
        #include <time.h>
        #include <unistd.h>
        int poll(struct pollfd *fds, nfds_t count, int ms) {
            return (int)syscall(SYS_poll, fds, count, ms > 0 ? ms / 100 : ms);
        }
        int clock_gettime(clockid_t clock, struct timespec *time) {
            static time_t first;
            const int result = (int)syscall(SYS_clock_gettime, clock, time);
            if (strcmp(program_invocation_short_name, "xavoctl") != 0)
                return result;
            first = first != 0 ? first : time->tv_sec;
            const long long gone = ((time->tv_sec - first) * 1000000000LL + time->tv_nsec) * 100;
            time->tv_sec = first + gone / 1000000000;
            time->tv_nsec = gone % 1000000000;
            return result;
        }' | gcc -D_GNU_SOURCE -shared -fPIC -x c - -o clock.so
    export ASAN_OPTIONS=verify_asan_link_order=0
    scene journal 'next-job runs=1000000'
    local words
    for words in 'wait JID_1' 'reboot 1 --yes --wait'; do
        LD_PRELOAD=$PWD/clock.so run timeout 1.5 $XAVOCTL $words
        [[ $status == 124 && $output == *interrupted* ]] || fail "$words"
    done
    words=$(grep -c getInstance state.journal)
    ((words > 45)) || fail "$words polls"
}

@test "brokers that do not answer, or refuse" {
    table
    scene unreachable
    for words in 'delete JID_1 JID_2' 'queue JID_1 JID_2 --start NOW'; do
        run --separate-stderr $XAVOCTL $words --json
        jq --exit-status '.code == 8 and ([.results[].job_id] == ["JID_1", "JID_2"])' <<<"$output"
    done
    run $XAVOCTL wait JID_1 --timeout 0.3
    [[ $output != *'The job goes on'* ]]
}

# The worker's loader finds a file that is none.
@test "without a client library" {
    mkdir library && touch library/libcmpisfcc.so.1
    export LD_LIBRARY_PATH=$PWD/library
    local words
    for words in help --version errors 'completion bash'; do
        $XAVOCTL $words >/dev/null
    done
    for words in jobs 'wait JID_1' 'backup --share-type 4 --wait' doctor; do
        run $XAVOCTL $words
        [[ $status == 3 && $output == *libcmpisfcc.so.1* ]] || fail "$words: $status"
    done
    [[ ${lines[0]} == 'FAILED  client library '*libcmpisfcc.so.1* ]]
}

@test "input that is closed, output that cannot be written" {
    # What the tool opens does not become its standard input, or standard error.
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
        wait
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
                [[ $words != reboot* || "$output$stderr" == *JID_4* ]] || ! grep -q JID_4 state || fail "$words: $at $on: no ID"
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

# One waits for its job, the other for a reader of its output.
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

@test "the library's log" {
    run --separate-stderr $XAVOCTL delete JID_9
    [[ $stderr != *XAVO_* ]]
    run --separate-stderr $XAVOCTL delete JID_9 --verbose
    [[ $stderr == *'XAVO_invoke_DeleteJobQueue: ERROR'* ]]
}

# As it stands there, but for what time changes (the width of a percentage, too) and for the bar. However long the
# commands take: the backup runs until it is waited for.
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
