# What newcomers run starts on any machine with a POSIX shell: dash with busybox's tools stands in for a Mac's, and a PATH
# without apt for a system that is not Debian.
bats_require_minimum_version 1.5.0
bats_load_library bats-support
bats_load_library bats-assert

readonly tree=$BATS_TEST_DIRNAME/../..

# Makes $bin, the only folder on the machine's PATH: busybox's tools, dash, and the programs that are named.
machine_with() {
    bin=$BATS_TEST_TMPDIR/bin
    mkdir "$bin"
    local tool
    for tool in $(busybox --list); do
        ln -s "$(command -v busybox)" "$bin/$tool"
    done
    rm -f "$bin"/{ar,dpkg,dpkg-deb,rpm,sh,strings} # they are not what Debian, a compiler or this test means by them
    for tool in dash ccache "$@"; do # the builds that are there already may have been made with ccache
        ! command -v "$tool" >/dev/null || ln -s "$(command -v "$tool")" "$bin/$tool"
    done
    ln -s dash "$bin/sh"
}

# Runs a script of the project on that machine.
on_machine() {
    run --separate-stderr env -i PATH="$bin" HOME="$HOME" TMPDIR="$BATS_TEST_TMPDIR" ${NODE_EXTRA_CA_CERTS:+NODE_EXTRA_CA_CERTS="$NODE_EXTRA_CA_CERTS"} \
        dash "$@"
}

compilers=(g++ cmake ninja as ld ar ranlib)

# What the machine's compilers have built is not built again on the machine without apt, whose paths are gone afterwards.
setup_file() {
    cd "$tree"
    script/demo >/dev/null 2>&1
    script/wasm >/dev/null 2>&1
}

@test "the demonstration runs under dash with busybox's tools, where there is no apt" {
    machine_with "${compilers[@]}"
    on_machine "$tree/script/demo"
    echo "$stderr"
    assert_success
    assert_output --partial 'OpenSSL accepts it'
}

@test "script/wasm runs under dash with busybox's tools, where there is no apt" {
    machine_with cmake ninja emcc emcmake node npm
    on_machine "$tree/script/wasm"
    echo "$stderr"
    assert_success
}

@test "without apt, what is missing is listed by the names of Homebrew and dnf" {
    machine_with "${compilers[@]}"
    rm "$bin/ninja" "$bin/g++"
    on_machine "$tree/script/bootstrap" demo
    assert_failure 1
    assert_regex "$stderr" 'Homebrew: \(xcode-select --install\) ninja openssl@3 sqlite nlohmann-json cli11'
    assert_regex "$stderr" 'dnf: +gcc-c\+\+ ninja-build openssl-devel sqlite-devel json-devel cli11-devel'
}

@test "without apt, a job for which only Debian has all packages says so" {
    machine_with "${compilers[@]}"
    on_machine "$tree/script/bootstrap" fuzz
    assert_failure 1
    assert_regex "$stderr" 'the job fuzz needs packages that have a name only in Debian.*script/bare'
}

@test "who is neither root nor has sudo is told which packages are missing" {
    machine_with apt-get apt-cache dpkg-query
    printf '#!/bin/sh\necho 1000\n' >"$BATS_TEST_TMPDIR/id"
    chmod +x "$BATS_TEST_TMPDIR/id"
    mv "$BATS_TEST_TMPDIR/id" "$bin/id"
    printf '#!/bin/sh\nexit 1\n' >"$bin/nothing" && chmod +x "$bin/nothing"
    ln -sf nothing "$bin/dpkg-query"
    on_machine "$tree/script/bootstrap" demo
    assert_failure 1
    assert_regex "$stderr" '^script/bootstrap: .* g\+\+ cmake .* are missing: run this as root, or install sudo'
}

@test "without a network it says that the packages could not be fetched, and what to do" {
    machine_with dpkg apt-cache
    for tool in dpkg-query apt-get; do
        printf '#!/bin/sh\necho "Could not resolve the host" >&2\nexit 100\n' >"$bin/$tool"
        chmod +x "$bin/$tool"
    done
    printf '#!/bin/sh\necho 0\n' >"$bin/own-id" && chmod +x "$bin/own-id" && ln -sf own-id "$bin/id"
    on_machine "$tree/script/bootstrap" demo
    assert_failure 1
    assert_regex "$stderr" 'Could not resolve the host.*for the reason above; when that is mended, run this again'
}

@test "a Node.js that is too old fetches a newer one, or says which to install" {
    machine_with "${compilers[@]}" emcc
    printf '#!/bin/sh\nexit 1\n' >"$bin/node" && chmod +x "$bin/node"
    printf '#!/bin/sh\necho Plan9 vax\n' >"$bin/own-uname" && chmod +x "$bin/own-uname" && ln -sf own-uname "$bin/uname"
    ln -s nothing "$bin/npm"
    printf '#!/bin/sh\nexit 1\n' >"$bin/nothing" && chmod +x "$bin/nothing"
    cp -r "$tree/script" "$BATS_TEST_TMPDIR/script" # where no newer one was fetched before
    on_machine "$BATS_TEST_TMPDIR/script/bootstrap" wasm
    assert_failure 1
    assert_regex "$stderr" 'there is no Node.js to fetch for Plan9 vax: install release'
}

@test "an unknown job, stage or release is refused with what there is" {
    run --separate-stderr "$tree/script/bootstrap" nonsense
    assert_failure 2
    assert_regex "$stderr" 'there is no job nonsense: name agreement, .* or wasm'
    run --separate-stderr "$tree/script/ci" nonsense
    assert_failure 2
    assert_regex "$stderr" 'there is no stage nonsense: name test lint'
    run --separate-stderr "$tree/script/bare" nonsense script/demo
    assert_failure 2
    assert_regex "$stderr" 'debootstrap does not know the release nonsense'
    run --separate-stderr "$tree/script/bare" bookworm
    assert_failure 2
    assert_regex "$stderr" 'say which release and what to run'
}

@test "outside a clone, the tests and the bare machines say that they need one" {
    local copy=$BATS_TEST_TMPDIR/copy script
    mkdir -p "$copy/node_modules"
    cp -r "$tree/script" "$tree/package-lock.json" "$copy"
    sleep 1 && touch "$copy/node_modules/.package-lock.json"
    for script in test 'bare bookworm script/demo'; do
        run --separate-stderr env GIT_CEILING_DIRECTORIES="$BATS_TEST_TMPDIR" "$copy"/script/$script
        assert_failure 2
        assert_regex "$stderr" 'clone'
    done
}
