load helper

# on_terminal ANSWERS ARGUMENTS: `kavrel ARGUMENTS` on a terminal of its own, on which ANSWERS are typed. What the
# terminal shows is in $output, the exit status in $status.
on_terminal() {
    local answers=$1
    shift
    run bash -c 'printf "$1" | timeout 30 script --quiet --return --command "$2" /dev/null' _ "$answers" \
        "$(printf '%q ' "$KAVREL" "$@")"
    output=${output//$'\r'/}
}

sign='{"nationalCode":"0012345678","digestB64":""}'

@test "on a terminal the prompt shows its reason, and m is a match" {
    make_key
    on_terminal 'm\n' call signDigest "$sign"
    assert_success
    assert_output --partial 'Biometric prompt: Authenticate to sign'
    assert_output --partial 'Type m (match), n (no-match) or c (cancel): '
    assert_output --partial '{"resolve":{"signatureB64":'
}

@test "the words are understood as well" {
    make_key
    on_terminal 'match\n' call signDigest "$sign"
    assert_success
    on_terminal 'no-match\n' call signDigest "$sign"
    assert_equal "$status" 1
    on_terminal 'cancel\n' call signDigest "$sign"
    assert_equal "$status" 1
}

@test "n counts as a failed attempt, c does not" {
    make_key
    local n
    for n in 1 2 3 4 5; do
        on_terminal 'c\n' call signDigest "$sign"
        assert_equal "$status" 1
    done
    call getBiometricStatus
    assert_resolved '{"enabled":true,"status":"BIOMETRIC_SUCCESS","type":2}'
    for n in 1 2 3 4 5; do
        on_terminal 'n\n' call signDigest "$sign"
        assert_equal "$status" 1
    done
    call getBiometricStatus
    assert_resolved '{"enabled":false,"status":"BIOMETRIC_ERROR_LOCKOUT","type":2}'
}

@test "what is not understood is asked again" {
    make_key
    on_terminal 'yes\n\nM\nm\n' call signDigest "$sign"
    assert_success
    assert_equal "$(grep -o 'Type m' <<<"$output" | wc -l)" 4
}

@test "the end of the file cancels" {
    make_key
    on_terminal '' call signDigest "$sign"
    assert_equal "$status" 1
    assert_output --partial '{"reject":{"message":"sign_failed","code":null}}'
}

@test "the prompt goes to the terminal, not into a result that is redirected" {
    make_key
    run bash -c 'printf "m\n" | timeout 30 script --quiet --return --command "$1" /dev/null' _ \
        "$(printf '%q ' "$KAVREL" call signDigest "$sign") >result"
    assert_success
    assert_output --partial 'Biometric prompt'
    assert_equal "$(wc -l <result)" 1
    run jq -r .resolve.algo result
    assert_output RSA_SHA256
}

@test "arguments may come from a pipe while the terminal answers" {
    make_key
    echo "$sign" >arguments
    run bash -c 'printf "m\n" | timeout 30 script --quiet --return --command "$1" /dev/null' _ \
        "cat arguments | $(printf '%q ' "$KAVREL" call signDigest -)"
    assert_success
    assert_output --partial '{"resolve":{"signatureB64":'
}

@test "where nobody sits at the terminal it is asked only if --prompt ask says so" {
    make_key
    on_terminal 'm\n' call signDigest "$sign" --prompt cancel
    assert_equal "$status" 1
    refute_output --partial 'Biometric prompt'
    local command
    command="$(printf '%q ' "$KAVREL" call signDigest "$sign") </dev/null 2>errors"
    run bash -c 'printf "m\n" | timeout 30 script --quiet --return --command "$1" /dev/null' _ "$command"
    assert_equal "$status" 1
    refute_output --partial 'Biometric prompt'
    run bash -c 'printf "m\n" | timeout 30 script --quiet --return --command "$1" /dev/null' _ "$command --prompt ask"
    assert_success
    assert_output --partial 'Biometric prompt'
}

@test "--prompt ask without a terminal is refused before anything is called" {
    call ensureKey '{"nationalCode":"0012345678"}' --prompt ask
    assert_refused '--prompt ask: there is no terminal to ask on.'
    call hasKey '{"nationalCode":"0012345678"}'
    assert_resolved '{"exists":false}'
}
