# What the suites have in common.
: "${KAVREL:?must name the program under test}"
bats_require_minimum_version 1.5.0
bats_load_library bats-support
bats_load_library bats-assert

# Each test has a device of its own, and no terminal.
setup() {
    export KAVREL_DEVICE=$BATS_TEST_TMPDIR/device
    cd "$BATS_TEST_TMPDIR"
}

# kavrel ARGUMENTS: the program, away from the terminal of whoever runs the tests, and for two minutes at most.
kavrel() {
    setsid --wait timeout 120 "$KAVREL" "$@"
}

# call ARGUMENTS: `kavrel call`, its standard output in $output, its standard error in $stderr.
call() {
    run --separate-stderr kavrel call "$@"
}

# on_terminal TYPED COMMAND: what the shell makes of COMMAND, on a terminal of its own on which TYPED is typed. What
# the terminal shows is in $output, the exit status in $status.
on_terminal() {
    run bash -c 'printf "$1" | timeout 120 script --quiet --return --command "$2" /dev/null' _ "$1" "$2"
    output=${output//$'\r'/}
}

# words WORD...: the words, quoted for a shell.
words() {
    printf '%q ' "$@"
}

# person: the arguments of createCSR.
person() {
    jq -nc '{userInfo: {identificationId: "1", nationalCode: "0012345678",
        name: "جین", lastName: "نمونه", enName: "Jane", enLastName: "Example", postalCode: "1234567890",
        phoneNumber: "0", birthCertificateId: "2", birthDate: "2000-01-01", city: "Sampletown",
        provinceName: "Nowhere", gender: "F", citizenship: "X"}}'
}

# result NAME: the member NAME of what the last call was resolved with.
result() {
    jq -r ".resolve.$1" <<<"$output"
}

# assert_resolved JSON: the last call was resolved with exactly this line.
assert_resolved() {
    assert_output "{\"resolve\":$1}"
    assert_equal "$status" 0
}

# assert_rejected MESSAGE: the last call was rejected with this message and without a code.
assert_rejected() {
    assert_output "{\"reject\":{\"message\":\"$1\",\"code\":null}}"
    assert_equal "$status" 1
}

# assert_refused SENTENCE: nothing on standard output, the sentence on standard error, exit status 2.
assert_refused() {
    assert_equal "$status" 2
    assert_output ""
    assert_equal "$stderr" "kavrel: $1"
}

# assert_refused_saying PART: as assert_refused, where the sentence holds PART.
assert_refused_saying() {
    assert_equal "$status" 2
    assert_output ""
    [[ "$stderr" == *"$1"* ]] || fail "not in standard error: $1"$'\n'"standard error: $stderr"
}

# prepare: devices for the tests of a file to copy, since to generate a key takes longer than most of what they do with it.
# One has a key and the other its certificate too.
prepare() {
    [ ! -e "$BATS_FILE_TMPDIR/certificate.pem" ] || return 0
    cd "$BATS_FILE_TMPDIR"
    person | kavrel --device key call createCSR - 2>/dev/null | jq -r .resolve.csrPem >request.b64
    base64 -d request.b64 >request.der
    openssl req -inform DER -in request.der -out request.pem
    cp -r key enrolled
    kavrel --device enrolled issue <request.b64 >certificate.pem
    certificate_arguments 0012345678 certificate.pem | kavrel --device enrolled call storeCertificate - >/dev/null
    cd "$BATS_TEST_TMPDIR"
}

# make_key: the person 0012345678 gets a new key.
make_key() {
    if [ -e "$KAVREL_DEVICE" ]; then
        kavrel call ensureKey '{"nationalCode":"0012345678"}' >/dev/null 2>&1
    else
        prepare
        cp -r "$BATS_FILE_TMPDIR/key" "$KAVREL_DEVICE"
    fi
}

# make_request: a new device has a key of the person, and its request is in request.b64 (one line of base64), request.der and
# request.pem.
make_request() {
    make_key
    cp "$BATS_FILE_TMPDIR"/request.* .
}

# enrol: a new device has a key of the person and the certificate for it, which is in certificate.pem.
enrol() {
    prepare
    cp -r "$BATS_FILE_TMPDIR/enrolled/." "$KAVREL_DEVICE"
    cp "$BATS_FILE_TMPDIR/certificate.pem" .
}

# certificate_arguments CODE FILE: the arguments of storeCertificate.
certificate_arguments() {
    jq -nc --arg code "$1" --rawfile pem "$2" '{nationalCode: $code, certPem: $pem}'
}
