# What the scripts of this project need of the system. Sourced, not run:
#   need FILE-OR-COMMAND PACKAGE    notes a Debian package when the file or command is missing
#   install_needed                  installs all the noted packages in one call of apt
# Quiet when nothing is missing.

needed_packages=()

need() {
    case $1 in
    /*) [ -e "$1" ] && return 0 ;;
    *) command -v "$1" >/dev/null 2>&1 && return 0 ;;
    esac
    case " ${needed_packages[*]-} " in
    *" $2 "*) ;;
    *) needed_packages+=("$2") ;;
    esac
}

need_build_tools() {
    need cmake cmake
    need ninja ninja-build
    need gcc gcc
    need g++ g++
    need /usr/include/rapidjson/document.h rapidjson-dev
    need /usr/include/CLI/CLI.hpp libcli11-dev
    need /usr/src/googletest/CMakeLists.txt googletest
}

need_server() {
    need /usr/sbin/nats-server nats-server
}

# What tests that are scripts run: the program in a cluster, services.
need_test_scripts() {
    need python3 python3
    need openssl openssl
    need /usr/lib/python3/dist-packages/jsonschema python3-jsonschema
}

need_windows_tools() {
    need x86_64-w64-mingw32-gcc-posix gcc-mingw-w64-x86-64-posix
    need x86_64-w64-mingw32-g++-posix g++-mingw-w64-x86-64-posix
    need x86_64-w64-mingw32-windres binutils-mingw-w64-x86-64
}

need_wine() {
    need wine wine
    need /usr/lib/wine/wine64 wine64
    need openssl openssl
    need osslsigncode osslsigncode
}

need_check_tools() {
    need clang++ clang
    need clang-tidy clang-tidy
}

need_bench_tools() {
    need pkg-config pkgconf
    need /usr/include/dbus-1.0/dbus/dbus.h libdbus-1-dev
    need /usr/include/spdlog/spdlog.h libspdlog-dev
    need strace strace
}

need_bench_peers() {
    need dunst dunst
    need Xvfb xvfb
    need dbus-daemon dbus-daemon
    need_server
    need perf linux-perf
}

install_needed() {
    [ ${#needed_packages[@]} -eq 0 ] && return 0
    local as_root=()
    if [ "$(id -u)" -ne 0 ]; then
        if ! command -v sudo >/dev/null 2>&1; then
            echo "These packages are missing, and only root can install them: ${needed_packages[*]}" >&2
            return 1
        fi
        as_root=(sudo)
    fi
    if ! command -v apt-get >/dev/null 2>&1; then
        echo "These Debian packages, or what your system calls them, are missing: ${needed_packages[*]}" >&2
        return 1
    fi
    echo "== installing ${needed_packages[*]} (apt-get)"
    local log
    log=$(mktemp)
    if ! { "${as_root[@]}" apt-get update &&
        "${as_root[@]}" env DEBIAN_FRONTEND=noninteractive \
            apt-get install -y --no-install-recommends "${needed_packages[@]}"; } >"$log" 2>&1 </dev/null; then
        tail -n 40 "$log" >&2
        echo "apt-get could not install: ${needed_packages[*]}" >&2
        rm -f "$log"
        return 1
    fi
    rm -f "$log"
    needed_packages=()
}
