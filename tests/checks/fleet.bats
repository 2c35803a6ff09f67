# fleet.bats - examples/fleet/ on as many simulated controllers as FLEET_COUNT says, each with a state of its own on
# this machine: one in lockdown, one whose job fails, one whose share cannot be reached, one whose broker restarts, one
# without the tool, one whose network fails, and others. FLEET_PREFIX, if there is one, is the command that runs the
# playbook.
# shellcheck shell=bash disable=SC2154
load common

# Of each kind of controller: its scene, and what comes of the backup.
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

    # In place of an ssh client: the first call does its work and loses its answer; once the job is found and was asked
    # for, there is no connection for a while.
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

# The broker of one is away for a while once the job runs, and another one when it is back.
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

@test "without a share nothing is started" {
    run ansible-playbook -i "$work/inventory" backup.yml
    assert_failure
    assert_output --partial 'Nothing is started'
    run ! compgen -G "$work/state-*"
}

@test "a backup of every controller, and a table of what became of them" {
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
        grep -qE "controller-$i\.example +${kind#*|}" <<<"$table" || fail "controller $i is not so: ${kind#*|}
$output"
        [[ ${kind#*|} == completed ]] || failed=$((failed + 1))
    done
    grep -q "$((count - failed)) of $count succeeded" <<<"$table" || fail "$table"
    if ((networked < count)); then
        assert_equal "$(grep -c ' backup ' "$work/calls")" 1 # in spite of the lost connections
        [[ $(wc -l <"$work/calls") -gt 8 ]] || fail "no connection was lost: $(<"$work/calls")"
    fi
    ((restarting >= count)) || [[ -e $work/restarted ]] || fail "no broker was restarted meanwhile"
}
