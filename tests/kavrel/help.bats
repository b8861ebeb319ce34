load helper

@test "the examples in each command's help succeed as they stand, on a terminal where m is typed" {
    enrol
    cp "$KAVREL_DEVICE/authority/certificate.pem" authority.pem
    person | tee person.json claims.json >contract.pdf
    mkdir bin
    ln -s "$KAVREL" bin/kavrel
    PATH=$PWD/bin:$PATH
    local command
    for command in '' call sign issue demo device 'device show' 'device set' 'device reset'; do
        run --separate-stderr kavrel $command --help
        assert_success
        assert_equal "$stderr" ''
        assert_line --partial "Usage: kavrel${command:+ $command} ["
        # Three blanks and more divide an example from what it shows.
        sed -En '/^Examples?:$/,/^$/s/^ {2,4}(\S.*)/\1/p' <<<"$output" | sed -E 's/ {3,}.*//' >examples
        grep -q kavrel examples
        on_terminal 'm\nm\nm\nm\nm\nm\n' 'bash -exo pipefail examples'
        assert_success
    done
}

@test "kavrel alone fails and says what --help says" {
    run --separate-stderr kavrel --help
    assert_success
    local help=$output
    run --separate-stderr kavrel
    assert_equal "$status" 2
    assert_output ''
    assert_equal "$stderr" "$help"
}

@test "--version says the program's name and a version" {
    run --separate-stderr kavrel --version
    assert_success
    assert_output --regexp '^kavrel [0-9]+\.[0-9]+\.[0-9]+$'
}
