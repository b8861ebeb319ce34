load helper

setup_file() {
    # A key and its certificate from elsewhere, for all tests of this file.
    cd "$BATS_FILE_TMPDIR"
    openssl req -x509 -newkey rsa:2048 -nodes -keyout other.key -subj /CN=Other -out other.pem 2>/dev/null
}

# store CODE FILE: storeCertificate with the certificate in FILE.
store() {
    certificate_arguments "$@" >arguments
    call storeCertificate @arguments
}

# assert_kept FILE: the certificate slot holds what is in FILE, to the byte.
assert_kept() {
    call getCertificate '{"nationalCode":"whoever"}'
    assert_success
    jq -j .resolve.certPem <<<"$output" >kept
    run cmp kept "$1"
    assert_success
}

@test "an issued certificate is kept to the byte and given back to everybody" {
    make_certificate 0012345678
    store 0012345678 certificate.pem
    assert_resolved '{"stored":true}'
    assert_kept certificate.pem
    kavrel call ensureKey '{"nationalCode":"another"}' 2>/dev/null
    call getKeyInfo '{"nationalCode":"another"}'
    jq -j .resolve.certificate <<<"$output" >kept
    run cmp kept certificate.pem
    assert_success
}

@test "a certificate for another key is refused, and the slot keeps what it held" {
    make_certificate 0012345678
    store 0012345678 certificate.pem
    store 0012345678 "$BATS_FILE_TMPDIR/other.pem"
    assert_rejected 'Certificate is not valid'
    assert_kept certificate.pem
}

@test "a certificate is refused once its key was replaced" {
    make_certificate 0012345678
    make_key
    store 0012345678 certificate.pem
    assert_rejected 'Certificate is not valid'
    call getCertificate '{"nationalCode":"0012345678"}'
    assert_resolved '{"certPem":null}'
}

@test "without a key, any text is refused for that reason" {
    call storeCertificate '{"nationalCode":"0012345678","certPem":"no certificate"}'
    assert_rejected 'Certificate is not valid (key missing)'
}

@test "a certificate that is missing, empty or no text is refused" {
    make_key
    local certificate
    for certificate in '' ',"certPem":""' ',"certPem":null' ',"certPem":1' ',"certPem":true' ',"certPem":["x"]' \
        ',"certPem":{}'; do
        call storeCertificate "{\"nationalCode\":\"0012345678\"$certificate}"
        assert_rejected 'Provide certPem'
    done
}

@test "the lines of a certificate may be long, short, indented or of any line end" {
    make_certificate 0012345678
    local form
    grep -v -- ----- certificate.pem | tr -d '\n' >body
    for form in 'cat certificate.pem' 'sed s/$/\r/ certificate.pem' 'sed s/^/\t/ certificate.pem' 'cat body' \
        'tr \n \v certificate.pem' 'fold -w 7 body'; do
        case $form in
            tr*) tr '\n' '\v' <certificate.pem >form ;;
            *) $form >form ;;
        esac
        store 0012345678 form
        assert_resolved '{"stored":true}'
        assert_kept form
    done
}

@test "a damaged certificate is refused, and the slot keeps what it held" {
    make_certificate 0012345678
    store 0012345678 certificate.pem
    openssl x509 -in certificate.pem -outform DER -out whole.der

    local length
    length=$(stat -c %s whole.der)
    local size
    for size in 1 2 4 100 $((length / 2)) $((length - 1)); do
        head -c "$size" whole.der | base64 >damaged
        store 0012345678 damaged
        assert_rejected 'Certificate is not valid'
    done
    { printf '\0'; cat whole.der; } | base64 >damaged
    store 0012345678 damaged
    assert_rejected 'Certificate is not valid'
    { echo "# a comment"; cat certificate.pem; } >damaged
    store 0012345678 damaged
    assert_rejected 'Certificate is not valid'
    assert_kept certificate.pem
}

@test "what follows a certificate is not looked at, if its base64 needs no padding" {
    make_certificate 0012345678
    openssl x509 -in certificate.pem -outform DER -out whole.der
    # Zeros up to a multiple of three bytes spare the first part the padding.
    truncate --size '%3' whole.der
    { base64 whole.der; base64 <<<"something else"; } >followed
    store 0012345678 followed
    assert_resolved '{"stored":true}'
    assert_kept followed
    { base64 whole.der; cat certificate.pem; } >followed
    store 0012345678 followed
    assert_resolved '{"stored":true}'
    assert_kept followed
    { head -c 1 whole.der | base64; cat certificate.pem; } >followed
    store 0012345678 followed
    assert_rejected 'Certificate is not valid'
}

@test "a changed public key is noticed" {
    make_certificate 0012345678
    openssl x509 -in certificate.pem -outform DER -out whole.der
    # The public key is the first BIT STRING; a hundred bytes into it is its modulus.
    local offset
    offset=$(($(openssl asn1parse -inform DER -in whole.der | grep -m 1 'BIT STRING' | cut -d: -f1) + 100))
    {
        head -c "$offset" whole.der
        printf '\0\0\0\0'
        tail -c +$((offset + 5)) whole.der
    } >changed.der
    assert_equal "$(stat -c %s changed.der)" "$(stat -c %s whole.der)"
    base64 changed.der >changed
    store 0012345678 changed
    assert_rejected 'Certificate is not valid'
}

@test "certificates of other kinds of key are refused" {
    make_key
    local kind
    for kind in 'ec -pkeyopt ec_paramgen_curve:P-256' 'ec -pkeyopt ec_paramgen_curve:P-521' ed25519 ed448 \
        'rsa:1024' 'rsa:4096'; do
        openssl req -x509 -newkey $kind -nodes -keyout other.key -subj /CN=Other -out other.pem 2>/dev/null
        store 0012345678 other.pem
        assert_rejected 'Certificate is not valid'
    done
}

@test "deleteKey of anybody empties the slot" {
    make_certificate 0012345678
    store 0012345678 certificate.pem
    call deleteKey '{"nationalCode":"nobody"}'
    assert_resolved '{"deleted":true}'
    call getCertificate '{"nationalCode":"0012345678"}'
    assert_resolved '{"certPem":null}'
    call hasKey '{"nationalCode":"0012345678"}'
    assert_resolved '{"exists":true}'
}

@test "ensureKey leaves the slot as it is" {
    make_certificate 0012345678
    store 0012345678 certificate.pem
    make_key
    assert_kept certificate.pem
}

@test "while the device is locked the slot cannot be read, and nothing is lost" {
    make_certificate 0012345678
    store 0012345678 certificate.pem
    kavrel device set locked=true
    call storeCertificate "$(certificate_arguments 0012345678 certificate.pem)"
    assert_rejected 'Certificate is not valid (key missing)'
    kavrel device set locked=false
    assert_kept certificate.pem
}
