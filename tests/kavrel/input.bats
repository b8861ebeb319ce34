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

@test "white space, line breaks and a byte order mark around the arguments do not matter" {
    printf '\xef\xbb\xbf\r\n\t { "nationalCode"\n:\t"1"\r} \n\n' >arguments
    call hasKey @arguments
    assert_resolved '{"exists":false}'
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
    local text
    for text in '{' '{"a"' '{"a":' '{"a":1' '{"a":1,' '{"a":1,}' '{a:1}' "{'a':1}" '{"a":01}' '{"a":.5}' '{"a":NaN}' \
        '{"a":"\x"}' '{"a":"\u12"}' '{"a":"' '{}}' '{} //' $'{"a":"\n"}' '{"a":tru}'; do
        call hasKey "$text"
        assert_refused_saying 'cannot be read as JSON: line '
    done
}

@test "a lone surrogate is refused; a pair of them is one character" {
    call hasKey '{"nationalCode":"\ud83d"}'
    assert_refused_saying 'surrogate'
    call hasKey '{"nationalCode":"\ude00"}'
    assert_refused_saying 'surrogate'
    call ensureKey '{"nationalCode":"\ud83d\ude00"}'
    call hasKey '{"nationalCode":"😀"}'
    assert_resolved '{"exists":true}'
}

@test "bytes that are no UTF-8 are refused" {
    local bytes
    for bytes in '\xff' '\xc0\x80' '\xed\xa0\x80' '\xf4\x90\x80\x80' '\xe2\x82' 'M\xfcller'; do
        printf "{\"nationalCode\":\"$bytes\"}" >arguments
        call hasKey @arguments
        assert_refused_saying 'cannot be read as JSON: line 1, column 1'
    done
}

@test "a NUL byte is refused, wherever it stands" {
    printf '{"nationalCode":"a\0b"}' >arguments
    call hasKey @arguments
    assert_refused '"arguments" cannot be read as JSON: line 1, column 19: a NUL character; write it \u0000, within a string'
    printf '{"nationalCode":"a"}\0{' >arguments
    call hasKey @arguments
    assert_refused_saying 'column 21: a NUL character'
}

@test "a NUL character in a text survives both ways" {
    call ensureKey '{"nationalCode":"a\u0000b"}'
    assert_resolved '{"ok":true}'
    call getKeyInfo '{"nationalCode":"a\u0000b"}'
    assert_success
    [[ "$output" == '{"resolve":{"alias":"a\u0000b","alg"'* ]]
    call hasKey '{"nationalCode":"a"}'
    assert_resolved '{"exists":false}'
}

@test "a person's code comes back as it was given, character for character" {
    local code
    for code in 'جین نمونه' '👩‍💻' ' a ' "'; DROP TABLE items; --" '%_' '\"quoted\" \\ / ' '\t\n\u001f\u007f' 'a.b'; do
        call ensureKey "{\"nationalCode\":\"$code\"}"
        assert_resolved '{"ok":true}'
        call getKeyInfo "{\"nationalCode\":\"$code\"}"
        assert_equal "$(jq .resolve.alias <<<"$output")" "$(jq -n "\"$code\"")"
    done
    call getKeyInfo '{"nationalCode":"\u062c"}'
    assert_rejected 'not found'
    call getKeyInfo '{"nationalCode":"\u062c\u06cc\u0646 نمونه"}'
    [[ "$output" == '{"resolve":{"alias":"جین نمونه",'* ]] # as it is, not escaped
}

@test "codes that differ in case, in a blank or in their normal form are different persons" {
    call ensureKey '{"nationalCode":"Jané"}'
    local code
    for code in 'jané' 'JANÉ' 'Jané ' ' Jané' 'Jan' 'Jane' 'Jane\u0301' ''; do
        call hasKey "{\"nationalCode\":\"$code\"}"
        assert_resolved '{"exists":false}'
    done
}

@test "of members with the same name the last one counts" {
    call ensureKey '{"nationalCode":"a"}'
    call hasKey '{"nationalCode":"b","nationalCode":"a"}'
    assert_resolved '{"exists":true}'
    call hasKey '{"nationalCode":"a","other":1,"nationalCode":"b"}'
    assert_resolved '{"exists":false}'
    call hasKey '{"nationalCode":"a","nationalCode":null}'
    assert_rejected 'nationalCode required'
}

@test "numbers of any size are read, and are no texts; one past every double is refused" {
    local number
    for number in 0 -0 9223372036854775807 9223372036854775808 -9223372036854775809 18446744073709551616 1e308 \
        0.1 123456789012345678901234567890; do
        call hasKey "{\"nationalCode\":$number}"
        assert_rejected 'nationalCode required'
    done
    call hasKey '{"nationalCode":1e309}'
    assert_refused_saying 'a number that is too large'
}

# nested DEPTH: arguments of this depth, the object itself included.
nested() {
    printf '{"nationalCode":"1","deep":%s%s}' "$(printf '[%.0s' $(seq 2 "$1"))" "$(printf ']%.0s' $(seq 2 "$1"))"
}

@test "values may be nested 512 deep, and no deeper" {
    call hasKey "$(nested 512)"
    assert_resolved '{"exists":false}'
    call hasKey "$(nested 513)"
    assert_refused 'OPTIONS cannot be read as JSON: values are nested deeper than 512 levels'
    printf '[%.0s' $(seq 1 200000) >arguments
    call hasKey @arguments
    assert_refused_saying 'nested deeper'
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

@test "a megabyte of broken JSON gives a short sentence" {
    { printf '{"nationalCode":"'; head -c 1000000 /dev/zero | tr '\0' x; } >arguments
    call hasKey @arguments
    assert_refused_saying 'line 1, column 1000018: '
    assert [ "${#stderr}" -lt 200 ]
}
