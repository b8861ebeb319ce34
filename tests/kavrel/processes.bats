load helper

@test "processes that make keys of different persons at the same time all succeed" {
    local n
    for n in 1 2 3 4 5 6 7 8; do
        kavrel call ensureKey "{\"nationalCode\":\"$n\"}" >"$n" 2>/dev/null &
    done
    wait
    for n in 1 2 3 4 5 6 7 8; do
        assert_equal "$(cat $n)" '{"resolve":{"ok":true}}'
        call hasKey "{\"nationalCode\":\"$n\"}"
        assert_resolved '{"exists":true}'
    done
}

@test "processes that open a new device at the same time all succeed" {
    local n
    for n in 1 2 3 4 5 6 7 8; do
        kavrel call getBiometricStatus >"$n" &
    done
    wait
    for n in 1 2 3 4 5 6 7 8; do
        assert_equal "$(cat $n)" '{"resolve":{"enabled":true,"status":"BIOMETRIC_SUCCESS","type":2}}'
    done
}

@test "a request is whole while another process replaces the key" {
    make_key
    (for n in 1 2 3 4 5 6; do make_key; done) &
    local n
    for n in 1 2 3 4 5 6; do
        call createCSR "$(person)"
        if [ "$status" -eq 0 ]; then
            result csrPem | base64 -d >request.der
            run openssl req -inform DER -in request.der -verify -noout
            assert_success
        else
            assert_equal "$(jq -r .reject.message <<<"$output" | grep -c -x -e csr_failed -e ensure_key_failed)" 1
        fi
    done
    wait
}

@test "settings made by processes at the same time are all kept" {
    local round
    for round in 1 2 3 4 5; do
        kavrel device reset
        kavrel device set biometry=touchID &
        kavrel device set enrolled=false &
        kavrel device set lockedOut=true &
        kavrel device set locked=true &
        wait
        run kavrel device show
        assert_output 'biometry=touchID
enrolled=false
lockedOut=true
locked=true
firstUnlock=true'
    done
}

@test "a process that is killed leaves a device that works" {
    make_key
    local n pid
    for n in 1 2 3 4 5; do
        "$KAVREL" call ensureKey '{"nationalCode":"killed"}' >/dev/null 2>&1 &
        pid=$!
        sleep "0.0$((n * 2))"
        kill -9 "$pid" 2>/dev/null || true
        wait "$pid" || true
        call hasKey '{"nationalCode":"0012345678"}'
        assert_resolved '{"exists":true}'
    done
    call ensureKey '{"nationalCode":"killed"}'
    assert_resolved '{"ok":true}'
}
