# broker.bats - xavoctl with controllers that keep their state, and with brokers that hang, end or send bad answers.
# shellcheck shell=bash disable=SC2028,SC2030,SC2031,SC2059,SC2086,SC2154
bats_require_minimum_version 1.5.0
load common

@test "a controller that lasts from one command to the next" {
    scene 'next-job runs=600'
    id=$($XAVOCTL backup $share --image i --job-name nightly)
    [[ $($XAVOCTL jobs --name nightly --quiet) == "$id" ]]
    run $XAVOCTL backup $share --image i
    [[ $status == 1 && $output == *BACKUP_ALREADY_RUNNING* ]]
    sed -i 's/^clock .*/clock ahead=600000/' state
    $XAVOCTL wait "$id" --timeout 30
    $XAVOCTL delete "$id"
    run $XAVOCTL job "$id"
    [[ $status == 4 ]]
}

@test "jobs that fail or are deleted" {
    table
}

@test "a broker that hangs" {
    table
}

# The time limit of a poll grows after each poll without an answer.
@test "a broker that is slow" {
    scene 'hold 6000' 'job JID_7 start=0 runs-ms=1'
    run $XAVOCTL wait JID_7 --timeout 20
    [[ $status == 0 ]]
}

@test "a connection that is lost" {
    table
}

@test "listings that are not complete" {
    table
}

# The search for the job has pauses.
@test "a job of another name that is new" {
    scene journal 'fault CMCIClient.invokeMethod 1 then=hang'
    $XAVOCTL backup $share --image i --job-name n --timeout 2 2>log &
    local parent=$!
    until_there 'injected' state
    $XAVOCTL reboot 1 --yes
    wait $parent || [[ $? == 6 ]]
    grep 'there is no new job of that name' log
    (($(grep -c enumInstances state.journal) < 12))
}

@test "a wait that finds no broker says so once" {
    table
}

@test "a worker that dies" {
    scene 'job JID_7 start=0 runs-ms=1' 'fault any 4 then=crash' 'fault any 9 then=crash'
    $XAVOCTL wait JID_7 JID_1 --timeout 30 --json >document 2>log &
    local parent=$!
    until_there 'JID_1 .*New' log
    $XAVOCTL delete JID_1 JID_7
    wait $parent || [[ $? == 5 ]]
    jq --exit-status '[.results[].end] == ["completed", "gone"]' document
}

# SIGINT is ignored in background jobs of a shell.
@test "a signal that is ignored, and few polls" {
    scene journal
    $XAVOCTL wait JID_1 --json --quiet --timeout 3 >document &
    local parent=$!
    sleep 1
    kill -INT $parent
    wait $parent || [[ $? == 6 ]]
    jq --exit-status '.results[0] | .end == "deadline" and .job.InstanceID == "JID_1"' document
    (($(grep -c getInstance state.journal) < 12))
}

@test "a broker that is away for a while" {
    $XAVOCTL reboot 1 --yes --wait 2>log >said &
    local parent=$!
    until_there '% Running' log
    echo unreachable >>state
    until_there 'no broker answers' log
    sed -i '/^unreachable$/d' state
    wait $parent
    grep 'completed' said
}

@test "a request that was sent when the broker ended" {
    $XAVOCTL jobs && echo 'hold 60000' >>state
    $XAVOCTL wait JID_1 --timeout 40 2>log &
    local parent=$!
    sleep 1
    sed -i '/^hold /d' state
    until_there '% New' log
    $XAVOCTL delete JID_1
    wait $parent || [[ $? == 5 ]]
    grep 'not there any more' log
}

@test "hostile strings" {
    local hidden='\u061c\u115f\u180e\u2060\u206f\u3164\ufff9\ufffb\U000e0041'
    local bad='\xff\xc3(\xc0\xaf\xe0\x80\xaf\xf0\x80\x80\xaf'
    local text="a\x1b[31mb\x07\x7f\n$bad\xe2\x80\xae\xc2\x9b\xed\xa0\x80"
    text+='\xd8\x9c\xe1\x85\x9f\xe1\xa0\x8e\xe2\x81\xa0\xe2\x81\xaf\xe3\x85\xa4\xef\xbf\xb9\xef\xbf\xbb\xf3\xa0\x81\x81'
    text+=' \xc3\xa9 \xf0\x9f\x98\x80'
    scene "job \"JID_9$text\" name=\"$text\" start=0 runs=1 fails message=\"$text\"" "class VELK_Odd \"Na$text\"" \
        "instance VELK_Odd \"Na$text\"=\"$text\"" "property JID_1 JobStatus \"$text\""
    local seen="a\x1b[31mb\x07\x7f\n$bad\u202e\u009b\xed\xa0\x80$hidden é 😀" id words
    id=$(printf "JID_9$text")
    sleep 1
    for words in jobs "job '$id'" "instances VELK_LifecycleJob" "instances VELK_Odd" "wait '$id'" "delete '$id'" \
        "wait JID_1 --timeout 2"; do
        eval "run \$XAVOCTL $words"
        [[ $output == *"$seen"* ]] || fail "$words"
        printf '%s' "$output" | LC_ALL=C.UTF-8 grep -P '[\x00-\x08\x0b-\x1f\x7f\x{80}-\x{9f}\x{202e}]' && fail "$words"
        rm -f state
        eval "\$XAVOCTL --json --quiet $words" >document || true
        rm -f state
        ! LC_ALL=C.UTF-8 grep -P '[\x00-\x08\x0b-\x1f\x7f\x{80}-\x{9f}\x{202e}]' document || fail "$words"
        python3 -c 'import json; json.load(open("document", "rb"))'
    done
    $XAVOCTL jobs --json |
        jq --exit-status '.jobs[-1].Name == "a\u001b[31mb\u0007\u007f\n\ufffd\ufffd("
            + "\ufffd" * 9 + "\u202e\u009b" + "\ufffd" * 3
            + "\u061c\u115f\u180e\u2060\u206f\u3164\ufff9\ufffb\udb40\udc41 é 😀"'
}

@test "instances of every type" {
    local -a values
    mapfile -t values < <(sed '/^#/d; s/ | .*//' "$BATS_TEST_DIRNAME/../data/json.txt" | awk '{ print "P" NR "=" $0 }')
    scene 'class VELK_Odd Name' "instance VELK_Odd Name=\"a\" ${values[*]}"
    $XAVOCTL instances VELK_Odd --json >document
    python3 - "$BATS_TEST_DIRNAME/../data/json.txt" <<'END'
import json, sys
found = json.load(open("document"))["instances"][0]
rows = [line.split(" | ")[1] for line in open(sys.argv[1]) if line[0] != "#"]
for number, row in enumerate(rows, 1):
    assert found[f"P{number}"] == json.loads(row), f"row {number}: {found[f'P{number}']!r}, not {row}"
assert rows
END
    local nested=uint8:1
    for _ in {1..9}; do
        nested=${nested//\\/\\\\}
        nested="reference:\"root VELK_A N=${nested//\"/\\\"}\""
    done
    scene "property JID_1 Name $nested"
    [[ $($XAVOCTL instances VELK_LifecycleJob --json) == *VELK_A.N=*'"...'* ]]
}
