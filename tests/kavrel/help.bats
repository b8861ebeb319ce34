load helper

@test "--help says what is stored under expected/, word for word" {
    local command
    for command in call demo issue sign device 'device show' 'device set' 'device reset'; do
        run --separate-stderr kavrel $command --help
        assert_success
        assert_equal "$stderr" ''
        assert_expected "${command// /-}.help"
    done
}

@test "kavrel alone fails and says what it can do; --help succeeds and says the same" {
    run --separate-stderr kavrel
    assert_equal "$status" 2
    assert_output ''
    output=$stderr
    assert_expected kavrel.help
    run --separate-stderr kavrel --help
    assert_success
    assert_expected kavrel.help
}

@test "--version says the program's name and a version" {
    run --separate-stderr kavrel --version
    assert_success
    assert_output --regexp '^kavrel [0-9]+\.[0-9]+\.[0-9]+$'
}
