# fleet.bats - runs the playbook of examples/fleet/ on FLEET_COUNT simulated controllers. Each has a state of its own on
# this machine: one is in lockdown, one has a job that fails, one cannot reach the share, one has a broker that
# restarts, one lacks xavoctl, one has a network that fails; the others succeed. FLEET_PREFIX, if set, is a command that
# runs the playbook.
# shellcheck shell=bash disable=SC2154
load common

# The kinds of controllers: the scene | the line for this controller in the table of results.
kinds=("lockdown|SYSTEM_IN_LOCKDOWN_MODE +The system is in lockdown mode\."
    'next-job runs=1 fails message="The disk is full."|failed +The disk is full\.'
    $'fault cmciConnect 1\nfault cmciConnect 2\nnext-job runs=2|completed'
    "empty|UNABLE_TO_OPEN_CONNECTION +The share on 192\.0\.2\.10 cannot be reached\."
    "next-job runs=4|completed"
    "|unreadable answer +.*.*nowhere.*No such file"
    "next-job runs=4|completed")
restarting=4
without_tool=5
networked=6

setup() {
    work=$BATS_TEST_TMPDIR
    count=${FLEET_COUNT:?is the number of controllers}
    read -ra prefix <<<"${FLEET_PREFIX-}"
    export HOME=$work ANSIBLE_NOCOLOR=1
    echo secret >"$work/password"
    cd "$root/examples/fleet" || return

    local i kind tool connection
    echo '[controllers]' >"$work/inventory"
    for ((i = 0; i < count; i++)); do
        kind=${kinds[i < ${#kinds[@]} ? i : 2]}
        kind=${kind%%|*}
        echo "${kind:-next-job runs=2}" >"$work/scene-$i"
        tool=$XAVO_BUILD/tools/xavoctl
        ((i != without_tool)) || tool=/nowhere
        connection=local
        ((i != networked)) || connection="ssh ansible_ssh_executable=$work/ssh"
        printf 'controller-%d.example ansible_connection=%s xavoctl="env %s %s %s"\n' $i "$connection" \
            "CIMSIM_STATE=$work/state-$i" "CIMSIM_SCENE=$work/scene-$i" "$tool" >>"$work/inventory"
    done

    # Replaces the ssh client. The first call runs its command and loses the answer; calls 4 to 8, after the job was
    # found and read once, have no connection.
    cat >"$work/ssh" <<'END'
#!/bin/bash
calls=${0%/*}/calls
echo "${@: -1}" >>"$calls"
case $(wc -l <"$calls") in
1) sh -c "${@: -1}" >/dev/null; exit 255 ;;
[4-8]) exit 255 ;;
*) exec sh -c "${@: -1}" ;;
esac
END
    chmod +x "$work/ssh"
}

# When the job runs, makes the broker of one controller unreachable for two seconds, and then restarts it.
restart() {
    local state=$work/state-$restarting
    until grep -qs '^job .*task="backup"' "$state"; do sleep 0.1; done
    sleep 0.5
    flock "$state.lock" sed -i "\$ a unreachable" "$state"
    sleep 2
    flock "$state.lock" sed -i '/^unreachable$/d' "$state"
    "$XAVO_BUILD/simulator/xavo-simulate" --state "$state" --restart
    echo restarted >"$work/restarted"
}

@test "the playbook starts nothing without a share" {
    run ansible-playbook -i "$work/inventory" backup.yml
    assert_failure
    assert_output --partial 'Nothing is started'
    run ! compgen -G "$work/state-*"
}

@test "the playbook makes a backup of every controller, and prints a table of the results" {
    ((restarting >= count)) || restart 3>&- &
    local i kind table failed=0
    run "${prefix[@]}" ansible-playbook -i "$work/inventory" backup.yml -e run_name=test -e share_type=2 \
        -e address=192.0.2.10 -e share=backups -e share_user=operator -e password_file="$work/password" \
        -e poll_seconds=1 -e job_timeout=60
    assert_failure # since some backups fail
    refute_output --partial secret
    table=$(sed -n '/^TASK .The backups/,$p' <<<"$output" | grep -E '^ +(controller-|[0-9]+ of)')
    for ((i = 0; i < count; i++)); do
        kind=${kinds[i < ${#kinds[@]} ? i : 2]}
        grep -qE "controller-$i\.example +${kind#*|}" <<<"$table" || fail "controller $i is not like this: ${kind#*|}
$output"
        [[ ${kind#*|} == completed ]] || failed=$((failed + 1))
    done
    grep -q "$((count - failed)) of $count succeeded" <<<"$table" || fail "$table"
    if ((networked < count)); then
        assert_equal "$(grep -c ' backup ' "$work/calls")" 1 # in spite of the lost connections
        [[ $(wc -l <"$work/calls") -gt 8 ]] || fail "no connection was lost: $(<"$work/calls")"
    fi
    ((restarting >= count)) || [[ -e $work/restarted ]] || fail "no broker was restarted during the run"
}
