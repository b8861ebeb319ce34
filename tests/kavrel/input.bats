load helper

@test "the arguments may come from standard input and from a file" {
    make_key
    echo '{"nationalCode": "0012345678"}' >arguments.json
    call hasKey @arguments.json
    assert_resolved '{"exists":true}'
    call hasKey - <arguments.json
    assert_resolved '{"exists":true}'
    call hasKey @/dev/stdin <arguments.json
    assert_resolved '{"exists":true}'
}

@test "a file that cannot be read is refused" {
    call hasKey @nowhere
    assert_refused '"nowhere" cannot be opened: No such file or directory'
    mkdir folder
    call hasKey @folder
    assert_refused '"folder" cannot be read: Is a directory'
    call hasKey @
    assert_refused '"" cannot be opened: No such file or directory'
    run --separate-stderr bash -c '"$KAVREL" call hasKey - <&-'
    assert_refused 'standard input cannot be read: Bad file descriptor'
}

@test "arguments that are no object are refused" {
    local arguments
    for arguments in null true 1 -1 1.5 '"text"' '[]' '[{"nationalCode":"1"}]'; do
        call hasKey "$arguments"
        assert_refused 'OPTIONS must be a JSON object, such as {"nationalCode":"0012345678"}.'
    done
    echo '[]' >list
    call hasKey - <list
    assert_refused 'standard input must be a JSON object, such as {"nationalCode":"0012345678"}.'
    call hasKey @list
    assert_refused '"list" must be a JSON object, such as {"nationalCode":"0012345678"}.'
}

@test "text that is no JSON is refused, and the place named" {
    call hasKey 'hello'
    assert_refused 'OPTIONS cannot be read as JSON: line 1, column 1: syntax error while parsing value - invalid literal'
    call hasKey ''
    assert_refused_saying 'line 1, column 1: syntax error while parsing value - unexpected end of input'
    call hasKey $'{\n  "nationalCode": "é", x'
    assert_refused_saying 'line 2, column 24: '
    printf '{"nationalCode":"1"}\n{"nationalCode":"2"}\n' >two
    call hasKey @two
    assert_refused_saying '"two" cannot be read as JSON: line 2, column 1: '
}

@test "a megabyte of text is taken and given back" {
    jq -nc '{nationalCode: ("é" * 500000)}' >arguments
    call ensureKey @arguments
    assert_resolved '{"ok":true}'
    call getKeyInfo @arguments
    assert_success
    run cmp <(jq .resolve.alias <<<"$output") <(jq .nationalCode arguments)
    assert_success
}

@test "a hundred thousand members are read without comparing each with every other" {
    jq -nc '{nationalCode: "1"} + ([range(100000) | {key: "member \(.)", value: .}] | from_entries)' >arguments
    run timeout 60 "$KAVREL" call hasKey @arguments
    assert_success
    assert_line '{"resolve":{"exists":false}}'
}
