load helper

# state: what `kavrel device show` prints, on one line.
state() {
    kavrel device show | paste -s -d ' '
}

@test "a new device has Face ID, enrolled, and is unlocked" {
    run --separate-stderr kavrel device show
    assert_success
    assert_output 'biometry=faceID
enrolled=true
lockedOut=false
locked=false
firstUnlock=true'
}

@test "set changes what is named and nothing else" {
    run --separate-stderr kavrel device set biometry=touchID
    assert_success
    assert_output ''
    assert_equal "$(state)" 'biometry=touchID enrolled=true lockedOut=false locked=false firstUnlock=true'
    kavrel device set enrolled=false lockedOut=true
    assert_equal "$(state)" 'biometry=touchID enrolled=false lockedOut=true locked=false firstUnlock=true'
    kavrel device set biometry=opticID
    assert_equal "$(state)" 'biometry=opticID enrolled=false lockedOut=true locked=false firstUnlock=true'
    kavrel device set biometry=none locked=true
    assert_equal "$(state)" 'biometry=none enrolled=false lockedOut=true locked=true firstUnlock=true'
}

@test "what show prints can be given to set" {
    kavrel device set biometry=touchID enrolled=false lockedOut=true firstUnlock=false
    kavrel device show >shown
    kavrel device reset
    kavrel device set $(cat shown)
    run kavrel device show
    assert_output "$(cat shown)"
}

@test "locked=false implies firstUnlock=true, and firstUnlock=false implies locked=true" {
    kavrel device set firstUnlock=false
    assert_equal "$(state)" 'biometry=faceID enrolled=true lockedOut=false locked=true firstUnlock=false'
    kavrel device set locked=false
    assert_equal "$(state)" 'biometry=faceID enrolled=true lockedOut=false locked=false firstUnlock=true'
    kavrel device set locked=true
    assert_equal "$(state)" 'biometry=faceID enrolled=true lockedOut=false locked=true firstUnlock=true'
}

@test "locked=false with firstUnlock=false is a contradiction, and changes nothing" {
    run --separate-stderr kavrel device set enrolled=false locked=false firstUnlock=false
    assert_refused 'A device that has not been unlocked since it was started is locked: locked=false does not go with firstUnlock=false.'
    assert_equal "$(state)" 'biometry=faceID enrolled=true lockedOut=false locked=false firstUnlock=true'
}

@test "a wrong name or value is refused, and nothing is changed" {
    local assignment
    for assignment in biometry=irisID biometry=FaceID biometry= biometry enrolled=1 enrolled=TRUE enrolled enrolled= \
        lockedOut=no locked=maybe firstUnlock=2 Locked=true colour=red =true = '' 'locked= true'; do
        run --separate-stderr kavrel device set enrolled=false "$assignment"
        assert_refused "\"$assignment\" cannot be set. Give biometry=none|touchID|faceID|opticID, or true or false to enrolled, lockedOut, locked or firstUnlock. Nothing was changed."
        assert_equal "$(state)" 'biometry=faceID enrolled=true lockedOut=false locked=false firstUnlock=true'
    done
    run --separate-stderr kavrel device set
    assert_refused_saying 'SETTING is required'
}

@test "failed prompts are forgotten with lockedOut=false, and with nothing else that is set" {
    fail_prompts() {
        local n
        for ((n = 0; n < $1; ++n)); do
            call signDigest '{"nationalCode":"1","digestB64":""}' --prompt no-match
        done
    }
    fail_prompts 4
    kavrel device set lockedOut=false biometry=touchID
    fail_prompts 4
    run kavrel device show
    assert_line lockedOut=false
    kavrel device set biometry=faceID
    fail_prompts 1
    run kavrel device show
    assert_line lockedOut=true
}

@test "settings made by processes at the same time are all kept" {
    local round
    for round in 1 2 3; do
        kavrel device reset
        kavrel device set biometry=touchID &
        kavrel device set enrolled=false &
        kavrel device set lockedOut=true &
        kavrel device set locked=true &
        wait
        assert_equal "$(state)" 'biometry=touchID enrolled=false lockedOut=true locked=true firstUnlock=true'
    done
}

@test "reset makes a new device of it, and leaves the test authority" {
    enrol
    kavrel device set biometry=none locked=true
    run --separate-stderr kavrel device reset
    assert_success
    assert_output ''
    assert_equal "$(state)" 'biometry=faceID enrolled=true lockedOut=false locked=false firstUnlock=true'
    call hasKey '{"nationalCode":"0012345678"}'
    assert_resolved '{"exists":false}'
    call getCertificate '{"nationalCode":"0012345678"}'
    assert_resolved '{"certPem":null}'
    assert [ -e "$KAVREL_DEVICE/authority/certificate.pem" ]
}

@test "a device that cannot be used is an error that names it" {
    touch file
    run --separate-stderr kavrel device show --device file
    assert_refused_saying "$PWD/file"
    run --separate-stderr kavrel device show --device ''
    assert_refused_saying folder
    run --separate-stderr kavrel device show --device file/below
    assert_refused_saying "$PWD/file"
}
