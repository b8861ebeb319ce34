load helper

setup_file() {
    # SHA-256 of "hello", in base64.
    export DIGEST=LPJNul+wow4m6DsqxbninhsWHlwfp0JecwQzYpOLmCQ=
}

# sign DIGEST [ARGUMENTS]: the signature of the person 0012345678 over the bytes of DIGEST (base64), in signature.
sign() {
    call signDigest "{\"nationalCode\":\"0012345678\",\"digestB64\":\"$1\"}" --prompt match "${@:2}"
    assert_success
    result signatureB64 | base64 -d >signature
    base64 -d <<<"$1" >signed
}

# public_key: the person's public key, in public.pem, as the request carries it.
public_key() {
    person | kavrel call createCSR - 2>/dev/null | jq -r .resolve.csrPem | base64 -d |
        openssl req -inform DER -noout -pubkey >public.pem
}

@test "OpenSSL accepts the signature over SHA-256 of the given bytes" {
    public_key
    sign "$DIGEST"
    run openssl dgst -sha256 -verify public.pem -signature signature signed
    assert_output 'Verified OK'
    assert_equal "$(stat -c %s signature)" 256
}

@test "the signature is not one of a digest computed beforehand" {
    public_key
    sign "$DIGEST"
    run openssl pkeyutl -verify -pubin -inkey public.pem -pkeyopt digest:sha256 -sigfile signature -in signed
    assert_failure
    # The judge can tell: it accepts the digest that was really signed.
    openssl dgst -sha256 -binary signed >digest
    run openssl pkeyutl -verify -pubin -inkey public.pem -pkeyopt digest:sha256 -sigfile signature -in digest
    assert_success
}

@test "the key of the issued certificate verifies the signature" {
    make_certificate 0012345678
    openssl x509 -in certificate.pem -noout -pubkey >public.pem
    sign "$DIGEST"
    run openssl dgst -sha256 -verify public.pem -signature signature signed
    assert_output 'Verified OK'
}

@test "the result has its three members in order, the digest as it was received" {
    make_key
    call signDigest '{"nationalCode":"0012345678","digestB64":"AB=="}' --prompt match
    assert_success
    assert_equal "$(jq -c '.resolve.signatureB64 = ""' <<<"$output")" \
        '{"resolve":{"signatureB64":"","algo":"RSA_SHA256","digestB64":"AB=="}}'
    [[ "$(result signatureB64)" =~ ^[A-Za-z0-9+/]{342}==$ ]]
}

@test "any number of bytes is signed: none, one, a megabyte" {
    public_key
    sign ''
    run openssl dgst -sha256 -verify public.pem -signature signature signed
    assert_output 'Verified OK'
    sign 'AA=='
    run openssl dgst -sha256 -verify public.pem -signature signature signed
    assert_output 'Verified OK'

    head -c 1000000 /dev/urandom >signed
    base64 -w 0 signed >encoded
    jq -Rc '{nationalCode: "0012345678", digestB64: .}' encoded >arguments
    call signDigest @arguments --prompt match
    assert_success
    result signatureB64 | base64 -d >signature
    run openssl dgst -sha256 -verify public.pem -signature signature signed
    assert_output 'Verified OK'
}

@test "signing twice gives the same signature" {
    make_key
    sign "$DIGEST"
    cp signature first
    sign "$DIGEST"
    run cmp first signature
    assert_success
}

@test "base64 that is wrong in any way is rejected, without a prompt" {
    make_key
    local digest
    for digest in 'A' 'AA' 'AAA' 'AAAAA' '=' '====' 'A===' 'AA=A' 'AA==AA==' '=AAA' 'AAA=A' ' AAAA' 'AAAA ' 'AA AA=' \
        'AAAA\n' 'AAAA\r\nAAAA' 'AA-_' 'AA*A' 'AAA\u0000' 'ＡＡＡＡ' 'ААAA' '👍AAA'; do
        call signDigest "{\"nationalCode\":\"0012345678\",\"digestB64\":\"$digest\"}"
        assert_rejected 'invalid digestB64'
        assert_equal "$stderr" '' # where a prompt that nobody can answer would be reported
    done
}

@test "a digest that is no text is rejected" {
    local digest
    for digest in null 1 1.5 true '["AAAA"]' '{"a":"AAAA"}'; do
        call signDigest "{\"nationalCode\":\"0012345678\",\"digestB64\":$digest}"
        assert_rejected 'invalid digestB64'
    done
    call signDigest '{"nationalCode":"0012345678"}'
    assert_rejected 'invalid digestB64'
}

@test "a person without a key is asked, and then rejected" {
    call signDigest '{"nationalCode":"0012345678","digestB64":""}'
    assert_rejected sign_failed
    [[ "$stderr" == *'"Authenticate to sign"'* ]]
    call signDigest '{"nationalCode":"0012345678","digestB64":""}' --prompt match
    assert_rejected sign_failed
}

@test "a prompt that is cancelled or does not match is rejected" {
    make_key
    call signDigest '{"nationalCode":"0012345678","digestB64":""}' --prompt cancel
    assert_rejected sign_failed
    call signDigest '{"nationalCode":"0012345678","digestB64":""}' --prompt no-match
    assert_rejected sign_failed
}

@test "without a terminal a prompt is cancelled, and standard error says why" {
    make_key
    call signDigest '{"nationalCode":"0012345678","digestB64":""}'
    assert_rejected sign_failed
    assert_equal "$stderr" 'kavrel: there is no terminal to show the biometric prompt "Authenticate to sign" on, so it was cancelled. Give --prompt match to answer it.'
}

@test "without a sensor, an enrolled person or its trust, nothing is signed and nobody is asked" {
    make_key
    local state
    for state in biometry=none enrolled=false lockedOut=true; do
        kavrel device reset
        make_key
        kavrel device set "$state"
        call signDigest '{"nationalCode":"0012345678","digestB64":""}'
        assert_rejected sign_failed
        assert_equal "$stderr" ''
    done
}

@test "nothing is signed while the device is locked" {
    make_key
    kavrel device set locked=true
    call signDigest '{"nationalCode":"0012345678","digestB64":""}' --prompt match
    assert_rejected sign_failed
    kavrel device set locked=false
    call signDigest '{"nationalCode":"0012345678","digestB64":""}' --prompt match
    assert_success
}

@test "five prompts without a match lock the sensor out, and a match in between begins anew" {
    make_key
    local answer
    for answer in no-match no-match no-match no-match match no-match no-match no-match no-match cancel; do
        call signDigest '{"nationalCode":"0012345678","digestB64":""}' --prompt $answer
    done
    call getBiometricStatus
    assert_resolved '{"enabled":true,"status":"BIOMETRIC_SUCCESS","type":2}'
    call signDigest '{"nationalCode":"0012345678","digestB64":""}' --prompt no-match
    call getBiometricStatus
    assert_resolved '{"enabled":false,"status":"BIOMETRIC_ERROR_LOCKOUT","type":2}'
    call signDigest '{"nationalCode":"0012345678","digestB64":""}' --prompt match
    assert_rejected sign_failed
    kavrel device set lockedOut=false
    call signDigest '{"nationalCode":"0012345678","digestB64":""}' --prompt match
    assert_success
}

@test "failed prompts are forgotten with lockedOut=false, and with nothing else that is set" {
    make_key
    local answer
    for answer in no-match no-match no-match; do
        call signDigest '{"nationalCode":"0012345678","digestB64":""}' --prompt $answer
    done
    kavrel device set biometry=touchID
    call signDigest '{"nationalCode":"0012345678","digestB64":""}' --prompt no-match
    kavrel device set lockedOut=false
    call signDigest '{"nationalCode":"0012345678","digestB64":""}' --prompt no-match
    run kavrel device show
    assert_line lockedOut=false
    kavrel device set biometry=faceID
    for answer in no-match no-match no-match no-match; do
        call signDigest '{"nationalCode":"0012345678","digestB64":""}' --prompt $answer
    done
    run kavrel device show
    assert_line lockedOut=true
}
