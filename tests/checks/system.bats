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

configure() {
    cmake -S "$root" -B "$1" -G Ninja -DCMAKE_PREFIX_PATH="$client" -DCMAKE_INSTALL_LIBDIR=lib \
        -DXAVO_PLATFORM_LIBRARY="$platform/libxavo_platform.so" "${@:2}"
}

# installs FOLDER FILE...: checks that the folder has these files, documents, and no others.
installs() {
    assert_equal "$(cd "$1" && find . ! -type d ! -path './share/doc/*' | sort)" "$(printf './%s\n' "${@:2}" | sort)"
}

@test "a build for an installed client library fails without it, and finds it" { expect_rows; }

@test "the build installs the libraries, xavoctl and the worker" { expect_rows; }

@test "the build installs the simulator on request" { expect_rows; }

@test "a program can be linked with CMake and with pkg-config, and runs" { expect_rows; }
