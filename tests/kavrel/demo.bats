load helper

setup_file() {
    export TMPDIR=$BATS_FILE_TMPDIR
}

@test "the demonstration takes nine steps, whose calls are resolved, and leaves nothing behind" {
    run --separate-stderr kavrel demo
    assert_success
    assert_equal "$stderr" ''
    assert_equal "$(grep -o '^[0-9]*\. ' <<<"$output" | xargs)" '1. 2. 3. 4. 5. 6. 7. 8. 9.'
    assert_equal "$(grep -c '^       kavrel call ' <<<"$output")" 7
    assert_equal "$(grep -c '^       -> {"resolve":{' <<<"$output")" 7
    assert_line "   The signature is Jane's: OpenSSL accepts it with the key of the stored certificate."
    assert_line '   The contract is signed: OpenSSL accepts the document, and the certificate in it.'
    refute_line --regexp '^[^/]{101}' # but the path of a folder may be long
    assert_equal "$(echo "$TMPDIR"/kavrel-demo*)" "$TMPDIR/kavrel-demo*"
    refute [ -e "$KAVREL_DEVICE" ]
}

@test "with --device it works on that device, and says what it replaces" {
    kavrel call ensureKey '{"nationalCode":"0012345678"}' 2>/dev/null
    run --separate-stderr kavrel demo --device "$KAVREL_DEVICE"
    assert_success
    assert_output --partial 'where the certificate and any keys of DEMO-0000000000 are now replaced.'
    call getKeyInfo '{"nationalCode":"DEMO-0000000000"}'
    assert_success
    result certificate >certificate.pem
    run openssl verify -CAfile "$KAVREL_DEVICE/authority/certificate.pem" certificate.pem
    assert_success
    call hasKey '{"nationalCode":"0012345678"}'
    assert_resolved '{"exists":true}'
}

@test "a step that goes wrong is named, with what the component said, and nothing is left behind" {
    run --separate-stderr kavrel demo --prompt cancel
    assert_equal "$status" 1
    refute_output --partial 'OpenSSL accepts'
    [[ "$stderr" == *'kavrel: the call of signDigest was not resolved: {"reject":{"message":"sign_failed","code":null}}'* ]]
    [[ "$stderr" == *'🔑 forceDeleteAllKeys private status: '* ]]
    assert_equal "$(echo "$TMPDIR"/kavrel-demo*)" "$TMPDIR/kavrel-demo*"

    kavrel device set enrolled=false
    run --separate-stderr kavrel demo --device "$KAVREL_DEVICE"
    assert_equal "$status" 1
    [[ "$stderr" == *'kavrel: the sensor is not ready.'* ]]
}

@test "a reader that goes away ends it, and nothing is left behind" {
    run bash -c 'timeout 60 "$KAVREL" demo | head -n 1'
    assert_line 'A person enrols for a certificate and signs with it.'
    assert_equal "$(echo "$TMPDIR"/kavrel-demo*)" "$TMPDIR/kavrel-demo*"
}

@test "interrupted at its prompt it ends, and leaves nothing behind" {
    # The interruption is typed once the demonstration asks, or after a while. The end of the input would cancel the prompt.
    run bash -c '{ timeout 30 bash -c "until grep -q \"Type m\" shown; do sleep 0.05; done"; printf "\003"; sleep 2; } |
        timeout 60 script --quiet --flush --return --command "\"$KAVREL\" demo --prompt ask" shown'
    assert_equal "$status" 130
    refute_output --partial 'OpenSSL accepts'
    assert_equal "$(echo "$TMPDIR"/kavrel-demo*)" "$TMPDIR/kavrel-demo*"
}

@test "without a place for a temporary folder it says so" {
    TMPDIR=$PWD/nowhere
    run --separate-stderr kavrel demo
    assert_refused_saying "$PWD/nowhere"
}
