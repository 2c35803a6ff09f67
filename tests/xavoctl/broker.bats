# broker.bats - the command with controllers and brokers that last, hang, end and lie.
# shellcheck shell=bash disable=SC2028,SC2030,SC2031,SC2059,SC2086,SC2154
bats_require_minimum_version 1.5.0
load common

@test "a controller that lasts from one command to the next" {
    scene 'next-job runs=600'
    export CIMSIM_STATE=$PWD/state
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

@test "jobs that fail or go" {
    table
    $XAVOCTL reboot 1 --wait --json --quiet | jq --exit-status '.end == "failed" and .kind == "job failed" and
        .message == "The disk is full." and .job.JobStatus == "Failed" and .job_id == "JID_4"'
    export CIMSIM_STATE=$PWD/state
    (sleep 1; $XAVOCTL delete JID_1 JID_2) &
    run --separate-stderr $XAVOCTL wait JID_1 JID_2 --json
    [[ $status == 5 ]]
    jq --exit-status '[.results[].end] == ["gone", "gone"] and .error == "NOT_FOUND"' <<<"$output"
}

@test "a broker that hangs" {
    table
    [[ -z $(jobs -p) ]]
}

# It has more time when it is asked again.
@test "a broker that is slow" {
    scene 'hold 6000' 'job JID_7 start=0 runs-ms=1'
    run $XAVOCTL wait JID_7 --timeout 20
    [[ $status == 0 ]]
}

@test "a connection that is lost" {
    table
    scene 'job JID_7 name=nightly' 'next-job runs=1' 'fault CMCIClient.invokeMethod 1 rc=1 with-result'
    for CIMSIM_STATE in none other; do
        export CIMSIM_STATE=$PWD/$CIMSIM_STATE
        run --separate-stderr $XAVOCTL backup $share --image i --job-name nightly --wait --json
        [[ $status == 0 && $stderr == *'looking for the job named nightly'* ]]
        jq --exit-status '.end == "completed" and .job_id == "JID_4"' <<<"$output"
    done
}

@test "a worker that dies" {
    export CIMSIM_STATE=$PWD/state
    scene 'job JID_7 start=0 runs-ms=1'
    $XAVOCTL wait JID_7 JID_1 --timeout 30 --json >document 2>log &
    local parent=$!
    until_there 'JID_1 .*New' log
    pkill -SEGV -P $parent
    $XAVOCTL delete JID_1 JID_7
    wait $parent || [[ $? == 5 ]]
    jq --exit-status '[.results[].end] == ["completed", "gone"]' document

    # The answer is held back when the job is gone.
    echo 'hold 1000' >>state
    $XAVOCTL delete JID_3 JID_2 --json >document &
    parent=$!
    until_gone '^job "JID_2"' state
    pkill -SEGV -P $parent
    wait $parent || [[ $? == 3 ]]
    jq --exit-status '.results[0] == {job_id: "JID_3"} and .results[1].kind == "outcome unknown"' document

    $XAVOCTL jobs &
    parent=$!
    local worker
    until worker=$(pgrep -P $parent); do sleep 0.1; done
    sleep 0.2
    kill -KILL $parent
    until_gone '^State:.[^Z]' "/proc/$worker/status"
}

# A shell's background jobs ignore SIGINT.
@test "a worker that dies again and again, and a signal that is ignored" {
    $XAVOCTL wait JID_1 --json --quiet >document &
    local parent=$!
    # One that dies before it has a connection does not count; on a slow machine some do.
    for _ in {1..30}; do
        sleep 0.5
        kill -INT $parent 2>/dev/null || break
        pkill -SEGV -P $parent || true
        sleep 0.8
    done
    kill -KILL $parent 2>/dev/null || true
    wait $parent || [[ $? == 3 ]]
    jq --exit-status '.end == "lost" and .job.InstanceID == "JID_1"' document
}

@test "a broker that is away for a while" {
    export CIMSIM_STATE=$PWD/state
    $XAVOCTL reboot 1 --wait 2>log >said &
    local parent=$!
    until_there '% Running' log
    echo unreachable >>state
    until_there 'no broker answers' log
    sed -i '/^unreachable$/d' state
    wait $parent
    grep 'completed' said
}

@test "a question that was asked when the broker ended" {
    export CIMSIM_STATE=$PWD/state
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
    local text='a\x1b[31mb\x07\x7f\n\xff\xc3(\xe2\x80\xae\xc2\x9b\xed\xa0\x80 \xc3\xa9'
    scene "job \"JID_9$text\" name=\"$text\" start=0 runs=1 fails message=\"$text\"" "class VELK_Odd \"Na$text\"" \
        "instance VELK_Odd \"Na$text\"=\"$text\"" "property JID_1 JobStatus \"$text\""
    local seen='a\x1b[31mb\x07\x7f\n\xff\xc3(\u202e\u009b\xed\xa0\x80 é' id words
    id=$(printf "JID_9$text")
    sleep 1
    for words in jobs "job '$id'" "instances VELK_LifecycleJob" "instances VELK_Odd" "wait '$id'" "delete '$id'" \
        "wait JID_1 --timeout 2"; do
        eval "run \$XAVOCTL $words"
        [[ $output == *"$seen"* ]] || fail "$words"
        printf '%s' "$output" | LC_ALL=C.UTF-8 grep -P '[\x00-\x08\x0b-\x1f\x7f\x{80}-\x{9f}\x{202e}]' && fail "$words"
        eval "\$XAVOCTL --json --quiet $words" >document || true
        ! LC_ALL=C.UTF-8 grep -P '[\x00-\x08\x0b-\x1f\x7f\x{80}-\x{9f}\x{202e}]' document || fail "$words"
        python3 -c 'import json; json.load(open("document", "rb"))'
    done
    $XAVOCTL jobs --json |
        jq --exit-status '.jobs[-1].Name == "a\u001b[31mb\u0007\u007f\n\ufffd\ufffd(\u202e\u009b\ufffd\ufffd\ufffd é"'
}

@test "instances of every type" {
    scene 'class VELK_Odd Name' \
        'instance VELK_Odd Name="a" True=boolean:1 Big=uint64:18446744073709551615 Small=sint8:-5' \
        'instance VELK_Odd Name="b" Half=real64:0.5 Letter=char16:233 Time=datetime:20260101000000.000000+000 Null=null'
    $XAVOCTL instances VELK_Odd --json | tee log | grep -F 18446744073709551615
    jq --exit-status '.instances == [{Name: "a", True: true, Big: 18446744073709551615, Small: -5}, {Name: "b",
        Half: 0.5, Letter: "é", Time: "20260101000000.000000+000", Null: null}]' log
}
