#!/usr/bin/env bash
# tests/fleet.sh BUILD COUNT [PREFIX...] - examples/fleet/ on so many simulated controllers, each with a state
# of its own on this machine: one in lockdown, one whose job fails, one whose share cannot be reached, one
# whose broker restarts, one without the tool, one whose network fails, and others. PREFIX runs the playbook.
# shellcheck source=scripts/common
source "$(dirname "$0")/../scripts/common"

build=$PWD/$1
count=$2
shift 2
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
# With the first, a backup; the rest says what comes of it.
kinds=("lockdown|SYSTEM_IN_LOCKDOWN_MODE +The system is in lockdown mode\."
    'next-job runs=1 fails message="The disk is full."|failed +The disk is full\.'
    "|completed"
    "empty|UNABLE_TO_OPEN_CONNECTION +The share on 192\.0\.2\.10 cannot be reached\."
    "next-job runs=4|completed"
    "|unusable answer +.*.*nowhere.*No such file"
    "next-job runs=4|completed")
restarting=4
networked=6

echo secret >"$work/password"
{
    echo '[controllers]'
    for ((i = 0; i < count; i++)); do
        kind=${kinds[i < ${#kinds[@]} ? i : 2]}
        printf 'next-job runs=2\n' >"$work/scene-$i"
        [[ ! ${kind%%|*} ]] || printf '%s\n' "${kind%%|*}" >"$work/scene-$i"
        tool=$build/tools/xavoctl
        ((i != 5)) || tool=/nowhere
        connection=local
        ((i != networked)) || connection="ssh ansible_ssh_executable=$work/ssh"
        printf 'controller-%d.example ansible_connection=%s xavoctl="env %s %s %s"\n' $i "$connection" \
            "CIMSIM_STATE=$work/state-$i" "CIMSIM_SCENE=$work/scene-$i" "$tool"
    done
} >"$work/inventory"

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

# The broker is away for a while once the job runs, and another one when it is back.
restart() {
    local state=$work/state-$restarting
    until grep -qs '^job .*task="backup"' "$state"; do sleep 0.1; done
    sleep 0.5
    flock "$state.lock" sed -i "\$ a unreachable" "$state"
    sleep 2
    flock "$state.lock" sed -i '/^unreachable$/d' "$state"
    "$build/simulator/xavo-simulate" --state "$state" --restart
    echo restarted >"$work/restarted"
}
export HOME=$work ANSIBLE_NOCOLOR=1
if (cd examples/fleet && ansible-playbook -i "$work/inventory" backup.yml) >"$work/log" 2>&1 ||
    compgen -G "$work/state-*" || ! grep -q 'Nothing is started' "$work/log"; then
    die "without a share it does something: $(<"$work/log")"
fi
if ((restarting < count)); then
    restart &
fi
started=$SECONDS
if (cd examples/fleet && "$@" ansible-playbook -i "$work/inventory" backup.yml -e run_name=test -e share_type=2 \
    -e address=192.0.2.10 -e share=backups -e share_user=operator -e password_file="$work/password" \
    -e poll_seconds=1 -e patience=60) >"$work/log" 2>&1; then
    die "it should say that some backups failed"
fi
sed -n '/^TASK .The backups/,$p' "$work/log" | grep -E '^ +(controller-|[0-9]+ of)' >"$work/table" || die "$(<"$work/log")"
cat "$work/table"
failed=0
for ((i = 0; i < count; i++)); do
    kind=${kinds[i < ${#kinds[@]} ? i : 2]}
    grep -qE "controller-$i\.example +${kind#*|}" "$work/table" || die "controller $i: $(<"$work/log")"
    [[ ${kind#*|} == completed ]] || failed=$((failed + 1))
done
grep -q "$((count - failed)) of $count succeeded" "$work/table" || die "the last line is wrong"
((networked >= count)) || [[ $(grep -c ' backup ' "$work/calls") == 1 && $(wc -l <"$work/calls") -gt 8 ]] ||
    die "a backup was started twice, or no connection failed: $(<"$work/calls")"
((restarting >= count)) || [[ -e $work/restarted ]] || die "no broker was restarted meanwhile"
grep -q secret "$work/log" && die "the log holds the password"
echo "$count controllers in $((SECONDS - started)) s"
