load helper

# sign_on_terminal TYPED [ARGUMENTS]: a signature of the person, on a terminal on which TYPED is typed.
sign_on_terminal() {
    on_terminal "$1" "$(words "$KAVREL" call signDigest "$sign" "${@:2}")"
}

sign='{"nationalCode":"0012345678","digestB64":""}'

@test "on a terminal the prompt shows its reason, and m is a match" {
    make_key
    sign_on_terminal 'm\n'
    assert_success
    assert_output --partial 'Biometric prompt: Authenticate to sign'
    assert_output --partial 'Type m (match), n (no-match) or c (cancel): '
    assert_output --partial '{"resolve":{"signatureB64":'
}

@test "the words are understood as well" {
    make_key
    sign_on_terminal 'match\n'
    assert_success
    sign_on_terminal 'no-match\n'
    assert_equal "$status" 1
    sign_on_terminal 'cancel\n'
    assert_equal "$status" 1
}

@test "n counts as a failed attempt, c does not" {
    make_key
    local n
    for n in 1 2 3 4 5; do
        sign_on_terminal 'c\n'
        assert_equal "$status" 1
    done
    call getBiometricStatus
    assert_resolved '{"enabled":true,"status":"BIOMETRIC_SUCCESS","type":2}'
    for n in 1 2 3 4 5; do
        sign_on_terminal 'n\n'
        assert_equal "$status" 1
    done
    call getBiometricStatus
    assert_resolved '{"enabled":false,"status":"BIOMETRIC_ERROR_LOCKOUT","type":2}'
}

@test "what is not understood is asked again" {
    make_key
    sign_on_terminal 'yes\n\nM\nm\n'
    assert_success
    assert_equal "$(grep -o 'Type m' <<<"$output" | wc -l)" 4
}

@test "the end of the file cancels" {
    make_key
    sign_on_terminal ''
    assert_equal "$status" 1
    assert_output --partial '{"reject":{"message":"sign_failed","code":null}}'
}

@test "the prompt goes to the terminal, not into a result that is redirected" {
    make_key
    on_terminal 'm\n' "$(words "$KAVREL" call signDigest "$sign") >result"
    assert_success
    assert_output --partial 'Biometric prompt'
    assert_equal "$(wc -l <result)" 1
    run jq -r .resolve.algo result
    assert_output RSA_SHA256
}

@test "arguments may come from a pipe while the terminal answers" {
    make_key
    echo "$sign" >arguments
    on_terminal 'm\n' "cat arguments | $(words "$KAVREL" call signDigest -)"
    assert_success
    assert_output --partial '{"resolve":{"signatureB64":'
}

@test "where nobody sits at the terminal it is asked only if --prompt ask says so" {
    make_key
    sign_on_terminal 'm\n' --prompt cancel
    assert_equal "$status" 1
    refute_output --partial 'Biometric prompt'
    local command
    command="$(words "$KAVREL" call signDigest "$sign") </dev/null 2>errors"
    on_terminal 'm\n' "$command"
    assert_equal "$status" 1
    refute_output --partial 'Biometric prompt'
    on_terminal 'm\n' "$command --prompt ask"
    assert_success
    assert_output --partial 'Biometric prompt'
}

@test "--prompt ask without a terminal is refused before anything is called" {
    call ensureKey '{"nationalCode":"0012345678"}' --prompt ask
    assert_refused '--prompt ask needs a terminal, and there is none. Give --prompt match, no-match or cancel.'
    call hasKey '{"nationalCode":"0012345678"}'
    assert_resolved '{"exists":false}'
}

@test "without a terminal a prompt is cancelled, and standard error says why" {
    call signDigest "$sign"
    assert_rejected sign_failed
    assert_equal "$stderr" 'kavrel: there is no terminal to show the biometric prompt "Authenticate to sign" on, so it was cancelled. Give --prompt match to answer it.'
}
