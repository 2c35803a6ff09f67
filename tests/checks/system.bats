# system.bats - a build that uses an installed client library and the platform library of a controller, and the files
# that this build installs. Both libraries are copies from this build, in the folders of installed ones.
# shellcheck shell=bash disable=SC2154
load common

setup_file() {
    cd "$BATS_FILE_TMPDIR" || return
    export client=$PWD/client platform=$XAVO_BUILD/platform
    mkdir -p client/include client/lib
    cp -r "$root/simulator/include/CimClientLib" client/include
    cp -L "$XAVO_BUILD/simulator/libcmpisfcc.so.1" client/lib
    ln -s libcmpisfcc.so.1 client/lib/libcmpisfcc.so
    configure system -DXAVO_CIM_CLIENT=system | grep 'CIM client library: /'
    cmake --build system
    cmake --install system --prefix stage >/dev/null
}

setup() { cd "$BATS_FILE_TMPDIR" || return; }

configure() {
    cmake -S "$root" -B "$1" -G Ninja -DCMAKE_PREFIX_PATH="$client" -DCMAKE_INSTALL_LIBDIR=lib \
        -DXAVO_PLATFORM_LIBRARY="$platform/libxavo_platform.so" "${@:2}"
}

# installs FOLDER FILE...: checks that the folder has these files, documents, and no others.
installs() {
    assert_equal "$(cd "$1" && find . ! -type d ! -path './share/doc/*' | sort)" "$(printf './%s\n' "${@:2}" | sort)"
}

@test "a build for an installed client library fails without it, and finds it" { expect_rows; }

@test "the build installs the libraries, xavoctl and the worker" {
    local version
    version=$(sed -n 's/^project(libxavo VERSION \([0-9.]*\).*/\1/p' "$root/CMakeLists.txt")
    installs stage bin/xavoctl include/XAVO{,_companion,_types}.h \
        lib/cmake/xavo/xavo-{,companion-}targets{,-relwithdebinfo}.cmake \
        lib/cmake/xavo/xavo-config{,-version}.cmake lib/libxavo{,_companion}.so{,.1,."$version"} \
        lib/xavo/1/xavo-worker lib/pkgconfig/xavo{,-companion}.pc share/bash-completion/completions/xavoctl \
        lib/systemd/system/xavo-backup@.{service,timer} libexec/xavo/record-backup share/xavoctl/format-1.schema.json
}

@test "the build installs the simulator on request" {
    configure beside -DXAVO_CIM_CLIENT=system -DXAVO_INSTALL_SIMULATOR=ON
    cmake --build beside
    cmake --install beside --component simulator --prefix simulator
    installs simulator bin/xavo-simulate include/xavo-simulator/cimsim.h \
        lib/cmake/xavo/xavo-simulator-targets{,-relwithdebinfo}.cmake lib/pkgconfig/xavo-simulator{,-control}.pc \
        lib/xavo-simulator/{libcimsim.so{,.1},libcmpisfcc.so{,.1},has-capabilities,restart-broker}
}

@test "a program can be linked with CMake and with pkg-config, and runs" { expect_rows; }
