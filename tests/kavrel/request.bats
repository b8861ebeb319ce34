load helper

# request [ARGUMENTS]: the request of the person, in request.der.
request() {
    call createCSR "${1-$(person)}"
    assert_success
    result csrPem | base64 -d >request.der
}

@test "OpenSSL accepts the request, which is one line of base64" {
    call createCSR "$(person)"
    assert_success
    assert_equal "$(jq -r '.resolve | keys | join(" ")' <<<"$output")" csrPem
    [[ "$(result csrPem)" =~ ^[A-Za-z0-9+/]+=*$ ]]
    result csrPem | base64 -d >request.der
    run openssl req -inform DER -in request.der -verify -noout
    assert_success
    assert_output --partial 'verify OK'
}

@test "the subject has its seven attributes in order, the last two as printable texts" {
    request
    run openssl req -inform DER -in request.der -noout -subject -nameopt RFC2253,-dn_rev,show_type
    assert_output 'subject=ST=UTF8STRING:Nowhere,L=UTF8STRING:Sampletown,CN=UTF8STRING:0012345678,SN=UTF8STRING:Example,GN=UTF8STRING:Jane,serialNumber=PRINTABLESTRING:0012345678,postalCode=PRINTABLESTRING:1234567890'
}

@test "the request asks for document signing and client authentication, critical" {
    request
    run openssl req -inform DER -in request.der -noout -text
    assert_output --regexp $'X509v3 Extended Key Usage: critical\n *1\\.3\\.6\\.1\\.4\\.1\\.311\\.10\\.3\\.12, TLS Web Client Authentication'
    assert_output --partial 'Public-Key: (2048 bit)'
    assert_output --partial 'Signature Algorithm: sha256WithRSAEncryption'
}

@test "texts in any script come out of the request as they went in" {
    request "$(person 0012345678 | jq -c '.userInfo += {enName: "Žofie 👩‍💻", enLastName: "نمونه", city: " Ā ", provinceName: "O’Brien; DROP TABLE items--", postalCode: ""}')"
    run openssl req -inform DER -in request.der -noout -subject -nameopt multiline,utf8,-esc_msb
    assert_line '    givenName                 = Žofie 👩‍💻'
    assert_line '    surname                   = نمونه'
    assert_line '    localityName              =  Ā '
    assert_line '    stateOrProvinceName       = O’Brien; DROP TABLE items--'
    assert_line '    postalCode                = '
    run openssl req -inform DER -in request.der -verify -noout
    assert_success
}

@test "createCSR makes a key where there is none, and keeps the one that is there" {
    request
    local first
    first=$(openssl req -inform DER -in request.der -noout -pubkey)
    request
    assert_equal "$(openssl req -inform DER -in request.der -noout -pubkey)" "$first"
    make_key
    request
    refute [ "$(openssl req -inform DER -in request.der -noout -pubkey)" = "$first" ]
}

@test "createCSR wants userInfo, an object" {
    local arguments
    for arguments in '{}' "$(person | jq -c .userInfo)" '{"userInfo":null}' '{"userInfo":"x"}' '{"userInfo":1}' \
        '{"userInfo":true}' '{"userInfo":[]}'; do
        call createCSR "$arguments"
        assert_rejected 'userInfo required'
    done
}

@test "createCSR wants all fourteen texts of userInfo" {
    local name value
    for name in $(person | jq -r '.userInfo | keys_unsorted[]'); do
        call createCSR "$(person | jq -c "del(.userInfo.$name)")"
        assert_rejected 'invalid userInfo'
    done
    for value in null 1 true '[]' '{}'; do
        call createCSR "$(person | jq -c ".userInfo.gender = $value")"
        assert_rejected 'invalid userInfo'
    done
    call createCSR '{"userInfo":{}}'
    assert_rejected 'invalid userInfo'
}

@test "createCSR wants a national code that is not empty, and touches no key before that" {
    call createCSR "$(person '')"
    assert_rejected 'nationalCode required'
    call hasKey '{"nationalCode":""}'
    assert_resolved '{"exists":false}'
}

@test "members of userInfo beyond the fourteen change nothing" {
    request "$(person | jq -c '.userInfo.shoeSize = 38')"
    run openssl req -inform DER -in request.der -noout -subject
    refute_output --partial 38
}

@test "createCSR is rejected with the device's reason when a key cannot be made" {
    kavrel device set locked=true
    call createCSR "$(person)"
    assert_equal "$status" 1
    assert_equal "$(jq -r .reject.message <<<"$output")" ensure_key_failed
    refute [ "$(jq -r .reject.code <<<"$output")" = null ]
}
