#!/bin/bash
# package_test.sh BUILD: makes the packages and does with them what an administrator does, in a clean
# Debian: install, run, upgrade, remove, purge; once in a chroot without a running systemd, once in a
# booted container with one. BUILD is the 64-bit build; when build/x86 beside it is built, the
# i386 library is installed too. The clean Debian is kept in BUILD/../clean-root.
# Exits with 77, saying why, where no clean Debian can be made.
set -u
root=$(cd "$(dirname "$0")/../.." && pwd)
build=$(cd "$1" && pwd)
here=$root/tests/packaging
cache=$(dirname "$build")/clean-root

# Mounts of our own go away with us.
if [ -z "${QEL_OWN_MOUNTS:-}" ]; then
    "$here/clean_root.sh" "$cache" || exit $?
    QEL_OWN_MOUNTS=yes exec unshare --mount --propagation private "$0" "$build"
fi

work=$(mktemp -d)
mounted=()
finish() {
    for place in $(printf '%s\n' "${mounted[@]}" | tac); do umount -l "$place"; done
    rm -rf "$work"
}
trap finish EXIT
failures=0
say() { echo "== $* ($SECONDS s)"; }
fail() {
    printf 'FAILED: %s\n' "$*" >&2
    failures=$((failures + 1))
}
fatal() {
    fail "$@"
    exit 1
}

# fresh NAME: a clean Debian of its own in $work/NAME/root.
fresh() {
    local top=$work/$1
    mkdir -p "$top/changes" "$top/work" "$top/root"
    if mount -t overlay overlay \
        -o "lowerdir=$cache/base,upperdir=$top/changes,workdir=$top/work" "$top/root" 2>/dev/null; then
        mounted+=("$top/root")
    else
        cp -a "$cache/base/." "$top/root/"
    fi
    mkdir -p "$top/root/var/cache/apt/archives"
    mount --bind "$cache/archives" "$top/root/var/cache/apt/archives"
    mounted+=("$top/root/var/cache/apt/archives")
    cp /etc/resolv.conf "$top/root/etc/resolv.conf"
    clean=$top/root
}

# inside COMMAND...: in $clean, with an IPC namespace of its own.
inside() {
    LC_ALL=C.UTF-8 DEBIAN_FRONTEND=noninteractive PATH=/usr/sbin:/usr/bin:/sbin:/bin \
        "$root/scripts/in-test-room" chroot "$clean" "$@" </dev/null
}

# install PACKAGES...: with what they depend on. Lists that are too old are fetched again.
install() {
    local line=(apt-get install -q -y --no-install-recommends "$@")
    inside "${line[@]}" >"$work/apt.log" 2>&1 && return
    { inside apt-get -q update && inside "${line[@]}"; } >"$work/apt.log" 2>&1 ||
        fatal "cannot install $*: $(tail -n 20 "$work/apt.log")"
}

gives() {
    local wanted=$1 got
    shift
    got=$("$@" 2>&1)
    [ "$got" = "$wanted" ] || fail "$*: \"$got\" instead of \"$wanted\""
}
mode() { inside stat -c '%a %U %G' "$1"; }
# Every file that is there, apart from what apt and dpkg note down about any package.
listing() {
    (cd "$clean" && find . -xdev -path ./proc -prune -o -path ./sys -prune -o -path ./new -prune \
        -o -path ./var/cache -prune -o -path ./var/log/apt -prune \
        -o -path ./var/lib/apt/extended_states -prune -o -print | sort)
}

say "make the packages"
packages=$work/packages
i686=
if [ -e "$(dirname "$build")/x86/lib/libQEL.so" ]; then
    i686=--i686
else
    echo "SKIPPED: build/x86 is not built; nothing is tried with the i386 library"
fi
"$root/scripts/package" --as-built $i686 --out "$packages" >"$work/package.log" 2>&1 ||
    fatal "scripts/package: $(cat "$work/package.log")"
version=$(dpkg-deb -f "$packages"/raidwatch_*.deb Version)
# The next version: the same files with another number.
for package in "$packages"/{libqel0,raidwatch}_*_amd64.deb; do
    name=$(basename "$package" | sed 's/_.*//')
    dpkg-deb -R "$package" "$work/repack"
    sed -i "s/$version/$version+next/" "$work/repack/DEBIAN/control"
    mkdir -p "$work/next"
    dpkg-deb -Zgzip -z1 --root-owner-group -b "$work/repack" \
        "$work/next/${name}_$version+next_amd64.deb" >/dev/null || fatal "cannot pack the next version"
    rm -rf "$work/repack"
done

say "lintian"
lintian --no-cfg --fail-on error "$packages"/*.deb >"$work/lintian" 2>"$work/lintian.err" ||
    fail "lintian finds errors: $(cat "$work/lintian" "$work/lintian.err")"
grep -v '^N:' "$work/lintian"

say "nothing names the folder it was built in"
mkdir "$work/unpacked"
for package in "$packages"/*amd64.deb; do dpkg-deb -x "$package" "$work/unpacked"; done
grep -rlF -e "$root" -e "$build" "$work/unpacked" && fail "the files above do"
[ -z "$(find "$work/unpacked" -xtype l -lname "$root*")" ] || fail "links into the build"

say "what is packed is as hard as what was built"
for package in "$packages"/libqel0*_i386.deb; do
    [ ! -e "$package" ] || dpkg-deb -x "$package" "$work/unpacked-i386"
done
find "$work/unpacked" "$work"/unpacked-i386 -type f \( -name '*.so' -o -name '*.so.*' -o -path '*/usr/bin/*' \) \
    >"$work/binaries" 2>/dev/null
# shellcheck disable=SC2046  # one name a line
"$root/scripts/check-hardening" --run-path /usr/lib/x86_64-linux-gnu/qel $(cat "$work/binaries") \
    >"$work/out" 2>&1 || fail "hardening: $(cat "$work/out")"
gives "$([ -n "$i686" ] && echo 7 || echo 5)" grep -c ' hold$' "$work/out"

say "hosts are built with libqel-dev alone, by pkg-config and by CMake"
sdk=$work/unpacked/usr
flags=$(PKG_CONFIG_LIBDIR=$sdk/lib/x86_64-linux-gnu/pkgconfig pkg-config --cflags --libs qel)
host() {  # host OUTPUT [FLAGS...]
    # shellcheck disable=SC2086  # flags are words
    g++ -std=c++17 "$root/examples/consumer/main.cpp" -o "$1" "${@:2}" -pthread
}
# shellcheck disable=SC2086
host "$work/host64" $flags || fail "no host by pkg-config"
cmake -S "$root/examples/consumer" -B "$work/cmake" -DCMAKE_PREFIX_PATH="$sdk" \
    -DCMAKE_BUILD_RPATH_USE_ORIGIN=ON -DCMAKE_SKIP_RPATH=ON >"$work/cmake.log" 2>&1 &&
    cmake --build "$work/cmake" >>"$work/cmake.log" 2>&1 ||
    fail "no host by CMake: $(tail -n 20 "$work/cmake.log")"

say "install in a chroot"
fresh chroot
mount -t proc proc "$clean/proc" && mounted+=("$clean/proc")
mount -t sysfs -o ro sysfs "$clean/sys" && mounted+=("$clean/sys")
mkdir "$clean/new"
cp "$packages"/*.deb "$clean/new/"
install systemd-sysv
listing >"$work/before"
install "/new/libqel0_${version}_amd64.deb" "/new/raidwatch_${version}_amd64.deb"

gives "raidwatch ${version%-*}" inside raidwatch --version
inside raidwatch explain 401 >"$work/out" 2>&1 || fail "explain: $(cat "$work/out")"
grep -q 401 "$work/out" || fail "explain 401 does not name it"
inside raidwatch list >"$work/out" 2>&1 || fail "list: $(cat "$work/out")"
inside raidwatch list --json >"$work/out" && python3 -m json.tool "$work/out" >/dev/null ||
    fail "list --json"
inside raidwatch explain 401 --lang de >"$work/out" 2>&1 || fail "no German catalogue: $(cat "$work/out")"
inside raidwatch scenario play /usr/share/qel/scenarios/drive-fails-hot-spare-takes-over.json \
    >"$work/out" 2>&1 || fail "scenario: $(cat "$work/out")"
grep -q 'Drive failed: ' "$work/out" || fail "events have no texts: $(head -3 "$work/out")"

private=/usr/lib/x86_64-linux-gnu/qel
gives /etc/raidwatch/QELConfig.conf inside readlink $private/QELConfig.conf
gives /var/lib/raidwatch/QELVANTConfig.xml inside readlink $private/QELVANTConfig.xml
gives /var/log/raidwatch inside readlink $private/qavelogs
gives "750 root raidwatch" mode /var/lib/raidwatch
gives "750 root raidwatch" mode /var/log/raidwatch
gives raidwatch inside id -un raidwatch
for conffile in raidwatch.toml QELConfig.conf; do
    inside dpkg-query -W -f '${Conffiles}' raidwatch | grep -q " /etc/raidwatch/$conffile " ||
        fail "$conffile is no conffile"
done
[ -L "$clean/etc/systemd/system/multi-user.target.wants/raidwatch.service" ] || fail "not enabled"
for page in man1/raidwatch.1 man5/raidwatch.toml.5 man5/QELConfig.conf.5; do
    # A minimal Debian leaves documentation out; the package itself has it.
    [ -s "$work/unpacked/usr/share/man/$page.gz" ] || fail "no $page"
done
zcat "$work/unpacked/usr/share/man/man5/raidwatch.toml.5.gz" >"$work/page"
inside raidwatch config schema --json >"$work/schema" || fail "config schema"
# shellcheck disable=SC2016  # $refs is jq's
jq -r '[.. | objects | .properties? // empty | keys[]] | unique[]' "$work/schema" >"$work/keys"
for key in $(grep -v -x -E 'monitor|paths|access|spool|incidents|http|sink|journal' "$work/keys"); do
    tr -d '\\' <"$work/page" | grep -q -F -e "f[B]${key}f[R]" -e "fB${key}fR" ||
        fail "raidwatch.toml(5) does not tell $key"
done
[ "$(wc -l <"$work/keys")" -gt 40 ] || fail "the schema was not understood: $(cat "$work/keys")"
[ -s "$work/unpacked/usr/share/doc/raidwatch/formats/sinks.md" ] || fail "no page about the sinks"
for file in prometheus/raidwatch.rules.yml grafana/raidwatch.json; do
    cmp -s "$root/packaging/$file" "$work/unpacked/usr/share/raidwatch/$file" || fail "no $file"
done

say "the configuration as shipped, and with every example in force"
inside raidwatch config check >"$work/out" 2>&1 || fail "config check: $(cat "$work/out")"
[ "$(inside raidwatch config show --json | jq -r '.values[].key | select(startswith("sink."))' |
    cut -d. -f2 | sort -u)" = journal ] || fail "as shipped, more is told than the journal"
mkdir "$clean/etc/examples"
# The hash of the example is none: everybody would know its token.
hash=$(inside raidwatch config token | sed -n 's/^token_hash = //p')
sed -e 's/^#\([^ #]\)/\1/' -e "s|^token_hash = .*|token_hash = $hash|" \
    "$clean/etc/raidwatch/raidwatch.toml" >"$clean/etc/examples/raidwatch.toml"
for secret in mail.password chat.token fleet.creds; do
    (umask 077 && echo secret >"$clean/etc/raidwatch/$secret")
done
inside raidwatch config check --config /etc/examples/raidwatch.toml >"$work/out" 2>&1 ||
    fail "the examples in raidwatch.toml: $(cat "$work/out")"
[ "$(inside raidwatch config show --config /etc/examples/raidwatch.toml --json |
    jq -r '.values[].key | select(endswith(".type"))' | wc -l)" -ge 5 ] || fail "examples are missing"
rm -r "$clean/etc/examples" "$clean"/etc/raidwatch/{mail.password,chat.token,fleet.creds}
inside journalctl --list-catalog 2>/dev/null | grep -q 'raidwatch: A test of the alerts' ||
    fail "journalctl does not know the catalogue"

say "the engine's files land where an administrator looks"
inside raidwatch watch --once >"$work/out" 2>&1 || fail "watch --once: $(cat "$work/out")"
for file in lib/raidwatch/QELVANTConfig.xml log/raidwatch/QELVANTDebug.log; do
    [ -f "$clean/var/$file" ] || fail "no /var/$file"
done
[ -z "$(find "$clean$private" -newer "$clean/var/log/raidwatch/QELVANTDebug.log" -type f)" ] ||
    fail "something was written beside the library"
if inside raidwatch --help | grep -q '^  run '; then
    inside timeout 60 raidwatch run --once >"$work/out" 2>&1 || fail "run --once: $(cat "$work/out")"
fi

say "fleets are a package of their own"
dpkg-deb -f "$packages"/raidwatch_*_amd64.deb Depends | grep -q nats && fail "raidwatch depends on libnats"
dpkg-deb -f "$packages"/raidwatch-nats_*_amd64.deb Depends | grep -q 'libnats[0-9]' ||
    fail "raidwatch-nats does not depend on libnats"
inside dpkg-query -W -f '${Package} ${db:Status-Status}\n' 'libnats*' 2>/dev/null |
    grep -q ' installed$' && fail "libnats came with raidwatch"
fleet() {  # fleet SAYS: nobody listens there, so UNKNOWN; and the reason
    inside raidwatch fleet status --server nats://127.0.0.1:1 >"$work/out" 2>&1
    gives 3 echo $?
    grep -q "$1" "$work/out" || fail "fleet status: $(cat "$work/out")"
}
fleet 'install the Debian package raidwatch-nats'
install "/new/raidwatch-nats_${version}_amd64.deb"
fleet 'cannot connect'
inside dpkg --purge raidwatch-nats >"$work/out" 2>&1 || fail "purge: $(cat "$work/out")"
fleet 'install the Debian package raidwatch-nats'

say "upgrade; what the administrator wrote stays"
echo '# mine' >>"$clean/etc/raidwatch/raidwatch.toml"
echo 'kept' >"$clean/var/lib/raidwatch/kept"
cp "$work/next"/*.deb "$clean/new/"
install "/new/libqel0_${version}+next_amd64.deb" "/new/raidwatch_${version}+next_amd64.deb"
gives "$version+next" inside dpkg-query -W -f '${Version}' raidwatch
gives '# mine' tail -n 1 "$clean/etc/raidwatch/raidwatch.toml"
inside raidwatch list >/dev/null || fail "list after the upgrade"

say "remove, then purge"
inside dpkg --remove raidwatch >"$work/out" 2>&1 || fail "remove: $(cat "$work/out")"
[ ! -e "$clean/usr/bin/raidwatch" ] || fail "the program is still there"
[ -f "$clean/var/lib/raidwatch/kept" ] || fail "remove took the state"
[ -f "$clean/etc/raidwatch/raidwatch.toml" ] || fail "remove took the configuration"
inside dpkg --purge raidwatch libqel0 >"$work/out" 2>&1 || fail "purge: $(cat "$work/out")"
inside apt-get -q -y autoremove --purge >"$work/out" 2>&1 || fail "autoremove: $(cat "$work/out")"
listing >"$work/after"
# dpkg's own copies of the user lists, made when the user was.
left=$(comm -13 "$work/before" "$work/after" | grep -v -E '^\./etc/(passwd|group|g?shadow|subuid|subgid)-$')
[ -z "$left" ] || fail "purge leaves: $left"
gone=$(comm -23 "$work/before" "$work/after")
[ -z "$gone" ] || fail "purge takes what it did not bring: $gone"

if [ -n "$i686" ]; then
    say "both word sizes on one machine"
    install "/new/libqel0_${version}_amd64.deb" "/new/libqel0_${version}_i386.deb"
    mkdir "$work/unpacked32" && dpkg-deb -x "$packages"/libqel0_*_i386.deb "$work/unpacked32"
    lib32=$work/unpacked32/usr/lib/i386-linux-gnu
    host "$work/host32" -m32 -I"$sdk/include/qel" "$lib32/libQEL.so.0" "$lib32/libSTORVANT.so.0" \
        || fail "no 32-bit host"
    mkdir -p "$clean/var/lib/raidwatch" "$clean/var/log/raidwatch"
    for program in host64 host32 cmake/consumer; do
        cp "$work/$program" "$clean/host"
        rm -f "$clean/var/lib/raidwatch/QELVANTConfig.xml"
        inside env TZ=UTC timeout 60 /host >"$work/out" 2>"$work/err" ||
            fail "$program: $(cat "$work/err")"
        sed 's/^[A-Z][a-z][a-z] [A-Z][a-z][a-z] [ 0-9][0-9] [0-9:]* [0-9]* /TIME /' "$work/out" |
            diff "$root/examples/consumer/expected.txt" - || fail "$program says something else"
        [ -s "$clean/var/lib/raidwatch/QELVANTConfig.xml" ] || fail "$program kept no snapshot"
    done
fi

say "boot with systemd"
fresh booted
mkdir "$clean/new"
cp "$packages"/*_amd64.deb "$clean/new/"
install systemd-sysv "/new/libqel0_${version}_amd64.deb" "/new/raidwatch_${version}_amd64.deb"
rm "$clean"/new/*
cp "$work/next"/*_amd64.deb "$clean/new/"
cp "$here/inside_booted.sh" "$clean/inside_booted.sh"
cat >"$clean/etc/systemd/system/inside.service" <<'UNIT'
[Unit]
After=raidwatch.service
[Service]
Type=oneshot
ExecStart=/bin/sh /inside_booted.sh
ExecStopPost=/bin/systemctl poweroff --no-block
TimeoutStartSec=150
[Install]
WantedBy=multi-user.target
UNIT
inside systemctl -q enable inside.service 2>/dev/null
nspawn=(systemd-nspawn --quiet --register=no --keep-unit --directory="$clean" --machine=qel-$$
    --capability=CAP_SYS_RAWIO)
[ "$(stat -fc %T /sys/fs/cgroup)" = cgroup2fs ] || export SYSTEMD_NSPAWN_UNIFIED_HIERARCHY=0
if ! command -v systemd-nspawn >/dev/null || ! "${nspawn[@]}" /bin/true </dev/null >"$work/probe" 2>&1; then
    echo "SKIPPED: no container can be started here (package systemd-container; $(tail -n 1 "$work/probe"))"
else
    timeout 200 "${nspawn[@]}" --boot </dev/null >"$work/console" 2>&1
    if [ "$(tail -n 1 "$clean/result" 2>/dev/null)" = "all good" ]; then
        cat "$clean/result"
    else
        fail "in the booted Debian: $(cat "$clean/result" 2>/dev/null || tail -n 40 "$work/console")"
    fi
fi

say "done"
[ $failures -eq 0 ]
