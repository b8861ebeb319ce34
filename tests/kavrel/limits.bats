load helper

# Where the system gives no more: neither the component nor the plugin runtime has an answer to that, so kavrel says a
# sentence and ends with 2.

# limited LIMITS ARGUMENTS: `kavrel ARGUMENTS` under the limits that `ulimit` is given.
limited() {
    run --separate-stderr bash -c 'for limit in $1; do ulimit "${limit%=*}" "${limit#*=}"; done; exec timeout 60 "${@:2}"' \
        _ "$1" "$KAVREL" "${@:2}"
}

@test "little memory ends in a result, a rejection or a sentence, and never in an abort" {
    make_key
    local kilobytes
    for kilobytes in $(seq 26000 4000 70000); do # with less, OpenSSL uses a lock that it could not make
        limited "-v=$kilobytes" call ensureKey '{"nationalCode":"0012345678"}'
        case $status in
            0) assert_output '{"resolve":{"ok":true}}' ;;
            1) assert_equal "$(jq -r .reject.message <<<"$output")" ensure_key_failed ;;
            *) assert_refused_saying 'kavrel: ' ;;
        esac
    done
    assert_equal "$status" 0 # in the end it is enough
}

@test "3 MB of JSON that say 1,500,000 times 1 need less than 200 MB" {
    jq -nc '{nationalCode: "1", ones: [range(1500000) | 1]}' >arguments
    limited -v=200000 call hasKey @arguments
    assert_resolved '{"exists":false}'
}

@test "a thread that cannot be started is said so" {
    # A stack that is larger than all the memory that may be had.
    limited '-s=16000000 -v=8000000' call hasKey '{"nationalCode":"1"}'
    assert_refused 'no thread can be started for the call: Resource temporarily unavailable'
}

@test "a limit on the size of files ends in a sentence, and nothing is lost" {
    make_key
    limited -f=16 call ensureKey '{"nationalCode":"another"}'
    assert_refused_saying "$KAVREL_DEVICE"
    limited -f=16 device reset --device new
    assert_refused_saying 'File too large'
    call hasKey '{"nationalCode":"0012345678"}'
    assert_resolved '{"exists":true}'
}
