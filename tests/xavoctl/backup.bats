# backup.bats - the command lines of xavo-backup@.service, with its environment and credentials. No systemd starts it.
# shellcheck shell=bash disable=SC2030,SC2031,SC2046,SC2059,SC2086,SC2154
bats_require_minimum_version 1.5.0
load common

# start_unit NAME: runs the commands one after the other, as long as they succeed; etc/ takes the place of /etc.
start_unit() {
    local systemd=$BATS_TEST_DIRNAME/../../tools/systemd unit line file
    unit=$(sed "s|@XAVO_BINDIR@|${XAVOCTL%/*}|; s|@XAVO_LIBEXECDIR@/xavo|$systemd|; s|%E|$PWD/etc|g
        s|/var/lib/prometheus/node-exporter|$PWD/metrics|" "$systemd/xavo-backup@.service.in")
    unit=${unit//%i/"$1"}
    umask "$(sed -n 's/^UMask=//p' <<<"$unit")"
    mkdir -p credentials
    while IFS=: read -r line file; do
        cp "$file" "credentials/$line" 2>/dev/null ||
            printf '%b' "$(sed -n "s/^SetCredential=$line://p" <<<"$unit")" >"credentials/$line"
    done < <(sed -n 's/^LoadCredential=//p' <<<"$unit")
    while read -r line; do
        env -i PATH="$PATH" $(sed -n 's/^Environment=//p' <<<"$unit") CREDENTIALS_DIRECTORY="$PWD/credentials" \
            CIMSIM_STATE="$CIMSIM_STATE" CIMSIM_SCENE="$CIMSIM_SCENE" $line || return
    done < <(sed -nE 's/^ExecStart(Post)?=//p' <<<"$unit")
}

# The last row succeeds, without a collector. Its name is escaped as systemd does it.
@test "the nightly backup" {
    echo '# the unit itself is not started' >&3
    local name='a\x2db' status_wanted pattern statement options seen metric
    metric="metrics/xavo_backup_$name.prom"
    mkdir -p etc/xavo/backup
    echo secret >"etc/xavo/backup/$name.password"
    while IFS='|' read -r status_wanted pattern statement options; do
        scene "$statement"
        printf "$options" >"etc/xavo/backup/$name.conf"
        run start_unit "$name"
        [[ $status == "$status_wanted" && $output =~ $pattern && ! -e $metric ]] || fail "$options: $status"
    done <<'END'
2|passphrase-file passphrase: .*nothing in it|empty|share-type=4\npassphrase-file=passphrase
2|No such file|empty|share-type=4\npassword-file=none
1|SYSTEM_IN_LOCKDOWN_MODE|lockdown|share-type=4
5|The disk is full|next-job runs=1 fails message="The disk is full."|share-type=4
0|^JID_.*there: no metric|next-job runs-ms=1|share-type=4
END
    scene 'next-job runs-ms=1'
    printf 'share-type=2\naddress=192.0.2.10\nshare=backups\nshare-user=operator\npassword-file=password\nimage=i' \
        >"etc/xavo/backup/$name.conf"
    mkdir metrics
    echo old >"$metric"
    ln "$metric" old
    start_unit "$name"
    seen=$(grep -v '^#' "$metric")
    [[ ${seen% *} == 'xavo_backup_last_success_timestamp_seconds{backup="a\\x2db"}' ]]
    ((EPOCHSECONDS - ${seen##* } < 60))
    # The file is replaced by a rename, and the collector's user can read it.
    [[ $(<old) == old && $(ls metrics) == "${metric#*/}" && $(stat --format=%a "$metric") == 644 ]]
    ! command -v promtool >/dev/null || promtool check metrics <"$metric"
}
