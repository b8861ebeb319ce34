load helper

# sign ARGUMENTS: `kavrel sign` with a match, its standard output in $output, its standard error in $stderr.
sign() {
    run --separate-stderr kavrel sign --prompt match "$@"
}

# opened FILE: what OpenSSL says of FILE.p7s and FILE. A relying party looks at the purposes itself.
opened() {
    run openssl cms -verify -cades -purpose any -CAfile "$KAVREL_DEVICE/authority/certificate.pem" \
        -binary -content "$1" -inform DER -in "$1.p7s" -out /dev/null
}

# decoded: standard input, in base64url, as bytes.
decoded() {
    local text
    text=$(tr '_-' '/+')
    base64 -d <<<"$text$(printf '%*s' $((-${#text} & 3)) '' | tr ' ' '=')"
}

@test "OpenSSL opens the .p7s as CAdES, and refuses it for another content or authority" {
    enrol
    echo 'I rent the lighthouse.' >contract.txt
    sign contract.txt
    assert_success
    assert_output contract.txt.p7s
    opened contract.txt
    assert_output 'CAdES Verification successful'

    echo 'I rent the castle.' >contract.txt
    opened contract.txt
    assert_failure
    assert_output --partial 'CAdES Verification failure'

    echo 'I rent the lighthouse.' >contract.txt
    openssl req -x509 -newkey rsa:2048 -nodes -keyout other.key -subj /CN=Other -out "$KAVREL_DEVICE/authority/certificate.pem"
    opened contract.txt
    assert_failure
    assert_output --partial 'certificate verify error'
}

@test "the .p7s holds the certificate and signs the content type, the time, the digest and the certificate" {
    enrol
    echo content >file
    local before
    before=$(date +%s)
    sign file
    openssl cms -cmsout -print -inform DER -in file.p7s >printed
    assert_equal "$(sed -n 's/^ *object: \([A-Za-z0-9-]*\) (1\.2\.840\.113549\.1\.9\..*/\1/p' printed | sort | xargs)" \
        'contentType id-smime-aa-signingCertificateV2 messageDigest signingTime'
    local when
    when=$(date -d "$(sed -n 's/^ *UTCTIME:\(.* GMT\)$/\1/p' printed | tail -n 1)" +%s)
    [ "$when" -ge "$before" ] && [ "$when" -le "$(date +%s)" ]
    openssl pkcs7 -print_certs -inform DER -in file.p7s | openssl x509 -outform DER >inside
    openssl x509 -in certificate.pem -outform DER | cmp - inside
    # The hash of the certificate stands in the last of these attributes.
    openssl asn1parse -inform DER -in file.p7s | grep -q "$(sha256sum inside | tr a-f A-F | cut -d' ' -f1)"
}

@test "a file of any size, content and name is signed, and stays as it is" {
    enrol
    mkdir 'a folder'
    : >empty
    printf '\r\n\0\377' >'-b"'"'"'\.p7s'
    head -c 3000000 /dev/urandom >'a folder/قرارداد .pdf'
    local file
    for file in empty './-b"'"'"'\.p7s' 'a folder/قرارداد .pdf'; do
        cp "$file" before
        sign "$file"
        assert_success
        assert_output "$file.p7s"
        opened "$file"
        assert_output 'CAdES Verification successful'
        cmp before "$file"
    done
    sign -- '-b"'"'"'\.p7s.p7s'
    assert_output '-b"'"'"'\.p7s.p7s.p7s'
}

@test "--jws makes a token that holds the file and the certificate, and nothing else" {
    enrol
    printf '{"تو":1}\n\0' >claims
    sign claims --jws
    assert_success
    assert_output claims.jws
    [[ "$(<claims.jws)" =~ ^[A-Za-z0-9_-]+\.[A-Za-z0-9_-]+\.[A-Za-z0-9_-]+$ ]]
    assert_equal "$(stat -c %s claims.jws)" "$(tr -d '\n' <claims.jws | wc -c)"
    cut -d. -f2 claims.jws | decoded | cmp - claims
    cut -d. -f1 claims.jws | decoded >header
    assert_equal "$(cat header)" "$(jq -nc --arg der "$(openssl x509 -in certificate.pem -outform DER | base64 -w 0)" '{alg: "RS256", x5c: [$der]}')"

    openssl x509 -in certificate.pem -noout -pubkey >public.pem
    cut -d. -f3 claims.jws | decoded >signature
    printf %s "$(cut -d. -f1,2 claims.jws)" >message
    run openssl dgst -sha256 -verify public.pem -signature signature message
    assert_output 'Verified OK'
}

@test "the person is whom the certificate names, unless --national-code says who" {
    enrol
    echo content >file
    sign file --national-code 0012345678
    assert_success
    openssl x509 -in certificate.pem -noout -subject | grep -q 0012345678

    # An authority may leave the code out.
    openssl req -new -newkey rsa:2048 -nodes -keyout other.key -subj /CN=Jane -out named.csr
    openssl x509 -in certificate.pem -noout -pubkey >public.pem
    openssl x509 -new -force_pubkey public.pem -subj /CN=Jane -days 9 -key other.key -out certificate.pem
    certificate_arguments 0012345678 certificate.pem | kavrel call storeCertificate -
    rm file.p7s
    sign file
    assert_refused 'the certificate of the device does not say whose it is (it has no serialNumber). Give --national-code.'
    sign file --national-code 0012345678
    assert_success
}

@test "nobody is asked, and nothing written, unless the certificate of that person's key is there" {
    echo content >file
    sign file
    assert_refused 'the device has no certificate, so nobody could tell whose signature it is. Get one with "kavrel issue", and store it with "kavrel call storeCertificate".'

    enrol
    kavrel call ensureKey '{"nationalCode":"other"}'
    run --separate-stderr kavrel sign file --national-code other
    assert_refused 'the certificate of the device is not for the key of "other". Get one for that key with "kavrel issue", and store it with "kavrel call storeCertificate".'
    run --separate-stderr kavrel sign file --national-code nobody
    assert_refused_saying 'the device has no key of "nobody", or it is locked.'
    make_key
    run --separate-stderr kavrel sign file --jws
    assert_refused_saying 'is not for the key of "0012345678".'
    assert_equal "$(echo file*)" file
}

@test "nobody is asked if the file cannot be read or its signature not be written" {
    enrol
    run --separate-stderr kavrel sign missing
    assert_refused '"missing" cannot be opened: No such file or directory'
    run --separate-stderr kavrel sign .
    assert_refused '"." cannot be read: Is a directory'
    run --separate-stderr kavrel sign /proc/version
    assert_refused_saying '"/proc/version.p7s.'
    run --separate-stderr kavrel sign
    assert_refused_saying 'FILE is required'

    echo content >file
    echo mine >file.p7s
    ln -s nowhere file.jws
    run --separate-stderr kavrel sign file
    assert_refused '"file.p7s" exists already and is left as it is. Move it away or remove it, and sign again.'
    run --separate-stderr kavrel sign file --jws
    assert_refused_saying '"file.jws" exists already'
    assert_equal "$(cat file.p7s)" mine
}

@test "a prompt without a match ends with 1, and nothing is written" {
    enrol
    echo content >file
    local how
    for how in cancel no-match; do
        run --separate-stderr kavrel sign file --prompt $how
        assert_equal "$status" 1
        assert_output ''
        assert_equal "$stderr" 'kavrel: the device did not sign. It signs once the biometric prompt is answered with a match; "kavrel device show" says whether it can ask.'
        assert_equal "$(echo file*)" file
    done
}

@test "on a terminal the person is asked once, and an interruption there leaves nothing behind" {
    enrol
    echo content >file
    on_terminal 'm\n' "$(words "$KAVREL" sign file)"
    assert_success
    assert_equal "$(grep -c 'Type m' <<<"$output")" 1
    opened file
    assert_output 'CAdES Verification successful'

    rm file.p7s
    run bash -c '{ timeout 30 bash -c "until grep -q \"Type m\" shown; do sleep 0.05; done"; printf "\003"; sleep 2; } |
        timeout 60 script --quiet --flush --return --command "\"$KAVREL\" sign file" shown'
    assert_equal "$status" 130
    assert_equal "$(echo file*)" file
}
