# What the tests for other machines than this one share; read by scripts that have "set -eu".

# libvarno's tests, and the scripts of sessions.
foreign_tests=(platform_test mckeys_test stroker_test termcap_util_test telnet_parser_test
               cli_parse_test editor_test misbehaving_services_test script_runner)

# unpack_foreign ARCHITECTURE FOLDER PACKAGE ...: Debian packages of another architecture,
# unpacked, not installed, so that this machine keeps its own. Their pkg-config files and
# links stay within the folder. It stays for as long as the same packages are wanted; then
# what CMake has found in it is looked for again.
unpack_foreign()
{
    local architecture=$1 into=$2 apt=$2.apt package link
    shift 2
    [[ $(cat "$into/packages" 2>/dev/null) != "$*" ]] || return 0
    rm -rf "$apt" "$into" "$into.new" "${into%/*}/CMakeCache.txt"
    mkdir -p "$apt/lists/partial" "$apt/archives/partial"
    local options=(-qq -o APT::Architecture="$architecture" -o APT::Architectures="$architecture"
                   -o Dir::State="$apt" -o Dir::State::status=/dev/null -o Dir::Cache="$apt"
                   -o APT::Sandbox::User=root)
    apt-get "${options[@]}" update || true # a source that fails may not be the one
    (cd "$apt" && apt-get "${options[@]}" download "$@")
    for package in "$apt"/*.deb; do
        dpkg-deb -x "$package" "$into.new"
    done
    # As on a machine, where /lib is /usr/lib.
    [[ ! -d $into.new/lib ]] || { cp -a "$into.new/lib" "$into.new/usr"; rm -r "$into.new/lib"; }
    ln -s usr/lib "$into.new/lib"
    sed -i -E "s#(=|-I|-L)/usr#\1$into/usr#g" "$into.new"/usr/lib/*/pkgconfig/*.pc
    find "$into.new" -type l -lname '/*' | while read -r link; do
        ln -sfn "$into$(readlink "$link")" "$link"
    done
    echo "$*" >"$into.new/packages"
    mv "$into.new" "$into"
    rm -rf "$apt"
}

# test_foreign PRESET TEST ...: those above, and these.
test_foreign()
{
    local preset=$1 tests=("${foreign_tests[@]}" "${@:2}")
    cmake --preset "$preset" >"build/$preset.configure.log" 2>&1 ||
        { cat "build/$preset.configure.log"; return 1; }
    cmake --build --preset "$preset" --parallel "$(nproc)" --target "${tests[@]}" &&
        ctest --preset "$preset" --parallel "$(nproc)" --no-tests=error \
            --tests-regex "^($(IFS='|'; echo "${tests[*]}"))(\.|\$)"
}
