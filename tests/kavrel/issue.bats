load helper

issue() {
    run --separate-stderr kavrel issue
}

# assert_certifies: the output is a certificate for the key in request.pem.
assert_certifies() {
    assert_success
    echo "$output" >certificate.pem
    assert_equal "$(openssl x509 -in certificate.pem -noout -pubkey)" "$(openssl req -in request.pem -noout -pubkey)"
}

@test "a request may come in base64 with and without line breaks, in PEM and in DER" {
    make_request
    local form
    tr -d '\n' <request.b64 >unbroken
    fold -w 64 request.b64 >folded
    sed 's/$/\r/' folded >folded.crlf
    { echo 'Certificate Request:'; cat request.pem; } >explained.pem
    for form in request.b64 unbroken folded folded.crlf request.pem explained.pem request.der; do
        issue <$form
        assert_certifies
    done
}

@test "a request made by OpenSSL is issued too, and without extensions gives a certificate without key purposes" {
    local kind
    for kind in rsa:2048 'ec -pkeyopt ec_paramgen_curve:P-256' ed25519; do
        openssl req -new -newkey $kind -nodes -keyout key.pem -subj /CN=Example -out request.pem 2>/dev/null
        issue <request.pem
        assert_certifies
        run openssl x509 -in certificate.pem -noout -ext extendedKeyUsage
        refute_output --partial 'Extended Key Usage'
    done
}

@test "the request, read by OpenSSL, is signed and has its seven attributes in order" {
    make_request
    run openssl req -in request.pem -verify -noout -subject -nameopt RFC2253,-dn_rev,show_type
    assert_output --partial 'verify OK'
    assert_line 'subject=ST=UTF8STRING:Nowhere,L=UTF8STRING:Sampletown,CN=UTF8STRING:0012345678,SN=UTF8STRING:Example,GN=UTF8STRING:Jane,serialNumber=PRINTABLESTRING:0012345678,postalCode=PRINTABLESTRING:1234567890'
}

@test "the certificate holds the subject and the key purposes of the request, and OpenSSL accepts it as the authority's" {
    make_request
    issue <request.b64
    assert_certifies
    assert_equal "$(openssl x509 -in certificate.pem -noout -subject -nameopt RFC2253,show_type)" \
        "$(openssl req -in request.pem -noout -subject -nameopt RFC2253,show_type)"
    run openssl x509 -in certificate.pem -noout -text
    assert_output --partial 'Version: 3 (0x2)'
    assert_output --regexp $'X509v3 Basic Constraints: critical\n *CA:FALSE'
    assert_output --regexp $'X509v3 Key Usage: critical\n *Digital Signature, Non Repudiation'
    assert_output --regexp $'X509v3 Extended Key Usage: critical\n *1\\.3\\.6\\.1\\.4\\.1\\.311\\.10\\.3\\.12, TLS Web Client Authentication'
    assert_output --regexp $'X509v3 Subject Key Identifier: *\n'
    assert_output --regexp $'X509v3 Authority Key Identifier: *\n'
    assert_equal "$(openssl x509 -in certificate.pem -noout -issuer -nameopt RFC2253)" \
        'issuer=CN=KavrelCrypto test authority,O=For development and tests only'
    run openssl verify -x509_strict -purpose sslclient -CAfile "$KAVREL_DEVICE/authority/certificate.pem" certificate.pem
    assert_output 'certificate.pem: OK'
}

@test "with a clock that shows no date for a certificate it says so" {
    make_request
    g++ -shared -fPIC -x c++ -o clock.so - <<<'#include <cstdlib>
#include <ctime>
extern "C" time_t time(time_t* copy) noexcept {
    const time_t now = std::atoll(std::getenv("CLOCK"));
    return copy ? *copy = now : now;
}'
    local now # in the years -249, 10000 and 9999
    for now in -70000000000 253402300800 253400000000; do
        CLOCK=$now LD_PRELOAD=$PWD/clock.so issue <request.b64
        assert_refused_saying 'the clock of this machine shows a date that a certificate cannot hold'
    done
}

@test "other extensions that a request asks for are not granted" {
    openssl req -new -newkey rsa:2048 -nodes -keyout key.pem -subj /CN=Example -out request.pem \
        -addext basicConstraints=critical,CA:TRUE -addext keyUsage=keyCertSign \
        -addext extendedKeyUsage=codeSigning 2>/dev/null
    issue <request.pem
    assert_certifies
    run openssl x509 -in certificate.pem -noout -text
    assert_output --partial CA:FALSE
    refute_output --partial 'Certificate Sign'
    assert_output --regexp $'X509v3 Extended Key Usage: *\n *Code Signing'
}

@test "the certificate is valid now and for a year, under a serial number of its own" {
    make_request
    issue <request.b64
    assert_certifies
    run openssl x509 -in certificate.pem -noout -checkend $((364 * 24 * 3600))
    assert_success
    run openssl x509 -in certificate.pem -noout -checkend $((366 * 24 * 3600))
    assert_failure
    local first
    first=$(openssl x509 -in certificate.pem -noout -serial)
    [[ "$first" =~ ^serial=[4-7][0-9A-F]{31}$ ]]
    issue <request.b64
    assert_certifies
    refute [ "$(openssl x509 -in certificate.pem -noout -serial)" = "$first" ]
}

@test "the authority is made once and kept from others' eyes" {
    make_request
    issue <request.b64
    local first
    first=$(cat "$KAVREL_DEVICE/authority/certificate.pem")
    assert_equal "$(stat -c %a "$KAVREL_DEVICE"/authority{,/key.pem,/certificate.pem} | paste -s -d ' ')" '700 600 600'
    issue <request.b64
    assert_equal "$(cat "$KAVREL_DEVICE/authority/certificate.pem")" "$first"
}

@test "processes that need the authority at the same time make one" {
    make_request
    local n
    for n in 1 2 3 4 5 6; do
        kavrel issue <request.b64 >"$n.pem" &
    done
    wait
    for n in 1 2 3 4 5 6; do
        run openssl verify -CAfile "$KAVREL_DEVICE/authority/certificate.pem" $n.pem
        assert_output "$n.pem: OK"
    done
    assert_equal "$(echo "$KAVREL_DEVICE"/authority*)" "$KAVREL_DEVICE/authority"
}

@test "a damaged authority is an error that says where it is and what to do" {
    make_request
    issue <request.b64
    echo damaged >"$KAVREL_DEVICE/authority/key.pem"
    issue <request.b64
    assert_refused "the test authority in \"$KAVREL_DEVICE/authority\" is damaged or encrypted. Remove that folder, and a new authority will be created."
    openssl genpkey -algorithm ed25519 -out "$KAVREL_DEVICE/authority/key.pem"
    issue <request.b64
    assert_refused_saying 'is damaged'
    rm -r "$KAVREL_DEVICE/authority"
    issue <request.b64
    assert_certifies
}

@test "a request that was changed after it was signed is refused" {
    make_request
    # The national code in the subject: 0012345678 becomes 0012345679.
    sed 's/0012345678/0012345679/' request.der >changed.der
    issue <changed.der
    assert_refused 'the signature of the certification request is wrong: the request was changed after it was signed, or it was signed with another key than the one in it. Make a new request.'
    refute [ -e "$KAVREL_DEVICE/authority" ]
}

@test "what is no request is refused" {
    make_request
    local text
    for text in '' ' ' 'hello' 'MII=' 'AAAA' '{"resolve":{}}' '-----BEGIN CERTIFICATE REQUEST-----'; do
        printf '%s' "$text" >input
        issue <input
        assert_refused_saying 'certification request'
    done
    head -c 100 request.der >input
    issue <input
    assert_refused_saying 'damaged'
    { cat request.der; printf '\0'; } >input
    issue <input
    assert_refused_saying 'more bytes follow'
    { cat request.b64; cat request.b64; } >input
    issue <input
    assert_refused_saying 'certification request'
    openssl req -x509 -newkey rsa:2048 -nodes -keyout key.pem -subj /CN=Example -out input 2>/dev/null
    issue <input
    assert_refused_saying 'certification request'
    openssl x509 -in input -outform DER -out input.der
    issue <input.der
    assert_refused_saying 'certification request'
    head -c 1000000 /dev/urandom >input
    issue <input
    assert_refused_saying 'certification request'
}

@test "nobody is asked for a pass phrase" {
    # A request whose PEM text says that it is encrypted, and an authority whose key is.
    make_request
    sed '1a Proc-Type: 4,ENCRYPTED\nDEK-Info: AES-256-CBC,000102030405060708090A0B0C0D0E0F\n' request.pem >encrypted.pem
    on_terminal 'secret\n' "$(words "$KAVREL" issue) <encrypted.pem"
    assert_equal "$status" 2
    assert_output --partial 'or a damaged or encrypted one.'
    refute_output --partial 'pass phrase'

    kavrel issue <request.pem
    openssl pkey -aes256 -passout pass:secret -in "$KAVREL_DEVICE/authority/key.pem" -out encrypted.key
    mv encrypted.key "$KAVREL_DEVICE/authority/key.pem"
    on_terminal 'secret\n' "$(words "$KAVREL" issue) <request.pem"
    assert_equal "$status" 2
    assert_output --partial 'is damaged or encrypted.'
    refute_output --partial 'pass phrase'
}

@test "extensions that cannot be read are refused" {
    # A request whose extended key usage is no list of key purposes, signed all the same.
    printf '[req]\ndistinguished_name=dn\nreq_extensions=ext\n[dn]\n[ext]\nextendedKeyUsage=critical,DER:0101FF\n' >config
    openssl req -new -newkey rsa:2048 -nodes -keyout key.pem -subj /CN=Example -config config -out request.pem 2>/dev/null
    issue <request.pem
    assert_refused 'the extensions that the certification request asks for cannot be read. Make a new request.'
}
