load helper

@test "ensureKey is rejected with the device's reason when a key cannot be made" {
    kavrel device set locked=true
    call ensureKey '{"nationalCode":"0012345678"}'
    assert_equal "$status" 1
    assert_equal "$(jq -r .reject.message <<<"$output")" ensure_key_failed
    refute [ "$(jq -r .reject.code <<<"$output")" = null ]
}

@test "setStyle is delivered and never settled: exit status 3, and a sentence" {
    call setStyle
    assert_equal "$status" 3
    assert_output ""
    assert_equal "$stderr" 'kavrel: the call of "setStyle" was delivered, but nothing will ever settle it.'
}

@test "the component's console lines go to standard error" {
    call ensureKey '{"nationalCode":"0012345678"}'
    assert_resolved '{"ok":true}'
    [[ "$stderr" == *"🔑 forceDeleteAllKeys private status: "* ]]
}

@test "--device and --prompt may stand before and after the command and its arguments" {
    kavrel --device here call ensureKey '{"nationalCode":"1"}' 2>/dev/null
    call hasKey '{"nationalCode":"1"}'
    assert_resolved '{"exists":false}'
    call --device here hasKey '{"nationalCode":"1"}'
    assert_resolved '{"exists":true}'
    call hasKey --device=here '{"nationalCode":"1"}'
    assert_resolved '{"exists":true}'
    call signDigest '{"nationalCode":"1","digestB64":""}' --device here --prompt match
    assert_success
    run --separate-stderr kavrel --prompt match --device here call signDigest '{"nationalCode":"1","digestB64":""}'
    assert_success
    run --separate-stderr kavrel --prompt cancel call signDigest --device here '{"nationalCode":"1","digestB64":""}'
    assert_rejected 'sign_failed'
}

@test "a method that is not in the table is refused, and the table named" {
    call hasKeys '{}'
    assert_refused 'the plugin has no method "hasKeys". Its methods are setStyle, hasKey, getKeyInfo, deleteKey, storeCertificate, getCertificate, createCSR, signDigest, ensureKey, getBiometricStatus.'
    call HASKEY '{}'
    assert_refused_saying 'no method "HASKEY"'
    call '' '{}'
    assert_refused_saying 'no method ""'
}

@test "a wrong command line is refused, and leaves no device behind" {
    call
    assert_refused_saying 'METHOD is required'
    call hasKey '{}' '{}'
    assert_refused_saying 'not expected: {}'
    call hasKey --nope
    assert_refused_saying --nope
    call hasKey --prompt perhaps
    assert_refused_saying perhaps
    call hasKey --device
    assert_refused_saying --device
    run --separate-stderr kavrel nope
    assert_refused_saying '"nope" is not known here'
    call nope
    assert_refused_saying nope
    call hasKey '{'
    assert_refused_saying 'line 1, column 2'
    refute [ -e "$KAVREL_DEVICE" ]
}

@test "what cannot be written is an error" {
    local arguments
    for arguments in 'call hasKey {"nationalCode":"1"}' 'device show' demo --help --version 'call --help'; do
        run --separate-stderr bash -c '"$KAVREL" $1 >/dev/full' _ "$arguments"
        assert_refused 'standard output cannot be written: No space left on device'
    done
}

@test "with standard output closed nothing is done" {
    local arguments
    for arguments in 'call ensureKey {"nationalCode":"1"}' 'device show' demo --help --version; do
        run --separate-stderr bash -c '"$KAVREL" $1 >&-' _ "$arguments"
        assert_refused 'standard output is closed, so there is nowhere to write the result.'
    done
    refute [ -e "$KAVREL_DEVICE" ]
}

@test "with standard error closed a call is made all the same" {
    run --separate-stderr bash -c '"$KAVREL" call ensureKey "{\"nationalCode\":\"1\"}" 2>&-'
    assert_resolved '{"ok":true}'
    run --separate-stderr bash -c '"$KAVREL" call hasKey "{\"nationalCode\":\"1\"}" <&- 2>&-'
    assert_resolved '{"exists":true}'
}

# unblocking STREAM ARGUMENTS: `kavrel ARGUMENTS`, with the descriptor of STREAM (STDIN or STDOUT) made one that does
# not block.
unblocking() {
    perl -M'Fcntl' -e 'my $s = shift; fcntl($s eq "STDIN" ? STDIN : STDOUT, F_SETFL, O_RDWR | O_NONBLOCK); exec @ARGV' \
        "$1" "$KAVREL" "${@:2}"
}

@test "pipes that do not block carry all of an answer, and all of the arguments" {
    jq -nc '{nationalCode: ("x" * 1000000)}' >arguments
    { sleep 0.5; cat arguments; } | unblocking STDIN call ensureKey - >ensured 2>/dev/null
    assert_equal "$(cat ensured)" '{"resolve":{"ok":true}}'
    unblocking STDOUT call getKeyInfo @arguments | { sleep 0.5; cat; } >information
    assert_equal "$(jq '.resolve.alias | length' information)" 1000000
}
